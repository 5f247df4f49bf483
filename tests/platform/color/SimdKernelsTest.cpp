#include "platform/color/SimdKernels.h"

#include "support/TestSimd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace velk::color::simd {

using test::onEveryTarget;

namespace {

using Samples = std::vector<std::uint8_t>;

// Longer than two vectors of any machine, and every length up to that.
constexpr std::size_t kLongest = 140;
constexpr std::uint8_t kGuard = 0xA5;

Samples samples(std::size_t count)
{
    Samples values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = i % 9 == 0 ? 255 : i % 7 == 0 ? 0 : static_cast<std::uint8_t>(i * 73 + i / 11);
    return values;
}

std::uint8_t product(unsigned a, unsigned b)
{
    return static_cast<std::uint8_t>(std::lround(a * b / 255.0));
}

// A kernel, and what it makes of one pixel.
struct Kernel {
    char const* name;
    std::size_t inBytes, outBytes;
    std::function<void(std::uint8_t const* in, std::uint8_t* out, std::size_t pixels)> run;
    std::function<Samples(std::uint8_t const* pixel)> reference;
};

constexpr std::uint8_t kBackground[] = {10, 128, 250};

std::uint16_t wordAt(std::uint8_t const* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

std::vector<Kernel> kernels()
{
    return {
        {"dropAlpha", 4, 3, dropAlpha,
            [](auto* p) {
                return Samples {p[0], p[1], p[2]};
            }},
        {"addAlpha", 3, 4, addAlpha,
            [](auto* p) {
                return Samples {p[0], p[1], p[2], 255};
            }},
        {"expandGray", 1, 3, expandGray,
            [](auto* p) {
                return Samples {p[0], p[0], p[0]};
            }},
        {"premultiply", 4, 4, premultiply,
            [](auto* p) {
                return Samples {product(p[0], p[3]), product(p[1], p[3]), product(p[2], p[3]), p[3]};
            }},
        {"flatten", 4, 3, [](auto* in, auto* out, auto pixels) { flatten(in, out, pixels, kBackground); },
            [](auto* p) {
                Samples result;
                for (std::size_t i = 0; i < 3; ++i) {
                    auto const sum = p[i] + product(kBackground[i], 255u - p[3]);
                    result.push_back(static_cast<std::uint8_t>(std::min(sum, 255)));
                }
                return result;
            }},
        {"widen", 1, 2,
            [](auto* in, auto* out, auto count) { widen(in, reinterpret_cast<std::uint16_t*>(out), count); },
            [](auto* p) {
                return Samples {p[0], p[0]};
            }},
        {"narrow", 2, 1,
            [](auto* in, auto* out, auto count) {
                narrow(reinterpret_cast<std::uint16_t const*>(in), out, count);
            },
            [](auto* p) { return Samples {static_cast<std::uint8_t>(std::lround(wordAt(p) / 257.0))}; }},
    };
}

void expectAgreement(Kernel const& kernel, std::size_t pixels)
{
    auto const in = samples(pixels * kernel.inBytes);
    Samples out(pixels * kernel.outBytes + 64, kGuard);
    kernel.run(in.data(), out.data(), pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        auto const expected = kernel.reference(&in[i * kernel.inBytes]);
        auto const* const begin = out.data() + i * kernel.outBytes;
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), begin))
            << kernel.name << ", pixel " << i << " of " << pixels;
    }
    ASSERT_TRUE(std::all_of(out.end() - 64, out.end(), [](auto byte) { return byte == kGuard; }))
        << kernel.name << " writes beyond " << pixels << " pixels";
}

} // namespace

TEST(SimdKernels, AgreeWithPlainArithmeticAtEveryLength)
{
    onEveryTarget([] {
        for (auto const& kernel : kernels()) {
            for (std::size_t pixels = 0; pixels <= kLongest; ++pixels)
                expectAgreement(kernel, pixels);
        }
    });
}

TEST(SimdKernels, ShapeRgbLeavesAlphaAlone)
{
    // Tables that halve the light of each channel, in codes that count it linearly.
    ShaperTables tables {};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        for (std::size_t code = 0; code < 256; ++code)
            tables.columns[channel][code][channel] = static_cast<float>(code) / 510;
        for (std::size_t i = 0; i < ShaperTables::kCodes; ++i) {
            auto const bits =
                ShaperTables::kFirstBits + (static_cast<std::uint32_t>(i) << ShaperTables::kIndexShift);
            tables.codes[channel][i] =
                static_cast<std::uint8_t>(std::lround(static_cast<double>(std::bit_cast<float>(bits)) * 255));
        }
    }
    onEveryTarget([&] {
        for (auto const& [inChannels, outChannels] : {std::pair {3u, 3u}, {4u, 4u}, {3u, 4u}, {4u, 3u}}) {
            auto const in = samples(100 * inChannels);
            Samples out(100 * outChannels, kGuard);
            shapeRgb(tables, in.data(), out.data(), 100, inChannels, outChannels);
            for (std::size_t i = 0; i < 100; ++i) {
                for (std::size_t channel = 0; channel < 3; ++channel)
                    ASSERT_NEAR(out[i * outChannels + channel], in[i * inChannels + channel] / 2.0, 1.01);
                if (outChannels == 4) {
                    ASSERT_EQ(out[i * outChannels + 3], kGuard);
                }
            }
        }
    });
}

} // namespace velk::color::simd
