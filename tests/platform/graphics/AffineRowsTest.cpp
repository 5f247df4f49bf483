#include "platform/graphics/AffineRows.h"

#include "platform/graphics/PipelineTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velk::test {

using namespace graphics;

namespace {

// Turns a w x h image by `degrees` (clockwise on the screen) about the middle of a bitmap of `size`.
AffineTransform turning(double degrees, Size image, Size size)
{
    auto const angle = degrees * std::numbers::pi / 180;
    AffineTransform const turn = {
        .a = std::cos(angle), .b = std::sin(angle), .c = -std::sin(angle), .d = std::cos(angle)};
    return AffineTransform::translation(-image.width / 2.0, -image.height / 2.0) * turn
        * AffineTransform::translation(size.width / 2.0, size.height / 2.0);
}

PixelBufferPointer drawn(
    PixelBufferPointer const& pixels, AffineTransform const& transform, Size size, Bytes const& fill)
{
    return collect(affineRows(rowsOf(pixels), transform, size, fill));
}

PixelBufferPointer white(Size size)
{
    return paint(size, {ComponentType::UInt8, ColorModel::Gray}, [](int, int, int) { return 1; });
}

} // namespace

TEST(AffineRows, DrawsASquareOnItsCorner)
{
    // The diagonal of a 100-pixel square is 141.42: its corners lie 70.71 from the middle of the bitmap.
    auto const result = drawn(white({100, 100}), turning(45, {100, 100}, {160, 160}), {160, 160}, {0});
    EXPECT_EQ(byteAt(result, 80, 80, 0), 255);
    EXPECT_EQ(byteAt(result, 79, 11, 0), 255);
    EXPECT_EQ(byteAt(result, 79, 7, 0), 0);
    EXPECT_EQ(byteAt(result, 11, 79, 0), 255);
    EXPECT_EQ(byteAt(result, 152, 79, 0), 0);
    EXPECT_EQ(byteAt(result, 20, 20, 0), 0);

    // Across an edge coverage grows from 0 to 1 within two pixels, and never falls.
    int partial = 0;
    for (int x = 10; x < 79; ++x) {
        EXPECT_LE(byteAt(result, x, 60, 0), byteAt(result, x + 1, 60, 0));
        partial += byteAt(result, x, 60, 0) > 0 && byteAt(result, x, 60, 0) < 255;
    }
    EXPECT_GE(partial, 1);
    EXPECT_LE(partial, 2);

    // All coverage together is the area of the square.
    double sum = 0;
    for (int y = 0; y < 160; ++y) {
        for (int x = 0; x < 160; ++x)
            sum += component(*result, x, y, 0);
    }
    EXPECT_NEAR(sum, 10000, 30);
}

TEST(AffineRows, BlendsTheEdgeWithTheFill)
{
    for (auto const degrees : {1, 30, 45, 133, 271}) {
        auto const result = drawn(white({60, 40}), turning(degrees, {60, 40}, {90, 90}), {90, 90}, {100});
        for (int y = 0; y < 90; ++y) {
            for (int x = 0; x < 90; ++x)
                ASSERT_GE(byteAt(result, x, y, 0), 100) << "no dark seam between white and grey";
        }
        EXPECT_EQ(byteAt(result, 0, 0, 0), 100);
        EXPECT_EQ(byteAt(result, 45, 45, 0), 255);
    }
}

TEST(AffineRows, InterpolatesAPictureAccurately)
{
    // A smooth function sampled through the transform is the function at the transformed place.
    auto const value = [](double u, double v, int channel) {
        return 0.5 + 0.4 * std::sin(u / 9 + channel) * std::cos(v / 11);
    };
    Size const size = {120, 90};
    auto const map = turning(17, size, size);
    auto const inverse = turning(-17, size, size);
    for (auto const type : {ComponentType::UInt8, ComponentType::Float32}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
            PixelFormat const format = {type, model, Alpha::None};
            auto const source = paint(
                size, format, [&](int x, int y, int channel) { return value(x + 0.5, y + 0.5, channel); });
            auto const result = drawn(source, map, size, Bytes(format.bytesPerPixel()));
            for (int y = 20; y < 70; ++y) {
                for (int x = 30; x < 90; ++x) {
                    auto const u = inverse.a * (x + 0.5) + inverse.c * (y + 0.5) + inverse.tx;
                    auto const v = inverse.b * (x + 0.5) + inverse.d * (y + 0.5) + inverse.ty;
                    for (int channel = 0; channel < format.channels(); ++channel)
                        ASSERT_NEAR(component(*result, x, y, channel), value(u, v, channel), 1.6 / 255);
                }
            }
        }
    }
}

TEST(AffineRows, LeavesNoSeamAtTheTopEdge)
{
    // The first touched row may see only what lies above the source's first row.
    for (auto const scale : {0.4, 0.95, 1.0, 7.0}) {
        AffineTransform const map = {.a = scale, .b = scale / 1000, .c = 0, .d = scale, .tx = 2, .ty = 31.7};
        auto const result = drawn(white({40, 3}), map, {40, 60}, {255});
        for (int y = 0; y < 60; ++y)
            ASSERT_TRUE(std::all_of(result->row(y), result->row(y) + 40, [](int byte) {
                return byte == 255;
            })) << y;
    }
}

TEST(AffineRows, ComputesTheSameBytesOnEveryMachine)
{
    for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
        for (auto const alpha : {Alpha::None, Alpha::Premultiplied}) {
            PixelFormat const format = {ComponentType::UInt8, model, alpha};
            auto const source =
                paint({37, 29}, format, [](int x, int y, int) { return (x / 3 + y / 2) % 2; });
            Bytes const fill(format.bytesPerPixel());
            PixelBufferPointer first;
            onEveryTarget([&] {
                auto const result = drawn(source, turning(200, {37, 29}, {301, 50}), {301, 50}, fill);
                first = first ? first : result;
                EXPECT_EQ(largestDifference(*result, *first), 0);
            });
        }
    }
}

TEST(AffineRows, SurvivesExtremeTransforms)
{
    auto const source = photoLike({50, 40}, {});
    AffineTransform const maps[] = {
        {1e-6, 1e-6, -1e-6, 1e-6, 20, 20}, // shrunk to nothing
        {1e6, 1e6, -1e6, 1e6, -1e7, -1e7}, // one pixel fills everything
        {1, 1, 1, 1.000001, 0, 0}, // almost a line
        {0.7, 0.7, -0.7, 0.7, 1e15, -1e15}, // far away
        {1, 0, 1e9, 1, 0, 0}, // sheared beyond recognition
    };
    for (auto const& map : maps)
        EXPECT_EQ(drawn(source, map, {300, 70}, Bytes(3))->size(), (Size {300, 70}));
}

TEST(AffineRows, ReadsTheSourceAsFarAsItIsDrawn)
{
    // At a small angle the first rows of the result need only the upper part of the source.
    int rowsRead = 0;
    auto const source = photoLike({100, 1000}, {});
    auto const rows = affineRows(
        watchedRows(source, rowsRead), turning(5, {100, 1000}, {300, 1100}), {300, 1100}, Bytes(3));
    Bytes row(rows->rowBytes());
    for (int y = 0; y < 300; ++y)
        ASSERT_TRUE(rows->read({row.data(), row.size(), 1}));
    EXPECT_GT(rowsRead, 200);
    EXPECT_LT(rowsRead, 400);

    auto const failing = affineRows(
        watchedRows(source, rowsRead, 500), turning(5, {100, 1000}, {300, 1100}), {300, 1100}, Bytes(3));
    EXPECT_FALSE(PixelBuffer::collect(*failing));
}

} // namespace velk::test
