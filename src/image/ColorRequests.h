#pragma once

#include "base/Result.h"
#include "image/ImageEditState.h"

namespace velk {

/// `--matchTo` profile, `--matchToWithIntent` profile intent: the render is to convert into the profile's
/// space, by way of the spaces of earlier such requests. An unknown intent is reported and counts as the
/// default one.
Result<void> requestMatching(ImageEditState& state, FunctionRequest const& request);
/// `--embedProfile` profile, `--embedProfileIfNone` profile: labels the image anew, its pixels unchanged.
Result<void> requestEmbedding(ImageEditState& state, FunctionRequest const& request);
/// `--setProperty profile` path: as `--embedProfile`.
Result<void> requestProfileReplacement(ImageEditState& state, FunctionRequest const& request);
/// `--deleteProperty profile`: the image goes without a profile.
Result<void> requestProfileDeletion(ImageEditState& state);
/// `--deleteColorManagementProperties`: removes what metadata say about colour.
Result<void> requestColorPropertiesDeletion(ImageEditState& state, FunctionRequest const& request);
/// `--optimizeColorForSharing`: asks the encoder for 8-bit sRGB no larger than the source.
Result<void> requestSharing(ImageEditState& state, FunctionRequest const& request);

/// The way of the image's colours to the space of the last matching request, which comes last; empty when
/// nothing is to be matched.
std::vector<graphics::ColorLink> matchingLinks(ImageEditState const& state);

} // namespace velk
