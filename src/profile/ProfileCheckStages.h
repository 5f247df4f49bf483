#pragma once

#include "profile/ProfileCheckContext.h"

/// The stages of a check, in the order in which they run. Each prints a line for every problem and counts
/// what it found and fixed; in repair mode it stores its fixes in the working profile.
namespace velk {

/// File length, header fields and profile ID (ICC.1:2022, 7.2). Leaves the corrected header in the context.
void checkHeader(ProfileCheckContext& context);

/// The tags that the profile class asks for (ICC.1:2022, 8).
void checkRequiredTags(ProfileCheckContext& context);

/// Size, type signature and reserved bytes of every element.
void checkTagStructure(ProfileCheckContext& context);

/// What the elements hold, by their types.
void checkTagContents(ProfileCheckContext& context);

} // namespace velk
