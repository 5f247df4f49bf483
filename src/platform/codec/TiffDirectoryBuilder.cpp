#include "platform/codec/TiffDirectoryBuilder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velk::codec::tiff {

namespace {

constexpr std::uint16_t kClassicVersion = 42;
constexpr std::uint16_t kBigVersion = 43;

struct Fraction {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;
};

// The first of the denominators 1, 10, ... 1000000 that gives the value, or the last that the range allows.
Fraction fractionOf(double value)
{
    constexpr double kLargest = std::numeric_limits<std::uint32_t>::max();
    value = std::isfinite(value) ? std::clamp(value, 0.0, kLargest) : 0;
    Fraction best {static_cast<std::uint32_t>(std::lround(value)), 1};
    for (std::uint32_t denominator = 10; denominator <= 1'000'000; denominator *= 10) {
        auto const error = std::abs(value - static_cast<double>(best.numerator) / best.denominator);
        if (error <= value * 1e-9 || value * denominator > kLargest)
            break;
        best = {static_cast<std::uint32_t>(std::llround(value * denominator)), denominator};
    }
    return best;
}

void alignEven(Bytes& bytes)
{
    if (bytes.size() % 2)
        bytes.push_back(0);
}

} // namespace

Field bytesField(std::uint16_t tag, FieldType type, ByteSpan bytes)
{
    return {tag, type, bytes.size(), Bytes(bytes.begin(), bytes.end())};
}

Field textField(std::uint16_t tag, std::string_view text)
{
    auto field = bytesField(tag, FieldType::Ascii, asBytes(text));
    field.values.push_back(0);
    ++field.count;
    return field;
}

Field shortField(std::uint16_t tag, std::vector<std::uint16_t> const& values, ByteOrder order)
{
    Field field {tag, FieldType::Short, values.size(), {}};
    for (auto const value : values)
        append(field.values, value, order);
    return field;
}

Field longField(std::uint16_t tag, std::uint32_t value, ByteOrder order)
{
    Field field {tag, FieldType::Long, 1, {}};
    append(field.values, value, order);
    return field;
}

Field offsetsField(std::uint16_t tag, std::vector<std::uint64_t> const& values, Format format)
{
    auto const fits = [](std::uint64_t value) { return value <= std::numeric_limits<std::uint32_t>::max(); };
    bool const isLong = !format.isBig || std::ranges::all_of(values, fits);
    Field field {tag, isLong ? FieldType::Long : FieldType::Long8, values.size(), {}};
    for (auto const value : values) {
        if (isLong)
            append(field.values, static_cast<std::uint32_t>(value), format.order);
        else
            append(field.values, value, format.order);
    }
    return field;
}

Field rationalField(std::uint16_t tag, std::vector<double> const& values, ByteOrder order)
{
    Field field {tag, FieldType::Rational, values.size(), {}};
    for (auto const value : values) {
        auto const fraction = fractionOf(value);
        append(field.values, fraction.numerator, order);
        append(field.values, fraction.denominator, order);
    }
    return field;
}

void DirectoryBuilder::set(Field field)
{
    auto const key = field.tag;
    m_items.insert_or_assign(key, std::move(field));
}

DirectoryBuilder::Layout DirectoryBuilder::serialise(std::uint64_t offset, std::uint64_t next) const
{
    Layout layout;
    Bytes table;
    if (m_format.isBig)
        append(table, std::uint64_t {m_items.size()}, m_format.order);
    else
        append(table, static_cast<std::uint16_t>(m_items.size()), m_format.order);

    auto const appendEntry = [&](Entry const& entry) {
        append(table, entry.tag, m_format.order);
        append(table, static_cast<std::uint16_t>(entry.type), m_format.order);
        table.resize(table.size() + m_format.offsetSize());
        m_format.storeOffset(table.data() + table.size() - m_format.offsetSize(), entry.count);
        append(table, ByteSpan(entry.field).first(m_format.offsetSize()));
    };
    auto const placed = [&](Field const& field) {
        Entry entry {field.tag, field.type, field.count, {}};
        if (field.values.size() <= m_format.offsetSize()) {
            std::ranges::copy(field.values, entry.field.begin());
        } else {
            alignEven(layout.bytes);
            m_format.storeOffset(entry.field.data(), offset + layout.bytes.size());
            append(layout.bytes, ByteSpan(field.values));
        }
        return entry;
    };
    for (auto const& [key, item] : m_items) {
        auto const* const kept = std::get_if<Entry>(&item);
        appendEntry(kept ? *kept : placed(std::get<Field>(item)));
    }
    table.resize(table.size() + m_format.offsetSize());
    m_format.storeOffset(table.data() + table.size() - m_format.offsetSize(), next);

    alignEven(layout.bytes);
    layout.directoryOffset = offset + layout.bytes.size();
    append(layout.bytes, ByteSpan(table));
    return layout;
}

Bytes fileHeader(Format format, std::uint64_t firstDirectory)
{
    Bytes header;
    append(header, std::string_view(format.order == ByteOrder::Little ? "II" : "MM"));
    append(header, format.isBig ? kBigVersion : kClassicVersion, format.order);
    if (format.isBig) {
        append(header, std::uint16_t {8}, format.order);
        append(header, std::uint16_t {0}, format.order);
    }
    header.resize(format.headerSize());
    format.storeOffset(header.data() + format.firstDirectoryField(), firstDirectory);
    return header;
}

} // namespace velk::codec::tiff
