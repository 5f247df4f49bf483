#include "platform/color/CmykSeparation.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace velk::color {

namespace {

constexpr int kIterations = 12;
// Difference of ink over which the slope of the colour is taken.
constexpr float kSlopeStep = 0.02f;
// More ink than this in all does not dry (SWOP).
constexpr float kInkLimit = 3.0f;
// Darkness from which black ink is used.
constexpr float kBlackStart = 0.2f;

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

float blackInk(float darkness)
{
    auto const rest = std::max(0.0f, (darkness - kBlackStart) / (1 - kBlackStart));
    return rest * std::sqrt(rest);
}

// The first guess: the complement of the value, with black taken out.
Ink firstGuess(std::size_t node)
{
    constexpr auto kLast = static_cast<float>(kSeparationNodes - 1);
    auto const level = [&](std::size_t stride) {
        return static_cast<float>(node / stride % kSeparationNodes) / kLast;
    };
    auto const red = level(std::size_t {kSeparationNodes} * kSeparationNodes);
    auto const green = level(kSeparationNodes);
    auto const blue = level(1);
    auto const black = blackInk(1 - std::max({red, green, blue}));
    return {(1 - red) * (1 - black / 2), (1 - green) * (1 - black / 2), (1 - blue) * (1 - black / 2), black};
}

double determinant(Matrix const& m)
{
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1])
        - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0])
        + m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Cramer's rule; `m` is symmetric and positive.
Vector solve(Matrix const& m, Vector const& right)
{
    Vector result {};
    auto const whole = determinant(m);
    for (std::size_t column = 0; column < 3; ++column) {
        auto replaced = m;
        for (std::size_t row = 0; row < 3; ++row)
            replaced[row][column] = right[row];
        result[column] = determinant(replaced) / whole;
    }
    return result;
}

// A damped Gauss-Newton step. An ink that is at its end and would have to go beyond stays out of it.
void step(Ink& ink, Vector const& missing, std::array<Vector, 3> const& slopes)
{
    constexpr double kDamping = 5;
    constexpr double kLargestStep = 0.25;
    Matrix normal {};
    Vector right {};
    std::array<bool, 3> isFixed {};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            right[i] += slopes[i][axis] * missing[axis];
        isFixed[i] = (ink[i] <= 0 && right[i] < 0) || (ink[i] >= 1 && right[i] > 0);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t axis = 0; axis < 3 && !isFixed[i] && !isFixed[j]; ++axis)
                normal[i][j] += slopes[i][axis] * slopes[j][axis];
        }
        normal[i][i] += kDamping;
        right[i] = isFixed[i] ? 0 : right[i];
    }
    auto const change = solve(normal, right);
    for (std::size_t i = 0; i < 3; ++i) {
        auto const limited = std::clamp(change[i], -kLargestStep, kLargestStep);
        ink[i] = std::clamp(ink[i] + static_cast<float>(limited), 0.0f, 1.0f);
    }
}

Vector difference(Lab const& a, Lab const& b)
{
    return {
        static_cast<double>(a[0] - b[0]), static_cast<double>(a[1] - b[1]), static_cast<double>(a[2] - b[2])};
}

void improve(std::vector<Ink>& inks, std::span<Lab const> colors, InkModel const& model)
{
    // Each guess, and the same with a little more (or, at the end, less) of one ink.
    constexpr std::size_t kProbes = 4;
    std::vector<Ink> probes;
    std::vector<float> steps;
    for (auto const& ink : inks) {
        probes.push_back(ink);
        for (std::size_t i = 0; i < 3; ++i) {
            steps.push_back(ink[i] > 0.5f ? -kSlopeStep : kSlopeStep);
            probes.push_back(ink);
            probes.back()[i] += steps.back();
        }
    }
    auto const seen = model(probes);
    for (std::size_t node = 0; node < inks.size(); ++node) {
        auto const* const own = &seen[node * kProbes];
        std::array<Vector, 3> slopes;
        for (std::size_t i = 0; i < 3; ++i) {
            slopes[i] = difference(own[i + 1], own[0]);
            for (auto& slope : slopes[i])
                slope /= static_cast<double>(steps[node * 3 + i]);
        }
        step(inks[node], difference(colors[node], own[0]), slopes);
    }
}

void limitInk(Ink& ink)
{
    auto const colored = ink[0] + ink[1] + ink[2];
    auto const allowed = kInkLimit - ink[3];
    if (colored <= allowed)
        return;
    for (std::size_t i = 0; i < 3; ++i)
        ink[i] *= allowed / colored;
}

} // namespace

std::vector<Ink> separate(std::span<Lab const> colors, InkModel const& model)
{
    assert(colors.size() == std::size_t {kSeparationNodes} * kSeparationNodes * kSeparationNodes);
    std::vector<Ink> inks;
    for (std::size_t node = 0; node < colors.size(); ++node)
        inks.push_back(firstGuess(node));
    for (int i = 0; i < kIterations; ++i)
        improve(inks, colors, model);
    std::for_each(inks.begin(), inks.end(), limitInk);
    // White is bare paper, whatever little the search left over.
    inks.back() = {};
    return inks;
}

} // namespace velk::color
