#include "script/Console.h"

namespace velk {

namespace {

constexpr js::MethodDescription kMethods[] = {
    {"log", js::method<&Console::log>},
};

} // namespace

js::ClassDescription const Console::kClass = {"Console", nullptr, kMethods, {}};

void Console::log(js::Value value)
{
    if (m_handler)
        m_handler(value);
}

} // namespace velk
