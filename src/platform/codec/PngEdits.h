#pragma once

#include "base/AtomicFile.h"
#include "platform/codec/Codec.h"
#include "platform/codec/PngSource.h"

#include <functional>

namespace velk::codec {

/// Where a chunk may stand (PNG, third edition, 5.6), strictest first.
enum class PngPlace : std::uint8_t { BeforePalette, BeforeData, Anywhere };

/// A change to the chunks of a file: all that `replaces` picks go, and `chunks` (whole chunks, or nothing)
/// stand where the first of them was, or at `place` when there was none.
struct PngEdit {
    std::function<bool(PngChunk const&)> replaces;
    Bytes chunks;
    PngPlace place = PngPlace::Anywhere;
};

/// Carries out edits while the chunks of `list` pass by in their order.
class PngEdits {
public:
    PngEdits(PngChunkList const& list, std::vector<PngEdit> edits);

    bool replaces(PngChunk const& chunk) const;
    /// Takes a chunk out if an edit replaces it, and writes what stands in its place. Returns whether it did.
    Result<bool> replace(PngChunk const& chunk, AtomicFile& output);
    /// Writes what has not been written and can stand no later than here: before the palette (or the pixel
    /// data where there is none), or before the pixel data.
    Result<void> insert(PngPlace place, AtomicFile& output);
    /// Whether nothing is left that `insert` would write at this place.
    bool hasNothingFor(PngPlace place) const;

private:
    struct Pending {
        PngEdit edit;
        bool isWritten = false;
        /// A chunk that it replaces is still to come.
        bool isExpected = false;
    };
    bool isDue(Pending const& pending, PngPlace place) const;

    std::vector<Pending> m_edits;
};

/// The edits of text chunks that changed properties ask for: {PNG} keywords, and the text twins of {TIFF}
/// where the file has them, so that the two never contradict each other.
std::vector<PngEdit> pngTextEdits(PngChunkList const& list, PropertyChanges const& changes);

/// Everything that a rewriting changes.
std::vector<PngEdit> pngRewriteEdits(RewriteJob const& job, PngSource const& source);

} // namespace velk::codec
