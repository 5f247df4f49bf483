#pragma once

#include "platform/graphics/RowSource.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <vector>

namespace velk::graphics {

/// The rows of a source that a filter needs at a time, in a ring. Rows are read in blocks; behind every row
/// lie some readable bytes for vector loads.
class RowWindow {
public:
    /// Turns a row of the source into the form in which it is kept.
    using Convert = std::function<void(std::uint8_t const* from, std::uint8_t* to)>;

    /// Holds up to `capacity` rows at a time, of `rowBytes` each when they are converted.
    RowWindow(RowSource& rows, std::int32_t capacity, std::size_t rowBytes, Convert convert)
        : m_rows(rows)
        , m_convert(std::move(convert))
        , m_slots(std::min(capacity + kBlock, rows.size().height))
        , m_stride((rowBytes + kSlack + 63) / 64 * 64)
        , m_memory(m_stride * static_cast<std::size_t>(m_slots))
    {
    }

    /// Makes rows `first` up to `end` available, and gives up those before `first`.
    Result<void> require(std::int32_t first, std::int32_t end)
    {
        while (m_rows.nextRow() < end) {
            auto const next = m_rows.nextRow();
            auto const free = next < first ? kBlock : first + m_slots - next;
            auto const slot = next % m_slots;
            auto const count = std::min({free, kBlock, m_slots - slot, m_rows.rowsLeft()});
            assert(count > 0);
            TRY(fill(slot, count));
        }
        return {};
    }

    std::uint8_t const* row(std::int32_t y) const
    {
        return m_memory.data() + static_cast<std::size_t>(y % m_slots) * m_stride;
    }

private:
    static constexpr std::int32_t kBlock = 16;
    static constexpr std::size_t kSlack = 64;

    Result<void> fill(std::int32_t slot, std::int32_t count)
    {
        auto* const memory = m_memory.data() + static_cast<std::size_t>(slot) * m_stride;
        if (!m_convert)
            return m_rows.read({memory, m_stride, count});
        m_scratch.resize(m_rows.rowBytes() * kBlock);
        TRY(m_rows.read({m_scratch.data(), m_rows.rowBytes(), count}));
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
            m_convert(m_scratch.data() + i * m_rows.rowBytes(), memory + i * m_stride);
        return {};
    }

    RowSource& m_rows;
    Convert m_convert;
    std::int32_t m_slots;
    std::size_t m_stride;
    Bytes m_memory;
    Bytes m_scratch;
};

} // namespace velk::graphics
