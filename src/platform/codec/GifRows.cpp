#include "platform/codec/GifRows.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

struct Release {
    void operator()(GifFileType* gif) const
    {
        int ignored = 0;
        DGifCloseFile(gif, &ignored);
    }
    void operator()(std::uint8_t* memory) const { std::free(memory); }
};

/// What giflib reads: the header of the file, then the first image, and nothing between them.
class GifStream {
public:
    explicit GifStream(GifSource const& source)
        : m_source(source)
        , m_reader(source.file())
    {
    }

    std::size_t read(std::span<std::uint8_t> to)
    {
        std::size_t done = 0;
        if (auto const end = m_source.contents().headerEnd; !m_isPastHeader) {
            done = m_reader.read(to.first(std::min<std::size_t>(to.size(), end - m_reader.position())));
            if (m_reader.position() < end)
                return done;
            m_isPastHeader = true;
            m_reader.seek(m_source.contents().frame.offset);
        }
        return done + m_reader.read(to.subspan(done));
    }

private:
    GifSource const& m_source;
    BufferedReader m_reader;
    bool m_isPastHeader = false;
};

int readStream(GifFileType* gif, GifByteType* to, int count)
{
    auto& stream = *static_cast<GifStream*>(gif->UserData);
    return static_cast<int>(stream.read({to, static_cast<std::size_t>(std::max(count, 0))}));
}

// Rows of an interlaced image come in four passes (GIF89a, appendix E).
constexpr struct {
    int first, step;
} kPasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};

class GifRows final : public RowSource {
public:
    explicit GifRows(std::shared_ptr<GifSource const> source)
        : RowSource(source->description().info.layout)
        , m_source(std::move(source))
        , m_stream(*m_source)
        , m_area(m_source->picture().area)
        , m_line(static_cast<std::size_t>(m_area.width))
    {
        auto const entries = m_source->picture().palette.entries.size();
        for (std::size_t i = 0; i < m_validIndex.size(); ++i)
            m_validIndex[i] = static_cast<std::uint8_t>(i < entries ? i : 0);
    }

    Result<void> start()
    {
        int error = 0;
        m_gif.reset(DGifOpen(&m_stream, readStream, &error));
        GifRecordType record = UNDEFINED_RECORD_TYPE;
        if (!m_gif || DGifGetRecordType(m_gif.get(), &record) != GIF_OK || record != IMAGE_DESC_RECORD_TYPE
            || DGifGetImageDesc(m_gif.get()) != GIF_OK)
            return fail("the GIF image data is damaged");
        return m_source->contents().frame.isInterlaced ? decodePasses() : Result<void> {};
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (int i = 0; i < rows.count; ++i) {
            auto const y = nextRow() + i - m_area.y;
            auto const* const picture = y >= 0 && y < m_area.height ? TRY(pictureRow(y)) : nullptr;
            if (m_source->picture().blankIndex)
                placeIndices(picture, rows.row(i));
            else
                placeColors(picture, rows.row(i));
        }
        return {};
    }

    // A row of the frame, or null when it is missing.
    Result<std::uint8_t const*> pictureRow(int y)
    {
        if (m_pixels)
            return m_hasRow[static_cast<std::size_t>(y)] ? pixelRow(y) : nullptr;
        return TRY(decodeLine(m_line.data(), y == 0)) ? m_line.data() : nullptr;
    }

    std::uint8_t* pixelRow(int y) { return m_pixels.get() + static_cast<std::size_t>(y) * m_line.size(); }

    // Returns whether there was anything left to decode for the line.
    Result<bool> decodeLine(std::uint8_t* line, bool isFirst)
    {
        if (m_isOver)
            return false;
        std::memset(line, m_source->picture().blankIndex.value_or(0), m_line.size());
        if (DGifGetLine(m_gif.get(), line, m_area.width) != GIF_OK) {
            if (isFirst)
                return fail("the GIF image data is damaged or missing");
            m_isOver = true;
            m_source->warnOfDamage();
        }
        return true;
    }

    Result<void> decodePasses()
    {
        // Rows that never come stay zeros that the system gives without using memory.
        m_pixels.reset(
            static_cast<std::uint8_t*>(std::calloc(static_cast<std::size_t>(m_area.height), m_line.size())));
        if (!m_pixels)
            return fail("out of memory");
        m_hasRow.resize(static_cast<std::size_t>(m_area.height));
        for (auto const& pass : kPasses) {
            for (int y = pass.first; y < m_area.height && !m_isOver; y += pass.step)
                m_hasRow[static_cast<std::size_t>(y)] = TRY(decodeLine(pixelRow(y), y == 0));
        }
        return {};
    }

    void placeIndices(std::uint8_t const* picture, std::uint8_t* to) const
    {
        std::memset(to, *m_source->picture().blankIndex, rowBytes());
        if (!picture)
            return;
        for (std::size_t x = 0; x < m_line.size(); ++x)
            to[static_cast<std::size_t>(m_area.x) + x] = m_validIndex[picture[x]];
    }

    void placeColors(std::uint8_t const* picture, std::uint8_t* to) const
    {
        std::memset(to, 0, rowBytes());
        if (!picture)
            return;
        to += static_cast<std::size_t>(m_area.x) * 4;
        for (std::size_t x = 0; x < m_line.size(); ++x)
            std::memcpy(to + 4 * x, m_source->picture().palette.entries[m_validIndex[picture[x]]].data(), 4);
    }

    std::shared_ptr<GifSource const> m_source;
    GifStream m_stream;
    IntRect m_area;
    Bytes m_line;
    std::array<std::uint8_t, 256> m_validIndex;
    bool m_isOver = false;
    // Only of an interlaced image: all of it, and which rows there are.
    std::unique_ptr<std::uint8_t[], Release> m_pixels;
    std::vector<bool> m_hasRow;
    std::unique_ptr<GifFileType, Release> m_gif;
};

} // namespace

Result<RowSourcePointer> openGifRows(std::shared_ptr<GifSource const> source)
{
    auto rows = std::make_unique<GifRows>(std::move(source));
    TRY(rows->start());
    return rows;
}

} // namespace velk::codec
