#include "platform/codec/GifContainer.h"

#include <algorithm>
#include <array>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint8_t kImageIntroducer = 0x2C;
constexpr std::uint8_t kExtensionIntroducer = 0x21;
constexpr std::uint8_t kTrailer = 0x3B;

constexpr std::uint8_t kPlainTextLabel = 0x01;
constexpr std::uint8_t kGraphicControlLabel = 0xF9;
constexpr std::uint8_t kCommentLabel = 0xFE;
constexpr std::uint8_t kApplicationLabel = 0xFF;

constexpr std::uint8_t kHasColorTable = 0x80;
constexpr std::uint8_t kInterlaceFlag = 0x40;
constexpr std::uint8_t kTransparencyFlag = 0x01;

constexpr std::size_t kImageDescriptorSize = 9;
constexpr std::size_t kApplicationNameSize = 11;
constexpr std::size_t kLargestSubBlock = 255;
constexpr std::size_t kMaximumBlocks = 4'000'000;
constexpr std::size_t kLargestMetadata = 64 << 20;
// What follows a packet in its extension: 01, FF down to 00, 00. Wherever a reader of sub-blocks lands in
// it, it is led to the terminator (XMP specification part 3, 1.1.2).
constexpr std::size_t kXmpTrailerSize = 258;

struct GraphicControl {
    std::optional<int> transparentIndex;
    int delay = 0;
};

/// Walks over the blocks of one file.
class GifReader {
public:
    GifReader(InputFile const& file)
        : m_file(file)
        , m_reader(file)
    {
    }

    Result<GifContents> read()
    {
        TRY(readHeader());
        while (TRY(readBlock())) {
            if (m_contents.blocks.size() > kMaximumBlocks)
                return fail("the GIF file has too many blocks");
        }
        if (m_contents.frameCount == 0)
            return fail("the GIF file holds no image");
        return std::move(m_contents);
    }

private:
    Result<void> readHeader()
    {
        std::array<std::uint8_t, kGifHeaderSize> header;
        TRY(m_reader.readExactly(header));
        m_contents.screen = {loadLE16(&header[6]), loadLE16(&header[8])};
        m_contents.globalPalette = TRY(readPalette(header[10]));
        m_contents.headerEnd = m_reader.position();
        return {};
    }

    Result<std::optional<Palette>> readPalette(std::uint8_t flags)
    {
        if (!(flags & kHasColorTable))
            return std::nullopt;
        Palette palette;
        palette.entries.resize(std::size_t {2} << (flags & 7), {0, 0, 0, 255});
        for (auto& entry : palette.entries)
            TRY(m_reader.readExactly(std::span(entry).first(3)));
        return palette;
    }

    // Returns false at the end, which in a damaged file may come early.
    Result<bool> readBlock()
    {
        GifBlock block {.offset = m_reader.position()};
        auto const introducer = m_reader.byte();
        if (!introducer || *introducer == kTrailer)
            return false;
        if (*introducer == kImageIntroducer) {
            block.kind = GifBlockKind::Image;
            // Of a file that ends within a later frame, the first one is still good.
            if (auto const image = readImage(block.offset); !image && m_contents.frameCount == 0)
                return tl::unexpected(image.error());
        } else if (*introducer == kExtensionIntroducer) {
            readExtension(block);
        } else if (*introducer != 0) {
            return false;
        }
        block.length = std::min(m_reader.position(), m_file.size()) - block.offset;
        m_contents.blocks.push_back(std::move(block));
        return true;
    }

    Result<void> readImage(std::uint64_t offset)
    {
        std::array<std::uint8_t, kImageDescriptorSize> descriptor;
        TRY(m_reader.readExactly(descriptor));
        auto palette = TRY(readPalette(descriptor[8]));
        auto const codeSize = m_reader.byte();
        if (!codeSize)
            return fail("unexpected end of file");
        if (m_contents.frameCount++ == 0) {
            m_contents.frame = {.offset = offset,
                .area = {loadLE16(&descriptor[0]), loadLE16(&descriptor[2]), loadLE16(&descriptor[4]),
                    loadLE16(&descriptor[6])},
                .palette = std::move(palette),
                .isInterlaced = (descriptor[8] & kInterlaceFlag) != 0,
                .codeSize = *codeSize};
            if (m_control) {
                m_contents.frame.transparentIndex = m_control->transparentIndex;
                m_contents.frame.delay = m_control->delay;
            }
        }
        m_control.reset();
        skipSubBlocks();
        return {};
    }

    void readExtension(GifBlock& block)
    {
        constexpr struct {
            std::uint8_t label;
            GifBlockKind kind;
            void (GifReader::*read)(GifBlock&);
        } kExtensions[] = {
            {kGraphicControlLabel, GifBlockKind::GraphicControl, &GifReader::readGraphicControl},
            {kCommentLabel, GifBlockKind::Comment, &GifReader::readComment},
            {kPlainTextLabel, GifBlockKind::PlainText, &GifReader::readPlainText},
            {kApplicationLabel, GifBlockKind::Application, &GifReader::readApplication},
        };
        auto const label = m_reader.byte();
        for (auto const& extension : kExtensions) {
            if (label == extension.label) {
                block.kind = extension.kind;
                (this->*extension.read)(block);
            }
        }
        skipSubBlocks();
    }

    void readGraphicControl(GifBlock&)
    {
        auto const fields = readSubBlock();
        if (fields.size() < 4)
            return;
        m_control.emplace();
        m_control->delay = loadLE16(&fields[1]);
        if (fields[0] & kTransparencyFlag)
            m_control->transparentIndex = fields[3];
    }

    void readComment(GifBlock&)
    {
        auto const text = readSubBlocks();
        if (!m_contents.comment.empty() && !text.empty())
            m_contents.comment += '\n';
        m_contents.comment += asText(text);
    }

    // Text is drawn with the graphic control before it, which is then used up.
    void readPlainText(GifBlock&) { m_control.reset(); }

    void readApplication(GifBlock& block)
    {
        auto const name = readSubBlock();
        block.application = asText(name);
        if (name.size() != kApplicationNameSize)
            return;
        if (block.application == kGifXmpApplication)
            readXmp();
        else if (block.application == kGifProfileApplication)
            m_contents.profile = readSubBlocks();
        else if (block.application == kGifLoopApplication || block.application == "ANIMEXTS1.0")
            readLoopCount();
    }

    // The packet is not cut into sub-blocks. Some writers cut it all the same.
    void readXmp()
    {
        auto const start = m_reader.position();
        auto const first = m_reader.byte();
        m_reader.seek(start);
        bool const isWhole = first == '<' || first == 0xEF;
        auto packet = isWhole ? readWholeXmp(start) : readSubBlocks();
        if (m_contents.xmp.empty())
            m_contents.xmp = asText(packet);
    }

    Bytes readWholeXmp(std::uint64_t start)
    {
        skipSubBlocks();
        auto const length = std::min(m_reader.position(), m_file.size()) - start;
        // Leaves the terminator to whoever reads on.
        m_reader.seek(start + length - (length > 0 ? 1 : 0));
        if (length <= kXmpTrailerSize || length - kXmpTrailerSize > kLargestMetadata)
            return {};
        Bytes packet(length - kXmpTrailerSize);
        if (!m_file.readExactlyAt(start, packet))
            packet.clear();
        return packet;
    }

    void readLoopCount()
    {
        auto const fields = readSubBlock();
        if (fields.size() >= 3 && fields[0] == 1 && !m_contents.loopCount)
            m_contents.loopCount = loadLE16(&fields[1]);
    }

    // One sub-block; an empty one is the terminator, which is left to the reader.
    Bytes readSubBlock()
    {
        auto const start = m_reader.position();
        Bytes bytes(m_reader.byte().value_or(0));
        if (bytes.empty())
            m_reader.seek(std::min(start, m_file.size()));
        bytes.resize(m_reader.read(bytes));
        return bytes;
    }

    Bytes readSubBlocks()
    {
        Bytes all;
        while (all.size() < kLargestMetadata) {
            auto const bytes = readSubBlock();
            if (bytes.empty())
                break;
            append(all, bytes);
        }
        return all;
    }

    void skipSubBlocks()
    {
        while (auto const size = m_reader.byte()) {
            if (*size == 0)
                return;
            m_reader.skip(*size);
        }
    }

    InputFile const& m_file;
    BufferedReader m_reader;
    GifContents m_contents;
    std::optional<GraphicControl> m_control;
};

void appendSubBlocks(Bytes& block, ByteSpan data)
{
    while (!data.empty()) {
        auto const part = data.first(std::min(data.size(), kLargestSubBlock));
        block.push_back(static_cast<std::uint8_t>(part.size()));
        append(block, part);
        data = data.subspan(part.size());
    }
    block.push_back(0);
}

Bytes applicationHeader(std::string_view name)
{
    Bytes block = {kExtensionIntroducer, kApplicationLabel, static_cast<std::uint8_t>(name.size())};
    append(block, name);
    return block;
}

} // namespace

Result<GifContents> readGifContents(InputFile const& file)
{
    return GifReader(file).read();
}

Bytes gifXmpExtension(std::string_view packet)
{
    packet = packet.substr(0, packet.find_last_not_of('\0') + 1);
    // A zero, as in UTF-16, would end the block for those who do not know what it holds.
    if (packet.empty() || packet.find('\0') != std::string_view::npos)
        return {};
    auto block = applicationHeader(kGifXmpApplication);
    append(block, packet);
    block.push_back(1);
    for (int byte = 255; byte >= 0; --byte)
        block.push_back(static_cast<std::uint8_t>(byte));
    block.push_back(0);
    return block;
}

Bytes gifProfileExtension(ByteSpan profile)
{
    if (profile.empty())
        return {};
    auto block = applicationHeader(kGifProfileApplication);
    appendSubBlocks(block, profile);
    return block;
}

Bytes gifCommentExtension(std::string_view text)
{
    if (text.empty())
        return {};
    Bytes block = {kExtensionIntroducer, kCommentLabel};
    appendSubBlocks(block, asBytes(text));
    return block;
}

Bytes gifLoopExtension(std::uint16_t count)
{
    auto block = applicationHeader(kGifLoopApplication);
    std::uint8_t const fields[] = {
        1, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8)};
    appendSubBlocks(block, fields);
    return block;
}

} // namespace velk::codec
