#include "platform/js/Binding.h"

#include <js/Array.h>
#include <js/Conversions.h>
#include <js/PropertyAndElement.h>
#include <js/experimental/TypedData.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace velk::js {

namespace {

constexpr std::uint32_t kMostNumbers = 1'000'000;
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

std::string numberText(double number)
{
    char text[JS::MaximumNumberToStringLength];
    JS::NumberToString(number, text);
    return text;
}

double convertedNumber(JSContext* context, JS::HandleValue value)
{
    ExceptionGuard const guard(context);
    double number = 0;
    return JS::ToNumber(context, value, &number) ? number : kNotANumber;
}

// The length of an array or a typed array; nothing for anything else.
std::optional<std::uint32_t> listLength(JSContext* context, JS::HandleObject object)
{
    if (JS_IsTypedArrayObject(object))
        return static_cast<std::uint32_t>(std::min<std::size_t>(JS_GetTypedArrayLength(object), UINT32_MAX));
    bool isArray = false;
    std::uint32_t length = 0;
    if (!JS::IsArrayObject(context, object, &isArray) || !isArray
        || !JS::GetArrayLength(context, object, &length))
        return std::nullopt;
    return length;
}

std::vector<double> numbersOf(JSContext* context, JS::HandleObject list)
{
    ExceptionGuard const guard(context);
    auto const length = listLength(context, list);
    std::vector<double> numbers;
    JS::RootedValue element(context);
    for (std::uint32_t index = 0; length && index < std::min(*length, kMostNumbers); ++index) {
        if (JS_GetElement(context, list, index, &element))
            numbers.push_back(convertedNumber(context, element));
        else
            numbers.push_back(kNotANumber);
        JS_ClearPendingException(context);
    }
    return numbers;
}

// Calls `function` with the engine's context and the value inside the engine; `otherwise` without an engine.
template <typename Result, typename Function>
Result inEngine(Value const& value, Result otherwise, Function const& function)
{
    auto* const binding = Binding::current();
    if (!binding)
        return otherwise;
    ExceptionGuard const guard(binding->context());
    JS::RootedValue engineValue(binding->context());
    if (!binding->toScript(value, &engineValue))
        return otherwise;
    return function(binding->context(), JS::HandleValue(engineValue));
}

} // namespace

std::string NativeObject::description() const
{
    return std::string("[object ") + classDescription().name + "]";
}

Value::Value(std::nullptr_t)
    : m_value(Null {})
{
}
Value::Value(bool value)
    : m_value(value)
{
}
Value::Value(int value)
    : m_value(static_cast<double>(value))
{
}
Value::Value(double value)
    : m_value(value)
{
}
Value::Value(std::string value)
    : m_value(std::move(value))
{
}
Value::Value(char const* value)
    : m_value(std::string(value))
{
}

Value::Value(std::shared_ptr<NativeObject> object)
{
    if (object)
        m_value = std::move(object);
    else
        m_value = Null {};
}

Value::Value(PropertyValue value)
{
    if (auto const* text = value.asString())
        m_value = *text;
    else if (auto const* boolean = value.asBoolean())
        m_value = *boolean;
    else if (value.isNumber())
        m_value = value.number();
    else
        m_value = std::make_shared<PropertyValue const>(std::move(value));
}

Value::Value(ByteView view)
    : m_value(std::make_shared<ByteView const>(std::move(view)))
{
}

Value Value::list(std::vector<Value> elements)
{
    Value value;
    value.m_value = std::make_shared<std::vector<Value> const>(std::move(elements));
    return value;
}

Value Value::record(std::initializer_list<std::pair<char const*, double>> fields)
{
    Value value;
    value.m_value = std::make_shared<Record const>(fields.begin(), fields.end());
    return value;
}

bool Value::isUndefined() const
{
    return std::holds_alternative<std::monostate>(m_value);
}

bool Value::isNull() const
{
    return std::holds_alternative<Null>(m_value);
}

std::string const* Value::asString() const
{
    return std::get_if<std::string>(&m_value);
}

std::shared_ptr<NativeObject> Value::native() const
{
    auto const* const object = std::get_if<std::shared_ptr<NativeObject>>(&m_value);
    return object ? *object : nullptr;
}

double Value::toNumber() const
{
    if (auto const* const number = std::get_if<double>(&m_value))
        return *number;
    return inEngine(*this, kNotANumber, convertedNumber);
}

std::uint32_t Value::toUint32() const
{
    return JS::ToUint32(toNumber());
}

std::string Value::toString() const
{
    if (auto const* const text = asString())
        return *text;
    if (auto const* const number = std::get_if<double>(&m_value))
        return numberText(*number);
    return inEngine(*this, std::string(), convertedText);
}

std::vector<double> Value::toNumbers() const
{
    return inEngine(*this, std::vector<double>(), [](JSContext* context, JS::HandleValue value) {
        if (!value.isObject())
            return std::vector<double>();
        JS::RootedObject const object(context, &value.toObject());
        return numbersOf(context, object);
    });
}

std::optional<PropertyValue> Value::toProperty() const
{
    if (auto const* const property = std::get_if<std::shared_ptr<PropertyValue const>>(&m_value))
        return **property;
    return inEngine(*this, std::optional<PropertyValue>(), toPropertyValue);
}

Value Value::property(std::string_view name) const
{
    return inEngine(*this, Value(), [name](JSContext* context, JS::HandleValue value) {
        JS::RootedString const text(context, toScriptString(context, name));
        JS::RootedId id(context);
        JS::RootedValue property(context);
        if (!value.isObject() || !text || !JS_StringToId(context, text, &id))
            return Value();
        JS::RootedObject const object(context, &value.toObject());
        return JS_GetPropertyById(context, object, id, &property) ? Binding::current()->fromScript(property)
                                                                  : Value();
    });
}

std::string Value::description() const
{
    if (auto const* const text = asString())
        return *text;
    if (auto const object = native())
        return object->description();
    return inEngine(*this, std::string(), describe);
}

} // namespace velk::js
