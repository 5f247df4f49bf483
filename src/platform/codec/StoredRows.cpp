#include "platform/codec/StoredRows.h"

#include "base/Reporting.h"

#include <algorithm>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::uint64_t kBlockBytes = 256 * 1024;
constexpr std::uint64_t kBandBytes = 1024 * 1024;

class UnpackedRows final : public RowSource {
public:
    UnpackedRows(std::shared_ptr<RawImageSource const> source, StoredImage stored)
        : RowSource(source->description().info.layout)
        , m_source(std::move(source))
        , m_stored(std::move(stored))
        , m_planes(m_stored.planes.size(), Bytes(m_stored.rowBytes))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i)
            TRY(readRow(rows.row(i)));
        return {};
    }

    Result<void> readRow(std::uint8_t* row)
    {
        std::size_t found = 0;
        for (std::size_t plane = 0; plane < m_planes.size(); ++plane)
            found += TRY(m_stored.planes[plane]->next(m_planes[plane]));
        if (found < m_planes.size() * m_stored.rowBytes)
            m_source->reportMissingPixels();
        if (found > 0)
            m_stored.decode(m_planes, row);
        else
            std::memset(row, 0, rowBytes());
        return {};
    }

    std::shared_ptr<RawImageSource const> m_source;
    StoredImage m_stored;
    std::vector<Bytes> m_planes;
};

} // namespace

Result<std::size_t> VerbatimRows::next(std::span<std::uint8_t> row)
{
    auto const stored = m_place.bottomUp ? m_place.count - 1 - m_next : m_next;
    ++m_next;
    if (stored < m_first || stored >= m_first + m_loaded)
        TRY(load(stored));
    auto const at = static_cast<std::size_t>(stored - m_first) * m_place.stride;
    auto const found = m_filled > at ? std::min<std::size_t>(row.size(), m_filled - at) : 0;
    std::copy_n(m_block.data() + at, found, row.data());
    std::fill(row.begin() + static_cast<std::ptrdiff_t>(found), row.end(), std::uint8_t {0});
    return found;
}

Result<void> VerbatimRows::load(std::int64_t storedRow)
{
    auto const fitting = static_cast<std::int64_t>(std::max<std::uint64_t>(1, kBlockBytes / m_place.stride));
    m_first = m_place.bottomUp ? std::max<std::int64_t>(0, storedRow - fitting + 1) : storedRow;
    m_loaded = m_place.bottomUp ? storedRow - m_first + 1 : std::min(fitting, m_place.count - storedRow);
    m_block.resize(static_cast<std::size_t>(m_loaded) * m_place.stride);
    auto const offset = m_place.offset + static_cast<std::uint64_t>(m_first) * m_place.stride;
    m_filled = TRY(m_file->readAt(offset, m_block));
    return {};
}

RowBands::RowBands(std::int32_t rowCount, std::size_t rowBytes)
    : m_rowCount(rowCount)
    , m_bandRows(static_cast<std::int32_t>(std::clamp<std::uint64_t>(
          kBandBytes / std::max<std::size_t>(1, rowBytes), 1, static_cast<std::uint64_t>(rowCount))))
{
}

Result<DecodedRows> RawImageSource::open(DecodeRequest const&) const
{
    auto self = std::static_pointer_cast<RawImageSource const>(shared_from_this());
    auto stored = TRY(openStored());
    return wholeImage(std::make_unique<UnpackedRows>(std::move(self), std::move(stored)));
}

void RawImageSource::reportMissingPixels() const
{
    if (!m_reported.exchange(true))
        reportWarning("{}: the pixel data is incomplete; missing parts stay blank\n", path());
}

Result<void> checkPixelData(InputFile const& file, Size size, std::uint64_t offset, PixelDataSize needed)
{
    constexpr std::int64_t kLargeImage = 1 << 26;
    constexpr std::uint64_t kLeastPart = 16;
    if (!isPossible(size))
        return fail("an image of {} x {} pixels is not possible", size.width, size.height);
    auto const found = offset < file.size() ? file.size() - offset : 0;
    if (found < needed.firstRow)
        return fail("the file ends before the first row of pixels");
    if (size.pixelCount() > kLargeImage && found < needed.complete / kLeastPart)
        return fail("nearly all pixels of the file are missing");
    return {};
}

} // namespace velk::codec
