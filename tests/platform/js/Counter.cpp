#include "platform/js/Counter.h"

namespace velk::test {

namespace {

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return arguments.isMissing(0) ? nullptr : std::make_shared<Counter>(arguments.number(0));
}

constexpr js::MethodDescription kMethods[] = {
    {"self", js::method<&Counter::self>},
    {"add", js::method<&Counter::add>},
    {"sameAs", js::method<&Counter::sameAs>},
    {"join", js::method<&Counter::join>},
    {"exhaustMemory", js::method<&Counter::exhaustMemory>},
    {"fail", js::method<&Counter::fail>},
};

constexpr js::PropertyDescription kProperties[] = {
    {"count", js::getter<&Counter::count>, js::setter<&Counter::setCount>},
    {"total", js::getter<&Counter::count>},
    {"style", js::getter<&Counter::style>, js::setter<&Counter::setStyle>},
    {"bytes", js::getter<&Counter::bytes>},
};

} // namespace

js::ClassDescription const Counter::kClass = {"Counter", construct, kMethods, kProperties};

} // namespace velk::test
