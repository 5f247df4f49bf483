#include "platform/graphics/AffineRows.h"
#include "platform/graphics/PixelBuffer.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace velk::graphics {
namespace {

constexpr Size kTwelveMegapixels {4000, 3000};

// A free rotation about the middle into the smallest bitmap that holds it.
void benchRotate(benchmark::State& state, PixelFormat format, double degrees)
{
    auto const source = std::make_shared<PixelBuffer>(
        PixelBuffer::create({kTwelveMegapixels, format, ColorSpace::device(format.model)}).value());
    auto const cosine = std::cos(degrees * std::numbers::pi / 180);
    auto const sine = std::sin(degrees * std::numbers::pi / 180);
    auto const& size = kTwelveMegapixels;
    Size const bitmap = {static_cast<std::int32_t>(size.width * cosine + size.height * sine),
        static_cast<std::int32_t>(size.width * sine + size.height * cosine)};
    auto const transform = AffineTransform::translation(-size.width / 2.0, -size.height / 2.0)
        * AffineTransform {.a = cosine, .b = sine, .c = -sine, .d = cosine}
        * AffineTransform::translation(bitmap.width / 2.0, bitmap.height / 2.0);
    for (auto _ : state) {
        constexpr std::int32_t kBlock = 16;
        auto const rows = affineRows(rowsOf(source), transform, bitmap, Bytes(format.bytesPerPixel()));
        Bytes block(rows->rowBytes() * kBlock);
        while (rows->rowsLeft() > 0)
            benchmark::DoNotOptimize(
                rows->read({block.data(), rows->rowBytes(), std::min(kBlock, rows->rowsLeft())}).has_value());
    }
    state.SetItemsProcessed(state.iterations() * bitmap.pixelCount());
}

constexpr PixelFormat kGray {.model = ColorModel::Gray};
constexpr PixelFormat kRgb {};
constexpr PixelFormat kRgba {.alpha = Alpha::Premultiplied};
constexpr PixelFormat kFloat {.componentType = ComponentType::Float32};

BENCHMARK_CAPTURE(benchRotate, Gray17, kGray, 17.0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(benchRotate, Rgb17, kRgb, 17.0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(benchRotate, Rgb80, kRgb, 80.0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(benchRotate, Rgba17, kRgba, 17.0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(benchRotate, Float17, kFloat, 17.0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace
} // namespace velk::graphics
