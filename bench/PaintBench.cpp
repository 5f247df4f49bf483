#include "platform/graphics/drawing/Blend.h"
#include "platform/graphics/drawing/Blur.h"
#include "platform/graphics/drawing/SpanSource.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace velk::graphics {
namespace {

constexpr Size kCanvas {1600, 1200};
constexpr std::size_t kCanvasWidth = kCanvas.width;
constexpr std::size_t kRowBytes = 4 * kCanvasWidth;

std::vector<std::uint8_t> canvas()
{
    std::vector<std::uint8_t> pixels(kRowBytes * kCanvas.height);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i * 7);
    return pixels;
}

void reportPixels(benchmark::State& state, std::int64_t pixels)
{
    state.SetItemsProcessed(state.iterations() * pixels);
}

void fillCanvas(benchmark::State& state, BlendMode mode, PremultipliedColor color)
{
    auto pixels = canvas();
    for (auto _ : state) {
        for (std::size_t y = 0; y < kCanvas.height; ++y)
            blendColor(mode, pixels.data() + y * kRowBytes, color, nullptr, kCanvasWidth);
        benchmark::ClobberMemory();
    }
    reportPixels(state, kCanvas.pixelCount());
}

constexpr PremultipliedColor kOpaque {10, 20, 30, 255};
constexpr PremultipliedColor kTranslucent {10, 20, 30, 100};

BENCHMARK_CAPTURE(fillCanvas, Opaque, BlendMode::Normal, kOpaque)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fillCanvas, Translucent, BlendMode::Normal, kTranslucent)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fillCanvas, Xor, BlendMode::Xor, kTranslucent)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fillCanvas, Lighten, BlendMode::Lighten, kTranslucent)->Unit(benchmark::kMillisecond);

void copyCanvas(benchmark::State& state, std::uint8_t alpha)
{
    auto pixels = canvas();
    auto const source = canvas();
    for (auto _ : state) {
        for (std::size_t y = 0; y < kCanvas.height; ++y)
            blendPixels(BlendMode::Normal, pixels.data() + y * kRowBytes, source.data() + y * kRowBytes,
                alpha, nullptr, kCanvasWidth);
        benchmark::ClobberMemory();
    }
    reportPixels(state, kCanvas.pixelCount());
}

BENCHMARK_CAPTURE(copyCanvas, Opaque, 255)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(copyCanvas, Translucent, 100)->Unit(benchmark::kMillisecond);

// The rows of a disc: an edge, an inside, an edge.
void blendShortSpans(benchmark::State& state)
{
    auto pixels = canvas();
    auto const count = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint8_t> coverage(count, 255);
    coverage.front() = coverage.back() = 77;
    constexpr std::size_t kSpans = 1000;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kSpans; ++i)
            blendColor(BlendMode::Normal, pixels.data() + 4 * 37 * i, kTranslucent, coverage.data(), count);
        benchmark::ClobberMemory();
    }
    reportPixels(state, kSpans);
}

BENCHMARK(blendShortSpans)->Arg(3)->Arg(8)->Arg(10)->Arg(23);

void blurMask(benchmark::State& state)
{
    CoverageMask mask {{100, 100, 1000, 800}, std::vector<std::uint8_t>(1000 * 800)};
    for (std::size_t i = 0; i < mask.values.size(); ++i)
        mask.values[i] = i / 40 % 2 ? 255 : 0;
    auto const deviation = static_cast<double>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(blurred(mask, deviation, {0, 0, kCanvas.width, kCanvas.height}));
    reportPixels(state, 1000 * 800);
}

BENCHMARK(blurMask)->Arg(1)->Arg(2)->Arg(5)->Arg(20)->Arg(60)->Arg(1000)->Unit(benchmark::kMillisecond);

void shadeCanvas(benchmark::State& state, Gradient const& gradient)
{
    std::vector<std::uint8_t> row(kRowBytes);
    for (auto _ : state) {
        auto const source = gradientSource(gradient, {});
        for (std::int32_t y = 0; y < kCanvas.height; ++y) {
            source->span(0, y, kCanvas.width, row.data());
            benchmark::ClobberMemory();
        }
    }
    reportPixels(state, kCanvas.pixelCount());
}

constexpr Color kRed {1, 0, 0, 1};
constexpr Color kBlue {0, 0, 1, 1};
constexpr Color kVeil {0, 0, 1, 0.2};

Gradient linear(Point end, Color const& last)
{
    return {Gradient::Kind::Linear, {}, end, 0, 0, {{0, kRed}, {1, last}}};
}

Gradient rainbow(Gradient::Kind kind)
{
    Gradient gradient {kind, {800, 600}, {900, 650}, 10, 700, {}};
    for (int i = 0; i <= 6; ++i)
        gradient.stops.push_back({i / 6.0, i % 2 ? kRed : kBlue});
    return gradient;
}

BENCHMARK_CAPTURE(shadeCanvas, Horizontal, linear({1600, 0}, kBlue))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shadeCanvas, Vertical, linear({0, 1200}, kBlue))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shadeCanvas, Diagonal, linear({1600, 1200}, kBlue))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shadeCanvas, DiagonalVeil, linear({1600, 1200}, kVeil))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shadeCanvas, Rainbow, rainbow(Gradient::Kind::Linear))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(shadeCanvas, RadialRainbow, rainbow(Gradient::Kind::Radial))->Unit(benchmark::kMillisecond);

// A photo in memory, each time as if it were drawn for the first time.
void drawPhoto(benchmark::State& state, AffineTransform const& map)
{
    auto pixels = PixelBuffer::create({{4000, 3000}, {}}).value();
    for (std::int32_t y = 0; y < pixels.size().height; ++y) {
        for (std::size_t i = 0; i < pixels.layout().rowBytes(); ++i)
            pixels.row(y)[i] = static_cast<std::uint8_t>(i / 16 + static_cast<std::size_t>(y));
    }
    auto const shared = std::make_shared<PixelBuffer const>(std::move(pixels));
    WorkCrew crew;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            imageSource(Image(shared), {0, 0, 4000, 3000}, map, {0, 0, kCanvas.width, kCanvas.height}, crew));
    reportPixels(state, shared->size().pixelCount());
}

BENCHMARK_CAPTURE(drawPhoto, AsThumbnail, {.a = 0.09, .d = 0.09})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(drawPhoto, AllOfIt, {.a = 0.4, .d = 0.4})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(drawPhoto, Turned, {0.3, 0.1, -0.1, 0.3, 300, 0})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(drawPhoto, OneToOne, {})->Unit(benchmark::kMillisecond);

void drawAgain(benchmark::State& state, double scale)
{
    auto const shared = std::make_shared<PixelBuffer const>(PixelBuffer::create({{800, 600}, {}}).value());
    Image const image(shared);
    WorkCrew crew;
    for (auto _ : state)
        benchmark::DoNotOptimize(imageSource(image, {0, 0, 800, 600}, {.a = scale, .d = scale, .tx = 10.3},
            {0, 0, kCanvas.width, kCanvas.height}, crew));
    reportPixels(state, static_cast<std::int64_t>(800 * 600 * scale * scale));
}

BENCHMARK_CAPTURE(drawAgain, Smaller, 0.3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(drawAgain, Larger, 1.5)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace velk::graphics
