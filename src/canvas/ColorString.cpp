#include "canvas/ColorString.h"

#include "base/Utf8.h"
#include "canvas/NamedColorTable.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace velk {

using graphics::Color;

namespace {

constexpr double kByteScale = 255;
constexpr double kHueScale = 359;
constexpr double kPercentScale = 100;
constexpr Color kTransparentBlack {0, 0, 0, 0};

// White space and line breaks of Unicode.
bool isBlank(char32_t character)
{
    return (character >= 0x09 && character <= 0x0D) || character == 0x20 || character == 0x85
        || character == 0xA0 || character == 0x1680 || (character >= 0x2000 && character <= 0x200B)
        || character == 0x2028 || character == 0x2029 || character == 0x202F || character == 0x205F
        || character == 0x3000;
}

bool isAtEnds(char32_t character)
{
    return character == '[' || character == ']' || isBlank(character);
}

bool isBetweenComponents(char32_t character)
{
    return character == ',' || isBlank(character);
}

// Calls `visit` with each character's place, length and whether it is one of those that `belongs` names.
template <typename Belongs, typename Visit>
void forEachCharacter(std::string_view text, Belongs const& belongs, Visit const& visit)
{
    for (std::size_t at = 0; at < text.size();) {
        auto const byte = static_cast<unsigned char>(text[at]);
        auto const character =
            byte < 0x80 ? Utf8Character {.codePoint = byte} : firstUtf8Character(text.substr(at));
        visit(at, character.length, character.codePoint && belongs(*character.codePoint));
        at += character.length;
    }
}

char lowerCase(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// The decimal number at the start, if there is one: words such as "inf" are none.
std::optional<float> leadingNumber(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
    bool const isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    if (text.find_first_of("0123456789.") != 0)
        return std::nullopt;
    float value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument)
        return std::nullopt;
    // Out of range says neither "too large" nor "too small"; the C library tells.
    if (error == std::errc::result_out_of_range)
        value = std::strtof(std::string(text.data(), end).c_str(), nullptr);
    return isNegative ? -value : value;
}

double singleNumber(std::string_view text)
{
    return leadingNumber(text).value_or(0);
}

double channel(std::uint32_t value, int shift)
{
    return ((value >> shift) & 0xFF) / kByteScale;
}

Color colorFromValue(std::uint32_t value, double alpha)
{
    return {channel(value, 16), channel(value, 8), channel(value, 0), alpha};
}

using Components = std::vector<std::string_view>;

std::optional<Color> colorFromName(Components const& pieces)
{
    auto const* named = namedColor(pieces.front());
    if (!named)
        return std::nullopt;
    return colorFromValue(named->value, pieces.size() > 1 ? singleNumber(pieces.back()) : 1.0);
}

struct HexadecimalScan {
    std::uint32_t value = 0;
    std::size_t end = 0; ///< where the digits end; 0 = there are none
};

HexadecimalScan scanHexadecimal(std::string_view text)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    auto const isDigit = [&](std::size_t at) {
        return at < text.size() && kDigits.find(text[at]) != kDigits.npos;
    };
    std::size_t start = text.starts_with('#') ? 1 : 0;
    if (text.substr(start).starts_with("0x") && isDigit(start + 2))
        start += 2;
    if (!isDigit(start))
        return {};
    HexadecimalScan scan {.value = 0, .end = start};
    while (isDigit(scan.end))
        ++scan.end;
    std::from_chars(text.data() + start, text.data() + scan.end, scan.value, 16);
    return scan;
}

// 0xRGB as 0xRRGGBB.
std::uint32_t withDoubledDigits(std::uint32_t value)
{
    return ((value >> 8) & 0xF) * 0x110000 + ((value >> 4) & 0xF) * 0x1100 + (value & 0xF) * 0x11;
}

constexpr std::size_t kShortHexadecimalEnd = 4; ///< of "#rgb"
constexpr std::size_t kLongHexadecimalEnd = 7; ///< of "#rrggbb"

std::optional<Color> colorFromHexadecimal(std::string_view original, Components const& pieces)
{
    // A blank before the "#" has to keep the text from being hexadecimal.
    if (!original.starts_with('#'))
        return std::nullopt;
    auto const scan = scanHexadecimal(pieces.front());
    if (scan.end == 0)
        return kTransparentBlack;
    bool const isWhole = scan.end == pieces.front().size();
    if (!isWhole || (scan.end != kShortHexadecimalEnd && scan.end != kLongHexadecimalEnd))
        return std::nullopt;
    auto const value = scan.end == kShortHexadecimalEnd ? withDoubledDigits(scan.value) : scan.value;
    return colorFromValue(value, pieces.size() > 1 ? ColorComponentValue(pieces[1], kByteScale) : 1.0);
}

double fraction(double value)
{
    return value - std::floor(value);
}

Color colorFromHsl(double hue, double saturation, double lightness, double alpha)
{
    auto const q =
        lightness <= 0.5 ? lightness * (1 + saturation) : lightness + saturation - lightness * saturation;
    auto const p = 2 * lightness - q;
    auto const channelAt = [&](double turn) {
        auto const sixths = 6 * fraction(turn);
        if (sixths < 1)
            return p + (q - p) * sixths;
        if (sixths < 3)
            return q;
        return sixths < 4 ? p + (q - p) * (4 - sixths) : p;
    };
    constexpr double kThirdTurn = 1.0 / 3;
    return {channelAt(hue + kThirdTurn), channelAt(hue), channelAt(hue - kThirdTurn), alpha};
}

struct ColorFunction {
    std::string_view name;
    bool isHsl;
    bool hasAlpha;
};

constexpr ColorFunction kColorFunctions[] = {
    {.name = "rgb", .isHsl = false, .hasAlpha = false},
    {.name = "rgba", .isHsl = false, .hasAlpha = true},
    {.name = "hsl", .isHsl = true, .hasAlpha = false},
    {.name = "hsla", .isHsl = true, .hasAlpha = true},
};

std::optional<Color> colorFromFunction(std::string_view text)
{
    auto const open = text.find('(');
    auto const* const function =
        std::ranges::find(kColorFunctions, text.substr(0, open), &ColorFunction::name);
    if (open == text.npos || function == std::end(kColorFunctions))
        return std::nullopt;
    auto const arguments = text.substr(open + 1);
    auto const pieces = ColorStringComponents(arguments.substr(0, arguments.find(')')));
    if (pieces.size() != (function->hasAlpha ? 4 : 3))
        return std::nullopt;
    auto const alpha = function->hasAlpha ? ColorComponentValue(pieces[3], kByteScale) : 1.0;
    if (function->isHsl)
        return colorFromHsl(ColorComponentValue(pieces[0], kHueScale),
            ColorComponentValue(pieces[1], kPercentScale), ColorComponentValue(pieces[2], kPercentScale),
            alpha);
    return Color {ColorComponentValue(pieces[0], kByteScale), ColorComponentValue(pieces[1], kByteScale),
        ColorComponentValue(pieces[2], kByteScale), alpha};
}

// The whole piece as a number in the C library's syntax, hexadecimal, "inf" and "nan" included.
std::optional<float> wholeNumber(std::string_view piece)
{
    std::string const text(piece);
    char* end = nullptr;
    auto const value = std::strtof(text.c_str(), &end);
    if (end != text.c_str() + text.size())
        return std::nullopt;
    return value;
}

std::optional<Color> colorFromNumbers(Components const& pieces)
{
    std::vector<float> numbers;
    for (auto const piece : pieces) {
        auto const number = wholeNumber(piece);
        if (!number)
            return std::nullopt;
        numbers.push_back(*number);
    }
    auto const component = [&](std::size_t index) { return ColorComponentValue(pieces[index], kByteScale); };
    if (pieces.size() < 3) {
        auto const gray = component(0);
        return Color {gray, gray, gray, pieces.size() == 2 ? numbers[1] : 1.0};
    }
    return Color {component(0), component(1), component(2), pieces.size() > 3 ? numbers[3] : 1.0};
}

} // namespace

std::string NormalizedColorString(std::string_view text)
{
    std::size_t start = text.size(), end = 0;
    forEachCharacter(text, isAtEnds, [&](std::size_t at, std::size_t length, bool isTrimmed) {
        if (isTrimmed)
            return;
        start = std::min(start, at);
        end = at + length;
    });
    std::string normalized(text.substr(start, end > start ? end - start : 0));
    std::ranges::transform(normalized, normalized.begin(), lowerCase);
    return normalized;
}

std::vector<std::string_view> ColorStringComponents(std::string_view text)
{
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    auto const endPiece = [&](std::size_t end) {
        if (end > start)
            pieces.push_back(text.substr(start, end - start));
    };
    forEachCharacter(text, isBetweenComponents, [&](std::size_t at, std::size_t length, bool isSeparator) {
        if (!isSeparator)
            return;
        endPiece(at);
        start = at + length;
    });
    endPiece(text.size());
    return pieces;
}

double ColorComponentValue(std::string_view text, double scale)
{
    auto const value = singleNumber(text);
    bool const isScaled = value > 1 && text.find('.') == text.npos;
    return isScaled ? value / scale : value;
}

std::optional<Color> CreateColorFromString(std::string_view text, std::optional<Color> fallback)
{
    if (text.empty())
        return fallback;
    auto const normalized = NormalizedColorString(text);
    auto const pieces = ColorStringComponents(normalized);
    if (pieces.empty())
        return kTransparentBlack;
    if (auto const color = colorFromName(pieces))
        return color;
    if (auto const color = colorFromHexadecimal(text, pieces))
        return color;
    if (auto const color = colorFromFunction(normalized))
        return color;
    return colorFromNumbers(pieces).value_or(kTransparentBlack);
}

} // namespace velk
