// The module velk-codec-pdf: first pages drawn by poppler, and pages written around an image.

#include "modules/pdf/PdfEncoder.h"
#include "modules/pdf/PdfSource.h"

namespace velk::codec::pdf {

namespace {

constinit Codec const kCodec = {
    .type = kType,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace

} // namespace velk::codec::pdf

extern "C" __attribute__((visibility("default"))) velk::codec::Codec const* velkModuleCodec(
    std::string_view type)
{
    return type == velk::codec::pdf::kType ? &velk::codec::pdf::kCodec : nullptr;
}
