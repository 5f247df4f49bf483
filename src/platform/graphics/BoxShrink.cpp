#include "platform/graphics/BoxShrink.h"

#include <algorithm>
#include <cstring>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/BoxShrink.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void addBytes(std::uint8_t const* from, std::size_t count, std::uint16_t* sums)
{
    hn::ScalableTag<std::uint16_t> const d16;
    hn::Rebind<std::uint8_t, decltype(d16)> const d8;
    auto const lanes = hn::Lanes(d16);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        auto const samples = hn::PromoteTo(d16, hn::LoadU(d8, from + i));
        hn::StoreU(hn::Add(hn::LoadU(d16, sums + i), samples), d16, sums + i);
    }
    for (; i < count; ++i)
        sums[i] = static_cast<std::uint16_t>(sums[i] + from[i]);
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(addBytes);

namespace {

std::int32_t boxes(std::int32_t length, std::int32_t factor)
{
    return length / factor + (length % factor > 0 ? 1 : 0);
}

PixelLayout shrunkLayout(PixelLayout layout, std::int32_t factorX, std::int32_t factorY)
{
    layout.size = {boxes(layout.size.width, factorX), boxes(layout.size.height, factorY)};
    return layout;
}

// Column sums over the rows of a box. `Sum` has to hold `weight` rows of `Component` without loss.
template <typename Component> class ColumnSums {
public:
    explicit ColumnSums(std::size_t samples)
        : m_sums(samples)
    {
    }

    void clear() { std::fill(m_sums.begin(), m_sums.end(), 0.0); }

    void add(std::uint8_t const* row, std::int32_t weight)
    {
        for (std::size_t i = 0; i < m_sums.size(); ++i) {
            Component value;
            std::memcpy(&value, row + i * sizeof(Component), sizeof(value));
            m_sums[i] += static_cast<double>(value) * weight;
        }
    }

    double sum(std::size_t sample) const { return m_sums[sample]; }

private:
    std::vector<double> m_sums;
};

// Bytes are first added up in 16 bits, as often as that cannot overflow.
template <> class ColumnSums<std::uint8_t> {
public:
    explicit ColumnSums(std::size_t samples)
        : m_recent(samples)
        , m_sums(samples)
    {
    }

    void clear()
    {
        std::fill(m_recent.begin(), m_recent.end(), std::uint16_t {0});
        std::fill(m_sums.begin(), m_sums.end(), std::uint64_t {0});
        m_recentRows = 0;
    }

    void add(std::uint8_t const* row, std::int32_t weight)
    {
        if (weight > 1) {
            for (std::size_t i = 0; i < m_sums.size(); ++i)
                m_sums[i] += static_cast<std::uint64_t>(row[i]) * static_cast<std::uint64_t>(weight);
            return;
        }
        if (m_recentRows == kMostRecentRows)
            flush();
        HWY_DYNAMIC_DISPATCH(addBytes)(row, m_recent.size(), m_recent.data());
        ++m_recentRows;
    }

    std::uint64_t sum(std::size_t sample) const { return m_sums[sample] + m_recent[sample]; }

private:
    static constexpr std::int32_t kMostRecentRows = 65535 / 255;

    void flush()
    {
        for (std::size_t i = 0; i < m_sums.size(); ++i)
            m_sums[i] += m_recent[i];
        std::fill(m_recent.begin(), m_recent.end(), std::uint16_t {0});
        m_recentRows = 0;
    }

    std::vector<std::uint16_t> m_recent;
    std::vector<std::uint64_t> m_sums;
    std::int32_t m_recentRows = 0;
};

template <typename Component> Component meanOf(double sum, double count)
{
    if constexpr (std::is_floating_point_v<Component>)
        return static_cast<Component>(sum / count);
    else
        return static_cast<Component>(sum / count + 0.5);
}

template <typename Component> class BoxShrunkRows final : public RowSource {
public:
    BoxShrunkRows(RowSourcePointer rows, std::int32_t factorX, std::int32_t factorY)
        : RowSource(shrunkLayout(rows->layout(), factorX, factorY))
        , m_rows(std::move(rows))
        , m_factorX(factorX)
        , m_factorY(factorY)
        , m_channels(static_cast<std::size_t>(format().channels()))
        , m_sums(static_cast<std::size_t>(m_rows->size().width) * m_channels)
    {
    }

private:
    static constexpr std::int32_t kBlock = 16;

    Result<void> readRows(RowView rows) override
    {
        m_scratch.resize(m_rows->rowBytes() * kBlock);
        for (std::int32_t y = 0; y < rows.count; ++y) {
            TRY(sumRows());
            meanRow(rows.row(y));
        }
        return {};
    }

    Result<void> sumRows()
    {
        m_sums.clear();
        auto missing = m_factorY;
        while (missing > 0 && m_rows->rowsLeft() > 0) {
            auto const count = std::min({missing, m_rows->rowsLeft(), kBlock});
            TRY(m_rows->read({m_scratch.data(), m_rows->rowBytes(), count}));
            missing -= count;
            for (std::int32_t i = 0; i < count; ++i)
                m_sums.add(scratchRow(i), 1);
            if (m_rows->rowsLeft() == 0 && missing > 0)
                m_sums.add(scratchRow(count - 1), missing);
        }
        return {};
    }

    void meanRow(std::uint8_t* to) const
    {
        auto const count = static_cast<double>(m_factorX) * m_factorY;
        auto const lastColumn = m_rows->size().width - 1;
        for (std::int32_t box = 0; box < size().width; ++box) {
            auto const first = static_cast<std::int64_t>(box) * m_factorX;
            for (std::size_t channel = 0; channel < m_channels; ++channel, to += sizeof(Component)) {
                double sum = 0;
                for (auto x = first; x < first + m_factorX; ++x) {
                    auto const column = static_cast<std::size_t>(std::min<std::int64_t>(x, lastColumn));
                    sum += static_cast<double>(m_sums.sum(column * m_channels + channel));
                }
                auto const mean = meanOf<Component>(sum, count);
                std::memcpy(to, &mean, sizeof(mean));
            }
        }
    }

    std::uint8_t const* scratchRow(std::int32_t index) const
    {
        return m_scratch.data() + static_cast<std::size_t>(index) * m_rows->rowBytes();
    }

    RowSourcePointer m_rows;
    std::int32_t m_factorX;
    std::int32_t m_factorY;
    std::size_t m_channels;
    ColumnSums<Component> m_sums;
    Bytes m_scratch;
};

} // namespace

RowSourcePointer boxShrink(RowSourcePointer rows, std::int32_t factorX, std::int32_t factorY)
{
    if (factorX == 1 && factorY == 1)
        return rows;
    switch (rows->format().componentType) {
    case ComponentType::UInt8:
        return std::make_unique<BoxShrunkRows<std::uint8_t>>(std::move(rows), factorX, factorY);
    case ComponentType::UInt16:
        return std::make_unique<BoxShrunkRows<std::uint16_t>>(std::move(rows), factorX, factorY);
    case ComponentType::Float32:
        return std::make_unique<BoxShrunkRows<float>>(std::move(rows), factorX, factorY);
    }
    return nullptr;
}

} // namespace velk::graphics

#endif
