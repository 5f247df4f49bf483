#pragma once

#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace velk::test {

/// Bytes from numbers of any type, each stored as one byte.
Bytes bytesOf(std::initializer_list<int> values);
/// Joins pieces.
Bytes operator+(Bytes left, ByteSpan right);

/// Decodes `file` from a temporary file called `name`.
Result<PixelBufferPointer> decodeBytes(ByteSpan file, std::string const& name);
/// Opens `file` from a temporary file called `name`, which is gone afterwards.
Result<std::shared_ptr<codec::ImageSource const>> openBytes(ByteSpan file, std::string const& name);
/// Encodes to bytes.
Bytes encodeToBytes(std::string_view type, PixelBufferPointer const& pixels, EncodeExtras const& extras = {});

/// The components of row `y` as they lie in memory (8-bit images).
std::vector<int> rowOf(PixelBufferPointer const& pixels, int y);

/// A picture of `format` that goes through the encoder of `type` and comes back as it was.
void expectExactRoundTrip(std::string_view type, PixelBufferPointer const& pixels, int bits,
    std::string const& name, EncodeExtras extras = {});

/// Opens and reads many damaged versions of a good file: cut off, with bytes and numbers of its first
/// `headerBytes` replaced, and with its body replaced. Each must end in an error or in rows.
void expectToSurviveDamage(Bytes const& good, std::size_t headerBytes, std::string const& name);

} // namespace velk::test
