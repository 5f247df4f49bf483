#include "modules/heif/HeifMeta.h"

#include "modules/heif/HeifItem.h"

#include <algorithm>

namespace velk::codec::heif {

namespace {

constexpr FourCC kInformation("iinf"), kLocation("iloc"), kReference("iref"), kItemData("idat"),
    kDescribes("cdsc"), kMime("mime");
constexpr std::size_t kFullBoxHeader = 4;
constexpr std::uint32_t kLargestShortItem = 0xFFFF;
// With room for what is added.
constexpr std::uint64_t kLargestShortFile = std::uint64_t {1} << 31;

// The text up to the next zero.
std::string_view nextText(BoxFields& fields)
{
    auto const rest = asText(fields.rest());
    auto const text = rest.substr(0, rest.find('\0'));
    for (std::size_t i = 0; i <= text.size(); ++i)
        fields.number(1);
    return text;
}

// Whether what follows a header of full boxes is boxes to the end, so that one can be added behind them.
bool endsWithBoxes(ByteSpan content, std::size_t header)
{
    if (content.size() < header)
        return false;
    auto const rest = content.subspan(header);
    std::size_t taken = 0;
    for (auto const& box : childBoxes(rest))
        taken = static_cast<std::size_t>(box.content.data() + box.content.size() - rest.data());
    return taken == rest.size();
}

// Item references (ISO/IEC 14496-12, 8.11.12) of which each ends with its last item.
bool areReferencesWhole(ByteSpan content)
{
    BoxFields all(content);
    auto const version = all.fullBoxHeader().version;
    auto const idSize = version == 0 ? 2u : 4u;
    if (version > 1 || !endsWithBoxes(content, kFullBoxHeader))
        return false;
    return std::ranges::all_of(childBoxes(all.rest()), [&](ChildBox const& reference) {
        BoxFields fields(reference.content);
        fields.number(idSize);
        auto const count = fields.number(2);
        return fields.isValid() && fields.rest().size() == count * idSize;
    });
}

Bytes fullBox(FourCC type, unsigned version, ByteSpan content)
{
    Bytes bytes;
    appendBE32(bytes, version << 24);
    append(bytes, content);
    return makeBox(type, bytes);
}

} // namespace

Result<Meta> Meta::parse(ByteSpan content, std::uint64_t fileSize)
{
    Meta meta;
    if (!endsWithBoxes(content, kFullBoxHeader))
        return fail("the file is damaged");
    meta.m_header.assign(content.begin(), content.begin() + kFullBoxHeader);
    auto const children = content.subspan(kFullBoxHeader);
    for (auto const& child : childBoxes(children))
        meta.m_children.push_back({child.type, {child.content.begin(), child.content.end()}});
    auto const primary = primaryItem(children);
    if (!primary || !meta.canAddItems())
        return fail("the file is of an unknown structure");
    meta.m_primary = *primary;
    TRY(meta.parseLocations());
    meta.m_sizes.offset = fileSize <= kLargestShortFile ? 4 : 8;
    return meta;
}

// Whether the boxes that name items are there, of versions that are known, and hold just what they should.
bool Meta::canAddItems() const
{
    auto const* information = find(kInformation);
    if (BoxFields(m_header).fullBoxHeader().version != 0 || !information || !find(kLocation))
        return false;
    BoxFields fields(information->content);
    auto const version = fields.fullBoxHeader().version;
    auto const countSize = version == 0 ? 2u : 4u;
    auto const count = fields.number(countSize);
    if (version > 1 || !endsWithBoxes(information->content, kFullBoxHeader + countSize)
        || count != items().size())
        return false;
    auto const* references = find(kReference);
    return !references || areReferencesWhole(references->content);
}

Meta::Child* Meta::find(FourCC type)
{
    auto const found = std::ranges::find(m_children, type, &Child::type);
    return found == m_children.end() ? nullptr : &*found;
}

Meta::Child const* Meta::find(FourCC type) const
{
    auto const found = std::ranges::find(m_children, type, &Child::type);
    return found == m_children.end() ? nullptr : &*found;
}

Result<void> Meta::parseLocations()
{
    BoxFields fields(find(kLocation)->content);
    auto const version = fields.fullBoxHeader().version;
    auto const sizes = static_cast<unsigned>(fields.number(2));
    auto const offsetSize = sizes >> 12, lengthSize = sizes >> 8 & 15, baseSize = sizes >> 4 & 15,
               indexSize = version == 0 ? 0 : sizes & 15;
    auto const count = fields.number(version < 2 ? 2 : 4);
    for (std::uint64_t i = 0; i < count && fields.isValid(); ++i) {
        ItemLocation location {.item = static_cast<std::uint32_t>(fields.number(version < 2 ? 2 : 4))};
        location.method = version == 0 ? 0 : static_cast<unsigned>(fields.number(2)) & 15;
        location.dataReference = static_cast<unsigned>(fields.number(2));
        auto const base = fields.number(baseSize);
        auto const extents = fields.number(2);
        for (std::uint64_t k = 0; k < extents && fields.isValid(); ++k) {
            auto const index = fields.number(indexSize);
            auto const offset = base + fields.number(offsetSize);
            location.extents.push_back({index, offset, fields.number(lengthSize)});
        }
        m_locations.push_back(std::move(location));
    }
    m_sizes = {.version = version, .item = version < 2 ? 2u : 4u, .index = indexSize};
    bool const isKnown = version <= 2 && std::max({offsetSize, lengthSize, baseSize, indexSize}) <= 8;
    return fields.isValid() && isKnown ? Result<void> {} : fail("the file is of an unknown structure");
}

// As it was, but without bases: readers do not know all that would be allowed.
Bytes Meta::serializedLocations() const
{
    Bytes bytes;
    auto const [version, itemSize, offsetSize, indexSize] = m_sizes;
    appendNumber(bytes, offsetSize << 12 | offsetSize << 8 | indexSize, 2);
    appendNumber(bytes, m_locations.size(), itemSize);
    for (auto const& location : m_locations) {
        appendNumber(bytes, location.item, itemSize);
        if (version > 0)
            appendNumber(bytes, location.method, 2);
        appendNumber(bytes, location.dataReference, 2);
        appendNumber(bytes, location.extents.size(), 2);
        for (auto const& extent : location.extents) {
            appendNumber(bytes, extent.index, indexSize);
            appendNumber(bytes, extent.offset, offsetSize);
            appendNumber(bytes, extent.length, offsetSize);
        }
    }
    return fullBox(kLocation, version, bytes);
}

ItemLocation* Meta::location(std::uint32_t item)
{
    auto const found = std::ranges::find(m_locations, item, &ItemLocation::item);
    return found == m_locations.end() ? nullptr : &*found;
}

bool Meta::isShared(ItemLocation const& owner, Extent const& extent) const
{
    auto const overlaps = [&](Extent const& other) {
        return other.offset < extent.offset ? extent.offset - other.offset < other.length
                                            : other.offset - extent.offset < extent.length;
    };
    return std::ranges::any_of(m_locations, [&](ItemLocation const& location) {
        bool const isElsewhere = &location == &owner || location.method != owner.method
            || location.dataReference != owner.dataReference;
        return !isElsewhere && std::ranges::any_of(location.extents, overlaps);
    });
}

// Item information entries (ISO/IEC 14496-12, 8.11.6) of the versions that give types.
std::vector<Meta::Item> Meta::items() const
{
    std::vector<Item> items;
    BoxFields information(find(kInformation)->content);
    information.number(information.fullBoxHeader().version == 0 ? 2 : 4);
    for (auto const& entry : childBoxes(information.rest())) {
        BoxFields fields(entry.content);
        auto const version = fields.fullBoxHeader().version;
        Item item {.id = static_cast<std::uint32_t>(fields.number(version < 3 ? 2 : 4))};
        fields.number(2);
        if (version >= 2) {
            item.type = FourCC(static_cast<std::uint32_t>(fields.number(4)));
            nextText(fields);
            if (item.type == kMime) {
                item.contentType = nextText(fields);
                item.isEncoded = !nextText(fields).empty();
            }
        }
        items.push_back(item);
    }
    return items;
}

bool Meta::describesPrimary(std::uint32_t item) const
{
    auto const* references = find(kReference);
    if (!references)
        return false;
    BoxFields all(references->content);
    auto const idSize = all.fullBoxHeader().version == 0 ? 2u : 4u;
    for (auto const& reference : childBoxes(all.rest())) {
        BoxFields fields(reference.content);
        bool const isFromItem = fields.number(idSize) == item && reference.type == kDescribes;
        auto const count = fields.number(2);
        for (std::uint64_t i = 0; isFromItem && i < count && fields.isValid(); ++i) {
            if (fields.number(idSize) == m_primary && fields.isValid())
                return true;
        }
    }
    return false;
}

std::optional<std::uint32_t> Meta::describingItem(FourCC type, std::string_view contentType) const
{
    for (auto const& item : items()) {
        if (item.type == type && item.contentType == contentType && !item.isEncoded
            && describesPrimary(item.id))
            return item.id;
    }
    return std::nullopt;
}

Result<std::uint32_t> Meta::addDescribingItem(FourCC type, std::string_view contentType)
{
    std::uint32_t id = m_primary;
    for (auto const& item : items())
        id = std::max(id, item.id);
    if (++id > kLargestShortItem || m_locations.size() >= kLargestShortItem)
        return fail("the file has too many items");

    Bytes entry;
    appendNumber(entry, id, 2);
    appendNumber(entry, 0, 2);
    appendBE32(entry, type.code);
    entry.push_back(0);
    if (type == kMime) {
        append(entry, contentType);
        entry.push_back(0);
    }
    auto& information = find(kInformation)->content;
    auto const countSize = BoxFields(information).fullBoxHeader().version == 0 ? 2u : 4u;
    BoxFields fields(ByteSpan(information).subspan(kFullBoxHeader));
    Bytes count;
    appendNumber(count, fields.number(countSize) + 1, countSize);
    if (!fields.isValid())
        return fail("the file is damaged");
    std::ranges::copy(count, information.begin() + kFullBoxHeader);
    append(information, fullBox(FourCC("infe"), 2, entry));

    if (!find(kReference))
        m_children.push_back({kReference, Bytes(kFullBoxHeader)});
    auto& references = find(kReference)->content;
    auto const idSize = BoxFields(references).fullBoxHeader().version == 0 ? 2u : 4u;
    Bytes reference;
    appendNumber(reference, id, idSize);
    appendNumber(reference, 1, 2);
    appendNumber(reference, m_primary, idSize);
    append(references, makeBox(kDescribes, reference));
    m_locations.push_back({.item = id});
    return id;
}

void Meta::wipeItemData(Extent const& extent)
{
    auto* data = find(kItemData);
    if (!data || extent.offset > data->content.size())
        return;
    auto const bytes = std::span(data->content).subspan(extent.offset);
    std::ranges::fill(bytes.first(std::min<std::uint64_t>(extent.length, bytes.size())), std::uint8_t {0});
}

Bytes Meta::serialize() const
{
    auto content = m_header;
    for (auto const& child : m_children)
        append(content, child.type == kLocation ? serializedLocations() : makeBox(child.type, child.content));
    return makeBox(FourCC("meta"), content);
}

} // namespace velk::codec::heif
