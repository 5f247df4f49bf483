#pragma once

#include "base/Files.h"
#include "platform/graphics/ColorSpace.h"
#include "platform/graphics/PixelBuffer.h"

#include <libraw/libraw.h>

#include <functional>
#include <memory>

namespace velk::codec::raw {

/// A camera file that the library has opened, ready to be described or developed once.
class RawDecoder {
public:
    /// Names the file by its open descriptor, so that it is the one that was opened before.
    static Result<RawDecoder> open(InputFile const& file);

    libraw_data_t const& data() const { return m_library->imgdata; }
    /// Size of the developed picture, upright. The decoder is good for nothing else afterwards.
    Result<graphics::Size> uprightSize();
    /// Whether the sensor sees no colours.
    bool isGray() const { return data().idata.colors == 1; }

    /// The picture in linear light, 16 bits a component, ProPhoto primaries or grey: white balance as the
    /// camera set it, upright, as bright as fits. `half` takes one pixel from each group of four. Calls
    /// `reportDamage` when parts of the data cannot be decoded.
    Result<graphics::PixelBuffer> develop(bool half, std::function<void()> const& reportDamage);

private:
    explicit RawDecoder(std::unique_ptr<LibRaw> library)
        : m_library(std::move(library))
    {
    }

    std::unique_ptr<LibRaw> m_library;
};

/// What `develop` delivers.
graphics::ColorSpace developedSpace(bool isGray);

} // namespace velk::codec::raw
