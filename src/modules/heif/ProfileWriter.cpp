#include "modules/heif/ProfileWriter.h"

#include "base/FourCC.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velk::codec::heif {

namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

// ---- Colorimetry.

constexpr Vector kD50 = {0.9642, 1, 0.8249};
// ICC.1:2022, annex E.
constexpr Matrix kBradford = {
    {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};

Vector xyzOf(Chromaticity color)
{
    // A primary on the x axis is one without light of its own; any height serves.
    auto const y = std::max(color.y, 1e-9);
    return {color.x / y, 1, (1 - color.x - color.y) / y};
}

Vector operator*(Matrix const& m, Vector const& v)
{
    Vector result {};
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    return result;
}

Matrix transposed(Matrix const& m)
{
    Matrix result;
    for (std::size_t i = 0; i < 3; ++i)
        result[i] = {m[0][i], m[1][i], m[2][i]};
    return result;
}

Matrix operator*(Matrix const& a, Matrix const& b)
{
    auto const columns = transposed(b);
    return transposed({a * columns[0], a * columns[1], a * columns[2]});
}

Matrix inverse(Matrix const& m)
{
    auto const cofactor = [&](std::size_t row, std::size_t column) {
        auto const r0 = (row + 1) % 3, r1 = (row + 2) % 3, c0 = (column + 1) % 3, c1 = (column + 2) % 3;
        return m[r0][c0] * m[r1][c1] - m[r0][c1] * m[r1][c0];
    };
    auto const determinant = m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
    Matrix result;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j)
            result[i][j] = cofactor(j, i) / determinant;
    }
    return result;
}

Matrix diagonal(Vector const& v)
{
    return {{{v[0], 0, 0}, {0, v[1], 0}, {0, 0, v[2]}}};
}

// What turns colours under `white` into those under D50.
Matrix adaptationFrom(Chromaticity white)
{
    auto const from = kBradford * xyzOf(white), to = kBradford * kD50;
    return inverse(kBradford) * diagonal({to[0] / from[0], to[1] / from[1], to[2] / from[2]}) * kBradford;
}

// Columns: XYZ of red, green and blue at full drive, adapted to D50.
Matrix colorants(Primaries const& primaries)
{
    auto const directions = transposed({xyzOf(primaries.red), xyzOf(primaries.green), xyzOf(primaries.blue)});
    auto const amounts = inverse(directions) * xyzOf(primaries.white);
    return adaptationFrom(primaries.white) * (directions * diagonal(amounts));
}

// ---- Tag elements.

Bytes element(char const (&type)[5])
{
    Bytes bytes;
    appendBE32(bytes, FourCC(type).code);
    appendBE32(bytes, 0);
    return bytes;
}

void appendFixed(Bytes& bytes, double value)
{
    appendBE32(bytes, static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value * 65536))));
}

Bytes text(std::string_view ascii)
{
    constexpr std::uint32_t kRecordSize = 12, kTextOffset = 28;
    auto bytes = element("mluc");
    appendBE32(bytes, 1);
    appendBE32(bytes, kRecordSize);
    append(bytes, std::string_view("enUS"));
    appendBE32(bytes, static_cast<std::uint32_t>(ascii.size() * 2));
    appendBE32(bytes, kTextOffset);
    for (char const c : ascii)
        appendBE16(bytes, static_cast<std::uint8_t>(c));
    return bytes;
}

Bytes xyz(Vector const& value)
{
    auto bytes = element("XYZ ");
    for (auto const number : value)
        appendFixed(bytes, number);
    return bytes;
}

Bytes fixedMatrix(Matrix const& matrix)
{
    auto bytes = element("sf32");
    for (auto const& row : matrix) {
        for (auto const number : row)
            appendFixed(bytes, number);
    }
    return bytes;
}

Bytes sampledCurve(std::vector<double> const& points)
{
    auto bytes = element("curv");
    appendBE32(bytes, static_cast<std::uint32_t>(points.size()));
    for (auto const point : points)
        appendBE16(bytes, static_cast<std::uint16_t>(std::lround(std::clamp(point, 0.0, 1.0) * 65535)));
    return bytes;
}

Bytes toneCurve(ToneCurve const& curve)
{
    if (!curve.points.empty())
        return sampledCurve(curve.points);
    constexpr std::uint16_t kPlainGamma = 0, kWithLinearPart = 3;
    bool const isPlain = curve.d == 0;
    auto bytes = element("para");
    appendBE16(bytes, isPlain ? kPlainGamma : kWithLinearPart);
    appendBE16(bytes, 0);
    appendFixed(bytes, curve.gamma);
    if (!isPlain) {
        for (auto const parameter : {curve.a, curve.b, curve.c, curve.d})
            appendFixed(bytes, parameter);
    }
    return bytes;
}

// ---- The file.

struct Tag {
    FourCC signature;
    Bytes element;
};

Bytes header(std::uint32_t size, char const (&space)[5])
{
    constexpr std::uint32_t kVersion = 0x04300000;
    Bytes bytes(128);
    auto const put = [&](std::size_t at, std::uint32_t value) {
        storeInteger(&bytes[at], value, ByteOrder::Big);
    };
    put(0, size);
    put(8, kVersion);
    put(12, FourCC("mntr").code);
    put(16, FourCC(space).code);
    put(20, FourCC("XYZ ").code);
    // 2020-01-01: the bytes must not depend on the day.
    put(24, 2020 << 16 | 1);
    put(28, 1 << 16);
    put(36, FourCC("acsp").code);
    put(68, 0x0000F6D6);
    put(72, 0x00010000);
    put(76, 0x0000D32D);
    return bytes;
}

// Equal elements that follow each other are written once.
Bytes assembled(char const (&space)[5], std::vector<Tag> const& tags)
{
    constexpr std::size_t kTableStart = 128, kEntrySize = 12;
    auto const dataStart = kTableStart + 4 + tags.size() * kEntrySize;
    Bytes table, data;
    appendBE32(table, static_cast<std::uint32_t>(tags.size()));
    std::size_t offset = 0;
    Bytes const* previous = nullptr;
    for (auto const& tag : tags) {
        if (!previous || *previous != tag.element) {
            offset = dataStart + data.size();
            append(data, tag.element);
            data.resize((data.size() + 3) / 4 * 4);
        }
        previous = &tag.element;
        appendBE32(table, tag.signature.code);
        appendBE32(table, static_cast<std::uint32_t>(offset));
        appendBE32(table, static_cast<std::uint32_t>(tag.element.size()));
    }
    auto bytes = header(static_cast<std::uint32_t>(dataStart + data.size()), space);
    append(bytes, table);
    append(bytes, data);
    return bytes;
}

std::vector<Tag> commonTags(std::string_view name, Chromaticity white)
{
    return {{FourCC("desc"), text(name)}, {FourCC("cprt"), text("No copyright, use freely")},
        {FourCC("wtpt"), xyz(kD50)}, {FourCC("chad"), fixedMatrix(adaptationFrom(white))}};
}

} // namespace

Bytes rgbProfile(std::string_view name, Primaries const& primaries, ToneCurve const& curve)
{
    auto tags = commonTags(name, primaries.white);
    auto const columns = transposed(colorants(primaries));
    tags.push_back({FourCC("rXYZ"), xyz(columns[0])});
    tags.push_back({FourCC("gXYZ"), xyz(columns[1])});
    tags.push_back({FourCC("bXYZ"), xyz(columns[2])});
    auto const element = toneCurve(curve);
    for (auto const signature : {FourCC("rTRC"), FourCC("gTRC"), FourCC("bTRC")})
        tags.push_back({signature, element});
    return assembled("RGB ", tags);
}

Bytes grayProfile(std::string_view name, Chromaticity white, ToneCurve const& curve)
{
    auto tags = commonTags(name, white);
    tags.push_back({FourCC("kTRC"), toneCurve(curve)});
    return assembled("GRAY", tags);
}

} // namespace velk::codec::heif
