#include "platform/codec/TgaRunLength.h"

#include "platform/codec/RunLength.h"

#include <cstring>

namespace velk::codec {

namespace {

constexpr std::size_t kLongestPixel = 4;
constexpr std::uint8_t kRunFlag = 0x80;

// Delivers the pixels of a sequence of packets.
class PacketReader {
public:
    // A place between two pixels, possibly inside of a packet.
    struct State {
        std::uint64_t offset = 0;
        std::size_t left = 0; ///< pixels of the packet that are still to come
        bool isRun = false;
        std::array<std::uint8_t, kLongestPixel> pixel = {};
    };

    PacketReader(InputFile const& file, std::size_t pixelBytes)
        : m_reader(file)
        , m_pixelBytes(pixelBytes)
    {
    }

    State const& state()
    {
        m_state.offset = m_reader.position();
        return m_state;
    }
    void moveTo(State const& state)
    {
        m_state = state;
        m_reader.seek(state.offset);
    }

    // Up to `count` pixels to `to` (null: nowhere); returns how many there were.
    std::size_t read(std::size_t count, std::uint8_t* to)
    {
        std::size_t done = 0;
        while (done < count && (m_state.left > 0 || startPacket())) {
            auto const wanted = std::min(count - done, m_state.left);
            auto const got = m_state.isRun ? repeat(wanted, to) : copy(wanted, to);
            if (to)
                to += got * m_pixelBytes;
            done += got;
            m_state.left -= got;
            if (got < wanted)
                break;
        }
        return done;
    }

private:
    bool startPacket()
    {
        auto const head = m_reader.byte();
        if (!head)
            return false;
        m_state.isRun = (*head & kRunFlag) != 0;
        m_state.left = (*head & ~kRunFlag & 0xFFu) + 1;
        auto const pixel = std::span(m_state.pixel).first(m_pixelBytes);
        if (m_state.isRun && m_reader.read(pixel) != pixel.size()) {
            m_state.left = 0;
            return false;
        }
        return true;
    }

    std::size_t repeat(std::size_t count, std::uint8_t* to)
    {
        for (std::size_t i = 0; to && i < count; ++i, to += m_pixelBytes)
            std::memcpy(to, m_state.pixel.data(), m_pixelBytes);
        return count;
    }

    std::size_t copy(std::size_t count, std::uint8_t* to)
    {
        if (to)
            return m_reader.read({to, count * m_pixelBytes}) / m_pixelBytes;
        m_reader.skip(count * m_pixelBytes);
        return count;
    }

    BufferedReader m_reader;
    std::size_t m_pixelBytes;
    State m_state;
};

class TopDownRows final : public StoredRows {
public:
    TopDownRows(InputFile const& file, TgaHeader const& header)
        : m_packets(file, header.pixelBytes())
        , m_pixelBytes(header.pixelBytes())
    {
        m_packets.moveTo({.offset = header.pixelOffset()});
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        auto const found = m_packets.read(row.size() / m_pixelBytes, row.data()) * m_pixelBytes;
        std::fill(row.begin() + static_cast<std::ptrdiff_t>(found), row.end(), std::uint8_t {0});
        return found;
    }

private:
    PacketReader m_packets;
    std::size_t m_pixelBytes;
};

class BottomUpRows final : public StoredRows {
public:
    BottomUpRows(InputFile const& file, TgaHeader const& header)
        : m_packets(file, header.pixelBytes())
        , m_width(static_cast<std::size_t>(header.size.width))
        , m_pixelBytes(header.pixelBytes())
        , m_bands(header.size.height, m_width * m_pixelBytes)
        , m_row(header.size.height)
    {
        m_packets.moveTo({.offset = header.pixelOffset()});
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        if (m_starts.empty())
            findBands();
        --m_row;
        if (auto const band = m_bands.bandOf(m_row); band != m_band)
            decodeBand(band);
        auto const at = static_cast<std::size_t>(m_row - m_bands.firstRow(m_band)) * row.size();
        std::copy_n(m_pixels.data() + at, row.size(), row.data());
        return m_found > at ? std::min(row.size(), m_found - at) : 0;
    }

private:
    void findBands()
    {
        for (std::int32_t band = 0; band < m_bands.bandCount(); ++band) {
            m_starts.push_back(m_packets.state());
            m_packets.read(m_width * static_cast<std::size_t>(m_bands.rowsIn(band)), nullptr);
        }
    }

    void decodeBand(std::int32_t band)
    {
        m_band = band;
        auto const count = m_width * static_cast<std::size_t>(m_bands.rowsIn(band));
        m_pixels.assign(count * m_pixelBytes, 0);
        m_packets.moveTo(m_starts[static_cast<std::size_t>(band)]);
        m_found = m_packets.read(count, m_pixels.data()) * m_pixelBytes;
    }

    PacketReader m_packets;
    std::size_t m_width, m_pixelBytes;
    RowBands m_bands;
    std::vector<PacketReader::State> m_starts;
    std::int32_t m_row;
    std::int32_t m_band = -1;
    Bytes m_pixels;
    std::size_t m_found = 0;
};

} // namespace

StoredRowsPointer tgaRunLengthRows(InputFile const& file, TgaHeader const& header)
{
    if (header.topDown)
        return std::make_unique<TopDownRows>(file, header);
    return std::make_unique<BottomUpRows>(file, header);
}

void appendTgaRuns(Bytes& coded, ByteSpan row, std::size_t pixelBytes)
{
    RunRules const rules {.shortestRun = pixelBytes == 1 ? 3u : 2u};
    auto const pixel = [&](std::size_t i) { return row.data() + i * pixelBytes; };
    splitIntoRuns(
        row.size() / pixelBytes, rules,
        [&](std::size_t i, std::size_t j) { return std::memcmp(pixel(i), pixel(j), pixelBytes) == 0; },
        [&](std::size_t start, std::size_t length) {
            coded.push_back(static_cast<std::uint8_t>(kRunFlag | (length - 1)));
            append(coded, ByteSpan(pixel(start), pixelBytes));
        },
        [&](std::size_t start, std::size_t length) {
            coded.push_back(static_cast<std::uint8_t>(length - 1));
            append(coded, ByteSpan(pixel(start), length * pixelBytes));
        });
}

} // namespace velk::codec
