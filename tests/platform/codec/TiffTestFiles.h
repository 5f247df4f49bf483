#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/TiffDirectory.h"
#include "platform/codec/TiffTags.h"
#include "support/TestImages.h"

#include <tiffio.h>

#include <functional>
#include <string>
#include <vector>

/// TIFF files that no encoder of ours writes.
namespace velk::test {

namespace tag = codec::tiff::tag;
using codec::tiff::Format;

constexpr Format kLittle {ByteOrder::Little, false};
constexpr Format kBig {ByteOrder::Big, false};
constexpr Format kLittle64 {ByteOrder::Little, true};
constexpr Format kBig64 {ByteOrder::Big, true};

/// A field of integers, of the smallest of SHORT and LONG that holds them.
struct Integers {
    std::uint16_t tag;
    std::vector<std::uint32_t> values;
};

/// An image without compression in one strip (for planar ones in one strip a plane), put together by hand.
struct HandMadeImage {
    Format format = kLittle;
    int width = 1;
    int height = 1;
    int bits = 8;
    int samples = 1;
    int photometric = 1;
    std::vector<Integers> integers; ///< replace what follows from the members above
    std::vector<codec::tiff::Field> fields;
    Bytes pixels;
};

/// The bytes of such a file, its directory last.
Bytes handMade(HandMadeImage const& image);

/// Writes a file through libtiff: `setUp` sets the tags and writes the pixels.
void writeWithLibtiff(std::string const& path, char const* mode, std::function<void(TIFF*)> const& setUp);

/// What describes an opened file.
codec::SourceDescription const& describe(codec::ImageSource const& source);
/// An entry of {TIFF}.
PropertyValue const* tiffProperty(codec::ImageSource const& source, std::string_view key);
/// The coded bytes of all strips or tiles of the first directory.
std::vector<Bytes> codedData(std::string const& path);

} // namespace velk::test
