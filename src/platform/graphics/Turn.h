#pragma once

#include "platform/graphics/Image.h"
#include "platform/graphics/PixelBuffer.h"

namespace velk::graphics {

/// What a turn does: pixel (x, y) of the result is pixel (x, y) of the source after x, then y were counted
/// from the other end of the result where mirrored, and then both were swapped.
struct TurnParts {
    bool swapsAxes = false;
    bool mirrorsX = false;
    bool mirrorsY = false;
};

TurnParts partsOf(Turn turn);
Turn turnOf(TurnParts parts);

/// The turn that does `first`, then `second`.
Turn composed(Turn first, Turn second);

inline Size turnedSize(Size size, Turn turn)
{
    return swapsAxes(turn) ? Size {size.height, size.width} : size;
}

/// Where a rectangle of an image of `size` lies after the turn.
FloatRect turnedRect(FloatRect rect, Size size, Turn turn);

/// The rows turned. A left-right mirroring flows; all other turns collect the source at the first row that is
/// read, and take from it what is asked for.
RowSourcePointer turnedRows(RowSourcePointer rows, Turn turn);

} // namespace velk::graphics
