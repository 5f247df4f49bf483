#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

/// An ICC profile from pieces; every number in it can be made wrong.
class ProfileBuilder {
public:
    /// A valid header of a version 4.3 RGB display profile, and no tags.
    ProfileBuilder();

    ProfileBuilder& version(std::uint32_t field) { return word(8, field); }
    ProfileBuilder& profileClass(char const (&signature)[5]) { return word(12, FourCC(signature).code); }
    ProfileBuilder& space(char const (&signature)[5]) { return word(16, FourCC(signature).code); }
    ProfileBuilder& pcs(char const (&signature)[5]) { return word(20, FourCC(signature).code); }
    /// The four header bytes at `offset`; at offset 0 in place of the true size.
    ProfileBuilder& word(std::size_t offset, std::uint32_t value);

    /// Adds the tag, or replaces its element.
    ProfileBuilder& tag(std::string_view signature, Bytes element);
    ProfileBuilder& without(std::string_view signature);
    /// Another tag over the element of `original`.
    ProfileBuilder& sharedTag(std::string_view signature, std::string_view original);
    /// A row of the tag table as it stands here, whatever it points at.
    ProfileBuilder& entry(std::string_view signature, std::uint32_t offset, std::uint32_t length);
    /// In place of the true number of tags.
    ProfileBuilder& tagCount(std::uint32_t count);

    Bytes bytes() const;

private:
    struct Tag {
        std::string signature;
        Bytes element;
        std::string original; ///< the tag whose element this one shares
    };
    struct Entry {
        std::string signature;
        std::uint32_t offset, length;
    };

    std::map<std::size_t, std::uint32_t> m_words;
    std::vector<Tag> m_tags;
    std::vector<Entry> m_entries;
    std::int64_t m_tagCount = -1;
};

/// Profiles that a colour engine can use: sRGB primaries or grey, gamma 2.2, description "Test profile" and
/// copyright "Nobody", as the version wants them written.
ProfileBuilder matrixProfile(std::uint32_t version = 0x04300000);
ProfileBuilder grayProfile(std::uint32_t version = 0x04300000);

/// textType (ICC.1:2022, 10.24).
Bytes textElement(std::string_view text);
/// textDescriptionType (ICC.1:2001-04, 6.5.17) with only its ASCII text.
Bytes descriptionElement(std::string_view ascii);
/// XYZType (ICC.1:2022, 10.31) with one value.
Bytes xyzElement(double x, double y, double z);
/// curveType (ICC.1:2022, 10.6) of one gamma.
Bytes gammaElement(double gamma);

struct LocalizedRecord {
    std::string code; ///< language and country, as "enUS", or language alone
    std::u16string text;
};
/// multiLocalizedUnicodeType (ICC.1:2022, 10.15).
Bytes localizedElement(std::vector<LocalizedRecord> const& records);

} // namespace velk::test
