#include "platform/codec/JpegHead.h"

#include "base/Reporting.h"
#include "platform/codec/JpegMultiPicture.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>
#include <cmath>

namespace velk::codec::jpeg {

using namespace std::string_view_literals;

namespace {

// Where the first segment stands, behind the start of image.
constexpr std::uint64_t kFirstSegment = 2;

struct Density {
    int x, y;
    double error; ///< largest relative deviation from what was asked for
};

Density densityIn(Resolution resolution, double unitsPerInch)
{
    auto const perUnit = [&](double perInch) {
        return static_cast<int>(std::clamp(std::round(perInch / unitsPerInch), 1.0, 65535.0));
    };
    Density density {perUnit(resolution.x), perUnit(resolution.y), 0};
    density.error = std::max(std::abs(density.x * unitsPerInch / resolution.x - 1),
        std::abs(density.y * unitsPerInch / resolution.y - 1));
    return density;
}

struct DensityKey {
    std::string_view key;
    int Jfif::*member;
    std::int64_t minimum, maximum;
};
constexpr std::array kDensityKeys = {
    DensityKey {"DensityUnit", &Jfif::unit, 0, 2},
    DensityKey {"XDensity", &Jfif::xDensity, 1, 65535},
    DensityKey {"YDensity", &Jfif::yDensity, 1, 65535},
};

} // namespace

std::uint64_t Head::Piece::size() const
{
    auto const* bytes = std::get_if<Bytes>(&content);
    return bytes ? bytes->size() : std::get<Range>(content).size;
}

Head Head::from(InputFile const& file, Header const& header, bool (*keeps)(SegmentKind kind))
{
    Head head;
    head.m_file = &file;
    for (auto const& segment : header.segments) {
        if (keeps(segment.kind))
            head.m_pieces.push_back({segment.kind, Range {segment.offset, segment.size}, segment.strayBytes});
    }
    return head;
}

void Head::replace(SegmentKind kind, Bytes segments)
{
    auto const found = std::ranges::find(m_pieces, kind, &Piece::kind);
    auto const place =
        found == m_pieces.end() ? placeFor(kind) : static_cast<std::size_t>(found - m_pieces.begin());
    std::erase_if(m_pieces, [&](auto const& piece) { return piece.kind == kind; });
    if (!segments.empty())
        m_pieces.insert(
            m_pieces.begin() + static_cast<std::ptrdiff_t>(place), {kind, std::move(segments), 0});
}

// Behind everything that conventionally comes first.
std::size_t Head::placeFor(SegmentKind kind) const
{
    auto const last = std::find_if(
        m_pieces.rbegin(), m_pieces.rend(), [&](auto const& piece) { return piece.kind < kind; });
    return static_cast<std::size_t>(m_pieces.rend() - last);
}

void Head::beginWithMarker()
{
    if (m_pieces.empty())
        return;
    auto& [kind, content, strayBytes] = m_pieces.front();
    auto* const range = std::get_if<Range>(&content);
    if (!range || range->offset == kFirstSegment)
        return;
    range->offset += strayBytes;
    range->size -= strayBytes;
    strayBytes = 0;
}

Result<void> Head::adjustMultiPictureIndex(Header const& header)
{
    auto const source = std::ranges::find(header.segments, SegmentKind::Mpf, &Segment::kind);
    auto const piece = std::ranges::find(m_pieces, SegmentKind::Mpf, &Piece::kind);
    if (source == header.segments.end() || piece == m_pieces.end())
        return {};
    auto const range = std::get<Range>(piece->content);
    auto total = kFirstSegment, before = kFirstSegment;
    for (auto const& other : m_pieces)
        total += other.size();
    for (auto other = m_pieces.begin(); other != piece; ++other)
        before += other->size();
    auto const indexShift = static_cast<std::int64_t>(before) - static_cast<std::int64_t>(range.offset);
    auto const imageShift = static_cast<std::int64_t>(total) - static_cast<std::int64_t>(header.scanOffset);

    Bytes whole(range.size);
    TRY(m_file->readExactlyAt(range.offset, whole));
    auto index = TRY(readData(*m_file, *source));
    shiftPictures(index, indexShift, imageShift);
    std::ranges::copy(index, whole.begin() + static_cast<std::ptrdiff_t>(source->dataOffset - range.offset));
    piece->content = std::move(whole);
    return {};
}

Result<void> Head::write(AtomicFile& output) const
{
    // Neighbours in the file are copied in one go.
    Range pending;
    for (auto const& piece : m_pieces) {
        auto const* range = std::get_if<Range>(&piece.content);
        if (range && pending.offset + pending.size == range->offset) {
            pending.size += range->size;
            continue;
        }
        TRY(copy(pending, output));
        pending = range ? *range : Range();
        if (!range)
            TRY(output.write(std::get<Bytes>(piece.content)));
    }
    return copy(pending, output);
}

Result<void> Head::copy(Range range, AtomicFile& output) const
{
    return range.size == 0 ? Result<void>() : output.copyFrom(*m_file, range.offset, range.size);
}

Jfif withResolution(Jfif jfif, Resolution resolution)
{
    auto const inches = densityIn(resolution, 1);
    auto const centimetres = densityIn(resolution, kCentimetresPerInch);
    constexpr double kNotable = 1e-4;
    jfif.unit = centimetres.error + kNotable < inches.error ? 2 : 1;
    auto const& density = jfif.unit == 2 ? centimetres : inches;
    jfif.xDensity = density.x;
    jfif.yDensity = density.y;
    return jfif;
}

Jfif withChanges(Jfif jfif, PropertyChanges const& changes)
{
    for (auto const& change : changes) {
        auto const known = std::ranges::find(kDensityKeys, change.key, &DensityKey::key);
        auto const* value = change.value ? change.value->asInteger() : nullptr;
        if (change.dictionary == key::kJfif && known != kDensityKeys.end() && value
            && *value >= known->minimum && *value <= known->maximum)
            jfif.*known->member = static_cast<int>(*value);
    }
    return jfif;
}

Bytes jfifSegment(Jfif const& jfif, ByteSpan thumbnail)
{
    Bytes data = {static_cast<std::uint8_t>(jfif.majorVersion), static_cast<std::uint8_t>(jfif.minorVersion),
        static_cast<std::uint8_t>(jfif.unit)};
    appendBE16(data, static_cast<std::uint16_t>(jfif.xDensity));
    appendBE16(data, static_cast<std::uint16_t>(jfif.yDensity));
    // Width and height of the thumbnail come first in it.
    if (thumbnail.empty())
        data.resize(data.size() + 2);
    append(data, thumbnail);
    Bytes segment;
    appendSegment(segment, marker::kApp0, SegmentKind::Jfif, data);
    return segment;
}

Bytes exifSegment(Metadata metadata, std::string const& path)
{
    auto const room = kMaximumPayload - signatureOf(SegmentKind::Exif).size();
    auto exif = metadata.exif();
    if (exif.size() > room) {
        metadata.setPreview({});
        exif = metadata.exif();
    }
    if (exif.size() > room) {
        reportWarning("{}: the Exif data is too large for JPEG and was left out\n", path);
        return {};
    }
    Bytes segment;
    if (!exif.empty())
        appendSegment(segment, marker::kApp1, SegmentKind::Exif, exif);
    return segment;
}

Bytes photoshopSegments(ByteSpan resources)
{
    auto const room = kMaximumPayload - signatureOf(SegmentKind::Photoshop).size();
    Bytes segments;
    while (!resources.empty()) {
        auto const part = resources.first(std::min(room, resources.size()));
        appendSegment(segments, marker::kApp13, SegmentKind::Photoshop, part);
        resources = resources.subspan(part.size());
    }
    return segments;
}

Bytes profileSegments(SharedBytes const& profile, std::string const& path)
{
    auto const room = kMaximumPayload - signatureOf(SegmentKind::Icc).size() - 2;
    constexpr std::size_t kMaximumChunks = 255;
    if (!profile || profile->empty())
        return {};
    auto const count = (profile->size() + room - 1) / room;
    if (count > kMaximumChunks) {
        reportWarning("{}: the colour profile is too large for JPEG and was left out\n", path);
        return {};
    }
    Bytes segments;
    for (std::size_t i = 0; i < count; ++i) {
        Bytes chunk = {static_cast<std::uint8_t>(i + 1), static_cast<std::uint8_t>(count)};
        append(chunk, ByteSpan(*profile).subspan(i * room).first(std::min(room, profile->size() - i * room)));
        appendSegment(segments, marker::kApp2, SegmentKind::Icc, chunk);
    }
    return segments;
}

// Adobe Technical Note 5116: version, two words of flags, and the transform (0 none, 1 YCbCr, 2 YCCK).
Bytes adobeSegment(int transform)
{
    Bytes data;
    appendBE16(data, 100);
    appendBE32(data, 0);
    data.push_back(static_cast<std::uint8_t>(transform));
    Bytes segment;
    appendSegment(segment, marker::kApp14, SegmentKind::Adobe, data);
    return segment;
}

} // namespace velk::codec::jpeg
