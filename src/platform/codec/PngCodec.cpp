#include "platform/codec/Codecs.h"
#include "platform/codec/PngAncillary.h"
#include "platform/codec/PngDataWriter.h"
#include "platform/codec/PngEdits.h"
#include "platform/codec/PngSource.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::size_t kMaximumPaletteSize = 256;

bool matchesPng(ByteSpan head, InputFile const&)
{
    return head.size() >= kPngSignature.size()
        && std::equal(kPngSignature.begin(), kPngSignature.end(), head.begin());
}

Result<std::shared_ptr<ImageSource>> openPng(InputFile file)
{
    return PngSource::open(std::move(file));
}

bool isLowDepth(int bits)
{
    return bits == 1 || bits == 2 || bits == 4;
}

// The fewest bits that count all palette entries, and no fewer than `wanted`.
int indexDepth(Palette const* palette, int wanted)
{
    auto const entries = palette ? palette->entries.size() : kMaximumPaletteSize;
    int depth = isLowDepth(wanted) ? wanted : 8;
    while (depth < 8 && entries > std::size_t {1} << depth)
        depth *= 2;
    return depth;
}

EncodeTarget negotiatePng(ImageInfo const& info, EncodeOptions const&)
{
    auto format = info.layout.format;
    if (format.model == ColorModel::Indexed)
        return {format, indexDepth(info.layout.space.palette(), info.bitsPerComponent)};
    if (format.model != ColorModel::Gray)
        format.model = ColorModel::RGB;
    if (format.hasAlpha())
        format.alpha = Alpha::Straight;
    if (format.componentType != ComponentType::UInt8)
        format.componentType = ComponentType::UInt16;
    bool const isPacked =
        format == PixelFormat {.model = ColorModel::Gray} && isLowDepth(info.bitsPerComponent);
    return {format,
        isPacked                                            ? info.bitsPerComponent
            : format.componentType == ComponentType::UInt16 ? 16
                                                            : 8};
}

Result<PngHeader> headerFor(EncodeJob const& job)
{
    auto const& layout = job.rows.layout();
    auto const format = layout.format;
    PngHeader header {.size = layout.size};
    header.bitDepth = format.componentType == ComponentType::UInt16 ? 16 : 8;
    if (format.componentType == ComponentType::Float32 || format.alpha == Alpha::Premultiplied)
        return fail("PNG cannot hold such pixels");
    switch (format.model) {
    case ColorModel::Gray:
        header.colorType = format.hasAlpha() ? PngColorType::GrayAlpha : PngColorType::Gray;
        if (!format.hasAlpha() && header.bitDepth == 8 && isLowDepth(job.bitsPerComponent))
            header.bitDepth = job.bitsPerComponent;
        return header;
    case ColorModel::RGB:
        header.colorType = format.hasAlpha() ? PngColorType::Rgba : PngColorType::Rgb;
        return header;
    case ColorModel::Indexed:
        header.colorType = PngColorType::Indexed;
        header.bitDepth = indexDepth(layout.space.palette(), job.bitsPerComponent);
        return header;
    default:
        return fail("PNG cannot hold such colours");
    }
}

// The chunks of a PNG source that outlive its pixels: texts as they are or as they were edited, and whatever
// is safe to copy and is not made anew here.
class KeptChunks {
public:
    KeptChunks(EncodeJob const& job)
        : m_source(dynamic_cast<PngSource const*>(job.source))
    {
        if (m_source)
            m_edits.emplace(m_source->chunks(),
                pngTextEdits(m_source->chunks(), changesBetween(m_source->properties(), job.properties)));
    }

    bool hasSource() const { return m_source != nullptr; }

    /// Those before the palette, those between it and the pixel data, or those behind.
    Result<void> write(PngPlace place, AtomicFile& output)
    {
        if (!m_source)
            return {};
        auto here = PngPlace::BeforePalette;
        for (auto const& chunk : m_source->chunks().chunks) {
            if (chunk.type == pngType::kData)
                here = PngPlace::Anywhere;
            else if (chunk.type == pngType::kPalette)
                here = std::max(here, PngPlace::BeforeData);
            else if (here == place && isKept(chunk) && !TRY(m_edits->replace(chunk, output)))
                TRY(output.copyFrom(m_source->file(), chunk.offset, chunk.size));
        }
        return place == PngPlace::BeforeData ? m_edits->insert(place, output) : Result<void>();
    }

private:
    static bool isKept(PngChunk const& chunk)
    {
        constexpr std::array kMadeAnew = {pngType::kResolution, pngType::kExif};
        if (chunk.role != PngRole::Other)
            return chunk.role == PngRole::Text;
        return chunk.isAncillary() && chunk.isSafeToCopy()
            && std::ranges::find(kMadeAnew, chunk.type) == kMadeAnew.end();
    }

    PngSource const* m_source;
    std::optional<PngEdits> m_edits;
};

Bytes colorChunks(EncodeJob const& job)
{
    Bytes chunks;
    auto const* png = findDictionary(job.properties, key::kPng);
    if (job.profile) {
        appendPngProfile(chunks, *job.profile);
    } else if (png) {
        for (auto const& property : kPngColorProperties) {
            if (auto const* value = find(*png, property.key))
                property.append(chunks, *value);
        }
    }
    return chunks;
}

// PLTE, and tRNS as far as the last entry that is not opaque.
Bytes paletteChunks(ColorSpace const& space)
{
    Bytes colors, alphas;
    std::size_t alphaCount = 0;
    static Palette const kBlack {{{0, 0, 0, 255}}};
    auto const* palette = space.palette();
    for (auto const& entry : palette && !palette->entries.empty() ? palette->entries : kBlack.entries) {
        if (alphas.size() == kMaximumPaletteSize)
            break;
        colors.insert(colors.end(), entry.begin(), entry.begin() + 3);
        alphas.push_back(entry[3]);
        if (entry[3] != 255)
            alphaCount = alphas.size();
    }
    Bytes chunks;
    appendPngChunk(chunks, pngType::kPalette, colors);
    if (alphaCount > 0)
        appendPngChunk(chunks, pngType::kTransparency, ByteSpan(alphas).first(alphaCount));
    return chunks;
}

Bytes metadataChunks(EncodeJob const& job)
{
    Bytes chunks;
    if (job.resolution)
        appendPngResolution(chunks, *job.resolution);
    appendPngExif(chunks, job.metadata.exif());
    if (auto const xmp = job.metadata.xmp(); !xmp.empty())
        appendPngXmp(chunks, xmp);
    if (auto const iptc = job.metadata.iptc(); !iptc.empty())
        appendRawProfile(chunks, "iptc", resourcesWithIptc(iptc));
    return chunks;
}

Bytes textChunks(PropertyDictionary const& properties)
{
    Bytes chunks;
    if (auto const* png = findDictionary(properties, key::kPng)) {
        for (auto const& [key, value] : *png) {
            if (isPngKeyword(key))
                appendPngKeyword(chunks, key, value);
        }
    }
    return chunks;
}

// Not interlaced, whatever the source was: interlacing makes files larger, and its pixels are all there is to
// keep.
Result<void> encodePng(EncodeJob const& job, AtomicFile& output)
{
    auto const header = TRY(headerFor(job));
    KeptChunks kept(job);
    TRY(output.write(kPngSignature));
    TRY(writePngChunk(output, pngType::kHeader, header.bytes()));
    TRY(output.write(colorChunks(job)));
    TRY(kept.write(PngPlace::BeforePalette, output));
    if (header.colorType == PngColorType::Indexed)
        TRY(output.write(paletteChunks(job.rows.layout().space)));
    TRY(output.write(metadataChunks(job)));
    if (!kept.hasSource())
        TRY(output.write(textChunks(job.properties)));
    TRY(kept.write(PngPlace::BeforeData, output));
    TRY(writePngData(job.rows, header, output));
    TRY(kept.write(PngPlace::Anywhere, output));
    return writePngChunk(output, pngType::kEnd, {});
}

bool canRewritePng(RewriteJob const& job)
{
    return job.turn == Turn::None;
}

// Copies the file from front to back, but for the chunks that edits replace.
class PngRewriter {
public:
    PngRewriter(PngSource const& source, std::vector<PngEdit> edits, AtomicFile& output)
        : m_source(source)
        , m_edits(source.chunks(), std::move(edits))
        , m_output(output)
    {
    }

    Result<void> rewrite()
    {
        for (auto const& chunk : m_source.chunks().chunks) {
            if (chunk.type == pngType::kPalette || chunk.type == pngType::kData)
                TRY(insertBefore(chunk, PngPlace::BeforePalette));
            if (chunk.type == pngType::kData)
                TRY(insertBefore(chunk, PngPlace::BeforeData));
            TRY(passChunk(chunk));
        }
        return copyUpTo(m_source.file().size());
    }

private:
    Result<void> insertBefore(PngChunk const& chunk, PngPlace place)
    {
        if (m_edits.hasNothingFor(place))
            return {};
        TRY(copyUpTo(chunk.offset));
        return m_edits.insert(place, m_output);
    }

    Result<void> passChunk(PngChunk const& chunk)
    {
        if (!m_edits.replaces(chunk))
            return {};
        TRY(copyUpTo(chunk.offset));
        TRY(m_edits.replace(chunk, m_output));
        m_copied = chunk.offset + chunk.size;
        return {};
    }

    // What is left of the source in front of `offset`, in one go.
    Result<void> copyUpTo(std::uint64_t offset)
    {
        TRY(m_output.copyFrom(m_source.file(), m_copied, offset - m_copied));
        m_copied = offset;
        return {};
    }

    PngSource const& m_source;
    PngEdits m_edits;
    AtomicFile& m_output;
    std::uint64_t m_copied = 0;
};

Result<void> rewritePng(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = dynamic_cast<PngSource const&>(job.source);
    return PngRewriter(source, pngRewriteEdits(job, source), output).rewrite();
}

} // namespace

Codec const kPngCodec = {
    .type = "public.png",
    .carries = {.exif = true, .iptc = true, .xmp = true, .profile = true, .resolution = true},
    .matches = matchesPng,
    .open = openPng,
    .negotiate = negotiatePng,
    .encode = encodePng,
    .canRewrite = canRewritePng,
    .rewrite = rewritePng,
};

} // namespace velk::codec
