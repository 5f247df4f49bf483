#include "platform/codec/JpegBlocks.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

namespace velk::codec::jpeg {

using namespace graphics;

namespace {

// A packed block:
//
//     bitmap (8)    which coefficients follow, in natural order; bit 0 instead says that they take two bytes
//     DC (2)
//     AC            one or two bytes each
constexpr std::size_t kPackedHead = 8 + 2;
constexpr std::size_t kLargestPacked = kPackedHead + 2 * (DCTSIZE2 - 1);
constexpr std::uint64_t kWide = 1;

// A bit for each of the four 16-bit lanes that is not zero.
std::uint64_t nonZeroLanes(std::uint64_t lanes)
{
    constexpr std::uint64_t kLowBits = 0x7FFF'7FFF'7FFF'7FFF;
    auto const highBits = (((lanes & kLowBits) + kLowBits) | lanes) & ~kLowBits;
    // Bits 15, 31, 47 and 63 are gathered in the top four.
    constexpr std::uint64_t kGather =
        (std::uint64_t {1} << 45) + (std::uint64_t {1} << 30) + (std::uint64_t {1} << 15) + 1;
    return (highBits >> 15) * kGather >> 45 & 15;
}

// A bit for each coefficient that is not zero. Most are, often whole rows of them.
std::uint64_t nonZeroCoefficients(JBLOCK const& block)
{
    static_assert(kNativeByteOrder == ByteOrder::Little, "lanes are numbered from the low end");
    std::uint64_t bits = 0;
    for (std::size_t row = 0; row < DCTSIZE; ++row) {
        std::uint64_t halves[2];
        std::memcpy(halves, block + row * DCTSIZE, sizeof halves);
        if ((halves[0] | halves[1]) != 0)
            bits |= (nonZeroLanes(halves[0]) | nonZeroLanes(halves[1]) << 4) << (row * DCTSIZE);
    }
    return bits;
}

std::uint8_t* packWide(std::uint8_t* to, JBLOCK const& block, std::uint64_t which)
{
    for (; which != 0; which &= which - 1) {
        std::memcpy(to, block + std::countr_zero(which), sizeof(JCOEF));
        to += sizeof(JCOEF);
    }
    return to;
}

// Null when a coefficient needs more than a byte.
std::uint8_t* packNarrow(std::uint8_t* to, JBLOCK const& block, std::uint64_t which)
{
    int excess = 0;
    for (; which != 0; which &= which - 1) {
        auto const value = block[std::countr_zero(which)];
        excess |= (value + 128) & ~255;
        *to++ = static_cast<std::uint8_t>(value);
    }
    return excess == 0 ? to : nullptr;
}

template <typename Value>
std::uint8_t const* unpackValues(std::uint8_t const* from, std::uint64_t which, JCOEF* block,
    std::array<std::uint8_t, DCTSIZE2> const& target, std::uint64_t negated)
{
    for (; which != 0; which &= which - 1) {
        auto const position = static_cast<std::size_t>(std::countr_zero(which));
        Value value;
        std::memcpy(&value, from, sizeof value);
        from += sizeof value;
        auto const sign = -static_cast<int>(negated >> position & 1);
        block[target[position]] = static_cast<JCOEF>((value ^ sign) - sign);
    }
    return from;
}

} // namespace

TurnSteps stepsOf(Turn turn)
{
    switch (turn) {
    case Turn::None:
        return {};
    case Turn::MirrorHorizontal:
        return {.mirrorsX = true};
    case Turn::Rotate180:
        return {.mirrorsX = true, .mirrorsY = true};
    case Turn::MirrorVertical:
        return {.mirrorsY = true};
    case Turn::Transpose:
        return {.swapsAxes = true};
    case Turn::RotateClockwise:
        return {.swapsAxes = true, .mirrorsY = true};
    case Turn::Transverse:
        return {.swapsAxes = true, .mirrorsX = true, .mirrorsY = true};
    case Turn::RotateCounterclockwise:
        return {.swapsAxes = true, .mirrorsX = true};
    }
    return {};
}

void TurnedBlocks::Stream::pack(JBLOCK const& block)
{
    if (kChunkSize - m_used < kLargestPacked) {
        m_chunks.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(kChunkSize));
        m_used = 0;
    }
    auto* const start = m_chunks.back().get() + m_used;
    auto const which = nonZeroCoefficients(block) & ~kWide;
    auto* const values = start + kPackedHead;
    auto const* end = packNarrow(values, block, which);
    auto const bitmap = which | (end ? 0 : kWide);
    if (!end)
        end = packWide(values, block, which);
    std::memcpy(start, &bitmap, sizeof bitmap);
    std::memcpy(start + sizeof bitmap, block, sizeof(JCOEF));
    m_used += static_cast<std::size_t>(end - start);
}

class TurnedBlocks::Stream::Reader {
public:
    explicit Reader(Stream const& stream)
        : m_stream(stream)
    {
    }

    void unpack(JCOEF* block, CoefficientMap const& map)
    {
        if (kChunkSize - m_at < kLargestPacked) {
            ++m_chunk;
            m_at = 0;
        }
        auto const* const start = m_stream.m_chunks[m_chunk].get() + m_at;
        std::uint64_t bitmap;
        std::memcpy(&bitmap, start, sizeof bitmap);
        std::memset(block, 0, sizeof(JBLOCK));
        std::memcpy(block, start + sizeof bitmap, sizeof(JCOEF));
        auto const* const values = start + kPackedHead;
        auto const which = bitmap & ~kWide;
        auto const* const end = bitmap & kWide
            ? unpackValues<std::int16_t>(values, which, block, map.target, map.negated)
            : unpackValues<std::int8_t>(values, which, block, map.target, map.negated);
        m_at += static_cast<std::size_t>(end - start);
    }

private:
    Stream const& m_stream;
    std::size_t m_chunk = 0;
    std::size_t m_at = 0;
};

TurnedBlocks::TurnedBlocks(
    TurnSteps steps, unsigned width, unsigned height, unsigned rowsAtOnce, BackgroundTasks& tasks)
    : m_steps(steps)
    , m_map(mapFor(steps))
    , m_width(width)
    , m_height(height)
    , m_rowsAtOnce(rowsAtOnce)
    , m_tasks(tasks)
{
    // A strip of columns is wide enough to make reading it worth while, and small enough for the cache.
    constexpr unsigned kStripColumns = 8;
    m_stripRows = steps.swapsAxes ? (kStripColumns + rowsAtOnce - 1) / rowsAtOnce * rowsAtOnce : rowsAtOnce;
    m_streams.resize((turnedHeight() + m_stripRows - 1) / m_stripRows);
    for (auto* const strip : {&m_current, &m_next}) {
        strip->number = static_cast<unsigned>(m_streams.size());
        strip->coefficients.resize(std::size_t {m_stripRows} * turnedWidth() * DCTSIZE2);
        for (unsigned row = 0; row < m_stripRows; ++row)
            strip->rows.push_back(reinterpret_cast<JBLOCKROW>(
                &strip->coefficients[std::size_t {row} * turnedWidth() * DCTSIZE2]));
    }
}

TurnedBlocks::~TurnedBlocks()
{
    m_tasks.finish(m_unpacking);
}

// Mirroring negates the odd frequencies along its axis.
TurnedBlocks::CoefficientMap TurnedBlocks::mapFor(TurnSteps steps)
{
    CoefficientMap map {};
    for (unsigned v = 0; v < DCTSIZE; ++v) {
        for (unsigned u = 0; u < DCTSIZE; ++u) {
            auto const source = v * DCTSIZE + u;
            map.target[source] = static_cast<std::uint8_t>(steps.swapsAxes ? u * DCTSIZE + v : source);
            bool const isNegated = ((steps.mirrorsX ? u : 0) + (steps.mirrorsY ? v : 0)) % 2 == 1;
            map.negated |= std::uint64_t {isNegated} << source;
        }
    }
    return map;
}

void TurnedBlocks::append(JBLOCK const* blocks)
{
    if (m_appended == m_height)
        return;
    auto const y = m_steps.mirrorsY ? m_height - 1 - m_appended : m_appended;
    ++m_appended;
    for (unsigned i = 0; i < m_width; ++i) {
        auto const x = m_steps.mirrorsX ? m_width - 1 - i : i;
        m_streams[(m_steps.swapsAxes ? x : y) / m_stripRows].pack(blocks[i]);
    }
}

JBLOCKARRAY TurnedBlocks::rows(unsigned firstRow)
{
    auto const number = firstRow / m_stripRows;
    assert(number < m_streams.size() && firstRow % m_rowsAtOnce == 0);
    if (number != m_current.number) {
        m_tasks.finish(m_unpacking);
        if (number != m_next.number)
            unpack(number, m_next);
        std::swap(m_current, m_next);
        if (number + 1 < m_streams.size())
            m_unpacking = m_tasks.add([this, number] { unpack(number + 1, m_next); });
    }
    return &m_current.rows[firstRow % m_stripRows];
}

// Packed blocks come in the source's order, so walk the strip's part of the source.
void TurnedBlocks::unpack(unsigned number, Strip& strip) const
{
    strip.number = number;
    auto const first = number * m_stripRows;
    auto const count = std::min(m_stripRows, turnedHeight() - first);
    auto const width = m_steps.swapsAxes ? count : m_width;
    auto const height = m_steps.swapsAxes ? m_height : count;
    Stream::Reader reader(m_streams[number]);
    for (unsigned j = 0; j < height; ++j) {
        auto const y = m_steps.mirrorsY ? height - 1 - j : j;
        for (unsigned i = 0; i < width; ++i) {
            auto const x = m_steps.mirrorsX ? width - 1 - i : i;
            auto const [row, column] = m_steps.swapsAxes ? std::pair(x, y) : std::pair(y, x);
            reader.unpack(strip.rows[row][column], m_map);
        }
    }
}

} // namespace velk::codec::jpeg
