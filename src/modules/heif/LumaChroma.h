#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace velk::codec::heif {

/// How luma and chroma follow from red, green and blue (ITU-T H.273, 8.3).
struct LumaChroma {
    enum class Kind : std::uint8_t {
        Weighted, ///< Y, Cb, Cr by the weights of red and blue
        Identity, ///< G, B, R
        YCgCo,
    };

    Kind kind = Kind::Weighted;
    float red = 0.299f, blue = 0.114f; ///< weights in luma; ITU-R BT.601 by default

    /// By the code point; what is unknown or does not say counts as BT.601.
    static LumaChroma fromCode(int matrixCoefficients);
};

/// One row of three channels, 0 to 1, chroma around 0. Converted in place:
///
///     first  = Y  | red          second = Cb | green         third  = Cr | blue
///              G  |                       B  |                        R  |
///              Y  |                       Cg |                        Co |
struct ChannelRows {
    std::span<float> first, second, third;
};
void toRgb(LumaChroma const& meaning, ChannelRows rows);
void fromRgb(LumaChroma const& meaning, ChannelRows rows);

/// Twice as many samples as `half` has, or one less, each chroma sample lying between two pixels:
///
///     half   |   a   |   b   |          3a+b
///     full   | . | . | . | . |          ----  for the second, (a+3b)/4 for the third
///                                         4
void doubleRow(std::span<float const> half, std::span<float> full);
/// Averages of pairs; of the last pixel alone where it has no partner.
void halveRow(std::span<float const> full, std::span<float> half);

} // namespace velk::codec::heif
