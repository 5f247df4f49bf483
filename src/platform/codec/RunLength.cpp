#include "platform/codec/RunLength.h"

namespace velk::codec {

void appendPackBits(Bytes& packed, ByteSpan row)
{
    splitIntoRuns(
        row.size(), {}, [&](std::size_t i, std::size_t j) { return row[i] == row[j]; },
        [&](std::size_t start, std::size_t length) {
            packed.push_back(static_cast<std::uint8_t>(257 - length));
            packed.push_back(row[start]);
        },
        [&](std::size_t start, std::size_t length) {
            packed.push_back(static_cast<std::uint8_t>(length - 1));
            append(packed, row.subspan(start, length));
        });
}

std::size_t unpackBits(ByteSpan packed, std::span<std::uint8_t> row)
{
    constexpr unsigned kNothing = 128;
    std::size_t in = 0;
    std::size_t out = 0;
    while (in < packed.size() && out < row.size()) {
        unsigned const code = packed[in++];
        if (code == kNothing)
            continue;
        if (code < kNothing) {
            auto const length = std::min({code + std::size_t {1}, packed.size() - in, row.size() - out});
            std::copy_n(packed.begin() + static_cast<std::ptrdiff_t>(in), length,
                row.begin() + static_cast<std::ptrdiff_t>(out));
            in += length;
            out += length;
        } else if (in < packed.size()) {
            auto const length = std::min(std::size_t {257} - code, row.size() - out);
            std::fill_n(row.begin() + static_cast<std::ptrdiff_t>(out), length, packed[in++]);
            out += length;
        }
    }
    return out;
}

} // namespace velk::codec
