#include "platform/color/ProfileContainer.h"

#include "base/AtomicFile.h"
#include "base/Files.h"

#include <lcms2_plugin.h>

#include <algorithm>
#include <map>
#include <unordered_map>

namespace velk::color {

namespace {

constexpr std::size_t kTagCountSize = 4;
constexpr std::size_t kTagEntrySize = 12;
constexpr std::size_t kTableStart = kProfileHeaderSize + kTagCountSize;
constexpr FourCC kProfileSignature {"acsp"};

// Offsets of the header fields that a profile ID leaves out.
constexpr std::size_t kFlagsOffset = 44;
constexpr std::size_t kIntentOffset = 64;
constexpr std::size_t kIdOffset = 84;

std::size_t aligned(std::size_t length)
{
    return (length + 3) / 4 * 4;
}

} // namespace

Result<ProfileContainer> ProfileContainer::parse(ByteSpan bytes)
{
    if (bytes.size() > kMaximumSize)
        return fail("a profile of more than 64 MiB");
    if (bytes.size() < kTableStart)
        return fail("shorter than a profile header");
    ProfileContainer profile;
    profile.m_header = ProfileHeader::parse(bytes);
    if (profile.m_header.signature != kProfileSignature)
        return fail("not an ICC profile");
    std::uint64_t const count = loadBE32(bytes.data() + kProfileHeaderSize);
    if (count > (bytes.size() - kTableStart) / kTagEntrySize)
        return fail("a tag table of {} tags reaches beyond the profile", count);

    // Entries with the same extent share one element.
    std::map<std::pair<std::uint32_t, std::uint32_t>, SharedBytes> elements;
    profile.m_tags.reserve(count);
    std::uint64_t total = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        auto const* entry = bytes.data() + kTableStart + i * kTagEntrySize;
        auto const offset = loadBE32(entry + 4);
        auto const length = loadBE32(entry + 8);
        if (std::uint64_t {offset} + length > bytes.size())
            return fail("a tag reaches beyond the profile");
        auto& element = elements[{offset, length}];
        if (!element) {
            // Overlapping extents could make gigabytes out of a small file.
            total += length;
            if (total > 4 * kMaximumSize)
                return fail("tags that overlap without end");
            element = shareBytes(bytes.subspan(offset, length));
        }
        profile.m_tags.push_back({FourCC(loadBE32(entry)), element});
    }
    profile.indexTags();
    profile.m_original = shareBytes(bytes);
    return profile;
}

Result<ProfileContainer> ProfileContainer::open(std::string const& path)
{
    return parse(TRY(readFile(path, kMaximumSize)));
}

void ProfileContainer::setHeader(ProfileHeader const& header)
{
    m_header = header;
}

void ProfileContainer::indexTags()
{
    m_index.clear();
    for (std::size_t i = 0; i < m_tags.size(); ++i)
        m_index.try_emplace(m_tags[i].signature.code, i);
}

std::vector<FourCC> ProfileContainer::tagSignatures() const
{
    std::vector<FourCC> signatures;
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        if (m_index.at(m_tags[i].signature.code) == i)
            signatures.push_back(m_tags[i].signature);
    }
    return signatures;
}

ProfileContainer::Tag const* ProfileContainer::find(FourCC signature) const
{
    auto const found = m_index.find(signature.code);
    return found == m_index.end() ? nullptr : &m_tags[found->second];
}

SharedBytes ProfileContainer::tag(FourCC signature) const
{
    auto const* found = find(signature);
    return found ? found->element : nullptr;
}

void ProfileContainer::setTag(FourCC signature, Bytes element)
{
    m_tagsEdited = true;
    auto shared = std::make_shared<Bytes const>(std::move(element));
    auto const [found, isNew] = m_index.try_emplace(signature.code, m_tags.size());
    if (isNew)
        m_tags.push_back({signature, std::move(shared)});
    else
        m_tags[found->second].element = std::move(shared);
}

void ProfileContainer::removeTag(FourCC signature)
{
    if (std::erase_if(m_tags, [&](Tag const& tag) { return tag.signature == signature; }) == 0)
        return;
    m_tagsEdited = true;
    indexTags();
}

Bytes ProfileContainer::serialize() const
{
    auto bytes = m_tagsEdited ? layOut() : *m_original;
    auto header = m_header;
    if (m_tagsEdited)
        header.size = static_cast<std::uint32_t>(bytes.size());
    std::ranges::copy(header.serialize(), bytes.begin());
    return bytes;
}

Bytes ProfileContainer::layOut() const
{
    Bytes bytes(kTableStart + m_tags.size() * kTagEntrySize);
    storeInteger(
        bytes.data() + kProfileHeaderSize, static_cast<std::uint32_t>(m_tags.size()), ByteOrder::Big);
    std::unordered_map<Bytes const*, std::size_t> offsets;
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        auto const& [signature, element] = m_tags[i];
        auto const [known, isNew] = offsets.try_emplace(element.get(), bytes.size());
        if (isNew) {
            append(bytes, ByteSpan(*element));
            bytes.resize(aligned(bytes.size()));
        }
        auto* const entry = bytes.data() + kTableStart + i * kTagEntrySize;
        storeInteger(entry, signature.code, ByteOrder::Big);
        storeInteger(entry + 4, static_cast<std::uint32_t>(known->second), ByteOrder::Big);
        storeInteger(entry + 8, static_cast<std::uint32_t>(element->size()), ByteOrder::Big);
    }
    return bytes;
}

ProfileDigest ProfileContainer::digest() const
{
    auto bytes = serialize();
    std::fill_n(bytes.begin() + kFlagsOffset, 4, std::uint8_t {0});
    std::fill_n(bytes.begin() + kIntentOffset, 4, std::uint8_t {0});
    std::fill_n(bytes.begin() + kIdOffset, sizeof(ProfileDigest), std::uint8_t {0});
    cmsProfileID id = {};
    auto* const md5 = cmsMD5alloc(nullptr);
    cmsMD5add(md5, bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
    cmsMD5finish(&id, md5);
    ProfileDigest digest;
    std::copy_n(id.ID8, digest.size(), digest.begin());
    return digest;
}

Result<void> ProfileContainer::write(std::string const& path) const
{
    auto file = TRY(AtomicFile::create(path));
    TRY(file.write(serialize()));
    return file.commit(path);
}

} // namespace velk::color
