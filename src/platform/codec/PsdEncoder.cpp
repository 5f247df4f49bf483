#include "platform/codec/PsdEncoder.h"

#include "platform/codec/PixelPacking.h"
#include "platform/codec/PsdMatte.h"
#include "platform/codec/PsdSource.h"
#include "platform/codec/RunLength.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

// Of a PSD, beyond which it must be a PSB, and of a PSB.
constexpr std::int32_t kLargestSide = 30000, kLargestSideOfAll = 300000;
constexpr std::uint64_t kLargestFile = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kBlockBytes = 256 * 1024;

// The flattened picture as it is to be written.
struct PsdPlan {
    PsdMode mode = PsdMode::RGB;
    Size size;
    int depth = 8;
    PixelFormat format;
    bool isLarge = false; ///< a PSB, where lengths and offsets are wider

    std::size_t channels() const { return static_cast<std::size_t>(format.channels()); }

    // The colours of the layer, if there is one, follow those of the flattened picture and its alpha.
    std::size_t spooledPlanes() const { return channels() + (format.hasAlpha() ? channels() - 1 : 0); }

    std::size_t rowBytes() const
    {
        return (static_cast<std::size_t>(size.width) * static_cast<unsigned>(depth) + 7) / 8;
    }
    // Floating-point rows do not get shorter, and their lengths would not fit the table of row lengths.
    bool isPacked() const { return depth != 32; }
    std::uint64_t rowBound() const { return isPacked() ? packBitsBound(rowBytes()) : rowBytes(); }
    std::uint64_t planeBound() const { return rowBound() * static_cast<std::uint64_t>(size.height); }
    std::uint64_t tableBytes() const
    {
        return isPacked() ? (isLarge ? 4 : 2) * static_cast<std::uint64_t>(size.height) : 0;
    }
    PsdCompression compression() const
    {
        return isPacked() ? PsdCompression::PackBits : PsdCompression::None;
    }
    // Of a row, and of everything else that is wider in a PSB.
    void appendRowLength(Bytes& to, std::size_t length) const
    {
        if (isLarge)
            appendBE32(to, static_cast<std::uint32_t>(length));
        else
            appendBE16(to, static_cast<std::uint16_t>(length));
    }
    void appendLength(Bytes& to, std::uint64_t length) const
    {
        if (isLarge)
            appendBE32(to, static_cast<std::uint32_t>(length >> 32));
        appendBE32(to, static_cast<std::uint32_t>(length));
    }
    std::uint64_t lengthBytes() const { return isLarge ? 8 : 4; }
};

PsdMode modeOf(ColorModel model, int depth)
{
    switch (model) {
    case ColorModel::Gray:
        return depth == 1 ? PsdMode::Bitmap : PsdMode::Gray;
    case ColorModel::RGB:
        return PsdMode::RGB;
    case ColorModel::CMYK:
        return PsdMode::CMYK;
    case ColorModel::Lab:
        return PsdMode::Lab;
    case ColorModel::Indexed:
        return PsdMode::Indexed;
    }
    return PsdMode::RGB;
}

// The planes of the picture, collected behind the place where the finished file will end: their rows arrive
// interleaved, and the file wants one plane after the other, each after the lengths of its rows.
class PlaneSpool {
public:
    PlaneSpool(AtomicFile& output, PsdPlan const& plan, std::uint64_t offset)
        : m_output(&output)
        , m_plan(&plan)
        , m_planes(plan.spooledPlanes())
    {
        for (auto& plane : m_planes) {
            plane.offset = offset;
            offset += plan.planeBound();
        }
    }

    Result<void> add(std::size_t index, ByteSpan row)
    {
        auto& plane = m_planes[index];
        auto const before = plane.pending.size();
        if (m_plan->isPacked())
            appendPackBits(plane.pending, row);
        else
            append(plane.pending, row);
        if (m_plan->isPacked())
            m_plan->appendRowLength(plane.lengths, plane.pending.size() - before);
        return plane.pending.size() >= kBlockBytes ? flush(plane) : Result<void> {};
    }

    Result<void> finish()
    {
        for (auto& plane : m_planes)
            TRY(flush(plane));
        return {};
    }

    ByteSpan lengths(std::size_t index) const { return m_planes[index].lengths; }
    std::uint64_t size(std::size_t index) const { return m_planes[index].size; }

    // Hands the coded rows of a plane to `take`, block by block.
    template <typename Take> Result<void> forEachBlock(std::size_t index, Take take) const
    {
        auto const& plane = m_planes[index];
        Bytes block(std::min<std::uint64_t>(kBlockBytes, plane.size));
        for (std::uint64_t done = 0; done < plane.size;) {
            auto const part = std::min<std::uint64_t>(block.size(), plane.size - done);
            auto const count =
                ::pread(m_output->descriptor(), block.data(), part, static_cast<off_t>(plane.offset + done));
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                return fail("{}", systemMessage(count < 0 ? errno : EIO));
            TRY(take(ByteSpan(block).first(static_cast<std::size_t>(count))));
            done += static_cast<std::uint64_t>(count);
        }
        return {};
    }

private:
    struct Plane {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        Bytes lengths; ///< of the rows
        Bytes pending;
    };

    Result<void> flush(Plane& plane)
    {
        if (plane.pending.empty())
            return {};
        TRY(m_output->writeAt(plane.offset + plane.size, plane.pending));
        plane.size += plane.pending.size();
        plane.pending.clear();
        return {};
    }

    AtomicFile* m_output;
    PsdPlan const* m_plan;
    std::vector<Plane> m_planes;
};

// Writes from the start of the file on, while the spool lies further back.
class FrontWriter {
public:
    explicit FrontWriter(AtomicFile& output)
        : m_output(&output)
    {
    }
    Result<void> write(ByteSpan bytes)
    {
        TRY(m_output->writeAt(m_position, bytes));
        m_position += bytes.size();
        return {};
    }
    // Cuts off what lies behind.
    Result<void> end()
    {
        TRY(m_output->flush());
        if (::ftruncate(m_output->descriptor(), static_cast<off_t>(m_position)) != 0)
            return fail("{}", systemMessage(errno));
        return m_output->syncPosition();
    }

private:
    AtomicFile* m_output;
    std::uint64_t m_position = 0;
};

// Resources of a Photoshop source that hold true for every version of the picture: print settings, copyright
// flag, URL, light angle and the like. Paths, slices, channel names and layer states do not.
bool isKeptFromSource(std::uint16_t id)
{
    constexpr std::uint16_t kKept[] = {1011, 1034, 1035, 1037, 1049, 1054, 1062, 1071, 1082, 1083, 10000};
    return std::ranges::find(kKept, id) != std::end(kKept);
}

Result<void> appendKeptResources(Bytes& section, ImageSource const* source)
{
    auto const* psdSource = dynamic_cast<PsdSource const*>(source);
    if (!psdSource)
        return {};
    for (auto const& resource : psdSource->psd().resources) {
        if (!isKeptFromSource(resource.id))
            continue;
        Bytes data(resource.dataSize);
        TRY(psdSource->file().readExactlyAt(resource.dataOffset, data));
        appendPsdResource(section, resource.id, data);
    }
    return {};
}

void appendIndexedResources(Bytes& section, Palette const& palette)
{
    auto const number = [&](std::uint16_t id, std::size_t value) {
        Bytes data;
        appendBE16(data, static_cast<std::uint16_t>(value));
        appendPsdResource(section, id, data);
    };
    number(psd::kIndexedColorCount, palette.entries.size());
    for (std::size_t i = 0; i < palette.entries.size(); ++i) {
        if (palette.entries[i][3] == 0)
            number(psd::kTransparentIndex, i);
    }
}

// Says that the flattened picture is a true one, and who wrote the file.
Bytes versionInfo()
{
    constexpr std::string_view kProgram = "velk";
    Bytes data;
    appendBE32(data, 1);
    data.push_back(1);
    for (int name = 0; name < 2; ++name) {
        appendBE32(data, kProgram.size());
        for (auto const letter : kProgram)
            appendBE16(data, static_cast<std::uint16_t>(letter));
    }
    appendBE32(data, 1);
    return data;
}

Result<Bytes> resourcesOf(EncodeJob const& job)
{
    Bytes section;
    auto const add = [&](std::uint16_t id, ByteSpan data) {
        if (!data.empty())
            appendPsdResource(section, id, data);
    };
    if (job.resolution)
        add(psd::kResolution, psdResolution(*job.resolution));
    add(psd::kIptc, job.metadata.iptc());
    add(psd::kProfile, job.profile ? *job.profile : Bytes());
    add(psd::kExif, job.metadata.exif());
    add(psd::kXmp, asBytes(std::string_view(job.metadata.xmp())));
    add(psd::kVersionInfo, versionInfo());
    if (auto const* palette = job.rows.layout().space.palette())
        appendIndexedResources(section, *palette);
    TRY(appendKeptResources(section, job.source));
    return section;
}

Bytes colorTable(Palette const& palette)
{
    Bytes table(psd::kPaletteBytes);
    for (std::size_t i = 0; i < palette.entries.size(); ++i) {
        for (std::size_t component = 0; component < 3; ++component)
            table[component * 256 + i] = palette.entries[i][component];
    }
    return table;
}

// Everything before the layers.
Result<Bytes> headOf(EncodeJob const& job, PsdPlan const& plan)
{
    Bytes head;
    append(head, "8BPS");
    appendBE16(head, plan.isLarge ? 2 : 1);
    head.resize(head.size() + 6);
    appendBE16(head, static_cast<std::uint16_t>(plan.channels()));
    appendBE32(head, static_cast<std::uint32_t>(plan.size.height));
    appendBE32(head, static_cast<std::uint32_t>(plan.size.width));
    appendBE16(head, static_cast<std::uint16_t>(plan.depth));
    appendBE16(head, static_cast<std::uint16_t>(plan.mode));
    auto const* palette = job.rows.layout().space.palette();
    auto const modeData = palette ? colorTable(*palette) : Bytes();
    appendBE32(head, static_cast<std::uint32_t>(modeData.size()));
    append(head, modeData);
    auto const resources = TRY(resourcesOf(job));
    appendBE32(head, static_cast<std::uint32_t>(resources.size()));
    append(head, resources);
    return head;
}

// One layer as large as the picture. A negative count of layers says that the flattened picture has alpha.
struct LayerSection {
    Bytes before; ///< lengths and the layer's record
    std::vector<std::size_t> planes; ///< in the order in which the layer holds them
    Bytes after; ///< padding and what follows the layers
};

Bytes layerRecord(PsdPlan const& plan, PlaneSpool const& spool, std::span<std::size_t const> planes)
{
    constexpr std::string_view kName = "\x07Layer 0";
    Bytes record;
    appendBE16(record, 0xFFFF);
    appendBE32(record, 0);
    appendBE32(record, 0);
    appendBE32(record, static_cast<std::uint32_t>(plan.size.height));
    appendBE32(record, static_cast<std::uint32_t>(plan.size.width));
    appendBE16(record, static_cast<std::uint16_t>(plan.channels()));
    for (auto const plane : planes) {
        bool const isAlpha = plane + 1 == plan.channels();
        appendBE16(record, isAlpha ? 0xFFFF : static_cast<std::uint16_t>(plane - plan.channels()));
        plan.appendLength(record, 2 + spool.lengths(plane).size() + spool.size(plane));
    }
    append(record, "8BIMnorm");
    append(record, Bytes {255, 0, 0, 0}); // opacity, clipping, flags, filler
    appendBE32(record, static_cast<std::uint32_t>(8 + kName.size()));
    appendBE32(record, 0); // no mask
    appendBE32(record, 0); // no blending ranges
    append(record, kName);
    return record;
}

LayerSection layerSection(PsdPlan const& plan, PlaneSpool const& spool)
{
    LayerSection section;
    if (!plan.format.hasAlpha()) {
        plan.appendLength(section.before, 0);
        return section;
    }
    section.planes.push_back(plan.channels() - 1);
    for (std::size_t plane = plan.channels(); plane < plan.spooledPlanes(); ++plane)
        section.planes.push_back(plane);

    auto const record = layerRecord(plan, spool, section.planes);
    auto length = std::uint64_t {record.size()};
    for (auto const plane : section.planes)
        length += 2 + spool.lengths(plane).size() + spool.size(plane);
    section.after.resize((4 - length % 4) % 4);
    length += section.after.size();

    // Layers of more than eight bits lie in a block of additional information behind the empty usual place.
    constexpr std::uint64_t kMaskLength = 4, kBlockMark = 8;
    if (plan.depth == 8) {
        plan.appendLength(section.before, plan.lengthBytes() + length + kMaskLength);
        plan.appendLength(section.before, length);
        section.after.resize(section.after.size() + kMaskLength); // no global mask
    } else {
        plan.appendLength(
            section.before, plan.lengthBytes() + kMaskLength + kBlockMark + plan.lengthBytes() + length);
        plan.appendLength(section.before, 0);
        appendBE32(section.before, 0);
        append(section.before, plan.depth == 16 ? "8BIMLr16" : "8BIMLr32");
        plan.appendLength(section.before, length);
    }
    append(section.before, record);
    return section;
}

Bytes compressionMark(PsdPlan const& plan)
{
    Bytes mark;
    appendBE16(mark, static_cast<std::uint16_t>(plan.compression()));
    return mark;
}

Result<void> writeSections(ByteSpan head, PsdPlan const& plan, PlaneSpool const& spool, FrontWriter& writer)
{
    auto const write = [&](ByteSpan bytes) { return writer.write(bytes); };
    TRY(write(head));
    auto const layers = layerSection(plan, spool);
    TRY(write(layers.before));
    for (auto const plane : layers.planes) {
        TRY(write(compressionMark(plan)));
        TRY(write(spool.lengths(plane)));
        TRY(spool.forEachBlock(plane, write));
    }
    TRY(write(layers.after));

    TRY(write(compressionMark(plan)));
    for (std::size_t plane = 0; plane < plan.channels(); ++plane)
        TRY(write(spool.lengths(plane)));
    for (std::size_t plane = 0; plane < plan.channels(); ++plane)
        TRY(spool.forEachBlock(plane, write));
    return writer.end();
}

// Cuts a row into planes as the file holds them: big-endian, ink inverted, bits packed with 1 for black.
class RowSplitter {
public:
    explicit RowSplitter(PsdPlan const& plan)
        : m_plan(&plan)
        , m_plane(static_cast<std::size_t>(plan.size.width) * std::max(plan.depth / 8, 1))
    {
    }

    ByteSpan plane(std::uint8_t const* row, std::size_t index)
    {
        auto const width = static_cast<std::size_t>(m_plan->size.width);
        if (m_plan->depth == 1) {
            reduceFromFullRange(row, 1, width, m_plane.data());
            std::ranges::transform(m_plane, m_plane.begin(), [](std::uint8_t white) { return white ^ 1; });
            packSamples(m_plane.data(), 1, width, m_plane.data());
            return ByteSpan(m_plane).first(m_plan->rowBytes());
        }
        auto const size = static_cast<std::size_t>(m_plan->depth / 8);
        copySpaced(row + index * size, m_plane.data(), width, size, {.from = m_plan->channels()});
        if (m_plan->mode == PsdMode::CMYK && index < 4)
            invertComponents(m_plane.data(), width, size);
        swapBigEndian(m_plane.data(), width, size, m_plane.data());
        return m_plane;
    }

private:
    PsdPlan const* m_plan;
    Bytes m_plane;
};

Result<void> spoolRows(RowSource& rows, PsdPlan const& plan, PlaneSpool& spool)
{
    RowSplitter splitter(plan);
    Bytes row(rows.rowBytes());
    while (rows.rowsLeft() > 0) {
        TRY(rows.read({row.data(), row.size(), 1}));
        for (auto plane = plan.channels(); plane < plan.spooledPlanes(); ++plane)
            TRY(spool.add(plane, splitter.plane(row.data(), plane - plan.channels())));
        if (plan.format.hasAlpha())
            addWhiteMatte(row.data(), static_cast<std::size_t>(plan.size.width), plan.format);
        for (std::size_t plane = 0; plane < plan.channels(); ++plane)
            TRY(spool.add(plane, splitter.plane(row.data(), plane)));
    }
    return spool.finish();
}

// With a head and all that lies around and in the layer.
std::uint64_t largestSize(PsdPlan const& plan, ByteSpan head)
{
    constexpr std::uint64_t kAroundLayer = 1024;
    auto const pictures = plan.format.hasAlpha() ? 2u : 1u;
    return head.size() + kAroundLayer
        + pictures * plan.channels() * (2 + plan.tableBytes() + plan.planeBound());
}

Result<void> encode(EncodeJob const& job, PsdPlan const& plan, ByteSpan head, AtomicFile& output)
{
    PlaneSpool spool(output, plan, largestSize(plan, head));
    TRY(spoolRows(job.rows, plan, spool));
    FrontWriter writer(output);
    return writeSections(head, plan, spool, writer);
}

} // namespace

Result<void> encodePsd(EncodeJob const& job, AtomicFile& output)
{
    auto const& layout = job.rows.layout();
    auto const longest = std::max(layout.size.width, layout.size.height);
    if (longest > kLargestSideOfAll)
        return fail("a Photoshop file has at most {} pixels on a side", kLargestSideOfAll);
    auto const* const source = dynamic_cast<PsdSource const*>(job.source);
    PsdPlan plan {
        .mode = modeOf(layout.format.model, job.bitsPerComponent),
        .size = layout.size,
        .depth = job.bitsPerComponent,
        .format = layout.format,
        .isLarge = longest > kLargestSide || (source && source->psd().isLarge),
    };
    auto const head = TRY(headOf(job, plan));
    if (!plan.isLarge && largestSize(plan, head) > kLargestFile) {
        plan.isLarge = true;
        return encode(job, plan, TRY(headOf(job, plan)), output);
    }
    return encode(job, plan, head, output);
}

} // namespace velk::codec
