#include "platform/graphics/drawing/BitmapContext.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>

namespace velk::graphics {
namespace {

constexpr Size kSurface {1600, 1200};

/// Numbers that are the same in every run.
class Dice {
public:
    double operator()(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(m_random);
    }
    Color color(double alpha) { return {(*this)(0, 1), (*this)(0, 1), (*this)(0, 1), alpha}; }

private:
    std::mt19937 m_random {1};
};

std::unique_ptr<BitmapContext> whiteSurface()
{
    auto context = BitmapContext::create(kSurface).value();
    context->setFillColor({1, 1, 1});
    context->fillRect({0, 0, kSurface.width, kSurface.height});
    return context;
}

/// What each benchmark draws, on a surface that stays.
template <typename Job> void run(benchmark::State& state, Job const& job)
{
    auto const context = whiteSurface();
    for (auto _ : state) {
        Dice dice;
        context->save();
        job(*context, dice);
        context->restore();
    }
}

void addDisc(BitmapContext& context, double x, double y, double radius)
{
    context.addArc(x, y, radius, 0, 2 * std::numbers::pi);
    context.fillPath();
}

void discs(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        for (int i = 0; i < 20000; ++i) {
            context.setFillColor(dice.color(0.8));
            addDisc(context, dice(0, 1600), dice(0, 1200), dice(2, 12));
        }
    });
}

void translucentFills(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        for (int i = 0; i < 300; ++i) {
            context.setFillColor(dice.color(0.3));
            context.fillRect({0, 0, kSurface.width, kSurface.height});
        }
    });
}

void strokedCurves(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        context.setLineWidth(3);
        for (int i = 0; i < 2000; ++i) {
            context.setStrokeColor(dice.color(0.9));
            context.moveTo(dice(0, 1600), dice(0, 1200));
            context.cubicTo(
                dice(0, 1600), dice(0, 1200), dice(0, 1600), dice(0, 1200), dice(0, 1600), dice(0, 1200));
            context.strokePath();
        }
    });
}

void polygons(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        for (int i = 0; i < 5000; ++i) {
            context.setFillColor(dice.color(0.7));
            auto const x = dice(0, 1600);
            auto const y = dice(0, 1200);
            context.moveTo(x, y);
            for (int corner = 1; corner < 40; ++corner)
                context.lineTo(x + dice(-60, 60), y + dice(-60, 60));
            context.fillPath();
        }
    });
}

void gradients(benchmark::State& state, Gradient::Kind kind)
{
    run(state, [kind](BitmapContext& context, Dice& dice) {
        for (int i = 0; i < 100; ++i) {
            Gradient gradient {.kind = kind,
                .start = {dice(0, 800), dice(0, 600)},
                .end = {dice(800, 1600), dice(600, 1200)},
                .startRadius = 10,
                .endRadius = 900};
            if (kind == Gradient::Kind::Radial)
                gradient.end = gradient.start;
            for (auto const location : {0.0, 0.4, 1.0})
                gradient.stops.push_back({location, dice.color(1)});
            context.addRect({0, 0, kSurface.width, kSurface.height});
            context.save();
            context.clipToPath();
            context.drawGradient(gradient);
            context.restore();
        }
    });
}

void glyphMasks(benchmark::State& state)
{
    // About what a string of twelve letters of 16 pixels looks like.
    CoverageMask mask {{0, 0, 9, 12}, {}};
    for (int i = 0; i < 9 * 12; ++i)
        mask.values.push_back(i % 3 == 0 ? 255 : i % 3 == 1 ? 90 : 0);
    run(state, [&](BitmapContext& context, Dice& dice) {
        for (int i = 0; i < 5000; ++i) {
            context.setFillColor(dice.color(1));
            auto const x = static_cast<std::int32_t>(dice(0, 1500));
            auto const y = static_cast<std::int32_t>(dice(0, 1180));
            for (int letter = 0; letter < 12; ++letter)
                context.fillMask(mask, x + 9 * letter, y);
        }
    });
}

void shadows(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        context.setShadow({.offsetX = 8, .offsetY = -8, .blur = 20, .color = {0, 0, 0, 0.5}});
        for (int i = 0; i < 50; ++i) {
            context.setFillColor(dice.color(1));
            context.fillRect({dice(0, 1300), dice(0, 1000), 300, 200});
        }
    });
}

void clippedDiscs(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        context.addArc(800, 600, 500, 0, 7);
        context.clipToPath();
        for (int i = 0; i < 20000; ++i) {
            context.setFillColor(dice.color(0.8));
            addDisc(context, dice(0, 1600), dice(0, 1200), dice(2, 12));
        }
    });
}

void dashedLines(benchmark::State& state)
{
    run(state, [](BitmapContext& context, Dice& dice) {
        context.setLineDash(0, {8, 4});
        context.setLineWidth(2);
        for (int i = 0; i < 1000; ++i) {
            context.moveTo(dice(0, 1600), dice(0, 1200));
            context.lineTo(dice(0, 1600), dice(0, 1200));
            context.strokePath();
        }
    });
}

BENCHMARK(discs)->Unit(benchmark::kMillisecond);
BENCHMARK(translucentFills)->Unit(benchmark::kMillisecond);
BENCHMARK(strokedCurves)->Unit(benchmark::kMillisecond);
BENCHMARK(polygons)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(gradients, Linear, Gradient::Kind::Linear)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(gradients, Radial, Gradient::Kind::Radial)->Unit(benchmark::kMillisecond);
BENCHMARK(glyphMasks)->Unit(benchmark::kMillisecond);
BENCHMARK(shadows)->Unit(benchmark::kMillisecond);
BENCHMARK(clippedDiscs)->Unit(benchmark::kMillisecond);
BENCHMARK(dashedLines)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace velk::graphics
