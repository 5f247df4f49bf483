#pragma once

#include <cstddef>
#include <cstdint>

namespace velk::modules {

/// Name of the function in the module "exif".
constexpr char kRewriteMakerNotes[] = "velkRewriteMakerNotes";

/// Hands an Exif block made anew from a TIFF structure to `take`, in either byte order, with the inner
/// offsets of maker notes put right; hands over nothing when it cannot. Of a whole TIFF file the tags about
/// its pixels are left out.
using RewriteMakerNotes = void (*)(std::uint8_t const* tiff, std::size_t size, bool littleEndian,
    bool isWholeFile, void (*take)(void* context, std::uint8_t const* bytes, std::size_t size),
    void* context);

} // namespace velk::modules
