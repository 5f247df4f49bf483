#pragma once

#include "base/Bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace velk::fuzz {

/// Ends the process, so that the fuzzer keeps the input, when what must always hold does not.
inline void require(bool holds, char const* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// Takes an input apart from front to back. What is beyond its end is zero or empty.
class FuzzInput {
public:
    FuzzInput(std::uint8_t const* data, std::size_t size)
        : m_rest(data, size)
    {
    }

    bool isEmpty() const { return m_rest.empty(); }
    std::uint8_t byte() { return integer<std::uint8_t>(); }
    template <std::integral T> T integer()
    {
        T value {};
        auto const bytes = take(sizeof value);
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(&value));
        return value;
    }
    double number()
    {
        double value = 0;
        auto const bytes = take(sizeof value);
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(&value));
        return value;
    }
    ByteSpan take(std::size_t count)
    {
        auto const taken = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(taken.size());
        return taken;
    }
    /// What stands before the next zero, which is taken too.
    std::string_view text()
    {
        auto const all = asText(m_rest);
        auto const text = all.substr(0, all.find('\0'));
        take(text.size() + 1);
        return text;
    }
    ByteSpan rest() { return take(m_rest.size()); }

private:
    ByteSpan m_rest;
};

} // namespace velk::fuzz
