#include "profile/ElementEditor.h"
#include "profile/TagContents.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <string_view>
#include <tuple>
#include <unordered_map>

namespace velk {

namespace {

// multiLocalizedUnicodeType:
//
//     8 number of records   12 size of a record   16 records   then texts
//
// A record is language (2), country (2), length of the text in bytes (4) and its offset from the element's
// start (4).
constexpr std::uint64_t kRecordsOffset = 16;
constexpr std::uint64_t kRecordSize = 12;

struct Record {
    std::uint32_t code; ///< language and country
    std::uint32_t length;
    std::uint32_t offset;
    bool overruns = false;
};

struct LocalizedText {
    std::uint64_t recordSize;
    std::vector<Record> records;
    bool hasOverrun = false;
    bool hasDuplicates = false;
};

// Records that do not fit into the element themselves are left out.
LocalizedText readRecords(ElementEditor const& element)
{
    LocalizedText text {std::max<std::uint64_t>(element.word(12), kRecordSize), {}};
    std::uint64_t const claimed = element.word(8);
    auto const room = element.size() < kRecordsOffset ? 0 : element.size() - kRecordsOffset;
    auto const count = std::min(claimed, room / text.recordSize);
    text.hasOverrun = count < claimed;
    text.records.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        auto const at = kRecordsOffset + i * text.recordSize;
        Record record {element.word(at), element.word(at + 4), element.word(at + 8)};
        record.overruns = !element.contains(record.offset, record.length);
        if (record.overruns)
            record.length = 0;
        text.hasOverrun |= record.overruns;
        text.records.push_back(record);
    }
    return text;
}

// The places of the records' texts, each once, in the order of the records' lengths.
struct Place {
    std::uint32_t length, offset;
    std::uint32_t firstRecord;
    std::size_t hash = 0;
};

std::vector<Place> distinctPlaces(std::vector<Record> const& records)
{
    std::vector<Place> places;
    places.reserve(records.size());
    for (std::uint32_t i = 0; i < records.size(); ++i)
        places.push_back({records[i].length, records[i].offset, i});
    auto const key = [](Place const& place) {
        return std::tuple(place.length, place.offset, place.firstRecord);
    };
    std::ranges::sort(places, {}, key);
    auto const same = [](Place const& a, Place const& b) {
        return a.length == b.length && a.offset == b.offset;
    };
    auto const repeated = std::ranges::unique(places, same);
    places.erase(repeated.begin(), repeated.end());
    return places;
}

std::string_view textAt(ElementEditor const& element, std::uint32_t offset, std::uint32_t length)
{
    return asText(element.part(offset, length));
}

// Gives up places that are left when the texts read exceed several times the element: only texts that
// overlap in great numbers do, and comparing all of them could take hours.
void hashTexts(ElementEditor const& element, std::vector<Place>& places)
{
    auto budget = 4 * element.size();
    std::size_t hashed = 0;
    for (auto& place : places) {
        if (place.length > budget)
            break;
        budget -= place.length;
        place.hash = std::hash<std::string_view>()(textAt(element, place.offset, place.length));
        ++hashed;
    }
    places.resize(hashed);
}

std::uint64_t placeKey(std::uint32_t length, std::uint32_t offset)
{
    return std::uint64_t {length} << 32 | offset;
}

// Each place that repeats the text of an earlier record, and where that is.
std::unordered_map<std::uint64_t, std::uint32_t> repeatedTexts(
    ElementEditor const& element, std::vector<Place> places)
{
    hashTexts(element, places);
    std::ranges::sort(places, {},
        [](Place const& place) { return std::tuple(place.length, place.hash, place.firstRecord); });
    std::unordered_map<std::uint64_t, std::uint32_t> repeated;
    Place const* first = nullptr;
    for (auto const& place : places) {
        bool const isRepeated = first && first->length == place.length && first->hash == place.hash
            && textAt(element, first->offset, place.length) == textAt(element, place.offset, place.length);
        if (isRepeated)
            repeated.emplace(placeKey(place.length, place.offset), first->offset);
        else
            first = &place;
    }
    return repeated;
}

void shareIdenticalTexts(ElementEditor const& element, LocalizedText& text)
{
    auto const repeated = repeatedTexts(element, distinctPlaces(text.records));
    text.hasDuplicates = !repeated.empty();
    if (!text.hasDuplicates)
        return;
    for (auto& record : text.records) {
        auto const found = repeated.find(placeKey(record.length, record.offset));
        if (found != repeated.end())
            record.offset = found->second;
    }
}

// Room for every text as often as it was used, and four bytes to spare.
std::uint64_t rebuiltSize(LocalizedText const& text)
{
    return std::accumulate(text.records.begin(), text.records.end(), kRecordsOffset + 4,
        [&](std::uint64_t sum, Record const& record) { return sum + text.recordSize + record.length; });
}

// Writes the records one after the other and their texts behind them; each text once. Records without a
// text stay zero.
class LocalizedTextWriter {
public:
    LocalizedTextWriter(LocalizedText const& text, std::uint64_t size)
        : m_bytes(size)
        , m_recordSize(text.recordSize)
    {
        auto const count = std::ranges::count(text.records, false, &Record::overruns);
        m_textOffset = kRecordsOffset + static_cast<std::uint64_t>(count) * m_recordSize;
        storeWord(0, FourCC("mluc").code);
        storeWord(8, static_cast<std::uint32_t>(count));
        storeWord(12, static_cast<std::uint32_t>(m_recordSize));
    }

    void write(Record const& record, ByteSpan text)
    {
        storeWord(m_recordOffset, record.code);
        storeWord(m_recordOffset + 4, record.length);
        storeWord(m_recordOffset + 8, placeOf(record, text));
        m_recordOffset += m_recordSize;
    }

    Bytes take() { return std::move(m_bytes); }

private:
    void storeWord(std::uint64_t offset, std::uint32_t value)
    {
        storeInteger(m_bytes.data() + offset, value, ByteOrder::Big);
    }

    std::uint32_t placeOf(Record const& record, ByteSpan text)
    {
        auto const place = static_cast<std::uint32_t>(m_textOffset);
        auto const [known, isNew] = m_places.try_emplace(placeKey(record.length, record.offset), place);
        if (isNew) {
            std::ranges::copy(text, m_bytes.begin() + place);
            m_textOffset += text.size();
        }
        return known->second;
    }

    Bytes m_bytes;
    std::uint64_t m_recordSize;
    std::uint64_t m_recordOffset = kRecordsOffset;
    std::uint64_t m_textOffset;
    std::unordered_map<std::uint64_t, std::uint32_t> m_places;
};

Bytes rebuilt(ElementEditor const& element, LocalizedText const& text)
{
    LocalizedTextWriter writer(text, rebuiltSize(text));
    for (auto const& record : text.records) {
        if (record.length != 0)
            writer.write(record, element.part(record.offset, record.length));
    }
    return writer.take();
}

} // namespace

TagFindings checkLocalizedText(ByteSpan bytes, ContentCheck const&)
{
    ElementEditor const element(bytes);
    auto text = readRecords(element);
    shareIdenticalTexts(element, text);

    TagFindings findings;
    // Texts that overlap in great numbers would make an element that no profile has room for.
    bool const hasRoom = rebuiltSize(text) <= color::IccProfile::kMaximumSize;
    if (text.hasOverrun)
        findings.problems.push_back({"Text extends past end of tag. ", hasRoom});
    if (text.hasDuplicates)
        findings.problems.push_back({"Identical text could share the same data. ", hasRoom});
    findings.isFix = !findings.problems.empty() && hasRoom;
    if (findings.isFix)
        findings.replacement = rebuilt(element, text);
    return findings;
}

} // namespace velk
