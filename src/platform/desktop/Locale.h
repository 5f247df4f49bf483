#pragma once

#include <string>

namespace velk::desktop {

/// The language and region of the user, as ISO 639-1 and ISO 3166-1 codes.
struct Locale {
    std::string language = "en";
    std::string country = "US"; ///< empty when only the language is known

    /// In the form "en_US", or "en" without a country.
    std::string identifier() const { return country.empty() ? language : language + "_" + country; }

    bool operator==(Locale const&) const = default;
};

/// From the first of LC_ALL, LC_MESSAGES and LANG that is set, such as "de_AT.UTF-8". English of the United
/// States when none is, and for "C", "POSIX" and languages without a two-letter code.
Locale currentLocale();

} // namespace velk::desktop
