#pragma once

#include "base/Reporting.h"

#include <string_view>

namespace velk {

/// A guarded step of the profile operations, as the debug flag names it.
struct ProfileStep {
    std::string_view expression;
    int line;
};

/// With the debug flag: says that the guarded value of the step is missing.
inline void noteMissing(ProfileStep step)
{
    reportMissing(step.expression, "Profile", step.line);
}

/// With the debug flag: says that the step ended with status -1.
inline void noteFailure(ProfileStep step)
{
    reportStatus(step.expression, -1, "Profile", step.line);
}

} // namespace velk
