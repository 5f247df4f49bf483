#include "platform/codec/TiffRewrite.h"

#include "platform/codec/PropertyKeys.h"
#include "platform/codec/TiffDirectoryBuilder.h"
#include "platform/codec/TiffMetadata.h"
#include "platform/codec/TiffReferences.h"
#include "platform/codec/TiffSource.h"

#include <algorithm>
#include <limits>
#include <set>

namespace velk::codec::tiff {

namespace {

constexpr std::uint64_t kLargestValue = std::uint64_t {64} << 20;
// Directories that grow by a few entries.
constexpr std::uint64_t kDirectoryAllowance = 1 << 20;

TiffSource const* tiffSource(RewriteJob const& job)
{
    return dynamic_cast<TiffSource const*>(&job.source);
}

// --- Exif blocks, compared entry by entry ------------------------------------------------------------------

// The values of an entry in another byte order.
Bytes reordered(Bytes values, FieldType type, ByteOrder from, ByteOrder to)
{
    bool const isFraction = type == FieldType::Rational || type == FieldType::SRational;
    auto const size = static_cast<std::ptrdiff_t>(isFraction ? 4 : sizeOf(type));
    if (from == to || size < 2)
        return values;
    for (auto at = values.begin(); values.end() - at >= size; at += size)
        std::reverse(at, at + size);
    return values;
}

// One of the directories of an Exif block, its values in the byte order of the file that is rewritten.
using FieldMap = std::map<std::uint16_t, Field>;

FieldMap fieldsOf(DirectoryReader const& reader, std::optional<Directory> const& directory, ByteOrder order)
{
    FieldMap fields;
    if (!directory)
        return fields;
    for (auto const& entry : directory->entries) {
        if (auto values = reader.value(entry, kLargestValue)) {
            auto bytes = reordered(std::move(*values), entry.type, reader.format().order, order);
            fields.try_emplace(entry.tag, Field {entry.tag, entry.type, entry.count, std::move(bytes)});
        }
    }
    return fields;
}

struct ExifFields {
    FieldMap main, exif, gps;
};

ExifFields readExifFields(Bytes const& block, ByteOrder order)
{
    auto const reader = DirectoryReader::open(ByteSpan(block));
    if (!reader)
        return {};
    auto const first = reader->directory(reader->firstDirectory());
    if (!first)
        return {};
    return {fieldsOf(*reader, *first, order),
        fieldsOf(*reader, reader->directoryAt(first->find(tag::kExifIfd)), order),
        fieldsOf(*reader, reader->directoryAt(first->find(tag::kGpsIfd)), order)};
}

bool sameField(Field const& a, Field const& b)
{
    return a.type == b.type && a.count == b.count && a.values == b.values;
}

// Where a directory differs from what it was.
struct FieldChanges {
    std::vector<Field> set;
    std::vector<std::uint16_t> removed;

    bool isEmpty() const { return set.empty() && removed.empty(); }
    void applyTo(DirectoryBuilder& builder) const
    {
        for (auto const& field : set)
            builder.set(field);
        for (auto const tag : removed)
            builder.remove(tag);
    }
};

FieldChanges compare(FieldMap const& before, FieldMap const& after, bool (*isComparable)(std::uint16_t))
{
    FieldChanges changes;
    for (auto const& [tag, field] : after) {
        auto const old = before.find(tag);
        if (isComparable(tag) && (old == before.end() || !sameField(old->second, field)))
            changes.set.push_back(field);
    }
    for (auto const& [tag, field] : before) {
        if (isComparable(tag) && !after.contains(tag))
            changes.removed.push_back(tag);
    }
    return changes;
}

bool isMainTag(std::uint16_t tag)
{
    return !isStructural(tag);
}

// Maker notes and further directories stay where they are in the file; what they hold depends on it.
bool isMovableTag(std::uint16_t tag)
{
    return tag != tag::kMakerNote && tag != tag::kInteroperabilityIfd;
}

// --- Changes to {TIFF} -------------------------------------------------------------------------------------

enum class Kind : std::uint8_t { Text, Short, Rationals };

struct PropertyRow {
    std::string_view key;
    std::uint16_t tag;
    Kind kind;
};
constexpr std::array kProperties = {
    PropertyRow {"ImageDescription", tag::kImageDescription, Kind::Text},
    PropertyRow {"Make", tag::kMake, Kind::Text},
    PropertyRow {"Model", tag::kModel, Kind::Text},
    PropertyRow {"Orientation", tag::kOrientation, Kind::Short},
    PropertyRow {"Software", tag::kSoftware, Kind::Text},
    PropertyRow {"DateTime", tag::kDateTime, Kind::Text},
    PropertyRow {"Artist", tag::kArtist, Kind::Text},
    PropertyRow {"HostComputer", tag::kHostComputer, Kind::Text},
    PropertyRow {"WhitePoint", tag::kWhitePoint, Kind::Rationals},
    PropertyRow {"PrimaryChromaticities", tag::kPrimaryChromaticities, Kind::Rationals},
    PropertyRow {"Copyright", tag::kCopyright, Kind::Text},
};

// The field for a property; nothing when the value is of another kind.
std::optional<Field> fieldFor(PropertyRow const& row, PropertyValue const& value, ByteOrder order)
{
    switch (row.kind) {
    case Kind::Text:
        if (auto const* text = value.asString())
            return textField(row.tag, *text);
        break;
    case Kind::Short:
        if (auto const* number = value.asInteger(); number && *number >= 0 && *number <= 65535)
            return shortField(row.tag, {static_cast<std::uint16_t>(*number)}, order);
        break;
    case Kind::Rationals:
        if (auto const* array = value.asArray()) {
            std::vector<double> numbers;
            std::ranges::transform(*array, std::back_inserter(numbers), &PropertyValue::number);
            return rationalField(row.tag, numbers, order);
        }
        break;
    }
    return std::nullopt;
}

// --- Rewriting ---------------------------------------------------------------------------------------------

class Rewriter {
public:
    Rewriter(RewriteJob const& job, TiffSource const& source, AtomicFile& output)
        : m_job(job)
        , m_source(source)
        , m_output(output)
        , m_format(source.reader().format())
        , m_directory(m_format)
    {
        keepEntries(source.directory(), m_directory);
    }

    Result<void> run()
    {
        TRY(m_output.copyFrom(m_source.file(), 0, m_source.file().size()));
        TRY(fillMissingData());
        if (m_job.metadataChanged) {
            TRY(changeExif());
            changeXmp();
            changeIptc();
        }
        changeProperties();
        if (m_job.profileChanged)
            changeProfile();
        if (m_job.resolution)
            changeResolution(*m_job.resolution);
        auto const first = TRY(appendDirectory(m_directory, m_source.directory().next));
        Bytes offset(m_format.offsetSize());
        m_format.storeOffset(offset.data(), first);
        TRY(m_output.writeAt(m_format.firstDirectoryField(), offset));
        return clearWhatIsUnused();
    }

private:
    // Where the file ended too early, new values must not become those of entries that had none.
    void keepEntries(Directory const& directory, DirectoryBuilder& builder) const
    {
        for (auto const& entry : directory.entries) {
            auto const values = m_source.reader().outside(entry);
            if (!values || m_source.reader().bytes().contains(*values))
                builder.keep(entry);
        }
    }

    // Nor must they become pixels: rows that are missing stay blank.
    Result<void> fillMissingData()
    {
        constexpr std::uint64_t kLongestGap = std::uint64_t {256} << 20;
        auto const end = claimedDataEnd(m_source.reader());
        if (end <= m_output.position() || end - m_output.position() > kLongestGap)
            return {};
        return m_output.writeAt(end - 1, Bytes(1));
    }

    Result<std::uint64_t> appendDirectory(DirectoryBuilder const& directory, std::uint64_t next)
    {
        if (m_output.position() % 2)
            TRY(m_output.write(Bytes(1)));
        auto const layout = directory.serialise(m_output.position(), next);
        TRY(m_output.write(layout.bytes));
        if (!m_format.isBig && m_output.position() > std::numeric_limits<std::uint32_t>::max())
            return fail("the TIFF file would become too large");
        return layout.directoryOffset;
    }

    // What differs between the Exif block as it was and as it shall be is changed in the file; the rest of
    // the file's entries are not even read.
    Result<void> changeExif()
    {
        auto const before = readExifFields(m_source.metadata().exif(), m_format.order);
        auto const after = readExifFields(m_job.metadata.exif(), m_format.order);
        compare(before.main, after.main, isMainTag).applyTo(m_directory);
        TRY(changeSubDirectory(tag::kExifIfd, before.exif, after.exif));
        return changeSubDirectory(tag::kGpsIfd, before.gps, after.gps);
    }

    Result<void> changeSubDirectory(std::uint16_t pointer, FieldMap const& before, FieldMap const& after)
    {
        if (after.empty()) {
            if (!before.empty())
                m_directory.remove(pointer);
            return {};
        }
        auto changes = compare(before, after, isMovableTag);
        // A new directory holds everything; from an old one a maker note can still be dropped.
        if (before.empty())
            changes =
                compare(before, after, [](std::uint16_t tag) { return tag != tag::kInteroperabilityIfd; });
        else if (before.contains(tag::kMakerNote) && !after.contains(tag::kMakerNote))
            changes.removed.push_back(tag::kMakerNote);
        if (changes.isEmpty())
            return {};

        DirectoryBuilder builder(m_format);
        auto const old = m_source.reader().directoryAt(m_source.directory().find(pointer));
        if (old)
            keepEntries(*old, builder);
        changes.applyTo(builder);
        auto const offset = TRY(appendDirectory(builder, old ? old->next : 0));
        m_directory.set(offsetsField(pointer, {offset}, m_format));
        return {};
    }

    void changeXmp()
    {
        auto const xmp = m_job.metadata.xmp();
        if (xmp == m_source.metadata().xmp())
            return;
        setOrRemove(tag::kXmp, FieldType::Byte, asBytes(xmp));
    }

    // IPTC data may stand in a tag of their own, among Photoshop's resources, or in both places.
    void changeIptc()
    {
        auto const iptc = m_job.metadata.iptc();
        if (iptc == m_source.metadata().iptc())
            return;
        bool isInResources = false;
        if (auto const* entry = m_source.directory().find(tag::kPhotoshop)) {
            auto const resources = m_source.reader().value(*entry, kLargestValue);
            isInResources = resources && !photoshopResource(*resources, kPhotoshopIptc).empty();
            if (isInResources)
                setOrRemove(tag::kPhotoshop, entry->type, replacingPhotoshopIptc(*resources, iptc));
        }
        if (!isInResources || m_directory.has(tag::kIptc))
            setOrRemove(tag::kIptc, FieldType::Undefined, iptc);
    }

    void changeProfile()
    {
        if (m_job.profile)
            setOrRemove(tag::kIccProfile, FieldType::Undefined, *m_job.profile);
        else
            m_directory.remove(tag::kIccProfile);
    }

    void changeResolution(Resolution resolution)
    {
        constexpr std::uint16_t kInch = 2;
        m_directory.set(rationalField(tag::kXResolution, {resolution.x}, m_format.order));
        m_directory.set(rationalField(tag::kYResolution, {resolution.y}, m_format.order));
        m_directory.set(shortField(tag::kResolutionUnit, {kInch}, m_format.order));
    }

    void changeProperties()
    {
        for (auto const& change : m_job.changes) {
            auto const row = std::ranges::find(kProperties, change.key, &PropertyRow::key);
            if (change.dictionary != key::kTiff || row == kProperties.end())
                continue;
            if (!change.value)
                m_directory.remove(row->tag);
            else if (auto field = fieldFor(*row, *change.value, m_format.order))
                m_directory.set(std::move(*field));
        }
    }

    void setOrRemove(std::uint16_t tag, FieldType type, ByteSpan bytes)
    {
        if (bytes.empty())
            m_directory.remove(tag);
        else
            m_directory.set(bytesField(tag, type, bytes));
    }

    // A removed name or place must not stay readable in the file.
    Result<void> clearWhatIsUnused()
    {
        TRY(m_output.flush());
        auto const written = TRY(InputFile::open(m_output.temporaryPath()));
        auto const after = TRY(DirectoryReader::open(written));
        auto const unused = difference(referencedRanges(m_source.reader()), referencedRanges(after));
        // What was not read would pass for unused.
        TRY(written.checkReads());
        constexpr std::uint64_t kBlock = 64 << 10;
        Bytes const zeros(kBlock);
        for (auto range : unused) {
            while (range.length > 0) {
                auto const part = ByteSpan(zeros).first(std::min(range.length, kBlock));
                TRY(m_output.writeAt(range.offset, part));
                range = {range.offset + part.size(), range.length - part.size()};
            }
        }
        return {};
    }

    RewriteJob const& m_job;
    TiffSource const& m_source;
    AtomicFile& m_output;
    Format m_format;
    DirectoryBuilder m_directory;
};

bool asksForNewCompression(RewriteJob const& job, Structure const& structure)
{
    auto const& options = job.options;
    bool const isLossy =
        structure.compression == compression::kJpeg || structure.compression == compression::kWebp;
    return (isLossy && options.quality)
        || (options.tiffCompression && *options.tiffCompression != structure.compression);
}

} // namespace

bool canRewrite(RewriteJob const& job)
{
    auto const* const source = tiffSource(job);
    if (!source || job.turn != graphics::Turn::None || asksForNewCompression(job, source->structure()))
        return false;
    if (source->reader().format().isBig)
        return true;
    auto const added = job.metadata.exif().size() + job.metadata.iptc().size() + job.metadata.xmp().size()
        + (job.profile ? job.profile->size() : 0) + kDirectoryAllowance;
    return source->file().size() + added <= std::numeric_limits<std::uint32_t>::max();
}

Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
{
    auto const* const source = tiffSource(job);
    if (!source)
        return fail("not a TIFF file");
    return Rewriter(job, *source, output).run();
}

} // namespace velk::codec::tiff
