#pragma once

#include <cstddef>
#include <cstdint>

namespace velk::graphics {

enum class ComponentType : std::uint8_t { UInt8, UInt16, Float32 };

/// Indexed stands for one 8-bit index a pixel into the palette of the colour space.
enum class ColorModel : std::uint8_t { Gray, RGB, CMYK, Lab, Indexed };

/// Alpha is the last channel of a pixel.
enum class Alpha : std::uint8_t { None, Straight, Premultiplied };

constexpr std::size_t componentSize(ComponentType type)
{
    return type == ComponentType::UInt8 ? 1 : type == ComponentType::UInt16 ? 2 : 4;
}

/// Number of colour channels, without alpha.
constexpr int channelCount(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
    case ColorModel::Indexed:
        return 1;
    case ColorModel::RGB:
    case ColorModel::Lab:
        return 3;
    case ColorModel::CMYK:
        return 4;
    }
    return 0;
}

/// How the pixels of a row lie in memory: interleaved components in the machine's byte order.
///
/// Ranges: integer components use their full range whatever the depth of the stored file was (a 1-bit grey
/// image has 0 and 255, a 12-bit one 0 to 65535). Float32 grey, RGB and CMYK are nominally 0 to 1 and may lie
/// outside. CMYK counts ink: 0 is none, full range is solid. Lab is encoded as in ICC.1:2022, 6.3.4: 8-bit L
/// 0..255 is 0..100 and a, b are offset by 128; 16-bit L 0..65535 is 0..100 and a, b are offset by 0x8080;
/// float holds L 0..100 and a, b -128..127 as they are.
struct PixelFormat {
    ComponentType componentType = ComponentType::UInt8;
    ColorModel model = ColorModel::RGB;
    Alpha alpha = Alpha::None;

    bool operator==(PixelFormat const&) const = default;

    constexpr bool hasAlpha() const { return alpha != Alpha::None; }
    constexpr int colorChannels() const { return channelCount(model); }
    constexpr int channels() const { return colorChannels() + (hasAlpha() ? 1 : 0); }
    constexpr std::size_t bytesPerPixel() const
    {
        return static_cast<std::size_t>(channels()) * componentSize(componentType);
    }
};

} // namespace velk::graphics
