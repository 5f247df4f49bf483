#include "platform/codec/BmpRunLength.h"

#include <algorithm>

namespace velk::codec {

namespace {

// Where decoding stands: the next command and the pixel that it starts at, rows counted as they are stored.
struct Cursor {
    std::uint64_t offset = 0;
    std::int64_t x = 0;
    std::int64_t y = 0;
};

// The rows that are being decoded; pixels outside are dropped.
struct Band {
    std::int64_t firstRow = 0;
    std::int64_t rows = 0;
    std::int64_t width = 0;
    std::size_t pixelBytes = 1;
    Bytes pixels;

    void put(std::int64_t x, std::int64_t y, std::uint8_t const* pixel)
    {
        if (x >= width || y < firstRow || y >= firstRow + rows)
            return;
        auto const at = static_cast<std::size_t>((y - firstRow) * width + x) * pixelBytes;
        std::copy_n(pixel, pixelBytes, pixels.begin() + static_cast<std::ptrdiff_t>(at));
    }
};

enum class Step : std::uint8_t { Continues, EndOfBitmap, OutOfData };

// Executes the commands of the code one by one (Microsoft's "Bitmap Compression").
class Interpreter {
public:
    Interpreter(InputFile const& file, BmpCompression compression)
        : m_reader(file)
        , m_compression(compression)
    {
    }

    Cursor const& cursor()
    {
        m_cursor.offset = m_reader.position();
        return m_cursor;
    }
    void moveTo(Cursor const& cursor)
    {
        m_cursor = cursor;
        m_reader.seek(cursor.offset);
    }

    Step step(Band* band)
    {
        auto const first = m_reader.byte();
        if (!first)
            return Step::OutOfData;
        if (*first > 0)
            return run(*first, band);
        auto const second = m_reader.byte();
        if (!second)
            return Step::OutOfData;
        switch (*second) {
        case kEndOfLine:
            m_cursor.x = 0;
            ++m_cursor.y;
            return Step::Continues;
        case kEndOfBitmap:
            return Step::EndOfBitmap;
        case kDelta:
            return delta();
        default:
            return literals(*second, band);
        }
    }

private:
    enum : std::uint8_t { kEndOfLine = 0, kEndOfBitmap = 1, kDelta = 2 };

    // Two nibbles make two pixels in RLE4, three bytes make one in RLE24.
    std::size_t bytesFor(unsigned pixels) const
    {
        if (m_compression == BmpCompression::Rle4)
            return (pixels + 1) / 2;
        return m_compression == BmpCompression::Rle24 ? 3 * pixels : pixels;
    }

    void put(Band* band, std::uint8_t const* pixel)
    {
        if (band)
            band->put(m_cursor.x, m_cursor.y, pixel);
        ++m_cursor.x;
    }

    // `count` pixels from bytes that are repeated where they do not suffice.
    void putAll(Band* band, unsigned count, std::span<std::uint8_t const> bytes)
    {
        if (!band) {
            m_cursor.x += count;
            return;
        }
        for (unsigned i = 0; i < count; ++i) {
            if (m_compression == BmpCompression::Rle24) {
                put(band, bytes.data() + i * 3 % bytes.size());
                continue;
            }
            auto const isNibble = m_compression == BmpCompression::Rle4;
            auto const byte = bytes[(isNibble ? i / 2 : i) % bytes.size()];
            auto const index = static_cast<std::uint8_t>(isNibble ? (i % 2 ? byte & 15 : byte >> 4) : byte);
            put(band, &index);
        }
    }

    Step run(unsigned count, Band* band)
    {
        auto const bytes = std::span(m_bytes).first(bytesFor(1));
        if (m_reader.read(bytes) != bytes.size())
            return Step::OutOfData;
        putAll(band, count, bytes);
        return Step::Continues;
    }

    Step literals(unsigned count, Band* band)
    {
        auto const size = bytesFor(count);
        auto const padded = std::span(m_bytes).first((size + 1) / 2 * 2);
        if (m_reader.read(padded) < size)
            return Step::OutOfData;
        putAll(band, count, padded.first(size));
        return Step::Continues;
    }

    Step delta()
    {
        auto const right = m_reader.byte();
        auto const down = m_reader.byte();
        if (!right || !down)
            return Step::OutOfData;
        m_cursor.x += *right;
        m_cursor.y += *down;
        return Step::Continues;
    }

    BufferedReader m_reader;
    BmpCompression m_compression;
    Cursor m_cursor;
    std::array<std::uint8_t, 3 * 256> m_bytes = {};
};

class RunLengthRows final : public StoredRows {
public:
    RunLengthRows(InputFile const& file, BmpHeader const& header)
        : m_interpreter(file, header.compression)
        , m_height(header.size.height)
        , m_topDown(header.topDown)
        , m_band {.width = header.size.width,
              .pixelBytes = header.compression == BmpCompression::Rle24 ? 3u : 1u}
        , m_bands(header.size.height, rowBytes())
        , m_start {header.pixelOffset}
    {
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        if (m_starts.empty())
            findBands();
        auto const stored = m_topDown ? m_next : m_height - 1 - m_next;
        ++m_next;
        if (stored < m_band.firstRow || stored >= m_band.firstRow + m_band.rows)
            decodeBand(m_bands.bandOf(stored));
        auto const at = static_cast<std::size_t>(stored - m_band.firstRow) * rowBytes();
        std::copy_n(m_band.pixels.data() + at, row.size(), row.data());
        return stored < m_rowsFound ? row.size() : 0;
    }

private:
    std::size_t rowBytes() const { return static_cast<std::size_t>(m_band.width) * m_band.pixelBytes; }

    // The first pass: runs over all commands and notes where the first that reaches into each band stands.
    void findBands()
    {
        m_interpreter.moveTo(m_start);
        auto step = Step::Continues;
        while (step == Step::Continues && m_interpreter.cursor().y < m_height) {
            auto const band = m_bands.bandOf(static_cast<std::int32_t>(m_interpreter.cursor().y));
            while (static_cast<std::int32_t>(m_starts.size()) <= band)
                m_starts.push_back(m_interpreter.cursor());
            step = m_interpreter.step(nullptr);
        }
        // What comes after an early end of the bitmap is left out on purpose.
        auto const& end = m_interpreter.cursor();
        m_rowsFound = step == Step::OutOfData ? end.y + (end.x > 0 ? 1 : 0) : m_height;
    }

    void decodeBand(std::int32_t index)
    {
        m_band.firstRow = m_bands.firstRow(index);
        m_band.rows = m_bands.rowsIn(index);
        m_band.pixels.assign(static_cast<std::size_t>(m_band.rows) * rowBytes(), 0);
        if (static_cast<std::size_t>(index) >= m_starts.size())
            return;
        m_interpreter.moveTo(m_starts[static_cast<std::size_t>(index)]);
        while (m_interpreter.cursor().y < m_band.firstRow + m_band.rows
            && m_interpreter.step(&m_band) == Step::Continues) { }
    }

    Interpreter m_interpreter;
    std::int32_t m_height;
    bool m_topDown;
    Band m_band;
    RowBands m_bands;
    Cursor m_start;
    std::vector<Cursor> m_starts;
    std::int32_t m_next = 0;
    std::int64_t m_rowsFound = 0;
};

} // namespace

StoredRowsPointer bmpRunLengthRows(InputFile const& file, BmpHeader const& header)
{
    return std::make_unique<RunLengthRows>(file, header);
}

} // namespace velk::codec
