#include "platform/graphics/Turn.h"

#include "platform/graphics/Pipeline.h"
#include "platform/graphics/PixelMoves.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <optional>

namespace velk::graphics {

namespace {

struct TurnRow {
    Turn turn;
    TurnParts parts;
};

constexpr std::array<TurnRow, 8> kTurns = {{
    {Turn::None, {false, false, false}},
    {Turn::MirrorHorizontal, {false, true, false}},
    {Turn::Rotate180, {false, true, true}},
    {Turn::MirrorVertical, {false, false, true}},
    {Turn::Transpose, {true, false, false}},
    {Turn::RotateClockwise, {true, true, false}},
    {Turn::Transverse, {true, true, true}},
    {Turn::RotateCounterclockwise, {true, false, true}},
}};

PixelLayout turnedLayout(PixelLayout layout, Turn turn)
{
    layout.size = turnedSize(layout.size, turn);
    return layout;
}

// Rows `first`, ... of the turned buffer, without swapped axes.
void mirrorRows(PixelBuffer const& from, TurnParts parts, std::int32_t first, RowView to)
{
    auto const width = static_cast<std::size_t>(from.size().width);
    for (std::int32_t i = 0; i < to.count; ++i) {
        auto const y = parts.mirrorsY ? from.size().height - 1 - (first + i) : first + i;
        if (parts.mirrorsX)
            reversePixels(from.row(y), to.row(i), width, from.format().bytesPerPixel());
        else
            std::memcpy(to.row(i), from.row(y), from.layout().rowBytes());
    }
}

// Rows `first`, ... of the turned buffer, with swapped axes: columns of the source become rows. A mirroring
// is a walk from the other end, with a negative stride.
void transposeRows(PixelBuffer const& from, TurnParts parts, std::int32_t first, RowView to)
{
    auto const size = from.size();
    auto const pixel = from.format().bytesPerPixel();
    auto const fromStride = static_cast<std::ptrdiff_t>(from.stride());
    auto const toStride = static_cast<std::ptrdiff_t>(to.stride);
    auto const column = parts.mirrorsY ? size.width - first - to.count : first;
    auto const offset = static_cast<std::size_t>(column) * pixel;
    PixelGrid<std::uint8_t const> const source = {
        from.row(parts.mirrorsX ? size.height - 1 : 0) + offset, parts.mirrorsX ? -fromStride : fromStride};
    PixelGrid<std::uint8_t> const target = {
        to.row(parts.mirrorsY ? to.count - 1 : 0), parts.mirrorsY ? -toStride : toStride};
    transposePixels(
        source, target, static_cast<std::size_t>(to.count), static_cast<std::size_t>(size.height), pixel);
}

void turnRows(PixelBuffer const& from, Turn turn, std::int32_t first, RowView to)
{
    auto const parts = partsOf(turn);
    if (parts.swapsAxes)
        transposeRows(from, parts, first, to);
    else
        mirrorRows(from, parts, first, to);
}

class MirroredRows final : public RowSource {
public:
    explicit MirroredRows(RowSourcePointer rows)
        : RowSource(rows->layout())
        , m_rows(std::move(rows))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        constexpr std::int32_t kBlock = 16;
        m_scratch.resize(rowBytes() * kBlock);
        for (std::int32_t y = 0; y < rows.count; y += kBlock) {
            auto const count = std::min(kBlock, rows.count - y);
            TRY(m_rows->read({m_scratch.data(), rowBytes(), count}));
            for (std::int32_t i = 0; i < count; ++i)
                reversePixels(m_scratch.data() + static_cast<std::size_t>(i) * rowBytes(), rows.row(y + i),
                    static_cast<std::size_t>(size().width), format().bytesPerPixel());
        }
        return {};
    }

    RowSourcePointer m_rows;
    Bytes m_scratch;
};

// Turned rows are made in strips: a column of the source costs a cache line for every pixel, so that several
// columns have to be taken at a time.
class TurnedRows final : public RowSource {
public:
    TurnedRows(RowSourcePointer rows, Turn turn)
        : RowSource(turnedLayout(rows->layout(), turn))
        , m_rows(std::move(rows))
        , m_turn(turn)
    {
    }

private:
    static constexpr std::int32_t kStripRows = 32;

    Result<void> readRows(RowView rows) override
    {
        if (!m_buffer) {
            m_buffer = TRY(PixelBuffer::collect(*m_rows));
            m_rows.reset();
        }
        for (std::int32_t done = 0; done < rows.count;)
            done += takeRows({rows.row(done), rows.stride, rows.count - done}, nextRow() + done);
        return {};
    }

    std::int32_t takeRows(RowView rows, std::int32_t y)
    {
        auto const stripEnd = m_stripFirst + m_stripCount;
        if (y < stripEnd)
            return copyFromStrip(rows, y);
        if (!swapsAxes(m_turn) || rows.count >= kStripRows) {
            turnRows(*m_buffer, m_turn, y, rows);
            return rows.count;
        }
        fillStrip(y);
        return copyFromStrip(rows, y);
    }

    void fillStrip(std::int32_t y)
    {
        m_stripFirst = y;
        m_stripCount = std::min(kStripRows, size().height - y);
        m_strip.resize(rowBytes() * kStripRows);
        turnRows(*m_buffer, m_turn, y, {m_strip.data(), rowBytes(), m_stripCount});
    }

    std::int32_t copyFromStrip(RowView rows, std::int32_t y)
    {
        auto const count = std::min(rows.count, m_stripFirst + m_stripCount - y);
        for (std::int32_t i = 0; i < count; ++i) {
            auto const offset = static_cast<std::size_t>(y + i - m_stripFirst) * rowBytes();
            std::memcpy(rows.row(i), m_strip.data() + offset, rowBytes());
        }
        return count;
    }

    RowSourcePointer m_rows;
    Turn m_turn;
    std::optional<PixelBuffer> m_buffer;
    Bytes m_strip;
    std::int32_t m_stripFirst = 0;
    std::int32_t m_stripCount = 0;
};

} // namespace

TurnParts partsOf(Turn turn)
{
    return kTurns[static_cast<std::size_t>(turn) - 1].parts;
}

Turn turnOf(TurnParts parts)
{
    auto const found = std::find_if(kTurns.begin(), kTurns.end(), [&](TurnRow const& row) {
        return row.parts.swapsAxes == parts.swapsAxes && row.parts.mirrorsX == parts.mirrorsX
            && row.parts.mirrorsY == parts.mirrorsY;
    });
    return found->turn;
}

Turn composed(Turn first, Turn second)
{
    auto const one = partsOf(first);
    auto const two = partsOf(second);
    // The second turn's swap exchanges the axes that the first one has mirrored.
    return turnOf({
        .swapsAxes = one.swapsAxes != two.swapsAxes,
        .mirrorsX = two.mirrorsX != (two.swapsAxes ? one.mirrorsY : one.mirrorsX),
        .mirrorsY = two.mirrorsY != (two.swapsAxes ? one.mirrorsX : one.mirrorsY),
    });
}

FloatRect turnedRect(FloatRect rect, Size size, Turn turn)
{
    auto const parts = partsOf(turn);
    if (parts.swapsAxes) {
        std::swap(rect.x, rect.y);
        std::swap(rect.width, rect.height);
        std::swap(size.width, size.height);
    }
    if (parts.mirrorsX)
        rect.x = size.width - rect.x - rect.width;
    if (parts.mirrorsY)
        rect.y = size.height - rect.y - rect.height;
    return rect;
}

RowSourcePointer turnedRows(RowSourcePointer rows, Turn turn)
{
    assert(rows->nextRow() == 0);
    if (turn == Turn::None)
        return rows;
    if (turn == Turn::MirrorHorizontal)
        return std::make_unique<MirroredRows>(std::move(rows));
    return std::make_unique<TurnedRows>(std::move(rows), turn);
}

Result<PixelBuffer> turned(PixelBuffer const& buffer, Turn turn)
{
    auto result = TRY(PixelBuffer::create(turnedLayout(buffer.layout(), turn)));
    constexpr std::int32_t kStrip = 64;
    auto const height = result.size().height;
    for (std::int32_t y = 0; y < height; y += kStrip)
        turnRows(buffer, turn, y, result.rows(y, std::min(kStrip, height - y)));
    return result;
}

} // namespace velk::graphics
