#pragma once

#include "platform/codec/TiffDirectory.h"

#include <map>
#include <string_view>
#include <variant>
#include <vector>

namespace velk::codec::tiff {

/// Values to be written under a tag, their bytes in the order of the file that they are meant for.
struct Field {
    std::uint16_t tag = 0;
    FieldType type = FieldType::Undefined;
    std::uint64_t count = 0;
    Bytes values;
};

Field bytesField(std::uint16_t tag, FieldType type, ByteSpan bytes);
/// ASCII, with its terminating zero.
Field textField(std::uint16_t tag, std::string_view text);
Field shortField(std::uint16_t tag, std::vector<std::uint16_t> const& values, ByteOrder order);
Field longField(std::uint16_t tag, std::uint32_t value, ByteOrder order);
/// LONG where all values fit (or the format has nothing longer), else LONG8.
Field offsetsField(std::uint16_t tag, std::vector<std::uint64_t> const& values, Format format);
/// Non-negative numbers as fractions with a denominator of up to a million.
Field rationalField(std::uint16_t tag, std::vector<double> const& values, ByteOrder order);

/// Puts a directory together from entries that stay as they are in the file and fields that are new.
class DirectoryBuilder {
public:
    explicit DirectoryBuilder(Format format)
        : m_format(format)
    {
    }

    /// Takes an entry over with its offset; of several with one tag the first counts.
    void keep(Entry const& entry) { m_items.try_emplace(entry.tag, entry); }
    /// Adds a field, in place of what stands under its tag.
    void set(Field field);
    void remove(std::uint16_t tag) { m_items.erase(tag); }
    bool has(std::uint16_t tag) const { return m_items.contains(tag); }
    bool isEmpty() const { return m_items.empty(); }

    /// Bytes to be put at an even offset of the file: values that do not fit in their entries, each at an
    /// even offset, then the directory.
    struct Layout {
        Bytes bytes;
        std::uint64_t directoryOffset = 0;
    };
    Layout serialise(std::uint64_t offset, std::uint64_t next) const;

private:
    Format m_format;
    std::map<std::uint16_t, std::variant<Entry, Field>> m_items;
};

/// The header of a file whose first directory is at `firstDirectory`.
Bytes fileHeader(Format format, std::uint64_t firstDirectory);

} // namespace velk::codec::tiff
