#include "platform/graphics/PixelMoves.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/PixelMoves.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Source = PixelGrid<std::uint8_t const>;
using Target = PixelGrid<std::uint8_t>;

// ---- One pixel at a time: what the vectors leave over, and the rare pixel sizes.

void reverseSingly(std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t pixelSize)
{
    auto const* last = from + count * pixelSize;
    for (std::size_t i = 0; i < count; ++i) {
        last -= pixelSize;
        std::memcpy(to, last, pixelSize);
        to += pixelSize;
    }
}

template <std::size_t PixelSize>
void transposeSingly(Source from, Target to, std::size_t firstColumn, std::size_t lastColumn,
    std::size_t firstRow, std::size_t lastRow)
{
    for (auto x = firstColumn; x < lastColumn; ++x) {
        auto* out = to.row(static_cast<std::ptrdiff_t>(x)) + firstRow * PixelSize;
        for (auto y = firstRow; y < lastRow; ++y, out += PixelSize)
            std::memcpy(out, from.row(static_cast<std::ptrdiff_t>(y)) + x * PixelSize, PixelSize);
    }
}

// A tile keeps the cache lines of its 16 source rows at hand until every column of theirs is used.
constexpr std::size_t kTileRows = 16;

template <std::size_t PixelSize>
void transposeScalar(Source from, Target to, std::size_t columns, std::size_t rows)
{
    for (std::size_t y = 0; y < rows; y += kTileRows)
        transposeSingly<PixelSize>(from, to, 0, columns, y, std::min(rows, y + kTileRows));
}

#if HWY_TARGET == HWY_SCALAR

void reverseRow(std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t pixelSize)
{
    reverseSingly(from, to, count, pixelSize);
}

void transposeBytes(Source from, Target to, std::size_t columns, std::size_t rows)
{
    transposeScalar<1>(from, to, columns, rows);
}

template <std::size_t PixelSize>
void transposeWords(Source from, Target to, std::size_t columns, std::size_t rows)
{
    transposeScalar<PixelSize>(from, to, columns, rows);
}

#else

using D8 = hn::FixedTag<std::uint8_t, 16>;
using D32 = hn::FixedTag<std::uint32_t, 4>;

// As many pixels as fit into 16 bytes at a time, turned round by one byte shuffle. The 16 bytes end where the
// pixels end, so that nothing behind a row is read. What is stored behind the last pixel is overwritten by
// the next ones.
void reverseRow(std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t pixelSize)
{
    D8 const d8;
    auto const step = 16 / pixelSize; // 0 for the largest pixels
    auto const unused = 16 - step * pixelSize;
    alignas(16) std::array<std::uint8_t, 16> order {};
    for (std::size_t i = 0; i < step * pixelSize; ++i)
        order[i] = static_cast<std::uint8_t>(unused + (step - 1 - i / pixelSize) * pixelSize + i % pixelSize);
    auto const shuffle = hn::Load(d8, order.data());
    for (auto const safe = step + 16; step > 0 && count >= safe; count -= step, to += step * pixelSize) {
        auto const pixels = hn::LoadU(d8, from + count * pixelSize - 16);
        hn::StoreU(hn::TableLookupBytes(pixels, shuffle), d8, to);
    }
    reverseSingly(from, to, count, pixelSize);
}

// 8 x 8 bytes in three rounds of interleaving: rows 0 and 4, then 2 and 6, then 1 and 3, ... become
// neighbours.
void transposeBytes8x8(Source from, Target to)
{
    D8 const d8;
    hn::FixedTag<std::uint8_t, 8> const d8x8;
    auto const load = [&](std::ptrdiff_t y)
                          HWY_ATTR { return hn::ZeroExtendVector(d8, hn::LoadU(d8x8, from.row(y))); };
    auto const a04 = hn::InterleaveLower(d8, load(0), load(4));
    auto const a15 = hn::InterleaveLower(d8, load(1), load(5));
    auto const a26 = hn::InterleaveLower(d8, load(2), load(6));
    auto const a37 = hn::InterleaveLower(d8, load(3), load(7));
    auto const even0 = hn::InterleaveLower(d8, a04, a26);
    auto const even1 = hn::InterleaveUpper(d8, a04, a26);
    auto const odd0 = hn::InterleaveLower(d8, a15, a37);
    auto const odd1 = hn::InterleaveUpper(d8, a15, a37);
    auto const store = [&](auto pair, std::ptrdiff_t x) HWY_ATTR {
        hn::StoreU(hn::LowerHalf(d8x8, pair), d8x8, to.row(x));
        hn::StoreU(hn::UpperHalf(d8x8, pair), d8x8, to.row(x + 1));
    };
    store(hn::InterleaveLower(d8, even0, odd0), 0);
    store(hn::InterleaveUpper(d8, even0, odd0), 2);
    store(hn::InterleaveLower(d8, even1, odd1), 4);
    store(hn::InterleaveUpper(d8, even1, odd1), 6);
}

void transposeBytes(Source from, Target to, std::size_t columns, std::size_t rows)
{
    auto const wholeColumns = columns / 8 * 8;
    auto const wholeRows = rows / 8 * 8;
    for (std::size_t tile = 0; tile < wholeRows; tile += kTileRows) {
        for (std::size_t x = 0; x < wholeColumns; x += 8) {
            for (auto y = tile; y < std::min(tile + kTileRows, wholeRows); y += 8)
                transposeBytes8x8({from.row(static_cast<std::ptrdiff_t>(y)) + x, from.stride},
                    {to.row(static_cast<std::ptrdiff_t>(x)) + y, to.stride});
        }
    }
    transposeSingly<1>(from, to, wholeColumns, columns, 0, wholeRows);
    transposeSingly<1>(from, to, 0, columns, wholeRows, rows);
}

// Four pixels of 3 or 4 bytes, each in a 32-bit lane; 3-byte pixels leave the top byte zero.
template <std::size_t PixelSize> auto loadFour(std::uint8_t const* from)
{
    D8 const d8;
    D32 const d32;
    if constexpr (PixelSize == 4)
        return hn::BitCast(d32, hn::LoadU(d8, from));
    alignas(16) static constexpr std::uint8_t kSpread[16] = {
        0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11, 0x80};
    return hn::BitCast(d32, hn::TableLookupBytesOr0(hn::LoadU(d8, from), hn::Load(d8, kSpread)));
}

// The reverse of `loadFour`. With `mayOverrun` 16 bytes are written for 3-byte pixels too.
template <std::size_t PixelSize, typename V> void storeFour(V pixels, std::uint8_t* to, bool mayOverrun)
{
    D8 const d8;
    auto bytes = hn::BitCast(d8, pixels);
    if constexpr (PixelSize == 4) {
        hn::StoreU(bytes, d8, to);
        return;
    }
    alignas(16) static constexpr std::uint8_t kPack[16] = {
        0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
    bytes = hn::TableLookupBytesOr0(bytes, hn::Load(d8, kPack));
    if (mayOverrun) {
        hn::StoreU(bytes, d8, to);
        return;
    }
    alignas(16) std::array<std::uint8_t, 16> whole;
    hn::Store(bytes, d8, whole.data());
    std::memcpy(to, whole.data(), 4 * PixelSize);
}

template <std::size_t PixelSize> void transpose4x4(Source from, Target to, bool mayOverrun)
{
    D32 const d32;
    hn::Repartition<std::uint64_t, D32> const d64;
    auto const row0 = loadFour<PixelSize>(from.row(0));
    auto const row1 = loadFour<PixelSize>(from.row(1));
    auto const row2 = loadFour<PixelSize>(from.row(2));
    auto const row3 = loadFour<PixelSize>(from.row(3));
    auto const low01 = hn::BitCast(d64, hn::InterleaveLower(d32, row0, row1));
    auto const low23 = hn::BitCast(d64, hn::InterleaveLower(d32, row2, row3));
    auto const high01 = hn::BitCast(d64, hn::InterleaveUpper(d32, row0, row1));
    auto const high23 = hn::BitCast(d64, hn::InterleaveUpper(d32, row2, row3));
    storeFour<PixelSize>(hn::InterleaveLower(d64, low01, low23), to.row(0), mayOverrun);
    storeFour<PixelSize>(hn::InterleaveUpper(d64, low01, low23), to.row(1), mayOverrun);
    storeFour<PixelSize>(hn::InterleaveLower(d64, high01, high23), to.row(2), mayOverrun);
    storeFour<PixelSize>(hn::InterleaveUpper(d64, high01, high23), to.row(3), mayOverrun);
}

// 3-byte pixels are loaded 16 bytes at a time, of which 12 count: the last columns, from which that would
// read past the row, are moved singly.
template <std::size_t PixelSize>
void transposeWords(Source from, Target to, std::size_t columns, std::size_t rows)
{
    constexpr std::size_t kOverrun = PixelSize == 4 ? 0 : 2;
    auto const wholeColumns = columns < kOverrun ? 0 : (columns - kOverrun) / 4 * 4;
    auto const wholeRows = rows / 4 * 4;
    for (std::size_t tile = 0; tile < wholeRows; tile += kTileRows) {
        for (std::size_t x = 0; x < wholeColumns; x += 4) {
            for (auto y = tile; y < std::min(tile + kTileRows, wholeRows); y += 4) {
                Source const source = {from.row(static_cast<std::ptrdiff_t>(y)) + x * PixelSize, from.stride};
                Target const target = {to.row(static_cast<std::ptrdiff_t>(x)) + y * PixelSize, to.stride};
                transpose4x4<PixelSize>(source, target, y + 4 + kOverrun <= rows);
            }
        }
    }
    transposeSingly<PixelSize>(from, to, wholeColumns, columns, 0, wholeRows);
    transposeSingly<PixelSize>(from, to, 0, columns, wholeRows, rows);
}

#endif

using Transpose = void (*)(Source, Target, std::size_t, std::size_t);

struct TransposeRow {
    std::size_t pixelSize;
    Transpose function;
};

// Every size that a pixel format has.
constexpr TransposeRow kTransposes[] = {
    {1, transposeBytes},
    {2, transposeScalar<2>},
    {3, transposeWords<3>},
    {4, transposeWords<4>},
    {5, transposeScalar<5>},
    {6, transposeScalar<6>},
    {8, transposeScalar<8>},
    {10, transposeScalar<10>},
    {12, transposeScalar<12>},
    {16, transposeScalar<16>},
    {20, transposeScalar<20>},
};

void transposeAny(Source from, Target to, std::size_t columns, std::size_t rows, std::size_t pixelSize)
{
    auto const hasSize = [&](TransposeRow const& row) { return row.pixelSize == pixelSize; };
    auto const* found = std::find_if(std::begin(kTransposes), std::end(kTransposes), hasSize);
    assert(found != std::end(kTransposes));
    found->function(from, to, columns, rows);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(reverseRow);
HWY_EXPORT(transposeAny);

void reversePixels(std::uint8_t const* from, std::uint8_t* to, std::size_t count, std::size_t pixelSize)
{
    HWY_DYNAMIC_DISPATCH(reverseRow)(from, to, count, pixelSize);
}

void transposePixels(PixelGrid<std::uint8_t const> from, PixelGrid<std::uint8_t> to, std::size_t columns,
    std::size_t rows, std::size_t pixelSize)
{
    HWY_DYNAMIC_DISPATCH(transposeAny)(from, to, columns, rows, pixelSize);
}

} // namespace velk::graphics

#endif
