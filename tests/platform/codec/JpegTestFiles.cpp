#include "platform/codec/JpegTestFiles.h"

#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <cstdlib>
#include <ostream>
#include <stdexcept>

namespace velk::test {

using namespace graphics;

namespace {

ColorModel modelOf(JpegVariant const& variant)
{
    return variant.input == JCS_GRAYSCALE ? ColorModel::Gray
        : variant.input == JCS_CMYK       ? ColorModel::CMYK
                                          : ColorModel::RGB;
}

std::vector<jpeg_scan_info> scansOfOneComponent(int count)
{
    std::vector<jpeg_scan_info> scans;
    for (int i = 0; i < count; ++i)
        scans.push_back({1, {i}, 0, 63, 0, 0});
    return scans;
}

void configure(jpeg_compress_struct& info, JpegVariant const& variant)
{
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, variant.coded);
    jpeg_set_quality(&info, 92, TRUE);
    info.comp_info[0].h_samp_factor = variant.horizontal;
    info.comp_info[0].v_samp_factor = variant.vertical;
    info.arith_code = variant.arithmetic;
    info.restart_in_rows = variant.restartRows;
    info.restart_interval = variant.restartInterval;
    if (!variant.adobeMarker)
        info.write_Adobe_marker = FALSE;
    if (variant.progressive)
        jpeg_simple_progression(&info);
}

} // namespace

std::ostream& operator<<(std::ostream& out, JpegVariant const& variant)
{
    return out << variant.name;
}

std::vector<JpegVariant> const& jpegVariants()
{
    static std::vector<JpegVariant> const variants = {
        {.name = "420"},
        {.name = "422", .vertical = 1},
        {.name = "440", .horizontal = 1},
        {.name = "444", .horizontal = 1, .vertical = 1},
        {.name = "411", .horizontal = 4, .vertical = 1},
        {.name = "Gray", .input = JCS_GRAYSCALE, .coded = JCS_GRAYSCALE, .horizontal = 1, .vertical = 1},
        {.name = "GrayWithFactors", .input = JCS_GRAYSCALE, .coded = JCS_GRAYSCALE},
        {.name = "RgbByAdobe", .coded = JCS_RGB, .horizontal = 1, .vertical = 1, .adobeMarker = true},
        {.name = "RgbByNames", .coded = JCS_RGB, .horizontal = 1, .vertical = 1},
        {.name = "CmykByAdobe",
            .input = JCS_CMYK,
            .coded = JCS_CMYK,
            .horizontal = 1,
            .vertical = 1,
            .adobeMarker = true},
        {.name = "CmykPlain", .input = JCS_CMYK, .coded = JCS_CMYK, .horizontal = 1, .vertical = 1},
        {.name = "Ycck",
            .input = JCS_CMYK,
            .coded = JCS_YCCK,
            .horizontal = 1,
            .vertical = 1,
            .adobeMarker = true},
        {.name = "Progressive", .progressive = true},
        {.name = "Arithmetic", .arithmetic = true},
        {.name = "SeparateScans", .separateScans = true},
        {.name = "RestartRows", .restartRows = 1},
        {.name = "RestartInterval", .restartInterval = 5},
    };
    return variants;
}

PixelBufferPointer jpegPicture(JpegVariant const& variant, Size size)
{
    return photoLike(size, {.model = modelOf(variant)});
}

Bytes makeJpeg(JpegVariant const& variant, Size size)
{
    auto const picture = jpegPicture(variant, size);
    jpeg_compress_struct info = {};
    jpeg_error_mgr errors = {};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&info, &data, &length);
    info.image_width = static_cast<JDIMENSION>(size.width);
    info.image_height = static_cast<JDIMENSION>(size.height);
    info.input_components = picture->format().channels();
    info.in_color_space = variant.input;
    configure(info, variant);
    auto const scans = scansOfOneComponent(info.num_components);
    if (variant.separateScans) {
        info.scan_info = scans.data();
        info.num_scans = info.num_components;
    }
    jpeg_start_compress(&info, TRUE);
    bool const isInverted = variant.input == JCS_CMYK && variant.adobeMarker;
    for (int y = 0; y < size.height; ++y) {
        Bytes row(picture->row(y), picture->row(y) + picture->layout().rowBytes());
        for (auto& byte : row)
            byte = isInverted ? static_cast<std::uint8_t>(255 - byte) : byte;
        auto* pointer = row.data();
        jpeg_write_scanlines(&info, &pointer, 1);
    }
    jpeg_finish_compress(&info);
    Bytes const result(data, data + length);
    jpeg_destroy_compress(&info);
    std::free(data);
    return result;
}

JpegCoefficients readCoefficients(Bytes const& jpeg)
{
    jpeg_decompress_struct info = {};
    jpeg_error_mgr errors = {};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, jpeg.data(), jpeg.size());
    jpeg_read_header(&info, TRUE);
    auto* const arrays = jpeg_read_coefficients(&info);
    JpegCoefficients result;
    result.progressive = info.progressive_mode;
    result.restartInterval = info.restart_interval;
    for (int i = 0; i < info.num_components; ++i) {
        auto const& from = info.comp_info[i];
        auto& to = result.components.emplace_back(JpegCoefficients::Component {
            from.h_samp_factor, from.v_samp_factor, from.width_in_blocks, from.height_in_blocks, {}, {}});
        for (unsigned y = 0; y < to.height; ++y) {
            auto* const row = info.mem->access_virt_barray(
                reinterpret_cast<j_common_ptr>(&info), arrays[i], y, 1, FALSE)[0];
            for (unsigned x = 0; x < to.width; ++x)
                to.values.insert(to.values.end(), row[x], row[x] + DCTSIZE2);
        }
        to.quantization.assign(from.quant_table->quantval, from.quant_table->quantval + DCTSIZE2);
    }
    jpeg_destroy_decompress(&info);
    return result;
}

Bytes segment(std::uint8_t marker, std::string_view payload)
{
    Bytes bytes = {0xFF, marker};
    appendBE16(bytes, static_cast<std::uint16_t>(payload.size() + 2));
    append(bytes, payload);
    return bytes;
}

Bytes withSegments(Bytes const& jpeg, Bytes const& bytes)
{
    Bytes result(jpeg.begin(), jpeg.begin() + 2);
    append(result, bytes);
    append(result, ByteSpan(jpeg).subspan(2));
    return result;
}

// Visits the segments before the first scan and returns where that is.
static std::size_t walk(Bytes const& jpeg, std::function<void(int)> const& visit)
{
    std::size_t at = 2;
    while (jpeg.at(at + 1) != 0xDA) {
        visit(jpeg[at + 1]);
        at += 2 + loadBE16(&jpeg.at(at + 2));
    }
    return at;
}

std::size_t scanOffset(Bytes const& jpeg)
{
    return walk(jpeg, [](int) {});
}

std::vector<int> markers(Bytes const& jpeg)
{
    std::vector<int> found;
    walk(jpeg, [&](int marker) { found.push_back(marker); });
    return found;
}

std::shared_ptr<codec::ImageSource const> openBytes(std::string const& path, Bytes const& bytes)
{
    writeBytes(path, bytes);
    auto source = codec::openImage(path);
    if (!source)
        throw std::runtime_error(source.error().message);
    return *source;
}

PixelBuffer collect(DecodedRows const& decoded)
{
    auto pixels = PixelBuffer::collect(*decoded.rows);
    if (!pixels)
        throw std::runtime_error(pixels.error().message);
    return std::move(*pixels);
}

} // namespace velk::test
