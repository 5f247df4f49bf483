#include "modules/heif/HeifPlanes.h"

#include <algorithm>
#include <cstring>

namespace velk::codec::heif {

namespace {

template <typename Sample> void toValues(std::uint8_t const* stored, SampleScale scale, std::span<float> row)
{
    auto const factor = 1 / scale.range;
    auto const* samples = reinterpret_cast<Sample const*>(stored);
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = (static_cast<float>(samples[i]) - scale.zero) * factor;
}

constexpr int halved(int side)
{
    return (side + 1) / 2;
}

} // namespace

SampleScale scaleOf(int bits, bool isFullRange, SampleKind kind)
{
    auto const step = static_cast<float>(1 << (bits - 8));
    auto const middle = 128 * step;
    if (isFullRange)
        return {kind == SampleKind::Light ? 0 : middle, static_cast<float>((1 << bits) - 1)};
    return kind == SampleKind::Light ? SampleScale {16 * step, 219 * step} : SampleScale {middle, 224 * step};
}

Result<Plane> Plane::of(heif_image const* image, heif_channel channel, graphics::Size size)
{
    Plane plane;
    int stride = 0;
    plane.m_data = heif_image_get_plane_readonly(image, channel, &stride);
    plane.m_stride = static_cast<std::size_t>(stride);
    plane.m_bits = heif_image_get_bits_per_pixel_range(image, channel);
    plane.m_rows = heif_image_get_height(image, channel);
    auto const width = heif_image_get_width(image, channel);
    plane.m_isHalfWidth = width < size.width;
    plane.m_isHalfHeight = plane.m_rows < size.height;
    if (!plane.m_data || plane.m_bits < 8 || plane.m_bits > 16 || width < halved(size.width)
        || plane.m_rows < halved(size.height))
        return fail("the image data does not fit the image's size");
    auto const buffered = static_cast<std::size_t>(plane.m_isHalfWidth ? halved(size.width) : size.width);
    plane.m_near.resize(buffered);
    plane.m_far.resize(buffered);
    return plane;
}

void Plane::readStored(int y, SampleScale scale, std::span<float> row) const
{
    auto const* stored = m_data + static_cast<std::size_t>(std::clamp(y, 0, m_rows - 1)) * m_stride;
    if (m_bits > 8)
        toValues<std::uint16_t>(stored, scale, row);
    else
        toValues<std::uint8_t>(stored, scale, row);
}

void Plane::read(int y, SampleScale scale, std::span<float> row)
{
    if (!m_isHalfWidth && !m_isHalfHeight)
        return readStored(y, scale, row);
    readStored(m_isHalfHeight ? y / 2 : y, scale, m_near);
    if (m_isHalfHeight) {
        readStored(y % 2 == 0 ? y / 2 - 1 : y / 2 + 1, scale, m_far);
        for (std::size_t i = 0; i < m_near.size(); ++i)
            m_near[i] = 0.75f * m_near[i] + 0.25f * m_far[i];
    }
    if (m_isHalfWidth)
        doubleRow(m_near, row);
    else
        std::ranges::copy(m_near, row.begin());
}

} // namespace velk::codec::heif
