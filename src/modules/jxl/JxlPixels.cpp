#include "modules/jxl/JxlPixels.h"

namespace velk::codec::jxl {

using namespace graphics;

namespace {

constexpr std::size_t kRowAlignment = 64; // of a PixelBuffer

JxlDataType dataType(ComponentType type)
{
    switch (type) {
    case ComponentType::UInt8:
        return JXL_TYPE_UINT8;
    case ComponentType::UInt16:
        return JXL_TYPE_UINT16;
    case ComponentType::Float32:
        break;
    }
    return JXL_TYPE_FLOAT;
}

} // namespace

JxlPixelFormat layoutOf(PixelBuffer const& pixels)
{
    auto const format = pixels.format();
    return {.num_channels = static_cast<std::uint32_t>(format.channels()),
        .data_type = dataType(format.componentType),
        .endianness = JXL_NATIVE_ENDIAN,
        .align = kRowAlignment};
}

std::size_t sizeOf(PixelBuffer const& pixels)
{
    return pixels.stride() * static_cast<std::size_t>(pixels.size().height);
}

} // namespace velk::codec::jxl
