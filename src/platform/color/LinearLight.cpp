#include "platform/color/LinearLight.h"

#include "platform/color/IccProfile.h"
#include "platform/color/Srgb.h"

#include <algorithm>
#include <cmath>

namespace velk::color {

using namespace graphics;

namespace {

using Vector = std::array<double, 3>;

// The PCS illuminant (ICC.1:2022, 7.2.16).
constexpr Vector kD50 = {0.9642, 1.0, 0.8249};
// The linearised Bradford cone responses (ICC.1:2022, E.2).
constexpr Matrix3 kBradford = {
    {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};

Vector operator*(Matrix3 const& m, Vector const& v)
{
    Vector result {};
    for (std::size_t row = 0; row < 3; ++row)
        result[row] = m[row][0] * v[0] + m[row][1] * v[1] + m[row][2] * v[2];
    return result;
}

Matrix3 operator*(Matrix3 const& a, Matrix3 const& b)
{
    Matrix3 result {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t i = 0; i < 3; ++i)
                result[row][column] += a[row][i] * b[i][column];
        }
    }
    return result;
}

Matrix3 diagonal(Vector const& v)
{
    return {{{v[0], 0, 0}, {0, v[1], 0}, {0, 0, v[2]}}};
}

double determinant(Matrix3 const& m)
{
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1])
        - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0])
        + m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

Matrix3 inverse(Matrix3 const& m)
{
    auto const scale = 1 / determinant(m);
    Matrix3 result;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            auto const r1 = (row + 1) % 3, r2 = (row + 2) % 3, c1 = (column + 1) % 3, c2 = (column + 2) % 3;
            result[column][row] = (m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1]) * scale;
        }
    }
    return result;
}

// XYZ of a chromaticity whose three parts add up to 1: primaries may have no luminance.
Vector tristimulus(Chromaticities::Point point)
{
    return {point.x, point.y, 1 - point.x - point.y};
}

Vector whitePoint(Chromaticities const& space)
{
    auto const [x, y, z] = tristimulus(space.white);
    return {x / y, 1, z / y};
}

Matrix3 primaries(Chromaticities const& space)
{
    auto const red = tristimulus(space.red), green = tristimulus(space.green), blue = tristimulus(space.blue);
    return {{{red[0], green[0], blue[0]}, {red[1], green[1], blue[1]}, {red[2], green[2], blue[2]}}};
}

// From linear RGB to XYZ, white having luminance 1.
Matrix3 toXyz(Chromaticities const& space)
{
    auto const colors = primaries(space);
    return colors * diagonal(inverse(colors) * whitePoint(space));
}

Matrix3 adaptation(Vector const& from, Vector const& to)
{
    auto const source = kBradford * from, target = kBradford * to;
    return inverse(kBradford)
        * diagonal({target[0] / source[0], target[1] / source[1], target[2] / source[2]}) * kBradford;
}

// ---- Elements of profiles.

constexpr FourCC kRedColorant("rXYZ"), kGreenColorant("gXYZ"), kBlueColorant("bXYZ");
constexpr FourCC kRedCurve("rTRC"), kGreenCurve("gTRC"), kBlueCurve("bTRC"), kGrayCurve("kTRC");
constexpr FourCC kWhitePoint("wtpt"), kAdaptation("chad"), kDescription("desc"), kCopyright("cprt");
constexpr std::array kColorants = {kRedColorant, kGreenColorant, kBlueColorant};
constexpr std::array kCurves = {kRedCurve, kGreenCurve, kBlueCurve};

constexpr double kFixedPoint = 65536;

void appendFixed(Bytes& bytes, double value)
{
    appendBE32(
        bytes, static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value * kFixedPoint))));
}

double fixedAt(ByteSpan element, std::size_t index)
{
    return static_cast<std::int32_t>(loadBE32(element.data() + 8 + 4 * index)) / kFixedPoint;
}

Bytes elementOf(char const (&type)[5])
{
    Bytes bytes;
    append(bytes, std::string_view(type, 4));
    appendBE32(bytes, 0);
    return bytes;
}

// XYZType (ICC.1:2022, 10.31) or s15Fixed16ArrayType (10.22).
template <std::size_t count> Bytes numbers(char const (&type)[5], std::array<double, count> const& values)
{
    auto bytes = elementOf(type);
    for (auto const value : values)
        appendFixed(bytes, value);
    return bytes;
}

// curveType without entries (ICC.1:2022, 10.6): the identity.
Bytes identityCurve()
{
    auto bytes = elementOf("curv");
    appendBE32(bytes, 0);
    return bytes;
}

// parametricCurveType, function 3 (ICC.1:2022, 10.18), with the numbers of IEC 61966-2-1.
Bytes srgbCurve()
{
    auto bytes = elementOf("para");
    appendBE16(bytes, 3);
    appendBE16(bytes, 0);
    for (auto const value : {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045})
        appendFixed(bytes, value);
    return bytes;
}

// multiLocalizedUnicodeType (ICC.1:2022, 10.15) with one ASCII text.
Bytes localized(std::string_view text)
{
    constexpr std::uint32_t kRecordSize = 12, kTextOffset = 28;
    auto bytes = elementOf("mluc");
    appendBE32(bytes, 1);
    appendBE32(bytes, kRecordSize);
    append(bytes, std::string_view("enUS"));
    appendBE32(bytes, static_cast<std::uint32_t>(2 * text.size()));
    appendBE32(bytes, kTextOffset);
    for (auto const letter : text)
        appendBE16(bytes, static_cast<std::uint8_t>(letter));
    return bytes;
}

// A version 4.3 display profile with the tags that every one has (ICC.1:2022, 8.2).
IccProfile emptyProfile(FourCC space, std::string_view description)
{
    auto const number = [](double value) {
        return static_cast<std::uint32_t>(std::lround(value * kFixedPoint));
    };
    ProfileHeader const header = {
        .size = kProfileHeaderSize + 4,
        .version = 0x04300000,
        .profileClass = FourCC("mntr"),
        .space = space,
        .pcs = FourCC("XYZ "),
        .creation = {2025, 1, 1, 0, 0, 0},
        .signature = FourCC("acsp"),
        .illuminant = {number(kD50[0]), number(kD50[1]), number(kD50[2])},
    };
    auto const serialized = header.serialize();
    Bytes bytes(serialized.begin(), serialized.end());
    appendBE32(bytes, 0);
    auto profile = *IccProfile::parse(bytes);
    profile.setTag(kDescription, localized(description));
    profile.setTag(kCopyright, localized("No copyright, use freely"));
    profile.setTag(kWhitePoint, numbers("XYZ ", kD50));
    return profile;
}

ColorSpace spaceOf(ColorModel model, IccProfile const& profile)
{
    return ColorSpace::withProfile(model, std::make_shared<Bytes const>(profile.serialize()));
}

ColorSpace rgbSpace(Chromaticities const& space, Bytes const& curve, std::string_view description)
{
    auto const chad = adaptation(whitePoint(space), kD50);
    auto const colorants = chad * toXyz(space);
    auto profile = emptyProfile(FourCC("RGB "), description);
    profile.setTag(kAdaptation,
        numbers("sf32",
            std::array {chad[0][0], chad[0][1], chad[0][2], chad[1][0], chad[1][1], chad[1][2], chad[2][0],
                chad[2][1], chad[2][2]}));
    for (std::size_t i = 0; i < 3; ++i)
        profile.setTag(
            kColorants[i], numbers("XYZ ", std::array {colorants[0][i], colorants[1][i], colorants[2][i]}));
    auto const shared = shareBytes(curve);
    for (auto const tag : kCurves)
        profile.setTag(tag, shared);
    return spaceOf(ColorModel::RGB, profile);
}

bool isIdentity(ByteSpan curve)
{
    constexpr std::uint16_t kGammaOne = 0x0100;
    if (curve.size() >= 12 && startsWith(curve, "curv")) {
        auto const count = loadBE32(curve.data() + 8);
        return count == 0 || (count == 1 && curve.size() >= 14 && loadBE16(curve.data() + 12) == kGammaOne);
    }
    return curve.size() >= 16 && startsWith(curve, "para") && loadBE16(curve.data() + 8) == 0
        && loadBE32(curve.data() + 12) == 0x10000;
}

std::optional<Matrix3> adaptationOf(ByteSpan profile)
{
    auto const chad = profileElement(profile, kAdaptation);
    if (chad.size() >= 8 + 9 * 4) {
        Matrix3 matrix;
        for (std::size_t i = 0; i < 9; ++i)
            matrix[i / 3][i % 3] = fixedAt(chad, i);
        return matrix;
    }
    // Without one, the media white tells what was adapted (as in version 2 display profiles).
    auto const white = profileElement(profile, kWhitePoint);
    if (white.size() < 8 + 3 * 4 || fixedAt(white, 1) <= 0)
        return std::nullopt;
    return adaptation({fixedAt(white, 0), fixedAt(white, 1), fixedAt(white, 2)}, kD50);
}

std::optional<Chromaticities::Point> chromaticity(Vector const& xyz)
{
    auto const sum = xyz[0] + xyz[1] + xyz[2];
    if (!(sum > 0))
        return std::nullopt;
    return Chromaticities::Point {xyz[0] / sum, xyz[1] / sum};
}

} // namespace

bool Chromaticities::isLike(Chromaticities const& other) const
{
    auto const isNear = [](Point a, Point b) {
        constexpr double kStep = 0.001;
        return std::abs(a.x - b.x) < kStep && std::abs(a.y - b.y) < kStep;
    };
    return isNear(red, other.red) && isNear(green, other.green) && isNear(blue, other.blue)
        && isNear(white, other.white);
}

bool Chromaticities::isPossible() const
{
    for (auto const point : {red, green, blue, white}) {
        if (!(std::abs(point.x) <= 2 && std::abs(point.y) <= 2))
            return false;
    }
    if (!(white.y > 0.01) || !(std::abs(determinant(primaries(*this))) > 1e-4))
        return false;
    auto const weights = inverse(primaries(*this)) * whitePoint(*this);
    return std::ranges::all_of(weights, [](double weight) { return weight > 0.001; });
}

Matrix3 linearConversion(Chromaticities const& from, Chromaticities const& to)
{
    return inverse(toXyz(to)) * adaptation(whitePoint(from), whitePoint(to)) * toXyz(from);
}

ColorSpace linearRgbSpace(Chromaticities const& chromaticities)
{
    static auto const rec709 = rgbSpace(kRec709, identityCurve(), "Linear sRGB");
    return chromaticities.isLike(kRec709) ? rec709 : rgbSpace(chromaticities, identityCurve(), "Linear RGB");
}

ColorSpace linearGraySpace()
{
    static auto const space = [] {
        auto profile = emptyProfile(FourCC("GRAY"), "Linear gray");
        profile.setTag(kGrayCurve, identityCurve());
        return spaceOf(ColorModel::Gray, profile);
    }();
    return space;
}

bool isLinear(ColorSpace const& space)
{
    if (!space.profile() || space.isIndexed())
        return false;
    auto const& profile = *space.profile();
    if (!profileElement(profile, FourCC("A2B0")).empty())
        return false;
    if (space.model() == ColorModel::Gray)
        return isIdentity(profileElement(profile, kGrayCurve));
    return space.model() == ColorModel::RGB
        && std::ranges::all_of(kCurves, [&](FourCC tag) { return isIdentity(profileElement(profile, tag)); });
}

std::optional<Chromaticities> chromaticitiesOf(ColorSpace const& space)
{
    if (!space.profile() || space.base().model() != ColorModel::RGB)
        return std::nullopt;
    auto const& profile = *space.profile();
    auto const chad = adaptationOf(profile);
    if (!chad || std::abs(determinant(*chad)) < 1e-4)
        return std::nullopt;
    auto const undo = inverse(*chad);
    std::array<Chromaticities::Point, 4> points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        auto const element = i < 3 ? profileElement(profile, kColorants[i]) : ByteSpan();
        if (i < 3 && element.size() < 8 + 3 * 4)
            return std::nullopt;
        auto const xyz =
            i < 3 ? Vector {fixedAt(element, 0), fixedAt(element, 1), fixedAt(element, 2)} : kD50;
        auto const point = chromaticity(undo * xyz);
        if (!point)
            return std::nullopt;
        points[i] = *point;
    }
    Chromaticities const result = {points[0], points[1], points[2], points[3]};
    return result.isPossible() ? std::optional(result) : std::nullopt;
}

ColorSpace withSrgbCurve(ColorSpace const& linear)
{
    if (linear.model() == ColorModel::Gray)
        return ColorSpace::device(ColorModel::Gray);
    auto const chromaticities = chromaticitiesOf(linear);
    if (!chromaticities || chromaticities->isLike(kRec709))
        return srgbSpace();
    bool const isP3 = chromaticities->isLike(kDisplayP3);
    return rgbSpace(*chromaticities, srgbCurve(), isP3 ? "Display P3" : "RGB with the curve of sRGB");
}

} // namespace velk::color
