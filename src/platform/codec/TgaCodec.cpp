#include "platform/codec/Codecs.h"
#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/FixedText.h"
#include "platform/codec/PixelPacking.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/codec/StoredRows.h"
#include "platform/codec/TgaFile.h"
#include "platform/codec/TgaRunLength.h"

#include <algorithm>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "com.truevision.tga-image";
constexpr std::string_view kDictionary = "{TGA}";
constexpr std::string_view kTags[] = {"Artist", "DateTime", "ImageDescription", "Software"};

// TGA has no signature at its start. A file that is not called .tga and has no footer either is only taken
// for one when all that can be checked is right.
bool matches(ByteSpan head, InputFile const& file)
{
    auto const header = parseTgaHeader(head);
    if (!header || file.size() <= header->pixelOffset())
        return false;
    auto const name = lastPathComponent(file.path());
    auto const dot = name.rfind('.');
    auto const* type = types::fileTypeWithIdentifier(kType);
    if (dot != std::string_view::npos && types::hasExtension(*type, name.substr(dot + 1)))
        return true;
    if (hasTgaFooter(file))
        return true;
    bool const hasIdleMap = !header->hasColorMap && (header->mapFirst | header->mapLength) != 0;
    auto const pixels = header->rowBytes() * static_cast<std::uint64_t>(header->size.height);
    auto const left = file.size() - header->pixelOffset();
    return !hasIdleMap && header->attributeBits <= 8 && (header->isRunLengthCoded || left >= pixels);
}

// Reading

using Color = std::array<std::uint8_t, 4>; // red, green, blue, alpha

Color loadColor(std::uint8_t const* at, std::size_t bytes)
{
    if (bytes == 2) {
        std::uint32_t const pixel = loadLE16(at);
        auto const component = [&](int shift) {
            return static_cast<std::uint8_t>(scaleSample(pixel >> shift & 31, 31, 255));
        };
        return {
            component(10), component(5), component(0), static_cast<std::uint8_t>(pixel & 0x8000 ? 255 : 0)};
    }
    return {at[2], at[1], at[0], bytes == 4 ? at[3] : std::uint8_t {255}};
}

Color unpremultiplied(Color color)
{
    for (int i = 0; i < 3; ++i)
        color[static_cast<std::size_t>(i)] = color[3] == 0
            ? 0
            : static_cast<std::uint8_t>(scaleSample(color[static_cast<std::size_t>(i)], color[3], 255));
    return color;
}

class TgaSource final : public RawImageSource {
public:
    TgaSource(InputFile file, TgaHeader const& header)
        : RawImageSource(kType, std::move(file))
        , m_header(header)
    {
    }

    Result<void> load()
    {
        auto const pixels = static_cast<std::uint64_t>(m_header.size.pixelCount());
        auto const packet = 1 + m_header.pixelBytes();
        auto const needed = m_header.isRunLengthCoded
            ? PixelDataSize {packet, pixels / 128 * packet}
            : PixelDataSize {m_header.rowBytes(), pixels * m_header.pixelBytes()};
        TRY(checkPixelData(file(), m_header.size, m_header.pixelOffset(), needed));
        m_extension = readTgaExtension(file());
        m_alpha = findAlpha();
        TRY(readColorMap());
        auto& info = editDescription().info;
        info.layout = {m_header.size, format(), ColorSpace::device(ColorModel::RGB)};
        if (format().model == ColorModel::Gray)
            info.layout.space = ColorSpace::device(ColorModel::Gray);
        if (format().model == ColorModel::Indexed)
            info.layout.space = ColorSpace::indexed(info.layout.space, Palette {m_colors});
        return describeFormat();
    }

private:
    bool isMapped() const { return m_header.kind == TgaKind::ColorMapped; }
    // More colours than a palette takes are looked up while decoding.
    bool isIndexed() const { return isMapped() && m_header.bitsPerPixel == 8; }

    int colorBits() const { return isMapped() ? m_header.mapBits : m_header.bitsPerPixel; }

    Alpha findAlpha() const
    {
        bool const hasRoom = colorBits() == 16 || colorBits() == 32;
        if (!hasRoom)
            return Alpha::None;
        if (!m_extension)
            return m_header.attributeBits > 0 ? Alpha::Straight : Alpha::None;
        if (m_extension->attributes == TgaAttributes::PremultipliedAlpha)
            return Alpha::Premultiplied;
        return m_extension->attributes == TgaAttributes::Alpha ? Alpha::Straight : Alpha::None;
    }

    PixelFormat format() const
    {
        if (isIndexed())
            return {ComponentType::UInt8, ColorModel::Indexed, Alpha::None};
        // A looked-up colour has its alpha taken out of it already.
        auto const alpha = isMapped() && m_alpha != Alpha::None ? Alpha::Straight : m_alpha;
        return {
            ComponentType::UInt8, m_header.kind == TgaKind::Gray ? ColorModel::Gray : ColorModel::RGB, alpha};
    }

    // The colours by index; those before the first that the file gives are black.
    Result<void> readColorMap()
    {
        if (!isMapped())
            return {};
        auto const entryBytes = m_header.mapEntryBytes();
        Bytes bytes(m_header.mapLength * entryBytes);
        TRY(file().readExactlyAt(m_header.mapOffset(), bytes));
        std::size_t const most = isIndexed() ? 256 : 65536;
        m_colors.resize(std::min<std::size_t>(most, m_header.mapFirst), {0, 0, 0, 255});
        for (std::size_t i = 0; i < m_header.mapLength && m_colors.size() < most; ++i) {
            auto color = loadColor(bytes.data() + i * entryBytes, entryBytes);
            if (m_alpha == Alpha::Premultiplied)
                color = unpremultiplied(color);
            if (m_alpha == Alpha::None)
                color[3] = 255;
            m_colors.push_back(color);
        }
        return {};
    }

    Result<void> describeFormat()
    {
        auto& tga = subDictionary(editDescription().formatProperties, kDictionary);
        auto const put = [&](std::string_view key, std::string const& text) {
            if (!text.empty())
                set(tga, key, text);
        };
        set(tga, "BitsPerPixel", m_header.bitsPerPixel);
        set(tga, "Compression", m_header.isRunLengthCoded ? "RLE" : "None");
        Bytes id(m_header.idLength);
        TRY(file().readExactlyAt(kTgaHeaderSize, id));
        put("ImageID", readFixedText(id));
        if (!m_extension)
            return {};
        put("JobName", m_extension->jobName);
        put("SoftwareVersion", m_extension->softwareVersion);
        if (m_extension->gamma > 0)
            set(tga, "Gamma", m_extension->gamma);
        DescriptiveTags tags;
        tags.add(key::kTiff, "Artist", m_extension->author);
        tags.add(key::kTiff, "ImageDescription", m_extension->comments);
        tags.add(key::kTiff, "Software", m_extension->software);
        tags.add(key::kTiff, "DateTime", m_extension->dateTime);
        tags.addTo(editDescription().metadata);
        return {};
    }

    RowDecoder pixelDecoder() const
    {
        auto const width = static_cast<std::size_t>(m_header.size.width);
        auto const stored = m_header.pixelBytes();
        auto const channels = static_cast<std::size_t>(format().channels());
        if (isIndexed())
            return [width, colors = m_colors.size()](std::span<Bytes> planes, std::uint8_t* row) {
                std::ranges::transform(std::span(planes[0]).first(width), row,
                    [&](std::uint8_t index) { return index < colors ? index : std::uint8_t {0}; });
            };
        if (m_header.kind == TgaKind::Gray)
            return [=](std::span<Bytes> planes, std::uint8_t* row) {
                for (std::size_t x = 0; x < width; ++x)
                    std::memcpy(row + x * channels, planes[0].data() + x * stored, channels);
            };
        if (isMapped())
            return [=, this](std::span<Bytes> planes, std::uint8_t* row) {
                for (std::size_t x = 0; x < width; ++x) {
                    std::size_t const index = loadLE16(planes[0].data() + x * stored);
                    std::memcpy(
                        row + x * channels, m_colors[index < m_colors.size() ? index : 0].data(), channels);
                }
            };
        return [=](std::span<Bytes> planes, std::uint8_t* row) {
            auto const* from = planes[0].data();
            for (std::size_t x = 0; x < width; ++x, from += stored, row += channels) {
                auto const color = loadColor(from, stored);
                std::memcpy(row, color.data(), channels);
            }
        };
    }

    RowDecoder decoder() const
    {
        auto decode = pixelDecoder();
        if (!m_header.rightToLeft)
            return decode;
        return [decode = std::move(decode), width = static_cast<std::size_t>(m_header.size.width),
                   pixelBytes = format().bytesPerPixel()](std::span<Bytes> planes, std::uint8_t* row) {
            decode(planes, row);
            mirrorRow(row, width, pixelBytes);
        };
    }

    Result<StoredImage> openStored() const override
    {
        StoredImage stored {.rowBytes = static_cast<std::size_t>(m_header.rowBytes()), .decode = decoder()};
        if (m_header.isRunLengthCoded)
            stored.planes.push_back(tgaRunLengthRows(file(), m_header));
        else
            stored.planes.push_back(std::make_unique<VerbatimRows>(file(),
                VerbatimRows::Place {
                    m_header.pixelOffset(), m_header.rowBytes(), m_header.size.height, !m_header.topDown}));
        return stored;
    }

    TgaHeader m_header;
    std::optional<TgaExtension> m_extension;
    Alpha m_alpha = Alpha::None;
    std::vector<Color> m_colors;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    std::array<std::uint8_t, kTgaHeaderSize> bytes;
    TRY(file.readExactlyAt(0, bytes));
    auto const header = parseTgaHeader(bytes);
    if (!header)
        return fail("the TGA header makes no sense");
    auto source = std::make_shared<TgaSource>(std::move(file), *header);
    TRY(source->load());
    return source;
}

// Writing

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB};
constexpr ColorModel kModelsWithAlpha[] = {ColorModel::RGB};
constexpr int kDepths[] = {8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModelsWithAlpha,
    .grayDepths = kDepths,
    .indexDepths = kDepths,
    .paletteAlpha = true,
};
constexpr std::int32_t kLargestSide = 65535;

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    return nearestTarget(info, kAbilities);
}

TgaKind kindOf(ColorModel model)
{
    return model == ColorModel::Indexed ? TgaKind::ColorMapped
        : model == ColorModel::Gray     ? TgaKind::Gray
                                        : TgaKind::TrueColor;
}

Bytes headerOf(PixelLayout const& layout, std::string const& id)
{
    constexpr std::uint8_t kRunLengthCoded = 8;
    constexpr std::uint8_t kTopDown = 0x20;
    auto const* palette = layout.space.palette();
    bool const hasAlpha = layout.format.hasAlpha() || (palette && palette->hasAlpha());
    auto const kind = static_cast<std::uint8_t>(kindOf(layout.format.model));

    Bytes bytes;
    bytes.push_back(static_cast<std::uint8_t>(id.size()));
    bytes.push_back(palette ? 1 : 0);
    bytes.push_back(static_cast<std::uint8_t>(kind | kRunLengthCoded));
    appendLE16(bytes, 0);
    appendLE16(bytes, palette ? static_cast<std::uint16_t>(palette->entries.size()) : 0);
    bytes.push_back(!palette ? 0 : hasAlpha ? 32 : 24);
    appendLE32(bytes, 0);
    appendLE16(bytes, static_cast<std::uint16_t>(layout.size.width));
    appendLE16(bytes, static_cast<std::uint16_t>(layout.size.height));
    bytes.push_back(static_cast<std::uint8_t>(layout.format.channels() * 8));
    bytes.push_back(hasAlpha ? kTopDown | 8 : kTopDown);
    append(bytes, id);
    for (auto const& entry : palette ? palette->entries : std::vector<Color> {}) {
        append(bytes, Bytes {entry[2], entry[1], entry[0]});
        if (hasAlpha)
            bytes.push_back(entry[3]);
    }
    return bytes;
}

TgaExtension extensionOf(EncodeJob const& job)
{
    auto const& properties = job.properties;
    TgaExtension extension {
        .author = textIn(properties, key::kTiff, "Artist"),
        .comments = textIn(properties, key::kTiff, "ImageDescription"),
        .dateTime = textIn(properties, key::kTiff, "DateTime"),
        .jobName = textIn(properties, kDictionary, "JobName"),
        .software = textIn(properties, key::kTiff, "Software"),
    };
    if (auto const* tga = findDictionary(properties, kDictionary)) {
        if (auto const* gamma = find(*tga, "Gamma"))
            extension.gamma = gamma->number();
    }
    auto const* palette = job.rows.layout().space.palette();
    if (job.rows.format().hasAlpha() || (palette && palette->hasAlpha()))
        extension.attributes = TgaAttributes::Alpha;
    return extension;
}

void swapRedAndBlue(std::uint8_t* row, std::size_t width, std::size_t channels)
{
    if (channels < 3)
        return;
    for (auto* end = row + width * channels; row < end; row += channels)
        std::swap(row[0], row[2]);
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const& layout = job.rows.layout();
    if (layout.size.width > kLargestSide || layout.size.height > kLargestSide)
        return fail("a TGA image has at most {} pixels on a side", kLargestSide);
    std::string const id(asText(fixedText(textIn(job.properties, kDictionary, "ImageID"), 256)).data());
    TRY(output.write(headerOf(layout, id)));

    auto const channels = static_cast<std::size_t>(layout.format.channels());
    Bytes row(layout.rowBytes());
    Bytes coded;
    while (job.rows.rowsLeft() > 0) {
        TRY(job.rows.read({row.data(), row.size(), 1}));
        swapRedAndBlue(row.data(), static_cast<std::size_t>(layout.size.width), channels);
        coded.clear();
        appendTgaRuns(coded, row, channels);
        TRY(output.write(coded));
    }

    auto const extensionOffset = output.position();
    if (extensionOffset > 0xFFFFFFFFu)
        return fail("the image is too large for a TGA file (4 GB)");
    TRY(output.write(serializeTgaExtension(extensionOf(job))));
    Bytes footer;
    appendLE32(footer, static_cast<std::uint32_t>(extensionOffset));
    appendLE32(footer, 0);
    append(footer, kTgaSignature);
    return output.write(footer);
}

} // namespace

constinit Codec const kTgaCodec = {
    .type = kType,
    .carries = {.tags = kTags},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
