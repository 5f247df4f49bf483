#pragma once

#include "base/RunSettings.h"

#include <string>
#include <vector>

namespace velk {

/// What a profile operation returns for a file that is not a profile.
constexpr int kNotAProfile = -1;

/// Applies modification requests, in order, to a working copy of the ICC profile at `inputPath` and writes it
/// to `outputPath` (which may be the same) when every one succeeded; any failure is reported and abandons the
/// file. `--repair` hands the profile to the repairer, which saves it in place, and ends the walk. Returns
/// `kNotAProfile`, without a message, when the file cannot be opened as a profile, else 0.
int modifyProfile(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests);

/// Writes tag elements of the profile at `path` into files as `--extractTag` requests ask; the first that
/// fails is reported and stops. Returns `kNotAProfile`, without a message, when the file cannot be opened as
/// a profile, else 0.
int extractProfileTags(std::string const& path, std::vector<FunctionRequest> const& requests);

} // namespace velk
