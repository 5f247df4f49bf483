#include "platform/codec/ExifEditor.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace velk::codec {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kEntrySize = 12;
constexpr std::size_t kInlineSize = 4;
constexpr std::uint16_t kJpegCompression = 6;

using enum ExifDirectory;

constexpr struct {
    ExifDirectory parent;
    std::uint16_t pointer;
    ExifDirectory child;
} kPointers[] = {{Photo, tag::kInteropPointer, Interop}, {Image, tag::kExifPointer, Photo},
    {Image, tag::kGpsPointer, Gps}};

// Fields of IFD1 that describe an uncompressed preview.
constexpr std::uint16_t kUncompressedTags[] = {
    0x0100, 0x0101, 0x0102, 0x0106, 0x0111, 0x0115, 0x0116, 0x0117, 0x011C};

constexpr std::size_t directorySize(std::size_t entries)
{
    return 2 + entries * kEntrySize + 4;
}

} // namespace

ExifEditor::ExifEditor(ByteSpan block, ByteOrder orderWhenNew)
    : m_order(orderWhenNew)
{
    if (auto const parsed = ExifBlock::parse(block)) {
        m_bytes.assign(block.begin(), block.end());
        m_order = parsed->order();
        loadFrom(*parsed);
        return;
    }
    m_used.push_back({0, kHeaderSize});
}

void ExifEditor::loadFrom(ExifBlock const& block)
{
    m_used.push_back({0, kHeaderSize});
    for (std::size_t i = 0; i < kExifDirectoryCount; ++i) {
        auto const& source = block.directory(static_cast<ExifDirectory>(i));
        auto& directory = m_directories[i];
        directory.place = {source.offset, source.offset + source.size};
        directory.next = source.next;
        if (source.size != 0)
            m_used.push_back(directory.place);
        for (auto const& entry : source.entries) {
            directory.fields.push_back({entry, std::nullopt});
            if (entry.size > kInlineSize)
                m_used.push_back({entry.offset, entry.offset + entry.size});
        }
    }
    if (auto const preview = block.preview(); !preview.empty()) {
        auto const begin = *block.integer(Preview, tag::kPreviewOffset);
        m_previewPlace = {begin, begin + preview.size()};
        m_used.push_back(m_previewPlace);
    }
}

ExifEditor::Field* ExifEditor::find(ExifDirectory directory, std::uint16_t tag)
{
    auto& fields = at(directory).fields;
    auto const found = std::find_if(
        fields.begin(), fields.end(), [&](Field const& field) { return field.entry.tag == tag; });
    return found == fields.end() ? nullptr : &*found;
}

bool ExifEditor::holds(Field const& field, ExifValue const& value) const
{
    if (field.entry.type != value.type || field.entry.count != value.count)
        return false;
    auto const bytes = field.value ? ByteSpan(*field.value)
                                   : ByteSpan(m_bytes).subspan(field.entry.offset, field.entry.size);
    return std::equal(bytes.begin(), bytes.end(), value.bytes.begin(), value.bytes.end());
}

bool ExifEditor::set(ExifDirectory directory, std::uint16_t tag, ExifValue const& value)
{
    assert(value.bytes.size() == value.count * exifTypeSize(value.type));
    auto* field = find(directory, tag);
    if (field && holds(*field, value))
        return false;
    auto& fields = at(directory).fields;
    if (!field && fields.empty()) {
        addMandatoryFields(directory);
        field = find(directory, tag);
    }
    if (field) {
        releaseValue(*field);
    } else {
        auto const after = std::find_if(
            fields.begin(), fields.end(), [&](Field const& other) { return other.entry.tag > tag; });
        field = &*fields.insert(after, Field {});
    }
    field->entry = {.tag = tag, .type = value.type, .count = value.count};
    field->value.emplace(value.bytes.begin(), value.bytes.end());
    at(directory).changed = true;
    return true;
}

bool ExifEditor::setInteger(ExifDirectory directory, std::uint16_t tag, ExifType type, std::uint32_t number)
{
    Bytes bytes;
    if (type == ExifType::Short)
        append(bytes, static_cast<std::uint16_t>(number), m_order);
    else
        append(bytes, number, m_order);
    return set(directory, tag, {type == ExifType::Short ? type : ExifType::Long, 1, bytes});
}

// A directory is not valid without its version (Exif 2.32, 4.6.5 and 4.6.6).
void ExifEditor::addMandatoryFields(ExifDirectory directory)
{
    constexpr std::uint8_t kGpsVersion[] = {2, 3, 0, 0};
    auto& fields = at(directory).fields;
    auto const add = [&](std::uint16_t tag, ExifType type, ByteSpan bytes) {
        fields.push_back({{.tag = tag, .type = type, .count = 4}, Bytes(bytes.begin(), bytes.end())});
    };
    if (directory == Photo)
        add(tag::kExifVersion, ExifType::Undefined, asBytes("0232"));
    if (directory == Gps)
        add(tag::kGpsVersion, ExifType::Byte, kGpsVersion);
}

bool ExifEditor::remove(ExifDirectory directory, std::uint16_t tag)
{
    auto* const field = find(directory, tag);
    if (!field)
        return false;
    releaseValue(*field);
    auto& fields = at(directory).fields;
    fields.erase(fields.begin() + (field - fields.data()));
    at(directory).changed = true;
    return true;
}

void ExifEditor::setPreview(ByteSpan jpeg)
{
    if (m_previewPlace.size() != 0)
        release(std::exchange(m_previewPlace, {}));
    m_preview.reset();
    if (jpeg.empty()) {
        while (!at(Preview).fields.empty())
            remove(Preview, at(Preview).fields.front().entry.tag);
        return;
    }
    for (auto const tag : kUncompressedTags)
        remove(Preview, tag);
    m_preview.emplace(jpeg.begin(), jpeg.end());
    setInteger(Preview, tag::kCompression, ExifType::Short, kJpegCompression);
    setInteger(Preview, tag::kPreviewOffset, ExifType::Long, 0);
    setInteger(Preview, tag::kPreviewLength, ExifType::Long, static_cast<std::uint32_t>(jpeg.size()));
}

void ExifEditor::releaseValue(Field const& field)
{
    if (!field.value && field.entry.size > kInlineSize)
        release({field.entry.offset, field.entry.offset + field.entry.size});
}

// Broken and thrifty writers let fields share bytes: those are free only when the last one has left them.
void ExifEditor::release(Range range)
{
    auto const own = std::find_if(m_used.begin(), m_used.end(),
        [&](Range other) { return other.begin == range.begin && other.end == range.end; });
    if (own != m_used.end())
        m_used.erase(own);
    auto const overlaps = [&](Range other) { return other.begin < range.end && range.begin < other.end; };
    if (std::any_of(m_used.begin(), m_used.end(), overlaps)
        || std::any_of(m_free.begin(), m_free.end(), overlaps))
        return;
    std::fill(m_bytes.begin() + static_cast<std::ptrdiff_t>(range.begin),
        m_bytes.begin() + static_cast<std::ptrdiff_t>(range.end), std::uint8_t {0});
    m_free.push_back(range);
}

// Whether anything but its owner lies in a range.
bool ExifEditor::isShared(Range range) const
{
    auto const overlaps = [&](Range other) { return other.begin < range.end && range.begin < other.end; };
    return std::count_if(m_used.begin(), m_used.end(), overlaps) > 1;
}

// Finds room for `size` bytes on an even offset and returns where it is.
std::size_t ExifEditor::place(std::size_t size)
{
    for (auto& range : m_free) {
        auto const begin = range.begin + range.begin % 2;
        if (range.end > begin && range.end - begin >= size) {
            range.begin = begin + size;
            return begin;
        }
    }
    cutFreeEnd();
    auto const begin = m_bytes.size() + m_bytes.size() % 2;
    m_bytes.resize(begin + size);
    return begin;
}

void ExifEditor::cutFreeEnd()
{
    auto const isLast = [&](Range range) { return range.end == m_bytes.size(); };
    while (true) {
        auto const last = std::find_if(m_free.begin(), m_free.end(), isLast);
        if (last == m_free.end())
            return;
        m_bytes.resize(last->begin);
        m_free.erase(last);
    }
}

void ExifEditor::setPointer(ExifDirectory parent, std::uint16_t tag, std::size_t target)
{
    if (target == 0)
        remove(parent, tag);
    else
        setInteger(parent, tag, ExifType::Long, static_cast<std::uint32_t>(target));
}

// Children come before their parents, because a new pointer may make the parent grow.
void ExifEditor::moveOutgrownDirectories()
{
    auto const settle = [&](Directory& directory) {
        auto const needed = directory.fields.empty() ? 0 : directorySize(directory.fields.size());
        bool const fits = needed != 0 && needed <= directory.place.size() && !isShared(directory.place);
        if (directory.changed && !fits) {
            if (directory.place.size() != 0)
                release(directory.place);
            auto const begin = needed == 0 ? 0 : place(needed);
            directory.place = {begin, begin + needed};
        }
        return directory.place.begin;
    };
    for (auto const& row : kPointers) {
        if (at(row.child).changed)
            setPointer(row.parent, row.pointer, settle(at(row.child)));
    }
    if (at(Preview).changed) {
        // IFD1 hangs on IFD0, which may not be empty.
        if (at(Image).fields.empty() && !at(Preview).fields.empty())
            setInteger(Image, tag::kOrientation, ExifType::Short, 1);
        at(Image).next = static_cast<std::uint32_t>(settle(at(Preview)));
        at(Image).changed = true;
    }
    settle(at(Image));
}

void ExifEditor::placeValues()
{
    if (m_preview) {
        auto const begin = place(m_preview->size());
        std::copy(m_preview->begin(), m_preview->end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(begin));
        setInteger(Preview, tag::kPreviewOffset, ExifType::Long, static_cast<std::uint32_t>(begin));
    }
    for (auto& directory : m_directories) {
        for (auto& [entry, value] : directory.fields) {
            if (!value)
                continue;
            if (value->size() <= kInlineSize) {
                entry.field = {};
                std::copy(value->begin(), value->end(), entry.field.begin());
                continue;
            }
            auto const begin = place(value->size());
            std::copy(value->begin(), value->end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(begin));
            storeInteger(entry.field.data(), static_cast<std::uint32_t>(begin), m_order);
        }
    }
}

void ExifEditor::writeDirectory(Directory const& directory)
{
    auto* to = m_bytes.data() + directory.place.begin;
    auto* const end = m_bytes.data() + directory.place.end;
    storeInteger(to, static_cast<std::uint16_t>(directory.fields.size()), m_order);
    to += 2;
    for (auto const& [entry, value] : directory.fields) {
        storeInteger(to, entry.tag, m_order);
        storeInteger(to + 2, static_cast<std::uint16_t>(entry.type), m_order);
        storeInteger(to + 4, entry.count, m_order);
        std::copy(entry.field.begin(), entry.field.end(), to + 8);
        to += kEntrySize;
    }
    storeInteger(to, directory.next, m_order);
    std::fill(to + 4, end, std::uint8_t {0});
}

void ExifEditor::writeHeader()
{
    m_bytes.assign(kHeaderSize, m_order == ByteOrder::Little ? 'I' : 'M');
    storeInteger<std::uint16_t>(m_bytes.data() + 2, 42, m_order);
}

Bytes ExifEditor::finish()
{
    auto const isChanged = [](Directory const& directory) { return directory.changed; };
    if (std::none_of(m_directories.begin(), m_directories.end(), isChanged))
        return std::move(m_bytes);
    if (m_bytes.empty())
        writeHeader();
    moveOutgrownDirectories();
    if (at(Image).fields.empty())
        return {};
    placeValues();
    cutFreeEnd();
    for (auto const& directory : m_directories) {
        if (directory.changed && !directory.fields.empty())
            writeDirectory(directory);
    }
    storeInteger(m_bytes.data() + 4, static_cast<std::uint32_t>(at(Image).place.begin), m_order);
    return std::move(m_bytes);
}

} // namespace velk::codec
