#pragma once

#include <cstdint>
#include <iterator>
#include <optional>

namespace velk {

/// Bytes of a parametricCurveType element (ICC.1:2022, 10.18); nothing when there is no such function.
constexpr std::optional<std::uint32_t> parametricCurveSize(std::uint32_t functionType)
{
    constexpr std::uint32_t kSizes[] = {16, 24, 28, 32, 40};
    if (functionType >= std::size(kSizes))
        return std::nullopt;
    return kSizes[functionType];
}

} // namespace velk
