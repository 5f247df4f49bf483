#include "platform/codec/Codecs.h"

#include "platform/codec/Codec.h"

#include <algorithm>
#include <array>

namespace velk::codec {

namespace {

// Strong signatures first; TGA has none and comes last.
constexpr std::array kCodecs = {&kJpegCodec, &kPngCodec, &kWebpCodec, &kGifCodec, &kTiffCodec,
    &kJpeg2000Codec, &kPsdCodec, &kBmpCodec, &kSgiCodec, &kPnmCodec, &kTgaCodec};

constexpr std::size_t kHeadSize = 512;

} // namespace

std::span<Codec const* const> codecs()
{
    return kCodecs;
}

Codec const* codecForType(std::string_view typeIdentifier)
{
    auto const found = std::ranges::find(kCodecs, typeIdentifier, [](auto* codec) { return codec->type; });
    return found == kCodecs.end() ? nullptr : *found;
}

Result<Codec const*> codecForFile(InputFile const& file)
{
    std::array<std::uint8_t, kHeadSize> buffer;
    auto const head = ByteSpan(buffer).first(TRY(file.readAt(0, buffer)));
    auto const found = std::ranges::find_if(kCodecs, [&](auto* codec) { return codec->matches(head, file); });
    return found == kCodecs.end() ? nullptr : *found;
}

Result<std::shared_ptr<ImageSource const>> openImage(std::string const& path)
{
    auto file = TRY(InputFile::open(path));
    auto const* codec = TRY(codecForFile(file));
    if (!codec)
        return fail("not an image of a known format");
    return codec->open(std::move(file));
}

} // namespace velk::codec
