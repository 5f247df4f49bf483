#pragma once

#include "base/Result.h"
#include "image/ImageEditState.h"

/// Geometry requests: each only updates the transforms, the frame and the pad colour of the state; one
/// computation after the walk turns them into the size and transform of the single render.
namespace velk {

/// `--rotate` degreesCW.
Result<void> requestRotation(ImageEditState& state, FunctionRequest const& request);
/// `--flip` horizontal|vertical.
Result<void> requestFlip(ImageEditState& state, FunctionRequest const& request);
/// `--resampleHeightWidth`, `--resampleWidth`, `--resampleHeight`, `--resampleHeightWidthMax`.
Result<void> requestResampling(ImageEditState& state, FunctionRequest const& request);
/// `--cropToHeightWidth` and `--padToHeightWidth` pixelsH pixelsW, which are the same operation.
Result<void> requestFrame(ImageEditState& state, FunctionRequest const& request);
/// `--cropOffset` offsetY offsetX, from the top-left corner of the transformed image.
Result<void> requestOffset(ImageEditState& state, FunctionRequest const& request);
/// `--padColor` RRGGBB.
Result<void> requestPadColor(ImageEditState& state, FunctionRequest const& request);

/// `transform` after a turn by `degrees`, 0 to 360, counterclockwise; quarter turns are exact, 360 is not.
graphics::AffineTransform rotateTransform(double degrees, graphics::AffineTransform const& transform);

/// Whole-pixel size of a transformed rectangle, and the transform that moves it there.
struct FittedTransform {
    std::int64_t width, height;
    graphics::AffineTransform transform;
};

/// Moves the image of (0, 0)-(width, height) under `transform`, whose translation is replaced, into the
/// positive quadrant, centred in its size in whole pixels.
FittedTransform fitTransform(std::int64_t width, std::int64_t height, graphics::AffineTransform transform);

/// Size of the bitmap to render and the transform from source pixels into it.
FittedTransform finalGeometry(ImageEditState const& state);

} // namespace velk
