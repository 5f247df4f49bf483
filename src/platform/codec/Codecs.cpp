#include "platform/codec/Codecs.h"

#include "platform/codec/Codec.h"
#include "platform/codec/ModuleCodecs.h"

#include <algorithm>
#include <array>
#include <vector>

namespace velk::codec {

namespace {

constexpr std::array kStrongCodecs = {&kJpegCodec, &kPngCodec, &kWebpCodec, &kGifCodec};
constexpr std::array kFurtherCodecs = {&kTiffCodec, &kJpeg2000Codec, &kPsdCodec, &kBmpCodec, &kRadianceCodec,
    &kIcoCodec, &kSgiCodec, &kPnmCodec, &kTgaCodec};

// Camera files are TIFF files and more; TGA has no signature at all and comes last.
std::vector<Codec const*> allCodecs()
{
    std::vector<Codec const*> all(kStrongCodecs.begin(), kStrongCodecs.end());
    all.insert(all.end(), moduleCodecs().begin(), moduleCodecs().end());
    all.insert(all.end(), kFurtherCodecs.begin(), kFurtherCodecs.end());
    return all;
}

constexpr std::size_t kHeadSize = 512;

} // namespace

std::span<Codec const* const> codecs()
{
    static auto const all = allCodecs();
    return all;
}

Codec const* codecForType(std::string_view typeIdentifier)
{
    auto const found = std::ranges::find(codecs(), typeIdentifier, [](auto* codec) { return codec->type; });
    return found == codecs().end() ? nullptr : *found;
}

Result<Codec const*> codecForFile(InputFile const& file)
{
    std::array<std::uint8_t, kHeadSize> buffer;
    auto const head = ByteSpan(buffer).first(TRY(file.readAt(0, buffer)));
    auto const found =
        std::ranges::find_if(codecs(), [&](auto* codec) { return codec->matches(head, file); });
    return found == codecs().end() ? nullptr : *found;
}

Result<std::shared_ptr<ImageSource const>> openImage(std::string const& path)
{
    auto file = TRY(InputFile::open(path));
    auto const* codec = TRY(codecForFile(file));
    TRY(file.checkReads());
    if (!codec)
        return fail("not an image of a known format");
    auto source = TRY(codec->open(std::move(file)));
    TRY(source->file().checkReads());
    return source;
}

} // namespace velk::codec
