#include "platform/color/IccProfile.h"

#include "base/AtomicFile.h"
#include "base/Files.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace velk::color {

namespace {

constexpr std::size_t kTagCountSize = 4;
constexpr std::size_t kTagEntrySize = 12;
constexpr std::size_t kTableStart = kProfileHeaderSize + kTagCountSize;
// Far above what any profile has, and still no gigabyte in memory.
constexpr std::uint32_t kMaximumTags = 1u << 20;

// Offsets of header fields.
constexpr std::size_t kSpaceOffset = 16;
constexpr std::size_t kSignatureOffset = 36;
constexpr std::size_t kFlagsOffset = 44;
constexpr std::size_t kIntentOffset = 64;
constexpr std::size_t kIdOffset = 84;

std::size_t aligned(std::size_t length)
{
    return (length + 3) / 4 * 4;
}

// A row of the tag table (ICC.1:2022, 7.3.1).
struct TagEntry {
    FourCC signature;
    std::uint32_t offset, length;
};

TagEntry entryAt(ByteSpan profile, std::size_t index)
{
    auto const* const entry = profile.data() + kTableStart + index * kTagEntrySize;
    return {FourCC(loadBE32(entry)), loadBE32(entry + 4), loadBE32(entry + 8)};
}

std::size_t entriesThatFit(ByteSpan profile)
{
    return profile.size() < kTableStart ? 0 : (profile.size() - kTableStart) / kTagEntrySize;
}

std::uint32_t tagCount(ByteSpan profile)
{
    return loadBE32(profile.data() + kProfileHeaderSize);
}

Result<void> checkSize(std::uint64_t size)
{
    if (size > IccProfile::kMaximumSize)
        return fail("the profile is larger than 64 MiB");
    return {};
}

Result<void> checkFrame(ByteSpan bytes)
{
    TRY(checkSize(bytes.size()));
    if (!isProfile(bytes))
        return fail("not an ICC profile");
    if (bytes.size() < kTableStart)
        return fail("the profile ends before its tag table");
    if (tagCount(bytes) > entriesThatFit(bytes) || tagCount(bytes) > kMaximumTags)
        return fail("the profile has no room for the {} tags that it claims", tagCount(bytes));
    return {};
}

} // namespace

IccProfile::IccProfile(SharedBytes bytes)
    : m_original(std::move(bytes))
    , m_header(ProfileHeader::parse(*m_original))
{
}

Result<IccProfile> IccProfile::parse(SharedBytes bytes)
{
    TRY(checkFrame(*bytes));
    IccProfile profile(std::move(bytes));
    TRY(profile.readTags());
    TRY(profile.checkOverlap());
    profile.indexTags();
    return profile;
}

Result<IccProfile> IccProfile::open(std::string const& path)
{
    auto const file = TRY(InputFile::open(path));
    // Other files are not read to their end.
    Bytes header(kProfileHeaderSize);
    header.resize(TRY(file.readAt(0, header)));
    if (!isProfile(header))
        return fail("not an ICC profile");
    TRY(checkSize(file.size()));
    return parse(std::make_shared<Bytes const>(TRY(file.readAll())));
}

Result<void> IccProfile::readTags()
{
    auto const count = tagCount(*m_original);
    m_tags.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        auto const [signature, offset, length] = entryAt(*m_original, i);
        if (std::uint64_t {offset} + length > m_original->size())
            return fail("a tag reaches beyond the end of the profile");
        m_tags.push_back({signature, offset, length, nullptr});
    }
    return {};
}

// A small file of overlapping tags would otherwise be laid out as gigabytes.
Result<void> IccProfile::checkOverlap() const
{
    std::vector<std::uint64_t> extents;
    extents.reserve(m_tags.size());
    for (auto const& tag : m_tags)
        extents.push_back(tag.extent());
    std::ranges::sort(extents);
    auto const repeated = std::ranges::unique(extents);
    auto const total = std::accumulate(extents.begin(), repeated.begin(), std::uint64_t {0},
        [](std::uint64_t sum, std::uint64_t extent) { return sum + static_cast<std::uint32_t>(extent); });
    if (total > kMaximumSize)
        return fail("the tags of the profile overlap");
    return {};
}

void IccProfile::indexTags()
{
    m_index.clear();
    m_index.reserve(m_tags.size());
    for (std::size_t i = 0; i < m_tags.size(); ++i)
        m_index.try_emplace(m_tags[i].signature.code, i);
}

ByteSpan IccProfile::element(Tag const& tag) const
{
    return tag.edited ? ByteSpan(*tag.edited) : ByteSpan(*m_original).subspan(tag.offset, tag.length);
}

std::vector<FourCC> IccProfile::tagSignatures() const
{
    std::vector<FourCC> signatures;
    signatures.reserve(m_index.size());
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        if (m_index.at(m_tags[i].signature.code) == i)
            signatures.push_back(m_tags[i].signature);
    }
    return signatures;
}

SharedBytes IccProfile::tag(FourCC signature) const
{
    auto const found = m_index.find(signature.code);
    if (found == m_index.end())
        return nullptr;
    auto const& tag = m_tags[found->second];
    return tag.edited ? tag.edited : shareBytes(element(tag));
}

ByteSpan IccProfile::element(FourCC signature) const
{
    auto const found = m_index.find(signature.code);
    return found == m_index.end() ? ByteSpan() : element(m_tags[found->second]);
}

void IccProfile::setTag(FourCC signature, Bytes element)
{
    setTag(signature, std::make_shared<Bytes const>(std::move(element)));
}

void IccProfile::setTag(FourCC signature, SharedBytes element)
{
    m_tagsEdited = true;
    auto const [place, isNew] = m_index.try_emplace(signature.code, m_tags.size());
    if (isNew)
        m_tags.push_back({signature, 0, 0, nullptr});
    m_tags[place->second].edited = std::move(element);
}

void IccProfile::removeTag(FourCC signature)
{
    if (std::erase_if(m_tags, [&](Tag const& tag) { return tag.signature == signature; }) == 0)
        return;
    m_tagsEdited = true;
    indexTags();
}

Bytes IccProfile::serialize() const
{
    auto bytes = m_tagsEdited ? layOut() : *m_original;
    auto header = m_header;
    if (m_tagsEdited)
        header.size = static_cast<std::uint32_t>(bytes.size());
    std::ranges::copy(header.serialize(), bytes.begin());
    return bytes;
}

Bytes IccProfile::layOut() const
{
    Bytes bytes(kTableStart + m_tags.size() * kTagEntrySize);
    storeInteger(
        bytes.data() + kProfileHeaderSize, static_cast<std::uint32_t>(m_tags.size()), ByteOrder::Big);
    // Elements are one when they lie in the same place in memory.
    std::map<std::pair<void const*, std::size_t>, std::size_t> places;
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        auto const& tag = m_tags[i];
        auto const content = element(tag);
        auto const [known, isNew] = places.try_emplace({content.data(), content.size()}, bytes.size());
        if (isNew) {
            append(bytes, content);
            bytes.resize(aligned(bytes.size()));
        }
        auto* const entry = bytes.data() + kTableStart + i * kTagEntrySize;
        storeInteger(entry, tag.signature.code, ByteOrder::Big);
        storeInteger(entry + 4, static_cast<std::uint32_t>(known->second), ByteOrder::Big);
        storeInteger(entry + 8, static_cast<std::uint32_t>(content.size()), ByteOrder::Big);
    }
    return bytes;
}

ProfileDigest IccProfile::digest() const
{
    auto bytes = serialize();
    std::fill_n(bytes.begin() + kFlagsOffset, 4, std::uint8_t {0});
    std::fill_n(bytes.begin() + kIntentOffset, 4, std::uint8_t {0});
    std::fill_n(bytes.begin() + kIdOffset, sizeof(ProfileDigest), std::uint8_t {0});
    return md5(bytes);
}

Result<void> IccProfile::write(std::string const& path) const
{
    auto const bytes = serialize();
    TRY(checkSize(bytes.size()));
    auto file = TRY(AtomicFile::create(path));
    TRY(file.write(bytes));
    return file.commit(path);
}

bool isProfile(ByteSpan bytes)
{
    return bytes.size() >= kProfileHeaderSize
        && FourCC(loadBE32(bytes.data() + kSignatureOffset)) == FourCC("acsp");
}

ByteSpan profileElement(ByteSpan profile, FourCC signature)
{
    auto const fitting = entriesThatFit(profile);
    auto const count = fitting == 0 ? 0 : std::min<std::size_t>(fitting, tagCount(profile));
    for (std::size_t i = 0; i < count; ++i) {
        auto const entry = entryAt(profile, i);
        if (entry.signature != signature)
            continue;
        if (entry.offset > profile.size())
            return {};
        return profile.subspan(
            entry.offset, std::min<std::size_t>(entry.length, profile.size() - entry.offset));
    }
    return {};
}

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

} // namespace velk::color
