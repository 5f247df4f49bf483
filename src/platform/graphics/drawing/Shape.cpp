#include "platform/graphics/drawing/Shape.h"

#include "platform/graphics/drawing/Blend.h"
#include "platform/graphics/drawing/Blur.h"
#include "platform/graphics/drawing/StrokeOutline.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <tuple>

namespace velk::graphics {

namespace {

// Coverage in one call is cheaper than fewer fully covered pixels than this on their own.
constexpr std::int32_t kShortestFull = 24;

Box boxOf(IntRect const& rect)
{
    return {static_cast<double>(rect.x), static_cast<double>(rect.y),
        static_cast<double>(rect.x) + rect.width, static_cast<double>(rect.y) + rect.height};
}

Box moved(Box const& box, Point shift)
{
    return {box.left + shift.x, box.top + shift.y, box.right + shift.x, box.bottom + shift.y};
}

Box grown(Box const& box, double reach)
{
    return {box.left - reach, box.top - reach, box.right + reach, box.bottom + reach};
}

AffineTransform moved(AffineTransform map, Point shift)
{
    map.tx += shift.x;
    map.ty += shift.y;
    return map;
}

// Around the path's points; the map keeps upright rectangles upright.
Box controlBox(Path const& path, AffineTransform const& map)
{
    auto const bounds = path.controlBounds();
    auto const a = apply(map, {bounds.x, bounds.y});
    auto const b = apply(map, {bounds.x + bounds.width, bounds.y + bounds.height});
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

// Shapes beyond the rasteriser's range come out of it in parts.
template <typename Feed>
void rasterize(IntRect const& area, Rasterizer& rasterizer, CoverageSink& sink, Feed const& feed)
{
    constexpr auto kSide = Rasterizer::kLongestSide;
    for (std::int32_t y = 0; y < area.height; y += kSide) {
        for (std::int32_t x = 0; x < area.width; x += kSide) {
            IntRect const part = {
                area.x + x, area.y + y, std::min(kSide, area.width - x), std::min(kSide, area.height - y)};
            rasterizer.begin(part);
            feed(boxOf(part));
            rasterizer.sweep(sink);
        }
    }
}

class MaskSink final : public CoverageSink {
public:
    explicit MaskSink(CoverageMask& mask)
        : m_mask(mask)
    {
    }
    void full(std::int32_t x, std::int32_t y, std::int32_t count) override
    {
        std::memset(m_mask.row(y) + (x - m_mask.bounds.x), 255, static_cast<std::size_t>(count));
    }
    void partial(std::int32_t x, std::int32_t y, std::int32_t count, std::uint8_t const* coverage) override
    {
        std::memcpy(m_mask.row(y) + (x - m_mask.bounds.x), coverage, static_cast<std::size_t>(count));
    }

private:
    CoverageMask& m_mask;
};

// How much of the pixel from `at` to `at` + 1 lies between the two.
double overlap(double low, double high, std::int32_t at)
{
    return std::max(0.0, std::min(high, at + 1.0) - std::max(low, static_cast<double>(at)));
}

std::uint8_t coverageOf(double share)
{
    return static_cast<std::uint8_t>(share * 255 + 0.5);
}

} // namespace

IntRect intersection(IntRect const& a, IntRect const& b)
{
    auto const left = std::max(a.x, b.x);
    auto const top = std::max(a.y, b.y);
    auto const right = std::min(std::int64_t {a.x} + a.width, std::int64_t {b.x} + b.width);
    auto const bottom = std::min(std::int64_t {a.y} + a.height, std::int64_t {b.y} + b.height);
    if (right <= left || bottom <= top)
        return {};
    return {left, top, static_cast<std::int32_t>(right - left), static_cast<std::int32_t>(bottom - top)};
}

IntRect pixelsOf(Box const& box, IntRect const& within)
{
    auto const limits = boxOf(within);
    auto const left = std::max(std::floor(box.left), limits.left);
    auto const top = std::max(std::floor(box.top), limits.top);
    auto const right = std::min(std::ceil(box.right), limits.right);
    auto const bottom = std::min(std::ceil(box.bottom), limits.bottom);
    if (!(left < right) || !(top < bottom))
        return {};
    return {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top),
        static_cast<std::int32_t>(right - left), static_cast<std::int32_t>(bottom - top)};
}

// ---- Rectangles

RectangleShape::RectangleShape(Box const& box)
    : m_box(box)
{
}

IntRect RectangleShape::bounds(IntRect const& within, Point shift) const
{
    return pixelsOf(moved(m_box, shift), within);
}

bool RectangleShape::isAligned() const
{
    return std::ranges::all_of(std::initializer_list {m_box.left, m_box.top, m_box.right, m_box.bottom},
        [](double edge) { return edge == std::floor(edge); });
}

// Of a row that the rectangle covers from top to bottom only the first and the last pixel can be partial.
void RectangleShape::cover(IntRect const& area, Point shift, CoverageSink& sink) const
{
    auto const box = moved(m_box, shift);
    auto const count = static_cast<std::size_t>(area.width);
    std::vector<std::uint8_t> coverage(count);
    auto const firstShare = overlap(box.left, box.right, area.x);
    auto const lastShare = overlap(box.left, box.right, area.x + area.width - 1);
    auto const compose = [&](double share) {
        std::ranges::fill(coverage, coverageOf(share));
        coverage.front() = coverageOf(share * firstShare);
        coverage.back() = coverageOf(share * lastShare);
    };
    auto const left = firstShare < 1 ? 1 : 0;
    auto const right = area.width - (lastShare < 1 ? 1 : 0);
    double composed = -1;
    for (auto y = area.y; y < area.y + area.height; ++y) {
        auto const share = overlap(box.top, box.bottom, y);
        if (share != composed)
            compose(composed = share);
        if (share < 1 || right - left < (left != 0 || right != area.width ? kShortestFull : 0)) {
            sink.partial(area.x, y, area.width, coverage.data());
            continue;
        }
        if (left != 0)
            sink.partial(area.x, y, 1, coverage.data());
        if (right > left)
            sink.full(area.x + left, y, right - left);
        if (right != area.width)
            sink.partial(area.x + right, y, 1, coverage.data() + right);
    }
}

std::optional<Box> uprightRectangle(Path const& path, AffineTransform const& pathToDevice)
{
    using enum Path::Verb;
    auto const verbs = path.verbs();
    auto const points = path.points();
    auto lines = verbs.size() > 1 && verbs.back() == Close ? verbs.size() - 1 : verbs.size();
    if (lines == 5 && points.size() == 5 && points[4] == points[0])
        lines = 4;
    constexpr Path::Verb kCorners[] = {Move, Line, Line, Line};
    if (lines != 4 || points.size() > 5 || !std::equal(kCorners, kCorners + 4, verbs.begin())
        || (points.size() == 5 && verbs[4] != Line))
        return std::nullopt;
    auto const& [a, b, c, d] = std::tie(points[0], points[1], points[2], points[3]);
    auto const startsAcross = a.y == b.y && b.x == c.x && c.y == d.y && d.x == a.x;
    auto const startsAlong = a.x == b.x && b.y == c.y && c.x == d.x && d.y == a.y;
    if (!startsAcross && !startsAlong)
        return std::nullopt;
    return controlBox(path, pathToDevice);
}

// ---- Blurred rectangles

namespace {

// The integral of the Gaussian from `low` to `high` around each of `count` pixel centres from `first` on.
std::vector<std::uint8_t> blurredProfile(
    double low, double high, double deviation, std::int32_t first, std::int32_t count)
{
    std::vector<std::uint8_t> profile(static_cast<std::size_t>(count));
    auto const scale = 1 / (deviation * std::numbers::sqrt2);
    for (std::int32_t i = 0; i < count; ++i) {
        auto const centre = first + i + 0.5;
        auto const share = (std::erf((high - centre) * scale) - std::erf((low - centre) * scale)) / 2;
        profile[static_cast<std::size_t>(i)] = coverageOf(share);
    }
    return profile;
}

} // namespace

BlurredRectangleShape::BlurredRectangleShape(Box const& box, double deviation)
    : m_box(box)
    , m_deviation(deviation)
{
}

IntRect BlurredRectangleShape::bounds(IntRect const& within, Point shift) const
{
    return pixelsOf(grown(moved(m_box, shift), blurReach(m_deviation)), within);
}

void BlurredRectangleShape::cover(IntRect const& area, Point shift, CoverageSink& sink) const
{
    auto const box = moved(m_box, shift);
    auto const columns = blurredProfile(box.left, box.right, m_deviation, area.x, area.width);
    auto const rows = blurredProfile(box.top, box.bottom, m_deviation, area.y, area.height);
    auto const firstFull = static_cast<std::int32_t>(std::ranges::find(columns, 255) - columns.begin());
    auto const full = static_cast<std::int32_t>(std::ranges::count(columns, 255)); // all in one place
    auto const rest = area.width - firstFull - full;
    std::vector<std::uint8_t> coverage(columns.size());
    for (std::int32_t y = 0; y < area.height; ++y) {
        auto const row = rows[static_cast<std::size_t>(y)];
        if (row == 255 && full > 0) {
            if (firstFull > 0)
                sink.partial(area.x, area.y + y, firstFull, columns.data());
            sink.full(area.x + firstFull, area.y + y, full);
            if (rest > 0)
                sink.partial(area.x + firstFull + full, area.y + y, rest, columns.data() + firstFull + full);
        } else if (row > 0) {
            std::ranges::fill(coverage, row);
            multiplyCoverage(coverage.data(), columns.data(), coverage.size());
            sink.partial(area.x, area.y + y, area.width, coverage.data());
        }
    }
}

// ---- Paths

FilledShape::FilledShape(Path const& path, AffineTransform const& pathToDevice, Rasterizer& rasterizer)
    : m_path(path)
    , m_pathToDevice(pathToDevice)
    , m_rasterizer(rasterizer)
{
}

IntRect FilledShape::bounds(IntRect const& within, Point shift) const
{
    if (m_path.points().empty())
        return {};
    return pixelsOf(controlBox(m_path, moved(m_pathToDevice, shift)), within);
}

void FilledShape::cover(IntRect const& area, Point shift, CoverageSink& sink) const
{
    rasterize(area, m_rasterizer, sink, [&](Box const& visible) {
        Flattener lines(m_path, moved(m_pathToDevice, shift), visible);
        while (lines.next())
            m_rasterizer.polygon(lines.line().points);
    });
}

StrokedShape::StrokedShape(Path const& path, AffineTransform const& pathToDevice, StrokeStyle const& style,
    AffineTransform const& userToDevice, Rasterizer& rasterizer)
    : m_path(path)
    , m_pathToDevice(pathToDevice)
    , m_style(style)
    , m_userToDevice(userToDevice)
    , m_rasterizer(rasterizer)
{
}

IntRect StrokedShape::bounds(IntRect const& within, Point shift) const
{
    auto const reach = strokeReach(m_style, m_userToDevice);
    if (m_path.points().empty() || !(reach > 0))
        return {};
    return pixelsOf(grown(controlBox(m_path, moved(m_pathToDevice, shift)), reach), within);
}

void StrokedShape::cover(IntRect const& area, Point shift, CoverageSink& sink) const
{
    rasterize(area, m_rasterizer, sink, [&](Box const& visible) {
        outlineStroke({m_path, moved(m_pathToDevice, shift), m_userToDevice, visible}, m_style, m_rasterizer);
    });
}

// ---- Masks

MaskShape::MaskShape(CoverageMask const& mask, std::int32_t dx, std::int32_t dy)
    : m_mask(mask)
    , m_place {static_cast<double>(mask.bounds.x) + dx, static_cast<double>(mask.bounds.y) + dy}
{
}

IntRect MaskShape::bounds(IntRect const& within, Point shift) const
{
    auto const left = m_place.x + std::round(shift.x);
    auto const top = m_place.y + std::round(shift.y);
    return pixelsOf({left, top, left + m_mask.bounds.width, top + m_mask.bounds.height}, within);
}

void MaskShape::cover(IntRect const& area, Point shift, CoverageSink& sink) const
{
    // The area lies in the bounds, so these are small.
    auto const column = static_cast<std::int32_t>(area.x - m_place.x - std::round(shift.x));
    auto const row = static_cast<std::int32_t>(area.y - m_place.y - std::round(shift.y));
    for (std::int32_t y = 0; y < area.height; ++y)
        sink.partial(area.x, area.y + y, area.width, m_mask.row(m_mask.bounds.y + row + y) + column);
}

CoverageMask maskOf(Shape const& shape, IntRect const& within, Point shift)
{
    CoverageMask mask;
    mask.bounds = shape.bounds(within, shift);
    if (mask.isEmpty())
        return {};
    mask.values.resize(
        static_cast<std::size_t>(mask.bounds.width) * static_cast<std::size_t>(mask.bounds.height));
    MaskSink sink(mask);
    shape.cover(mask.bounds, shift, sink);
    return mask;
}

} // namespace velk::graphics
