#include "script/SizeObject.h"

#include <fmt/format.h>

namespace velk {

namespace {

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return SizeObject::fromValues(arguments.value(0), arguments.value(1));
}

constexpr js::PropertyDescription kProperties[] = {
    {"width", js::getter<&SizeObject::width>, js::setter<&SizeObject::setWidth>},
    {"height", js::getter<&SizeObject::height>, js::setter<&SizeObject::setHeight>},
};

} // namespace

js::ClassDescription const SizeObject::kClass = {"Size", construct, {}, kProperties};

std::shared_ptr<SizeObject> SizeObject::fromValues(js::Value const& width, js::Value const& height)
{
    auto const w = coordinate(width);
    return std::make_shared<SizeObject>(SizeValue {w, height.isUndefined() ? w : height.toNumber()});
}

std::string SizeObject::description() const
{
    return fmt::format("Size: {{{:g}, {:g}}}", m_size.width, m_size.height);
}

} // namespace velk
