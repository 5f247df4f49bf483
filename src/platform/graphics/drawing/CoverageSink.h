#pragma once

#include <cstdint>

namespace velk::graphics {

/// Takes the coverage of a shape in horizontal spans, each pixel at most once; what is never mentioned is not
/// covered. Device pixels, y downwards.
class CoverageSink {
public:
    virtual ~CoverageSink() = default;
    /// Pixels that are covered completely.
    virtual void full(std::int32_t x, std::int32_t y, std::int32_t count) = 0;
    /// Pixels with a coverage each.
    virtual void partial(
        std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t const* coverage) = 0;
    /// A few pixels from here on will be mentioned soon: time to fetch them from memory.
    virtual void expect(std::int32_t /*x*/, std::int32_t /*y*/) { }
};

} // namespace velk::graphics
