#include "platform/graphics/BoxShrink.h"
#include "platform/graphics/Pipeline.h"
#include "platform/graphics/ResampleFixed.h"
#include "platform/graphics/ResampleFloat.h"
#include "platform/graphics/ResampleWeights.h"
#include "platform/graphics/RowWindow.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <vector>

namespace velk::graphics {

namespace {

PixelLayout resampledLayout(PixelLayout layout, Size target)
{
    layout.size = target;
    if (layout.format.componentType == ComponentType::UInt16)
        layout.format.componentType = ComponentType::UInt8;
    return layout;
}

RowWindow windowFor(RowSource& rows, FixedPasses&, std::int32_t capacity)
{
    return {rows, capacity, rows.rowBytes(), nullptr};
}

RowWindow windowFor(RowSource& rows, FloatPasses& passes, std::int32_t capacity)
{
    return {rows, capacity, passes.keptRowBytes(),
        [&passes](std::uint8_t const* from, std::uint8_t* to) { passes.keepRow(from, to); }};
}

// Rows are filtered downwards first, while they are contiguous bytes, and then across.
template <typename Passes> class Resampler {
public:
    Resampler(RowSource& rows, FloatRect area, Size target)
        : m_horizontal(area.x, area.width, target.width, rows.size().width)
        , m_vertical(area.y, area.height, target.height, rows.size().height)
        , m_passes(rows.format(), m_horizontal, m_vertical)
        , m_window(windowFor(rows, m_passes, m_vertical.taps()))
        , m_filtered(static_cast<std::size_t>(m_vertical.taps()))
    {
    }
    Resampler(Resampler const&) = delete;
    Resampler& operator=(Resampler const&) = delete;

    Result<void> makeRow(std::int32_t y, std::uint8_t* to)
    {
        auto const first = m_vertical.first(y);
        auto const taps = m_vertical.taps();
        TRY(m_window.require(first, first + taps));
        for (std::int32_t t = 0; t < taps; ++t)
            m_filtered[static_cast<std::size_t>(t)] = m_window.row(first + t);
        m_passes.filter(m_filtered, y, to);
        return {};
    }

private:
    ResampleWeights m_horizontal;
    ResampleWeights m_vertical;
    Passes m_passes;
    RowWindow m_window;
    std::vector<std::uint8_t const*> m_filtered;
};

template <typename Passes> class ResampledRows final : public RowSource {
public:
    ResampledRows(RowSourcePointer rows, FloatRect area, Size target)
        : RowSource(resampledLayout(rows->layout(), target))
        , m_rows(std::move(rows))
        , m_area(area)
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        if (!m_resampler)
            m_resampler.emplace(*m_rows, m_area, size());
        for (std::int32_t y = 0; y < rows.count; ++y)
            TRY(m_resampler->makeRow(nextRow() + y, rows.row(y)));
        return {};
    }

    RowSourcePointer m_rows;
    FloatRect m_area;
    std::optional<Resampler<Passes>> m_resampler;
};

// Large reductions begin with the mean of boxes, which bounds the rows that the filter needs at a time. The
// filter is left a reduction by 8 or more, because what boxes let through of too fine patterns lies far above
// what such a reduction keeps: 0.02 of a zone plate's contrast are left where a remaining factor of 4 leaves
// 0.06.
constexpr double kRemainingReduction = 8;

std::int32_t boxFactor(double extent, std::int32_t target)
{
    return std::max(1, static_cast<std::int32_t>(extent / target / kRemainingReduction));
}

} // namespace

RowSourcePointer resample(RowSourcePointer rows, FloatRect area, Size target)
{
    assert(rows->nextRow() == 0 && !target.isEmpty() && area.width > 0 && area.height > 0);
    assert(rows->format().alpha != Alpha::Straight);
    auto const factorX = boxFactor(area.width, target.width);
    auto const factorY = boxFactor(area.height, target.height);
    rows = boxShrink(std::move(rows), factorX, factorY);
    area = {area.x / factorX, area.y / factorY, area.width / factorX, area.height / factorY};
    if (FixedPasses::handles(rows->format()))
        return std::make_unique<ResampledRows<FixedPasses>>(std::move(rows), area, target);
    return std::make_unique<ResampledRows<FloatPasses>>(std::move(rows), area, target);
}

} // namespace velk::graphics
