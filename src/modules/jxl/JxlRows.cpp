#include "modules/jxl/JxlRows.h"

#include "modules/jxl/JxlPixels.h"
#include "platform/color/ColorConversion.h"
#include "platform/graphics/PixelBuffer.h"

#include <cstring>

namespace velk::codec::jxl {

using namespace graphics;

namespace {

class Rows final : public RowSource {
public:
    Rows(std::shared_ptr<Source const> source, PixelLayout layout)
        : RowSource(std::move(layout))
        , m_source(std::move(source))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        if (!m_pixels)
            TRY(decode());
        for (std::int32_t i = 0; i < rows.count; ++i)
            std::memcpy(rows.row(i), m_pixels->row(nextRow() + i), rowBytes());
        return {};
    }

    Result<void> decode()
    {
        auto pixels = TRY(PixelBuffer::create(layout()));
        auto decoder = TRY(Decoder::open(m_source->file(), JXL_DEC_COLOR_ENCODING | JXL_DEC_FULL_IMAGE));
        TRY(decoder.useThreads());
        TRY(decoder.expect(JXL_DEC_COLOR_ENCODING));
        if (m_source->colors().decoded) {
            auto const wide = wideLinearLight(format().model);
            if (JxlDecoderSetPreferredColorProfile(decoder.get(), &wide) != JXL_DEC_SUCCESS)
                return fail("the colours of the JPEG XL data cannot be used");
        }
        TRY(decoder.expect(JXL_DEC_NEED_IMAGE_OUT_BUFFER));
        TRY(decodeInto(decoder, pixels));
        m_pixels = std::move(pixels);
        return {};
    }

    Result<void> decodeInto(Decoder& decoder, PixelBuffer& pixels)
    {
        auto const pixelFormat = layoutOf(pixels);
        auto const size = pixels.stride() * static_cast<std::size_t>(pixels.size().height);
        std::size_t needed = 0;
        if (JxlDecoderImageOutBufferSize(decoder.get(), &pixelFormat, &needed) != JXL_DEC_SUCCESS
            || needed > size
            || JxlDecoderSetImageOutBuffer(decoder.get(), &pixelFormat, pixels.row(0), size)
                != JXL_DEC_SUCCESS)
            return fail("the JPEG XL library does not fit");
        auto const status = TRY(decoder.next());
        if (status == JXL_DEC_FULL_IMAGE)
            return {};
        // Of a file that is cut off, what has arrived can be shown.
        if (status == JXL_DEC_NEED_MORE_INPUT && JxlDecoderFlushImage(decoder.get()) == JXL_DEC_SUCCESS) {
            m_source->warnOfDamage();
            return {};
        }
        return status == JXL_DEC_NEED_MORE_INPUT ? fail("unexpected end of file")
                                                 : fail("the JPEG XL data is damaged");
    }

    std::shared_ptr<Source const> m_source;
    std::optional<PixelBuffer> m_pixels;
};

} // namespace

Result<RowSourcePointer> openRows(std::shared_ptr<Source const> source)
{
    auto const wanted = source->description().info.layout;
    auto layout = wanted;
    auto const decodedSpace = source->colors().decoded;
    if (decodedSpace) {
        layout.space = *decodedSpace;
        layout.format.componentType = ComponentType::Float32;
    }
    RowSourcePointer rows = std::make_unique<Rows>(std::move(source), std::move(layout));
    if (!decodedSpace)
        return rows;
    return color::convertColors(std::move(rows),
        {.format = wanted.format, .space = wanted.space, .intent = RenderingIntent::Relative});
}

} // namespace velk::codec::jxl
