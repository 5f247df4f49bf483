#include "platform/codec/ModuleCodecs.h"

#include "base/Bytes.h"
#include "base/Reporting.h"
#include "platform/modules/Module.h"
#include "platform/types/FileTypes.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace velk::codec {

namespace {

// A format as the executable knows it.
struct ModuleFormat {
    std::string_view type;
    /// The module is velk-codec-<module>.so, and a package of that name brings it.
    char const* module;
    Carries carries;
    bool (*matches)(ByteSpan head, InputFile const& file);
    bool isWritable = false;
};

// ---- Signatures.

bool startsWith(ByteSpan head, std::string_view bytes, std::size_t at = 0)
{
    return head.size() >= at + bytes.size()
        && std::equal(bytes.begin(), bytes.end(), head.begin() + static_cast<std::ptrdiff_t>(at),
            [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

// The file type box of ISO/IEC 14496-12, 4.3: major brand, minor version, compatible brands.
bool hasBrand(ByteSpan head, std::string_view brand)
{
    constexpr std::size_t kMajorBrand = 8, kCompatibleBrands = 16, kBrandSize = 4;
    if (!startsWith(head, "ftyp", 4))
        return false;
    if (startsWith(head, brand, kMajorBrand))
        return true;
    auto const end = std::min<std::size_t>(head.size(), loadBE32(head.data()));
    for (auto at = kCompatibleBrands; at + kBrandSize <= end; at += kBrandSize) {
        if (startsWith(head, brand, at))
            return true;
    }
    return false;
}

bool isAvif(ByteSpan head, InputFile const&)
{
    return hasBrand(head, "avif") || hasBrand(head, "avis");
}

bool isHeic(ByteSpan head, InputFile const&)
{
    return hasBrand(head, "heic") || hasBrand(head, "heix") || hasBrand(head, "heim")
        || hasBrand(head, "hevc");
}

bool isHeif(ByteSpan head, InputFile const&)
{
    return hasBrand(head, "mif1") || hasBrand(head, "msf1");
}

// A bare codestream, or a container (ISO/IEC 18181-2, 4.1).
bool isJpegXl(ByteSpan head, InputFile const&)
{
    return startsWith(head, "\xFF\x0A") || startsWith(head, {"\0\0\0\x0CJXL \r\n\x87\n", 12});
}

bool isPdf(ByteSpan head, InputFile const&)
{
    return startsWith(head, "%PDF-");
}

bool isExr(ByteSpan head, InputFile const&)
{
    return startsWith(head, "\x76\x2F\x31\x01");
}

bool hasExtensionOf(InputFile const& file, std::string_view type)
{
    auto const& path = file.path();
    auto const dot = path.rfind('.');
    return dot != std::string::npos
        && types::hasExtension(*types::fileTypeWithIdentifier(type), std::string_view(path).substr(dot + 1));
}

constexpr std::string_view kSvg = "public.svg-image";

// Markup with an svg element near its start, or further down when its name says so; or such markup
// compressed.
bool isSvg(ByteSpan head, InputFile const& file)
{
    auto const text = asText(head);
    auto const first = text.find_first_not_of("\xEF\xBB\xBF \t\r\n");
    if (first != std::string_view::npos && text[first] == '<')
        return text.find("<svg") != std::string_view::npos || text.find(":svg") != std::string_view::npos
            || hasExtensionOf(file, kSvg);
    return startsWith(head, "\x1F\x8B") && hasExtensionOf(file, kSvg);
}

bool isTiff(ByteSpan head)
{
    return startsWith(head, {"II*\0", 4}) || startsWith(head, {"MM\0*", 4});
}

constexpr std::string_view kDng = "com.adobe.raw-image";
constexpr std::string_view kCameraRaw = "public.camera-raw-image";

// A TIFF file whose name says that it is more.
bool isDng(ByteSpan head, InputFile const& file)
{
    return isTiff(head) && hasExtensionOf(file, kDng);
}

// Makers' formats with a mark of their own, and those that are TIFF files by name.
bool isCameraRaw(ByteSpan head, InputFile const& file)
{
    struct Mark {
        std::string_view bytes;
        std::size_t at;
    };
    constexpr Mark kMarks[] = {{"FUJIFILMCCD-RAW", 0}, {"IIRO", 0}, {"IIRS", 0}, {"MMOR", 0},
        {{"IIU\0", 4}, 0}, {"HEAPCCDR", 6}, {"ftypcrx ", 4}, {"FOVb", 0}, {{"\0MRM", 4}, 0},
        {{"CR\2\0", 4}, 8}};
    return std::ranges::any_of(kMarks, [&](Mark const& mark) {
        return startsWith(head, mark.bytes, mark.at);
    }) || (isTiff(head) && hasExtensionOf(file, kCameraRaw));
}

constexpr Carries kEverything = {.exif = true, .xmp = true, .profile = true};

constexpr std::string_view kPdfTags[] = {"Artist", "DateTime", "ImageDescription", "Software"};
constexpr std::string_view kExrTags[] = {
    "Artist", "Copyright", "DateTime", "ImageDescription", "Make", "Model", "Software"};

constexpr ModuleFormat kFormats[] = {
    {"public.avif", "codec-heif", kEverything, isAvif, true},
    {"public.heic", "codec-heif", kEverything, isHeic, true},
    {"public.heif", "codec-heif", kEverything, isHeif, false},
    {"public.jpeg-xl", "codec-jxl", kEverything, isJpegXl, true},
    {"com.adobe.pdf", "codec-pdf", {.xmp = true, .profile = true, .resolution = true, .tags = kPdfTags},
        isPdf, true},
    {"com.ilm.openexr-image", "codec-exr", {.resolution = true, .tags = kExrTags}, isExr, true},
    {kSvg, "codec-svg", {}, isSvg, false},
    {kDng, "codec-raw", {.exif = true, .xmp = true}, isDng, false},
    {kCameraRaw, "codec-raw", {.exif = true, .xmp = true}, isCameraRaw, false},
};

// ---- What the modules do.

std::string missingText(ModuleFormat const& format)
{
    return fmt::format("{} files need the module velk-{}, which the package velk-{} brings",
        types::fileTypeWithIdentifier(format.type)->keyword(), format.module, format.module);
}

Result<Codec const*> loaded(ModuleFormat const& format)
{
    auto const find = modules::function<FindModuleCodec>(format.module, kFindModuleCodec);
    if (!find)
        return modules::isInstalled(format.module) ? fail("{}", find.error().message)
                                                   : fail("{}", missingText(format));
    auto const* const codec = (*find)(format.type);
    if (!codec)
        return fail("the module velk-{} is of another version", format.module);
    return codec;
}

// A file is opened several times in a run, by each function that looks at it.
void warnOnce(std::string const& path, Error const& error)
{
    static std::mutex mutex;
    static std::set<std::string> warned;
    std::lock_guard const lock(mutex);
    if (warned.insert(path).second)
        reportWarning("{}: {}\n", path, error.message);
}

// The functions of one row of the table.
template <std::size_t row> struct FromModule {
    static constexpr ModuleFormat const& kFormat = kFormats[row];

    static Result<std::shared_ptr<ImageSource>> open(InputFile file)
    {
        auto const codec = loaded(kFormat);
        if (!codec) {
            warnOnce(file.path(), codec.error());
            return tl::unexpected(codec.error());
        }
        return (*codec)->open(std::move(file));
    }

    static EncodeTarget negotiate(graphics::ImageInfo const& info, EncodeOptions const& options)
    {
        auto const codec = loaded(kFormat);
        return codec ? (*codec)->negotiate(info, options)
                     : EncodeTarget {info.layout.format, info.bitsPerComponent};
    }

    static Result<void> encode(EncodeJob const& job, AtomicFile& output)
    {
        return TRY(loaded(kFormat))->encode(job, output);
    }

    static bool canRewrite(RewriteJob const& job)
    {
        auto const codec = loaded(kFormat);
        return codec && (*codec)->canRewrite && (*codec)->canRewrite(job);
    }

    static Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
    {
        return TRY(loaded(kFormat))->rewrite(job, output);
    }

    static constexpr Codec kCodec = {
        .type = kFormat.type,
        .carries = kFormat.carries,
        .matches = kFormat.matches,
        .open = open,
        .negotiate = kFormat.isWritable ? negotiate : nullptr,
        .encode = kFormat.isWritable ? encode : nullptr,
        .canRewrite = kFormat.isWritable ? canRewrite : nullptr,
        .rewrite = kFormat.isWritable ? rewrite : nullptr,
    };
};

template <std::size_t... rows>
constexpr std::array<Codec const*, sizeof...(rows)> allRows(std::index_sequence<rows...>)
{
    return {&FromModule<rows>::kCodec...};
}

constexpr auto kCodecs = allRows(std::make_index_sequence<std::size(kFormats)>());

ModuleFormat const* formatOf(Codec const& codec)
{
    auto const found = std::ranges::find(kFormats, codec.type, &ModuleFormat::type);
    return found == std::end(kFormats) ? nullptr : found;
}

} // namespace

std::span<Codec const* const> moduleCodecs()
{
    return kCodecs;
}

bool isInstalled(Codec const& codec)
{
    auto const* format = formatOf(codec);
    return !format || modules::isInstalled(format->module);
}

std::string packageOf(Codec const& codec)
{
    auto const* format = formatOf(codec);
    return format ? fmt::format("velk-{}", format->module) : "velk";
}

std::string missingModuleText(Codec const& codec)
{
    return missingText(*formatOf(codec));
}

} // namespace velk::codec
