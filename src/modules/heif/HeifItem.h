#pragma once

#include "base/Files.h"

#include <optional>

namespace velk::codec::heif {

/// The channels that a picture is coded in.
enum class CodedChroma : std::uint8_t { Unknown, Monochrome, Halved, HalvedWidth, Full };

/// Those of the primary image, as the configuration of its HEVC or AV1 data says (ISO/IEC 14496-15, 8.3.3.1;
/// AV1 Codec ISO Media File Format Binding, 2.3), or of the first tile that it is made of.
Result<CodedChroma> chromaOf(InputFile const& file);

/// The item that is the primary image, by the content of the meta box (ISO/IEC 14496-12, 8.11.4).
std::optional<std::uint32_t> primaryItem(ByteSpan meta);

} // namespace velk::codec::heif
