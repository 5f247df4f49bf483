#pragma once

#include "base/RunSettings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace velk {

/// What a function applies to and does; a function may have several of them.
namespace category {
constexpr std::uint8_t kProfile = 1; ///< applies to profiles
constexpr std::uint8_t kImage = 2; ///< applies to images
constexpr std::uint8_t kQuery = 4; ///< does not modify the file; alone: a mode or a switch
constexpr std::uint8_t kAll = kProfile | kImage | kQuery;
} // namespace category

/// Arguments as the system hands them over.
using Arguments = std::span<char const* const>;

/// One function of the command line.
struct FunctionEntry {
    std::uint8_t categories;
    /// The letter of the short form; 0 where there is none.
    char shortLetter;
    /// With its two dashes.
    std::string_view longName;
    /// Parameter names for the help; empty beyond the last.
    std::array<std::string_view, 2> names;
    /// Records the request; nothing is executed yet. `parameters` are as many as there are names.
    void (*record)(RunSettings& settings, FunctionEntry const& function, Arguments parameters);
    /// One line; empty where the name says it all.
    std::string_view help;

    std::span<std::string_view const> parameterNames() const
    {
        return {names.begin(), std::ranges::find(names, std::string_view())};
    }
};

/// All functions, in the order of the help.
std::span<FunctionEntry const> functionTable();

/// The function whose long name or short form (`-x`) is exactly `argument`, or null.
FunctionEntry const* findFunction(std::string_view argument);

} // namespace velk
