#pragma once

#include "base/Bytes.h"
#include "platform/codec/JpegErrors.h"
#include "platform/graphics/BackgroundTasks.h"
#include "platform/graphics/Image.h"

#include <array>
#include <memory>
#include <vector>

namespace velk::codec::jpeg {

/// What a turn does: mirrors the picture along its own axes first, then swaps them.
struct TurnSteps {
    bool swapsAxes = false;
    bool mirrorsX = false; ///< left becomes right
    bool mirrorsY = false; ///< top becomes bottom
};
TurnSteps stepsOf(graphics::Turn turn);

/// The DCT coefficients of one component on their way from source to turned image: taken in by rows of
/// blocks, handed out by rows of blocks of the turned component, each block turned as well.
///
/// Most coefficients are zero, so blocks are kept packed, an eighth of their size or less. Packed blocks can
/// only be read in order; therefore they lie in one stream for each strip of some turned block rows:
///
///     source, axes swapped:  | strip 0 | strip 1 | ...      a row of blocks adds to every strip,
///                            | strip 0 | strip 1 | ...      a strip is a few columns of the source
///
///     axes not swapped:      | strip 0           |
///                            | strip 1           |
class TurnedBlocks {
public:
    /// A component of `width` x `height` blocks; rows are asked for `rowsAtOnce` at a time, and those that
    /// come next are made ready in the background.
    TurnedBlocks(TurnSteps steps, unsigned width, unsigned height, unsigned rowsAtOnce,
        graphics::BackgroundTasks& tasks);
    ~TurnedBlocks();
    TurnedBlocks(TurnedBlocks const&) = delete;
    TurnedBlocks& operator=(TurnedBlocks const&) = delete;

    /// Takes in the next source row, from top to bottom; rows beyond the last are ignored.
    void append(JBLOCK const* blocks);
    /// `rowsAtOnce` turned rows from `firstRow` on, a multiple of `rowsAtOnce`; valid until the next call.
    /// Blocks outside the component hold anything.
    JBLOCKARRAY rows(unsigned firstRow);

private:
    // Grows by chunks, so that nothing is ever copied; no block crosses a chunk's end.
    class Stream {
    public:
        void pack(JBLOCK const& block);

        class Reader;

    private:
        static constexpr std::size_t kChunkSize = 4096;
        std::vector<std::unique_ptr<std::uint8_t[]>> m_chunks;
        std::size_t m_used = kChunkSize;
    };

    // Where a source coefficient goes in a turned block, and which change their sign (by source position).
    struct CoefficientMap {
        std::array<std::uint8_t, DCTSIZE2> target;
        std::uint64_t negated;
    };

    struct Strip {
        unsigned number = 0; ///< the number of strips before one is unpacked
        std::vector<JCOEF> coefficients;
        std::vector<JBLOCKROW> rows;
    };

    unsigned turnedWidth() const { return m_steps.swapsAxes ? m_height : m_width; }
    unsigned turnedHeight() const { return m_steps.swapsAxes ? m_width : m_height; }
    static CoefficientMap mapFor(TurnSteps steps);
    void unpack(unsigned number, Strip& strip) const;

    TurnSteps m_steps;
    CoefficientMap m_map;
    unsigned m_width, m_height; ///< of the source, in blocks
    unsigned m_rowsAtOnce;
    unsigned m_stripRows; ///< turned rows in a strip
    unsigned m_appended = 0;
    std::vector<Stream> m_streams;

    Strip m_current; ///< handed out
    Strip m_next; ///< the one behind it, mostly
    graphics::BackgroundTasks& m_tasks;
    graphics::BackgroundTasks::Number m_unpacking = 0; ///< of the next strip
};

} // namespace velk::codec::jpeg
