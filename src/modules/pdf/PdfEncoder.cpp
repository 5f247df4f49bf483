#include "modules/pdf/PdfEncoder.h"

#include "base/TextEncoding.h"
#include "modules/pdf/PdfAlpha.h"
#include "modules/pdf/PdfFile.h"
#include "modules/pdf/PdfSource.h"
#include "platform/codec/DescriptiveTags.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/JpegSegments.h"
#include "platform/codec/PngDataWriter.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/IccProfile.h"

#include <algorithm>
#include <cmath>

namespace velk::codec::pdf {

using namespace graphics;

namespace {

constexpr std::string_view kJpegType = "public.jpeg";

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK};
constexpr int kDepths[] = {1, 2, 4, 8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kDepths,
    .indexDepths = kDepths,
    .sixteenBits = true,
};
constexpr int kEightBits[] = {8};
constexpr EncoderAbilities kJpegAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kEightBits,
};

bool asksForJpeg(EncodeOptions const& options)
{
    return options.quality && *options.quality < 1;
}

// ---- The page.

struct PageSize {
    double width = 0, height = 0; ///< in units
    int unit = 1; ///< in points
};

// Readers go up to 14400 units; larger pages count in larger units (ISO 32000-1, annex C).
PageSize pageSize(Size pixels, std::optional<Resolution> const& resolution)
{
    constexpr double kPointsPerInch = 72, kMostUnits = 14400;
    auto const dpi = resolution.value_or(Resolution {});
    auto const width = pixels.width * kPointsPerInch / dpi.x;
    auto const height = pixels.height * kPointsPerInch / dpi.y;
    auto const unit = std::clamp(std::ceil(std::max(width, height) / kMostUnits), 1.0, 1e6);
    return {width / unit, height / unit, static_cast<int>(unit)};
}

// PDF knows no exponents.
std::string number(double value)
{
    auto text = fmt::format("{:.4f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

// ---- The document's information (ISO 32000-1, 14.3.3).

// In hexadecimal digits, UTF-16 with its mark.
std::string textString(std::string_view text)
{
    std::string digits = "<FEFF";
    for (auto const byte : utf16FromUtf8(text, ByteOrder::Big))
        digits += fmt::format("{:02X}", byte);
    return digits + '>';
}

// "2026:02:14 08:30:00" as "(D:20260214083000)"; empty when it is nothing of that form.
std::string dateString(std::string exifDate)
{
    constexpr std::size_t kDigits = 14;
    std::erase_if(exifDate, [](char character) { return character == ':' || character == ' '; });
    bool const isDate = exifDate.size() == kDigits
        && std::ranges::all_of(exifDate, [](char character) { return character >= '0' && character <= '9'; });
    return isDate ? fmt::format("(D:{})", exifDate) : std::string();
}

std::string information(PropertyDictionary const& properties)
{
    struct Entry {
        std::string_view name, dictionary, key;
    };
    constexpr Entry kEntries[] = {
        {"Title", kDictionary, "Title"},
        {"Author", key::kTiff, "Artist"},
        {"Subject", key::kTiff, "ImageDescription"},
        {"Keywords", kDictionary, "Keywords"},
        {"Creator", key::kTiff, "Software"},
    };
    std::string entries;
    for (auto const& [name, dictionary, key] : kEntries) {
        if (auto const text = textIn(properties, dictionary, key); !text.empty())
            entries += fmt::format("/{} {} ", name, textString(text));
    }
    if (auto const date = dateString(textIn(properties, key::kTiff, "DateTime")); !date.empty())
        entries += fmt::format("/CreationDate {} ", date);
    return fmt::format("<< {}/Producer (velk) >>", entries);
}

// ---- The image's dictionary.

std::string_view deviceName(ColorModel model)
{
    return model == ColorModel::Gray ? "/DeviceGray"
        : model == ColorModel::CMYK  ? "/DeviceCMYK"
                                     : "/DeviceRGB";
}

// "[/Indexed base hival <table>]"; a palette without entries is black.
std::string indexedSpace(std::string_view base, Palette const& palette)
{
    std::string table;
    for (auto const& entry : palette.entries)
        table += fmt::format("{:02x}{:02x}{:02x}", entry[0], entry[1], entry[2]);
    if (table.empty())
        table = "000000";
    return fmt::format("[/Indexed {} {} <{}>]", base, table.size() / 6 - 1, table);
}

std::string imageEntries(Size size, int bits, std::string_view space)
{
    return fmt::format(
        "/Type /XObject /Subtype /Image /Width {} /Height {} /BitsPerComponent {} /ColorSpace {}", size.width,
        size.height, bits, space);
}

// The rows as PNG would store them, which the filter's predictors are taken from (ISO 32000-1, 7.4.4.4).
// Four inks lie like three colours and alpha there.
PngHeader predictedRows(PixelLayout const& layout, int bits)
{
    constexpr PngColorType kTypes[] = {PngColorType::Gray, PngColorType::Rgb, PngColorType::Rgba};
    auto const type = layout.format.model == ColorModel::Indexed ? PngColorType::Indexed
                                                                 : kTypes[layout.format.colorChannels() / 2];
    return {.size = layout.size, .bitDepth = bits, .colorType = type};
}

std::string flateEntries(PixelLayout const& layout, int bits)
{
    return fmt::format(" /Filter /FlateDecode /DecodeParms << /Predictor 15 /Colors {} /BitsPerComponent {} "
                       "/Columns {} >>",
        layout.format.colorChannels(), bits, layout.size.width);
}

// ---- Images that are JPEG files.

// How readers are told what the decoder makes of the coded components.
std::string jpegEntries(jpeg::Header const& header)
{
    std::string entries = " /Filter /DCTDecode";
    auto const components = header.frame.components.size();
    if (components == 4 && header.adobeTransform)
        entries += " /Decode [1 0 1 0 1 0 1 0]";
    if (components == 3 && !header.isJfifColor() && !header.adobeTransform)
        entries += " /DecodeParms << /ColorTransform 0 >>";
    return entries;
}

// The head of the source where its coded data can stand for the pixels. JFIF and Adobe markers that
// contradict each other are read differently by different readers.
std::optional<jpeg::Header> passableJpeg(EncodeJob const& job)
{
    bool const isAsked = job.keepsPixels && job.source && job.source->type().identifier == kJpegType
        && !job.options.quality && !job.options.noChromaSubsampling;
    auto const format = job.rows.format();
    if (!isAsked || format.hasAlpha() || format.componentType != ComponentType::UInt8)
        return std::nullopt;
    auto header = jpeg::readHeader(job.source->file());
    if (!header || std::ssize(header->frame.components) != format.channels()
        || header->frame.size != job.rows.size())
        return std::nullopt;
    bool const contradictsItself = header->jfif && header->adobeTransform == 0 && format.channels() == 3;
    return contradictsItself ? std::nullopt : std::optional(std::move(*header));
}

// The rows as a JPEG file of its own, for the time being.
Result<AtomicFile> encodeJpeg(EncodeJob const& job, RowSource& rows, AtomicFile const& output)
{
    auto file = TRY(AtomicFile::createPrivate(output.temporaryPath()));
    PropertyDictionary const noProperties;
    TRY(codecForType(kJpegType)->encode(
        {.rows = rows, .bitsPerComponent = 8, .options = job.options, .properties = noProperties}, file));
    TRY(file.flush());
    return file;
}

// ---- The file.

class Encoder {
public:
    Encoder(EncodeJob const& job, AtomicFile& output)
        : m_job(job)
        , m_output(output)
        , m_pdf(output)
    {
    }

    Result<void> encode()
    {
        TRY(m_pdf.start());
        m_catalog = m_pdf.reserve();
        m_image = m_pdf.reserve();
        TRY(writePage());
        auto const about = m_pdf.reserve();
        TRY(m_pdf.write(about, information(m_job.properties)));
        m_space = TRY(writeColorSpace());
        TRY(writeImage());
        return m_pdf.finish(m_catalog, about);
    }

private:
    Result<void> writePage()
    {
        auto const pages = m_pdf.reserve(), page = m_pdf.reserve(), contents = m_pdf.reserve();
        auto const ref = PdfFile::reference;
        auto const box = pageSize(m_job.rows.size(), m_job.resolution);
        auto const width = number(box.width), height = number(box.height);
        auto const unit = box.unit > 1 ? fmt::format(" /UserUnit {}", box.unit) : "";
        TRY(m_pdf.write(
            m_catalog, fmt::format("<< /Type /Catalog /Pages {}{} >>", ref(pages), TRY(writeMetadata()))));
        TRY(m_pdf.write(pages, fmt::format("<< /Type /Pages /Kids [{}] /Count 1 >>", ref(page))));
        TRY(m_pdf.write(page,
            fmt::format(
                "<< /Type /Page /Parent {} /MediaBox [0 0 {} {}]{} /Contents {} /Resources << /XObject "
                "<< /Im0 {} >> >> >>",
                ref(pages), width, height, unit, ref(contents), ref(m_image))));
        auto const drawing = fmt::format("q {} 0 0 {} 0 0 cm /Im0 Do Q", width, height);
        return m_pdf.writeStream(contents, "", [&] { return m_output.write(asBytes(drawing)); });
    }

    // The catalog's entry for the XMP packet.
    Result<std::string> writeMetadata()
    {
        auto const packet = m_job.metadata.xmp();
        if (packet.empty())
            return std::string();
        auto const object = m_pdf.reserve();
        TRY(m_pdf.writeStream(
            object, "/Type /Metadata /Subtype /XML", [&] { return m_output.write(asBytes(packet)); }));
        return " /Metadata " + PdfFile::reference(object);
    }

    Result<std::string> writeColorSpace()
    {
        auto const& space = m_job.rows.layout().space;
        auto const base = TRY(writeBaseSpace(space.base().model()));
        auto const* palette = space.palette();
        return palette ? indexedSpace(base, *palette) : base;
    }

    Result<std::string> writeBaseSpace(ColorModel model)
    {
        auto const& profile = m_job.profile;
        if (!profile || color::profileColorModel(*profile) != model)
            return std::string(deviceName(model));
        auto const object = m_pdf.reserve();
        auto const entries = fmt::format("/N {} /Alternate {}", channelCount(model), deviceName(model));
        TRY(m_pdf.writeStream(object, entries, [&] { return m_output.write(*profile); }));
        return fmt::format("[/ICCBased {}]", PdfFile::reference(object));
    }

    Result<void> writeImage()
    {
        if (auto const header = passableJpeg(m_job))
            return writeJpeg(m_job.source->file(), *header, "");
        if (!m_job.rows.format().hasAlpha())
            return writePixels(m_job.rows, "");
        auto const mask = m_pdf.reserve();
        auto const splitter = TRY(AlphaSplitter::create(m_job.rows, m_output));
        TRY(writePixels(*splitter, " /SMask " + PdfFile::reference(mask)));
        auto const alpha = TRY(splitter->alpha());
        return writeFlate(mask, *alpha, "/DeviceGray", "");
    }

    Result<void> writePixels(RowSource& rows, std::string const& entries)
    {
        if (!asksForJpeg(m_job.options))
            return writeFlate(m_image, rows, m_space, entries);
        auto const coded = TRY(encodeJpeg(m_job, rows, m_output));
        auto const file = TRY(InputFile::open(coded.temporaryPath()));
        return writeJpeg(file, TRY(jpeg::readHeader(file)), entries);
    }

    Result<void> writeJpeg(InputFile const& file, jpeg::Header const& header, std::string const& entries)
    {
        return m_pdf.writeStream(m_image,
            imageEntries(m_job.rows.size(), 8, m_space) + entries + jpegEntries(header),
            [&] { return m_output.copyFrom(file, 0, file.size()); });
    }

    Result<void> writeFlate(int object, RowSource& rows, std::string_view space, std::string const& entries)
    {
        // Alpha and what has several channels is never packed.
        auto const bits = rows.format().componentType == ComponentType::UInt16 ? 16
            : object == m_image                                                ? m_job.bitsPerComponent
                                                                               : 8;
        auto const& layout = rows.layout();
        return m_pdf.writeStream(
            object, imageEntries(layout.size, bits, space) + entries + flateEntries(layout, bits), [&] {
                return compressFilteredRows(
                    rows, predictedRows(layout, bits), [&](ByteSpan piece) { return m_output.write(piece); });
            });
    }

    EncodeJob const& m_job;
    AtomicFile& m_output;
    PdfFile m_pdf;
    int m_catalog = 0, m_image = 0;
    std::string m_space;
};

} // namespace

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const& options)
{
    return nearestTarget(info, asksForJpeg(options) ? kJpegAbilities : kAbilities);
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    return Encoder(job, output).encode();
}

} // namespace velk::codec::pdf
