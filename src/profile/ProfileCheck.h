#pragma once

#include <string>

namespace velk {

/// Prints one line for each problem of the profile at `path`; nothing when the file is no profile.
void verifyProfile(std::string const& path);

/// As `verifyProfile`, and corrects what can be corrected and saves the profile in place.
void repairProfile(std::string const& path);

} // namespace velk
