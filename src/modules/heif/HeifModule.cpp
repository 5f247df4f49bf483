#include "modules/heif/HeifEncoder.h"
#include "modules/heif/HeifRewriter.h"
#include "modules/heif/HeifSource.h"

#include <algorithm>
#include <iterator>

namespace {

using namespace velk;

template <std::string_view const& type> Result<std::shared_ptr<codec::ImageSource>> open(InputFile file)
{
    return codec::heif::Source::open(type, std::move(file));
}

constinit codec::Codec const kCodecs[] = {
    {
        .type = codec::heif::kHeicType,
        .open = open<codec::heif::kHeicType>,
        .negotiate = codec::heif::negotiateHeic,
        .encode = codec::heif::encodeHeic,
        .canRewrite = codec::heif::canRewrite,
        .rewrite = codec::heif::rewrite,
    },
    {
        .type = codec::heif::kAvifType,
        .open = open<codec::heif::kAvifType>,
        .negotiate = codec::heif::negotiateAvif,
        .encode = codec::heif::encodeAvif,
        .canRewrite = codec::heif::canRewrite,
        .rewrite = codec::heif::rewrite,
    },
    {
        .type = codec::heif::kHeifType,
        .open = open<codec::heif::kHeifType>,
    },
};

} // namespace

/// The codec of a type in this module (ModuleCodecs.h).
extern "C" __attribute__((visibility("default"))) codec::Codec const* velkModuleCodec(std::string_view type)
{
    auto const* const found = std::ranges::find(kCodecs, type, &codec::Codec::type);
    return found == std::end(kCodecs) ? nullptr : found;
}
