#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"
#include "base/Result.h"
#include "platform/color/ProfileHeader.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace velk::color {

/// MD5 digest as a profile ID (ICC.1:2022, 7.2.18).
using ProfileDigest = std::array<std::uint8_t, 16>;

/// An ICC profile as a container of bytes: header, tag table and tag elements exactly as read, edited in
/// memory, and serialised with nothing else changed. Tags that shared one element go on sharing it. Copies
/// are cheap.
class ProfileContainer {
public:
    /// Nothing larger is opened.
    static constexpr std::uint64_t kMaximumSize = std::uint64_t {64} << 20;

    /// Refuses what is inconsistent: shorter than its header, no "acsp", a tag table or a tag that reaches
    /// outside the bytes, more than 64 MiB. The header's size field may say anything.
    static Result<ProfileContainer> parse(ByteSpan bytes);
    static Result<ProfileContainer> open(std::string const& path);

    ProfileHeader const& header() const { return m_header; }
    /// The header is written as it is given, but for the size field, which follows changes to the tags.
    void setHeader(ProfileHeader const& header);

    /// In the order of the tag table; a signature that stands there twice is listed once.
    std::vector<FourCC> tagSignatures() const;
    bool contains(FourCC signature) const { return find(signature) != nullptr; }
    /// The whole element, type signature first; null when there is no such tag.
    SharedBytes tag(FourCC signature) const;
    /// Replaces the element or adds the tag at the end of the table.
    void setTag(FourCC signature, Bytes element);
    /// Removes the tag, however often it stands in the table; nothing happens when it is absent.
    void removeTag(FourCC signature);

    /// The file: the bytes as read with the new header when no tag was edited, else header, table and
    /// elements in the table's order, 4-byte aligned, each element that tags share written once, and the size
    /// field set.
    Bytes serialize() const;
    /// MD5 over the serialised profile with flags, rendering intent and profile ID taken as zero.
    ProfileDigest digest() const;
    /// Writes the serialised profile through a temporary file.
    Result<void> write(std::string const& path) const;

private:
    struct Tag {
        FourCC signature;
        SharedBytes element;
    };

    ProfileContainer() = default;
    Tag const* find(FourCC signature) const;
    void indexTags();
    Bytes layOut() const;

    ProfileHeader m_header;
    std::vector<Tag> m_tags;
    /// Signature to the first place in `m_tags`: hostile profiles have a hundred thousand tags.
    std::unordered_map<std::uint32_t, std::size_t> m_index;
    /// The file as it was read.
    SharedBytes m_original;
    bool m_tagsEdited = false;
};

} // namespace velk::color
