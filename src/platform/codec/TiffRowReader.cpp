#include "platform/codec/TiffRowReader.h"

#include "platform/codec/TiffChunkRows.h"
#include "platform/codec/TiffReaderBase.h"

#include <algorithm>

namespace velk::codec::tiff {

namespace {

/// Strips that are larger when decoded are decoded row by row.
constexpr std::uint64_t kLargestWholeStrip = 4 << 20;
/// Bytes that are read at once where nothing has to be decoded.
constexpr std::uint64_t kReadAhead = 256 << 10;

// --- Strips without compression, read from the file a few rows at a time ----------------------------------

class PlainStripRows final : public ReaderBase {
public:
    PlainStripRows(InputFile const& file, PlaneLayout layout, std::vector<std::uint64_t> offsets,
        Structure const& structure, ByteOrder order)
        : ReaderBase(layout)
        , m_file(file)
        , m_offsets(std::move(offsets))
        , m_isBitReversed(structure.isBitReversed)
        , m_swapSize(
              order == kNativeByteOrder || structure.bitsPerSample % 8 ? 1 : structure.bitsPerSample / 8)
    {
    }

    std::uint8_t const* row(std::int32_t y) override
    {
        if (y >= m_firstRow + m_rowCount)
            load(y);
        auto const index = y - m_firstRow;
        if (index < 0 || index >= m_goodRows)
            return nullptr;
        return m_rows.data() + static_cast<std::uint64_t>(index) * m_layout.rowBytes;
    }

    bool anyRowFrom(std::int32_t y) override
    {
        auto const first = static_cast<std::size_t>(y / m_layout.rowsPerChunk);
        return std::any_of(m_offsets.begin() + static_cast<std::ptrdiff_t>(first), m_offsets.end(),
            [this](auto offset) { return offset > 0 && bytesFrom(offset) >= m_layout.rowBytes; });
    }

private:
    std::uint64_t bytesFrom(std::uint64_t offset) const
    {
        return offset < m_file.size() ? m_file.size() - offset : 0;
    }

    // Reads rows from `y` on, but not beyond its strip.
    void load(std::int32_t y)
    {
        auto const strip = y / m_layout.rowsPerChunk;
        auto const rowInStrip = y % m_layout.rowsPerChunk;
        auto const most = std::max<std::uint64_t>(kReadAhead / m_layout.rowBytes, 1);
        auto const rows =
            std::min<std::uint64_t>(static_cast<std::uint64_t>(rowsIn(strip) - rowInStrip), most);
        auto const offset = m_offsets[static_cast<std::size_t>(strip)];
        auto const skipped = static_cast<std::uint64_t>(rowInStrip) * m_layout.rowBytes;
        m_firstRow = y;
        m_rowCount = static_cast<std::int32_t>(rows);
        m_goodRows = 0;
        // An offset of zero is a hole.
        auto const there = offset == 0 ? 0 : bytesFrom(offset);
        if (there < skipped + rows * m_layout.rowBytes)
            noteProblem("the file is cut off");
        if (there < skipped + m_layout.rowBytes)
            return;
        m_rows.resize(std::min(rows, (there - skipped) / m_layout.rowBytes) * m_layout.rowBytes);
        if (auto const done = m_file.readExactlyAt(offset + skipped, m_rows); !done) {
            noteProblem(done.error().message);
            return;
        }
        m_goodRows = static_cast<std::int32_t>(m_rows.size() / m_layout.rowBytes);
        if (m_isBitReversed)
            TIFFReverseBits(m_rows.data(), static_cast<tmsize_t>(m_rows.size()));
        swapBytes();
    }

    void swapBytes()
    {
        if (m_swapSize == 1)
            return;
        for (auto at = m_rows.begin(); m_rows.end() - at >= m_swapSize; at += m_swapSize)
            std::reverse(at, at + m_swapSize);
    }

    InputFile const& m_file;
    std::vector<std::uint64_t> m_offsets;
    bool m_isBitReversed;
    int m_swapSize;
    Bytes m_rows;
    std::int32_t m_firstRow = 0;
    std::int32_t m_rowCount = 0;
    std::int32_t m_goodRows = 0;
};

// --- Large strips, row by row -----------------------------------------------------------------------------

class ScanlineRows final : public ReaderBase {
public:
    ScanlineRows(std::unique_ptr<Handle> handle, PlaneLayout layout, ChunkBuffer row)
        : ReaderBase(layout)
        , m_handle(std::move(handle))
        , m_row(std::move(row))
    {
    }

    std::uint8_t const* row(std::int32_t y) override
    {
        if (y < m_nextRow)
            return y == m_nextRow - 1 && m_hasRow ? m_row.data() : nullptr;
        // Decoders only go forward, so what lies above in the same strip is decoded too.
        m_nextRow = std::max(m_nextRow, y - y % m_layout.rowsPerChunk);
        while (m_nextRow <= y) {
            m_hasRow = TIFFReadScanline(m_handle->get(), m_row.data(), static_cast<std::uint32_t>(m_nextRow),
                           static_cast<std::uint16_t>(m_layout.plane))
                == 1;
            noteProblem(*m_handle);
            ++m_nextRow;
            if (!m_hasRow) {
                noteProblem(m_handle->takeError());
                skipStrip();
                return nullptr;
            }
        }
        return m_row.data();
    }

    bool anyRowFrom(std::int32_t y) override
    {
        for (; y < m_layout.size.height; y = lastRowOfStrip(y) + 1) {
            if (row(y))
                return true;
        }
        return false;
    }

private:
    std::int32_t lastRowOfStrip(std::int32_t y) const
    {
        auto const strip = y / m_layout.rowsPerChunk;
        return strip * m_layout.rowsPerChunk + rowsIn(strip) - 1;
    }
    // After an error nothing more of a strip can be decoded.
    void skipStrip() { m_nextRow = lastRowOfStrip(m_nextRow - 1) + 1; }

    std::unique_ptr<Handle> m_handle;
    ChunkBuffer m_row;
    std::int32_t m_nextRow = 0;
    bool m_hasRow = false;
};

// --- Choosing ----------------------------------------------------------------------------------------------

// Buffers are sized by our reading of the directory and filled by libtiff's, so the two must agree.
Result<void> checkAgreement(TIFF* tiff, Structure const& structure, PlaneLayout const& layout)
{
    std::uint32_t width = 0, height = 0, rowsPerStrip = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    bool agrees = width == static_cast<std::uint32_t>(layout.size.width)
        && height == static_cast<std::uint32_t>(layout.size.height)
        && (TIFFIsTiled(tiff) != 0) == structure.isTiled;
    if (structure.isTiled) {
        std::uint32_t tileWidth = 0, tileHeight = 0;
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tileWidth);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tileHeight);
        agrees = agrees && tileWidth == static_cast<std::uint32_t>(structure.tileWidth)
            && tileHeight == static_cast<std::uint32_t>(structure.tileHeight);
    } else {
        agrees =
            agrees && std::min(rowsPerStrip, height) == static_cast<std::uint32_t>(structure.rowsPerStrip);
    }
    return agrees ? Result<void>() : fail("the TIFF image contradicts itself");
}

Result<std::unique_ptr<RowReader>> makeStripReader(
    InputFile const& file, Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle)
{
    if (TIFFScanlineSize64(handle->get()) != layout.rowBytes)
        return fail("the TIFF image contradicts itself");
    auto const stripBytes = static_cast<std::uint64_t>(layout.rowsPerChunk) * layout.rowBytes;
    if (stripBytes <= kLargestWholeStrip || decodesWholeStripsOnly(structure.compression))
        return makeWholeStripReader(file, structure, layout, std::move(handle));
    auto row = TRY(ChunkBuffer::create(layout.rowBytes));
    return std::make_unique<ScanlineRows>(std::move(handle), layout, std::move(row));
}

// Offsets of the strips of one plane, where there are as many as there should be.
std::vector<std::uint64_t> stripOffsets(
    DirectoryReader const& reader, Directory const& directory, Structure const& structure, int plane)
{
    auto const perPlane = (std::uint64_t {static_cast<std::uint32_t>(structure.size.height)}
                              + static_cast<std::uint64_t>(structure.rowsPerStrip) - 1)
        / static_cast<std::uint64_t>(structure.rowsPerStrip);
    auto const planes = structure.isPlanar ? static_cast<std::uint64_t>(structure.samplesPerPixel) : 1;
    auto offsets = reader.integers(directory.find(tag::kStripOffsets), perPlane * planes);
    if (offsets.size() != perPlane * planes)
        return {};
    auto const first =
        offsets.begin() + static_cast<std::ptrdiff_t>(perPlane * static_cast<std::uint64_t>(plane));
    return {first, first + static_cast<std::ptrdiff_t>(perPlane)};
}

std::uint64_t decodedRowBytes(Structure const& structure, DecodedSamples decoded)
{
    auto const width = static_cast<std::uint64_t>(structure.size.width);
    switch (decoded) {
    case DecodedSamples::AsStored:
        return structure.rowBytes(structure.size.width);
    case DecodedSamples::Rgb:
        return width * 3;
    case DecodedSamples::Luminance:
        return width * sizeof(float);
    case DecodedSamples::Xyz:
        return width * 3 * sizeof(float);
    }
    return 0;
}

bool isSgiLog(int scheme)
{
    return scheme == compression::kSgiLog || scheme == compression::kSgiLog24;
}

} // namespace

bool decodesWholeStripsOnly(int scheme)
{
    return scheme == compression::kJbig || scheme == compression::kOldJpeg;
}

Result<std::unique_ptr<Handle>> openDecoder(InputFile const& file, Structure const& structure)
{
    auto const scheme = structure.compression;
    if (scheme < 0 || scheme > 65535 || !TIFFIsCODECConfigured(static_cast<std::uint16_t>(scheme)))
        return fail("TIFF compression {} is not supported", scheme);
    auto handle = TRY(Handle::openForReading(file));
    if (scheme == compression::kJpeg && structure.photometric == Photometric::YCbCr)
        TIFFSetField(handle->get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (isSgiLog(scheme))
        TIFFSetField(handle->get(), TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_FLOAT);
    return handle;
}

Result<std::unique_ptr<RowReader>> makeRowReader(InputFile const& file, DirectoryReader const& reader,
    Directory const& directory, Structure const& structure, DecodedSamples decoded, int plane)
{
    PlaneLayout const layout {structure.size,
        structure.isTiled ? structure.tileHeight : structure.rowsPerStrip,
        decodedRowBytes(structure, decoded), plane};
    if (layout.rowBytes > kLargestChunk)
        return fail("the rows or tiles of the TIFF image are too large");
    bool const isPlain = structure.compression == compression::kNone && !structure.isTiled
        && decoded == DecodedSamples::AsStored;
    if (isPlain) {
        auto offsets = stripOffsets(reader, directory, structure, plane);
        if (!offsets.empty())
            return std::make_unique<PlainStripRows>(
                file, layout, std::move(offsets), structure, reader.format().order);
    }
    auto handle = TRY(openDecoder(file, structure));
    TRY(checkAgreement(handle->get(), structure, layout));
    if (decoded == DecodedSamples::Rgb && structure.compression != compression::kJpeg)
        return makeYcbcrReader(reader, directory, structure, layout, std::move(handle));
    if (structure.isTiled)
        return makeTileReader(structure, layout, std::move(handle));
    return makeStripReader(file, structure, layout, std::move(handle));
}

} // namespace velk::codec::tiff
