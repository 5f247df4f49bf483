#include "platform/codec/TiffReader.h"

#include "base/Reporting.h"
#include "platform/codec/TiffRowReader.h"
#include "platform/codec/TiffSampleConverter.h"

#include <algorithm>
#include <cstring>

namespace velk::codec::tiff {

using namespace graphics;

namespace {

class TiffRows final : public RowSource {
public:
    TiffRows(PixelLayout layout, std::int32_t firstRow, PixelAccess const& access,
        std::vector<std::unique_ptr<RowReader>> readers)
        : RowSource(std::move(layout))
        , m_firstRow(firstRow)
        , m_source(access.source)
        , m_hasWarned(access.hasWarned)
        , m_readers(std::move(readers))
        , m_planes(m_readers.size())
        , m_converter(access.plan)
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i)
            TRY(readRow(nextRow() + i, rows.row(i)));
        warnOfProblems();
        return {};
    }

    Result<void> readRow(std::int32_t y, std::uint8_t* to)
    {
        bool isComplete = true;
        for (std::size_t i = 0; i < m_readers.size(); ++i) {
            m_planes[i] = m_readers[i]->row(m_firstRow + y);
            isComplete = isComplete && m_planes[i];
        }
        if (isComplete) {
            m_hasDecoded = true;
            m_converter.convert(m_planes, to, size().width);
            return {};
        }
        // Missing rows are blank, unless everything is missing.
        if (!m_hasDecoded && !anyRowFrom(m_firstRow + y))
            return fail("the image data is damaged ({})", problem());
        m_hasDecoded = true;
        std::memset(to, 0, rowBytes());
        return {};
    }

    bool anyRowFrom(std::int32_t y)
    {
        return std::ranges::all_of(m_readers, [y](auto const& reader) { return reader->anyRowFrom(y); });
    }

    std::string problem() const
    {
        for (auto const& reader : m_readers) {
            if (!reader->problem().empty())
                return reader->problem();
        }
        return {};
    }

    void warnOfProblems()
    {
        auto const reason = problem();
        if (!reason.empty() && !m_hasWarned.exchange(true))
            reportWarning(
                "{}: part of the image data is damaged or missing ({})\n", m_source->path(), reason);
    }

    std::int32_t m_firstRow;
    std::shared_ptr<ImageSource const> m_source;
    std::atomic<bool>& m_hasWarned;
    std::vector<std::unique_ptr<RowReader>> m_readers;
    std::vector<std::uint8_t const*> m_planes;
    SampleConverter m_converter;
    bool m_hasDecoded = false;
};

// One reader for interleaved samples, else one for every channel that is wanted: libtiff goes through the
// planes one after the other, and only forward.
Result<std::vector<std::unique_ptr<RowReader>>> makeReaders(PixelAccess const& access)
{
    auto const& file = access.source->file();
    auto const make = [&](int plane) {
        return makeRowReader(
            file, access.reader, access.directory, access.structure, access.plan.decoded, plane);
    };
    std::vector<std::unique_ptr<RowReader>> readers;
    if (!access.structure.isPlanar) {
        readers.push_back(TRY(make(0)));
        return readers;
    }
    for (auto const& channel : access.plan.channels)
        readers.push_back(TRY(make(channel.sample)));
    return readers;
}

} // namespace

Result<DecodedRows> openRows(PixelAccess access, DecodeRequest const& request)
{
    auto layout = access.source->description().info.layout;
    std::int32_t first = 0, last = layout.size.height;
    if (!request.region.isEmpty()) {
        first = std::clamp(request.region.y, 0, last - 1);
        auto const end = std::int64_t {request.region.y} + request.region.height;
        last = static_cast<std::int32_t>(std::clamp<std::int64_t>(end, first + 1, last));
    }
    layout.size.height = last - first;
    auto readers = TRY(makeReaders(access));
    auto const width = static_cast<double>(layout.size.width);
    auto const height = static_cast<double>(layout.size.height);
    return DecodedRows {std::make_unique<TiffRows>(std::move(layout), first, access, std::move(readers)),
        {0, static_cast<double>(first), width, height}};
}

} // namespace velk::codec::tiff
