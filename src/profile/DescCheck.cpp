#include "profile/ElementEditor.h"
#include "profile/TagContents.h"

#include <algorithm>
#include <string_view>

namespace velk {

namespace {

// textDescriptionType:
//
//     8 ASCII count n   12 ASCII   12+n Unicode language   16+n Unicode count u   20+n UTF-16
//     20+n+2u ScriptCode   22+n+2u Macintosh count   23+n+2u Macintosh text in a field of 67 bytes
//
// Each count includes a terminator.
constexpr std::uint64_t kAsciiOffset = 12;
constexpr std::uint64_t kUnicodeHeadSize = 8;
constexpr std::uint64_t kMacintoshField = 67;

enum TextFlag : std::uint32_t {
    kEarlyTerminator = 1,
    kNoTerminator = 2,
    kEmpty = 4,
    kOverrun = 8,
    kHoldsAscii = 16,
    kCountOneShort = 32,
    kFieldCut = 64,
    kCountTooLarge = 128,
};

struct TextPart {
    std::uint32_t flags = 0;
    Bytes text;
};

struct Description {
    TextPart ascii, unicode, macintosh;
    std::uint16_t scriptCode = 0;
};

void copyThroughZero(Bytes& text, ByteSpan bytes)
{
    auto const terminator = std::ranges::find(bytes, 0);
    text.assign(bytes.begin(), terminator == bytes.end() ? terminator : terminator + 1);
}

bool isTerminated(Bytes const& text)
{
    return !text.empty() && text.back() == 0;
}

TextPart readAscii(ElementEditor const& element)
{
    auto const count = element.word(8);
    if (!element.contains(kAsciiOffset, count))
        return {kOverrun, {}};
    if (count == 0)
        return {kEmpty, {}};
    TextPart part;
    copyThroughZero(part.text, element.part(kAsciiOffset, count));
    auto const end = kAsciiOffset + count;
    if (!isTerminated(part.text))
        part.flags = element.contains(end, 1) && element.byte(end) == 0 ? kCountOneShort : kNoTerminator;
    else if (part.text.size() < count)
        part.flags = kEarlyTerminator;
    return part;
}

// Some writers put the ASCII text into the Unicode field once more. A lone terminator says nothing: every
// UTF-16 text of Latin letters begins with a zero.
bool holdsAscii(ByteSpan field, Bytes const& ascii)
{
    return ascii.size() > isTerminated(ascii) && asText(field).starts_with(asText(ascii));
}

// `offset` is that of the language code.
TextPart readUnicode(ElementEditor const& element, std::uint64_t offset, Bytes const& ascii)
{
    constexpr std::uint64_t kMostCharacters = 299;
    auto const count = element.word(offset + 4);
    auto const length = std::uint64_t {2} * count;
    if (!element.contains(offset, kUnicodeHeadSize + length))
        return {kOverrun, {}};
    if (count == 0)
        return {};
    auto const field = element.part(offset + kUnicodeHeadSize, length);
    if (holdsAscii(field, ascii))
        return {kHoldsAscii, {}};

    TextPart part;
    bool ends = false;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, kMostCharacters) && !ends; ++i) {
        append(part.text, field.subspan(2 * i, 2));
        ends = field[2 * i] == 0 && field[2 * i + 1] == 0;
    }
    if (part.text.size() < length)
        part.flags |= kEarlyTerminator;
    if (!ends)
        part.flags |= kCountOneShort;
    return part;
}

// `offset` is that of the count.
TextPart readMacintosh(ElementEditor const& element, std::uint64_t offset)
{
    TextPart part;
    std::uint64_t const count = element.byte(offset);
    if (count > kMacintoshField)
        part.flags |= kCountTooLarge;
    if (!element.contains(offset + 1, kMacintoshField))
        part.flags |= kFieldCut;
    if (count == 0)
        return part;
    if (!element.contains(offset + 1, count)) {
        part.flags |= kOverrun;
        return part;
    }
    copyThroughZero(part.text, element.part(offset + 1, count));
    if (part.text.size() < count)
        part.flags |= kEarlyTerminator;
    if (!isTerminated(part.text))
        part.flags |= kCountOneShort;
    return part;
}

// A part whose place depends on a broken one is not examined.
Description readDescription(ElementEditor const& element)
{
    Description description;
    description.ascii = readAscii(element);
    if (description.ascii.flags == kOverrun)
        return description;
    auto const unicodeOffset = kAsciiOffset + element.word(8);
    description.unicode = readUnicode(element, unicodeOffset, description.ascii.text);
    if ((description.unicode.flags & (kOverrun | kHoldsAscii)) != 0)
        return description;
    auto const macintoshOffset =
        unicodeOffset + kUnicodeHeadSize + std::uint64_t {2} * element.word(unicodeOffset + 4);
    description.scriptCode = element.half(macintoshOffset);
    description.macintosh = readMacintosh(element, macintoshOffset + 2);
    return description;
}

void correctUnicode(TextPart& part)
{
    if ((part.flags & (kOverrun | kHoldsAscii)) != 0)
        part.text.clear();
    else if ((part.flags & kCountOneShort) != 0)
        part.text.resize(part.text.size() + 2);
}

void correctMacintosh(TextPart& part)
{
    constexpr std::uint32_t kUsable[] = {0, kEarlyTerminator, kNoTerminator, kCountOneShort, kFieldCut};
    if (std::ranges::find(kUsable, part.flags) == std::end(kUsable)) {
        part.text.clear();
    } else if (part.flags == kCountOneShort) {
        part.text.resize(std::min(part.text.size(), kMacintoshField - 1));
        part.text.push_back(0);
    }
}

// The start of the path, no character cut in two, and two terminators.
Bytes pathText(std::string_view path)
{
    constexpr std::size_t kMostBytes = 63;
    auto length = std::min(path.size(), kMostBytes);
    auto const isContinuation = [&](std::size_t i) { return (path[i] & 0xC0) == 0x80; };
    while (length < path.size() && length > 0 && isContinuation(length))
        --length;
    Bytes text;
    append(text, path.substr(0, length));
    text.resize(length + 2);
    return text;
}

void correctAscii(Description& description, std::string const& path)
{
    auto& [flags, text] = description.ascii;
    auto const& macintosh = description.macintosh.text;
    if ((flags & (kNoTerminator | kCountOneShort)) != 0)
        text.push_back(0);
    else if ((flags & (kEmpty | kOverrun)) != 0)
        text = macintosh.size() > 1 ? macintosh : pathText(path);
}

Bytes writeDescription(ElementEditor const& element, Description const& description)
{
    auto const head = element.part(0, 8);
    Bytes bytes(head.begin(), head.end());
    bytes.resize(8);
    appendBE32(bytes, static_cast<std::uint32_t>(description.ascii.text.size()));
    append(bytes, description.ascii.text);
    appendBE32(bytes, 0);
    appendBE32(bytes, static_cast<std::uint32_t>(description.unicode.text.size() / 2));
    append(bytes, description.unicode.text);
    appendBE16(bytes, description.scriptCode);
    bytes.push_back(static_cast<std::uint8_t>(description.macintosh.text.size()));
    append(bytes, description.macintosh.text);
    bytes.resize(bytes.size() + kMacintoshField - description.macintosh.text.size());
    return bytes;
}

} // namespace

TagFindings checkDescription(ByteSpan bytes, ContentCheck const& check)
{
    ElementEditor const element(bytes);
    auto description = readDescription(element);

    TagFindings findings;
    auto const add = [&](TextPart const& part, char const* message) {
        if (part.flags != 0)
            findings.problems.push_back({message, true});
    };
    add(description.ascii, "Description tag has a bad ASCII string. ");
    add(description.unicode, "Description tag has a bad Unicode string. ");
    add(description.macintosh, "Description tag has a bad Macintosh string. ");
    findings.isFix = !findings.problems.empty();
    if (!findings.isFix)
        return findings;
    correctUnicode(description.unicode);
    correctMacintosh(description.macintosh);
    correctAscii(description, check.path);
    findings.replacement = writeDescription(element, description);
    return findings;
}

} // namespace velk
