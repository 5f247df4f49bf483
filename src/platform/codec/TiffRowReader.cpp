#include "platform/codec/TiffRowReader.h"

#include "platform/codec/TiffHandle.h"
#include "platform/codec/TiffYcbcr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace velk::codec::tiff {

namespace {

/// Strips that are larger when decoded are decoded row by row.
constexpr std::uint64_t kLargestWholeStrip = 4 << 20;
/// Bytes that are read at once where nothing has to be decoded.
constexpr std::uint64_t kReadAhead = 256 << 10;
/// Rows, and tiles and strips that can only be decoded as a whole, may not be larger.
constexpr std::uint64_t kLargestChunk = std::uint64_t {256} << 20;

/// Zeroed memory that costs nothing before it is written.
class ChunkBuffer {
public:
    static Result<ChunkBuffer> create(std::uint64_t size)
    {
        if (size > kLargestChunk)
            return fail("the rows or tiles of the TIFF image are too large");
        ChunkBuffer buffer;
        buffer.m_size = size;
        buffer.m_bytes.reset(static_cast<std::uint8_t*>(std::calloc(size + 1, 1)));
        if (!buffer.m_bytes)
            return fail("out of memory");
        return buffer;
    }

    std::uint8_t* data() const { return m_bytes.get(); }
    std::uint64_t size() const { return m_size; }

private:
    struct Release {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<std::uint8_t[], Release> m_bytes;
    std::uint64_t m_size = 0;
};

bool decodesWholeStripsOnly(int scheme)
{
    return scheme == compression::kJbig || scheme == compression::kOldJpeg;
}

bool isSgiLog(int scheme)
{
    return scheme == compression::kSgiLog || scheme == compression::kSgiLog24;
}

// Opens libtiff on the image and makes it deliver the samples that are planned.
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

// What all readers know of the image.
struct PlaneLayout {
    graphics::Size size;
    std::int32_t rowsPerChunk;
    std::uint64_t rowBytes;
    int plane;
};

class ReaderBase : public RowReader {
public:
    explicit ReaderBase(PlaneLayout layout)
        : m_layout(layout)
    {
    }
    std::string const& problem() const override { return m_problem; }

protected:
    void noteProblem(std::string problem)
    {
        if (m_problem.empty())
            m_problem = std::move(problem);
    }
    void noteProblem(Handle& handle)
    {
        if (handle.hasReadPastEnd())
            noteProblem("the file is cut off");
    }
    std::int32_t chunkCount() const
    {
        return static_cast<std::int32_t>(
            (std::int64_t {m_layout.size.height} + m_layout.rowsPerChunk - 1) / m_layout.rowsPerChunk);
    }
    /// Rows in a chunk; the last one has fewer.
    std::int32_t rowsIn(std::int32_t chunk) const
    {
        auto const first = std::int64_t {chunk} * m_layout.rowsPerChunk;
        return static_cast<std::int32_t>(
            std::min<std::int64_t>(m_layout.rowsPerChunk, m_layout.size.height - first));
    }

    PlaneLayout m_layout;

private:
    std::string m_problem;
};

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

// --- Chunks that are decoded as a whole -------------------------------------------------------------------

class ChunkRows : public ReaderBase {
public:
    ChunkRows(std::unique_ptr<Handle> handle, PlaneLayout layout, ChunkBuffer buffer)
        : ReaderBase(layout)
        , m_handle(std::move(handle))
        , m_buffer(std::move(buffer))
    {
    }

    std::uint8_t const* row(std::int32_t y) final
    {
        auto const chunk = y / m_layout.rowsPerChunk;
        if (chunk > m_chunk)
            load(chunk);
        auto const index = y % m_layout.rowsPerChunk;
        if (chunk < m_chunk || index >= m_goodRows)
            return nullptr;
        return m_buffer.data() + static_cast<std::uint64_t>(index) * m_layout.rowBytes;
    }

    bool anyRowFrom(std::int32_t y) final
    {
        for (auto chunk = y / m_layout.rowsPerChunk; chunk < chunkCount(); ++chunk) {
            if (chunk > m_chunk)
                load(chunk);
            if (m_goodRows > 0)
                return true;
        }
        return false;
    }

protected:
    /// Decodes a chunk into the buffer; returns how many of its rows, from the top, are good.
    virtual std::int32_t decode(std::int32_t chunk) = 0;

    TIFF* tiff() const { return m_handle->get(); }
    void noteError() { noteProblem(m_handle->takeError()); }

    std::unique_ptr<Handle> m_handle;
    ChunkBuffer m_buffer;

private:
    void load(std::int32_t chunk)
    {
        m_goodRows = decode(chunk);
        m_chunk = chunk;
        noteProblem(*m_handle);
    }

    std::int32_t m_chunk = -1;
    std::int32_t m_goodRows = 0;
};

class StripRows final : public ChunkRows {
public:
    StripRows(InputFile const& file, std::unique_ptr<Handle> handle, PlaneLayout layout, ChunkBuffer buffer,
        Structure const& structure)
        : ChunkRows(std::move(handle), layout, std::move(buffer))
        , m_file(file)
        , m_structure(structure)
    {
    }

private:
    std::int32_t decode(std::int32_t chunk) override
    {
        auto const rows = rowsIn(chunk);
        auto const wanted = static_cast<tmsize_t>(static_cast<std::uint64_t>(rows) * m_layout.rowBytes);
        auto const strip = TIFFComputeStrip(tiff(), static_cast<std::uint32_t>(chunk * m_layout.rowsPerChunk),
            static_cast<std::uint16_t>(m_layout.plane));
        if (TIFFReadEncodedStrip(tiff(), strip, m_buffer.data(), wanted) == wanted)
            return rows;
        noteError();
        return salvage(chunk, rows);
    }

    // Row by row, the decoder says how far it gets. That takes a second handle: the first one is in the
    // middle of the strip and cannot go back.
    std::int32_t salvage(std::int32_t chunk, std::int32_t rows)
    {
        if (decodesWholeStripsOnly(m_structure.compression))
            return 0;
        if (!m_second) {
            auto handle = openDecoder(m_file, m_structure);
            if (!handle)
                return 0;
            m_second = std::move(*handle);
        }
        for (std::int32_t i = 0; i < rows; ++i) {
            auto* const row = m_buffer.data() + static_cast<std::uint64_t>(i) * m_layout.rowBytes;
            auto const y = static_cast<std::uint32_t>(chunk * m_layout.rowsPerChunk + i);
            if (TIFFReadScanline(m_second->get(), row, y, static_cast<std::uint16_t>(m_layout.plane)) != 1)
                return i;
        }
        return rows;
    }

    InputFile const& m_file;
    Structure m_structure;
    std::unique_ptr<Handle> m_second;
};

class TileRows final : public ChunkRows {
public:
    TileRows(std::unique_ptr<Handle> handle, PlaneLayout layout, ChunkBuffer buffer, ChunkBuffer tile,
        std::int32_t tileWidth, std::uint64_t tileRowBytes)
        : ChunkRows(std::move(handle), layout, std::move(buffer))
        , m_tile(std::move(tile))
        , m_tileWidth(tileWidth)
        , m_tileRowBytes(tileRowBytes)
    {
    }

private:
    std::int32_t decode(std::int32_t chunk) override
    {
        bool any = false;
        for (std::int32_t column = 0; std::int64_t {column} * m_tileWidth < m_layout.size.width; ++column)
            any |= decodeTile(chunk, column);
        return any ? rowsIn(chunk) : 0;
    }

    bool decodeTile(std::int32_t chunk, std::int32_t column)
    {
        auto const tile = TIFFComputeTile(tiff(), static_cast<std::uint32_t>(column * m_tileWidth),
            static_cast<std::uint32_t>(chunk * m_layout.rowsPerChunk), 0,
            static_cast<std::uint16_t>(m_layout.plane));
        auto const wanted = static_cast<tmsize_t>(m_tile.size());
        bool const isGood = TIFFReadEncodedTile(tiff(), tile, m_tile.data(), wanted) == wanted;
        if (!isGood)
            noteError();

        auto const left = static_cast<std::uint64_t>(column) * m_tileRowBytes;
        auto const bytes = std::min(m_tileRowBytes, m_layout.rowBytes - left);
        for (std::int32_t y = 0; y < rowsIn(chunk); ++y) {
            auto* const to = m_buffer.data() + static_cast<std::uint64_t>(y) * m_layout.rowBytes + left;
            if (isGood)
                std::memcpy(to, m_tile.data() + static_cast<std::uint64_t>(y) * m_tileRowBytes, bytes);
            else
                std::memset(to, 0, bytes);
        }
        return isGood;
    }

    ChunkBuffer m_tile;
    std::int32_t m_tileWidth;
    std::uint64_t m_tileRowBytes;
};

// Strips and tiles of YCbCr data units, which are turned into RGB.
class YcbcrRows final : public ChunkRows {
public:
    YcbcrRows(std::unique_ptr<Handle> handle, PlaneLayout layout, ChunkBuffer buffer, ChunkBuffer units,
        std::int32_t tileWidth, YcbcrConverter converter)
        : ChunkRows(std::move(handle), layout, std::move(buffer))
        , m_units(std::move(units))
        , m_tileWidth(tileWidth)
        , m_converter(std::move(converter))
    {
    }

private:
    std::int32_t decode(std::int32_t chunk) override
    {
        auto const rows = rowsIn(chunk);
        if (m_tileWidth == 0) {
            bool const isGood = decodeUnits(chunk, rows);
            if (isGood)
                m_converter.convert(m_units.data(), {m_layout.size.width, rows}, m_layout.size.width,
                    m_buffer.data(), m_layout.rowBytes);
            return isGood ? rows : 0;
        }
        bool any = false;
        for (std::int32_t column = 0; std::int64_t {column} * m_tileWidth < m_layout.size.width; ++column) {
            auto const x = column * m_tileWidth;
            bool const isGood = decodeTile(chunk, x);
            auto const width = std::min(m_tileWidth, m_layout.size.width - x);
            auto* const to = m_buffer.data() + static_cast<std::size_t>(x) * 3;
            if (isGood)
                m_converter.convert(m_units.data(), {width, rows}, m_tileWidth, to, m_layout.rowBytes);
            for (std::int32_t y = 0; !isGood && y < rows; ++y)
                std::memset(to + static_cast<std::uint64_t>(y) * m_layout.rowBytes, 0,
                    static_cast<std::size_t>(width) * 3);
            any |= isGood;
        }
        return any ? rows : 0;
    }

    bool decodeUnits(std::int32_t chunk, std::int32_t rows)
    {
        auto const wanted = static_cast<tmsize_t>(m_converter.unitBytes({m_layout.size.width, rows}));
        return check(TIFFReadEncodedStrip(tiff(), static_cast<std::uint32_t>(chunk), m_units.data(),
                         static_cast<tmsize_t>(m_units.size()))
            >= wanted);
    }

    bool decodeTile(std::int32_t chunk, std::int32_t x)
    {
        auto const tile = TIFFComputeTile(tiff(), static_cast<std::uint32_t>(x),
            static_cast<std::uint32_t>(chunk * m_layout.rowsPerChunk), 0, 0);
        auto const wanted = static_cast<tmsize_t>(m_units.size());
        return check(TIFFReadEncodedTile(tiff(), tile, m_units.data(), wanted) == wanted);
    }

    bool check(bool isGood)
    {
        if (!isGood)
            noteError();
        return isGood;
    }

    ChunkBuffer m_units;
    std::int32_t m_tileWidth;
    YcbcrConverter m_converter;
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

Result<std::unique_ptr<RowReader>> makeYcbcrReader(DirectoryReader const& reader, Directory const& directory,
    Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle)
{
    std::uint16_t horizontal = 2, vertical = 2;
    TIFFGetFieldDefaulted(handle->get(), TIFFTAG_YCBCRSUBSAMPLING, &horizontal, &vertical);
    auto converter = TRY(YcbcrConverter::create(reader, directory, {horizontal, vertical}));
    auto const width = structure.isTiled ? structure.tileWidth : layout.size.width;
    if (structure.isTiled && (width % horizontal || structure.tileHeight % vertical))
        return fail("the TIFF image has tiles that do not fit its subsampling");
    auto const rows = layout.rowsPerChunk;
    auto const unitBytes = converter.unitBytes({width, rows});
    auto const decodedBytes =
        structure.isTiled ? TIFFTileSize64(handle->get()) : TIFFStripSize64(handle->get());
    if (decodedBytes < unitBytes)
        return fail("the TIFF image contradicts itself");
    auto units = TRY(ChunkBuffer::create(decodedBytes));
    auto buffer = TRY(ChunkBuffer::create(static_cast<std::uint64_t>(rows) * layout.rowBytes));
    return std::make_unique<YcbcrRows>(std::move(handle), layout, std::move(buffer), std::move(units),
        structure.isTiled ? structure.tileWidth : 0, std::move(converter));
}

Result<std::unique_ptr<RowReader>> makeTileReader(
    Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle)
{
    auto const tileRowBytes = static_cast<std::uint64_t>(TIFFTileRowSize64(handle->get()));
    auto const tileBytes = TIFFTileSize64(handle->get());
    auto const columns = (std::int64_t {layout.size.width} + structure.tileWidth - 1) / structure.tileWidth;
    auto const tileRowBits = std::uint64_t {static_cast<std::uint32_t>(structure.tileWidth)}
        * static_cast<std::uint64_t>(structure.samplesPerPlane() * structure.bitsPerSample);
    if (columns > 1 && tileRowBits % 8)
        return fail("TIFF tiles whose rows end inside a byte are not supported");
    bool const fits = tileRowBytes * static_cast<std::uint64_t>(columns) >= layout.rowBytes
        && tileBytes == tileRowBytes * static_cast<std::uint64_t>(structure.tileHeight)
        && tileRowBytes * static_cast<std::uint64_t>(columns - 1) < layout.rowBytes;
    if (!fits)
        return fail("the TIFF image contradicts itself");
    auto const rows = std::min(structure.tileHeight, layout.size.height);
    auto buffer = TRY(ChunkBuffer::create(static_cast<std::uint64_t>(rows) * layout.rowBytes));
    auto tile = TRY(ChunkBuffer::create(tileBytes));
    return std::make_unique<TileRows>(
        std::move(handle), layout, std::move(buffer), std::move(tile), structure.tileWidth, tileRowBytes);
}

Result<std::unique_ptr<RowReader>> makeStripReader(
    InputFile const& file, Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle)
{
    if (TIFFScanlineSize64(handle->get()) != layout.rowBytes)
        return fail("the TIFF image contradicts itself");
    auto const stripBytes = static_cast<std::uint64_t>(layout.rowsPerChunk) * layout.rowBytes;
    if (stripBytes > kLargestWholeStrip && !decodesWholeStripsOnly(structure.compression))
        return std::make_unique<ScanlineRows>(
            std::move(handle), layout, TRY(ChunkBuffer::create(layout.rowBytes)));
    auto buffer = TRY(ChunkBuffer::create(stripBytes));
    return std::make_unique<StripRows>(file, std::move(handle), layout, std::move(buffer), structure);
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

} // namespace

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
