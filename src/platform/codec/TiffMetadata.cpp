#include "platform/codec/TiffMetadata.h"

#include "platform/codec/TiffDirectoryBuilder.h"
#include "platform/codec/TiffStructure.h"
#include "platform/codec/TiffTags.h"

#include <sys/mman.h>

#include <algorithm>

namespace velk::codec::tiff {

namespace {

constexpr std::uint64_t kLargestBlock = std::uint64_t {64} << 20;
constexpr std::uint64_t kLargestReadFile = 1 << 20;
constexpr std::uint16_t kPhotoshopIptcDigest = 0x0425;
constexpr std::uint8_t kIptcMarker = 0x1C;

bool isDescriptive(Entry const& entry)
{
    return !isStructural(entry.tag) || entry.tag == tag::kExifIfd || entry.tag == tag::kGpsIfd;
}

// A file's content for a short while, mapped where it is large.
class FileContent {
public:
    explicit FileContent(InputFile const& file)
    {
        if (file.size() <= kLargestReadFile) {
            m_bytes = file.readAll(kLargestReadFile).value_or(Bytes());
            m_content = m_bytes;
            return;
        }
        auto* const mapped = ::mmap(nullptr, file.size(), PROT_READ, MAP_PRIVATE, file.descriptor(), 0);
        if (mapped != MAP_FAILED) {
            m_content = ByteSpan(static_cast<std::uint8_t const*>(mapped), file.size());
            m_mapping = mapped;
        }
    }
    FileContent(FileContent const&) = delete;
    ~FileContent()
    {
        if (m_mapping)
            ::munmap(m_mapping, m_content.size());
    }

    ByteSpan content() const { return m_content; }

private:
    Bytes m_bytes;
    ByteSpan m_content;
    void* m_mapping = nullptr;
};

// Copies the entries of a directory, values included, into one for a classic file. Pointers to further
// directories and what is too long are left out.
DirectoryBuilder classicCopy(
    DirectoryReader const& reader, Directory const& directory, bool (*isWanted)(Entry const&))
{
    DirectoryBuilder builder({reader.format().order, false});
    for (auto const& entry : directory.entries) {
        auto const values = isWanted(entry) && sizeOf(entry.type) > 0 && entry.type < FieldType::Ifd
            ? reader.value(entry, kLargestBlock)
            : fail("left out");
        if (values)
            builder.set({entry.tag, entry.type, entry.count, *values});
    }
    return builder;
}

// The descriptive part of a BigTIFF file as a classic TIFF structure.
Bytes classicExif(DirectoryReader const& reader, Directory const& directory)
{
    Format const format {reader.format().order, false};
    auto main = classicCopy(reader, directory, [](Entry const& entry) { return !isStructural(entry.tag); });
    Bytes block(format.headerSize());
    for (auto const pointer : {tag::kExifIfd, tag::kGpsIfd}) {
        auto const found = reader.directoryAt(directory.find(pointer));
        if (!found)
            continue;
        auto const copy = classicCopy(
            reader, *found, [](Entry const& entry) { return entry.tag != tag::kInteroperabilityIfd; });
        if (copy.isEmpty())
            continue;
        auto const layout = copy.serialise(block.size(), 0);
        append(block, ByteSpan(layout.bytes));
        block.resize(block.size() + block.size() % 2);
        main.set(longField(pointer, static_cast<std::uint32_t>(layout.directoryOffset), format.order));
    }
    if (main.isEmpty())
        return {};
    auto const layout = main.serialise(block.size(), 0);
    append(block, ByteSpan(layout.bytes));
    std::ranges::copy(fileHeader(format, layout.directoryOffset), block.begin());
    return block;
}

// IPTC data are bytes, but writers before 2000 declared them as LONG, and some then swapped them with the
// rest of the file.
Bytes readIptc(DirectoryReader const& reader, Entry const& entry)
{
    auto bytes = reader.value(entry, kLargestBlock).value_or(Bytes());
    bool const isSwapped = entry.type == FieldType::Long && bytes.size() >= 4 && bytes[0] != kIptcMarker
        && bytes[3] == kIptcMarker;
    if (isSwapped) {
        for (auto at = bytes.begin(); bytes.end() - at >= 4; at += 4)
            std::reverse(at, at + 4);
    }
    // Padding to whole LONGs is not IPTC.
    if (entry.type == FieldType::Long) {
        while (!bytes.empty() && bytes.back() == 0)
            bytes.pop_back();
    }
    return bytes;
}

Bytes findIptc(DirectoryReader const& reader, Directory const& directory)
{
    if (auto const* entry = directory.find(tag::kIptc)) {
        auto iptc = readIptc(reader, *entry);
        if (!iptc.empty() && iptc[0] == kIptcMarker)
            return iptc;
    }
    if (auto const* entry = directory.find(tag::kPhotoshop)) {
        auto const resources = reader.value(*entry, kLargestBlock);
        if (resources)
            return photoshopResource(*resources, kPhotoshopIptc);
    }
    return {};
}

/// One block of Photoshop's image resources: "8BIM", identifier, Pascal string padded to even length, size,
/// content padded to even length.
struct ResourceBlock {
    std::uint16_t identifier;
    ByteSpan whole;
    ByteSpan content;
};

// The block at the start of `bytes`, if there is one.
std::optional<ResourceBlock> firstBlock(ByteSpan bytes)
{
    constexpr std::size_t kNameAt = 6;
    if (bytes.size() < kNameAt + 6 || !startsWith(bytes, "8BIM"))
        return std::nullopt;
    auto const nameSize = (std::size_t {bytes[kNameAt]} + 2) / 2 * 2;
    auto const sizeAt = kNameAt + nameSize;
    if (sizeAt + 4 > bytes.size())
        return std::nullopt;
    auto const size = loadBE32(bytes.data() + sizeAt);
    auto const contentAt = sizeAt + 4;
    if (size > bytes.size() - contentAt)
        return std::nullopt;
    auto const end = std::min<std::size_t>(contentAt + size + size % 2, bytes.size());
    return ResourceBlock {loadBE16(bytes.data() + 4), bytes.first(end), bytes.subspan(contentAt, size)};
}

} // namespace

Metadata readMetadata(InputFile const& file, DirectoryReader const& reader, Directory const& directory)
{
    Metadata metadata;
    if (std::ranges::any_of(directory.entries, isDescriptive)) {
        if (reader.format().isBig) {
            if (auto const exif = classicExif(reader, directory); !exif.empty())
                metadata.setExif(exif);
        } else {
            FileContent const content(file);
            metadata.setExifFromTiffFile(content.content());
        }
    }
    if (auto const iptc = findIptc(reader, directory); !iptc.empty())
        metadata.setIptc(iptc);
    if (auto const* entry = directory.find(tag::kXmp)) {
        auto const packet = reader.value(*entry, kLargestBlock);
        if (packet && !packet->empty())
            metadata.setXmp(asText(*packet));
    }
    return metadata;
}

SharedBytes readProfile(DirectoryReader const& reader, Directory const& directory)
{
    auto const* const entry = directory.find(tag::kIccProfile);
    if (!entry)
        return nullptr;
    auto const profile = reader.value(*entry, kLargestBlock);
    return profile ? shareBytes(*profile) : nullptr;
}

Bytes photoshopResource(ByteSpan resources, std::uint16_t identifier)
{
    while (auto const block = firstBlock(resources)) {
        if (block->identifier == identifier)
            return {block->content.begin(), block->content.end()};
        resources = resources.subspan(block->whole.size());
    }
    return {};
}

Bytes replacingPhotoshopIptc(ByteSpan resources, ByteSpan iptc)
{
    Bytes result;
    while (auto const block = firstBlock(resources)) {
        resources = resources.subspan(block->whole.size());
        if (block->identifier == kPhotoshopIptcDigest)
            continue;
        if (block->identifier != kPhotoshopIptc) {
            append(result, block->whole);
        } else if (!iptc.empty()) {
            append(result, std::string_view("8BIM"));
            appendBE16(result, kPhotoshopIptc);
            appendBE16(result, 0);
            appendBE32(result, static_cast<std::uint32_t>(iptc.size()));
            append(result, iptc);
            result.resize(result.size() + result.size() % 2);
        }
    }
    append(result, resources);
    return result;
}

} // namespace velk::codec::tiff
