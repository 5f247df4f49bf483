#pragma once

#include "base/Bytes.h"
#include "base/Files.h"
#include "base/Result.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Image file directories of TIFF 6.0 (section 2) and BigTIFF, entry by entry as they are stored.
namespace velk::codec::tiff {

enum class FieldType : std::uint16_t {
    Byte = 1,
    Ascii = 2,
    Short = 3,
    Long = 4,
    Rational = 5,
    SByte = 6,
    Undefined = 7,
    SShort = 8,
    SLong = 9,
    SRational = 10,
    Float = 11,
    Double = 12,
    Ifd = 13,
    Long8 = 16,
    SLong8 = 17,
    Ifd8 = 18,
};

/// Bytes that one value of a type takes; 0 for an unknown type.
std::size_t sizeOf(FieldType type);

/// Byte order and field widths of a file.
struct Format {
    ByteOrder order = ByteOrder::Little;
    bool isBig = false;

    bool operator==(Format const&) const = default;

    /// Width of an offset, which is also the room for values inside an entry.
    std::size_t offsetSize() const { return isBig ? 8 : 4; }
    std::size_t countSize() const { return isBig ? 8 : 2; }
    std::size_t entrySize() const { return isBig ? 20 : 12; }
    std::size_t headerSize() const { return isBig ? 16 : 8; }
    /// Where the header holds the offset of the first directory.
    std::size_t firstDirectoryField() const { return isBig ? 8 : 4; }
    std::uint64_t directorySize(std::uint64_t entries) const
    {
        return countSize() + entries * entrySize() + offsetSize();
    }
    /// Stores an offset in offsetSize() bytes.
    void storeOffset(std::uint8_t* to, std::uint64_t offset) const;
    std::uint64_t loadOffset(std::uint8_t const* from) const;
};

/// A span of a file.
struct Range {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;

    std::uint64_t end() const { return offset + length; }
    bool overlaps(Range const& other) const { return offset < other.end() && other.offset < end(); }
};

/// One entry of a directory. `field` is what stands in its last 4 or 8 bytes, in the file's byte order: the
/// values where they fit, else their offset.
struct Entry {
    std::uint16_t tag = 0;
    FieldType type = FieldType::Undefined;
    std::uint64_t count = 0;
    std::array<std::uint8_t, 8> field {};
};

struct Directory {
    std::uint64_t offset = 0;
    std::vector<Entry> entries;
    /// Offset of the next directory, 0 at the end of the chain.
    std::uint64_t next = 0;

    /// The first entry with this tag, or null.
    Entry const* find(std::uint16_t tag) const;
};

/// A TIFF structure in a file or in memory, neither of which is owned.
class TiffBytes {
public:
    TiffBytes(InputFile const& file)
        : m_file(&file)
    {
    }
    TiffBytes(ByteSpan bytes)
        : m_bytes(bytes)
    {
    }

    std::uint64_t size() const { return m_file ? m_file->size() : m_bytes.size(); }
    /// Fills all of `to`, or fails.
    Result<void> read(std::uint64_t offset, std::span<std::uint8_t> to) const;
    bool contains(Range range) const
    {
        return range.length <= size() && range.offset <= size() - range.length;
    }

private:
    InputFile const* m_file = nullptr;
    ByteSpan m_bytes;
};

/// Reads directories and values. Nothing that a file claims is allocated before it is known to be there.
class DirectoryReader {
public:
    /// Whether the bytes start like a TIFF or BigTIFF file.
    static bool matches(ByteSpan head);
    static Result<DirectoryReader> open(TiffBytes bytes);

    Format format() const { return m_format; }
    TiffBytes const& bytes() const { return m_bytes; }
    std::uint64_t firstDirectory() const { return m_firstDirectory; }

    /// A directory of 1 to 4096 entries.
    Result<Directory> directory(std::uint64_t offset) const;
    /// Shows `take` the directories of the main chain in order; ends early where the chain turns back on
    /// itself or leaves the file.
    void forEachDirectory(std::function<void(Directory const&)> const& take) const;
    /// The directory that an entry points at (Exif, GPS), if there is one.
    std::optional<Directory> directoryAt(Entry const* pointer) const;

    /// Where an entry's values lie when they do not fit in it.
    std::optional<Range> outside(Entry const& entry) const;
    /// The bytes of an entry's values in the file's order; an error when they are not there or more than
    /// `limit`.
    Result<Bytes> value(Entry const& entry, std::uint64_t limit) const;
    /// The values of an integer entry, none when it is missing, broken or longer than `limit` values.
    std::vector<std::uint64_t> integers(Entry const* entry, std::uint64_t limit) const;
    /// The first value of an integer entry.
    std::optional<std::uint64_t> integer(Entry const* entry) const;
    /// The values of an entry of any numeric type, as `integers`.
    std::vector<double> numbers(Entry const* entry, std::uint64_t limit) const;
    /// The text of an ASCII entry up to its first zero, without trailing blanks, in UTF-8 (other bytes are
    /// taken for Latin-1); empty when there is none.
    std::string text(Entry const* entry) const;

private:
    DirectoryReader(TiffBytes bytes)
        : m_bytes(bytes)
    {
    }

    TiffBytes m_bytes;
    Format m_format;
    std::uint64_t m_firstDirectory = 0;
};

} // namespace velk::codec::tiff
