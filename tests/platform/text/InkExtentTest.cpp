#include "platform/text/InkExtent.h"

#include <gtest/gtest.h>

namespace velk::text {

namespace {

using graphics::FloatRect;
using graphics::Path;

void expectRect(Path const& path, FloatRect const& expected)
{
    auto const rect = inkExtent(path).rect();
    EXPECT_NEAR(rect.x, expected.x, 1e-9);
    EXPECT_NEAR(rect.y, expected.y, 1e-9);
    EXPECT_NEAR(rect.width, expected.width, 1e-9);
    EXPECT_NEAR(rect.height, expected.height, 1e-9);
}

template <typename Draw> Path drawn(Draw draw)
{
    Path path;
    draw(path);
    return path;
}

} // namespace

TEST(InkExtent, EndsWhereCurvesTurn)
{
    struct {
        char const* what;
        Path path;
        FloatRect rect;
    } const cases[] = {
        {"arch", drawn([](Path& path) {
             path.moveTo({0, 0});
             path.quadTo({5, 10}, {10, 0});
         }),
            {0, 0, 10, 5}},
        {"quarter", drawn([](Path& path) {
             path.moveTo({0, 0});
             path.quadTo({10, 0}, {10, 10});
         }),
            {0, 0, 10, 10}},
        {"symmetric bump, where the term of degree three vanishes", drawn([](Path& path) {
             path.moveTo({0, 0});
             path.cubicTo({0, 8}, {6, 8}, {6, 0});
         }),
            {0, 0, 6, 6}},
        {"snake, turning twice", drawn([](Path& path) {
             path.moveTo({0, 0});
             path.cubicTo({1, 6}, {2, -6}, {3, 0});
         }),
            {0, -1.7320508075688772, 3, 2 * 1.7320508075688772}},
        {"loop to the left", drawn([](Path& path) {
             path.moveTo({0, 0});
             path.cubicTo({-4, 0}, {-4, 4}, {0, 4});
         }),
            {-3, 0, 3, 4}},
        {"curve after a closed subpath starts where that one did", drawn([](Path& path) {
             path.moveTo({2, 2});
             path.lineTo({4, 2});
             path.lineTo({4, 4});
             path.close();
             path.quadTo({-2, 2}, {2, 2});
         }),
            {0, 2, 4, 2}},
        {"point", drawn([](Path& path) {
             path.moveTo({3, 4});
         }),
            {3, 4, 0, 0}},
        {"nothing", {}, {0, 0, 0, 0}},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.what);
        expectRect(row.path, row.rect);
    }
}

} // namespace velk::text
