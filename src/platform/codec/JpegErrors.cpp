#include "platform/codec/JpegErrors.h"

#include <jerror.h>

namespace velk::codec::jpeg {

namespace {

ErrorManager& managerOf(j_common_ptr info)
{
    return *static_cast<ErrorManager*>(info->err);
}

[[noreturn]] void leave(j_common_ptr info)
{
    auto& errors = managerOf(info);
    errors.format_message(info, errors.message);
    std::longjmp(errors.recovery, 1);
}

// Only what costs pixels counts; libjpeg also warns of a few harmless oddities of other encoders.
void noteWarning(j_common_ptr info, int level)
{
    if (level >= 0)
        return;
    auto& errors = managerOf(info);
    ++errors.num_warnings;
    switch (errors.msg_code) {
    case JWRN_JPEG_EOF:
    case JWRN_HIT_MARKER:
        errors.damage.incomplete = true;
        break;
    case JWRN_HUFF_BAD_CODE:
    case JWRN_ARITH_BAD_CODE:
    case JWRN_MUST_RESYNC:
        errors.damage.corrupt = true;
        break;
    default:
        break;
    }
}

void printNothing(j_common_ptr) { }

} // namespace

ErrorManager::ErrorManager()
    : jpeg_error_mgr {}
{
    jpeg_std_error(this);
    error_exit = leave;
    emit_message = noteWarning;
    output_message = printNothing;
}

tl::unexpected<Error> failure(ErrorManager const& errors)
{
    if (errors.cause)
        return fail("{}", errors.cause);
    if (errors.msg_code == JERR_OUT_OF_MEMORY)
        return fail("out of memory");
    return fail("not a valid JPEG image ({})", errors.message);
}

} // namespace velk::codec::jpeg
