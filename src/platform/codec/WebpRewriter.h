#pragma once

#include "platform/codec/Codec.h"
#include "platform/codec/WebpContainer.h"

#include <vector>

namespace velk::codec {

/// The chunks of a WebP file in memory that libwebp has written.
std::vector<WebpPiece> webpPiecesOf(ByteSpan file);
/// Puts the profile in, or takes it out when null.
void setWebpProfile(std::vector<WebpPiece>& pieces, SharedBytes const& profile);
/// Puts Exif and XMP in; takes out what `metadata` does not have.
void setWebpMetadata(std::vector<WebpPiece>& pieces, Metadata const& metadata);
/// Makes the extended header say what the chunks hold; adds one where it is needed. `canvas` and `hasAlpha`
/// describe the picture for a header that has to be added.
void extendWebp(std::vector<WebpPiece>& pieces, graphics::Size canvas, bool hasAlpha);

/// Writes the source's chunks again around its coded frames, all frames of an animation included.
Result<void> rewriteWebp(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec
