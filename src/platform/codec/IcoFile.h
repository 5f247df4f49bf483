#pragma once

#include "base/Files.h"
#include "platform/codec/StoredRows.h"
#include "platform/graphics/RowSource.h"

#include <optional>

namespace velk::codec {

/// The bitmap of an icon: a BITMAPINFOHEADER whose height counts colours and mask, a palette, the rows of
/// colours and those of the mask, both from the bottom up and padded to four bytes.
struct IcoBitmap {
    graphics::Size size;
    int bitsPerPixel = 0;
    graphics::Palette palette;
    std::uint64_t colorOffset = 0;

    std::uint64_t colorStride() const;
    std::uint64_t maskStride() const;
    std::uint64_t maskOffset() const;
};

/// One picture of an icon or cursor file.
struct IcoPicture {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    graphics::Size pixels;
    int bitsPerPixel = 0;
    bool isPng = false;
};

/// What the directory of a file offers; pictures that make no sense are left out.
struct IcoDirectory {
    bool isCursor = false;
    int count = 0; ///< of all pictures
    std::vector<IcoPicture> pictures;

    /// The one of most pixels, of equals the one of most colours; null when there is none.
    IcoPicture const* largest() const;
};

bool startsLikeIco(ByteSpan head, std::uint64_t fileSize);
Result<IcoDirectory> readIcoDirectory(InputFile const& file);
Result<IcoBitmap> readIcoBitmap(InputFile const& file, IcoPicture const& picture);

/// Rows of 8-bit RGB with straight alpha. `usesMask` takes alpha from the mask, else from the pixels.
/// `reportMissing` is called for each row that the file does not hold.
graphics::RowSourcePointer icoBitmapRows(
    InputFile const& file, IcoBitmap const& bitmap, bool usesMask, std::function<void()> reportMissing);
/// Whether pixels of 32 bits have alpha: many files leave it zero and rely on the mask.
Result<bool> icoBitmapHasAlpha(InputFile const& file, IcoBitmap const& bitmap);

} // namespace velk::codec
