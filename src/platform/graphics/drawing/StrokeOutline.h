#pragma once

#include "platform/graphics/drawing/Coverage.h"
#include "platform/graphics/drawing/Flatten.h"

#include <optional>

namespace velk::graphics {

/// How far a stroke may reach from its path, in device pixels.
double strokeReach(StrokeStyle const& style, AffineTransform const& userToDevice);

/// A path to be drawn along, and the spaces it passes.
struct StrokedPath {
    Path const& path;
    AffineTransform pathToDevice;
    AffineTransform userToDevice; ///< maps the pen
    /// Where the stroke can be seen; nothing = everywhere.
    std::optional<Box> visible;
};

/// The outlines of a stroke, all of which turn the same way: polygons overlap instead of cancelling out.
void outlineStroke(StrokedPath const& stroked, StrokeStyle const& style, PolygonSink& sink);

} // namespace velk::graphics
