#include "script/PointObject.h"

#include <fmt/format.h>

namespace velk {

namespace {

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return PointObject::fromValues(arguments.value(0), arguments.value(1));
}

constexpr js::PropertyDescription kProperties[] = {
    {"x", js::getter<&PointObject::x>, js::setter<&PointObject::setX>},
    {"y", js::getter<&PointObject::y>, js::setter<&PointObject::setY>},
};

} // namespace

js::ClassDescription const PointObject::kClass = {"Point", construct, {}, kProperties};

std::shared_ptr<PointObject> PointObject::fromValues(js::Value const& x, js::Value const& y)
{
    return std::make_shared<PointObject>(PointValue {coordinate(x), coordinate(y)});
}

std::string PointObject::description() const
{
    return fmt::format("Point: {{{:g}, {:g}}}", m_point.x, m_point.y);
}

} // namespace velk
