#pragma once

#include "platform/codec/ImageSource.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace velk::codec {

/// The rows of one plane of an image (or of all its channels interleaved) as the file codes their samples,
/// but unpacked and in order from the top of the picture down.
class StoredRows {
public:
    virtual ~StoredRows() = default;
    /// Fills `row` with the next one and returns how many of its bytes the file holds; the others are zero.
    virtual Result<std::size_t> next(std::span<std::uint8_t> row) = 0;
};

using StoredRowsPointer = std::unique_ptr<StoredRows>;

/// Uncompressed rows, one after the other in the file from the top or from the bottom of the picture.
class VerbatimRows final : public StoredRows {
public:
    struct Place {
        std::uint64_t offset = 0; ///< of the row that the file holds first
        std::uint64_t stride = 0; ///< bytes from one row to the next
        std::int32_t count = 0;
        bool bottomUp = false;
    };

    VerbatimRows(InputFile const& file, Place place)
        : m_file(&file)
        , m_place(place)
    {
    }
    Result<std::size_t> next(std::span<std::uint8_t> row) override;

private:
    Result<void> load(std::int64_t storedRow);

    InputFile const* m_file;
    Place m_place;
    std::int64_t m_next = 0;
    std::int64_t m_first = 0; ///< stored row that the block starts with
    std::int64_t m_loaded = 0; ///< rows in the block
    Bytes m_block;
    std::size_t m_filled = 0; ///< bytes of the block that were in the file
};

/// Compressed rows that can only be decoded in the order of the file, made available from the other end:
/// bands of rows are decoded one at a time, from places that a first pass over the data has noted.
class RowBands final {
public:
    RowBands(std::int32_t rowCount, std::size_t rowBytes);

    std::int32_t bandCount() const { return (m_rowCount + m_bandRows - 1) / m_bandRows; }
    std::int32_t firstRow(std::int32_t band) const { return band * m_bandRows; }
    std::int32_t rowsIn(std::int32_t band) const { return std::min(m_bandRows, m_rowCount - firstRow(band)); }
    std::int32_t bandOf(std::int32_t row) const { return row / m_bandRows; }

private:
    std::int32_t m_rowCount;
    std::int32_t m_bandRows;
};

/// Turns the stored rows of all planes, which it may overwrite, into one row of the image.
using RowDecoder = std::function<void(std::span<Bytes> planes, std::uint8_t* row)>;

/// What a raw format's file holds for one pass over its pixels.
struct StoredImage {
    std::vector<StoredRowsPointer> planes;
    std::size_t rowBytes = 0; ///< of one row of one plane
    RowDecoder decode;
};

/// An image source of a format whose pixels this program unpacks itself.
class RawImageSource : public ImageSource {
public:
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const final;

    /// Warns, once for this source, that the file holds fewer pixels than it says.
    void reportMissingPixels() const;

protected:
    using ImageSource::ImageSource;
    virtual Result<StoredImage> openStored() const = 0;

private:
    mutable std::atomic<bool> m_reported = false;
};

/// How many bytes of pixel data there must be.
struct PixelDataSize {
    std::uint64_t firstRow = 0; ///< for any pixels at all
    std::uint64_t complete = 0; ///< for all of them, at the least
};

/// An error unless an image of this size may exist and the file holds its first row from `offset` on; a large
/// image must also be there to some part, so that no small file makes us clear gigabytes.
Result<void> checkPixelData(
    InputFile const& file, graphics::Size size, std::uint64_t offset, PixelDataSize needed);

} // namespace velk::codec
