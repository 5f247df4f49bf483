#include "support/TestImages.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace velk::test {

using namespace graphics;

namespace {

void storeComponent(PixelBuffer& buffer, int x, int y, int channel, double value)
{
    auto const format = buffer.format();
    auto const index = static_cast<std::size_t>(x * format.channels() + channel);
    auto* const row = buffer.row(y);
    if (format.componentType != ComponentType::Float32)
        value = std::clamp(value, 0.0, 1.0);
    switch (format.componentType) {
    case ComponentType::UInt8:
        row[index] = static_cast<std::uint8_t>(std::lround(value * 255));
        break;
    case ComponentType::UInt16:
        reinterpret_cast<std::uint16_t*>(row)[index] = static_cast<std::uint16_t>(std::lround(value * 65535));
        break;
    case ComponentType::Float32:
        reinterpret_cast<float*>(row)[index] = static_cast<float>(value);
        break;
    }
}

} // namespace

PixelBufferPointer paint(Size size, PixelFormat format, Painter const& painter, ColorSpace const* space)
{
    auto buffer =
        PixelBuffer::create({size, format, space ? *space : ColorSpace::device(format.model)}).value();
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            for (int channel = 0; channel < format.channels(); ++channel)
                storeComponent(buffer, x, y, channel, painter(x, y, channel));
        }
    }
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

PixelBufferPointer photoLike(Size size, PixelFormat format)
{
    return paint(size, format, [&](int x, int y, int channel) {
        auto const u = (x + 0.5) / size.width;
        auto const v = (y + 0.5) / size.height;
        if (channel == format.colorChannels())
            return v < 0.5 ? 1.0 : 2 - 2 * v;
        auto const detail =
            std::sin(u * 12 * std::numbers::pi + channel) * std::cos(v * 9 * std::numbers::pi);
        return 0.5 + 0.35 * (channel % 2 ? u - v : u + v - 1) + 0.12 * detail;
    });
}

PixelBufferPointer indexedImage(Size size, int entries, bool withAlpha)
{
    Palette palette;
    for (int i = 0; i < entries; ++i) {
        auto const byte = [](int value) { return static_cast<std::uint8_t>(value & 255); };
        palette.entries.push_back({byte(i * 37), byte(255 - i), byte(i * 11 + 5),
            withAlpha && i % 3 == 1 ? byte(i * 5) : byte(255)});
    }
    auto const space = ColorSpace::indexed(ColorSpace::device(ColorModel::RGB), std::move(palette));
    return paint(
        size, {.model = ColorModel::Indexed}, [&](int x, int y, int) { return (x + y) % entries / 255.0; },
        &space);
}

double component(PixelBuffer const& buffer, int x, int y, int channel)
{
    auto const index = static_cast<std::size_t>(x * buffer.format().channels() + channel);
    auto const* row = buffer.row(y);
    switch (buffer.format().componentType) {
    case ComponentType::UInt8:
        return row[index] / 255.0;
    case ComponentType::UInt16:
        return reinterpret_cast<std::uint16_t const*>(row)[index] / 65535.0;
    case ComponentType::Float32:
        return static_cast<double>(reinterpret_cast<float const*>(row)[index]);
    }
    return 0;
}

static void forEachDifference(
    PixelBuffer const& a, PixelBuffer const& b, std::function<void(double)> const& take)
{
    for (int y = 0; y < a.size().height; ++y) {
        for (int x = 0; x < a.size().width; ++x) {
            for (int channel = 0; channel < a.format().channels(); ++channel)
                take(std::abs(component(a, x, y, channel) - component(b, x, y, channel)));
        }
    }
}

double largestDifference(PixelBuffer const& a, PixelBuffer const& b)
{
    if (a.size() != b.size() || a.format().channels() != b.format().channels())
        return 2;
    double largest = 0;
    forEachDifference(a, b, [&](double difference) { largest = std::max(largest, difference); });
    return largest;
}

double psnr(PixelBuffer const& a, PixelBuffer const& b)
{
    if (a.size() != b.size() || a.format().channels() != b.format().channels())
        return 0;
    double sum = 0;
    forEachDifference(a, b, [&](double difference) { sum += difference * difference; });
    auto const mean = sum / (static_cast<double>(a.size().pixelCount()) * a.format().channels());
    return mean == 0 ? 200 : -10 * std::log10(mean);
}

Result<void> encode(std::string_view type, PixelBufferPointer const& pixels, std::string const& path,
    EncodeExtras const& extras)
{
    auto const* codec = codec::codecForType(type);
    if (!codec || !codec->encode)
        return fail("no encoder for {}", type);
    Image const image(pixels);
    auto const target = codec->negotiate(image.info(), extras.options);
    if (target.format != pixels->format())
        return fail("the encoder wants another format");
    auto const rows = TRY(image.rows());
    auto output = TRY(AtomicFile::create(path));
    codec::EncodeJob const job {.rows = *rows,
        .bitsPerComponent = extras.bitsPerComponent ? extras.bitsPerComponent : target.bitsPerComponent,
        .profile = extras.profile,
        .metadata = extras.metadata,
        .resolution = extras.resolution,
        .options = extras.options,
        .properties = extras.properties};
    TRY(codec->encode(job, output));
    return output.commit(path);
}

Result<PixelBufferPointer> decode(std::string const& path)
{
    auto const source = TRY(codec::openImage(path));
    auto const rows = TRY(source->image().rows());
    return std::make_shared<PixelBuffer>(TRY(PixelBuffer::collect(*rows)));
}

} // namespace velk::test
