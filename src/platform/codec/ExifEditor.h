#pragma once

#include "platform/codec/ExifBlock.h"

namespace velk::codec {

/// Edits an Exif block and leaves everything else where it lies: maker notes, whose offsets only their maker
/// knows, stay at their place byte for byte. Values that fit go where the old ones were; others go into space
/// that became free, or to the end, and so does a directory that outgrows its place. What is replaced or
/// removed is overwritten with zeros, unless another field shares its bytes.
class ExifEditor {
public:
    /// Edits `block`; anything that is no TIFF structure is replaced by an empty one of the given order.
    explicit ExifEditor(ByteSpan block, ByteOrder orderWhenNew = ByteOrder::Little);

    ByteOrder order() const { return m_order; }
    /// Sets a field; the value is in this block's byte order. False when it was the same before.
    bool set(ExifDirectory directory, std::uint16_t tag, ExifValue const& value);
    /// Sets a field of one whole number.
    bool setInteger(ExifDirectory directory, std::uint16_t tag, ExifType type, std::uint32_t number);
    /// False when there was none.
    bool remove(ExifDirectory directory, std::uint16_t tag);
    /// Replaces the JPEG preview; empty bytes remove it with its directory.
    void setPreview(ByteSpan jpeg);

    /// The edited block, the same bytes when nothing was changed, empty when no field is left. The editor is
    /// used up.
    Bytes finish();

private:
    struct Range {
        std::size_t begin = 0, end = 0;
        std::size_t size() const { return end - begin; }
    };
    struct Field {
        ExifEntry entry;
        /// Set when the value is new.
        std::optional<Bytes> value;
    };
    struct Directory {
        Range place;
        std::vector<Field> fields;
        std::uint32_t next = 0;
        bool changed = false;
    };

    Directory& at(ExifDirectory name) { return m_directories[static_cast<std::size_t>(name)]; }
    Field* find(ExifDirectory directory, std::uint16_t tag);
    bool holds(Field const& field, ExifValue const& value) const;
    void addMandatoryFields(ExifDirectory directory);

    void loadFrom(ExifBlock const& block);
    void releaseValue(Field const& field);
    void release(Range range);
    bool isShared(Range range) const;
    std::size_t place(std::size_t size);
    void cutFreeEnd();
    void setPointer(ExifDirectory parent, std::uint16_t tag, std::size_t target);
    void writeHeader();
    void moveOutgrownDirectories();
    void placeValues();
    void writeDirectory(Directory const& directory);

    Bytes m_bytes;
    ByteOrder m_order;
    std::array<Directory, kExifDirectoryCount> m_directories;
    std::vector<Range> m_used;
    std::vector<Range> m_free;
    /// Where the preview lies, or the one that is to be placed.
    Range m_previewPlace;
    std::optional<Bytes> m_preview;
};

} // namespace velk::codec
