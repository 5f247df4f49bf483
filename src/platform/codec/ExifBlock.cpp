#include "platform/codec/ExifBlock.h"

#include <algorithm>

namespace velk::codec {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kEntrySize = 12;
constexpr std::uint16_t kTiffMagic = 42;
// Far more than any writer puts into one directory; bounds the work that a hostile one causes.
constexpr std::size_t kMaximumEntries = 4096;

std::optional<ByteOrder> byteOrderOf(ByteSpan bytes)
{
    if (startsWith(bytes, "II"))
        return ByteOrder::Little;
    if (startsWith(bytes, "MM"))
        return ByteOrder::Big;
    return std::nullopt;
}

} // namespace

std::optional<ExifBlock> ExifBlock::parse(ByteSpan bytes)
{
    auto const order = byteOrderOf(bytes);
    if (!order || bytes.size() < kHeaderSize)
        return std::nullopt;
    if (loadInteger<std::uint16_t>(bytes.data() + 2, *order) != kTiffMagic)
        return std::nullopt;

    ExifBlock block(bytes, *order);
    block.readDirectory(ExifDirectory::Image, loadInteger<std::uint32_t>(bytes.data() + 4, *order));
    using enum ExifDirectory;
    constexpr struct {
        ExifDirectory parent;
        std::uint16_t pointer;
        ExifDirectory child;
    } kChildren[] = {{Image, tag::kExifPointer, Photo}, {Image, tag::kGpsPointer, Gps},
        {Photo, tag::kInteropPointer, Interop}};
    for (auto const& row : kChildren) {
        if (auto const offset = block.integer(row.parent, row.pointer))
            block.readDirectory(row.child, *offset);
    }
    block.readDirectory(Preview, block.directory(Image).next);
    return block;
}

// Layout: count (2 bytes), entries (12 bytes each), offset of the next directory (4 bytes). A directory that
// the end of the block cuts off counts as far as it goes; two directories at one place are a loop.
void ExifBlock::readDirectory(ExifDirectory name, std::uint32_t offset)
{
    auto const taken = [&](Directory const& other) { return other.size != 0 && other.offset == offset; };
    if (offset < kHeaderSize || offset > m_bytes.size() || m_bytes.size() - offset < 2
        || std::any_of(m_directories.begin(), m_directories.end(), taken))
        return;
    auto const count = std::size_t {loadInteger<std::uint16_t>(m_bytes.data() + offset, m_order)};
    auto const present = std::min(count, (m_bytes.size() - offset - 2) / kEntrySize);
    auto& directory = m_directories[static_cast<std::size_t>(name)];
    directory.offset = offset;
    for (std::size_t i = 0; i < std::min(present, kMaximumEntries); ++i)
        directory.entries.push_back(readEntry(offset + 2 + i * kEntrySize));
    auto const end = offset + 2 + present * kEntrySize;
    auto const hasLink = present == count && m_bytes.size() - end >= 4;
    directory.size = end - offset + (hasLink ? 4 : 0);
    directory.next = hasLink ? loadInteger<std::uint32_t>(m_bytes.data() + end, m_order) : 0;
}

ExifEntry ExifBlock::readEntry(std::size_t at) const
{
    auto const* const data = m_bytes.data() + at;
    ExifEntry entry {.tag = loadInteger<std::uint16_t>(data, m_order),
        .type = static_cast<ExifType>(loadInteger<std::uint16_t>(data + 2, m_order)),
        .count = loadInteger<std::uint32_t>(data + 4, m_order)};
    std::copy_n(data + 8, 4, entry.field.begin());
    auto const size = std::uint64_t {entry.count} * exifTypeSize(entry.type);
    auto const offset = size <= 4 ? at + 8 : loadInteger<std::uint32_t>(data + 8, m_order);
    if (offset <= m_bytes.size() && size <= m_bytes.size() - offset) {
        entry.offset = offset;
        entry.size = static_cast<std::size_t>(size);
    }
    return entry;
}

std::optional<ExifValue> ExifBlock::value(ExifDirectory name, std::uint16_t tag) const
{
    for (auto const& entry : directory(name).entries) {
        if (entry.tag == tag && entry.size != 0)
            return ExifValue {entry.type, entry.count, m_bytes.subspan(entry.offset, entry.size)};
    }
    return std::nullopt;
}

std::optional<std::uint32_t> ExifBlock::integer(ExifDirectory name, std::uint16_t tag) const
{
    auto const found = value(name, tag);
    if (!found || !isExifInteger(found->type))
        return std::nullopt;
    auto const number = exifInteger(*found, 0, m_order);
    return number < 0 ? std::nullopt : std::optional(static_cast<std::uint32_t>(number));
}

ByteSpan ExifBlock::preview() const
{
    auto const offset = integer(ExifDirectory::Preview, tag::kPreviewOffset);
    auto const length = integer(ExifDirectory::Preview, tag::kPreviewLength);
    if (!offset || !length || *offset > m_bytes.size() || *length > m_bytes.size() - *offset)
        return {};
    return m_bytes.subspan(*offset, *length);
}

std::int64_t exifInteger(ExifValue const& value, std::size_t index, ByteOrder order)
{
    auto const* const data = value.bytes.data() + index * exifTypeSize(value.type);
    switch (value.type) {
    case ExifType::SignedByte:
        return static_cast<std::int8_t>(*data);
    case ExifType::Short:
        return loadInteger<std::uint16_t>(data, order);
    case ExifType::SignedShort:
        return loadInteger<std::int16_t>(data, order);
    case ExifType::Long:
    case ExifType::Ifd:
        return loadInteger<std::uint32_t>(data, order);
    case ExifType::SignedLong:
        return loadInteger<std::int32_t>(data, order);
    default:
        return *data;
    }
}

} // namespace velk::codec
