#include "platform/codec/PnmFile.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace velk::codec {

using namespace graphics;

namespace {

struct Kind {
    char letter;
    PnmCoding coding;
    PnmColors colors;
};

constexpr Kind kKinds[] = {
    {'1', PnmCoding::TextBits, PnmColors::Gray},
    {'2', PnmCoding::Text, PnmColors::Gray},
    {'3', PnmCoding::Text, PnmColors::RGB},
    {'4', PnmCoding::PackedBits, PnmColors::Gray},
    {'5', PnmCoding::Binary, PnmColors::Gray},
    {'6', PnmCoding::Binary, PnmColors::RGB},
    {'f', PnmCoding::Floats, PnmColors::Gray},
    {'F', PnmCoding::Floats, PnmColors::RGB},
};
constexpr char kPam = '7';

struct TupleType {
    std::string_view name;
    PnmColors colors;
    bool hasAlpha;
    int channels;
};

constexpr TupleType kTupleTypes[] = {
    {"BLACKANDWHITE", PnmColors::Gray, false, 1},
    {"GRAYSCALE", PnmColors::Gray, false, 1},
    {"RGB", PnmColors::RGB, false, 3},
    {"CMYK", PnmColors::CMYK, false, 4},
    {"BLACKANDWHITE_ALPHA", PnmColors::Gray, true, 2},
    {"GRAYSCALE_ALPHA", PnmColors::Gray, true, 2},
    {"RGB_ALPHA", PnmColors::RGB, true, 4},
    {"CMYK_ALPHA", PnmColors::CMYK, true, 5},
};
// What the samples most likely are when the tuple type does not tell, by depth from 1 to 4.
constexpr std::string_view kTypesByDepth[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};

constexpr std::size_t kLongestToken = 64;
constexpr std::size_t kLongestLine = 4096;

bool isBlank(std::uint8_t byte)
{
    return std::isspace(byte) != 0;
}

// The next word; blanks and comments before it and the one byte that ends it are used up. A comment may also
// end the word.
std::string readToken(BufferedReader& reader)
{
    std::string token;
    while (auto const byte = reader.byte()) {
        if (*byte == '#') {
            for (auto skipped = reader.byte(); skipped && *skipped != '\n' && *skipped != '\r';)
                skipped = reader.byte();
        } else if (!isBlank(*byte)) {
            token.push_back(static_cast<char>(*byte));
            if (token.size() > kLongestToken)
                break;
            continue;
        }
        if (!token.empty())
            break;
    }
    return token;
}

std::optional<std::uint32_t> parseNumber(std::string_view text)
{
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

Result<std::uint32_t> readNumber(BufferedReader& reader, std::uint32_t least, std::uint32_t most)
{
    auto const token = readToken(reader);
    auto const value = parseNumber(token);
    if (!value || *value < least || *value > most)
        return fail("the header says \"{}\" where a number from {} to {} must stand", token, least, most);
    return *value;
}

constexpr std::uint32_t kLargestSide = 0x7FFFFFFF;
constexpr std::uint32_t kLargestMaximum = 65535;

Result<void> readSize(BufferedReader& reader, PnmHeader& header)
{
    header.size.width = static_cast<std::int32_t>(TRY(readNumber(reader, 1, kLargestSide)));
    header.size.height = static_cast<std::int32_t>(TRY(readNumber(reader, 1, kLargestSide)));
    return {};
}

// A scale of less than zero says that the floats are little-endian.
Result<void> readFloatScale(BufferedReader& reader, PnmHeader& header)
{
    auto const token = readToken(reader);
    double scale = 0;
    auto const [end, error] = std::from_chars(token.data(), token.data() + token.size(), scale);
    if (error != std::errc() || end != token.data() + token.size() || scale == 0 || !std::isfinite(scale))
        return fail("the header says \"{}\" where the scale must stand", token);
    header.floatOrder = scale < 0 ? ByteOrder::Little : ByteOrder::Big;
    return {};
}

std::optional<std::string> readLine(BufferedReader& reader)
{
    std::string line;
    while (auto const byte = reader.byte()) {
        if (*byte == '\n')
            return line;
        if (line.size() == kLongestLine)
            return std::nullopt;
        line.push_back(static_cast<char>(*byte));
    }
    return std::nullopt;
}

// A word and the rest of the line without the blanks around it.
std::pair<std::string_view, std::string_view> splitLine(std::string_view line)
{
    constexpr std::string_view kBlanks = " \t\r\v\f";
    auto const trim = [&](std::string_view text) {
        auto const start = std::min(text.find_first_not_of(kBlanks), text.size());
        return text.substr(start, text.find_last_not_of(kBlanks) + 1 - start);
    };
    line = trim(line);
    auto const end = std::min(line.find_first_of(kBlanks), line.size());
    return {line.substr(0, end), trim(line.substr(end))};
}

struct PamFields {
    std::optional<std::uint32_t> width, height, depth, maximum;
    std::string tupleType;
};

Result<PamFields> readPamFields(BufferedReader& reader)
{
    PamFields fields;
    struct {
        std::string_view key;
        std::optional<std::uint32_t>* value;
    } const kNumbers[] = {
        {"WIDTH", &fields.width},
        {"HEIGHT", &fields.height},
        {"DEPTH", &fields.depth},
        {"MAXVAL", &fields.maximum},
    };
    while (auto const line = readLine(reader)) {
        auto const [key, text] = splitLine(*line);
        if (key == "ENDHDR")
            return fields;
        if (key == "TUPLTYPE")
            fields.tupleType += (fields.tupleType.empty() ? "" : " ") + std::string(text);
        for (auto const& number : kNumbers) {
            if (key == number.key)
                *number.value = parseNumber(text);
        }
    }
    return fail("the PAM header has no end");
}

TupleType const* tupleType(std::string_view name, std::uint32_t depth)
{
    auto const found = std::ranges::find(kTupleTypes, name, &TupleType::name);
    if (found != std::end(kTupleTypes) && static_cast<std::uint32_t>(found->channels) <= depth)
        return found;
    return std::ranges::find(
        kTupleTypes, kTypesByDepth[std::min<std::size_t>(depth, 4) - 1], &TupleType::name);
}

Result<void> readPam(BufferedReader& reader, PnmHeader& header)
{
    constexpr std::uint32_t kMostChannels = 1024;
    auto const fields = TRY(readPamFields(reader));
    auto const within = [](std::optional<std::uint32_t> value, std::uint32_t most) {
        return value && *value >= 1 && *value <= most;
    };
    if (!within(fields.width, kLargestSide) || !within(fields.height, kLargestSide)
        || !within(fields.depth, kMostChannels) || !within(fields.maximum, kLargestMaximum))
        return fail("the PAM header is incomplete or makes no sense");
    auto const* type = tupleType(fields.tupleType, *fields.depth);
    header.coding = PnmCoding::Binary;
    header.colors = type->colors;
    header.hasAlpha = type->hasAlpha;
    header.size = {static_cast<std::int32_t>(*fields.width), static_cast<std::int32_t>(*fields.height)};
    header.storedChannels = static_cast<int>(*fields.depth);
    header.maximum = *fields.maximum;
    return {};
}

Result<void> readPlain(BufferedReader& reader, Kind const& kind, PnmHeader& header)
{
    header.coding = kind.coding;
    header.colors = kind.colors;
    header.storedChannels = kind.colors == PnmColors::RGB ? 3 : 1;
    header.maximum = 1;
    TRY(readSize(reader, header));
    if (kind.coding == PnmCoding::Floats)
        return readFloatScale(reader, header);
    if (kind.coding == PnmCoding::Text || kind.coding == PnmCoding::Binary)
        header.maximum = TRY(readNumber(reader, 1, kLargestMaximum));
    return {};
}

} // namespace

std::uint64_t PnmHeader::rowBytes() const
{
    auto const width = static_cast<std::uint64_t>(size.width);
    if (coding == PnmCoding::PackedBits)
        return (width + 7) / 8;
    return width * static_cast<unsigned>(storedChannels) * sampleBytes();
}

std::optional<std::uint64_t> PnmHeader::dataBytes() const
{
    if (isText())
        return std::nullopt;
    return rowBytes() * static_cast<std::uint64_t>(size.height);
}

bool startsLikePnm(ByteSpan head)
{
    if (head.size() < 3 || head[0] != 'P')
        return false;
    bool const isKnown = head[1] == kPam
        || std::ranges::any_of(kKinds, [&](Kind const& kind) { return kind.letter == head[1]; });
    return isKnown && (head[1] == kPam ? head[2] == '\n' : isBlank(head[2]) || head[2] == '#');
}

Result<PnmHeader> readPnmHeader(BufferedReader& reader)
{
    std::array<std::uint8_t, 3> magic = {};
    TRY(reader.readExactly(magic));
    if (!startsLikePnm(magic))
        return fail("not a portable bitmap, graymap, pixmap or anymap");
    if (magic[2] == '#')
        reader.seek(reader.position() - 1);
    PnmHeader header;
    if (magic[1] == kPam)
        TRY(readPam(reader, header));
    else
        TRY(readPlain(
            reader, *std::ranges::find(kKinds, static_cast<char>(magic[1]), &Kind::letter), header));
    header.dataOffset = reader.position();
    return header;
}

int countPnmImages(InputFile const& file, PnmHeader const& first)
{
    constexpr int kMost = 10000;
    constexpr std::size_t kSmallBuffer = 4096;
    BufferedReader reader(file, 0, kSmallBuffer);
    auto header = first;
    int count = 1;
    while (count < kMost) {
        auto const bytes = header.dataBytes();
        if (!bytes || header.dataOffset + *bytes >= file.size())
            break;
        reader.seek(header.dataOffset + *bytes);
        auto next = readPnmHeader(reader);
        if (!next)
            break;
        header = *next;
        ++count;
    }
    return count;
}

} // namespace velk::codec
