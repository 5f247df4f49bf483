#include "platform/color/ProfileText.h"

#include "base/FourCC.h"
#include "base/TextEncoding.h"
#include "platform/color/IccProfile.h"

#include <algorithm>

namespace velk::color {

namespace {

constexpr std::size_t kTypeHeaderSize = 8;

using Text = std::optional<std::string>;

// `length` bytes at `offset`, or as many of them as there are.
ByteSpan part(ByteSpan bytes, std::size_t offset, std::size_t length)
{
    if (offset > bytes.size())
        return {};
    return bytes.subspan(offset, std::min(length, bytes.size() - offset));
}

std::string upToZero(std::string_view text)
{
    return std::string(text.substr(0, text.find('\0')));
}

// What older writers pad with blanks; nothing when nothing else is there.
Text trimmed(std::string_view padded)
{
    auto text = upToZero(padded);
    trimEnd(text);
    return text.empty() ? std::nullopt : Text(std::move(text));
}

// textDescriptionType (ICC.1:2001-04, 6.5.17): type and reserved (8), count of the ASCII text (4), the text,
// Unicode language (4), count of UTF-16 units (4), these units, and a ScriptCode text that nobody needs.
Text textDescription(ByteSpan element)
{
    if (element.size() < 12)
        return std::nullopt;
    auto const count = loadBE32(element.data() + kTypeHeaderSize);
    auto text = trimmed(utf8FromUndeclared(part(element, 12, count)));
    auto const unicode = part(element, std::size_t {12} + count, element.size());
    if (text || unicode.size() < 8)
        return text;
    auto const units = part(unicode, 8, std::size_t {2} * loadBE32(unicode.data() + 4));
    return trimmed(utf8FromUtf16(units, ByteOrder::Big));
}

// textType (ICC.1:2022, 10.24), which some writers use where a description belongs.
Text plainText(ByteSpan element)
{
    return trimmed(utf8FromUndeclared(part(element, kTypeHeaderSize, element.size())));
}

// The layout of a multiLocalizedUnicodeType (ICC.1:2022, 10.15): type and reserved (8), number of records
// (4), size of a record (4), records of language (2), country (2), length in bytes (4) and offset from the
// element's start (4).
constexpr std::size_t kFirstRecord = 16;
constexpr std::size_t kRecordSize = 12;

struct Record {
    std::string_view language;
    std::string_view country;
    ByteSpan units;
};

// Nothing when the record or its text lies outside the element; a text that begins inside is cut.
std::optional<Record> recordAt(ByteSpan element, std::size_t index)
{
    auto const record = part(element, kFirstRecord + index * kRecordSize, kRecordSize);
    if (record.size() < kRecordSize)
        return std::nullopt;
    auto const code = asText(record);
    auto const country = code.substr(2, 2);
    auto const length = loadBE32(record.data() + 4);
    auto const units = part(element, loadBE32(record.data() + 8), length);
    if (units.empty() && length > 0)
        return std::nullopt;
    return Record {code.substr(0, 2), country.substr(0, country.find('\0')), units};
}

// How well a record suits the locale.
int suitability(Record const& record, desktop::Locale const& locale)
{
    if (record.language == locale.language)
        return record.country == locale.country ? 3 : 2;
    return record.language == "en" ? 1 : 0;
}

Text localizedText(ByteSpan element)
{
    if (element.size() < kFirstRecord)
        return std::nullopt;
    auto const fitting = (element.size() - kFirstRecord) / kRecordSize;
    auto const count = std::min<std::size_t>(loadBE32(element.data() + kTypeHeaderSize), fitting);
    auto const locale = desktop::currentLocale();
    int best = -1;
    ByteSpan units;
    for (std::size_t i = 0; i < count; ++i) {
        auto const record = recordAt(element, i);
        if (!record || suitability(*record, locale) <= best)
            continue;
        best = suitability(*record, locale);
        units = record->units;
    }
    return best < 0 ? std::nullopt : Text(upToZero(utf8FromUtf16(units, ByteOrder::Big)));
}

constexpr struct {
    FourCC type;
    Text (*read)(ByteSpan element);
} kTextTypes[] = {
    {FourCC("desc"), textDescription}, {FourCC("mluc"), localizedText}, {FourCC("text"), plainText}};

// `element` gives the element of a tag; empty when there is none.
template <typename Elements> Text descriptionAmong(Elements const& element)
{
    // A description that was set is the description, even an empty one.
    if (auto text = elementText(element(FourCC("dscm"))))
        return text;
    auto text = elementText(element(FourCC("desc")));
    return text && text->empty() ? std::nullopt : text;
}

} // namespace

std::optional<std::string> elementText(ByteSpan element)
{
    if (element.size() < kTypeHeaderSize)
        return std::nullopt;
    for (auto const& row : kTextTypes) {
        if (row.type == FourCC(loadBE32(element.data())))
            return row.read(element);
    }
    return std::nullopt;
}

std::optional<std::string> profileDescription(ByteSpan profile)
{
    if (!isProfile(profile))
        return std::nullopt;
    return descriptionAmong([&](FourCC tag) { return profileElement(profile, tag); });
}

std::optional<std::string> profileDescription(IccProfile const& profile)
{
    SharedBytes element;
    return descriptionAmong([&](FourCC tag) {
        element = profile.tag(tag);
        return element ? ByteSpan(*element) : ByteSpan();
    });
}

Bytes localizedElement(std::span<LocalizedText const> texts)
{
    Bytes element;
    append(element, "mluc");
    appendBE32(element, 0);
    appendBE32(element, static_cast<std::uint32_t>(texts.size()));
    appendBE32(element, kRecordSize);
    Bytes units;
    for (auto const& [locale, text] : texts) {
        auto const encoded = utf16FromUtf8(text, ByteOrder::Big);
        std::string code = locale.language + locale.country;
        code.resize(4);
        append(element, code);
        appendBE32(element, static_cast<std::uint32_t>(encoded.size()));
        appendBE32(
            element, static_cast<std::uint32_t>(kFirstRecord + texts.size() * kRecordSize + units.size()));
        append(units, ByteSpan(encoded));
    }
    append(element, ByteSpan(units));
    return element;
}

} // namespace velk::color
