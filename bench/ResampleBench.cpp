#include "platform/graphics/Pipeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

namespace velk::graphics {
namespace {

constexpr Size kTwentyFourMegapixels {6000, 4000};

std::shared_ptr<PixelBuffer const> gradient(PixelFormat format)
{
    auto buffer =
        PixelBuffer::create({kTwentyFourMegapixels, format, ColorSpace::device(format.model)}).value();
    for (std::int32_t y = 0; y < buffer.size().height; ++y) {
        for (std::size_t i = 0; i < buffer.layout().rowBytes(); ++i)
            buffer.row(y)[i] = static_cast<std::uint8_t>(i / 16 + static_cast<std::size_t>(y));
    }
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

void drain(RowSource& rows)
{
    constexpr std::int32_t kBlock = 16;
    Bytes block(rows.rowBytes() * kBlock);
    while (rows.rowsLeft() > 0)
        benchmark::DoNotOptimize(
            rows.read({block.data(), rows.rowBytes(), std::min(kBlock, rows.rowsLeft())}).has_value());
}

void benchResample(benchmark::State& state, PixelFormat format, Size target)
{
    auto const source = gradient(format);
    for (auto _ : state)
        drain(*resample(rowsOf(source),
            {0, 0, double {kTwentyFourMegapixels.width}, double {kTwentyFourMegapixels.height}}, target));
    state.SetItemsProcessed(state.iterations() * kTwentyFourMegapixels.pixelCount());
}

constexpr PixelFormat kGray {.model = ColorModel::Gray};
constexpr PixelFormat kRgb {};
constexpr PixelFormat kRgba {.alpha = Alpha::Premultiplied};
constexpr PixelFormat kDeep {.componentType = ComponentType::UInt16};

BENCHMARK_CAPTURE(benchResample, GrayToHalf, kGray, {3000, 2000})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, RgbToHalf, kRgb, {3000, 2000})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, RgbaToHalf, kRgba, {3000, 2000})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, DeepToHalf, kDeep, {3000, 2000})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, RgbTo800, kRgb, {800, 533})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, RgbTo100, kRgb, {100, 67})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchResample, RgbEnlarged, kRgb, {9000, 6000})->Unit(benchmark::kMillisecond);

} // namespace
} // namespace velk::graphics
