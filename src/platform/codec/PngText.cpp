#include "platform/codec/PngText.h"

#include "platform/codec/PngChunks.h"

#include <fmt/format.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>

namespace velk::codec {

namespace {

constexpr std::size_t kMaximumKeywordLength = 79;
constexpr int kSmallDataLevel = 9;
// zlib counts in 32 bits.
constexpr std::size_t kMaximumStep = 1 << 30;

// Decodes one UTF-8 character at the front of `text` and takes it off; nothing when it is malformed.
std::optional<std::uint32_t> takeCharacter(std::string_view& text)
{
    auto const lead = static_cast<std::uint8_t>(text.front());
    std::size_t const length = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length == 0 || lead > 0xF4 || text.size() < length)
        return std::nullopt;
    std::uint32_t character = length == 1 ? lead : lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        auto const next = static_cast<std::uint8_t>(text[i]);
        if ((next & 0xC0) != 0x80)
            return std::nullopt;
        character = character << 6 | (next & 0x3Fu);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    bool const isSurrogate = character >= 0xD800 && character < 0xE000;
    if (character < kSmallest[length] || isSurrogate || character > 0x10FFFF)
        return std::nullopt;
    text.remove_prefix(length);
    return character;
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        if (!takeCharacter(text))
            return false;
    }
    return true;
}

bool isPrintableLatin1(std::uint32_t character)
{
    return (character >= 32 && character <= 126) || (character >= 161 && character <= 255);
}

// Cuts `data` behind the next zero byte and returns what stands before it.
std::optional<ByteSpan> takeZeroTerminated(ByteSpan& data)
{
    auto const zero = std::ranges::find(data, 0);
    if (zero == data.end())
        return std::nullopt;
    auto const length = static_cast<std::size_t>(zero - data.begin());
    auto const part = data.first(length);
    data = data.subspan(length + 1);
    return part;
}

// iTXt: compression flag and method, language, translated keyword, UTF-8 text.
std::optional<std::string> parseInternationalText(ByteSpan data, std::size_t& budget)
{
    if (data.size() < 2 || data[0] > 1 || (data[0] == 1 && data[1] != 0))
        return std::nullopt;
    bool const isCompressed = data[0] == 1;
    data = data.subspan(2);
    if (!takeZeroTerminated(data) || !takeZeroTerminated(data))
        return std::nullopt;
    Bytes inflated;
    if (isCompressed) {
        auto text = inflateZlib(data, budget);
        if (!text)
            return std::nullopt;
        inflated = std::move(*text);
        data = inflated;
    }
    return isUtf8(asText(data)) ? std::string(asText(data)) : latin1ToUtf8(data);
}

std::optional<std::string> parseCompressedText(ByteSpan data, std::size_t& budget)
{
    if (data.empty() || data[0] != 0)
        return std::nullopt;
    auto const text = inflateZlib(data.subspan(1), budget);
    return text ? std::optional(latin1ToUtf8(*text)) : std::nullopt;
}

void appendInternationalText(Bytes& to, std::string_view latin1Keyword, std::string_view text)
{
    Bytes data;
    append(data, latin1Keyword);
    // Keyword's end, uncompressed, method 0, no language, no translated keyword.
    data.insert(data.end(), 5, 0);
    append(data, text);
    appendPngChunk(to, pngType::kInternationalText, data);
}

std::optional<std::uint8_t> hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return static_cast<std::uint8_t>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<std::uint8_t>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F')
        return static_cast<std::uint8_t>(digit - 'A' + 10);
    return std::nullopt;
}

} // namespace

Result<Bytes> inflateZlib(ByteSpan compressed, std::size_t& budget)
{
    auto const limit = budget;
    z_stream stream = {};
    if (compressed.size() > kMaximumStep || inflateInit(&stream) != Z_OK)
        return fail("not enough memory");
    stream.next_in = const_cast<Bytef*>(compressed.data());
    stream.avail_in = static_cast<uInt>(compressed.size());
    Bytes result(std::min(limit, std::max<std::size_t>(compressed.size() * 4, 1024)));
    int status = Z_OK;
    while (true) {
        stream.next_out = result.data() + stream.total_out;
        stream.avail_out = static_cast<uInt>(std::min(result.size() - stream.total_out, kMaximumStep));
        status = inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK || stream.avail_out > 0 || result.size() == limit)
            break;
        result.resize(std::min(limit, result.size() * 2));
    }
    result.resize(stream.total_out);
    inflateEnd(&stream);
    budget -= result.size();
    if (status != Z_STREAM_END)
        return fail("compressed data is damaged or too long");
    return result;
}

Bytes deflateZlib(ByteSpan data)
{
    std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> const compressor(
        libdeflate_alloc_compressor(kSmallDataLevel), &libdeflate_free_compressor);
    if (!compressor)
        throw std::bad_alloc();
    Bytes result(libdeflate_zlib_compress_bound(compressor.get(), data.size()));
    result.resize(
        libdeflate_zlib_compress(compressor.get(), data.data(), data.size(), result.data(), result.size()));
    return result;
}

std::optional<PngText> parsePngText(FourCC type, ByteSpan data, std::size_t& inflateBudget)
{
    auto const keyword = takeZeroTerminated(data);
    if (!keyword || keyword->empty() || keyword->size() > kMaximumKeywordLength)
        return std::nullopt;
    std::optional<std::string> text;
    if (type == pngType::kText)
        text = latin1ToUtf8(data);
    else if (type == pngType::kCompressedText)
        text = parseCompressedText(data, inflateBudget);
    else
        text = parseInternationalText(data, inflateBudget);
    if (!text)
        return std::nullopt;
    return PngText {latin1ToUtf8(*keyword), std::move(*text)};
}

void appendPngText(Bytes& to, PngText const& text)
{
    auto const keyword = utf8ToLatin1(text.keyword);
    if (!keyword || keyword->empty() || latin1Keyword(text.keyword) != *keyword)
        return;
    // Text ends at a zero byte, of which a file may have none.
    auto const content = std::string_view(text.text).substr(0, text.text.find('\0'));
    if (auto const latin1 = utf8ToLatin1(content)) {
        Bytes data;
        append(data, *keyword);
        data.push_back(0);
        append(data, *latin1);
        appendPngChunk(to, pngType::kText, data);
    } else {
        appendInternationalText(to, *keyword, content);
    }
}

void appendPngXmp(Bytes& to, std::string_view packet)
{
    appendInternationalText(to, kPngXmpKeyword, packet);
}

Bytes decodeRawProfile(std::string_view text)
{
    auto const takeLine = [&] {
        auto const end = std::min(text.find('\n'), text.size());
        auto const line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        return line;
    };
    takeLine();
    takeLine();
    auto length = takeLine();
    length.remove_prefix(std::min(length.find_first_not_of(' '), length.size()));
    std::size_t count = 0;
    if (std::from_chars(length.data(), length.data() + length.size(), count).ec != std::errc())
        return {};
    Bytes block;
    unsigned pending = 1; // the digits of the byte so far, behind a 1 that tells how many there are
    for (auto const character : text) {
        if (auto const digit = hexDigit(character))
            pending = pending << 4 | *digit;
        if (pending & 0x100) {
            block.push_back(static_cast<std::uint8_t>(pending));
            pending = 1;
        }
    }
    // A block that is shorter than it says was cut, and no metadata is safer than half of it.
    if (block.size() < count)
        return {};
    block.resize(count);
    return block;
}

void appendRawProfile(Bytes& to, std::string_view name, ByteSpan block)
{
    constexpr std::size_t kBytesPerLine = 36;
    auto text = fmt::format("\n{}\n{:8}", name, block.size());
    for (std::size_t i = 0; i < block.size(); ++i)
        fmt::format_to(std::back_inserter(text), "{}{:02x}", i % kBytesPerLine == 0 ? "\n" : "", block[i]);
    text += '\n';

    Bytes data;
    append(data, kPngRawProfilePrefix);
    append(data, name);
    data.insert(data.end(), 2, 0); // keyword's end, compression method
    append(data, ByteSpan(deflateZlib(asBytes(text))));
    appendPngChunk(to, pngType::kCompressedText, data);
}

namespace {

constexpr std::uint16_t kIptcResource = 0x0404;

// "8BIM", a 16-bit number, a Pascal string and a 32-bit length with data, both padded to even.
struct PhotoshopResource {
    std::uint16_t number;
    ByteSpan data;
    ByteSpan whole;
};

std::optional<PhotoshopResource> takeResource(ByteSpan& block)
{
    if (!startsWith(block, "8BIM") || block.size() < 12)
        return std::nullopt;
    std::size_t const nameSize = (block[6] + 2u) & ~1u;
    auto const start = 6 + nameSize + 4;
    if (block.size() < start)
        return std::nullopt;
    auto const size = loadBE32(block.data() + start - 4);
    if (size > block.size() - start)
        return std::nullopt;
    auto const end = std::min<std::size_t>(start + size + size % 2, block.size());
    PhotoshopResource const resource {
        loadBE16(block.data() + 4), block.subspan(start, size), block.first(end)};
    block = block.subspan(end);
    return resource;
}

ByteSpan withoutPhotoshopName(ByteSpan block)
{
    constexpr std::string_view kPhotoshop("Photoshop 3.0\0", 14);
    return startsWith(block, kPhotoshop) ? block.subspan(kPhotoshop.size()) : block;
}

} // namespace

ByteSpan iptcInResources(ByteSpan block)
{
    block = withoutPhotoshopName(block);
    if (!startsWith(block, "8BIM"))
        return !block.empty() && block[0] == 0x1C ? block : ByteSpan();
    while (auto const resource = takeResource(block)) {
        if (resource->number == kIptcResource)
            return resource->data;
    }
    return {};
}

Bytes resourcesWithIptc(ByteSpan iim, ByteSpan old)
{
    Bytes resources;
    if (!iim.empty()) {
        append(resources, std::string_view("8BIM\x04\x04\0\0", 8));
        appendBE32(resources, static_cast<std::uint32_t>(iim.size()));
        append(resources, iim);
        if (iim.size() % 2)
            resources.push_back(0);
    }
    old = withoutPhotoshopName(old);
    while (auto const resource = takeResource(old)) {
        if (resource->number != kIptcResource)
            append(resources, resource->whole);
    }
    return resources;
}

std::string latin1ToUtf8(ByteSpan text)
{
    std::string result;
    result.reserve(text.size());
    for (auto const byte : text) {
        if (byte < 0x80) {
            result += static_cast<char>(byte);
        } else {
            result += static_cast<char>(0xC0 | byte >> 6);
            result += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return result;
}

std::optional<std::string> utf8ToLatin1(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        auto const character = takeCharacter(text);
        if (!character || *character > 0xFF)
            return std::nullopt;
        result += static_cast<char>(*character);
    }
    return result;
}

std::string latin1Keyword(std::string_view utf8)
{
    std::string result;
    while (!utf8.empty() && result.size() < kMaximumKeywordLength) {
        auto const character = takeCharacter(utf8);
        if (!character)
            utf8.remove_prefix(1);
        auto const isSpace = character == 32u || character == 160u;
        if (isSpace && (result.empty() || result.back() == ' '))
            continue;
        bool const isAllowed = character && isPrintableLatin1(*character);
        result += isSpace ? ' ' : isAllowed ? static_cast<char>(*character) : '?';
    }
    if (!result.empty() && result.back() == ' ')
        result.pop_back();
    return result;
}

} // namespace velk::codec
