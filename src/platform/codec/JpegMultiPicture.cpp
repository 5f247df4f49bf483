#include "platform/codec/JpegMultiPicture.h"

#include <optional>

namespace velk::codec::jpeg {

namespace {

constexpr std::uint16_t kEntriesTag = 0xB002;
constexpr std::size_t kDirectoryEntrySize = 12;

// attributes (4) | size (4) | offset (4) | dependent images (2 + 2)
constexpr std::size_t kEntrySize = 16;
constexpr std::size_t kSizeField = 4;
constexpr std::size_t kOffsetField = 8;

struct EntryTable {
    ByteOrder order = ByteOrder::Big;
    std::size_t offset = 0;
    std::size_t count = 0;
};

std::optional<EntryTable> findEntries(ByteSpan index)
{
    if (index.size() < 8 || (!startsWith(index, "II") && !startsWith(index, "MM")))
        return std::nullopt;
    EntryTable table {startsWith(index, "II") ? ByteOrder::Little : ByteOrder::Big};
    auto const directory = std::size_t {loadInteger<std::uint32_t>(&index[4], table.order)};
    if (directory > index.size() - 2)
        return std::nullopt;
    auto const count = std::size_t {loadInteger<std::uint16_t>(&index[directory], table.order)};
    if (count > (index.size() - directory - 2) / kDirectoryEntrySize)
        return std::nullopt;
    for (std::size_t i = 0; i < count; ++i) {
        auto const* const entry = &index[directory + 2 + i * kDirectoryEntrySize];
        if (loadInteger<std::uint16_t>(entry, table.order) != kEntriesTag)
            continue;
        auto const bytes = std::size_t {loadInteger<std::uint32_t>(entry + 4, table.order)};
        table.offset = loadInteger<std::uint32_t>(entry + 8, table.order);
        table.count = bytes / kEntrySize;
        if (table.offset > index.size() || bytes > index.size() - table.offset)
            return std::nullopt;
        return table;
    }
    return std::nullopt;
}

void addTo(std::uint8_t* field, std::int64_t shift, ByteOrder order)
{
    auto const value = loadInteger<std::uint32_t>(field, order) + shift;
    storeInteger(field, static_cast<std::uint32_t>(value), order);
}

} // namespace

std::vector<PictureRange> furtherPictures(ByteSpan index, std::uint64_t indexOffset)
{
    std::vector<PictureRange> pictures;
    auto const table = findEntries(index);
    for (std::size_t i = 1; table && i < table->count; ++i) {
        auto const* const entry = &index[table->offset + i * kEntrySize];
        auto const size = loadInteger<std::uint32_t>(entry + kSizeField, table->order);
        auto const offset = loadInteger<std::uint32_t>(entry + kOffsetField, table->order);
        if (offset != 0 && size != 0)
            pictures.push_back({indexOffset + offset, size});
    }
    return pictures;
}

void shiftPictures(Bytes& index, std::int64_t indexShift, std::int64_t imageShift)
{
    auto const table = findEntries(index);
    for (std::size_t i = 0; table && i < table->count; ++i) {
        auto* const entry = &index[table->offset + i * kEntrySize];
        auto* const offset = entry + kOffsetField;
        // The first picture is the file's own image: it begins where the file does, and grows with its head.
        if (loadInteger<std::uint32_t>(offset, table->order) == 0) {
            if (i == 0)
                addTo(entry + kSizeField, imageShift, table->order);
        } else {
            addTo(offset, imageShift - indexShift, table->order);
        }
    }
}

} // namespace velk::codec::jpeg
