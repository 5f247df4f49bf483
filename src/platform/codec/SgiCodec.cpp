#include "platform/codec/Codecs.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/FixedText.h"
#include "platform/codec/PixelPacking.h"
#include "platform/codec/RunLength.h"
#include "platform/codec/StoredRows.h"

#include <algorithm>
#include <limits>

namespace velk::codec {

using namespace graphics;

namespace {

// The SGI Image File Format, version 1.00: a header of 512 bytes, then planes from the bottom row up.
constexpr std::string_view kType = "com.sgi.sgi-image";
constexpr std::string_view kDictionary = "{SGI}";
constexpr std::string_view kNameKey = "ImageName";
constexpr std::uint16_t kMagic = 0x01DA;
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kNameOffset = 24;
constexpr std::size_t kNameSize = 80;
constexpr std::size_t kColorMapOffset = 104;
constexpr int kMostChannels = 4;

struct SgiHeader {
    bool isRunLengthCoded = false;
    std::size_t componentBytes = 1;
    Size size;
    int channels = 1; ///< those that count: more than four stand for nothing known
    int storedChannels = 1;
    std::string name;

    std::uint64_t rowBytes() const { return static_cast<std::uint64_t>(size.width) * componentBytes; }
    std::uint64_t planeBytes() const { return rowBytes() * static_cast<std::uint64_t>(size.height); }
    std::uint64_t tableEntries() const
    {
        return static_cast<std::uint64_t>(size.height) * static_cast<unsigned>(storedChannels);
    }
};

bool matches(ByteSpan head, InputFile const&)
{
    return head.size() >= 12 && loadBE16(head.data()) == kMagic && head[2] <= 1
        && (head[3] == 1 || head[3] == 2);
}

Result<SgiHeader> parseHeader(InputFile const& file)
{
    std::array<std::uint8_t, kHeaderSize> bytes;
    TRY(file.readExactlyAt(0, bytes));
    auto const dimensions = loadBE16(&bytes[4]);
    if (dimensions < 1 || dimensions > 3)
        return fail("an SGI image has 1 to 3 dimensions, not {}", dimensions);
    if (loadBE32(&bytes[kColorMapOffset]) != 0)
        return fail("SGI images with colour maps are not supported");
    SgiHeader header {
        .isRunLengthCoded = bytes[2] == 1,
        .componentBytes = bytes[3],
        .size = {loadBE16(&bytes[6]), dimensions == 1 ? 1 : loadBE16(&bytes[8])},
        .storedChannels = dimensions < 3 ? 1 : loadBE16(&bytes[10]),
        .name = readFixedText(ByteSpan(bytes).subspan(kNameOffset, kNameSize)),
    };
    header.channels = std::min(header.storedChannels, kMostChannels);
    if (header.size.isEmpty() || header.channels < 1)
        return fail("the SGI header makes no sense");
    return header;
}

// Reading

// Where the coded rows lie, by row from the bottom within plane.
struct RowTable {
    std::vector<std::uint32_t> starts, lengths;
};

Result<RowTable> readTable(InputFile const& file, SgiHeader const& header)
{
    // The lengths follow the starts of all planes, those of the planes that are left out included.
    auto const wanted = static_cast<std::size_t>(header.size.height) * static_cast<unsigned>(header.channels);
    Bytes bytes(wanted * 4);
    RowTable table;
    for (auto* part : {&table.starts, &table.lengths}) {
        auto const skipped = part == &table.lengths ? header.tableEntries() * 4 : 0;
        TRY(file.readExactlyAt(kHeaderSize + skipped, bytes));
        for (std::size_t i = 0; i < wanted; ++i)
            part->push_back(loadBE32(bytes.data() + i * 4));
    }
    return table;
}

// Codes are as wide as components; the low seven bits of one count, the eighth tells literals from a run.
std::size_t unpackRow(ByteSpan coded, std::size_t componentBytes, std::span<std::uint8_t> row)
{
    auto const units = coded.size() / componentBytes;
    std::size_t in = 0;
    std::size_t out = 0;
    while (in < units && out < row.size()) {
        unsigned const code = coded[in++ * componentBytes + componentBytes - 1];
        std::size_t count = code & 0x7F;
        if (count == 0)
            break;
        bool const isLiteral = (code & 0x80) != 0;
        count = std::min(count, (row.size() - out) / componentBytes);
        if (isLiteral)
            count = std::min(count, units - in);
        else if (in == units)
            break;
        for (std::size_t i = 0; i < count; ++i, out += componentBytes)
            std::copy_n(&coded[(isLiteral ? in + i : in) * componentBytes], componentBytes, row.data() + out);
        in += isLiteral ? count : 1;
    }
    std::fill(row.begin() + static_cast<std::ptrdiff_t>(out), row.end(), std::uint8_t {0});
    return out;
}

class RunLengthPlane final : public StoredRows {
public:
    RunLengthPlane(
        InputFile const& file, SgiHeader const& header, std::shared_ptr<RowTable const> table, int plane)
        : m_file(&file)
        , m_componentBytes(header.componentBytes)
        , m_table(std::move(table))
        , m_end(static_cast<std::size_t>(header.size.height) * static_cast<unsigned>(plane + 1))
    {
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        --m_end;
        // The worst sensible code has one count a component; what a table says beyond that is not needed.
        auto const longest = 2 * row.size() + 2 * m_componentBytes;
        m_coded.resize(std::min<std::size_t>(m_table->lengths[m_end], longest));
        auto const found = TRY(m_file->readAt(m_table->starts[m_end], m_coded));
        return unpackRow(ByteSpan(m_coded).first(found), m_componentBytes, row);
    }

private:
    InputFile const* m_file;
    std::size_t m_componentBytes;
    std::shared_ptr<RowTable const> m_table;
    std::size_t m_end;
    Bytes m_coded;
};

class SgiSource final : public RawImageSource {
public:
    SgiSource(InputFile file, SgiHeader header)
        : RawImageSource(kType, std::move(file))
        , m_header(std::move(header))
    {
    }

    Result<void> load()
    {
        auto const pixels = m_header.planeBytes() * static_cast<unsigned>(m_header.channels);
        auto const table = m_header.tableEntries() * 8;
        auto const needed = m_header.isRunLengthCoded ? PixelDataSize {table + 2, table + pixels / 64}
                                                      : PixelDataSize {m_header.rowBytes(), pixels};
        TRY(checkPixelData(file(), m_header.size, kHeaderSize, needed));
        bool const isColor = m_header.channels >= 3;
        bool const hasAlpha = m_header.channels % 2 == 0;
        auto const model = isColor ? ColorModel::RGB : ColorModel::Gray;
        auto& info = editDescription().info;
        info.layout = {m_header.size,
            {m_header.componentBytes == 1 ? ComponentType::UInt8 : ComponentType::UInt16, model,
                hasAlpha ? Alpha::Straight : Alpha::None},
            ColorSpace::device(model)};
        info.bitsPerComponent = static_cast<int>(m_header.componentBytes) * 8;

        auto& properties = subDictionary(editDescription().formatProperties, kDictionary);
        set(properties, "Compression", m_header.isRunLengthCoded ? "RLE" : "None");
        if (!m_header.name.empty())
            set(properties, kNameKey, m_header.name);
        return {};
    }

private:
    Result<StoredImage> openStored() const override
    {
        auto const bytes = m_header.componentBytes;
        auto const width = static_cast<std::size_t>(m_header.size.width);
        StoredImage stored {.rowBytes = static_cast<std::size_t>(m_header.rowBytes())};
        stored.decode = [bytes, width](std::span<Bytes> planes, std::uint8_t* row) {
            for (std::size_t i = 0; i < planes.size(); ++i)
                copySpaced(planes[i].data(), row + i * bytes, width, bytes, {.to = planes.size()});
            if (bytes > 1)
                swapBigEndian(row, width * planes.size(), bytes, row);
        };
        std::shared_ptr<RowTable const> table;
        if (m_header.isRunLengthCoded)
            table = std::make_shared<RowTable const>(TRY(readTable(file(), m_header)));
        for (int plane = 0; plane < m_header.channels; ++plane) {
            if (table)
                stored.planes.push_back(std::make_unique<RunLengthPlane>(file(), m_header, table, plane));
            else
                stored.planes.push_back(std::make_unique<VerbatimRows>(file(), placeOf(plane)));
        }
        return stored;
    }

    VerbatimRows::Place placeOf(int plane) const
    {
        return {kHeaderSize + static_cast<unsigned>(plane) * m_header.planeBytes(), m_header.rowBytes(),
            m_header.size.height, true};
    }

    SgiHeader m_header;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto header = TRY(parseHeader(file));
    auto source = std::make_shared<SgiSource>(std::move(file), std::move(header));
    TRY(source->load());
    return source;
}

// Writing

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB};
constexpr int kDepths[] = {8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kDepths,
    .sixteenBits = true,
};
constexpr std::int32_t kLargestSide = 65535;

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    return nearestTarget(info, kAbilities);
}

std::string nameIn(PropertyDictionary const& properties)
{
    auto const* sgi = findDictionary(properties, kDictionary);
    auto const* name = sgi ? find(*sgi, kNameKey) : nullptr;
    return name && name->asString() ? *name->asString() : std::string();
}

Bytes headerOf(PixelLayout const& layout, std::string const& name)
{
    auto const channels = layout.format.channels();
    auto const bytes = componentSize(layout.format.componentType);
    Bytes header;
    appendBE16(header, kMagic);
    header.push_back(1);
    header.push_back(static_cast<std::uint8_t>(bytes));
    appendBE16(header, channels == 1 ? 2 : 3);
    appendBE16(header, static_cast<std::uint16_t>(layout.size.width));
    appendBE16(header, static_cast<std::uint16_t>(layout.size.height));
    appendBE16(header, static_cast<std::uint16_t>(channels));
    appendBE32(header, 0);
    appendBE32(header, bytes == 1 ? 255 : 65535);
    appendBE32(header, 0);
    append(header, fixedText(name, kNameSize));
    header.resize(kHeaderSize);
    return header;
}

void appendRuns(Bytes& coded, ByteSpan plane, std::size_t componentBytes)
{
    auto const unit = [&](std::size_t i) { return plane.subspan(i * componentBytes, componentBytes); };
    auto const code = [&](std::size_t value) {
        coded.resize(coded.size() + componentBytes - 1);
        coded.push_back(static_cast<std::uint8_t>(value));
    };
    splitIntoRuns(
        plane.size() / componentBytes, {.longest = 127},
        [&](std::size_t i, std::size_t j) { return std::ranges::equal(unit(i), unit(j)); },
        [&](std::size_t start, std::size_t length) {
            code(length);
            append(coded, unit(start));
        },
        [&](std::size_t start, std::size_t length) {
            code(0x80 | length);
            append(coded, plane.subspan(start * componentBytes, length * componentBytes));
        });
    code(0);
}

// The row table may name rows in any order, so they are written as they come.
Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    auto const& layout = job.rows.layout();
    if (layout.size.width > kLargestSide || layout.size.height > kLargestSide)
        return fail("an SGI image has at most {} pixels on a side", kLargestSide);
    auto const width = static_cast<std::size_t>(layout.size.width);
    auto const height = static_cast<std::size_t>(layout.size.height);
    auto const channels = static_cast<std::size_t>(layout.format.channels());
    auto const bytes = componentSize(layout.format.componentType);
    auto const entries = height * channels;
    TRY(output.write(headerOf(layout, nameIn(job.properties))));
    TRY(output.write(Bytes(entries * 8)));

    Bytes table(entries * 8);
    Bytes row(layout.rowBytes());
    Bytes plane(width * bytes);
    Bytes coded;
    for (std::size_t y = height; y-- > 0;) {
        TRY(job.rows.read({row.data(), row.size(), 1}));
        swapBigEndian(row.data(), width * channels, bytes, row.data());
        for (std::size_t channel = 0; channel < channels; ++channel) {
            copySpaced(row.data() + channel * bytes, plane.data(), width, bytes, {.from = channels});
            coded.clear();
            appendRuns(coded, plane, bytes);
            auto const start = output.position();
            if (start + coded.size() > std::numeric_limits<std::uint32_t>::max())
                return fail("the image is too large for an SGI file (4 GB)");
            auto* const entry = table.data() + (channel * height + y) * 4;
            storeInteger(entry, static_cast<std::uint32_t>(start), ByteOrder::Big);
            storeInteger(entry + entries * 4, static_cast<std::uint32_t>(coded.size()), ByteOrder::Big);
            TRY(output.write(coded));
        }
    }
    return output.writeAt(kHeaderSize, table);
}

} // namespace

constinit Codec const kSgiCodec = {
    .type = kType,
    .carries = {},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
