#pragma once

#include "platform/codec/Codec.h"
#include "platform/codec/JpegSource.h"

namespace velk::codec::jpeg {

/// Whether an image can be turned by moving coefficients: along an axis that is reversed, its size must be a
/// whole number of units (iMCUs), because a partial unit can only stand at the right and bottom edges.
bool canTurn(Frame const& frame, graphics::Turn turn);

/// Writes the source turned by `job.turn` with exactly the same coefficients, in the same coding process,
/// and with the metadata that the job asks for. Pictures of the multi-picture format that still lie the
/// old way are left out; other data behind the image is kept.
Result<void> turn(RewriteJob const& job, JpegSource const& source, AtomicFile& output);

} // namespace velk::codec::jpeg
