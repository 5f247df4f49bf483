#pragma once

#include "platform/graphics/PixelFormat.h"
#include "platform/graphics/ResampleWeights.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace velk::graphics {

/// The two passes of an 8-bit resampling with 1 to 4 channels, in fixed point. The vertical pass leaves
/// 16-bit samples with 6 fraction bits and the filter's overshoot; only the end result is rounded to 8 bits.
class FixedPasses {
public:
    FixedPasses(PixelFormat format, ResampleWeights const& horizontal, ResampleWeights const& vertical);

    static bool handles(PixelFormat format)
    {
        return format.componentType == ComponentType::UInt8 && format.channels() <= 4;
    }

    /// One row of the result from the source rows that the vertical weights of `output` name. Rows must be
    /// readable for 32 bytes behind their end.
    void filter(std::span<std::uint8_t const* const> rows, std::int32_t output, std::uint8_t* to);

private:
    PixelFormat m_format;
    std::size_t m_firstColumn;
    std::size_t m_columns;

    std::size_t m_rowTaps;
    std::vector<std::int16_t> m_rowWeights;

    std::size_t m_columnTaps; // a multiple of 4, or of 8 for one channel
    std::vector<std::int32_t> m_columnFirst;
    std::vector<std::int16_t> m_columnWeights;

    std::vector<std::int16_t> m_filteredRow;
    std::vector<std::int16_t> m_pairedRow;
};

} // namespace velk::graphics
