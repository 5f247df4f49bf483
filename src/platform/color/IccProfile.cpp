#include "platform/color/IccProfile.h"

#include "base/FourCC.h"
#include "base/TextEncoding.h"

#include <algorithm>
#include <cstdlib>

namespace velk::color {

namespace {

constexpr std::size_t kHeaderSize = 128;
constexpr std::size_t kSpaceOffset = 16;
constexpr std::size_t kSignatureOffset = 36;

constexpr std::size_t kTagEntrySize = 12;
constexpr std::size_t kTagTableOffset = kHeaderSize + 4;
constexpr std::uint32_t kMaximumTags = 1024;

bool isProfile(ByteSpan profile)
{
    return profile.size() > kHeaderSize
        && FourCC(loadBE32(profile.data() + kSignatureOffset)) == FourCC("acsp");
}

// `length` bytes at `offset`, or as many of them as there are.
ByteSpan part(ByteSpan bytes, std::size_t offset, std::size_t length)
{
    if (offset > bytes.size())
        return {};
    return bytes.subspan(offset, std::min(length, bytes.size() - offset));
}

// The element of a tag (ICC.1:2022, 7.3); empty when there is none.
ByteSpan element(ByteSpan profile, FourCC signature)
{
    if (profile.size() < kTagTableOffset)
        return {};
    auto const count = std::min(loadBE32(profile.data() + kHeaderSize), kMaximumTags);
    for (std::uint32_t i = 0; i < count; ++i) {
        auto const entry = part(profile, kTagTableOffset + i * kTagEntrySize, kTagEntrySize);
        if (entry.size() < kTagEntrySize)
            return {};
        if (FourCC(loadBE32(entry.data())) == signature)
            return part(profile, loadBE32(entry.data() + 4), loadBE32(entry.data() + 8));
    }
    return {};
}

std::string cleaned(std::string text)
{
    text.resize(std::min(text.find('\0'), text.size()));
    trimEnd(text);
    return text;
}

// textDescriptionType (ICC.1:2001-04, 6.5.17): type and reserved (8), count of the ASCII text (4), the text,
// Unicode language (4), count of UTF-16 units (4), these units, and a ScriptCode text that nobody needs.
std::string textDescription(ByteSpan element)
{
    if (element.size() < 12)
        return {};
    auto const count = loadBE32(element.data() + 8);
    auto text = cleaned(utf8FromUndeclared(part(element, 12, count)));
    auto const unicode = part(element, std::size_t {12} + count, element.size());
    if (!text.empty() || unicode.size() < 8)
        return text;
    auto const units = part(unicode, 8, std::size_t {2} * loadBE32(unicode.data() + 4));
    return cleaned(utf8FromUtf16(units, ByteOrder::Big));
}

// textType (ICC.1:2022, 10.24), which some writers use where a description belongs.
std::string plainText(ByteSpan element)
{
    return cleaned(utf8FromUndeclared(part(element, 8, element.size())));
}

struct Locale {
    std::string language = "en";
    std::string country;
};

// From names such as "de_AT.UTF-8"; "C" and "POSIX" mean no language, and so do unset variables.
Locale environmentLocale()
{
    for (auto const* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        auto const* const value = std::getenv(variable);
        std::string_view const name = value ? value : "";
        if (name.empty())
            continue;
        bool const namesLanguage = name.size() == 2 || (name.size() > 2 && name.find_first_of("_.@") == 2);
        if (!namesLanguage)
            return {};
        bool const namesCountry = name.size() >= 5 && name[2] == '_';
        return {std::string(name.substr(0, 2)), std::string(namesCountry ? name.substr(3, 2) : "")};
    }
    return {};
}

// How well a record's language and country (four characters) suit the locale.
int suitability(std::string_view code, Locale const& locale)
{
    bool const speaksLanguage = code.substr(0, 2) == locale.language;
    if (speaksLanguage && code.substr(2) == locale.country)
        return 3;
    if (speaksLanguage)
        return 2;
    return code.substr(0, 2) == "en" ? 1 : 0;
}

// multiLocalizedUnicodeType (ICC.1:2022, 10.15): type and reserved (8), number of records (4), size of a
// record (4), records of language (2), country (2), length in bytes (4) and offset from the element's start
// (4).
std::string localizedText(ByteSpan element)
{
    constexpr std::size_t kFirstRecord = 16;
    constexpr std::size_t kRecordSize = 12;
    if (element.size() < kFirstRecord)
        return {};
    auto const count = loadBE32(element.data() + 8);
    auto const locale = environmentLocale();
    int best = -1;
    std::string text;
    for (std::uint32_t i = 0; i < std::min(count, kMaximumTags); ++i) {
        auto const record = part(element, kFirstRecord + i * kRecordSize, kRecordSize);
        if (record.size() < kRecordSize)
            break;
        auto const score = suitability(asText(record.first(4)), locale);
        if (score <= best)
            continue;
        best = score;
        auto const units = part(element, loadBE32(record.data() + 8), loadBE32(record.data() + 4));
        text = cleaned(utf8FromUtf16(units, ByteOrder::Big));
    }
    return text;
}

constexpr struct {
    FourCC type;
    std::string (*read)(ByteSpan element);
} kTextTypes[] = {
    {FourCC("desc"), textDescription}, {FourCC("mluc"), localizedText}, {FourCC("text"), plainText}};

std::string textOf(ByteSpan element)
{
    if (element.size() < 4)
        return {};
    for (auto const& row : kTextTypes) {
        if (row.type == FourCC(loadBE32(element.data())))
            return row.read(element);
    }
    return {};
}

} // namespace

std::optional<graphics::ColorModel> profileColorModel(ByteSpan profile)
{
    using graphics::ColorModel;
    constexpr struct {
        FourCC space;
        ColorModel model;
    } kModels[] = {
        {FourCC("GRAY"), ColorModel::Gray},
        {FourCC("RGB "), ColorModel::RGB},
        {FourCC("CMYK"), ColorModel::CMYK},
        {FourCC("Lab "), ColorModel::Lab},
    };
    if (!isProfile(profile))
        return std::nullopt;
    FourCC const space(loadBE32(profile.data() + kSpaceOffset));
    for (auto const& row : kModels) {
        if (row.space == space)
            return row.model;
    }
    return std::nullopt;
}

std::optional<std::string> profileDescription(ByteSpan profile)
{
    if (!isProfile(profile))
        return std::nullopt;
    for (auto const tag : {FourCC("dscm"), FourCC("desc")}) {
        if (auto text = textOf(element(profile, tag)); !text.empty())
            return text;
    }
    return std::nullopt;
}

} // namespace velk::color
