// Opens, describes, decodes and rewrites images. VELK_FUZZ_TYPE in the environment holds the input to one
// type identifier; without it the input's signature decides.
#include "base/AtomicFile.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/ScratchFile.h"
#include "platform/codec/Codec.h"
#include "platform/codec/ImageWriter.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/types/FileTypes.h"

#include <fmt/format.h>

#include <vector>

using namespace velk;

namespace {

constexpr std::int64_t kMaximumPixels = 1 << 18;
constexpr double kPreviewScale = 0.3;
constexpr std::int32_t kRowsAtOnce = 7;

// The type that inputs are held to, or null.
char const* requiredType()
{
    static auto const* const type = std::getenv("VELK_FUZZ_TYPE");
    return type;
}

std::string suffix()
{
    auto const* const type = requiredType() ? types::fileTypeWithIdentifier(requiredType()) : nullptr;
    return type ? fmt::format(".{}", type->keyword()) : std::string();
}

Result<std::shared_ptr<codec::ImageSource const>> open(std::string const& path)
{
    auto const* const type = requiredType();
    if (!type)
        return codec::openImage(path);
    auto const* const codec = codec::codecForType(type);
    fuzz::require(codec, "VELK_FUZZ_TYPE names a codec");
    auto const found = codec::codecForFile(TRY(InputFile::open(path)));
    if (!found || *found != codec)
        return fail("another format");
    return codec::openImage(path);
}

bool isSmall(graphics::Size size)
{
    return std::int64_t {size.width} * size.height <= kMaximumPixels;
}

void decode(codec::ImageSource const& source, graphics::DecodeRequest const& request)
{
    auto const decoded = source.open(request);
    if (!decoded)
        return;
    auto& rows = *decoded->rows;
    if (!isSmall(rows.size()))
        return;
    Bytes memory(rows.rowBytes() * kRowsAtOnce);
    while (rows.rowsLeft() > 0) {
        auto const count = std::min(kRowsAtOnce, rows.rowsLeft());
        if (!rows.read({memory.data(), rows.rowBytes(), count}))
            return;
    }
}

// With other metadata, as `--setProperty` does, or with none of it.
void rewrite(codec::ImageSource const& source, bool keepsMetadata)
{
    auto const* const codec = codec::codecForType(source.type().identifier);
    if (!codec->encode)
        return;
    auto properties = source.properties();
    if (keepsMetadata) {
        set(subDictionary(properties, codec::key::kTiff), "Artist",
            "Somebody with a longer name than before");
        set(subDictionary(properties, codec::key::kIptc), "Headline", "News");
        set(properties, codec::key::kDpiWidth, 300);
    } else {
        for (auto const key : {codec::key::kTiff, codec::key::kExif, codec::key::kGps, codec::key::kIptc})
            subDictionary(properties, key).clear();
        set(properties, codec::key::kExcludeProfile, true);
    }
    auto output = AtomicFile::create(fuzz::scratchDirectory() + "/output");
    fuzz::require(output.has_value(), "a file can be made");
    auto const written = codec::writeImage(
        *codec, {.image = source.image(), .source = &source, .properties = properties}, *output);
    if (!written || !output->commit(fuzz::scratchDirectory() + "/output"))
        return;
    auto const again = codec::openImage(fuzz::scratchDirectory() + "/output");
    fuzz::require(again.has_value(), "what was written can be opened");
    // A page is as large as its resolution says.
    fuzz::require(source.description().isInterpretation || (*again)->image().size() == source.image().size(),
        "a rewrite keeps the size");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    auto const source = open(fuzz::scratchFile({data, size}, suffix()));
    if (!source)
        return 0;
    auto const& info = (*source)->description().info;
    fuzz::require(info.layout.size.width > 0 && info.layout.size.height > 0, "an image has pixels");
    (*source)->properties();
    if (!isSmall(info.layout.size))
        return 0;
    decode(**source, {});
    auto const& whole = info.layout.size;
    decode(**source, {.scale = kPreviewScale, .region = {whole.width / 3, whole.height / 2, 1, 1}});
    rewrite(**source, true);
    rewrite(**source, false);
    return 0;
}
