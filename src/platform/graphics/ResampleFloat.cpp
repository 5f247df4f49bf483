#include "platform/graphics/ResampleFloat.h"

#include "platform/graphics/Premultiplied.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/graphics/ResampleFloat.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace velk::graphics::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// The sum of weighted rows. Whole vectors are read and written, so all rows have room behind their end.
void addWeightedRows(
    std::uint8_t const* const* rows, float const* weights, std::size_t taps, std::size_t samples, float* to)
{
    hn::CappedTag<float, 16> const d;
    for (std::size_t i = 0; i < samples; i += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t t = 0; t < taps; ++t) {
            auto const* row = reinterpret_cast<float const*>(rows[t]);
            sum = hn::MulAdd(hn::LoadU(d, row + i), hn::Set(d, weights[t]), sum);
        }
        hn::StoreU(sum, d, to + i);
    }
}

// Four neighbouring samples are taken for a pixel, however many channels it has: what is too much is
// overwritten by the next pixel.
void addWeightedPixels(
    float const* samples, float const* weights, std::size_t taps, std::size_t channels, float* to)
{
    hn::CappedTag<float, 4> const d;
    for (std::size_t channel = 0; channel < channels; channel += hn::Lanes(d)) {
        auto sum = hn::Zero(d);
        for (std::size_t t = 0; t < taps; ++t)
            sum = hn::MulAdd(hn::LoadU(d, samples + t * channels + channel), hn::Set(d, weights[t]), sum);
        hn::StoreU(sum, d, to + channel);
    }
}

void filterFloatColumns(float const* samples, ResampleWeights const& weights, std::size_t channels, float* to)
{
    for (std::int32_t i = 0; i < weights.outputs(); ++i, to += channels) {
        auto const first = static_cast<std::size_t>(weights.first(i) - weights.firstInput());
        addWeightedPixels(samples + first * channels, weights.weights(i).data(),
            static_cast<std::size_t>(weights.taps()), channels, to);
    }
}

} // namespace velk::graphics::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velk::graphics {

HWY_EXPORT(addWeightedRows);
HWY_EXPORT(filterFloatColumns);

namespace {

// Samples behind a row that vectors may touch.
constexpr std::size_t kSlack = 16;

template <typename Component>
void toFloats(std::uint8_t const* from, std::size_t count, float scale, float* to)
{
    for (std::size_t i = 0; i < count; ++i) {
        Component value;
        std::memcpy(&value, from + i * sizeof(Component), sizeof(value));
        to[i] = static_cast<float>(value) * scale;
    }
}

} // namespace

FloatPasses::FloatPasses(
    PixelFormat format, ResampleWeights const& horizontal, ResampleWeights const& vertical)
    : m_format(format)
    , m_horizontal(horizontal)
    , m_vertical(vertical)
    , m_samples(static_cast<std::size_t>(horizontal.endInput() - horizontal.firstInput())
          * static_cast<std::size_t>(format.channels()))
    , m_filteredRow(m_samples + kSlack)
    , m_resultRow(static_cast<std::size_t>(horizontal.outputs()) * static_cast<std::size_t>(format.channels())
          + kSlack)
{
}

void FloatPasses::keepRow(std::uint8_t const* from, std::uint8_t* to) const
{
    auto* const floats = reinterpret_cast<float*>(to);
    auto const* first = from + static_cast<std::size_t>(m_horizontal.firstInput()) * m_format.bytesPerPixel();
    switch (m_format.componentType) {
    case ComponentType::UInt8:
        toFloats<std::uint8_t>(first, m_samples, 1, floats);
        break;
    case ComponentType::UInt16:
        toFloats<std::uint16_t>(first, m_samples, 255.0F / 65535.0F, floats);
        break;
    case ComponentType::Float32:
        std::memcpy(to, first, m_samples * sizeof(float));
        break;
    }
}

void FloatPasses::filter(std::span<std::uint8_t const* const> rows, std::int32_t output, std::uint8_t* to)
{
    auto const channels = static_cast<std::size_t>(m_format.channels());
    auto const pixels = static_cast<std::size_t>(m_horizontal.outputs());
    HWY_DYNAMIC_DISPATCH(addWeightedRows)
    (rows.data(), m_vertical.weights(output).data(), rows.size(), m_samples, m_filteredRow.data());
    HWY_DYNAMIC_DISPATCH(filterFloatColumns)
    (m_filteredRow.data(), m_horizontal, channels, m_resultRow.data());
    if (m_format.componentType == ComponentType::Float32) {
        std::memcpy(to, m_resultRow.data(), pixels * channels * sizeof(float));
        return;
    }
    if (m_format.alpha == Alpha::Premultiplied)
        limitToAlpha(m_resultRow.data(), pixels, channels);
    for (std::size_t i = 0; i < pixels * channels; ++i)
        to[i] = static_cast<std::uint8_t>(std::clamp(m_resultRow[i], 0.0F, 255.0F) + 0.5F);
}

} // namespace velk::graphics

#endif
