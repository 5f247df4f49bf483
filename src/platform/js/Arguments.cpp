#include "platform/js/Binding.h"

#include <js/Conversions.h>

#include <limits>

namespace velk::js {

std::size_t Arguments::count() const
{
    return m_engine.arguments.length();
}

bool Arguments::isMissing(std::size_t index) const
{
    return m_engine.arguments.get(static_cast<unsigned>(index)).isUndefined();
}

Value Arguments::value(std::size_t index) const
{
    return Binding::current()->fromScript(m_engine.arguments.get(static_cast<unsigned>(index)));
}

double Arguments::number(std::size_t index) const
{
    auto const argument = m_engine.arguments.get(static_cast<unsigned>(index));
    if (argument.isNumber())
        return argument.toNumber();
    ExceptionGuard const guard(m_engine.context);
    double number = 0;
    return JS::ToNumber(m_engine.context, argument, &number) ? number
                                                             : std::numeric_limits<double>::quiet_NaN();
}

std::uint32_t Arguments::uint32(std::size_t index) const
{
    auto const argument = m_engine.arguments.get(static_cast<unsigned>(index));
    return argument.isInt32() ? static_cast<std::uint32_t>(argument.toInt32()) : JS::ToUint32(number(index));
}

std::string Arguments::string(std::size_t index) const
{
    return isMissing(index)
        ? std::string()
        : convertedText(m_engine.context, m_engine.arguments.get(static_cast<unsigned>(index)));
}

} // namespace velk::js
