#include "platform/codec/TiffExifBlock.h"

#include "platform/codec/TiffReferences.h"
#include "platform/codec/TiffStructure.h"

#include <algorithm>

namespace velk::codec::tiff {

namespace {

constexpr Format kClassic {ByteOrder::Little, false};

bool isAdopted(Entry const& entry)
{
    return !isStructural(entry.tag) || entry.tag == tag::kExifIfd || entry.tag == tag::kGpsIfd;
}

// Exif and GPS data as the adopted entries reach it, the dropped ones left out.
Directory adopted(Directory const& directory)
{
    Directory kept {.offset = directory.offset};
    std::ranges::copy_if(directory.entries, std::back_inserter(kept.entries), isAdopted);
    return kept;
}

// A directory of the block in the file's own format. Maker notes stay where they are: what they point at is
// only right there.
DirectoryBuilder converted(DirectoryReader const& reader, Directory const& directory, Format file)
{
    DirectoryBuilder builder(file);
    for (auto const& entry : directory.entries) {
        auto const range = reader.outside(entry);
        if (entry.tag == tag::kMakerNote && range && range->offset >= file.headerSize()
            && reader.bytes().contains(*range)) {
            auto kept = entry;
            file.storeOffset(kept.field.data(), range->offset);
            builder.keep(kept);
        } else if (entry.tag != tag::kInteroperabilityIfd && isAdopted(entry)) {
            if (auto const values = reader.value(entry, reader.bytes().size()))
                builder.set({entry.tag, entry.type, entry.count, *values});
        }
    }
    return builder;
}

} // namespace

ExifBlock::ExifBlock(Bytes exif, Format file)
    : m_file(file)
    , m_bytes(std::move(exif))
{
    auto const reader = DirectoryReader::open(ByteSpan(m_bytes));
    auto const first = reader && reader->format() == kClassic ? reader->directory(reader->firstDirectory())
                                                              : fail("no Exif");
    if (!first) {
        m_bytes.assign(file.headerSize(), 0);
        return;
    }
    m_original = m_bytes;
    m_first = *first;
    clearWhatIsNotKept(*reader, *first);
    m_bytes.resize(std::max<std::size_t>(m_bytes.size() + m_bytes.size() % 2, file.headerSize()));
}

// Directory tables and the preview; everything that nobody accounts for may belong to a maker note.
void ExifBlock::clearWhatIsNotKept(DirectoryReader const& reader, Directory const& first)
{
    auto kept = referencedRanges(reader, adopted(first));
    auto const table = reader.format().directorySize(first.entries.size());
    auto const own = std::vector {Range {first.offset, table}};
    // The table of the adopted directory itself moves.
    kept = difference(kept, own);
    auto dropped = difference(referencedRanges(reader), kept);
    auto const end = m_bytes.size();
    for (auto const& range : dropped) {
        auto const from = m_bytes.begin() + static_cast<std::ptrdiff_t>(range.offset);
        std::fill(from,
            from + static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(range.length, end - range.offset)), 0);
    }
    // The preview usually comes last and then leaves no hole.
    while (!dropped.empty() && dropped.back().end() >= m_bytes.size()
        && dropped.back().offset >= kClassic.headerSize()) {
        m_bytes.resize(dropped.back().offset);
        dropped.pop_back();
    }
}

Bytes ExifBlock::addTo(DirectoryBuilder& directory, std::uint64_t offset) const
{
    if (m_original.empty())
        return {};
    if (m_file != kClassic)
        return addConverted(directory, offset);
    for (auto const& entry : m_first.entries) {
        if (isAdopted(entry))
            directory.keep(entry);
    }
    return {};
}

Bytes ExifBlock::addConverted(DirectoryBuilder& directory, std::uint64_t offset) const
{
    Bytes bytes;
    auto const reader = DirectoryReader::open(ByteSpan(m_original));
    if (!reader)
        return bytes;
    for (auto const& entry : m_first.entries) {
        if (!isStructural(entry.tag)) {
            if (auto const values = reader->value(entry, m_original.size()))
                directory.set({entry.tag, entry.type, entry.count, *values});
            continue;
        }
        auto const pointed = isAdopted(entry) ? reader->directoryAt(&entry) : std::nullopt;
        if (!pointed)
            continue;
        bytes.resize(bytes.size() + bytes.size() % 2);
        auto const layout = converted(*reader, *pointed, m_file).serialise(offset + bytes.size(), 0);
        append(bytes, ByteSpan(layout.bytes));
        directory.set(offsetsField(entry.tag, {layout.directoryOffset}, m_file));
    }
    return bytes;
}

} // namespace velk::codec::tiff
