#include "platform/codec/PngSource.h"

#include "base/Reporting.h"
#include "platform/codec/PngRows.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

using namespace graphics;

namespace {

// Texts and profiles inflate to no more than this, all together.
constexpr std::size_t kInflateLimit = 64 * 1024 * 1024;
constexpr double kFixedPoint = 100000;

// Chunks hold whole pixels per metre, which cannot say 72 or 300 per inch exactly; where a whole number of
// pixels per inch comes nearest to what is stored, that was meant.
double pixelsPerInch(std::uint32_t perMetre)
{
    auto const exact = perMetre * kMetresPerInch;
    auto const whole = std::round(exact);
    return std::lround(whole / kMetresPerInch) == static_cast<long>(perMetre) ? whole : exact;
}

} // namespace

// Reads the chunks around the pixel data and fills a source's description from them.
class PngInspector {
public:
    explicit PngInspector(PngSource& source)
        : m_source(source)
        , m_description(source.editDescription())
    {
    }

    Result<void> inspect()
    {
        TRY(readHeader());
        for (auto& chunk : m_source.m_chunks.chunks)
            TRY(readChunk(chunk));
        if (!m_isBehindHeader)
            return fail("it holds no image data");
        TRY(finishPixels());
        finishProperties();
        return {};
    }

private:
    using Handler = void (PngInspector::*)(PngChunk&, ByteSpan);
    struct Row {
        FourCC type;
        Handler take;
        /// Whether the chunk means something only in front of the pixel data.
        bool isHeader;
    };
    static std::array<Row, 13> const kHandlers;

    Result<void> readHeader()
    {
        m_source.m_chunks = TRY(listPngChunks(m_source.file()));
        auto const& chunks = m_source.m_chunks.chunks;
        if (!chunks.empty() && chunks.front().type == pngType::kPrivateVariant)
            return fail("it is in a private variant of PNG (CgBI)");
        if (chunks.empty() || chunks.front().type != pngType::kHeader)
            return fail("the PNG header is missing");
        auto const data = TRY(readPngChunk(m_source.file(), chunks.front()));
        if (!data.isIntact)
            return fail("the PNG header is damaged");
        m_source.m_header = TRY(PngHeader::parse(data.bytes));
        return {};
    }

    Result<void> readChunk(PngChunk& chunk)
    {
        if (chunk.type == pngType::kData)
            m_isBehindHeader = true;
        auto const row = std::ranges::find(kHandlers, chunk.type, &Row::type);
        if (row == kHandlers.end() || (row->isHeader && m_isBehindHeader))
            return {};
        auto const data = readPngChunk(m_source.file(), chunk);
        if (chunk.isAncillary()) {
            if (!data || !data->isIntact)
                warn("a metadata chunk is damaged");
        } else if (isIndexed() && (!data || !data->isIntact)) {
            return fail("the palette is damaged");
        }
        if (data)
            (this->*row->take)(chunk, data->bytes);
        return {};
    }

    bool isIndexed() const { return m_source.m_header.colorType == PngColorType::Indexed; }

    void warn(std::string_view what) { m_source.warnOnce(PngProblem::AncillaryChunk, what); }

    PropertyDictionary& png() { return subDictionary(m_description.formatProperties, key::kPng); }

    void takePalette(PngChunk&, ByteSpan data)
    {
        auto& entries = m_source.m_palette.entries;
        if (!isIndexed() || !entries.empty())
            return;
        auto const count = std::min<std::size_t>(data.size() / 3, 1u << m_source.m_header.bitDepth);
        for (std::size_t i = 0; i < count; ++i)
            entries.push_back({data[3 * i], data[3 * i + 1], data[3 * i + 2], 255});
    }

    void takeTransparency(PngChunk&, ByteSpan data)
    {
        if (isIndexed()) {
            auto& entries = m_source.m_palette.entries;
            for (std::size_t i = 0; i < std::min(data.size(), entries.size()); ++i)
                entries[i][3] = data[i];
            return;
        }
        auto const type = m_source.m_header.colorType;
        std::size_t const size = type == PngColorType::Gray ? 2 : type == PngColorType::Rgb ? 6 : 0;
        if (size == 0 || data.size() != size)
            return warn("the transparent colour makes no sense and is ignored");
        m_source.m_colorKey.assign(data.begin(), data.end());
    }

    void takeGamma(PngChunk&, ByteSpan data)
    {
        if (data.size() == 4 && loadBE32(data.data()) > 0)
            set(png(), key::kPngGamma, loadBE32(data.data()) / kFixedPoint);
    }

    void takeChromaticities(PngChunk&, ByteSpan data)
    {
        if (data.size() != 32)
            return;
        PropertyArray values;
        for (std::size_t i = 0; i < 8; ++i)
            values.emplace_back(loadBE32(data.data() + 4 * i) / kFixedPoint);
        set(png(), key::kPngChromaticities, std::move(values));
    }

    void takeSrgbIntent(PngChunk&, ByteSpan data)
    {
        if (data.size() == 1 && data[0] <= 3)
            set(png(), key::kPngSrgbIntent, int {data[0]});
    }

    // Name, zero, compression method 0, zlib stream.
    void takeProfile(PngChunk& chunk, ByteSpan data)
    {
        chunk.role = PngRole::Profile;
        auto const zero = static_cast<std::size_t>(std::ranges::find(data, 0) - data.begin());
        if (m_profile)
            return;
        auto profile = inflateZlib(data.subspan(std::min(zero + 2, data.size())), m_inflateBudget);
        if (!profile)
            return warn("the colour profile is damaged and ignored");
        m_profile = std::make_shared<Bytes const>(std::move(*profile));
    }

    void takeResolution(PngChunk&, ByteSpan data)
    {
        constexpr std::uint8_t kMetre = 1;
        if (data.size() != 9 || data[8] != kMetre || m_description.resolution)
            return;
        auto const x = loadBE32(data.data()), y = loadBE32(data.data() + 4);
        if (x > 0 && y > 0)
            m_description.resolution = Resolution {pixelsPerInch(x), pixelsPerInch(y)};
    }

    void takeExif(PngChunk& chunk, ByteSpan data)
    {
        chunk.role = PngRole::Exif;
        setExif(data);
    }

    // Some writers put the bytes in front that only JPEG needs.
    void setExif(ByteSpan data)
    {
        constexpr std::string_view kJpegPrefix("Exif\0\0", 6);
        if (startsWith(data, kJpegPrefix))
            data = data.subspan(kJpegPrefix.size());
        if (!m_hasExif && !data.empty())
            m_description.metadata.setExif(data);
        m_hasExif = m_hasExif || !data.empty();
    }

    // acTL counts the frames of an animation (PNG, third edition, 11.3.6.1), of which the plain image is one
    // only if a frame control chunk precedes it.
    void takeAnimation(PngChunk&, ByteSpan data)
    {
        if (data.size() == 8)
            m_frameCount = loadBE32(data.data());
    }

    void takeFrame(PngChunk&, ByteSpan) { m_imageIsFrame = true; }

    void takeText(PngChunk& chunk, ByteSpan data)
    {
        auto text = parsePngText(chunk.type, data, m_inflateBudget);
        if (!text)
            return warn("a text chunk is damaged");
        chunk.keyword = text->keyword;
        if (chunk.keyword == kPngXmpKeyword)
            takeXmp(chunk, text->text);
        else if (chunk.keyword.starts_with(kPngRawProfilePrefix))
            takeRawProfile(chunk, text->text);
        else
            takeKeyword(chunk, std::move(text->text));
    }

    void takeXmp(PngChunk& chunk, std::string_view packet)
    {
        chunk.role = PngRole::Xmp;
        if (!m_hasXmp)
            m_description.metadata.setXmp(packet);
        m_hasXmp = true;
    }

    void takeKeyword(PngChunk& chunk, std::string text)
    {
        constexpr std::array kTaken = {
            key::kPngGamma, key::kPngSrgbIntent, key::kPngChromaticities, key::kPngInterlaceType};
        if (std::ranges::find(kTaken, chunk.keyword) != kTaken.end())
            return;
        chunk.role = PngRole::Text;
        if (!find(png(), chunk.keyword))
            set(png(), chunk.keyword, std::move(text));
    }

    // Blocks as hexadecimal text, from programs older than the eXIf chunk. APP1 is what a JPEG's segment
    // held.
    void takeRawProfile(PngChunk& chunk, std::string_view text)
    {
        constexpr std::string_view kXmpSegment("http://ns.adobe.com/xap/1.0/\0", 29);
        auto const name = std::string_view(chunk.keyword).substr(kPngRawProfilePrefix.size());
        auto const block = decodeRawProfile(text);
        if (name == "exif" || (name == "APP1" && !startsWith(block, kXmpSegment))) {
            chunk.role = PngRole::Exif;
            m_legacyExif = block;
        } else if (name == "APP1") {
            chunk.role = PngRole::Xmp;
            m_legacyXmp = asText(ByteSpan(block).subspan(kXmpSegment.size()));
        } else if (name == "xmp") {
            chunk.role = PngRole::Xmp;
            m_legacyXmp = asText(block);
        } else if (name == "iptc" || name == "8bim") {
            chunk.role = PngRole::Iptc;
            if (auto const iim = iptcInResources(block); !iim.empty())
                m_description.metadata.setIptc(iim);
        } else if (name == "icc" || name == "icm") {
            chunk.role = PngRole::Profile;
        }
    }

    Result<void> finishPixels()
    {
        auto const& header = m_source.m_header;
        auto& info = m_description.info;
        bool const isGray =
            header.colorType == PngColorType::Gray || header.colorType == PngColorType::GrayAlpha;
        auto const base = colorSpaceWithProfile(isGray ? ColorModel::Gray : ColorModel::RGB, m_profile);
        info.bitsPerComponent = header.bitDepth;
        info.layout.size = header.size;
        info.layout.space = base;
        info.layout.format.componentType =
            header.bitDepth == 16 ? ComponentType::UInt16 : ComponentType::UInt8;
        info.layout.format.model = base.model();
        bool const hasAlpha = header.colorType == PngColorType::GrayAlpha
            || header.colorType == PngColorType::Rgba || !m_source.m_colorKey.empty();
        info.layout.format.alpha = hasAlpha ? Alpha::Straight : Alpha::None;
        if (isIndexed()) {
            if (m_source.m_palette.entries.empty())
                return fail("the palette is missing");
            info.layout.space = ColorSpace::indexed(base, m_source.m_palette);
            info.layout.format.model = ColorModel::Indexed;
        }
        return {};
    }

    void finishProperties()
    {
        set(png(), key::kPngInterlaceType, m_source.m_header.isInterlaced ? 1 : 0);
        setExif(m_legacyExif);
        if (!m_hasXmp && !m_legacyXmp.empty())
            m_description.metadata.setXmp(m_legacyXmp);
        addTextTwins();
        auto const images = std::uint64_t {m_frameCount} + (m_frameCount > 0 && m_imageIsFrame ? 0 : 1);
        m_description.imageCount = static_cast<int>(std::min<std::uint64_t>(images, m_source.file().size()));
    }

    // What Exif does not say may stand in text chunks.
    void addTextTwins()
    {
        std::optional<PropertyDictionary> known;
        for (auto const& twin : kPngTextTwins) {
            auto const* text = find(png(), twin.keyword);
            if (!text)
                continue;
            if (!known)
                m_description.metadata.describe(known.emplace());
            auto const* tiff = findDictionary(*known, key::kTiff);
            if (!tiff || !find(*tiff, twin.tiffKey))
                set(subDictionary(m_description.formatProperties, key::kTiff), twin.tiffKey, *text);
        }
    }

    PngSource& m_source;
    SourceDescription& m_description;
    std::size_t m_inflateBudget = kInflateLimit;
    bool m_isBehindHeader = false;
    SharedBytes m_profile;
    bool m_hasExif = false, m_hasXmp = false;
    Bytes m_legacyExif;
    std::string m_legacyXmp;
    std::uint32_t m_frameCount = 0;
    bool m_imageIsFrame = false;
};

std::array<PngInspector::Row, 13> const PngInspector::kHandlers = {{
    {pngType::kPalette, &PngInspector::takePalette, true},
    {pngType::kTransparency, &PngInspector::takeTransparency, true},
    {pngType::kGamma, &PngInspector::takeGamma, true},
    {pngType::kChromaticities, &PngInspector::takeChromaticities, true},
    {pngType::kSrgb, &PngInspector::takeSrgbIntent, true},
    {pngType::kProfile, &PngInspector::takeProfile, true},
    {pngType::kResolution, &PngInspector::takeResolution, true},
    {pngType::kAnimation, &PngInspector::takeAnimation, true},
    {pngType::kFrame, &PngInspector::takeFrame, true},
    {pngType::kExif, &PngInspector::takeExif, false},
    {pngType::kText, &PngInspector::takeText, false},
    {pngType::kCompressedText, &PngInspector::takeText, false},
    {pngType::kInternationalText, &PngInspector::takeText, false},
}};

PngSource::PngSource(InputFile file)
    : ImageSource("public.png", std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> PngSource::open(InputFile file)
{
    auto source = std::make_shared<PngSource>(std::move(file));
    TRY(PngInspector(*source).inspect());
    return source;
}

Result<DecodedRows> PngSource::open(DecodeRequest const& request) const
{
    auto const size = m_header.size;
    // Rows below the region need not be decoded; those above it must, for the filters refer to them.
    auto height = size.height;
    if (!request.region.isEmpty() && !m_header.isInterlaced)
        height = std::clamp(request.region.y + request.region.height, 1, size.height);
    auto self = std::static_pointer_cast<PngSource const>(shared_from_this());
    return wholeImage(TRY(readPngRows(std::move(self), height)));
}

void PngSource::warnOnce(PngProblem problem, std::string_view what) const
{
    auto const bit = static_cast<unsigned>(problem);
    if (!(m_warned.fetch_or(bit) & bit))
        reportWarning("{}: {}\n", path(), what);
}

} // namespace velk::codec
