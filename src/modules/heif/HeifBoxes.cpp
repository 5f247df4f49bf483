#include "modules/heif/HeifBoxes.h"

#include <array>

namespace velk::codec::heif {

namespace {

constexpr std::size_t kShortHeader = 8, kLongHeader = 16;
constexpr std::uint64_t kLargestMeta = 64 << 20;
constexpr std::size_t kMaximumTopLevelBoxes = 4096;

struct BoxHead {
    FourCC type;
    std::uint64_t headerSize = 0;
    std::uint64_t size = 0; ///< with the header
};

// The box at the start of `bytes`, of which `available` follow in all; size 0 when it is not possible.
BoxHead boxHead(ByteSpan bytes, std::uint64_t available)
{
    if (bytes.size() < kShortHeader)
        return {};
    BoxHead head {FourCC(loadBE32(&bytes[4])), kShortHeader, loadBE32(&bytes[0])};
    if (head.size == 1 && bytes.size() >= kLongHeader) {
        head.headerSize = kLongHeader;
        head.size = loadBE64(&bytes[kShortHeader]);
    } else if (head.size == 0) {
        head.size = available;
    }
    return head.size < head.headerSize || head.size > available ? BoxHead {} : head;
}

} // namespace

std::vector<ChildBox> childBoxes(ByteSpan content)
{
    std::vector<ChildBox> boxes;
    for (;;) {
        auto const head = boxHead(content, content.size());
        if (head.size == 0)
            return boxes;
        boxes.push_back({head.type, content.subspan(head.headerSize, head.size - head.headerSize)});
        content = content.subspan(head.size);
    }
}

ByteSpan contentOf(ByteSpan boxes, FourCC type)
{
    for (auto const& box : childBoxes(boxes)) {
        if (box.type == type)
            return box.content;
    }
    return {};
}

std::uint64_t BoxFields::number(unsigned bytes)
{
    m_isValid = m_isValid && m_rest.size() >= bytes;
    if (!m_isValid)
        return 0;
    std::uint64_t value = 0;
    for (auto const byte : m_rest.first(bytes))
        value = value << 8 | byte;
    m_rest = m_rest.subspan(bytes);
    return value;
}

BoxFields::FullBoxHeader BoxFields::fullBoxHeader()
{
    auto const word = static_cast<std::uint32_t>(number(4));
    return {word >> 24, word & 0xFFFFFF};
}

Result<std::vector<TopLevelBox>> topLevelBoxes(InputFile const& file)
{
    std::vector<TopLevelBox> boxes;
    std::uint64_t offset = 0;
    while (boxes.size() < kMaximumTopLevelBoxes) {
        std::array<std::uint8_t, kLongHeader> bytes;
        auto const count = TRY(file.readAt(offset, bytes));
        auto const head = boxHead(ByteSpan(bytes).first(count), file.size() - offset);
        if (head.size == 0)
            break;
        boxes.push_back({head.type, offset, head.headerSize, head.size});
        offset += head.size;
    }
    return boxes;
}

Result<Bytes> readContent(InputFile const& file, TopLevelBox const& box)
{
    if (box.size > kLargestMeta)
        return fail("the file's metadata is too large");
    Bytes content(box.size - box.headerSize);
    TRY(file.readExactlyAt(box.offset + box.headerSize, content));
    return content;
}

Bytes makeBox(FourCC type, ByteSpan content)
{
    Bytes box;
    appendBE32(box, static_cast<std::uint32_t>(content.size() + kShortHeader));
    appendBE32(box, type.code);
    append(box, content);
    return box;
}

void appendNumber(Bytes& to, std::uint64_t number, unsigned bytes)
{
    for (auto shift = bytes * 8; shift > 0; shift -= 8)
        to.push_back(static_cast<std::uint8_t>(number >> (shift - 8)));
}

} // namespace velk::codec::heif
