#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"
#include "base/Result.h"

#include <optional>
#include <string>

namespace velk::codec {

/// Keyword of the iTXt chunk that holds XMP (XMP part 3, PNG).
constexpr std::string_view kPngXmpKeyword = "XML:com.adobe.xmp";
/// Keywords of text chunks in which programs put metadata blocks as hexadecimal digits start like this.
constexpr std::string_view kPngRawProfilePrefix = "Raw profile type ";

/// A keyword with its text, both in UTF-8.
struct PngText {
    std::string keyword;
    std::string text;
};

/// Inflates a zlib stream to at most `budget` bytes, and takes what it inflated off the budget, so that many
/// small streams cannot cost more than one. Errors: the stream is damaged, or the budget too small.
Result<Bytes> inflateZlib(ByteSpan compressed, std::size_t& budget);
/// A zlib stream of small data, well compressed.
Bytes deflateZlib(ByteSpan data);

/// The content of a tEXt, zTXt or iTXt chunk (PNG, third edition, 11.3.3); nothing when it is malformed. For
/// `inflateBudget` see `inflateZlib`.
std::optional<PngText> parsePngText(FourCC type, ByteSpan data, std::size_t& inflateBudget);
/// Appends a text chunk: tEXt where Latin-1 can say it, else iTXt. A keyword that PNG does not allow adds
/// nothing.
void appendPngText(Bytes& to, PngText const& text);
/// Appends XMP as an uncompressed iTXt chunk.
void appendPngXmp(Bytes& to, std::string_view packet);

/// The block in the text of a "Raw profile type ..." chunk: a blank line, a name, a length, hexadecimal
/// digits. Empty when it is none.
Bytes decodeRawProfile(std::string_view text);
/// Appends a block as the zTXt chunk "Raw profile type `name`".
void appendRawProfile(Bytes& to, std::string_view name, ByteSpan block);

/// IPTC-IIM data sets inside Photoshop image resources (resource 0x0404), or the block itself when it is
/// plain IIM.
ByteSpan iptcInResources(ByteSpan block);
/// Photoshop image resources with these IPTC-IIM data sets (none where they are empty), and with whatever
/// else `old` holds.
Bytes resourcesWithIptc(ByteSpan iim, ByteSpan old = {});

std::string latin1ToUtf8(ByteSpan text);
/// Nothing when the text has characters that Latin-1 lacks, or is not UTF-8.
std::optional<std::string> utf8ToLatin1(std::string_view text);
/// A name as a PNG keyword allows it (printable Latin-1, single spaces, at most 79 bytes), as Latin-1;
/// other characters become '?'.
std::string latin1Keyword(std::string_view utf8);

} // namespace velk::codec
