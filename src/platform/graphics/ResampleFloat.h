#pragma once

#include "platform/graphics/PixelFormat.h"
#include "platform/graphics/ResampleWeights.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velk::graphics {

/// The two passes of a resampling in floating point, for every format. Rows are kept as floats: 0..255 for
/// integer components, as they are for Float32.
class FloatPasses {
public:
    FloatPasses(PixelFormat format, ResampleWeights const& horizontal, ResampleWeights const& vertical);

    /// Bytes of a row as it is kept: only the columns that some output needs.
    std::size_t keptRowBytes() const { return m_samples * sizeof(float); }
    void keepRow(std::uint8_t const* from, std::uint8_t* to) const;

    /// One row of the result, Float32 or UInt8, from the kept rows that the vertical weights of `output`
    /// name.
    void filter(std::span<std::uint8_t const* const> rows, std::int32_t output, std::uint8_t* to);

private:
    PixelFormat m_format;
    ResampleWeights const& m_horizontal;
    ResampleWeights const& m_vertical;
    std::size_t m_samples;
    std::vector<float> m_filteredRow;
    std::vector<float> m_resultRow;
};

} // namespace velk::graphics
