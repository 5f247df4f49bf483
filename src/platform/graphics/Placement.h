#pragma once

#include "platform/graphics/AffineTransform.h"
#include "platform/graphics/Geometry.h"
#include "platform/graphics/Image.h"

namespace velk::graphics {

/// Where an image comes to lie in a bitmap, and what that takes. Everything counts pixels from the top-left
/// corner.
struct Placement {
    enum class Kind {
        Nothing, ///< no pixel of the image is seen
        Moved, ///< whole pixels: a turn and a place
        Scaled, ///< a turn, then a rectangle of any size and place
        Sampled, ///< anything else
    };

    Kind kind = Kind::Nothing;

    /// Moved and Scaled: what is done to the image first.
    Turn turn = Turn::None;
    /// Moved and Scaled: the pixels of the bitmap that are drawn. Edges that lie within a pixel are rounded,
    /// so that no image gets a faint border.
    IntRect visible;
    /// The part of the image that is needed: what `visible` shows exactly (Moved, Scaled), or what lies
    /// within the bitmap (Sampled).
    FloatRect source;

    /// Sampled: from pixels of the image to pixels of the bitmap.
    AffineTransform transform;
};

/// `transform` maps pixels to pixels with y growing upwards from the bottom-left corner in both.
Placement placeImage(AffineTransform const& transform, Size image, Size bitmap);

} // namespace velk::graphics
