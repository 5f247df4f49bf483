#include "platform/desktop/Locale.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace velk::desktop {

namespace {

bool isCode(std::string_view text, char first, char last)
{
    return text.size() == 2 && std::ranges::all_of(text, [=](char c) { return c >= first && c <= last; });
}

// The POSIX form language[_country][.charset][@modifier].
Locale parseLocale(std::string_view name)
{
    name = name.substr(0, name.find_first_of(".@"));
    auto const separator = std::min(name.find('_'), name.size());
    auto const language = name.substr(0, separator);
    auto const country = name.substr(std::min(separator + 1, name.size()));
    if (!isCode(language, 'a', 'z'))
        return {};
    return {std::string(language), isCode(country, 'A', 'Z') ? std::string(country) : std::string()};
}

} // namespace

Locale currentLocale()
{
    for (auto const* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        auto const* const value = std::getenv(variable);
        if (value && *value)
            return parseLocale(value);
    }
    return {};
}

} // namespace velk::desktop
