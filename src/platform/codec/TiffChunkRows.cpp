#include "platform/codec/TiffChunkRows.h"

#include "platform/codec/TiffYcbcr.h"

#include <algorithm>
#include <cstring>

namespace velk::codec::tiff {

namespace {

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
        , m_converter(converter)
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

} // namespace

Result<std::unique_ptr<RowReader>> makeWholeStripReader(
    InputFile const& file, Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle)
{
    auto buffer = TRY(ChunkBuffer::create(static_cast<std::uint64_t>(layout.rowsPerChunk) * layout.rowBytes));
    return std::make_unique<StripRows>(file, std::move(handle), layout, std::move(buffer), structure);
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
        structure.isTiled ? structure.tileWidth : 0, converter);
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

} // namespace velk::codec::tiff
