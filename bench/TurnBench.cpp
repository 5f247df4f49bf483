#include "platform/graphics/Pipeline.h"
#include "platform/graphics/Turn.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

namespace velk::graphics {
namespace {

constexpr Size kTwentyFourMegapixels {6000, 4000};

PixelBuffer blank(PixelFormat format)
{
    return PixelBuffer::create({kTwentyFourMegapixels, format, ColorSpace::device(format.model)}).value();
}

void benchTurn(benchmark::State& state, PixelFormat format, Turn turn)
{
    auto const source = blank(format);
    for (auto _ : state)
        benchmark::DoNotOptimize(turned(source, turn)->row(0));
    state.SetBytesProcessed(state.iterations() * kTwentyFourMegapixels.pixelCount()
        * static_cast<std::int64_t>(format.bytesPerPixel()) * 2);
}

// What a turn is limited by: the same bytes copied into a new buffer.
void benchCopy(benchmark::State& state, PixelFormat format)
{
    auto const source = blank(format);
    for (auto _ : state) {
        auto copy = blank(format);
        for (std::int32_t y = 0; y < copy.size().height; ++y)
            std::memcpy(copy.row(y), source.row(y), copy.layout().rowBytes());
        benchmark::DoNotOptimize(copy.row(0));
    }
    state.SetBytesProcessed(state.iterations() * kTwentyFourMegapixels.pixelCount()
        * static_cast<std::int64_t>(format.bytesPerPixel()) * 2);
}

constexpr PixelFormat kGray {.model = ColorModel::Gray};
constexpr PixelFormat kRgb {};
constexpr PixelFormat kRgba {.alpha = Alpha::Premultiplied};
constexpr PixelFormat kDeep {.componentType = ComponentType::UInt16};

BENCHMARK_CAPTURE(benchCopy, Rgb, kRgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchTurn, RgbMirrored, kRgb, Turn::MirrorHorizontal)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchTurn, GrayClockwise, kGray, Turn::RotateClockwise)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchTurn, RgbClockwise, kRgb, Turn::RotateClockwise)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchTurn, RgbaClockwise, kRgba, Turn::RotateClockwise)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchTurn, DeepClockwise, kDeep, Turn::RotateClockwise)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace velk::graphics
