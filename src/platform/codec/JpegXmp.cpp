#include "platform/codec/JpegXmp.h"

#include "base/Md5.h"

#include <algorithm>

namespace velk::codec::jpeg {

namespace {

constexpr std::string_view kExtensionProperty = "xmpNote:HasExtendedXMP";
constexpr std::string_view kRdfStart = "<rdf:RDF";
constexpr std::string_view kRdfEnd = "</rdf:RDF>";

// GUID (32 characters), full length (4), offset of this chunk (4), then the chunk.
constexpr std::size_t kGuidSize = 32;
constexpr std::size_t kChunkHead = kGuidSize + 4 + 4;

struct Chunk {
    std::size_t fullSize = 0, offset = 0;
    std::string text;
};

Result<std::vector<Chunk>> readChunks(InputFile const& file, Header const& header, std::string_view guid)
{
    std::vector<Chunk> chunks;
    for (auto const& segment : header.segments) {
        if (segment.kind != SegmentKind::ExtendedXmp)
            continue;
        auto const data = TRY(readData(file, segment));
        if (asText(data).substr(0, kGuidSize) == guid)
            chunks.push_back({loadBE32(&data[kGuidSize]), loadBE32(&data[kGuidSize + 4]),
                std::string(asText(data).substr(kChunkHead))});
    }
    return chunks;
}

// The extension of that name; nothing unless all of it is there. Chunks may come in any order.
Result<std::optional<std::string>> readExtension(
    InputFile const& file, Header const& header, std::string_view guid)
{
    auto chunks = TRY(readChunks(file, header, guid));
    std::ranges::stable_sort(chunks, {}, &Chunk::offset);
    std::string extension;
    for (auto const& chunk : chunks) {
        if (chunk.offset != extension.size())
            return std::nullopt;
        extension += chunk.text;
    }
    if (chunks.empty() || extension.size() != chunks.front().fullSize)
        return std::nullopt;
    return extension;
}

struct TextRange {
    std::size_t start = 0, size = 0;
};

// The property that names the extension, as an attribute or as an element, and the name in it.
struct ExtensionName {
    TextRange property;
    std::string_view guid;
};

std::optional<ExtensionName> findExtensionName(std::string_view packet)
{
    auto const at = packet.find(kExtensionProperty);
    if (at == std::string_view::npos || at == 0)
        return std::nullopt;
    auto const afterName = at + kExtensionProperty.size();
    if (packet[at - 1] == '<') {
        auto const start = packet.find('>', afterName);
        auto const end = packet.find("</xmpNote:HasExtendedXMP>", afterName);
        if (start == std::string_view::npos || end == std::string_view::npos || end < start)
            return std::nullopt;
        auto const after = end + std::string_view("</xmpNote:HasExtendedXMP>").size();
        return ExtensionName {{at - 1, after - at + 1}, packet.substr(start + 1, end - start - 1)};
    }
    auto const open = packet.find_first_of("\"'", afterName);
    auto const close = open == std::string_view::npos ? open : packet.find(packet[open], open + 1);
    if (close == std::string_view::npos)
        return std::nullopt;
    return ExtensionName {{at, close - at + 1}, packet.substr(open + 1, close - open - 1)};
}

// The start tag that begins at or after `from` with `name`; empty when there is none.
std::string_view startTag(std::string_view text, std::string_view name)
{
    auto const start = text.find(name);
    if (start == std::string_view::npos)
        return {};
    auto const end = text.find('>', start);
    return end == std::string_view::npos ? std::string_view() : text.substr(start, end - start + 1);
}

// Whether a tag declares no namespaces but the two that every packet declares in the same way.
bool declaresOnlyUsual(std::string_view tag)
{
    for (auto at = tag.find("xmlns"); at != std::string_view::npos; at = tag.find("xmlns", at + 1)) {
        auto const declaration = tag.substr(at);
        if (!declaration.starts_with("xmlns:x=") && !declaration.starts_with("xmlns:rdf="))
            return false;
    }
    return true;
}

// What stands inside rdf:RDF, if it means the same inside another packet's.
std::optional<std::string_view> portableContent(std::string_view extension)
{
    auto const tag = startTag(extension, kRdfStart);
    auto const end = extension.rfind(kRdfEnd);
    if (tag.empty() || tag.ends_with("/>") || end == std::string_view::npos)
        return std::nullopt;
    auto const start = static_cast<std::size_t>(tag.data() - extension.data()) + tag.size();
    if (end < start || !declaresOnlyUsual(extension.substr(0, start)))
        return std::nullopt;
    return extension.substr(start, end - start);
}

std::optional<std::string> merged(
    std::string_view packet, ExtensionName const& name, std::string_view extension)
{
    auto const content = portableContent(extension);
    auto const end = packet.rfind(kRdfEnd);
    if (!content || end == std::string_view::npos || end < name.property.start)
        return std::nullopt;
    std::string result(packet);
    result.insert(end, *content);
    result.erase(name.property.start, name.property.size);
    return result;
}

// Without the wrapper and the padding that make a packet of it.
std::string_view withoutWrapper(std::string_view packet)
{
    auto const start = packet.find("<x:xmpmeta");
    constexpr std::string_view kEnd = "</x:xmpmeta>";
    auto const end = packet.rfind(kEnd);
    if (start == std::string_view::npos || end == std::string_view::npos || end < start)
        return packet;
    return packet.substr(start, end + kEnd.size() - start);
}

std::string guidOf(std::string_view extension)
{
    std::string guid;
    for (auto const byte : md5(asBytes(extension)))
        guid += fmt::format("{:02X}", byte);
    return guid;
}

std::string packetNaming(std::string_view guid)
{
    return fmt::format("<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
                       "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
                       " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
                       "  <rdf:Description rdf:about=\"\" xmlns:xmpNote=\"http://ns.adobe.com/xmp/note/\"\n"
                       "    {}=\"{}\"/>\n"
                       " </rdf:RDF>\n"
                       "</x:xmpmeta>\n"
                       "<?xpacket end=\"w\"?>",
        kExtensionProperty, guid);
}

Bytes packetSegment(std::string_view packet)
{
    Bytes segment;
    appendSegment(segment, marker::kApp1, SegmentKind::Xmp, asBytes(packet));
    return segment;
}

Bytes extensionSegments(std::string_view guid, std::string_view extension)
{
    constexpr std::size_t kPart = 65'400;
    Bytes segments;
    for (std::size_t offset = 0; offset < extension.size(); offset += kPart) {
        Bytes chunk;
        append(chunk, guid);
        appendBE32(chunk, static_cast<std::uint32_t>(extension.size()));
        appendBE32(chunk, static_cast<std::uint32_t>(offset));
        append(chunk, extension.substr(offset, kPart));
        appendSegment(segments, marker::kApp1, SegmentKind::ExtendedXmp, chunk);
    }
    return segments;
}

} // namespace

Result<XmpBlock> readXmp(InputFile const& file, Header const& header)
{
    auto const found = std::ranges::find(header.segments, SegmentKind::Xmp, &Segment::kind);
    if (found == header.segments.end())
        return XmpBlock {};
    auto const data = TRY(readData(file, *found));
    XmpBlock block {std::string(asText(data))};
    if (!header.has(SegmentKind::ExtendedXmp))
        return block;
    block.isComplete = false;
    auto const name = findExtensionName(block.packet);
    if (!name)
        return block;
    auto const extension = TRY(readExtension(file, header, name->guid));
    if (!extension)
        return block;
    if (auto all = merged(block.packet, *name, *extension))
        return XmpBlock {std::move(*all)};
    return block;
}

XmpSegments xmpSegments(std::string_view packet)
{
    auto const room = kMaximumPayload - signatureOf(SegmentKind::Xmp).size();
    if (packet.empty())
        return {};
    if (packet.size() <= room)
        return {packetSegment(packet), {}};
    auto const content = withoutWrapper(packet);
    if (content.size() <= room)
        return {packetSegment(content), {}};
    auto const guid = guidOf(content);
    return {packetSegment(packetNaming(guid)), extensionSegments(guid, content)};
}

bool namesExtension(std::string_view packet)
{
    return findExtensionName(packet).has_value();
}

} // namespace velk::codec::jpeg
