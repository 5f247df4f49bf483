#include "script/RectObject.h"

#include <fmt/format.h>

namespace velk {

namespace {

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return RectObject::fromValues(
        arguments.value(0), arguments.value(1), arguments.value(2), arguments.value(3));
}

constexpr js::PropertyDescription kProperties[] = {
    {"x", js::getter<&RectObject::x>, js::setter<&RectObject::setX>},
    {"y", js::getter<&RectObject::y>, js::setter<&RectObject::setY>},
    {"width", js::getter<&RectObject::width>, js::setter<&RectObject::setWidth>},
    {"height", js::getter<&RectObject::height>, js::setter<&RectObject::setHeight>},
    {"origin", js::getter<&RectObject::origin>, js::setter<&RectObject::setOrigin>},
    {"size", js::getter<&RectObject::size>, js::setter<&RectObject::setSize>},
    {"description", js::getter<&RectObject::description>},
};

} // namespace

js::ClassDescription const RectObject::kClass = {"Rect", construct, {}, kProperties};

std::shared_ptr<RectObject> RectObject::fromValues(
    js::Value const& a, js::Value const& b, js::Value const& c, js::Value const& d)
{
    if (c.isUndefined() && d.isUndefined())
        return std::make_shared<RectObject>(RectValue {0, 0, coordinate(a), coordinate(b)});
    return std::make_shared<RectObject>(
        RectValue {coordinate(a), coordinate(b), coordinate(c), coordinate(d)});
}

std::string RectObject::description() const
{
    return fmt::format(
        "Rect: {{{{{:g}, {:g}}}, {{{:g}, {:g}}}}}", m_rect.x, m_rect.y, m_rect.width, m_rect.height);
}

void RectObject::setOrigin(js::Value const& origin)
{
    auto const point = pointFromScript(origin);
    m_rect.x = point.x;
    m_rect.y = point.y;
}

void RectObject::setSize(js::Value const& size)
{
    auto const value = sizeFromScript(size);
    m_rect.width = value.width;
    m_rect.height = value.height;
}

} // namespace velk
