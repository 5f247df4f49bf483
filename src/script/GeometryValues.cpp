#include "script/GeometryValues.h"

namespace velk {

js::Value toScript(PointValue point)
{
    return js::Value::record({{"x", point.x}, {"y", point.y}});
}

js::Value toScript(SizeValue size)
{
    return js::Value::record({{"width", size.width}, {"height", size.height}});
}

PointValue pointFromScript(js::Value const& value)
{
    return {value.property("x").toNumber(), value.property("y").toNumber()};
}

SizeValue sizeFromScript(js::Value const& value)
{
    return {value.property("width").toNumber(), value.property("height").toNumber()};
}

double coordinate(js::Value const& value)
{
    return value.isUndefined() ? 0 : value.toNumber();
}

} // namespace velk
