#pragma once

#include "platform/graphics/drawing/Path.h"

#include <cstdint>
#include <vector>

namespace velk::graphics {

/// How much of each pixel of a rectangle a shape covers: 0 nothing, 255 all of it. Rows lie packed from top
/// to bottom.
struct CoverageMask {
    IntRect bounds;
    std::vector<std::uint8_t> values;

    bool isEmpty() const { return bounds.isEmpty(); }
    std::uint8_t const* row(std::int32_t y) const
    {
        return values.data()
            + static_cast<std::size_t>(y - bounds.y) * static_cast<std::size_t>(bounds.width);
    }
    std::uint8_t* row(std::int32_t y)
    {
        return values.data()
            + static_cast<std::size_t>(y - bounds.y) * static_cast<std::size_t>(bounds.width);
    }
};

enum class LineCap : std::uint8_t { Butt, Round, Square };
enum class LineJoin : std::uint8_t { Miter, Round, Bevel };

/// How a line is drawn along a path; lengths in user space.
struct StrokeStyle {
    double width = 1;
    LineCap cap = LineCap::Butt;
    LineJoin join = LineJoin::Miter;
    double miterLimit = 10;
    /// Lengths of dashes and gaps in turn, repeated; empty = one unbroken line. An odd number is used twice
    /// over. Without effect when an entry is negative or not finite or all are 0.
    std::vector<double> dash;
    double dashPhase = 0;

    bool operator==(StrokeStyle const&) const = default;
};

/// The outline of a stroke: `path` lies in device space, the pen is drawn in user space and mapped by
/// `userToDevice`. Curves come out as lines, exact to a fraction of a pixel. Empty when the transform is
/// degenerate or the width not above 0.
Path strokeOutline(Path const& path, StrokeStyle const& style, AffineTransform const& userToDevice);

/// Coverage by exact area, non-zero winding, of the part of the path that lies in `clip`; y grows downwards.
CoverageMask coverageOf(Path const& path, IntRect const& clip);

} // namespace velk::graphics
