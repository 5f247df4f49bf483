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
    pass.inner = static_cast<float>(1 / (length + 2 * edge));
    pass.edge = static_cast<float>(edge / (length + 2 * edge));
    return pass;
}

std::uint16_t rounded(float value)
{
    return static_cast<std::uint16_t>(std::lrint(value));
}

class ColumnFilter {
public:
    ColumnFilter(BlurPlane const& in, BlurPass const& pass)
        : m_in(in)
        , m_pass(pass)
        , m_width(static_cast<std::size_t>(in.bounds.width))
        , m_zeros(m_width)
        , m_sums(m_width)
    {
    }

    void fill(BlurPlane& out)
    {
        if (m_pass.kind == BlurPass::Kind::Box)
            return fillByBox(out);
        for (auto y = out.bounds.y; y < out.bounds.y + out.bounds.height; ++y)
            sumTaps(y, out.row(y));
    }

private:
    std::uint16_t const* inRow(std::int32_t y) const
    {
        auto const& bounds = m_in.bounds;
        return y < bounds.y || y >= bounds.y + bounds.height ? m_zeros.data() : m_in.row(y);
    }

    void sumTaps(std::int32_t y, std::uint16_t* out) const
    {
        for (std::size_t x = 0; x < m_width; ++x) {
            auto sum = m_pass.weights[0] * static_cast<float>(inRow(y)[x]);
            for (std::int32_t i = 1; i <= m_pass.reach(); ++i)
                sum += m_pass.weights[static_cast<std::size_t>(i)]
                    * static_cast<float>(inRow(y - i)[x] + inRow(y + i)[x]);
            out[x] = rounded(sum);
        }
    }

    // The sums of the inner rows move down one row at a time.
    void fillByBox(BlurPlane& out)
    {
        auto const top = out.bounds.y;
        for (auto y = top - m_pass.radius; y <= top + m_pass.radius; ++y)
            addRow(inRow(y));
        for (auto y = top; y < top + out.bounds.height; ++y) {
            auto const* const above = inRow(y - m_pass.radius - 1);
            auto const* const below = inRow(y + m_pass.radius + 1);
            moveBox(above, below, inRow(y - m_pass.radius), out.row(y));
        }
    }

    void addRow(std::uint16_t const* row)
    {
        for (std::size_t x = 0; x < m_width; ++x)
            m_sums[x] += row[x];
    }

    void moveBox(std::uint16_t const* above, std::uint16_t const* below, std::uint16_t const* leaving,
        std::uint16_t* out)
    {
        for (std::size_t x = 0; x < m_width; ++x) {
            out[x] = rounded(static_cast<float>(m_sums[x]) * m_pass.inner
                + static_cast<float>(above[x] + below[x]) * m_pass.edge);
            m_sums[x] += below[x] - leaving[x];
        }
    }

    BlurPlane const& m_in;
    BlurPass const& m_pass;
    std::size_t m_width;
    std::vector<std::uint16_t> m_zeros;
    std::vector<std::int32_t> m_sums;
};

} // namespace

BlurPlane BlurPlane::create(IntRect const& bounds)
{
    BlurPlane plane;
    plane.bounds = bounds;
    plane.values.resize(static_cast<std::size_t>(bounds.width) * static_cast<std::size_t>(bounds.height));
    return plane;
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
        auto const& in = plane.bounds;
        auto const begin = std::max(in.y - pass.reach(), top - reachLeft);
        auto const end = std::min(in.y + in.height + pass.reach(), bottom + reachLeft);
        auto out = BlurPlane::create({in.x, begin, in.width, std::max(0, end - begin)});
        ColumnFilter(plane, pass).fill(out);
        plane = std::move(out);
    }
    return plane;
}

} // namespace velk::graphics
