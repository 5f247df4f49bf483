#include "platform/js/Binding.h"

#include <js/Array.h>
#include <js/Object.h>
#include <js/PropertyAndElement.h>
#include <js/Symbol.h>
#include <js/experimental/TypedData.h>
#include <jsfriendapi.h>

#include <algorithm>
#include <array>

namespace velk::js {

namespace {

constexpr std::size_t kMostLevels = 16;
constexpr std::size_t kMostBytes = std::size_t {1} << 20;
// Byte arrays of pixels are long, and nobody reads them all.
constexpr std::uint32_t kMostTypedElements = 100;

std::string quoted(std::string_view text)
{
    struct Escape {
        char character;
        std::string_view text;
    };
    constexpr std::array<Escape, 5> kEscapes = {
        {{'"', "\\\""}, {'\\', "\\\\"}, {'\n', "\\n"}, {'\r', "\\r"}, {'\t', "\\t"}}};
    std::string result = "\"";
    for (char const character : text) {
        auto const* const escape = std::ranges::find(kEscapes, character, &Escape::character);
        if (escape == kEscapes.end())
            result += character;
        else
            result += escape->text;
    }
    return result + '"';
}

// Writes a value as a script would write it down: [1, "a"], {x: 1}. What a script can build without an end
// (cycles, depth, width) ends in a mark.
class DescriptionWriter {
public:
    explicit DescriptionWriter(JSContext* context)
        : m_context(context)
        , m_open(context)
    {
    }

    std::string text() { return std::move(m_text); }

    void write(JS::HandleValue value)
    {
        if (value.isObject()) {
            JS::RootedObject const object(m_context, &value.toObject());
            writeObject(object);
        } else if (value.isString() && m_open.length() > 0) {
            m_text += quoted(convertedText(m_context, value));
        } else if (value.isSymbol()) {
            writeSymbol(value);
        } else {
            m_text += convertedText(m_context, value);
        }
    }

private:
    void writeSymbol(JS::HandleValue value)
    {
        JS::RootedSymbol const symbol(m_context, value.toSymbol());
        JS::RootedString const name(m_context, JS::GetSymbolDescription(symbol));
        m_text += "Symbol(" + (name ? textOf(m_context, name) : std::string()) + ")";
    }

    void writeObject(JS::HandleObject object)
    {
        if (auto const native = nativeObject(object)) {
            m_text += native->description();
            return;
        }
        ::js::ESClass builtin = ::js::ESClass::Other;
        if (!JS::GetBuiltinClass(m_context, object, &builtin))
            JS_ClearPendingException(m_context);
        if (JS_IsTypedArrayObject(object))
            writeTypedArray(object);
        else if (builtin == ::js::ESClass::Array)
            writeNested(object, '[', ']', [&] { writeArray(object); });
        else if (builtin == ::js::ESClass::Object)
            writeNested(object, '{', '}', [&] { writeProperties(object); });
        else
            writeConverted(object);
    }

    // Functions, dates, errors, regular expressions: their own string form.
    void writeConverted(JS::HandleObject object)
    {
        JS::RootedValue const value(m_context, JS::ObjectValue(*object));
        auto const text = convertedText(m_context, value);
        m_text += text.empty() ? std::string("[object ") + JS::GetClass(object)->name + "]" : text;
    }

    template <typename Function>
    void writeNested(JS::HandleObject object, char open, char close, Function const& writeInside)
    {
        bool const isCycle = std::ranges::find(m_open, object.get()) != m_open.end();
        m_text += open;
        if (isCycle || m_open.length() == kMostLevels || !m_open.append(object)) {
            m_text += "...";
        } else {
            writeInside();
            m_open.popBack();
        }
        m_text += close;
    }

    // Whether one more element may follow; writes what comes before it.
    bool startElement(std::size_t index, std::size_t limit)
    {
        if (index > 0)
            m_text += ", ";
        if (index < limit && m_text.size() < kMostBytes)
            return true;
        m_text += "...";
        return false;
    }

    void writeElements(JS::HandleObject object, std::size_t length, std::size_t limit)
    {
        JS::RootedValue element(m_context);
        for (std::uint32_t index = 0; index < length && startElement(index, limit); ++index) {
            if (JS_GetElement(m_context, object, index, &element))
                write(element);
            else
                JS_ClearPendingException(m_context);
        }
    }

    void writeArray(JS::HandleObject object)
    {
        std::uint32_t length = 0;
        if (JS::GetArrayLength(m_context, object, &length))
            writeElements(object, length, length);
    }

    void writeTypedArray(JS::HandleObject object)
    {
        m_text += JS::GetClass(object)->name;
        m_text += " [";
        writeElements(object, JS_GetTypedArrayLength(object), kMostTypedElements);
        m_text += ']';
    }

    void writeProperties(JS::HandleObject object)
    {
        JS::RootedIdVector keys(m_context);
        if (!::js::GetPropertyKeys(m_context, object, JSITER_OWNONLY, &keys))
            return;
        JS::RootedValue key(m_context);
        JS::RootedValue property(m_context);
        for (std::size_t index = 0; index < keys.length() && startElement(index, keys.length()); ++index) {
            if (JS_IdToValue(m_context, keys[index], &key))
                m_text += convertedText(m_context, key) + ": ";
            if (JS_GetPropertyById(m_context, object, keys[index], &property))
                write(property);
            else
                JS_ClearPendingException(m_context);
        }
    }

    JSContext* m_context;
    JS::RootedObjectVector m_open; ///< the objects that are being written, from the outside in
    std::string m_text;
};

} // namespace

std::string describe(JSContext* context, JS::HandleValue value)
{
    DescriptionWriter writer(context);
    writer.write(value);
    return writer.text();
}

} // namespace velk::js
