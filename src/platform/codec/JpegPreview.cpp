#include "platform/codec/JpegPreview.h"

#include "platform/codec/JpegStreams.h"

namespace velk::codec {

using namespace graphics;

namespace {

void configure(jpeg_compress_struct& info, PixelBuffer const& pixels, int quality)
{
    bool const isGray = pixels.format().model == ColorModel::Gray;
    info.image_width = static_cast<JDIMENSION>(pixels.size().width);
    info.image_height = static_cast<JDIMENSION>(pixels.size().height);
    info.input_components = isGray ? 1 : 3;
    info.in_color_space = isGray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.dct_method = JDCT_ISLOW;
    info.optimize_coding = TRUE;
    info.write_JFIF_header = FALSE;
}

} // namespace

Result<Bytes> encodeSmallJpeg(PixelBuffer const& pixels, int quality)
{
    auto const format = pixels.format();
    if (format.componentType != ComponentType::UInt8 || format.hasAlpha()
        || (format.model != ColorModel::Gray && format.model != ColorModel::RGB))
        return fail("a JPEG preview needs 8-bit grey or RGB pixels");
    Bytes bytes;
    auto const compressor = TRY(jpeg::Compressor::create([&](ByteSpan more) {
        append(bytes, more);
        return Result<void>();
    }));
    auto& info = compressor->info;
    TRY(jpeg::attempt(compressor->errors, [&] {
        configure(info, pixels, quality);
        jpeg_start_compress(&info, TRUE);
        while (info.next_scanline < info.image_height) {
            // libjpeg reads rows through a pointer that is not const.
            auto* row = const_cast<JSAMPROW>(pixels.row(static_cast<std::int32_t>(info.next_scanline)));
            jpeg_write_scanlines(&info, &row, 1);
        }
        jpeg_finish_compress(&info);
    }));
    return bytes;
}

} // namespace velk::codec
