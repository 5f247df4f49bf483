#include "platform/codec/JpegSegments.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace velk::codec::jpeg {

using namespace std::string_view_literals;

namespace {

struct Signature {
    SegmentKind kind;
    std::uint8_t marker;
    std::string_view text;
    /// Fewest bytes after the text.
    std::size_t minimumData;
};

constexpr std::array kSignatures = {
    Signature {SegmentKind::Jfif, marker::kApp0, "JFIF\0"sv, 9},
    Signature {SegmentKind::Jfxx, marker::kApp0, "JFXX\0"sv, 1},
    Signature {SegmentKind::Exif, marker::kApp1, "Exif\0\0"sv, 8},
    Signature {SegmentKind::Xmp, marker::kApp1, "http://ns.adobe.com/xap/1.0/\0"sv, 0},
    Signature {SegmentKind::ExtendedXmp, marker::kApp1, "http://ns.adobe.com/xmp/extension/\0"sv, 40},
    Signature {SegmentKind::Photoshop, marker::kApp13, "Photoshop 3.0\0"sv, 0},
    Signature {SegmentKind::Icc, marker::kApp2, "ICC_PROFILE\0"sv, 2},
    Signature {SegmentKind::Mpf, marker::kApp2, "MPF\0"sv, 8},
    Signature {SegmentKind::Adobe, marker::kApp14, "Adobe"sv, 7},
};
constexpr std::size_t kLongestSignature = 40;

// Frame headers that only name a process that is not supported.
struct UnsupportedFrame {
    std::uint8_t first, last;
    char const* name;
};
constexpr std::array kUnsupportedFrames = {
    UnsupportedFrame {0xC3, 0xC3, "lossless"},
    UnsupportedFrame {0xC5, 0xC7, "hierarchical"},
    UnsupportedFrame {0xCB, 0xCB, "lossless"},
    UnsupportedFrame {0xCD, 0xCF, "hierarchical"},
    UnsupportedFrame {0xDE, 0xDF, "hierarchical"},
    UnsupportedFrame {0xF7, 0xF7, "JPEG-LS"},
};

bool isFrameMarker(std::uint8_t marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Markers without a length: TEM and restarts.
bool standsAlone(std::uint8_t marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7);
}

bool isApplication(std::uint8_t marker)
{
    return marker >= marker::kApp0 && marker <= marker::kApp15;
}

class HeaderReader {
public:
    explicit HeaderReader(InputFile const& file)
        : m_reader(file, 0, kBufferSize)
    {
    }

    Result<Header> read()
    {
        std::array<std::uint8_t, 2> start;
        if (m_reader.read(start) != 2 || start[0] != 0xFF || start[1] != marker::kStartOfImage)
            return fail("not a JPEG file");
        while (!TRY(readSegment())) { }
        if (m_header.frame.marker == 0)
            return fail("not a valid JPEG image (the frame header is missing)");
        return std::move(m_header);
    }

private:
    // Segments mostly lie far from each other (previews, profiles) or are tiny.
    static constexpr std::size_t kBufferSize = 4096;
    static constexpr std::uint64_t kMarkerSize = 2;
    static constexpr std::size_t kMaximumSegments = 20'000;
    static constexpr std::uint64_t kMaximumStrayBytes = 64 * 1024;

    // Returns whether the first scan was reached.
    Result<bool> readSegment()
    {
        Segment segment {.offset = m_reader.position()};
        segment.marker = TRY(nextMarker());
        segment.strayBytes = m_reader.position() - kMarkerSize - segment.offset;
        if (segment.marker == marker::kStartOfScan) {
            m_header.scanOffset = segment.offset;
            return true;
        }
        TRY(checkMarker(segment.marker));
        if (!standsAlone(segment.marker))
            TRY(readPayload(segment));
        segment.size = m_reader.position() - segment.offset;
        m_header.segments.push_back(segment);
        if (m_header.segments.size() > kMaximumSegments)
            return fail("not a valid JPEG image (too many segments)");
        return false;
    }

    // Bytes that belong to nothing are skipped, as decoders do.
    Result<std::uint8_t> nextMarker()
    {
        auto const start = m_reader.position();
        auto previous = std::uint8_t {0};
        while (m_reader.position() - start < kMaximumStrayBytes) {
            auto const byte = m_reader.byte();
            if (!byte)
                return fail("the file ends before the image data");
            if (previous == 0xFF && *byte != 0xFF && *byte != 0)
                return *byte;
            previous = *byte;
        }
        return fail("not a valid JPEG image (a marker is missing)");
    }

    Result<void> checkMarker(std::uint8_t marker)
    {
        if (marker == marker::kEndOfImage)
            return fail("holds no image data");
        if (marker == marker::kStartOfImage)
            return fail("not a valid JPEG image (it starts twice)");
        for (auto const& frame : kUnsupportedFrames) {
            if (marker >= frame.first && marker <= frame.last)
                return fail("{} JPEG compression is not supported", frame.name);
        }
        return {};
    }

    Result<void> readPayload(Segment& segment)
    {
        std::array<std::uint8_t, 2> length;
        if (m_reader.read(length) != 2)
            return fail("the file ends before the image data");
        if (loadBE16(length.data()) < 2)
            return fail("not a valid JPEG image (a segment has an impossible length)");
        segment.dataOffset = m_reader.position();
        segment.dataSize = loadBE16(length.data()) - std::size_t {2};
        auto const end = segment.dataOffset + segment.dataSize;
        if (isApplication(segment.marker))
            TRY(readApplicationData(segment));
        else if (segment.marker == marker::kComment)
            segment.kind = SegmentKind::Comment;
        else if (isFrameMarker(segment.marker))
            TRY(readFrame(segment));
        m_reader.seek(end);
        return {};
    }

    Result<void> readApplicationData(Segment& segment)
    {
        segment.kind = SegmentKind::OtherApplication;
        std::array<std::uint8_t, kLongestSignature> buffer;
        auto const head = std::span(buffer).first(std::min(buffer.size(), segment.dataSize));
        TRY(m_reader.readExactly(head));
        for (auto const& signature : kSignatures) {
            if (segment.marker != signature.marker || !startsWith(head, signature.text)
                || segment.dataSize - signature.text.size() < signature.minimumData)
                continue;
            segment.kind = signature.kind;
            segment.dataOffset += signature.text.size();
            segment.dataSize -= signature.text.size();
            takeParameters(segment.kind, head.subspan(signature.text.size()));
            return {};
        }
        return {};
    }

    void takeParameters(SegmentKind kind, ByteSpan data)
    {
        if (kind == SegmentKind::Jfif && !m_header.jfif)
            m_header.jfif = Jfif {data[0], data[1], data[2], loadBE16(&data[3]), loadBE16(&data[5])};
        if (kind == SegmentKind::Adobe)
            m_header.adobeTransform = data[6];
    }

    Result<void> readFrame(Segment const& segment)
    {
        auto& frame = m_header.frame;
        if (frame.marker != 0)
            return fail("not a valid JPEG image (it has two frame headers)");
        Bytes data(segment.dataSize);
        TRY(m_reader.readExactly(data));
        if (data.size() < 6 || data.size() != 6 + std::size_t {3} * data[5])
            return fail("not a valid JPEG image (the frame header is damaged)");
        frame.marker = segment.marker;
        frame.size = {loadBE16(&data[3]), loadBE16(&data[1])};
        if (data[0] != 8)
            return fail("JPEG images with {} bits per component are not supported", data[0]);
        for (std::size_t i = 6; i < data.size(); i += 3)
            frame.components.push_back({data[i], data[i + 1] >> 4, data[i + 1] & 15});
        return checkFrame();
    }

    Result<void> checkFrame() const
    {
        auto const& frame = m_header.frame;
        auto const count = frame.components.size();
        if (count != 1 && count != 3 && count != 4)
            return fail("JPEG images with {} components are not supported", count);
        if (frame.size.isEmpty() || !graphics::isPossible(frame.size) || frame.size.width > kMaximumSide
            || frame.size.height > kMaximumSide)
            return fail(
                "JPEG images of {} x {} pixels are not supported", frame.size.width, frame.size.height);
        for (auto const& component : frame.components) {
            auto const [identifier, h, v] = component;
            if (h < 1 || h > 4 || v < 1 || v > 4)
                return fail("not a valid JPEG image (impossible subsampling)");
        }
        return {};
    }

    static constexpr int kMaximumSide = 65500; // libjpeg's limit

    BufferedReader m_reader;
    Header m_header;
};

bool startsTiff(ByteSpan data)
{
    return startsWith(data, "II*\0"sv) || startsWith(data, "MM\0*"sv);
}

struct ProfileChunk {
    int number = 0, count = 0;
    Segment const* segment = nullptr;
};

Result<std::vector<ProfileChunk>> profileChunks(InputFile const& file, Header const& header)
{
    std::vector<ProfileChunk> chunks;
    for (auto const& segment : header.segments) {
        if (segment.kind != SegmentKind::Icc)
            continue;
        std::array<std::uint8_t, 2> numbers;
        TRY(file.readExactlyAt(segment.dataOffset, numbers));
        chunks.push_back({numbers[0], numbers[1], &segment});
    }
    return chunks;
}

bool isComplete(std::vector<ProfileChunk> const& sorted)
{
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        if (sorted[i].number != static_cast<int>(i) + 1 || sorted[i].count != static_cast<int>(sorted.size()))
            return false;
    }
    return true;
}

} // namespace

std::string_view signatureOf(SegmentKind kind)
{
    auto const* found = std::ranges::find(kSignatures, kind, &Signature::kind);
    return found == kSignatures.end() ? std::string_view() : found->text;
}

graphics::Size Frame::blocksPerUnit() const
{
    // A scan of one component has no units of several blocks.
    if (components.size() == 1)
        return {1, 1};
    graphics::Size blocks {1, 1};
    for (auto const& component : components) {
        blocks.width = std::max(blocks.width, component.horizontalSampling);
        blocks.height = std::max(blocks.height, component.verticalSampling);
    }
    return blocks;
}

graphics::Size Frame::unitSize() const
{
    auto const blocks = blocksPerUnit();
    return {blocks.width * 8, blocks.height * 8};
}

bool Header::has(SegmentKind kind) const
{
    return std::ranges::find(segments, kind, &Segment::kind) != segments.end();
}

bool Header::isJfifColor() const
{
    auto const& components = frame.components;
    if (components.size() != 3)
        return components.size() == 1;
    if (jfif || adobeTransform)
        return jfif || adobeTransform != 0;
    // Without a word about it, decoders go by the names of the components.
    return !(components[0].identifier == 'R' && components[1].identifier == 'G'
        && components[2].identifier == 'B');
}

Result<Header> readHeader(InputFile const& file)
{
    return HeaderReader(file).read();
}

Result<Bytes> readData(InputFile const& file, Segment const& segment)
{
    Bytes data(segment.dataSize);
    TRY(file.readExactlyAt(segment.dataOffset, data));
    return data;
}

Result<Bytes> readData(InputFile const& file, Header const& header, SegmentKind kind)
{
    Bytes all;
    for (auto const& segment : header.segments) {
        if (segment.kind == kind)
            append(all, TRY(readData(file, segment)));
    }
    return all;
}

Result<Bytes> readExif(InputFile const& file, Header const& header)
{
    Bytes exif;
    for (auto const& segment : header.segments) {
        if (segment.kind != SegmentKind::Exif)
            continue;
        auto const data = TRY(readData(file, segment));
        // A second block of its own is one that readers do not see; anything else goes on with the first.
        if (startsTiff(data) && !exif.empty())
            break;
        append(exif, data);
    }
    return exif;
}

Result<SharedBytes> readProfile(InputFile const& file, Header const& header)
{
    auto chunks = TRY(profileChunks(file, header));
    std::ranges::stable_sort(chunks, {}, &ProfileChunk::number);
    // A single chunk is whole whatever its numbers say.
    if (chunks.empty() || (chunks.size() > 1 && !isComplete(chunks)))
        return SharedBytes();
    Bytes profile;
    for (auto const& chunk : chunks) {
        auto const data = TRY(readData(file, *chunk.segment));
        append(profile, ByteSpan(data).subspan(2));
    }
    return shareBytes(profile);
}

void appendSegment(Bytes& to, std::uint8_t marker, SegmentKind kind, ByteSpan data)
{
    auto const signature = signatureOf(kind);
    auto const payload = signature.size() + data.size();
    assert(payload <= kMaximumPayload);
    to.push_back(0xFF);
    to.push_back(marker);
    appendBE16(to, static_cast<std::uint16_t>(payload + 2));
    append(to, signature);
    append(to, data);
}

} // namespace velk::codec::jpeg
