#include "platform/graphics/ResampleWeights.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numbers>

namespace velk::graphics {

namespace {

// Catmull-Rom's cubic: Keys' family with a = -1/2.
double catmullRom(double x)
{
    x = std::abs(x);
    if (x < 1)
        return (1.5 * x - 2.5) * x * x + 1;
    return x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0;
}

// Lanczos-3 at `start`, `start` + `step`, ...: 3 sin(pi x) sin(pi x / 3) / (pi x)^2. The sines advance by
// rotation, which costs a fraction of calling them for every tap.
void lanczos3(double start, double step, std::span<double> out)
{
    constexpr double kThird = std::numbers::pi / 3;
    auto sine = std::sin(start * kThird);
    auto cosine = std::cos(start * kThird);
    auto const stepSine = std::sin(step * kThird);
    auto const stepCosine = std::cos(step * kThird);
    auto x = start;
    for (auto& value : out) {
        auto const tripled = (3 - 4 * sine * sine) * sine; // sin(pi x)
        auto const angle = x * kThird;
        if (std::abs(x) >= 3)
            value = 0;
        else
            value = std::abs(x) < 1e-6 ? 1 : tripled * sine / (3 * angle * angle);
        auto const turnedSine = sine * stepCosine + cosine * stepSine;
        cosine = cosine * stepCosine - sine * stepSine;
        sine = turnedSine;
        x += step;
    }
}

// The kernel of one output before it meets the edges.
struct Kernel {
    std::int64_t first = 0;
    std::vector<double> weights;
};

void sampleKernel(double center, double stretch, Kernel& kernel)
{
    auto const enlarges = stretch <= 1;
    auto const support = enlarges ? 2.0 : 3 * stretch;
    kernel.first = static_cast<std::int64_t>(std::floor(center - support - 0.5)) + 1;
    auto const last = static_cast<std::int64_t>(std::ceil(center + support - 0.5)) - 1;
    kernel.weights.resize(static_cast<std::size_t>(last - kernel.first + 1));
    auto const start = static_cast<double>(kernel.first) + 0.5 - center;
    if (!enlarges) {
        lanczos3(start / stretch, 1 / stretch, kernel.weights);
        return;
    }
    for (std::size_t t = 0; t < kernel.weights.size(); ++t)
        kernel.weights[t] = catmullRom(start + static_cast<double>(t));
}

void normalise(std::vector<double>& weights)
{
    double sum = 0;
    for (auto const weight : weights)
        sum += weight;
    for (auto& weight : weights)
        weight /= sum;
}

} // namespace

ResampleWeights::ResampleWeights(double origin, double extent, std::int32_t outputs, std::int32_t inputs)
    : m_firstInput(inputs)
{
    assert(outputs > 0 && inputs > 0 && extent > 0);
    auto const ratio = extent / outputs;
    auto const stretch = std::max(ratio, 1.0);
    auto const widest = stretch > 1 ? std::ceil(6 * stretch) : 4;
    m_taps = static_cast<std::int32_t>(std::min(widest, static_cast<double>(inputs)));
    m_first.resize(static_cast<std::size_t>(outputs));
    m_weights.resize(static_cast<std::size_t>(outputs) * static_cast<std::size_t>(m_taps));
    Kernel kernel;
    auto* weights = m_weights.data();
    for (std::int32_t i = 0; i < outputs; ++i, weights += m_taps) {
        sampleKernel(origin + (i + 0.5) * ratio, stretch, kernel);
        normalise(kernel.weights);
        auto const first =
            static_cast<std::int32_t>(std::clamp<std::int64_t>(kernel.first, 0, inputs - m_taps));
        m_first[static_cast<std::size_t>(i)] = first;
        for (std::size_t t = 0; t < kernel.weights.size(); ++t) {
            auto const at =
                std::clamp<std::int64_t>(kernel.first + static_cast<std::int64_t>(t), 0, inputs - 1);
            assert(at >= first && at < first + m_taps);
            weights[at - first] += static_cast<float>(kernel.weights[t]);
        }
        m_firstInput = std::min(m_firstInput, first);
        m_endInput = std::max(m_endInput, first + m_taps);
    }
}

void roundWeights(std::span<float const> weights, std::int16_t* fixed)
{
    // The sum so far is rounded, not the single weight: no weight is off by more than one unit, and nothing
    // is left over in the end.
    double sum = 0;
    std::int32_t rounded = 0;
    for (auto const weight : weights) {
        sum += static_cast<double>(weight);
        auto const next = static_cast<std::int32_t>(std::lround(sum * (1 << kWeightBits)));
        *fixed++ = static_cast<std::int16_t>(next - rounded);
        rounded = next;
    }
    assert(rounded == 1 << kWeightBits);
}

} // namespace velk::graphics
