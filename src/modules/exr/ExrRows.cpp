#include "modules/exr/ExrRows.h"

#include "modules/exr/ExrStreams.h"

#include <ImfFrameBuffer.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfRgbaFile.h>

#include <algorithm>
#include <cstring>

namespace velk::codec::exr {

using namespace graphics;

namespace {

// Some consecutive rows of the data window, as wide as that, with all components of a pixel side by side.
struct DataRows {
    float* pixels = nullptr;
    int first = 0; ///< in the file's coordinates
    int count = 0;
};

// Decodes rows of the data window; throws what the library throws.
class DataReader {
public:
    virtual ~DataReader() = default;
    virtual void read(DataRows const& rows) = 0;
};

class ChannelReader final : public DataReader {
public:
    explicit ChannelReader(ExrSource const& source)
        : m_source(source)
        , m_stream(source.file())
        , m_input(m_stream, 1)
        , m_part(m_input, source.part())
    {
    }

    void read(DataRows const& rows) override
    {
        auto const& window = m_source.header().dataWindow();
        auto const& names = m_source.channels().names;
        auto const xStride = names.size() * sizeof(float);
        auto const yStride =
            static_cast<std::size_t>(std::int64_t {window.max.x} - window.min.x + 1) * xStride;
        Imf::FrameBuffer buffer;
        for (std::size_t i = 0; i < names.size(); ++i)
            buffer.insert(names[i],
                Imf::Slice::Make(Imf::FLOAT, rows.pixels + i, Imath::V2i(window.min.x, rows.first),
                    window.max.x - window.min.x + 1, rows.count, xStride, yStride));
        m_part.setFrameBuffer(buffer);
        m_part.readPixels(rows.first, rows.first + rows.count - 1);
    }

private:
    ExrSource const& m_source;
    InputStream m_stream;
    Imf::MultiPartInputFile m_input;
    Imf::InputPart m_part;
};

// Luminance and subsampled chroma, which the library brings together in half precision.
class LuminanceChromaReader final : public DataReader {
public:
    explicit LuminanceChromaReader(ExrSource const& source)
        : m_source(source)
        , m_stream(source.file())
        , m_input(m_stream, 1)
    {
    }

    void read(DataRows const& rows) override
    {
        auto const& window = m_source.header().dataWindow();
        auto const width = static_cast<std::size_t>(std::int64_t {window.max.x} - window.min.x + 1);
        m_row.resize(width);
        auto* to = rows.pixels;
        for (int y = rows.first; y < rows.first + rows.count; ++y) {
            m_input.setFrameBuffer(m_row.data() - window.min.x, 1, 0);
            m_input.readPixels(y);
            for (auto const& pixel : m_row) {
                *to++ = pixel.r;
                *to++ = pixel.g;
                *to++ = pixel.b;
                if (m_source.channels().hasAlpha)
                    *to++ = pixel.a;
            }
        }
    }

private:
    ExrSource const& m_source;
    InputStream m_stream;
    Imf::RgbaInputFile m_input;
    std::vector<Imf::Rgba> m_row;
};

// Cuts the display window out of the data window, which may lie anywhere:
//
//     data      +------------------+
//     display   |      +-----------+-----+
//               |      | copied    | 0   |
//
class ExrRows final : public RowSource {
public:
    explicit ExrRows(std::shared_ptr<ExrSource const> source)
        : RowSource(source->description().info.layout)
        , m_source(std::move(source))
        , m_data(m_source->header().dataWindow())
        , m_display(m_source->header().displayWindow())
    {
        auto const rowFloats = dataWidth() * format().bytesPerPixel() / sizeof(float);
        m_blockRows = static_cast<int>(
            std::clamp<std::size_t>(kBlockBytes / (rowFloats * sizeof(float)), 1, kLargestBlock));
        m_block.resize(rowFloats * static_cast<std::size_t>(m_blockRows));
    }

    Result<void> start()
    {
        return guarded([&] {
            if (m_source->channels().isLuminanceChroma)
                m_reader = std::make_unique<LuminanceChromaReader>(*m_source);
            else
                m_reader = std::make_unique<ChannelReader>(*m_source);
        });
    }

private:
    // The tallest blocks that are coded as one have 256 rows.
    static constexpr std::size_t kLargestBlock = 256;
    static constexpr std::size_t kBlockBytes = 4 * 1024 * 1024;

    std::size_t dataWidth() const
    {
        return static_cast<std::size_t>(std::int64_t {m_data.max.x} - m_data.min.x + 1);
    }

    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i)
            readRow(m_display.min.y + nextRow() + i, rows.row(i));
        return {};
    }

    void readRow(int y, std::uint8_t* row)
    {
        std::memset(row, 0, rowBytes());
        if (y < m_data.min.y || y > m_data.max.y)
            return;
        if (y < m_first || y >= m_first + m_count)
            load(y);
        auto const left = std::max(m_data.min.x, m_display.min.x);
        auto const right = std::min(m_data.max.x, m_display.max.x);
        if (left > right)
            return;
        auto const pixel = format().bytesPerPixel();
        auto const* block = reinterpret_cast<std::uint8_t const*>(m_block.data());
        auto const* from = block + static_cast<std::size_t>(y - m_first) * dataWidth() * pixel
            + static_cast<std::size_t>(left - m_data.min.x) * pixel;
        std::memcpy(row + static_cast<std::size_t>(left - m_display.min.x) * pixel, from,
            static_cast<std::size_t>(right - left + 1) * pixel);
    }

    void load(int y)
    {
        m_first = y;
        m_count = std::min(m_blockRows, m_data.max.y - y + 1);
        if (decode({m_block.data(), m_first, m_count}))
            return;
        // One row after the other, to have those that are sound.
        m_source->reportDamage();
        auto const rowFloats = m_block.size() / static_cast<std::size_t>(m_blockRows);
        for (int i = 0; i < m_count; ++i) {
            auto* const row = m_block.data() + static_cast<std::size_t>(i) * rowFloats;
            if (!decode({row, m_first + i, 1}))
                std::fill_n(row, rowFloats, 0.0f);
        }
    }

    bool decode(DataRows const& rows)
    {
        return guarded([&] { m_reader->read(rows); }).has_value();
    }

    std::shared_ptr<ExrSource const> m_source;
    Imath::Box2i m_data, m_display;
    std::unique_ptr<DataReader> m_reader;
    std::vector<float> m_block;
    int m_blockRows = 1;
    int m_first = 0, m_count = 0; ///< rows in the block
};

} // namespace

Result<RowSourcePointer> openRows(std::shared_ptr<ExrSource const> source)
{
    auto rows = std::make_unique<ExrRows>(std::move(source));
    TRY(rows->start());
    return rows;
}

} // namespace velk::codec::exr
