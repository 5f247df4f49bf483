#include "platform/js/Binding.h"

#include <js/Array.h>
#include <js/Date.h>
#include <js/Object.h>
#include <js/PropertyAndElement.h>
#include <js/experimental/TypedData.h>
#include <jsfriendapi.h>

#include <algorithm>
#include <cmath>
#include <ctime>

namespace velk::js {

namespace {

constexpr int kMostLevels = 64;
constexpr std::size_t kMostValues = 1'000'000;

bool toEngine(JSContext* context, PropertyValue const& value, JS::MutableHandleValue to);

JSObject* arrayObject(JSContext* context, PropertyArray const& array)
{
    JS::RootedObject object(context, JS::NewArrayObject(context, array.size()));
    JS::RootedValue element(context);
    for (std::uint32_t index = 0; object && index < array.size(); ++index) {
        if (!toEngine(context, array[index], &element)
            || !JS_DefineElement(context, object, index, element, JSPROP_ENUMERATE))
            return nullptr;
    }
    return object;
}

bool defineByText(JSContext* context, JS::HandleObject object, std::string_view name, JS::HandleValue value)
{
    JS::RootedString const text(context, toScriptString(context, name));
    JS::RootedId id(context);
    return text && JS_StringToId(context, text, &id)
        && JS_DefinePropertyById(context, object, id, value, JSPROP_ENUMERATE);
}

JSObject* dictionaryObject(JSContext* context, PropertyDictionary const& dictionary)
{
    JS::RootedObject object(context, JS_NewPlainObject(context));
    JS::RootedValue property(context);
    for (auto const& [key, value] : dictionary) {
        if (!object || !toEngine(context, value, &property) || !defineByText(context, object, key, property))
            return nullptr;
    }
    return object;
}

JSObject* dataObject(JSContext* context, Bytes const& bytes)
{
    JS::RootedObject const array(context, JS_NewUint8Array(context, bytes.size()));
    if (!array)
        return nullptr;
    JS::AutoCheckCannotGC noCollection;
    bool isShared = false;
    std::ranges::copy(bytes, JS_GetUint8ArrayData(array, &isShared, noCollection));
    return array;
}

JSObject* dateObject(JSContext* context, PropertyDate const& date)
{
    return JS::NewDateObject(
        context, date.year, date.month - 1, date.day, date.hour, date.minute, date.second);
}

bool toEngine(JSContext* context, PropertyValue const& value, JS::MutableHandleValue to)
{
    if (auto const* const text = value.asString()) {
        auto* const string = toScriptString(context, *text);
        if (string)
            to.setString(string);
        return string != nullptr;
    }
    if (auto const* const boolean = value.asBoolean())
        return to.setBoolean(*boolean), true;
    if (value.isNumber())
        return to.setNumber(value.number()), true;
    auto* const object = toScriptObject(context, value);
    to.setObjectOrNull(object);
    return object != nullptr;
}

// Reads values of the engine, up to a depth and a count: a script can build what has no end.
class PropertyReader {
public:
    explicit PropertyReader(JSContext* context)
        : m_context(context)
    {
    }

    std::optional<PropertyValue> read(JS::HandleValue value)
    {
        if (++m_count > kMostValues)
            return std::nullopt;
        if (value.isBoolean())
            return PropertyValue(value.toBoolean());
        if (value.isNumber())
            return number(value.toNumber());
        if (value.isString()) {
            JS::RootedString const string(m_context, value.toString());
            return PropertyValue(textOf(m_context, string));
        }
        if (!value.isObject() || m_level == kMostLevels)
            return std::nullopt;
        JS::RootedObject const object(m_context, &value.toObject());
        ++m_level;
        auto result = readObject(object);
        --m_level;
        return result;
    }

private:
    // Whole numbers stay whole in metadata.
    static PropertyValue number(double number)
    {
        constexpr double kLargestExact = 9007199254740992;
        bool const isWhole = std::trunc(number) == number && std::abs(number) <= kLargestExact;
        if (isWhole && !(number == 0 && std::signbit(number)))
            return static_cast<std::int64_t>(number);
        return number;
    }

    std::optional<PropertyValue> readObject(JS::HandleObject object)
    {
        if (JS_IsUint8Array(object))
            return data(object);
        ::js::ESClass builtin {};
        if (!JS::GetBuiltinClass(m_context, object, &builtin))
            return std::nullopt;
        switch (builtin) {
        case ::js::ESClass::Array:
            return array(object);
        case ::js::ESClass::Date:
            return date(object);
        case ::js::ESClass::Object:
            return dictionary(object);
        default:
            return std::nullopt;
        }
    }

    std::optional<PropertyValue> array(JS::HandleObject object)
    {
        std::uint32_t length = 0;
        if (!JS::GetArrayLength(m_context, object, &length))
            return std::nullopt;
        PropertyArray array;
        JS::RootedValue element(m_context);
        for (std::uint32_t index = 0; index < length && m_count < kMostValues; ++index) {
            if (!JS_GetElement(m_context, object, index, &element))
                JS_ClearPendingException(m_context);
            else if (auto value = read(element))
                array.push_back(std::move(*value));
        }
        return array;
    }

    std::optional<PropertyValue> dictionary(JS::HandleObject object)
    {
        JS::RootedIdVector keys(m_context);
        if (nativeObject(object) || !::js::GetPropertyKeys(m_context, object, JSITER_OWNONLY, &keys))
            return std::nullopt;
        PropertyDictionary dictionary;
        JS::RootedValue key(m_context);
        JS::RootedValue property(m_context);
        for (std::size_t index = 0; index < keys.length() && m_count < kMostValues; ++index) {
            if (!JS_IdToValue(m_context, keys[index], &key)
                || !JS_GetPropertyById(m_context, object, keys[index], &property))
                JS_ClearPendingException(m_context);
            else if (auto value = read(property))
                set(dictionary, convertedText(m_context, key), std::move(*value));
        }
        return dictionary;
    }

    std::optional<PropertyValue> date(JS::HandleObject object)
    {
        double milliseconds = 0;
        if (!::js::DateGetMsecSinceEpoch(m_context, object, &milliseconds) || !std::isfinite(milliseconds))
            return std::nullopt;
        auto const seconds = static_cast<std::time_t>(std::floor(milliseconds / 1000));
        std::tm local {};
        if (!::localtime_r(&seconds, &local))
            return std::nullopt;
        return PropertyDate {
            local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
    }

    static PropertyValue data(JS::HandleObject object)
    {
        auto const length = JS_GetTypedArrayLength(object);
        JS::AutoCheckCannotGC noCollection;
        bool isShared = false;
        auto const* const bytes = JS_GetUint8ArrayData(object, &isShared, noCollection);
        return std::make_shared<Bytes const>(bytes, bytes + length);
    }

    JSContext* m_context;
    int m_level = 0;
    std::size_t m_count = 0;
};

} // namespace

JSObject* toScriptObject(JSContext* context, PropertyValue const& value)
{
    if (auto const* const array = value.asArray())
        return arrayObject(context, *array);
    if (auto const* const dictionary = value.asDictionary())
        return dictionaryObject(context, *dictionary);
    if (auto const* const date = value.asDate())
        return dateObject(context, *date);
    auto const data = value.asData();
    return dataObject(context, data ? *data : Bytes());
}

std::optional<PropertyValue> toPropertyValue(JSContext* context, JS::HandleValue value)
{
    return PropertyReader(context).read(value);
}

} // namespace velk::js
