#include "platform/codec/IptcBlock.h"

#include "base/TextEncoding.h"

#include <algorithm>

namespace velk::codec {

namespace {

constexpr std::uint8_t kMarker = 0x1C;
constexpr std::size_t kDataSetHeader = 5;
constexpr std::uint8_t kEnvelopeRecord = 1;
constexpr std::uint8_t kApplicationRecord = 2;
constexpr std::uint8_t kCodedCharacterSet = 90;
constexpr std::uint8_t kRecordVersion = 0;
// ISO 2022 escape sequence that selects UTF-8 (IPTC-IIM 4.2, 1:90).
constexpr std::string_view kUtf8Escape = "\x1B%G";
// A longer data set would need the extended form, which hardly a reader knows.
constexpr std::size_t kMaximumLength = 0x7FFF;
constexpr std::size_t kMaximumDataSets = 4096;

struct Name {
    std::uint8_t number;
    std::string_view name;
    bool repeats = false;
};

constexpr Name kNames[] = {
    {3, "ObjectType"},
    {4, "ObjectAttribute", true},
    {5, "ObjectName"},
    {7, "EditStatus"},
    {8, "EditorialUpdate"},
    {10, "Urgency"},
    {12, "Subject", true},
    {15, "Category"},
    {20, "SuppCategory", true},
    {22, "FixtureId"},
    {25, "Keywords", true},
    {26, "LocationCode", true},
    {27, "LocationName", true},
    {30, "ReleaseDate"},
    {35, "ReleaseTime"},
    {37, "ExpirationDate"},
    {38, "ExpirationTime"},
    {40, "SpecialInstructions"},
    {42, "ActionAdvised"},
    {45, "ReferenceService", true},
    {47, "ReferenceDate", true},
    {50, "ReferenceNumber", true},
    {55, "DateCreated"},
    {60, "TimeCreated"},
    {62, "DigitizationDate"},
    {63, "DigitizationTime"},
    {65, "Program"},
    {70, "ProgramVersion"},
    {75, "ObjectCycle"},
    {80, "Byline", true},
    {85, "BylineTitle", true},
    {90, "City"},
    {92, "SubLocation"},
    {95, "ProvinceState"},
    {100, "CountryCode"},
    {101, "CountryName"},
    {103, "TransmissionReference"},
    {105, "Headline"},
    {110, "Credit"},
    {115, "Source"},
    {116, "Copyright"},
    {118, "Contact", true},
    {120, "Caption"},
    {122, "Writer", true},
    {130, "ImageType"},
    {131, "ImageOrientation"},
    {135, "Language"},
};

struct DataSet {
    std::uint8_t record = 0;
    std::uint8_t number = 0;
    Bytes data;
    /// Set for a data set as it was read: its header and data, to be written unchanged.
    Bytes verbatim;
};

Name const* nameOf(DataSet const& set)
{
    auto const* const found = std::find_if(
        std::begin(kNames), std::end(kNames), [&](Name const& row) { return row.number == set.number; });
    return set.record == kApplicationRecord && found != std::end(kNames) ? found : nullptr;
}

// Length of a data set's data and of the header before it, or nothing at the end and where data is broken.
struct Extent {
    std::size_t header, data;
};

std::optional<Extent> extentOf(ByteSpan bytes)
{
    if (bytes.size() < kDataSetHeader || bytes[0] != kMarker)
        return std::nullopt;
    Extent extent {kDataSetHeader, loadBE16(bytes.data() + 3)};
    if (extent.data > kMaximumLength) {
        // Extended form: the low bits say how many bytes the length takes.
        auto const lengthBytes = extent.data & kMaximumLength;
        if (lengthBytes == 0 || lengthBytes > 4 || bytes.size() < kDataSetHeader + lengthBytes)
            return std::nullopt;
        extent = {kDataSetHeader + lengthBytes, 0};
        for (std::size_t i = kDataSetHeader; i < extent.header; ++i)
            extent.data = extent.data << 8 | bytes[i];
    }
    if (extent.data > bytes.size() - extent.header)
        return std::nullopt;
    return extent;
}

std::vector<DataSet> parse(ByteSpan iim)
{
    std::vector<DataSet> sets;
    while (sets.size() < kMaximumDataSets) {
        auto const extent = extentOf(iim);
        if (!extent)
            break;
        auto const whole = iim.first(extent->header + extent->data);
        auto const data = whole.subspan(extent->header);
        sets.push_back(
            {whole[1], whole[2], Bytes(data.begin(), data.end()), Bytes(whole.begin(), whole.end())});
        iim = iim.subspan(whole.size());
    }
    return sets;
}

Bytes serialise(std::vector<DataSet> const& sets)
{
    Bytes bytes;
    for (auto const& set : sets) {
        if (!set.verbatim.empty()) {
            append(bytes, set.verbatim);
            continue;
        }
        bytes.insert(bytes.end(), {kMarker, set.record, set.number});
        appendBE16(bytes, static_cast<std::uint16_t>(set.data.size()));
        append(bytes, set.data);
    }
    return bytes;
}

std::string textOf(DataSet const& set)
{
    auto text = utf8FromUndeclared(set.data);
    trimEnd(text);
    return text;
}

std::optional<Bytes> dataFrom(PropertyValue const& value)
{
    std::string text;
    if (value.asString())
        text = *value.asString();
    else if (value.asInteger())
        text = std::to_string(*value.asInteger());
    else
        return std::nullopt;
    if (text.size() > kMaximumLength)
        return std::nullopt;
    auto const bytes = asBytes(text);
    return Bytes(bytes.begin(), bytes.end());
}

std::optional<std::vector<DataSet>> dataSetsFrom(Name const& name, PropertyValue const& value)
{
    std::vector<DataSet> sets;
    PropertyArray const single(value.asArray() ? 0 : 1, value);
    for (auto const& element : value.asArray() ? *value.asArray() : single) {
        auto data = dataFrom(element);
        if (!data)
            return std::nullopt;
        sets.push_back({kApplicationRecord, name.number, std::move(*data), {}});
    }
    if (sets.size() > 1 && !name.repeats)
        return std::nullopt;
    return sets;
}

bool isBefore(DataSet const& a, DataSet const& b)
{
    return a.record != b.record ? a.record < b.record : a.number < b.number;
}

// After everything that belongs before it; the order of what is there stays.
void insert(std::vector<DataSet>& sets, DataSet set)
{
    auto const after =
        std::find_if(sets.begin(), sets.end(), [&](DataSet const& other) { return isBefore(set, other); });
    sets.insert(after, std::move(set));
}

bool contains(std::vector<DataSet> const& sets, std::uint8_t record, std::uint8_t number)
{
    return std::any_of(sets.begin(), sets.end(),
        [&](DataSet const& set) { return set.record == record && set.number == number; });
}

// All text of a block has one character code, so what is in another becomes UTF-8 first.
void declareUtf8(std::vector<DataSet>& sets)
{
    std::erase_if(sets,
        [](DataSet const& set) { return set.record == kEnvelopeRecord && set.number == kCodedCharacterSet; });
    for (auto& set : sets) {
        if (!nameOf(set) || isUtf8(asText(set.data)))
            continue;
        auto const text = utf8FromLatin1(set.data);
        if (text.size() > kMaximumLength)
            continue;
        set.data.assign(text.begin(), text.end());
        set.verbatim.clear();
    }
    insert(sets, {kEnvelopeRecord, kCodedCharacterSet, Bytes(kUtf8Escape.begin(), kUtf8Escape.end()), {}});
}

bool declaresUtf8(std::vector<DataSet> const& sets)
{
    return std::any_of(sets.begin(), sets.end(), [](DataSet const& set) {
        return set.record == kEnvelopeRecord && set.number == kCodedCharacterSet
            && asText(set.data) == kUtf8Escape;
    });
}

void addNew(std::vector<DataSet>& sets, std::vector<DataSet> added)
{
    if (added.empty())
        return;
    if (!contains(sets, kApplicationRecord, kRecordVersion))
        insert(sets, {kApplicationRecord, kRecordVersion, {0, 4}, {}});
    bool isPlain = true;
    for (auto& set : added) {
        isPlain = isPlain && isAscii(asText(set.data));
        insert(sets, std::move(set));
    }
    if (!isPlain && !declaresUtf8(sets))
        declareUtf8(sets);
}

} // namespace

void describeIptc(ByteSpan iim, PropertyDictionary& dictionary)
{
    std::map<std::string_view, PropertyArray> lists;
    for (auto const& set : parse(iim)) {
        auto const* const name = nameOf(set);
        if (!name)
            continue;
        if (name->repeats)
            lists[name->name].emplace_back(textOf(set));
        else
            dictionary.try_emplace(std::string(name->name), textOf(set));
    }
    for (auto& [name, texts] : lists)
        velk::set(dictionary, name, std::move(texts));
}

std::optional<Bytes> editIptc(ByteSpan iim, std::string_view name, PropertyValue const* value)
{
    auto const* const row = std::find_if(
        std::begin(kNames), std::end(kNames), [&](Name const& other) { return other.name == name; });
    if (row == std::end(kNames))
        return std::nullopt;
    auto added = value ? dataSetsFrom(*row, *value) : std::vector<DataSet>();
    if (!added)
        return std::nullopt;
    auto sets = parse(iim);
    auto const before = serialise(sets);
    std::erase_if(sets,
        [&](DataSet const& set) { return set.record == kApplicationRecord && set.number == row->number; });
    addNew(sets, std::move(*added));
    // A record version alone says nothing.
    if (std::all_of(sets.begin(), sets.end(), [](DataSet const& set) {
            return (set.record == kApplicationRecord && set.number == kRecordVersion)
                || (set.record == kEnvelopeRecord && set.number == kCodedCharacterSet);
        }))
        sets.clear();
    auto after = serialise(sets);
    if (after == before)
        return std::nullopt;
    return after;
}

} // namespace velk::codec
