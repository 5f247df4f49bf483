#pragma once

#include "platform/codec/TiffPixels.h"

#include <memory>
#include <span>
#include <vector>

namespace velk::codec::tiff {

/// Turns decoded rows into rows of the planned format.
class SampleConverter {
public:
    explicit SampleConverter(PixelPlan plan);

    /// `planes` holds the one interleaved row, or of planar images the row of each channel; multi-byte
    /// samples are in the machine's order.
    void convert(std::span<std::uint8_t const* const> planes, std::uint8_t* to, std::int32_t width);

private:
    struct Gather;

    void convertIntegers(Gather const& gather, std::size_t channel);
    void convertFloats(Gather const& gather, std::size_t channel) const;
    std::uint8_t const* unpacked(std::uint8_t const* row, std::size_t sampleCount);

    PixelPlan m_plan;
    bool m_isIdentity = false;
    /// Per channel, a component for every code of a sample; shared by channels of one meaning.
    std::vector<std::shared_ptr<std::vector<std::uint8_t> const>> m_tables8;
    std::vector<std::shared_ptr<std::vector<std::uint16_t> const>> m_tables16;
    Bytes m_unpacked;
};

} // namespace velk::codec::tiff
