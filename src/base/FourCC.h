#pragma once

#include <compare>
#include <cstdint>

namespace velk {

/// A four-character code (ICC signature), first character in the most significant byte.
struct FourCC {
    std::uint32_t code = 0;

    constexpr FourCC() = default;
    constexpr explicit FourCC(std::uint32_t value)
        : code(value)
    {
    }
    /// From a literal of four characters, such as FourCC("desc").
    constexpr explicit FourCC(char const (&text)[5])
    {
        for (int i = 0; i < 4; ++i)
            code = code << 8 | static_cast<std::uint8_t>(text[i]);
    }

    constexpr auto operator<=>(FourCC const&) const = default;
};

/// The value that stands for "no code".
constexpr FourCC kNoFourCC {0xFFFFFFFFu};

} // namespace velk
