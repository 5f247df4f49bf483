#include "modules/heif/CodedColors.h"

#include "modules/heif/ProfileWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace velk::codec::heif {

using namespace graphics;

namespace {

enum : int { kSrgbPrimaries = 1, kUnspecified = 2 };

constexpr Chromaticity kD65 {0.3127, 0.3290}, kIlluminantC {0.310, 0.316}, kDciWhite {0.314, 0.351},
    kEqualEnergy {1.0 / 3, 1.0 / 3};

struct PrimariesRow {
    int code;
    char const* name;
    Primaries values;
};

constexpr Primaries kBt709 = {{0.640, 0.330}, {0.300, 0.600}, {0.150, 0.060}, kD65};

// ITU-T H.273, table 2.
constexpr PrimariesRow kPrimaries[] = {
    {kSrgbPrimaries, "sRGB", kBt709},
    {4, "BT.470 System M", {{0.67, 0.33}, {0.21, 0.71}, {0.14, 0.08}, kIlluminantC}},
    {5, "BT.601 (625 lines)", {{0.64, 0.33}, {0.29, 0.60}, {0.15, 0.06}, kD65}},
    {6, "BT.601 (525 lines)", {{0.630, 0.340}, {0.310, 0.595}, {0.155, 0.070}, kD65}},
    {7, "SMPTE 240M", {{0.630, 0.340}, {0.310, 0.595}, {0.155, 0.070}, kD65}},
    {8, "Generic film", {{0.681, 0.319}, {0.243, 0.692}, {0.145, 0.049}, kIlluminantC}},
    {9, "BT.2020", {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, kD65}},
    {10, "CIE XYZ", {{1, 0}, {0, 1}, {0, 0}, kEqualEnergy}},
    {11, "DCI P3", {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, kDciWhite}},
    {12, "Display P3", {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, kD65}},
    {22, "EBU 3213-E", {{0.630, 0.340}, {0.295, 0.605}, {0.155, 0.077}, kD65}},
};

// ---- High dynamic range.

constexpr double kReferenceWhite = 203, kPeak = 1000;
constexpr std::size_t kCurvePoints = 1024;

// Bends light of up to `kPeak` into 0..1; what is darker than reference white keeps its order and much of its
// contrast.
double compressed(double nits)
{
    auto const light = std::min(nits, kPeak) / kReferenceWhite;
    constexpr double kWhite = kPeak / kReferenceWhite;
    return light * (1 + light / (kWhite * kWhite)) / (1 + light);
}

// SMPTE ST 2084.
double pqLight(double code)
{
    constexpr double m1 = 2610.0 / 16384, m2 = 2523.0 / 32, c1 = 3424.0 / 4096, c2 = 2413.0 / 128,
                     c3 = 2392.0 / 128;
    auto const power = std::pow(code, 1 / m2);
    return 10000 * std::pow(std::max(power - c1, 0.0) / (c2 - c3 * power), 1 / m1);
}

// ITU-R BT.2100, table 5, on a display of 1000 cd/m2.
double hlgLight(double code)
{
    constexpr double a = 0.17883277, b = 0.28466892, c = 0.55991073, kSystemGamma = 1.2;
    auto const scene = code <= 0.5 ? code * code / 3 : (std::exp((code - c) / a) + b) / 12;
    return kPeak * std::pow(std::min(scene, 1.0), kSystemGamma);
}

ToneCurve compressedCurve(double (*light)(double code))
{
    ToneCurve curve;
    for (std::size_t i = 0; i < kCurvePoints; ++i)
        curve.points.push_back(compressed(light(static_cast<double>(i) / (kCurvePoints - 1))));
    return curve;
}

// ---- Curves.

struct TransferRow {
    int code;
    char const* name;
    ToneCurve (*curve)();
};

ToneCurve srgbCurve()
{
    return {.gamma = 2.4, .a = 1 / 1.055, .b = 0.055 / 1.055, .c = 1 / 12.92, .d = 0.04045};
}

// ITU-T H.273, table 3, as far as it is not sRGB.
constexpr TransferRow kTransfers[] = {
    {4, "gamma 2.2", [] { return ToneCurve {.gamma = 2.2}; }},
    {5, "gamma 2.8", [] { return ToneCurve {.gamma = 2.8}; }},
    {8, "linear", [] { return ToneCurve {.gamma = 1}; }},
    {16, "PQ", [] { return compressedCurve(pqLight); }},
    {17, "gamma 2.6", [] { return ToneCurve {.gamma = 2.6}; }},
    {18, "HLG", [] { return compressedCurve(hlgLight); }},
};

} // namespace

ColorSpace spaceOf(CodedColors colors, ColorModel model)
{
    auto const primaries = std::ranges::find(kPrimaries, colors.primaries, &PrimariesRow::code);
    auto const transfer = std::ranges::find(kTransfers, colors.transfer, &TransferRow::code);
    bool const hasSrgbCurve = transfer == std::end(kTransfers);
    bool const hasSrgbPrimaries =
        model == ColorModel::Gray || primaries == std::end(kPrimaries) || primaries->code == kSrgbPrimaries;
    if (hasSrgbCurve && hasSrgbPrimaries)
        return ColorSpace::device(model);
    auto const curve = hasSrgbCurve ? srgbCurve() : transfer->curve();
    auto const& values = primaries == std::end(kPrimaries) ? kBt709 : primaries->values;
    auto name = model == ColorModel::Gray
        ? std::string("Gray")
        : std::string(hasSrgbPrimaries ? "sRGB primaries" : primaries->name);
    if (!hasSrgbCurve)
        name += fmt::format(", {}", transfer->name);
    auto const profile =
        model == ColorModel::Gray ? grayProfile(name, values.white, curve) : rgbProfile(name, values, curve);
    return ColorSpace::withProfile(model, shareBytes(profile));
}

} // namespace velk::codec::heif
