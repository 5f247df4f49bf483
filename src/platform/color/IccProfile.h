#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"
#include "base/Md5.h"
#include "base/Result.h"
#include "platform/color/ProfileHeader.h"
#include "platform/graphics/PixelFormat.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace velk::color {

/// MD5 digest as a profile ID (ICC.1:2022, 7.2.18).
using ProfileDigest = Md5Digest;

/// An ICC profile as a container of bytes: header, tag table and tag elements exactly as read, edited in
/// memory, and serialised with nothing else changed. Tags that shared one element go on sharing it. Copies
/// share the bytes that were read.
class IccProfile {
public:
    /// Nothing larger is opened or written.
    static constexpr std::uint64_t kMaximumSize = std::uint64_t {64} << 20;

    /// Refuses what is inconsistent: shorter than its header, no "acsp", a tag table or a tag that reaches
    /// outside the bytes, more than 64 MiB, be it in one piece or as the sum of tags that overlap. The
    /// header's size field may say anything.
    static Result<IccProfile> parse(SharedBytes bytes);
    static Result<IccProfile> parse(ByteSpan bytes) { return parse(shareBytes(bytes)); }
    static Result<IccProfile> open(std::string const& path);

    ProfileHeader const& header() const { return m_header; }
    /// The header is written as it is given, but for the size field, which follows changes to the tags.
    void setHeader(ProfileHeader const& header) { m_header = header; }

    /// In the order of the tag table; a signature that stands there twice is listed once.
    std::vector<FourCC> tagSignatures() const;
    bool contains(FourCC signature) const { return m_index.contains(signature.code); }
    /// The whole element, type signature first; null when there is no such tag. Of tags with the same
    /// signature the first counts.
    SharedBytes tag(FourCC signature) const;
    /// The same without a copy, empty when there is no such tag; until the tag is replaced or the profile
    /// goes. Tags that share their element have it in the same place.
    ByteSpan element(FourCC signature) const;
    /// Replaces the element or adds the tag at the end of the table.
    void setTag(FourCC signature, Bytes element);
    /// The same with an element that other tags may have too.
    void setTag(FourCC signature, SharedBytes element);
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
        /// Where the element lies in the bytes that were read, unless it is `edited`.
        std::uint32_t offset, length;
        SharedBytes edited;

        /// Equal where the elements are one.
        std::uint64_t extent() const { return std::uint64_t {offset} << 32 | length; }
    };

    explicit IccProfile(SharedBytes bytes);
    Result<void> readTags();
    Result<void> checkOverlap() const;
    void indexTags();
    ByteSpan element(Tag const& tag) const;
    Bytes layOut() const;

    /// The file as it was read.
    SharedBytes m_original;
    ProfileHeader m_header;
    std::vector<Tag> m_tags;
    /// Signature to the first place in `m_tags`: hostile profiles have a hundred thousand tags.
    std::unordered_map<std::uint32_t, std::size_t> m_index;
    bool m_tagsEdited = false;
};

/// Whether the bytes hold at least the header of an ICC profile.
bool isProfile(ByteSpan bytes);

/// The element of a tag in a profile that need not be whole, cut where the bytes end; empty when there is
/// none.
ByteSpan profileElement(ByteSpan profile, FourCC signature);

/// The model of the profile's data colour space (ICC.1:2022, 7.2.8); nothing when the bytes are no ICC
/// profile, or one of a space that images here do not have.
std::optional<graphics::ColorModel> profileColorModel(ByteSpan profile);

} // namespace velk::color
