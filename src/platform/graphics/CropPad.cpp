#include "platform/graphics/Pipeline.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace velk::graphics {

namespace {

PixelLayout framedLayout(PixelLayout layout, IntRect frame)
{
    layout.size = {frame.width, frame.height};
    return layout;
}

// Begin and end of what a frame and a length have in common, counted from the begin of the frame.
struct Overlap {
    Overlap(std::int32_t offset, std::int32_t extent, std::int32_t length)
    {
        auto const first = std::clamp<std::int64_t>(-std::int64_t {offset}, 0, extent);
        auto const last = std::clamp<std::int64_t>(std::int64_t {length} - offset, first, extent);
        begin = static_cast<std::int32_t>(first);
        end = static_cast<std::int32_t>(last);
    }

    bool isEmpty() const { return begin == end; }

    std::int32_t begin = 0;
    std::int32_t end = 0;
};

class FramedRows final : public RowSource {
public:
    FramedRows(RowSourcePointer rows, IntRect frame, ByteSpan fill)
        : RowSource(framedLayout(rows->layout(), frame))
        , m_rows(std::move(rows))
        , m_frame(frame)
        , m_columns(frame.x, frame.width, m_rows->size().width)
        , m_lines(frame.y, frame.height, m_rows->size().height)
        , m_fillRow(rowBytes())
    {
        assert(fill.size() == format().bytesPerPixel());
        for (std::size_t at = 0; at < m_fillRow.size(); at += fill.size())
            std::memcpy(m_fillRow.data() + at, fill.data(), fill.size());
        if (m_columns.isEmpty())
            m_lines.end = m_lines.begin;
    }

private:
    Result<void> readRows(RowView rows) override
    {
        std::int32_t done = 0;
        done += fillRows(rows, done, m_lines.begin);
        if (done < rows.count && nextRow() + done < m_lines.end)
            done += TRY(copyRows(rows, done));
        fillRows(rows, done, size().height);
        return {};
    }

    // Outside rows, from row `done` of the view up to row `end` of the frame.
    std::int32_t fillRows(RowView rows, std::int32_t done, std::int32_t end)
    {
        auto const count = std::clamp(end - nextRow() - done, 0, rows.count - done);
        for (std::int32_t i = 0; i < count; ++i)
            std::memcpy(rows.row(done + i), m_fillRow.data(), m_fillRow.size());
        return count;
    }

    Result<std::int32_t> copyRows(RowView rows, std::int32_t done)
    {
        TRY(skipRows());
        auto const count = std::min(rows.count - done, m_lines.end - nextRow() - done);
        if (m_frame.x == 0 && size().width == m_rows->size().width) {
            TRY(m_rows->read({rows.row(done), rows.stride, count}));
            return count;
        }
        auto const blockRows = rowsAtOnce();
        for (std::int32_t i = 0; i < count; i += blockRows) {
            auto const block = std::min(blockRows, count - i);
            TRY(m_rows->read(scratch(block)));
            for (std::int32_t j = 0; j < block; ++j)
                placeRow(m_scratch.data() + static_cast<std::size_t>(j) * m_rows->rowBytes(),
                    rows.row(done + i + j));
        }
        return count;
    }

    void placeRow(std::uint8_t const* from, std::uint8_t* to) const
    {
        auto const pixel = format().bytesPerPixel();
        auto const left = static_cast<std::size_t>(m_columns.begin) * pixel;
        auto const right = static_cast<std::size_t>(m_columns.end) * pixel;
        auto const start = static_cast<std::size_t>(m_columns.begin + m_frame.x) * pixel;
        std::memcpy(to, m_fillRow.data(), left);
        std::memcpy(to + left, from + start, right - left);
        std::memcpy(to + right, m_fillRow.data(), m_fillRow.size() - right);
    }

    // Reads and drops what lies above the frame.
    Result<void> skipRows()
    {
        while (m_rows->nextRow() < m_frame.y)
            TRY(m_rows->read(scratch(std::min(rowsAtOnce(), m_frame.y - m_rows->nextRow()))));
        return {};
    }

    std::int32_t rowsAtOnce() const
    {
        constexpr std::size_t kScratchBytes = std::size_t {128} << 10;
        return static_cast<std::int32_t>(std::clamp<std::size_t>(kScratchBytes / m_rows->rowBytes(), 1, 64));
    }

    RowView scratch(std::int32_t count)
    {
        m_scratch.resize(static_cast<std::size_t>(rowsAtOnce()) * m_rows->rowBytes());
        return {m_scratch.data(), m_rows->rowBytes(), count};
    }

    RowSourcePointer m_rows;
    IntRect m_frame;
    Overlap m_columns;
    Overlap m_lines;
    Bytes m_fillRow;
    Bytes m_scratch;
};

} // namespace

RowSourcePointer cropOrPad(RowSourcePointer rows, IntRect frame, Bytes fill)
{
    if (frame == IntRect {0, 0, rows->size().width, rows->size().height})
        return rows;
    return std::make_unique<FramedRows>(std::move(rows), frame, fill);
}

} // namespace velk::graphics
