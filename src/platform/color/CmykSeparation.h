#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace velk::color {

/// CIE L*a*b*, D50.
using Lab = std::array<float, 3>;
/// Cyan, magenta, yellow and black ink, 0 to 1.
using Ink = std::array<float, 4>;

/// Says how a press shows these inks.
using InkModel = std::function<std::vector<Lab>(std::span<Ink const>)>;

/// Nodes along each axis of a separation.
constexpr unsigned kSeparationNodes = 17;

/// The inks that come closest to the colours of a grid of sRGB values (red slowest, blue fastest): `colors`
/// has kSeparationNodes^3 entries. Black follows the darkness of the value; the coloured inks fill up what is
/// missing, as far as paper takes it.
std::vector<Ink> separate(std::span<Lab const> colors, InkModel const& model);

} // namespace velk::color
