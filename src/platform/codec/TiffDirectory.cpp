#include "platform/codec/TiffDirectory.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <set>

namespace velk::codec::tiff {

namespace {

constexpr std::uint64_t kMaximumEntries = 4096;
constexpr std::uint64_t kMaximumText = 1 << 20;
constexpr std::uint16_t kBigVersion = 43;

bool isSigned(FieldType type)
{
    return type == FieldType::SByte || type == FieldType::SShort || type == FieldType::SLong
        || type == FieldType::SLong8;
}

bool isInteger(FieldType type)
{
    switch (type) {
    case FieldType::Byte:
    case FieldType::Short:
    case FieldType::Long:
    case FieldType::SByte:
    case FieldType::SShort:
    case FieldType::SLong:
    case FieldType::Ifd:
    case FieldType::Long8:
    case FieldType::SLong8:
    case FieldType::Ifd8:
        return true;
    default:
        return false;
    }
}

// An integer of 1, 2, 4 or 8 bytes, sign-extended when its type is signed.
std::uint64_t loadSized(std::uint8_t const* from, FieldType type, ByteOrder order)
{
    auto const size = sizeOf(type);
    std::uint64_t value = 0;
    switch (size) {
    case 1:
        value = *from;
        break;
    case 2:
        value = loadInteger<std::uint16_t>(from, order);
        break;
    case 4:
        value = loadInteger<std::uint32_t>(from, order);
        break;
    default:
        value = loadInteger<std::uint64_t>(from, order);
        break;
    }
    auto const bits = size * 8;
    if (isSigned(type) && bits < 64 && (value >> (bits - 1)) & 1)
        value |= ~std::uint64_t {0} << bits;
    return value;
}

double loadNumber(std::uint8_t const* from, FieldType type, ByteOrder order)
{
    auto const quotient = [](double numerator, double denominator) {
        return denominator == 0 ? 0 : numerator / denominator;
    };
    switch (type) {
    case FieldType::Rational:
        return quotient(loadInteger<std::uint32_t>(from, order), loadInteger<std::uint32_t>(from + 4, order));
    case FieldType::SRational:
        return quotient(loadInteger<std::int32_t>(from, order), loadInteger<std::int32_t>(from + 4, order));
    case FieldType::Float:
        return static_cast<double>(std::bit_cast<float>(loadInteger<std::uint32_t>(from, order)));
    case FieldType::Double:
        return std::bit_cast<double>(loadInteger<std::uint64_t>(from, order));
    default:
        break;
    }
    auto const value = loadSized(from, type, order);
    return isSigned(type) ? static_cast<double>(static_cast<std::int64_t>(value))
                          : static_cast<double>(value);
}

bool isUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size();) {
        auto const lead = static_cast<std::uint8_t>(text[i]);
        auto const length = lead < 0x80   ? 1u
            : lead >= 0xC2 && lead < 0xE0 ? 2u
            : lead >= 0xE0 && lead < 0xF0 ? 3u
            : lead >= 0xF0 && lead < 0xF5 ? 4u
                                          : 0u;
        if (length == 0 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<std::uint8_t>(text[i + k]) & 0xC0) != 0x80)
                return false;
        }
        i += length;
    }
    return true;
}

std::string fromLatin1(std::string_view text)
{
    std::string utf8;
    for (auto const character : text) {
        auto const code = static_cast<std::uint8_t>(character);
        if (code < 0x80) {
            utf8 += character;
        } else {
            utf8 += static_cast<char>(0xC0 | code >> 6);
            utf8 += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return utf8;
}

} // namespace

std::size_t sizeOf(FieldType type)
{
    switch (type) {
    case FieldType::Byte:
    case FieldType::Ascii:
    case FieldType::SByte:
    case FieldType::Undefined:
        return 1;
    case FieldType::Short:
    case FieldType::SShort:
        return 2;
    case FieldType::Long:
    case FieldType::SLong:
    case FieldType::Float:
    case FieldType::Ifd:
        return 4;
    case FieldType::Rational:
    case FieldType::SRational:
    case FieldType::Double:
    case FieldType::Long8:
    case FieldType::SLong8:
    case FieldType::Ifd8:
        return 8;
    }
    return 0;
}

void Format::storeOffset(std::uint8_t* to, std::uint64_t offset) const
{
    if (isBig)
        storeInteger(to, offset, order);
    else
        storeInteger(to, static_cast<std::uint32_t>(offset), order);
}

std::uint64_t Format::loadOffset(std::uint8_t const* from) const
{
    return isBig ? loadInteger<std::uint64_t>(from, order) : loadInteger<std::uint32_t>(from, order);
}

Entry const* Directory::find(std::uint16_t tag) const
{
    auto const found = std::ranges::find(entries, tag, &Entry::tag);
    return found == entries.end() ? nullptr : &*found;
}

Result<void> TiffBytes::read(std::uint64_t offset, std::span<std::uint8_t> to) const
{
    if (!contains({offset, to.size()}))
        return fail("unexpected end of file");
    if (m_file)
        return m_file->readExactlyAt(offset, to);
    std::ranges::copy(m_bytes.subspan(offset, to.size()), to.begin());
    return {};
}

bool DirectoryReader::matches(ByteSpan head)
{
    constexpr std::array<std::string_view, 4> kSignatures = {std::string_view("II\x2A\0", 4),
        std::string_view("MM\0\x2A", 4), std::string_view("II\x2B\0", 4), std::string_view("MM\0\x2B", 4)};
    return std::ranges::any_of(kSignatures, [&](auto signature) { return startsWith(head, signature); });
}

Result<DirectoryReader> DirectoryReader::open(TiffBytes bytes)
{
    DirectoryReader reader(bytes);
    std::array<std::uint8_t, 16> header {};
    TRY(bytes.read(0, std::span(header).first(8)));
    if (!matches(header))
        return fail("not a TIFF file");
    reader.m_format.order = header[0] == 'M' ? ByteOrder::Big : ByteOrder::Little;
    auto const& format = reader.m_format;
    reader.m_format.isBig = loadInteger<std::uint16_t>(header.data() + 2, format.order) == kBigVersion;
    if (format.isBig) {
        TRY(bytes.read(0, header));
        if (loadInteger<std::uint16_t>(header.data() + 4, format.order) != 8)
            return fail("a BigTIFF file with offsets of an unknown size");
    }
    reader.m_firstDirectory = format.loadOffset(header.data() + format.firstDirectoryField());
    return reader;
}

Result<Directory> DirectoryReader::directory(std::uint64_t offset) const
{
    std::array<std::uint8_t, 8> number {};
    TRY(m_bytes.read(offset, std::span(number).first(m_format.countSize())));
    auto const count = m_format.isBig ? loadInteger<std::uint64_t>(number.data(), m_format.order)
                                      : loadInteger<std::uint16_t>(number.data(), m_format.order);
    if (count == 0 || count > kMaximumEntries)
        return fail("a TIFF directory with {} entries", count);

    Directory directory {.offset = offset};
    Bytes table(count * m_format.entrySize());
    TRY(m_bytes.read(offset + m_format.countSize(), table));
    directory.entries.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto const* const from = table.data() + i * m_format.entrySize();
        auto& entry = directory.entries[i];
        entry.tag = loadInteger<std::uint16_t>(from, m_format.order);
        entry.type = FieldType {loadInteger<std::uint16_t>(from + 2, m_format.order)};
        entry.count = m_format.loadOffset(from + 4);
        std::copy_n(from + 4 + m_format.offsetSize(), m_format.offsetSize(), entry.field.begin());
    }
    // A directory that ends the file without its last field ends the chain.
    if (m_bytes.read(
            offset + m_format.countSize() + table.size(), std::span(number).first(m_format.offsetSize())))
        directory.next = m_format.loadOffset(number.data());
    return directory;
}

void DirectoryReader::forEachDirectory(std::function<void(Directory const&)> const& take) const
{
    // Directories do not overlap, so all together they are no longer than the file. That bounds the walk even
    // where hostile directories do overlap.
    auto budget = m_bytes.size();
    std::set<std::uint64_t> visited;
    for (auto offset = m_firstDirectory; offset != 0;) {
        if (!visited.insert(offset).second)
            return;
        auto const found = directory(offset);
        if (!found)
            return;
        auto const size = m_format.directorySize(found->entries.size()) - m_format.offsetSize();
        if (size > budget)
            return;
        budget -= size;
        take(*found);
        offset = found->next;
    }
}

std::optional<Directory> DirectoryReader::directoryAt(Entry const* pointer) const
{
    auto const offset = integer(pointer);
    if (!offset || *offset == 0)
        return std::nullopt;
    auto found = directory(*offset);
    if (!found)
        return std::nullopt;
    return std::move(*found);
}

std::optional<Range> DirectoryReader::outside(Entry const& entry) const
{
    auto const size = sizeOf(entry.type);
    if (size == 0 || entry.count <= m_format.offsetSize() / size)
        return std::nullopt;
    // A length that overflows lies outside of any file.
    auto const length = entry.count > std::numeric_limits<std::uint64_t>::max() / 16 ? ~std::uint64_t {0}
                                                                                     : entry.count * size;
    return Range {m_format.loadOffset(entry.field.data()), length};
}

Result<Bytes> DirectoryReader::value(Entry const& entry, std::uint64_t limit) const
{
    auto const size = sizeOf(entry.type);
    if (size == 0)
        return fail("tag {} has the unknown type {}", entry.tag, static_cast<int>(entry.type));
    auto const range = outside(entry);
    if (!range)
        return Bytes(
            entry.field.begin(), entry.field.begin() + static_cast<std::ptrdiff_t>(entry.count * size));
    if (!m_bytes.contains(*range))
        return fail("tag {} reaches beyond the end of the file", entry.tag);
    if (range->length > limit)
        return fail("tag {} is too long", entry.tag);
    Bytes bytes(range->length);
    TRY(m_bytes.read(range->offset, bytes));
    return bytes;
}

std::vector<std::uint64_t> DirectoryReader::integers(Entry const* entry, std::uint64_t limit) const
{
    if (!entry || !isInteger(entry->type) || entry->count > limit)
        return {};
    auto const bytes = value(*entry, ~std::uint64_t {0});
    if (!bytes)
        return {};
    std::vector<std::uint64_t> values(entry->count);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = loadSized(bytes->data() + i * sizeOf(entry->type), entry->type, m_format.order);
    return values;
}

std::optional<std::uint64_t> DirectoryReader::integer(Entry const* entry) const
{
    if (!entry || !isInteger(entry->type) || entry->count == 0)
        return std::nullopt;
    auto const range = outside(*entry);
    if (!range)
        return loadSized(entry->field.data(), entry->type, m_format.order);
    // Of values that reach beyond the end none counts, since a rewritten file does not keep them.
    std::array<std::uint8_t, 8> first {};
    if (!m_bytes.contains(*range)
        || !m_bytes.read(range->offset, std::span(first).first(sizeOf(entry->type))))
        return std::nullopt;
    return loadSized(first.data(), entry->type, m_format.order);
}

std::vector<double> DirectoryReader::numbers(Entry const* entry, std::uint64_t limit) const
{
    if (!entry || entry->count > limit || entry->type == FieldType::Ascii
        || entry->type == FieldType::Undefined)
        return {};
    auto const bytes = value(*entry, ~std::uint64_t {0});
    if (!bytes)
        return {};
    std::vector<double> values(entry->count);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = loadNumber(bytes->data() + i * sizeOf(entry->type), entry->type, m_format.order);
    return values;
}

std::string DirectoryReader::text(Entry const* entry) const
{
    if (!entry || sizeOf(entry->type) != 1)
        return {};
    auto const bytes = value(*entry, kMaximumText);
    if (!bytes)
        return {};
    auto text = asText(*bytes);
    text = text.substr(0, text.find('\0'));
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    return isUtf8(text) ? std::string(text) : fromLatin1(text);
}

} // namespace velk::codec::tiff
