#pragma once

#include "base/Bytes.h"
#include "platform/codec/ExifTags.h"

#include <array>
#include <optional>
#include <vector>

namespace velk::codec {

/// A field's value: `count` components of `type`, in the byte order of the block that it lies in.
struct ExifValue {
    ExifType type = ExifType::Undefined;
    std::uint32_t count = 0;
    ByteSpan bytes;
};

/// A field of a directory as it lies in the block.
struct ExifEntry {
    std::uint16_t tag = 0;
    ExifType type = ExifType::Undefined;
    std::uint32_t count = 0;
    /// Where the value lies: in the entry itself when it has up to four bytes. Size 0 when it lies outside
    /// the block or has an unknown type; such an entry is kept as it is and has no value.
    std::size_t offset = 0;
    std::size_t size = 0;
    /// The last four bytes of the entry as stored.
    std::array<std::uint8_t, 4> field {};
};

/// Reads the directories of an Exif block (a TIFF structure) or of a classic TIFF file. A view: the bytes
/// must outlive it. Nothing in the bytes is trusted; directories that are not there are empty.
class ExifBlock {
public:
    /// A directory, where it lies, and the bytes that it takes up with its count and its link.
    struct Directory {
        std::size_t offset = 0;
        std::size_t size = 0;
        std::vector<ExifEntry> entries;
        /// Offset of the next directory in the chain.
        std::uint32_t next = 0;
    };

    /// Nothing when the bytes do not begin as a classic TIFF structure.
    static std::optional<ExifBlock> parse(ByteSpan bytes);

    ByteOrder order() const { return m_order; }
    Directory const& directory(ExifDirectory name) const
    {
        return m_directories[static_cast<std::size_t>(name)];
    }
    /// The first field of a tag, if it has a value.
    std::optional<ExifValue> value(ExifDirectory name, std::uint16_t tag) const;
    /// The first component of a tag that holds whole numbers.
    std::optional<std::uint32_t> integer(ExifDirectory name, std::uint16_t tag) const;
    /// The JPEG preview that IFD1 points to; empty when there is none.
    ByteSpan preview() const;

private:
    explicit ExifBlock(ByteSpan bytes, ByteOrder order)
        : m_bytes(bytes)
        , m_order(order)
    {
    }
    void readDirectory(ExifDirectory name, std::uint32_t offset);
    ExifEntry readEntry(std::size_t at) const;

    ByteSpan m_bytes;
    ByteOrder m_order;
    std::array<Directory, kExifDirectoryCount> m_directories;
};

/// Whether the type holds whole numbers.
constexpr bool isExifInteger(ExifType type)
{
    return type == ExifType::Byte || type == ExifType::Short || type == ExifType::Long
        || type == ExifType::SignedByte || type == ExifType::SignedShort || type == ExifType::SignedLong
        || type == ExifType::Ifd;
}

/// Component `index` of a whole-number value, with its sign.
std::int64_t exifInteger(ExifValue const& value, std::size_t index, ByteOrder order);

} // namespace velk::codec
