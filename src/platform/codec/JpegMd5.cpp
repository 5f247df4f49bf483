#include "platform/codec/JpegMd5.h"

#include <bit>
#include <cmath>

namespace velk::codec::jpeg {

namespace {

constexpr std::size_t kBlockSize = 64;
using State = std::array<std::uint32_t, 4>;

// RFC 1321, 3.4: shifts of the four rounds, repeated, and T[i] = floor(2^32 * abs(sin(i + 1))).
constexpr std::array<std::array<int, 4>, 4> kShifts = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

std::array<std::uint32_t, 64> sineTable()
{
    std::array<std::uint32_t, 64> table;
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<std::uint32_t>(
            std::floor(std::abs(std::sin(static_cast<double>(i + 1))) * 4294967296.0));
    return table;
}

struct Step {
    std::uint32_t mixed;
    std::size_t word;
};

Step stepOf(std::size_t i, State const& s)
{
    switch (i / 16) {
    case 0:
        return {(s[1] & s[2]) | (~s[1] & s[3]), i};
    case 1:
        return {(s[1] & s[3]) | (s[2] & ~s[3]), (5 * i + 1) % 16};
    case 2:
        return {s[1] ^ s[2] ^ s[3], (3 * i + 5) % 16};
    default:
        return {s[2] ^ (s[1] | ~s[3]), (7 * i) % 16};
    }
}

void digestBlock(State& state, std::uint8_t const* block)
{
    static auto const sines = sineTable();
    auto s = state;
    for (std::size_t i = 0; i < 64; ++i) {
        auto const [mixed, word] = stepOf(i, s);
        auto const sum = s[0] + mixed + sines[i] + loadLE32(block + 4 * word);
        s = {s[3], s[1] + std::rotl(sum, kShifts[i / 16][i % 4]), s[1], s[2]};
    }
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] += s[i];
}

} // namespace

std::array<std::uint8_t, 16> md5(ByteSpan data)
{
    State state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    auto const whole = data.size() / kBlockSize * kBlockSize;
    for (std::size_t at = 0; at < whole; at += kBlockSize)
        digestBlock(state, &data[at]);

    // A one bit, zeros, and the length in bits fill up the last block or two.
    Bytes tail(data.begin() + static_cast<std::ptrdiff_t>(whole), data.end());
    tail.push_back(0x80);
    tail.resize((tail.size() + 8 + kBlockSize - 1) / kBlockSize * kBlockSize - 8);
    append(tail, std::uint64_t {data.size()} * 8, ByteOrder::Little);
    for (std::size_t at = 0; at < tail.size(); at += kBlockSize)
        digestBlock(state, &tail[at]);

    std::array<std::uint8_t, 16> digest;
    for (std::size_t i = 0; i < state.size(); ++i)
        storeInteger(&digest[4 * i], state[i], ByteOrder::Little);
    return digest;
}

} // namespace velk::codec::jpeg
