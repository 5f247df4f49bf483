#include "platform/codec/Jpeg2000Boxes.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

namespace {

constexpr std::size_t kMaximumBoxes = 100'000;
constexpr std::uint64_t kLargestPayload = 64 << 20;

constexpr std::uint8_t kEnumeratedMethod = 1;
constexpr std::uint8_t kRestrictedProfileMethod = 2;
constexpr std::uint8_t kAnyProfileMethod = 3;
constexpr std::size_t kColorHeaderSize = 3;

Result<std::optional<Jp2Box>> readBox(InputFile const& file, std::uint64_t offset, std::uint64_t end)
{
    std::array<std::uint8_t, 16> header;
    auto const available = TRY(file.readAt(offset, header));
    if (available < 8 || offset + 8 > end)
        return std::nullopt;
    Jp2Box box {.type = FourCC(loadBE32(&header[4])), .offset = offset};
    std::uint64_t length = loadBE32(&header[0]);
    if (length == 1 && available == 16) {
        box.headerLength = 16;
        length = loadBE64(&header[8]);
    } else if (length == 0) {
        length = end - offset;
    }
    if (length < box.headerLength || offset + box.headerLength > end)
        return std::nullopt;
    box.length = std::min(length, end - offset);
    if (box.type == jp2::kUuid && box.payloadLength() >= box.uuid.size()) {
        TRY(file.readExactlyAt(box.payload(), box.uuid));
        box.headerLength += box.uuid.size();
    }
    return box;
}

using BoxReader = void (*)(ByteSpan payload, Jp2Contents& contents);

// Range and offset of L, a and b, then the illuminant.
std::optional<std::array<Jp2LabRange, 3>> labRangesFrom(ByteSpan parameters)
{
    if (parameters.size() < 24)
        return std::nullopt;
    std::array<Jp2LabRange, 3> ranges;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        ranges[i].range = loadBE32(&parameters[8 * i]);
        ranges[i].offset = loadBE32(&parameters[8 * i + 4]);
    }
    return ranges;
}

// METH, PREC, APPROX. There may be several; the first of each kind counts.
void readColor(ByteSpan payload, Jp2Contents& contents)
{
    if (payload.size() < kColorHeaderSize)
        return;
    auto const method = payload[0];
    auto const rest = payload.subspan(kColorHeaderSize);
    if (method == kEnumeratedMethod && rest.size() >= 4 && !contents.enumeratedSpace) {
        contents.enumeratedSpace = loadBE32(rest.data());
        if (contents.enumeratedSpace == jp2::kCieLab)
            contents.labRanges = labRangesFrom(rest.subspan(4));
    }
    bool const isProfile = method == kRestrictedProfileMethod || method == kAnyProfileMethod;
    if (isProfile && contents.profile.empty())
        contents.profile.assign(rest.begin(), rest.end());
}

// Number of entries and columns, depth of each column, then the entries row by row.
void readPalette(ByteSpan payload, Jp2Contents& contents)
{
    if (payload.size() < 3)
        return;
    std::size_t const entries = loadBE16(payload.data());
    std::size_t const columns = payload[2];
    Jp2Palette palette;
    std::size_t rowSize = 0;
    for (std::size_t i = 0; i < columns && 3 + i < payload.size(); ++i) {
        palette.columns.push_back({.bits = (payload[3 + i] & 0x7F) + 1});
        rowSize += static_cast<std::size_t>(palette.columns.back().bits + 7) / 8;
    }
    bool const isPossible = entries > 0 && entries <= 1024 && columns > 0
        && std::ranges::all_of(palette.columns, [](auto const& column) { return column.bits <= 16; });
    if (!isPossible || payload.size() < 3 + columns + entries * rowSize)
        return;
    auto const* next = payload.data() + 3 + columns;
    for (std::size_t entry = 0; entry < entries; ++entry) {
        for (auto& column : palette.columns) {
            column.values.push_back(column.bits > 8 ? loadBE16(next) : *next);
            next += column.bits > 8 ? 2 : 1;
        }
    }
    contents.palette = std::move(palette);
}

void readComponentMapping(ByteSpan payload, Jp2Contents& contents)
{
    for (; payload.size() >= 4; payload = payload.subspan(4)) {
        Jp2Channel channel {.component = loadBE16(payload.data())};
        if (payload[2] == 1)
            channel.paletteColumn = payload[3];
        contents.channels.push_back(channel);
    }
}

void readChannelDefinition(ByteSpan payload, Jp2Contents& contents)
{
    if (payload.size() < 2)
        return;
    for (payload = payload.subspan(2); payload.size() >= 6; payload = payload.subspan(6))
        contents.definitions.push_back({loadBE16(&payload[0]), loadBE16(&payload[2]), loadBE16(&payload[4])});
}

constexpr struct {
    FourCC type;
    BoxReader read;
} kHeaderReaders[] = {
    {jp2::kColor, readColor},
    {jp2::kPalette, readPalette},
    {jp2::kComponentMapping, readComponentMapping},
    {jp2::kChannelDefinition, readChannelDefinition},
};

// Numerators and denominators of the vertical and the horizontal resolution in pixels per metre, then their
// decimal exponents.
std::optional<Resolution> resolutionFrom(ByteSpan payload)
{
    if (payload.size() < 10)
        return std::nullopt;
    auto const value = [&](std::size_t at, std::size_t exponentAt) {
        auto const denominator = loadBE16(&payload[at + 2]);
        auto const exponent = static_cast<std::int8_t>(payload[exponentAt]);
        return denominator == 0 ? 0 : loadBE16(&payload[at]) * std::pow(10.0, exponent) / denominator;
    };
    Resolution const resolution {value(4, 9) * kMetresPerInch, value(0, 8) * kMetresPerInch};
    // What lies outside was written by mistake.
    constexpr double kLeast = 0.01, kMost = 1e6;
    bool const isSane =
        resolution.x >= kLeast && resolution.x <= kMost && resolution.y >= kLeast && resolution.y <= kMost;
    return isSane ? std::optional(resolution) : std::nullopt;
}

Result<void> readResolution(InputFile const& file, Jp2Box const& box, Jp2Contents& contents)
{
    auto const boxes = TRY(readJp2Boxes(file, box.payload(), box.offset + box.length));
    for (auto const type : {jp2::kCaptureResolution, jp2::kDisplayResolution}) {
        auto const found = std::ranges::find(boxes, type, &Jp2Box::type);
        if (found != boxes.end() && !contents.resolution)
            contents.resolution = resolutionFrom(TRY(readJp2Payload(file, *found)));
    }
    return {};
}

Result<void> readHeaderBoxes(InputFile const& file, Jp2Contents& contents)
{
    auto const* header = contents.find(jp2::kHeader);
    if (!header)
        return {};
    contents.headerBoxes = TRY(readJp2Boxes(file, header->payload(), header->offset + header->length));
    for (auto const& box : contents.headerBoxes) {
        if (box.type == jp2::kResolution)
            TRY(readResolution(file, box, contents));
        for (auto const& reader : kHeaderReaders) {
            if (reader.type == box.type)
                reader.read(TRY(readJp2Payload(file, box)), contents);
        }
    }
    return {};
}

Result<Jp2Contents> readRaw(InputFile const& file)
{
    Jp2Contents contents {.isRaw = true};
    contents.codestream = TRY(readJpeg2000Codestream(file, 0, file.size()));
    return contents;
}

} // namespace

Jp2Box const* Jp2Contents::find(FourCC type) const
{
    auto const found = std::ranges::find(boxes, type, &Jp2Box::type);
    return found == boxes.end() ? nullptr : &*found;
}

Jp2Box const* Jp2Contents::findUuid(jp2::Uuid const& uuid) const
{
    auto const found = std::ranges::find_if(
        boxes, [&](auto const& box) { return box.type == jp2::kUuid && box.uuid == uuid; });
    return found == boxes.end() ? nullptr : &*found;
}

Result<std::vector<Jp2Box>> readJp2Boxes(InputFile const& file, std::uint64_t offset, std::uint64_t end)
{
    std::vector<Jp2Box> boxes;
    end = std::min(end, file.size());
    while (offset < end) {
        auto const box = TRY(readBox(file, offset, end));
        if (!box)
            break;
        if (boxes.size() >= kMaximumBoxes)
            return fail("the JPEG 2000 file has too many boxes");
        boxes.push_back(*box);
        offset += box->length;
    }
    return boxes;
}

Result<Bytes> readJp2Payload(InputFile const& file, Jp2Box const& box)
{
    Bytes payload;
    if (box.payloadLength() <= kLargestPayload) {
        payload.resize(box.payloadLength());
        TRY(file.readExactlyAt(box.payload(), payload));
    }
    return payload;
}

Result<Jp2Contents> readJp2Contents(InputFile const& file)
{
    std::array<std::uint8_t, 4> start = {};
    TRY(file.readAt(0, start));
    if (startsJpeg2000Codestream(start))
        return readRaw(file);

    Jp2Contents contents;
    contents.boxes = TRY(readJp2Boxes(file, 0, file.size()));
    auto const* codestream = contents.find(jp2::kCodestream);
    if (!codestream)
        return fail("the JPEG 2000 file holds no image");
    contents.codestreamCount =
        static_cast<int>(std::ranges::count(contents.boxes, jp2::kCodestream, &Jp2Box::type));
    std::array<std::uint8_t, 4> marker = {};
    TRY(file.readAt(codestream->payload(), marker));
    if (codestream->payloadLength() < marker.size() || !startsJpeg2000Codestream(marker))
        return fail("the JPEG 2000 header is damaged");
    contents.codestream =
        TRY(readJpeg2000Codestream(file, codestream->payload(), codestream->payloadLength()));
    TRY(readHeaderBoxes(file, contents));
    return contents;
}

} // namespace velk::codec
