#include "modules/jxl/JxlEncoder.h"
#include "modules/jxl/JxlRewriter.h"
#include "modules/jxl/JxlSource.h"

namespace {

constinit velk::codec::Codec const kCodec = {
    .type = velk::codec::jxl::kType,
    .open = velk::codec::jxl::Source::open,
    .negotiate = velk::codec::jxl::negotiate,
    .encode = velk::codec::jxl::encode,
    .canRewrite = velk::codec::jxl::canRewrite,
    .rewrite = velk::codec::jxl::rewrite,
};

} // namespace

/// The codec of a type in this module (ModuleCodecs.h).
extern "C" __attribute__((visibility("default"))) velk::codec::Codec const* velkModuleCodec(
    std::string_view type)
{
    return type == kCodec.type ? &kCodec : nullptr;
}
