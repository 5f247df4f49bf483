#include "support/TestProfiles.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velk::test {

namespace {

constexpr std::size_t kHeaderSize = 128;
constexpr std::size_t kEntrySize = 12;

std::uint32_t fixed(double value)
{
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value * 65536)));
}

Bytes element(std::string_view type)
{
    Bytes bytes;
    append(bytes, type);
    appendBE32(bytes, 0);
    return bytes;
}

void appendEntry(Bytes& bytes, std::string_view signature, std::size_t offset, std::size_t length)
{
    append(bytes, signature);
    appendBE32(bytes, static_cast<std::uint32_t>(offset));
    appendBE32(bytes, static_cast<std::uint32_t>(length));
}

ProfileBuilder describedProfile(std::uint32_t version)
{
    ProfileBuilder builder;
    bool const isLocalized = version >> 24 >= 4;
    builder.version(version)
        .tag("desc",
            isLocalized ? localizedElement({{"enUS", u"Test profile"}}) : descriptionElement("Test profile"))
        .tag("cprt", isLocalized ? localizedElement({{"enUS", u"Nobody"}}) : textElement("Nobody"))
        .tag("wtpt", xyzElement(0.9642, 1, 0.8249));
    return builder;
}

} // namespace

ProfileBuilder::ProfileBuilder()
    : m_words {
        {8, 0x04300000},
        {12, FourCC("mntr").code},
        {16, FourCC("RGB ").code},
        {20, FourCC("XYZ ").code},
        // 1 July 2003, 12:34:56.
        {24, 2003u << 16 | 7},
        {28, 1u << 16 | 12},
        {32, 34u << 16 | 56},
        {36, FourCC("acsp").code},
        {68, 0x0000F6D6},
        {72, 0x00010000},
        {76, 0x0000D32D},
    }
{
}

ProfileBuilder& ProfileBuilder::word(std::size_t offset, std::uint32_t value)
{
    m_words[offset] = value;
    return *this;
}

ProfileBuilder& ProfileBuilder::tag(std::string_view signature, Bytes element)
{
    auto const found = std::ranges::find(m_tags, signature, &Tag::signature);
    if (found == m_tags.end())
        m_tags.push_back({std::string(signature), std::move(element), {}});
    else
        *found = {std::string(signature), std::move(element), {}};
    return *this;
}

ProfileBuilder& ProfileBuilder::without(std::string_view signature)
{
    std::erase_if(m_tags, [&](Tag const& tag) { return tag.signature == signature; });
    return *this;
}

ProfileBuilder& ProfileBuilder::sharedTag(std::string_view signature, std::string_view original)
{
    m_tags.push_back({std::string(signature), {}, std::string(original)});
    return *this;
}

ProfileBuilder& ProfileBuilder::entry(std::string_view signature, std::uint32_t offset, std::uint32_t length)
{
    m_entries.push_back({std::string(signature), offset, length});
    return *this;
}

ProfileBuilder& ProfileBuilder::tagCount(std::uint32_t count)
{
    m_tagCount = count;
    return *this;
}

Bytes ProfileBuilder::bytes() const
{
    auto const count = m_tags.size() + m_entries.size();
    auto const dataStart = kHeaderSize + 4 + count * kEntrySize;
    Bytes data;
    Bytes table;
    std::map<std::string, std::pair<std::size_t, std::size_t>, std::less<>> places;
    for (auto const& tag : m_tags) {
        auto place = std::pair(dataStart + data.size(), tag.element.size());
        if (tag.original.empty()) {
            append(data, ByteSpan(tag.element));
            data.resize((data.size() + 3) / 4 * 4);
        } else {
            place = places.at(tag.original);
        }
        places[tag.signature] = place;
        appendEntry(table, tag.signature, place.first, place.second);
    }
    for (auto const& entry : m_entries)
        appendEntry(table, entry.signature, entry.offset, entry.length);

    Bytes bytes(kHeaderSize);
    storeInteger(bytes.data(), static_cast<std::uint32_t>(dataStart + data.size()), ByteOrder::Big);
    for (auto const& [offset, value] : m_words)
        storeInteger(bytes.data() + offset, value, ByteOrder::Big);
    appendBE32(
        bytes, static_cast<std::uint32_t>(m_tagCount < 0 ? static_cast<std::int64_t>(count) : m_tagCount));
    append(bytes, ByteSpan(table));
    append(bytes, ByteSpan(data));
    return bytes;
}

ProfileBuilder matrixProfile(std::uint32_t version)
{
    auto builder = describedProfile(version);
    builder.tag("rXYZ", xyzElement(0.43607, 0.22249, 0.01392))
        .tag("gXYZ", xyzElement(0.38515, 0.71687, 0.09708))
        .tag("bXYZ", xyzElement(0.14307, 0.06061, 0.71410))
        .tag("rTRC", gammaElement(2.2))
        .sharedTag("gTRC", "rTRC")
        .sharedTag("bTRC", "rTRC");
    return builder;
}

ProfileBuilder grayProfile(std::uint32_t version)
{
    auto builder = describedProfile(version);
    builder.space("GRAY").tag("kTRC", gammaElement(2.2));
    return builder;
}

Bytes textElement(std::string_view text)
{
    auto bytes = element("text");
    append(bytes, text);
    bytes.push_back(0);
    return bytes;
}

Bytes descriptionElement(std::string_view ascii)
{
    auto bytes = element("desc");
    appendBE32(bytes, static_cast<std::uint32_t>(ascii.size() + 1));
    append(bytes, ascii);
    // Its zero, an empty Unicode text, and an empty ScriptCode text of 67 bytes.
    bytes.resize(bytes.size() + 1 + 8 + 3 + 67);
    return bytes;
}

Bytes xyzElement(double x, double y, double z)
{
    auto bytes = element("XYZ ");
    for (auto const value : {x, y, z})
        appendBE32(bytes, fixed(value));
    return bytes;
}

Bytes gammaElement(double gamma)
{
    auto bytes = element("curv");
    appendBE32(bytes, 1);
    appendBE16(bytes, static_cast<std::uint16_t>(std::lround(gamma * 256)));
    return bytes;
}

Bytes localizedElement(std::vector<LocalizedRecord> const& records)
{
    auto bytes = element("mluc");
    appendBE32(bytes, static_cast<std::uint32_t>(records.size()));
    appendBE32(bytes, 12);
    auto offset = static_cast<std::uint32_t>(16 + 12 * records.size());
    for (auto const& [code, text] : records) {
        append(bytes, code);
        bytes.resize(bytes.size() + 4 - code.size());
        appendBE32(bytes, static_cast<std::uint32_t>(2 * text.size()));
        appendBE32(bytes, offset);
        offset += static_cast<std::uint32_t>(2 * text.size());
    }
    for (auto const& record : records) {
        for (auto const unit : record.text)
            appendBE16(bytes, static_cast<std::uint16_t>(unit));
    }
    return bytes;
}

} // namespace velk::test
