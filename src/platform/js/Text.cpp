#include "base/Utf8.h"
#include "platform/js/Binding.h"

#include <js/CharacterEncoding.h>
#include <js/Conversions.h>
#include <js/String.h>

namespace velk::js {

namespace {

// As the engine wants it: malformed bytes are an error to it.
std::string withoutMalformedBytes(std::string_view text)
{
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string clean;
    while (!text.empty()) {
        auto const character = firstUtf8Character(text);
        clean += character.codePoint ? text.substr(0, character.length) : kReplacement;
        text.remove_prefix(character.length);
    }
    return clean;
}

} // namespace

JSString* toScriptString(JSContext* context, std::string_view text)
{
    if (!isUtf8(text))
        return toScriptString(context, withoutMalformedBytes(text));
    return JS_NewStringCopyUTF8N(context, JS::UTF8Chars(text.data(), text.size()));
}

std::string textOf(JSContext* context, JS::HandleString string)
{
    auto* const linear = JS_EnsureLinearString(context, string);
    if (!linear) {
        JS_ClearPendingException(context);
        return {};
    }
    std::string text(JS::GetDeflatedUTF8StringLength(linear), '\0');
    text.resize(JS::DeflateStringToUTF8Buffer(linear, mozilla::Span(text.data(), text.size())));
    return text;
}

std::string convertedText(JSContext* context, JS::HandleValue value)
{
    ExceptionGuard const guard(context);
    JS::RootedString const string(context, JS::ToString(context, value));
    return string ? textOf(context, string) : std::string();
}

} // namespace velk::js
