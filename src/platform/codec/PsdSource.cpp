#include "platform/codec/PsdSource.h"

#include "platform/codec/PixelPacking.h"
#include "platform/codec/PsdMatte.h"
#include "platform/codec/PsdRows.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

struct ModeRow {
    PsdMode mode;
    ColorModel model;
    std::string_view name;
    std::initializer_list<int> depths;
};

constexpr std::initializer_list<int> kOneBit = {1};
constexpr std::initializer_list<int> kEightBits = {8};
constexpr std::initializer_list<int> kIntegers = {8, 16};
constexpr std::initializer_list<int> kAllDepths = {8, 16, 32};

// A duotone's picture is grey; which inks print it is known to Photoshop alone.
constexpr ModeRow kModes[] = {
    {PsdMode::Bitmap, ColorModel::Gray, "Bitmap", kOneBit},
    {PsdMode::Gray, ColorModel::Gray, "Grayscale", kAllDepths},
    {PsdMode::Indexed, ColorModel::Indexed, "Indexed", kEightBits},
    {PsdMode::RGB, ColorModel::RGB, "RGB", kAllDepths},
    {PsdMode::CMYK, ColorModel::CMYK, "CMYK", kAllDepths},
    {PsdMode::Duotone, ColorModel::Gray, "Duotone", kIntegers},
    {PsdMode::Lab, ColorModel::Lab, "Lab", kIntegers},
};

ModeRow const* rowOf(PsdMode mode)
{
    auto const found = std::ranges::find(kModes, mode, &ModeRow::mode);
    return found == std::end(kModes) ? nullptr : found;
}

} // namespace

Result<void> PsdSource::load()
{
    TRY(checkPixels());
    auto& info = editDescription().info;
    info.layout = {m_psd.size, format(), TRY(space())};
    info.bitsPerComponent = m_psd.depth;
    readMetadata();
    describeFormat();
    return {};
}

Result<void> PsdSource::checkPixels() const
{
    auto const* row = rowOf(m_psd.mode);
    if (!row)
        return fail("multichannel Photoshop images are not supported");
    if (std::ranges::find(row->depths, m_psd.depth) == row->depths.end())
        return fail("{} images of {} bits do not exist in Photoshop files", row->name, m_psd.depth);
    if (m_psd.channels < channelCount(row->model))
        return fail("the Photoshop file has too few channels ({})", m_psd.channels);
    auto const height = static_cast<std::uint64_t>(m_psd.size.height);
    // PackBits makes 128 bytes of two, zlib about a thousand of one.
    auto const bytes = m_psd.rowBytes() * height * static_cast<unsigned>(channelCount(row->model));
    auto const table = static_cast<unsigned>(m_psd.channels) * height * (m_psd.isLarge ? 4 : 2);
    auto const needed = m_psd.compression == PsdCompression::None ? PixelDataSize {m_psd.rowBytes(), bytes}
        : m_psd.compression == PsdCompression::PackBits ? PixelDataSize {table + 2, table + bytes / 64}
                                                        : PixelDataSize {2, bytes / 1032};
    return checkPixelData(file(), m_psd.size, m_psd.pixelOffset, needed);
}

PixelFormat PsdSource::format() const
{
    auto const model = rowOf(m_psd.mode)->model;
    auto const type = m_psd.depth <= 8 ? ComponentType::UInt8
        : m_psd.depth == 16            ? ComponentType::UInt16
                                       : ComponentType::Float32;
    // Further channels are selections and spot colours, unless the first of them is the picture's own.
    bool const hasAlpha = m_psd.hasMergedAlpha && m_psd.channels > channelCount(model) && m_psd.depth != 1
        && model != ColorModel::Indexed;
    if (!hasAlpha)
        return {type, model, Alpha::None};
    return {type, model, isMatted() ? Alpha::Premultiplied : Alpha::Straight};
}

// Photoshop puts the flattened picture on white and leaves its version beside it; other writers do neither.
bool PsdSource::isMatted() const
{
    return m_psd.resource(psd::kVersionInfo) != nullptr;
}

Result<ColorSpace> PsdSource::space() const
{
    auto const model = rowOf(m_psd.mode)->model;
    SharedBytes profile;
    if (auto bytes = readPsdResource(file(), m_psd, psd::kProfile); !bytes.empty())
        profile = std::make_shared<Bytes const>(std::move(bytes));
    if (model != ColorModel::Indexed)
        return colorSpaceWithProfile(model, std::move(profile));
    return ColorSpace::indexed(
        colorSpaceWithProfile(ColorModel::RGB, std::move(profile)), TRY(readPalette()));
}

// 256 reds, then the greens, then the blues. One colour may stand for transparency.
Result<Palette> PsdSource::readPalette() const
{
    if (m_psd.modeDataSize < psd::kPaletteBytes)
        return fail("the colour table of the Photoshop file is missing");
    Bytes table(psd::kPaletteBytes);
    TRY(file().readExactlyAt(m_psd.modeDataOffset, table));
    Palette palette;
    for (std::size_t i = 0; i < 256; ++i)
        palette.entries.push_back({table[i], table[256 + i], table[512 + i], 255});
    auto const transparent = readPsdResource(file(), m_psd, psd::kTransparentIndex);
    if (transparent.size() >= 2 && loadBE16(transparent.data()) < 256)
        palette.entries[loadBE16(transparent.data())][3] = 0;
    return palette;
}

void PsdSource::readMetadata()
{
    auto const block = [&](std::uint16_t id) { return readPsdResource(file(), m_psd, id); };
    auto& metadata = editDescription().metadata;
    if (auto const exif = block(psd::kExif); !exif.empty())
        metadata.setExif(exif);
    if (auto const iptc = block(psd::kIptc); !iptc.empty())
        metadata.setIptc(iptc);
    if (auto const xmp = block(psd::kXmp); !xmp.empty())
        metadata.setXmp(asText(xmp));
    editDescription().resolution = parsePsdResolution(block(psd::kResolution));
}

void PsdSource::describeFormat()
{
    auto& properties = subDictionary(editDescription().formatProperties, "{PSD}");
    set(properties, "ColorMode", rowOf(m_psd.mode)->name);
    set(properties, "LayerCount", m_psd.layerCount);
}

// Photoshop can be told to leave the flattened picture out; a white one then stands in for it.
bool PsdSource::hasFlattenedPicture() const
{
    constexpr std::size_t kFlagOffset = 4;
    auto const version = readPsdResource(file(), m_psd, psd::kVersionInfo);
    return m_psd.layerCount == 0 || version.size() <= kFlagOffset || version[kFlagOffset] != 0;
}

RowDecoder PsdSource::decoder() const
{
    auto const width = static_cast<std::size_t>(m_psd.size.width);
    if (m_psd.depth == 1)
        return [width](std::span<Bytes> planes, std::uint8_t* row) {
            // A set bit is black.
            unpackSamples(planes[0].data(), 1, width, row);
            expandToFullRange(row, 1, width);
            invertComponents(row, width, 1);
        };
    auto const size = static_cast<std::size_t>(m_psd.depth / 8);
    // Cyan, magenta, yellow and black count paper, not ink.
    std::size_t const inverted = m_psd.mode == PsdMode::CMYK ? 4 : 0;
    return [=, format = format()](std::span<Bytes> planes, std::uint8_t* row) {
        for (std::size_t i = 0; i < planes.size(); ++i) {
            auto* const plane = planes[i].data();
            swapBigEndian(plane, width, size, plane);
            if (i < inverted)
                invertComponents(plane, width, size);
            copySpaced(plane, row + i * size, width, size, {.to = planes.size()});
        }
        if (format.alpha == Alpha::Premultiplied)
            removeWhiteMatte(row, width, format);
    };
}

Result<StoredImage> PsdSource::openStored() const
{
    if (!hasFlattenedPicture())
        return fail("the Photoshop file was saved without a flattened picture");
    StoredImage stored {.rowBytes = m_psd.rowBytes(), .decode = decoder()};
    stored.planes = TRY(psdPlanes(file(), m_psd, format().channels()));
    return stored;
}

} // namespace velk::codec
