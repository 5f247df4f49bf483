// Property lists: what is written is UTF-8 without characters that XML cannot hold, and its tags match.
#include "base/Utf8.h"
#include "fuzz/FuzzInput.h"
#include "platform/desktop/PropertyListXml.h"

#include <vector>

using namespace velk;

namespace {

constexpr int kMaximumDepth = 8;

PropertyDictionary dictionary(fuzz::FuzzInput& input, int depth);

PropertyValue value(fuzz::FuzzInput& input, int depth)
{
    auto const kind = input.byte() % (depth < kMaximumDepth ? 9 : 7);
    switch (kind) {
    case 0:
        return PropertyValue(input.text());
    case 1:
        return PropertyValue(input.byte() % 2 == 0);
    case 2:
        return PropertyValue(input.integer<std::int64_t>());
    case 3:
        return PropertyValue(static_cast<float>(input.number()));
    case 4:
        return PropertyValue(input.number());
    case 5:
        return PropertyValue(shareBytes(input.take(input.byte())));
    case 6:
        return PropertyValue(PropertyDate {input.integer<std::int16_t>(), input.byte(), input.byte(),
            input.byte(), input.byte(), input.byte()});
    case 7: {
        PropertyArray array;
        for (auto count = input.byte() % 8; count > 0; --count)
            array.push_back(value(input, depth + 1));
        return PropertyValue(std::move(array));
    }
    default:
        return PropertyValue(dictionary(input, depth + 1));
    }
}

PropertyDictionary dictionary(fuzz::FuzzInput& input, int depth)
{
    PropertyDictionary entries;
    for (auto count = input.byte() % 8; count > 0; --count) {
        auto const key = std::string(input.text());
        entries.insert_or_assign(key, value(input, depth));
    }
    return entries;
}

bool isAllowedCharacter(char character)
{
    return static_cast<unsigned char>(character) >= 0x20 || character == '\t' || character == '\n'
        || character == '\r';
}

// Whether every start tag has its end tag, in order, from the one after the document type on.
bool tagsMatch(std::string_view xml)
{
    std::vector<std::string_view> open;
    auto at = xml.find("<plist");
    while (at < xml.size() && xml[at] == '<') {
        auto const end = xml.find('>', at);
        if (end == xml.npos)
            return false;
        auto const tag = xml.substr(at + 1, end - at - 1);
        if (tag.starts_with('/')) {
            if (open.empty() || open.back() != tag.substr(1))
                return false;
            open.pop_back();
        } else if (!tag.ends_with('/')) {
            open.push_back(tag.substr(0, tag.find(' ')));
        }
        at = xml.find('<', end);
    }
    return open.empty();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    fuzz::FuzzInput input(data, size);
    auto const xml = desktop::propertyListXml(dictionary(input, 0));
    fuzz::require(isUtf8(xml), "a property list is UTF-8");
    fuzz::require(std::ranges::all_of(xml, isAllowedCharacter), "XML can hold every character");
    fuzz::require(tagsMatch(xml), "tags match");
    return 0;
}
