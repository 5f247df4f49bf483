#include "platform/codec/TgaFile.h"

#include "platform/codec/FixedText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace velk::codec {

namespace {

// Fields of the extension area, by offset (Truevision TGA File Format Specification 2.0, fields 10 to 24).
struct Field {
    std::size_t offset, size;
};
constexpr Field kAuthor = {2, 41};
constexpr Field kComments = {43, 324};
constexpr Field kDateTime = {367, 12};
constexpr Field kJobName = {379, 41};
constexpr Field kSoftware = {426, 41};
constexpr Field kSoftwareVersion = {467, 3};
constexpr Field kGamma = {478, 4};
constexpr Field kAttributes = {494, 1};
constexpr std::size_t kCommentLine = 81;
constexpr std::uint16_t kGammaDenominator = 1000;

bool isDepthOf(TgaKind kind, int bits)
{
    switch (kind) {
    case TgaKind::ColorMapped:
        return bits == 8 || bits == 15 || bits == 16;
    case TgaKind::TrueColor:
        return bits == 15 || bits == 16 || bits == 24 || bits == 32;
    case TgaKind::Gray:
        return bits == 8 || bits == 16;
    }
    return false;
}

bool isMapDepth(int bits)
{
    return bits == 15 || bits == 16 || bits == 24 || bits == 32;
}

bool isSound(TgaHeader const& header)
{
    if (header.size.isEmpty() || !isDepthOf(header.kind, header.bitsPerPixel))
        return false;
    if (header.hasColorMap && !isMapDepth(header.mapBits))
        return false;
    return header.kind != TgaKind::ColorMapped || (header.hasColorMap && header.mapLength > 0);
}

// Month, day, year, hour, minute, second as the Exif standard writes them; empty when not given.
std::string readDateTime(std::uint8_t const* at)
{
    auto const part = [&](int index) -> int { return loadLE16(at + 2 * index); };
    bool const isDate = part(0) >= 1 && part(0) <= 12 && part(1) >= 1 && part(1) <= 31 && part(2) > 0
        && part(2) <= 9999 && part(3) < 24 && part(4) < 60 && part(5) < 60;
    if (!isDate)
        return {};
    return fmt::format(
        "{:04}:{:02}:{:02} {:02}:{:02}:{:02}", part(2), part(0), part(1), part(3), part(4), part(5));
}

void writeDateTime(std::string const& text, std::uint8_t* to)
{
    unsigned year, month, day, hour, minute, second;
    if (std::sscanf(text.c_str(), "%4u:%2u:%2u %2u:%2u:%2u", &year, &month, &day, &hour, &minute, &second)
        != 6)
        return;
    for (auto const part : {month, day, year, hour, minute, second}) {
        storeInteger(to, static_cast<std::uint16_t>(part), ByteOrder::Little);
        to += 2;
    }
}

std::string readComments(ByteSpan field)
{
    std::string comments;
    for (std::size_t at = 0; at < field.size(); at += kCommentLine) {
        auto const line = readFixedText(field.subspan(at, kCommentLine));
        if (!line.empty())
            comments += (comments.empty() ? "" : "\n") + line;
    }
    return comments;
}

// Lines go where the text breaks, or where a line is full.
void writeComments(std::string_view text, std::uint8_t* to)
{
    auto const all = fixedText(text, text.size() + 1);
    std::size_t line = 0;
    std::size_t column = 0;
    for (std::size_t i = 0; i + 1 < all.size() && all[i] != 0; ++i) {
        if (all[i] == '\n' || column == kCommentLine - 1) {
            ++line;
            column = 0;
        }
        if (line == kComments.size / kCommentLine)
            return;
        if (all[i] != '\n')
            to[line * kCommentLine + column++] = all[i];
    }
}

std::string readVersion(std::uint8_t const* at)
{
    auto const number = loadLE16(at);
    if (number == 0)
        return {};
    auto text = fmt::format("{}.{:02}", number / 100, number % 100);
    if (at[2] > ' ' && at[2] < 0x7F)
        text.push_back(static_cast<char>(at[2]));
    return text;
}

void writeText(Bytes& area, Field field, std::string_view text)
{
    auto const bytes = fixedText(text, field.size);
    std::copy(bytes.begin(), bytes.end(), area.begin() + static_cast<std::ptrdiff_t>(field.offset));
}

std::optional<std::uint32_t> extensionOffset(InputFile const& file)
{
    if (!hasTgaFooter(file))
        return std::nullopt;
    std::array<std::uint8_t, 4> bytes;
    if (!file.readExactlyAt(file.size() - kTgaFooterSize, bytes))
        return std::nullopt;
    auto const offset = loadLE32(bytes.data());
    return offset == 0 ? std::nullopt : std::optional(offset);
}

} // namespace

std::optional<TgaHeader> parseTgaHeader(ByteSpan bytes)
{
    if (bytes.size() < kTgaHeaderSize)
        return std::nullopt;
    auto const type = bytes[2];
    auto const kind = type & 7u;
    auto const descriptor = bytes[17];
    constexpr unsigned kInterleaving = 0xC0;
    if (bytes[1] > 1 || kind < 1 || kind > 3 || (type & ~0xBu) != 0 || (descriptor & kInterleaving) != 0)
        return std::nullopt;
    TgaHeader const header {
        .idLength = bytes[0],
        .hasColorMap = bytes[1] == 1,
        .kind = static_cast<TgaKind>(kind),
        .isRunLengthCoded = (type & 8) != 0,
        .mapFirst = loadLE16(&bytes[3]),
        .mapLength = loadLE16(&bytes[5]),
        .mapBits = bytes[7],
        .size = {loadLE16(&bytes[12]), loadLE16(&bytes[14])},
        .bitsPerPixel = bytes[16],
        .attributeBits = descriptor & 15,
        .rightToLeft = (descriptor & 0x10) != 0,
        .topDown = (descriptor & 0x20) != 0,
    };
    return isSound(header) ? std::optional(header) : std::nullopt;
}

bool hasTgaFooter(InputFile const& file)
{
    std::array<std::uint8_t, kTgaSignature.size()> bytes;
    if (file.size() < kTgaHeaderSize + kTgaFooterSize
        || !file.readExactlyAt(file.size() - bytes.size(), bytes))
        return false;
    // Some writers leave the last zero out or put something else there.
    return startsWith(bytes, kTgaSignature.substr(0, kTgaSignature.size() - 1));
}

std::optional<TgaExtension> readTgaExtension(InputFile const& file)
{
    auto const offset = extensionOffset(file);
    Bytes bytes(kTgaExtensionSize);
    if (!offset || !file.readExactlyAt(*offset, bytes) || loadLE16(bytes.data()) < kTgaExtensionSize)
        return std::nullopt;
    auto const field = [&](Field place) { return ByteSpan(bytes).subspan(place.offset, place.size); };
    TgaExtension extension {
        .author = readFixedText(field(kAuthor)),
        .comments = readComments(field(kComments)),
        .dateTime = readDateTime(field(kDateTime).data()),
        .jobName = readFixedText(field(kJobName)),
        .software = readFixedText(field(kSoftware)),
        .softwareVersion = readVersion(field(kSoftwareVersion).data()),
    };
    auto const numerator = loadLE16(field(kGamma).data());
    auto const denominator = loadLE16(field(kGamma).data() + 2);
    if (numerator != 0 && denominator != 0)
        extension.gamma = static_cast<double>(numerator) / denominator;
    auto const attributes = field(kAttributes)[0];
    if (attributes <= static_cast<std::uint8_t>(TgaAttributes::PremultipliedAlpha))
        extension.attributes = static_cast<TgaAttributes>(attributes);
    return extension;
}

Bytes serializeTgaExtension(TgaExtension const& extension)
{
    Bytes area(kTgaExtensionSize);
    storeInteger(area.data(), static_cast<std::uint16_t>(kTgaExtensionSize), ByteOrder::Little);
    writeText(area, kAuthor, extension.author);
    writeComments(extension.comments, area.data() + kComments.offset);
    writeDateTime(extension.dateTime, area.data() + kDateTime.offset);
    writeText(area, kJobName, extension.jobName);
    writeText(area, kSoftware, extension.software);
    area[kSoftwareVersion.offset + 2] = ' ';
    if (extension.gamma > 0 && extension.gamma < 10) {
        auto const numerator = static_cast<std::uint16_t>(std::lround(extension.gamma * kGammaDenominator));
        storeInteger(area.data() + kGamma.offset, numerator, ByteOrder::Little);
        storeInteger(area.data() + kGamma.offset + 2, kGammaDenominator, ByteOrder::Little);
    }
    area[kAttributes.offset] = static_cast<std::uint8_t>(extension.attributes);
    return area;
}

} // namespace velk::codec
