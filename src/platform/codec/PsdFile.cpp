#include "platform/codec/PsdFile.h"

#include "base/FourCC.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

// Adobe Photoshop File Formats Specification; all numbers are big-endian.
constexpr std::size_t kMostResources = 65536;
constexpr std::size_t kResolutionInfoSize = 16;

// Reads numbers one after the other.
class Cursor {
public:
    Cursor(InputFile const& file, std::uint64_t offset)
        : m_reader(file, offset, 4096)
    {
    }

    std::uint64_t position() const { return m_reader.position(); }
    void seek(std::uint64_t offset) { m_reader.seek(offset); }

    template <typename T> Result<T> number()
    {
        std::array<std::uint8_t, sizeof(T)> bytes;
        TRY(m_reader.readExactly(bytes));
        return loadInteger<T>(bytes.data(), ByteOrder::Big);
    }
    // Lengths have eight bytes where PSB widens them.
    Result<std::uint64_t> length(bool isLarge)
    {
        if (isLarge)
            return number<std::uint64_t>();
        return std::uint64_t {TRY(number<std::uint32_t>())};
    }

private:
    BufferedReader m_reader;
};

Result<std::uint64_t> sectionEnd(InputFile const& file, Cursor const& cursor, std::uint64_t length)
{
    if (cursor.position() > file.size() || length > file.size() - cursor.position())
        return fail("a section of the Photoshop file reaches beyond its end");
    return cursor.position() + length;
}

bool isKnownMode(std::uint16_t mode)
{
    constexpr std::uint16_t kModes[] = {0, 1, 2, 3, 4, 7, 8, 9};
    return std::ranges::find(kModes, mode) != std::end(kModes);
}

Result<void> readHeader(InputFile const& file, PsdFile& psd)
{
    std::array<std::uint8_t, psd::kHeaderSize> bytes;
    TRY(file.readExactlyAt(0, bytes));
    auto const version = loadBE16(&bytes[4]);
    auto const height = loadBE32(&bytes[14]);
    auto const width = loadBE32(&bytes[18]);
    auto const mode = loadBE16(&bytes[24]);
    constexpr std::uint32_t kLargestSide = 300000;
    constexpr int kMostChannels = 56;
    psd.isLarge = version == 2;
    psd.channels = loadBE16(&bytes[12]);
    psd.depth = loadBE16(&bytes[22]);
    if (!startsWith(bytes, "8BPS") || version < 1 || version > 2)
        return fail("not a Photoshop file of a known version");
    if (width > kLargestSide || height > kLargestSide || !isKnownMode(mode) || psd.channels < 1
        || psd.channels > kMostChannels)
        return fail("the header of the Photoshop file makes no sense");
    psd.size = {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    psd.mode = static_cast<PsdMode>(mode);
    if (!isPossible(psd.size))
        return fail("an image of {} x {} pixels is not possible", width, height);
    return {};
}

Result<PsdResource> readResource(Cursor& cursor, std::uint64_t end)
{
    PsdResource resource {.start = cursor.position()};
    TRY(cursor.number<std::uint32_t>()); // '8BIM', or the mark of another program
    resource.id = TRY(cursor.number<std::uint16_t>());
    std::uint64_t const nameLength = TRY(cursor.number<std::uint8_t>());
    // The length byte and the name together are padded to an even number.
    cursor.seek(cursor.position() + nameLength + (nameLength + 1) % 2);
    resource.dataSize = TRY(cursor.number<std::uint32_t>());
    resource.dataOffset = cursor.position();
    resource.end = resource.dataOffset + resource.dataSize + resource.dataSize % 2;
    if (resource.dataOffset + resource.dataSize > end)
        return fail("a resource reaches beyond its section");
    // The padding of the last one is sometimes left out.
    resource.end = std::min(resource.end, end);
    return resource;
}

bool isOneOf(std::uint32_t code, std::span<FourCC const> codes)
{
    return std::ranges::find(codes, FourCC(code)) != codes.end();
}

// Adobe's own mark and those of the other programs that are known to add resources.
constexpr FourCC kResourceMarks[] = {
    FourCC("8BIM"), FourCC("MeSa"), FourCC("AgHg"), FourCC("PHUT"), FourCC("DCSR")};

void readResources(Cursor& cursor, PsdFile& psd)
{
    psd.resourcesParsedEnd = psd.resourcesOffset;
    while (psd.resourcesParsedEnd + 12 <= psd.resourcesEnd && psd.resources.size() < kMostResources) {
        cursor.seek(psd.resourcesParsedEnd);
        auto const mark = cursor.number<std::uint32_t>();
        if (!mark || !isOneOf(*mark, kResourceMarks))
            break;
        cursor.seek(psd.resourcesParsedEnd);
        auto const resource = readResource(cursor, psd.resourcesEnd);
        if (!resource)
            break;
        psd.resources.push_back(*resource);
        psd.resourcesParsedEnd = resource->end;
    }
}

void takeLayerCount(PsdFile& psd, std::int16_t count)
{
    psd.layerCount = std::abs(int {count});
    psd.hasMergedAlpha = psd.hasMergedAlpha || count < 0;
}

// Blocks of additional layer information, by key.
constexpr FourCC kBlockMarks[] = {FourCC("8BIM"), FourCC("8B64")};
constexpr FourCC kLayerBlocks[] = {FourCC("Lr16"), FourCC("Lr32"), FourCC("Layr")};
constexpr FourCC kMergedAlphaBlocks[] = {FourCC("Mt16"), FourCC("Mt32"), FourCC("Mtrn")};
// Their lengths have eight bytes in PSB.
constexpr FourCC kLongBlocks[] = {FourCC("LMsk"), FourCC("Lr16"), FourCC("Lr32"), FourCC("Layr"),
    FourCC("Mt16"), FourCC("Mt32"), FourCC("Mtrn"), FourCC("Alph"), FourCC("FMsk"), FourCC("lnk2"),
    FourCC("FEid"), FourCC("FXid"), FourCC("PxSD")};

// The blocks of additional information, among which the layers of 16- and 32-bit images are.
Result<void> readAdditionalBlocks(Cursor& cursor, PsdFile& psd)
{
    while (cursor.position() + 12 <= psd.layersEnd) {
        auto const mark = TRY(cursor.number<std::uint32_t>());
        if (!isOneOf(mark, kBlockMarks))
            break;
        auto const key = TRY(cursor.number<std::uint32_t>());
        auto const length = TRY(cursor.length(psd.isLarge && isOneOf(key, kLongBlocks)));
        auto const start = cursor.position();
        if (length > psd.layersEnd - start)
            break;
        if (isOneOf(key, kLayerBlocks) && length >= 2)
            takeLayerCount(psd, TRY(cursor.number<std::int16_t>()));
        if (isOneOf(key, kMergedAlphaBlocks))
            psd.hasMergedAlpha = true;
        cursor.seek(start + (length + 3) / 4 * 4);
    }
    return {};
}

Result<void> readLayers(Cursor& cursor, PsdFile& psd)
{
    if (psd.layersEnd - psd.layersOffset < 8)
        return {};
    cursor.seek(psd.layersOffset);
    auto const length = TRY(cursor.length(psd.isLarge));
    auto const start = cursor.position();
    if (start > psd.layersEnd || length > psd.layersEnd - start)
        return {};
    if (length >= 2)
        takeLayerCount(psd, TRY(cursor.number<std::int16_t>()));
    cursor.seek(start + length);
    if (cursor.position() + 4 > psd.layersEnd)
        return {};
    auto const maskLength = TRY(cursor.number<std::uint32_t>());
    cursor.seek(cursor.position() + maskLength);
    return readAdditionalBlocks(cursor, psd);
}

} // namespace

PsdResource const* PsdFile::resource(std::uint16_t id) const
{
    auto const found = std::ranges::find(resources, id, &PsdResource::id);
    return found == resources.end() ? nullptr : &*found;
}

Result<PsdFile> readPsdFile(InputFile const& file)
{
    PsdFile psd;
    TRY(readHeader(file, psd));
    Cursor cursor(file, psd::kHeaderSize);
    psd.modeDataSize = TRY(cursor.number<std::uint32_t>());
    psd.modeDataOffset = cursor.position();
    cursor.seek(TRY(sectionEnd(file, cursor, psd.modeDataSize)));

    auto const resourcesLength = TRY(cursor.number<std::uint32_t>());
    psd.resourcesOffset = cursor.position();
    psd.resourcesEnd = TRY(sectionEnd(file, cursor, resourcesLength));
    readResources(cursor, psd);

    cursor.seek(psd.resourcesEnd);
    auto const layersLength = TRY(cursor.length(psd.isLarge));
    psd.layersOffset = cursor.position();
    psd.layersEnd = TRY(sectionEnd(file, cursor, layersLength));
    // Layers are only counted; what is wrong with them does not touch the flattened picture.
    [[maybe_unused]] auto const counted = readLayers(cursor, psd);

    cursor.seek(psd.layersEnd);
    auto const compression = TRY(cursor.number<std::uint16_t>());
    if (compression > static_cast<std::uint16_t>(PsdCompression::ZipWithPrediction))
        return fail("compression {} of Photoshop files is not known", compression);
    psd.compression = static_cast<PsdCompression>(compression);
    psd.pixelOffset = cursor.position();
    return psd;
}

Bytes readPsdResource(InputFile const& file, PsdFile const& psd, std::uint16_t id, std::size_t limit)
{
    auto const* resource = psd.resource(id);
    if (!resource || resource->dataSize > limit)
        return {};
    Bytes data(resource->dataSize);
    if (!file.readExactlyAt(resource->dataOffset, data))
        return {};
    return data;
}

void appendPsdResource(Bytes& section, std::uint16_t id, ByteSpan data)
{
    append(section, "8BIM");
    appendBE16(section, id);
    appendBE16(section, 0);
    appendBE32(section, static_cast<std::uint32_t>(data.size()));
    append(section, data);
    if (data.size() % 2 != 0)
        section.push_back(0);
}

// 16.16 fixed point, always in pixels per inch; the unit beside each number is only the one to show it in.
std::optional<Resolution> parsePsdResolution(ByteSpan data)
{
    if (data.size() < kResolutionInfoSize)
        return std::nullopt;
    auto const x = loadBE32(data.data());
    auto const y = loadBE32(data.data() + 8);
    // Writers that know no resolution leave a fraction of a pixel there.
    constexpr std::uint32_t kLeast = 65536;
    if (x < kLeast || y < kLeast)
        return std::nullopt;
    return Resolution {x / 65536.0, y / 65536.0};
}

Bytes psdResolution(Resolution resolution, ByteSpan previous)
{
    constexpr std::uint16_t kPerInch = 1;
    constexpr std::uint16_t kInches = 1;
    Bytes data(previous.begin(), previous.end());
    if (data.size() < kResolutionInfoSize) {
        data.clear();
        for (int axis = 0; axis < 2; ++axis) {
            appendBE32(data, 0);
            appendBE16(data, kPerInch);
            appendBE16(data, kInches);
        }
    }
    auto const fixed = [](double value) {
        return static_cast<std::uint32_t>(std::clamp(
            std::round(value * 65536), 1.0, static_cast<double>(std::numeric_limits<std::uint32_t>::max())));
    };
    storeInteger(data.data(), fixed(resolution.x), ByteOrder::Big);
    storeInteger(data.data() + 8, fixed(resolution.y), ByteOrder::Big);
    return data;
}

} // namespace velk::codec
