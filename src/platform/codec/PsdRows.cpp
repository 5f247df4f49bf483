#include "platform/codec/PsdRows.h"

#include "platform/codec/RunLength.h"

#include <zlib.h>

#include <algorithm>
#include <memory>

namespace velk::codec {

namespace {

// A table of the lengths of all coded rows, channel by channel, lies before the rows.
struct CodedChannel {
    std::uint64_t offset = 0;
    std::vector<std::uint32_t> lengths;
};

Result<std::vector<CodedChannel>> readRowLengths(InputFile const& file, PsdFile const& psd, int count)
{
    auto const height = static_cast<std::size_t>(psd.size.height);
    std::size_t const entryBytes = psd.isLarge ? 4 : 2;
    Bytes table(height * entryBytes);
    std::vector<CodedChannel> channels(static_cast<std::size_t>(count));
    auto offset = psd.pixelOffset + static_cast<unsigned>(psd.channels) * table.size();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        TRY(file.readExactlyAt(psd.pixelOffset + i * table.size(), table));
        channels[i].offset = offset;
        channels[i].lengths.reserve(height);
        for (std::size_t y = 0; y < height; ++y) {
            auto const* entry = table.data() + y * entryBytes;
            auto const length = psd.isLarge ? loadBE32(entry) : loadBE16(entry);
            channels[i].lengths.push_back(length);
            offset += length;
        }
    }
    return channels;
}

class PackBitsPlane final : public StoredRows {
public:
    PackBitsPlane(InputFile const& file, CodedChannel channel)
        : m_reader(file, channel.offset)
        , m_lengths(std::move(channel.lengths))
    {
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        auto const length = m_lengths[m_next++];
        auto const end = m_reader.position() + length;
        // No sensible code is longer, whatever the table says.
        m_coded.resize(std::min<std::size_t>(length, 2 * row.size() + 2));
        auto const coded = ByteSpan(m_coded).first(m_reader.read(m_coded));
        m_reader.seek(end);
        auto const found = unpackBits(coded, row);
        std::fill(row.begin() + static_cast<std::ptrdiff_t>(found), row.end(), std::uint8_t {0});
        return found;
    }

private:
    BufferedReader m_reader;
    std::vector<std::uint32_t> m_lengths;
    std::size_t m_next = 0;
    Bytes m_coded;
};

// Adds up what the prediction left: differences of components, or, for floats, of the bytes of a row that
// holds all first bytes, then all second ones, and so on.
void undoPrediction(std::span<std::uint8_t> row, int depth)
{
    if (depth == 16) {
        for (std::size_t i = 2; i + 1 < row.size(); i += 2) {
            auto const sum = loadBE16(&row[i]) + loadBE16(&row[i - 2]);
            storeInteger(&row[i], static_cast<std::uint16_t>(sum), ByteOrder::Big);
        }
        return;
    }
    for (std::size_t i = 1; i < row.size(); ++i)
        row[i] = static_cast<std::uint8_t>(row[i] + row[i - 1]);
    if (depth != 32)
        return;
    Bytes const split(row.begin(), row.end());
    auto const width = row.size() / 4;
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = split[i % 4 * width + i / 4];
}

// All channels make one zlib stream; each plane runs through it on its own up to its channel.
class ZipPlane final : public StoredRows {
public:
    ZipPlane(InputFile const& file, PsdFile const& psd, int channel)
        : m_reader(file, psd.pixelOffset)
        , m_skip(static_cast<std::uint64_t>(channel) * static_cast<std::uint64_t>(psd.size.height)
              * psd.rowBytes())
        , m_depth(psd.depth)
        , m_isPredicted(psd.compression == PsdCompression::ZipWithPrediction)
    {
        m_ended = inflateInit(&m_stream) != Z_OK;
    }
    ZipPlane(ZipPlane const&) = delete;
    ZipPlane& operator=(ZipPlane const&) = delete;
    ~ZipPlane() override { inflateEnd(&m_stream); }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        skip();
        auto const found = inflateInto(row);
        std::fill(row.begin() + static_cast<std::ptrdiff_t>(found), row.end(), std::uint8_t {0});
        if (m_isPredicted && found > 0)
            undoPrediction(row, m_depth);
        return found;
    }

private:
    static constexpr std::size_t kBlock = 64 * 1024;

    void skip()
    {
        Bytes block(std::min<std::uint64_t>(m_skip, kBlock));
        while (m_skip > 0 && !m_ended) {
            auto const part = std::span(block).first(std::min<std::uint64_t>(m_skip, kBlock));
            m_skip -= inflateInto(part);
        }
    }

    std::size_t inflateInto(std::span<std::uint8_t> to)
    {
        m_stream.next_out = to.data();
        m_stream.avail_out = static_cast<uInt>(to.size());
        while (m_stream.avail_out > 0 && !m_ended) {
            if (m_stream.avail_in == 0) {
                m_stream.next_in = m_input.data();
                m_stream.avail_in = static_cast<uInt>(m_reader.read(m_input));
            }
            m_ended = inflate(&m_stream, Z_NO_FLUSH) != Z_OK;
        }
        return to.size() - m_stream.avail_out;
    }

    BufferedReader m_reader;
    z_stream m_stream = {};
    Bytes m_input = Bytes(kBlock);
    std::uint64_t m_skip;
    int m_depth;
    bool m_isPredicted;
    bool m_ended = false;
};

} // namespace

Result<std::vector<StoredRowsPointer>> psdPlanes(InputFile const& file, PsdFile const& psd, int count)
{
    std::vector<StoredRowsPointer> planes;
    if (psd.compression == PsdCompression::PackBits) {
        for (auto& channel : TRY(readRowLengths(file, psd, count)))
            planes.push_back(std::make_unique<PackBitsPlane>(file, std::move(channel)));
        return planes;
    }
    for (int channel = 0; channel < count; ++channel) {
        if (psd.compression != PsdCompression::None) {
            planes.push_back(std::make_unique<ZipPlane>(file, psd, channel));
            continue;
        }
        auto const planeBytes = static_cast<std::uint64_t>(psd.size.height) * psd.rowBytes();
        auto const offset = psd.pixelOffset + static_cast<unsigned>(channel) * planeBytes;
        planes.push_back(std::make_unique<VerbatimRows>(
            file, VerbatimRows::Place {offset, psd.rowBytes(), psd.size.height, false}));
    }
    return planes;
}

} // namespace velk::codec
