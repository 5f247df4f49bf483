#include "platform/desktop/PropertyListXml.h"

#include "base/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>

namespace velk::desktop {

namespace {

constexpr std::size_t kBase64LineBytes = 48;

std::string base64(ByteSpan bytes)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        auto const group = bytes.subspan(at, std::min<std::size_t>(3, bytes.size() - at));
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < group.size() ? group[i] : 0u);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
    }
    return text;
}

// XML 1.0, production 2.
bool isXmlCharacter(char32_t codePoint)
{
    return codePoint == '\t' || codePoint == '\n' || codePoint == '\r'
        || (codePoint >= 0x20 && codePoint != 0xFFFE && codePoint != 0xFFFF);
}

void appendEscaped(std::string& xml, std::string_view text)
{
    while (!text.empty()) {
        auto const character = firstUtf8Character(text);
        auto const bytes = text.substr(0, character.length);
        text.remove_prefix(character.length);
        if (!character.codePoint || !isXmlCharacter(*character.codePoint))
            xml += "\uFFFD";
        else if (bytes == "&")
            xml += "&amp;";
        else if (bytes == "<")
            xml += "&lt;";
        else if (bytes == ">")
            xml += "&gt;";
        else if (bytes == "\r") // A bare one would read back as a line feed.
            xml += "&#13;";
        else
            xml += bytes;
    }
}

template <std::floating_point Real> std::string realText(Real value)
{
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    return fmt::format("{}", value);
}

bool isInCalendar(PropertyDate const& date)
{
    using namespace std::chrono;
    year_month_day const day {year(date.year), month(static_cast<unsigned>(date.month)),
        std::chrono::day(static_cast<unsigned>(date.day))};
    auto const within = [](int value, int count) { return value >= 0 && value < count; };
    return date.year >= 1 && date.year <= 9999 && within(date.month, 13) && within(date.day, 32) && day.ok()
        && within(date.hour, 24) && within(date.minute, 60) && within(date.second, 60);
}

class Writer {
public:
    std::string document(PropertyDictionary const& dictionary)
    {
        m_xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
        write(dictionary);
        m_xml += "</plist>\n";
        return std::move(m_xml);
    }

private:
    void indent() { m_xml.append(m_depth, '\t'); }

    void line(std::string_view text)
    {
        indent();
        m_xml += text;
        m_xml += '\n';
    }

    void element(std::string_view name, std::string_view text)
    {
        indent();
        fmt::format_to(std::back_inserter(m_xml), "<{}>", name);
        appendEscaped(m_xml, text);
        fmt::format_to(std::back_inserter(m_xml), "</{}>\n", name);
    }

    void write(PropertyDictionary const& dictionary)
    {
        if (dictionary.empty())
            return line("<dict/>");
        line("<dict>");
        ++m_depth;
        for (auto const& [key, value] : dictionary) {
            element("key", key);
            write(value);
        }
        --m_depth;
        line("</dict>");
    }

    void write(PropertyArray const& array)
    {
        if (array.empty())
            return line("<array/>");
        line("<array>");
        ++m_depth;
        for (auto const& value : array)
            write(value);
        --m_depth;
        line("</array>");
    }

    void write(ByteSpan data)
    {
        line("<data>");
        for (; !data.empty(); data = data.subspan(std::min(kBase64LineBytes, data.size())))
            line(base64(data.first(std::min(kBase64LineBytes, data.size()))));
        line("</data>");
    }

    void write(PropertyDate const& date)
    {
        element(isInCalendar(date) ? "date" : "string",
            fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", date.year, date.month, date.day, date.hour,
                date.minute, date.second));
    }

    void write(PropertyValue const& value)
    {
        if (auto const* text = value.asString())
            element("string", *text);
        else if (auto const* boolean = value.asBoolean())
            line(*boolean ? "<true/>" : "<false/>");
        else if (auto const* integer = value.asInteger())
            element("integer", fmt::format("{}", *integer));
        else if (auto const* single = value.asFloat())
            element("real", realText(*single));
        else if (auto const* real = value.asDouble())
            element("real", realText(*real));
        else if (auto const* date = value.asDate())
            write(*date);
        else if (auto const* array = value.asArray())
            write(*array);
        else if (auto const* dictionary = value.asDictionary())
            write(*dictionary);
        else if (auto const data = value.asData())
            write(ByteSpan(*data));
        else
            write(ByteSpan());
    }

    std::string m_xml;
    std::size_t m_depth = 0;
};

} // namespace

std::string propertyListXml(PropertyDictionary const& dictionary)
{
    return Writer().document(dictionary);
}

} // namespace velk::desktop
