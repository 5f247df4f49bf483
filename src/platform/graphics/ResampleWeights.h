#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace velk::graphics {

/// The filter of one axis: output sample i is the sum over t < taps of weight(i, t) * input[first(i) + t].
/// The weights of a sample add up to 1 and never reach outside the input; what the kernel would take from
/// there is given to the sample at the edge.
class ResampleWeights {
public:
    /// `origin` and `extent` are the interval of the input, in samples, that the `outputs` cover together.
    ResampleWeights(double origin, double extent, std::int32_t outputs, std::int32_t inputs);

    std::int32_t outputs() const { return static_cast<std::int32_t>(m_first.size()); }
    /// Weights a sample, the same number for all; those that a sample does not need are zero.
    std::int32_t taps() const { return m_taps; }
    std::int32_t first(std::int32_t output) const { return m_first[static_cast<std::size_t>(output)]; }
    std::span<float const> weights(std::int32_t output) const
    {
        auto const taps = static_cast<std::size_t>(m_taps);
        return {m_weights.data() + static_cast<std::size_t>(output) * taps, taps};
    }
    /// The inputs that some output needs.
    std::int32_t firstInput() const { return m_firstInput; }
    std::int32_t endInput() const { return m_endInput; }

private:
    std::int32_t m_taps = 0;
    std::int32_t m_firstInput = 0;
    std::int32_t m_endInput = 0;
    std::vector<std::int32_t> m_first;
    std::vector<float> m_weights;
};

/// Fraction bits of fixed-point weights: 1.0 is 1 << 14, so that no weight and no sum over a kernel's
/// overshoot leaves 16 bits.
constexpr int kWeightBits = 14;

/// Rounds weights to fixed point so that they add up to exactly 1 << kWeightBits.
void roundWeights(std::span<float const> weights, std::int16_t* fixed);

} // namespace velk::graphics
