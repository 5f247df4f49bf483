#include "platform/graphics/drawing/BlurPasses.h"

#include <algorithm>
#include <cmath>

namespace velk::graphics {

namespace {

// Up to here a Gaussian's own weights cost no more than boxes, and boxes are too coarse.
constexpr double kLargestDeviationOfTaps = 2;
constexpr int kBoxes = 3;

BlurPass gaussianTaps(double deviation)
{
    BlurPass pass;
    auto const reach = static_cast<int>(std::ceil(3 * deviation));
    std::vector<double> weights;
    double sum = 0;
    for (int i = 0; i <= reach; ++i) {
        weights.push_back(std::exp(-0.5 * i * i / (deviation * deviation)));
        sum += weights.back() * (i == 0 ? 1 : 2);
    }
    for (auto const weight : weights)
        pass.weights.push_back(static_cast<float>(weight / sum));
    return pass;
}

// A box whose outermost weights are lower, so that its variance is exactly `variance`.
BlurPass extendedBox(double variance)
{
    BlurPass pass;
    pass.kind = BlurPass::Kind::Box;
    auto const radius = std::floor((std::sqrt(12 * variance + 1) - 1) / 2);
    auto const length = 2 * radius + 1;
    auto const edge =
        length * (radius * (radius + 1) - 3 * variance) / (6 * (variance - (radius + 1) * (radius + 1)));
    pass.radius = static_cast<std::int32_t>(radius);
    pass.box = {static_cast<float>(1 / (length + 2 * edge)), static_cast<float>(edge / (length + 2 * edge))};
    return pass;
}

class ColumnFilter {
public:
    ColumnFilter(BlurPlane const& in, BlurPass const& pass)
        : m_in(in)
        , m_pass(pass)
        , m_zeros(in.stride())
        , m_sums(in.stride())
    {
    }

    void fill(BlurPlane& out)
    {
        auto const top = out.bounds().y;
        auto const bottom = top + out.bounds().height;
        if (m_pass.kind == BlurPass::Kind::Box)
            return fillByBox(out, top, bottom);
        std::vector<std::uint16_t const*> rows;
        for (auto y = top; y < bottom; ++y) {
            rows.clear();
            for (auto tap = y - m_pass.reach(); tap <= y + m_pass.reach(); ++tap)
                rows.push_back(inRow(tap));
            sumTaps(rows, m_pass.weights, out.row(y), out.stride());
        }
    }

private:
    std::uint16_t const* inRow(std::int32_t y) const
    {
        auto const& bounds = m_in.bounds();
        return y < bounds.y || y >= bounds.y + bounds.height ? m_zeros.data() : m_in.row(y);
    }

    // The sums of the inner rows move down one row at a time.
    void fillByBox(BlurPlane& out, std::int32_t top, std::int32_t bottom)
    {
        auto const radius = m_pass.radius;
        for (auto y = top - radius; y <= top + radius; ++y)
            addToSums(inRow(y), m_sums.data(), out.stride());
        for (auto y = top; y < bottom; ++y) {
            BoxRows const rows = {inRow(y - radius - 1), inRow(y - radius), inRow(y + radius + 1)};
            moveBox(rows, m_pass.box, m_sums.data(), out.row(y), out.stride());
        }
    }

    BlurPlane const& m_in;
    BlurPass const& m_pass;
    std::vector<std::uint16_t> m_zeros;
    std::vector<std::int32_t> m_sums;
};

constexpr std::size_t roundedUp(std::int32_t count, std::size_t multiple)
{
    return (static_cast<std::size_t>(count) + multiple - 1) / multiple * multiple;
}

} // namespace

BlurPlane::BlurPlane(IntRect const& bounds)
    : m_bounds(bounds)
    , m_stride(roundedUp(bounds.width, kBlurAlignment))
    , m_values(m_stride * roundedUp(bounds.height, kTile))
{
}

BlurPlane BlurPlane::transposed() const
{
    BlurPlane result({m_bounds.y, m_bounds.x, m_bounds.height, m_bounds.width});
    for (std::int32_t y = 0; y < m_bounds.height; y += kTile) {
        for (std::int32_t x = 0; x < m_bounds.width; x += kTile)
            transposeTile(row(m_bounds.y + y) + x, m_stride, result.row(m_bounds.x + x) + y, result.m_stride);
    }
    return result;
}

std::vector<BlurPass> blurPasses(double deviation)
{
    if (deviation <= kLargestDeviationOfTaps)
        return {gaussianTaps(deviation)};
    return std::vector<BlurPass>(kBoxes, extendedBox(deviation * deviation / kBoxes));
}

std::int32_t reachOf(std::span<BlurPass const> passes)
{
    std::int32_t reach = 0;
    for (auto const& pass : passes)
        reach += pass.reach();
    return reach;
}

BlurPlane filterColumns(
    BlurPlane plane, std::span<BlurPass const> passes, std::int32_t top, std::int32_t bottom)
{
    auto reachLeft = reachOf(passes);
    for (auto const& pass : passes) {
        reachLeft -= pass.reach();
        auto const in = plane.bounds();
        auto const begin = std::max(in.y - pass.reach(), top - reachLeft);
        auto const end = std::min(in.y + in.height + pass.reach(), bottom + reachLeft);
        BlurPlane out({in.x, begin, in.width, std::max(0, end - begin)});
        ColumnFilter(plane, pass).fill(out);
        plane = std::move(out);
    }
    return plane;
}

} // namespace velk::graphics
