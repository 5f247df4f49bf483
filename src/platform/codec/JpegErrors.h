#pragma once

#include "base/Result.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdio> // jpeglib.h needs FILE

namespace velk::codec::jpeg {

/// What libjpeg noticed about the entropy-coded data while it went on.
struct Damage {
    bool incomplete = false; ///< data ends early
    bool corrupt = false; ///< data that no encoder writes
};

/// libjpeg's error manager: prints nothing, keeps warnings in `damage`, and leaves `attempt` on an error.
struct ErrorManager : jpeg_error_mgr {
    ErrorManager();

    Damage damage;
    /// Says more than libjpeg's own message when set (a failed read or write).
    char const* cause = nullptr;
    char message[JMSG_LENGTH_MAX] = {};
    std::jmp_buf recovery = {};
};

/// The error that made libjpeg give up.
tl::unexpected<Error> failure(ErrorManager const& errors);

/// Runs `calls`, which call libjpeg. Where libjpeg gives up, it jumps out of `calls` past all destructors:
/// `calls` may hold nothing that needs one, and what it calls back must not either at that moment.
template <typename Calls> Result<void> attempt(ErrorManager& errors, Calls const& calls)
{
    if (setjmp(errors.recovery) != 0)
        return failure(errors);
    calls();
    return {};
}

} // namespace velk::codec::jpeg
