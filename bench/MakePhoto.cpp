// Paints a landscape with the statistics of a photo (smooth sky, fractal texture, sharp edges, sensor grain)
// at any size, so that benchmarks and samples need no picture from elsewhere.
//
//     velk_make_photo WIDTH HEIGHT FILE [PROFILE.icc]

#include "base/AtomicFile.h"
#include "platform/codec/ImageWriter.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/color/IccProfile.h"
#include "platform/types/FileTypes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace velk {

namespace {

using namespace graphics;

using Color = std::array<double, 3>;

Color mix(Color const& a, Color const& b, double t)
{
    return {a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t};
}

std::uint32_t hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed)
{
    auto h = x * 0x9E3779B1U ^ y * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
    h = (h ^ h >> 15) * 0x2C1B3C6DU;
    h = (h ^ h >> 12) * 0x297A2D39U;
    return h ^ h >> 15;
}

double unit(std::uint32_t h)
{
    return h * (1.0 / 4294967296.0);
}

// Noise of one octave: random values on the integer lattice, joined smoothly.
double valueNoise(double x, double y, std::uint32_t seed)
{
    auto const fx = std::floor(x);
    auto const fy = std::floor(y);
    auto const smooth = [](double t) { return t * t * (3 - 2 * t); };
    auto const tx = smooth(x - fx);
    auto const ty = smooth(y - fy);
    auto const ix = static_cast<std::uint32_t>(static_cast<std::int32_t>(fx));
    auto const iy = static_cast<std::uint32_t>(static_cast<std::int32_t>(fy));
    auto const top = std::lerp(unit(hash(ix, iy, seed)), unit(hash(ix + 1, iy, seed)), tx);
    auto const bottom = std::lerp(unit(hash(ix, iy + 1, seed)), unit(hash(ix + 1, iy + 1, seed)), tx);
    return std::lerp(top, bottom, ty);
}

// Sum of octaves of noise; each has `persistence` times the weight of the one before.
double fractalNoise(double x, double y, int octaves, std::uint32_t seed, double persistence = 0.5)
{
    double sum = 0, weight = 0.5;
    for (int octave = 0; octave < octaves; ++octave, weight *= persistence, x = x * 2 + 17.3, y = y * 2 + 5.1)
        sum += weight * valueNoise(x, y, seed + static_cast<std::uint32_t>(octave));
    return sum;
}

struct Ridge {
    double height, roughness, frequency;
    Color near, far;
};

// From the horizon to the viewer.
constexpr Ridge kRidges[] = {
    {0.46, 0.16, 2.2, {0.42, 0.47, 0.60}, {0.60, 0.62, 0.70}},
    {0.55, 0.18, 3.1, {0.25, 0.33, 0.42}, {0.40, 0.46, 0.54}},
    {0.68, 0.14, 4.3, {0.13, 0.22, 0.16}, {0.24, 0.34, 0.28}},
    {0.84, 0.10, 6.0, {0.20, 0.22, 0.07}, {0.32, 0.36, 0.14}},
};

Color sky(double u, double v)
{
    auto const base =
        mix({0.24, 0.44, 0.78}, {0.98, 0.78, 0.58}, std::pow(std::clamp(v / 0.5, 0.0, 1.0), 1.6));
    auto const cloud = std::clamp(fractalNoise(u * 5, v * 13, 6, 71) * 2.6 - 1.25, 0.0, 1.0);
    auto const sun = std::exp(-((u - 0.72) * (u - 0.72) * 1.8 + (v - 0.33) * (v - 0.33)) * 90);
    return mix(mix(base, {0.99, 0.95, 0.90}, cloud * 0.75), {1.0, 0.97, 0.86}, sun);
}

// Colour at (u, v), both measured in picture heights so that the scene does not depend on the aspect.
Color landscape(double u, double v)
{
    auto color = sky(u, v);
    std::uint32_t seed = 100;
    for (auto const& ridge : kRidges) {
        auto const top =
            ridge.height + ridge.roughness * (fractalNoise(u * ridge.frequency, 0.5, 9, seed) - 0.5);
        if (v > top) {
            auto const depth = std::clamp((v - top) * 5, 0.0, 1.0);
            auto const texture = fractalNoise(u * 60, v * 90, 7, seed + 7, 0.72);
            auto const light = 0.55 + 0.5 * texture;
            color = mix(ridge.far, ridge.near, depth);
            std::ranges::for_each(color, [&](double& channel) { channel *= light; });
        }
        seed += 50;
    }
    return color;
}

// A sensor's grain: blurred over neighbours as demosaicing leaves it.
double grain(int x, int y, std::uint32_t seed)
{
    auto const cell = [&](int dx, int dy) {
        return unit(hash(static_cast<std::uint32_t>(x + dx), static_cast<std::uint32_t>(y + dy), seed)) - 0.5;
    };
    return (2 * cell(0, 0) + cell(1, 0) + cell(0, 1)) / 4;
}

void paintRow(PixelBuffer& buffer, int y)
{
    auto const height = buffer.size().height;
    auto* pixel = buffer.row(y);
    for (int x = 0; x < buffer.size().width; ++x, pixel += 3) {
        auto const color = landscape((x + 0.5) / height, (y + 0.5) / height);
        for (std::uint32_t channel = 0; channel < 3; ++channel) {
            auto const value = color[channel] * 255 + 36 * grain(x, y, 900 + channel);
            pixel[channel] = static_cast<std::uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
        }
    }
}

Result<void> makePhoto(Size size, std::string const& path, std::string const& profilePath)
{
    auto space = ColorSpace::device(ColorModel::RGB);
    if (!profilePath.empty())
        space = ColorSpace::withProfile(ColorModel::RGB, shareBytes(TRY(readFile(profilePath))));
    auto const buffer =
        std::make_shared<PixelBuffer>(TRY(PixelBuffer::create({size, {.model = ColorModel::RGB}, space})));
    auto const paintHalf = [&](int first) {
        for (int y = first; y < size.height; y += 2)
            paintRow(*buffer, y);
    };
    std::jthread other(paintHalf, 1);
    paintHalf(0);
    other.join();

    auto const* type = types::fileTypeWithExtension(path.substr(path.rfind('.') + 1));
    auto const* codec = type ? codec::codecForType(type->identifier) : nullptr;
    if (!codec || !codec->encode)
        return fail("no format for this suffix");
    PropertyDictionary properties;
    set(properties, codec::key::kDpiWidth, 300.0F);
    set(properties, codec::key::kDpiHeight, 300.0F);
    set(properties, codec::key::kLossyCompressionQuality, 0.89F);
    auto& tiff = subDictionary(properties, codec::key::kTiff);
    set(tiff, "Make", "Velk");
    set(tiff, "Model", "Landscape painter");
    set(tiff, "ImageDescription", "Evening over four ridges");
    set(tiff, "DateTime", "2026:11:22 18:30:00");
    auto& exif = subDictionary(properties, codec::key::kExif);
    set(exif, "DateTimeOriginal", "2026:11:22 18:30:00");
    set(exif, "ExposureTime", 0.004);
    set(exif, "FNumber", 8.0);
    auto output = TRY(AtomicFile::create(path));
    TRY(codec::writeImage(*codec, {.image = Image(buffer), .properties = properties}, output));
    return output.commit(path);
}

} // namespace

} // namespace velk

int main(int count, char** arguments)
{
    if (count < 4) {
        std::fprintf(stderr, "usage: velk_make_photo WIDTH HEIGHT FILE [PROFILE.icc]\n");
        return 1;
    }
    auto const made = velk::makePhoto(
        {std::atoi(arguments[1]), std::atoi(arguments[2])}, arguments[3], count > 4 ? arguments[4] : "");
    if (!made)
        std::fprintf(stderr, "%s: %s\n", arguments[3], made.error().message.c_str());
    return made ? 0 : 1;
}
