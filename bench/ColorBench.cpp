#include "platform/color/ColorConversion.h"
#include "platform/graphics/PixelBuffer.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

namespace velk::color {
namespace {

using namespace graphics;

constexpr Size kTwelveMegapixels {4000, 3000};
constexpr std::int32_t kBlock = 64;

std::shared_ptr<PixelBuffer const> noise(PixelFormat format, ColorSpace const& space)
{
    auto buffer = PixelBuffer::create({kTwelveMegapixels, format, space}).value();
    std::uint32_t state = 1;
    for (std::int32_t y = 0; y < kTwelveMegapixels.height; ++y) {
        for (std::size_t i = 0; i < buffer.layout().rowBytes(); ++i) {
            state = state * 1664525 + 1013904223;
            buffer.row(y)[i] = static_cast<std::uint8_t>(state >> 24);
        }
    }
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

void run(benchmark::State& state, PixelFormat from, ColorSpace const& space, ConversionTarget const& target)
{
    auto const image = noise(from, space);
    for (auto _ : state) {
        auto const rows = convertColors(rowsOf(image), target).value();
        Bytes block(rows->rowBytes() * kBlock);
        while (rows->rowsLeft() > 0) {
            auto const count = std::min(kBlock, rows->rowsLeft());
            benchmark::DoNotOptimize(rows->read({block.data(), rows->rowBytes(), count}).has_value());
        }
    }
    state.SetItemsProcessed(state.iterations() * kTwelveMegapixels.pixelCount());
}

constexpr PixelFormat kRgb {};
constexpr PixelFormat kStraight {.alpha = Alpha::Straight};
constexpr PixelFormat kPremultiplied {.alpha = Alpha::Premultiplied};
constexpr PixelFormat kGray {.model = ColorModel::Gray};
constexpr PixelFormat kDeep {.componentType = ComponentType::UInt16};

void benchLayout(benchmark::State& state, PixelFormat from, PixelFormat to)
{
    run(state, from, ColorSpace::device(from.model), {to, ColorSpace::device(to.model)});
}
BENCHMARK_CAPTURE(benchLayout, Premultiply, kStraight, kPremultiplied)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, Unpremultiply, kPremultiplied, kStraight)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, Flatten, kPremultiplied, kRgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, AddAlpha, kRgb, kStraight)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, GrayToRgb, kGray, kRgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, Narrow, kDeep, kRgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchLayout, RgbToGray, kRgb, kGray)->Unit(benchmark::kMillisecond);

void benchIndexed(benchmark::State& state)
{
    Palette palette;
    palette.entries.resize(256, {1, 2, 3, 255});
    auto const space = ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), std::move(palette));
    run(state, {.model = ColorModel::Indexed}, space, {kRgb, ColorSpace::device(ColorModel::RGB)});
}
BENCHMARK(benchIndexed)->Unit(benchmark::kMillisecond);

// The two variables name RGB profiles; both are plain matrix profiles in a fair run.
void benchMatch(benchmark::State& state)
{
    auto const* const from = std::getenv("VELK_BENCH_SOURCE_PROFILE");
    auto const* const to = std::getenv("VELK_BENCH_PROFILE");
    if (!from || !to) {
        state.SkipWithError("set VELK_BENCH_SOURCE_PROFILE and VELK_BENCH_PROFILE");
        return;
    }
    auto const space = [](char const* path) {
        std::ifstream file(path, std::ios::binary);
        Bytes bytes {std::istreambuf_iterator<char>(file), {}};
        return ColorSpace::withProfile(ColorModel::RGB, shareBytes(bytes));
    };
    run(state, kRgb, space(from), {kRgb, space(to)});
}
BENCHMARK(benchMatch)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace velk::color
