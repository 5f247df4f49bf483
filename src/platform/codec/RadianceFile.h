#pragma once

#include "base/Files.h"
#include "platform/codec/StoredRows.h"
#include "platform/color/LinearLight.h"
#include "platform/graphics/Image.h"

#include <array>
#include <optional>
#include <string>

namespace velk::codec {

/// The header of a Radiance picture: lines of text, an empty one, and the line with the resolution.
struct RadianceHeader {
    bool isXyz = false;
    std::optional<color::Chromaticities> primaries;
    /// Product of all EXPOSURE lines: pixels were multiplied with it, and stay so.
    double exposure = 1;
    std::string software;
    /// Length and number of the scanlines as they are stored.
    graphics::Size stored;
    /// What puts the stored scanlines upright.
    graphics::Turn turn = graphics::Turn::None;
    std::uint64_t dataOffset = 0;
};

bool startsLikeRadiance(ByteSpan head);
Result<RadianceHeader> readRadianceHeader(InputFile const& file);

/// A pixel with a common exponent: three mantissas and the exponent, offset by 128.
using SharedExponent = std::array<std::uint8_t, 4>;

/// Mantissas of an exponent byte times this are the components' values; 0 for 0.
float radianceScale(std::uint8_t exponent);
/// The nearest pixel that can be stored; negative components and what is not a number become 0, what is too
/// large the largest.
SharedExponent toSharedExponent(float red, float green, float blue);

/// The stored scanlines as runs of `SharedExponent`.
StoredRowsPointer radianceRows(InputFile const& file, RadianceHeader const& header);
/// A scanline as the file holds it: each component on its own in runs, where its length allows.
void appendRadianceScanline(Bytes& to, std::span<SharedExponent const> pixels);

} // namespace velk::codec
