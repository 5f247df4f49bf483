#include "platform/graphics/drawing/Coverage.h"

#include "platform/graphics/drawing/Shape.h"

namespace velk::graphics {

CoverageMask coverageOf(Path const& path, IntRect const& clip)
{
    Rasterizer rasterizer;
    return maskOf(FilledShape(path, {}, rasterizer), clip);
}

} // namespace velk::graphics
