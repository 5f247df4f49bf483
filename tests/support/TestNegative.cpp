#include "support/TestNegative.h"

#include <cmath>
#include <string>
#include <vector>

namespace velk::test {

namespace {

struct Field {
    std::uint16_t tag, type;
    std::vector<std::uint32_t> values;
    std::string text;

    std::uint32_t count() const
    {
        if (type == 2)
            return static_cast<std::uint32_t>(text.size()) + 1;
        return static_cast<std::uint32_t>(values.size() / (type == 5 || type == 10 ? 2 : 1));
    }
    Bytes bytes() const
    {
        Bytes result;
        append(result, text);
        if (type == 2)
            result.push_back(0);
        for (auto const value : values) {
            if (type == 1)
                result.push_back(static_cast<std::uint8_t>(value));
            else if (type == 3)
                appendLE16(result, static_cast<std::uint16_t>(value));
            else
                appendLE32(result, value);
        }
        return result;
    }
};

template <typename Numbers> std::vector<std::uint32_t> fractions(Numbers const& numbers)
{
    std::vector<std::uint32_t> result;
    for (auto const number : numbers) {
        result.push_back(static_cast<std::uint32_t>(std::lround(number * 1e6)));
        result.push_back(1000000);
    }
    return result;
}
std::vector<std::uint32_t> fractions(std::initializer_list<double> numbers)
{
    return fractions(std::vector(numbers));
}

Bytes withDirectory(std::vector<Field> const& fields)
{
    Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
    appendLE16(file, static_cast<std::uint16_t>(fields.size()));
    Bytes outside;
    auto const outsideOffset = 8 + 2 + 12 * fields.size() + 4;
    for (auto const& field : fields) {
        appendLE16(file, field.tag);
        appendLE16(file, field.type);
        appendLE32(file, field.count());
        auto value = field.bytes();
        if (value.size() > 4) {
            appendLE32(file, static_cast<std::uint32_t>(outsideOffset + outside.size()));
            value.resize((value.size() + 1) / 2 * 2);
            append(outside, value);
        } else {
            value.resize(4);
            append(file, value);
        }
    }
    appendLE32(file, 0);
    append(file, outside);
    return file;
}

Bytes pixels(TestNegative::Color const& neutral)
{
    Bytes result;
    for (int y = 0; y < TestNegative::kHeight; ++y) {
        for (int x = 0; x < TestNegative::kWidth; ++x) {
            auto const color = static_cast<std::size_t>(x % 2 + y % 2);
            auto const seen = TestNegative::scene(x, y)[color] * neutral[color];
            appendLE16(result, static_cast<std::uint16_t>(std::lround(seen * 65535)));
        }
    }
    return result;
}

} // namespace

TestNegative::Color TestNegative::scene(int x, int y)
{
    if (x >= kWidth / 2)
        return {1, 1, 1};
    return y < kHeight / 2 ? Color {0.5, 0.1, 0.1} : Color {0.5, 0.5, 0.5};
}

Bytes TestNegative::file() const
{
    std::vector<Field> fields = {
        {254, 4, {0}},
        {256, 4, {kWidth}},
        {257, 4, {kHeight}},
        {258, 3, {16}},
        {259, 3, {1}},
        {262, 3, {32803}},
        {271, 2, {}, "Velk"},
        {272, 2, {}, "Pinhole"},
        {273, 4, {0}}, // set below
        {274, 3, {static_cast<std::uint32_t>(orientation)}},
        {277, 3, {1}},
        {278, 4, {kHeight}},
        {279, 4, {kWidth * kHeight * 2}},
        {306, 2, {}, "2024:05:06 07:08:09"},
        {315, 2, {}, "Nobody"},
        {33421, 3, {2, 2}},
        {33422, 1, {0, 1, 1, 2}},
        {50706, 1, {1, 4, 0, 0}},
        {50708, 2, {}, "Velk Pinhole"},
        {50717, 4, {65535}},
        {50721, 10,
            fractions({3.2404542, -1.5371385, -0.4985314, -0.9692660, 1.8760108, 0.0415560, 0.0556434,
                -0.2040259, 1.0572252})},
        {50728, 5, fractions(neutral)},
        {50778, 3, {21}},
    };
    // Values that do not fit into their field lie behind the directory, then come the pixels.
    std::uint32_t end = 8 + 2 + 12 * static_cast<std::uint32_t>(fields.size()) + 4;
    for (auto const& field : fields)
        end += field.bytes().size() > 4 ? (static_cast<std::uint32_t>(field.bytes().size()) + 1) / 2 * 2 : 0;
    fields[8].values = {end};
    auto result = withDirectory(fields);
    append(result, pixels(neutral));
    return result;
}

} // namespace velk::test
