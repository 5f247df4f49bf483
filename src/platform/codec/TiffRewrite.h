#pragma once

#include "platform/codec/Codec.h"

namespace velk::codec::tiff {

/// Whether the job leaves the coded pixels of a TIFF file as they are.
bool canRewrite(RewriteJob const& job);

/// Copies the file, appends a changed version of its first directory and points the header at it. What the
/// old version held and nothing refers to any more is overwritten with zeros. Everything else keeps its place
/// and bytes: pixels, other pages, sub-directories, maker notes.
Result<void> rewrite(RewriteJob const& job, AtomicFile& output);

} // namespace velk::codec::tiff
