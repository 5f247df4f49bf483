#pragma once

#include "platform/color/IccProfile.h"
#include "profile/ProfileReport.h"

#include <cstdint>
#include <string>

namespace velk {

/// State of one check of one profile.
struct ProfileCheckContext {
    CheckMode mode;
    std::string path;
    /// Receives every fix.
    color::IccProfile profile;
    /// As read, and corrected once the header has been checked.
    color::ProfileHeader header = profile.header();
    /// As read, whatever the header checks make of the version.
    std::uint32_t majorVersion = header.majorVersion();
    /// Why the file cannot be written: an error of the system, -1 when it named none, 0 when it can.
    int lockError = 0;
    std::uint32_t problemCount = 0;
    /// Problems that were fixed completely; without any there is nothing to save.
    std::uint32_t fixedCount = 0;

    bool repairs() const { return mode == CheckMode::Repair; }
};

} // namespace velk
