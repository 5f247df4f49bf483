#include "base/Md5.h"

#include <fmt/format.h>

#include <bit>

namespace velk {

namespace {

constexpr std::size_t kBlockSize = 64;
using State = std::array<std::uint32_t, 4>;

// RFC 1321, 3.4: T[i] = floor(2^32 * abs(sin(i))), i = 1 to 64 in radians.
constexpr std::array<std::uint32_t, 64> kSines = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501, //
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821, //
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8, //
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A, //
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70, //
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665, //
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1, //
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391, //
};

// One of the four rounds: how it mixes three words of the state, which word of the block step i adds, and by
// how many bits its steps turn, in groups of four.
struct MixRound {
    std::uint32_t (*mix)(std::uint32_t x, std::uint32_t y, std::uint32_t z);
    std::size_t factor, offset;
    std::array<int, 4> shifts;
};
using Word = std::uint32_t;
constexpr MixRound kRounds[] = {
    {[](Word x, Word y, Word z) { return (x & y) | (~x & z); }, 1, 0, {7, 12, 17, 22}},
    {[](Word x, Word y, Word z) { return (x & z) | (y & ~z); }, 5, 1, {5, 9, 14, 20}},
    {[](Word x, Word y, Word z) { return x ^ y ^ z; }, 3, 5, {4, 11, 16, 23}},
    {[](Word x, Word y, Word z) { return y ^ (x | ~z); }, 7, 0, {6, 10, 15, 21}},
};

// A template, so that each round's loop is unrolled with its constants in place.
template <std::size_t Round> void mixIn(std::array<std::uint32_t, 16> const& words, State& s)
{
    constexpr auto kRound = kRounds[Round];
    for (std::size_t i = 0; i < 16; ++i) {
        auto const word = words[(kRound.factor * i + kRound.offset) % 16];
        auto const sum = s[0] + kRound.mix(s[1], s[2], s[3]) + word + kSines[16 * Round + i];
        s = {s[3], s[1] + std::rotl(sum, kRound.shifts[i % 4]), s[1], s[2]};
    }
}

void digestBlock(State& state, std::uint8_t const* block)
{
    std::array<std::uint32_t, 16> words;
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = loadLE32(block + 4 * i);
    auto mixed = state;
    mixIn<0>(words, mixed);
    mixIn<1>(words, mixed);
    mixIn<2>(words, mixed);
    mixIn<3>(words, mixed);
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] += mixed[i];
}

} // namespace

Md5Digest md5(ByteSpan data)
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

    Md5Digest digest;
    for (std::size_t i = 0; i < state.size(); ++i)
        storeInteger(&digest[4 * i], state[i], ByteOrder::Little);
    return digest;
}

std::string hexadecimal(Md5Digest const& digest)
{
    std::string text;
    for (auto const byte : digest)
        text += fmt::format("{:02x}", byte);
    return text;
}

} // namespace velk
