#include "platform/codec/TiffTestFiles.h"

#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"

#include <algorithm>
#include <stdexcept>

namespace velk::test {

using namespace codec::tiff;

namespace {

Field integerField(Integers const& integers, ByteOrder order)
{
    bool const isShort = std::ranges::all_of(integers.values, [](auto value) { return value < 65536; });
    Field field {integers.tag, isShort ? FieldType::Short : FieldType::Long, integers.values.size(), {}};
    for (auto const value : integers.values) {
        if (isShort)
            append(field.values, static_cast<std::uint16_t>(value), order);
        else
            append(field.values, value, order);
    }
    return field;
}

} // namespace

Bytes handMade(HandMadeImage const& image)
{
    auto const order = image.format.order;
    auto const start = static_cast<std::uint32_t>(image.format.headerSize());
    auto const size = static_cast<std::uint32_t>(image.pixels.size());
    auto const samples = static_cast<std::size_t>(image.samples);
    DirectoryBuilder directory(image.format);
    for (auto const& [tag, value] : {std::pair {tag::kImageWidth, image.width},
             std::pair {tag::kImageLength, image.height}, std::pair {tag::kPhotometric, image.photometric},
             std::pair {tag::kSamplesPerPixel, image.samples}, std::pair {tag::kCompression, 1}})
        directory.set(integerField({tag, {static_cast<std::uint32_t>(value)}}, order));
    directory.set(integerField(
        {tag::kBitsPerSample, std::vector<std::uint32_t>(samples, static_cast<std::uint32_t>(image.bits))},
        order));
    directory.set(integerField({tag::kStripOffsets, {start}}, order));
    directory.set(integerField({tag::kStripByteCounts, {size}}, order));
    for (auto const& integers : image.integers)
        directory.set(integerField(integers, order));
    for (auto const& field : image.fields)
        directory.set(field);

    Bytes file(start);
    append(file, ByteSpan(image.pixels));
    file.resize(file.size() + file.size() % 2);
    auto const layout = directory.serialise(file.size(), 0);
    append(file, ByteSpan(layout.bytes));
    std::ranges::copy(fileHeader(image.format, layout.directoryOffset), file.begin());
    return file;
}

void writeWithLibtiff(std::string const& path, char const* mode, std::function<void(TIFF*)> const& setUp)
{
    auto* const tiff = TIFFOpen(path.c_str(), mode);
    if (!tiff)
        throw std::runtime_error("libtiff cannot write " + path);
    setUp(tiff);
    TIFFClose(tiff);
}

codec::SourceDescription const& describe(codec::ImageSource const& source)
{
    return source.description();
}

PropertyValue const* tiffProperty(codec::ImageSource const& source, std::string_view key)
{
    auto const* const tiff = findDictionary(describe(source).formatProperties, codec::key::kTiff);
    return tiff ? find(*tiff, key) : nullptr;
}

std::vector<Bytes> codedData(std::string const& path)
{
    auto const bytes = readBytes(path);
    auto const reader = DirectoryReader::open(ByteSpan(bytes)).value();
    auto const directory = reader.directory(reader.firstDirectory()).value();
    bool const isTiled = directory.find(tag::kTileOffsets) != nullptr;
    auto const offsets =
        reader.integers(directory.find(isTiled ? tag::kTileOffsets : tag::kStripOffsets), 100'000);
    auto const lengths =
        reader.integers(directory.find(isTiled ? tag::kTileByteCounts : tag::kStripByteCounts), 100'000);
    std::vector<Bytes> data;
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        auto const part = ByteSpan(bytes).subspan(offsets[i], lengths.at(i));
        data.emplace_back(part.begin(), part.end());
    }
    return data;
}

} // namespace velk::test
