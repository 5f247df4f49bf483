#include "platform/codec/Codecs.h"

#include "platform/codec/Codec.h"

#include <algorithm>
#include <array>

namespace velk::codec {

namespace {

// Strong signatures first; TGA has none and comes last.
constexpr std::array kCodecs = {&kPngCodec};

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

Result<std::shared_ptr<ImageSource>> openImage(std::string const& path)
{
    auto file = TRY(InputFile::open(path));
    std::array<std::uint8_t, kHeadSize> buffer;
    auto const head = ByteSpan(buffer).first(TRY(file.readAt(0, buffer)));
    for (auto const* codec : kCodecs) {
        if (codec->matches(head, file))
            return codec->open(std::move(file));
    }
    return fail("not an image of a known format");
}

} // namespace velk::codec
