#include "modules/raw/RawDecoder.h"

#include "platform/color/LinearLight.h"

#include <exception>

namespace velk::codec::raw {

using namespace graphics;

namespace {

// Larger raw data than any camera's.
constexpr unsigned kMostMegabytes = 4096;

void noteDamage(void* isDamaged, char const*, int)
{
    *static_cast<bool*>(isDamaged) = true;
}

Result<void> check(int status)
{
    if (status == LIBRAW_SUCCESS)
        return {};
    if (status == LIBRAW_FILE_UNSUPPORTED)
        return fail("raw files of this camera are not supported");
    return fail("the raw file cannot be decoded: {}", LibRaw::strerror(status));
}

// The library promises status codes, and keeps the promise but for memory and for libraries of its own.
Result<void> guarded(std::function<Result<void>()> const& action)
{
    try {
        return action();
    } catch (std::bad_alloc const&) {
        return fail("not enough memory");
    } catch (std::exception const& exception) {
        return fail("the raw file cannot be decoded: {}", exception.what());
    }
}

} // namespace

Result<RawDecoder> RawDecoder::open(InputFile const& file)
{
    auto library = std::make_unique<LibRaw>();
    library->set_dataerror_handler(nullptr, nullptr);
    library->imgdata.params.max_raw_memory_mb = kMostMegabytes;
    auto const path = fmt::format("/proc/self/fd/{}", file.descriptor());
    TRY(guarded([&] { return check(library->open_file(path.c_str())); }));
    auto const& sizes = library->imgdata.sizes;
    if (!isPossible({sizes.raw_width, sizes.raw_height}))
        return fail("an image of {} x {} pixels is not possible", sizes.raw_width, sizes.raw_height);
    return RawDecoder(std::move(library));
}

Result<Size> RawDecoder::uprightSize()
{
    TRY(guarded([&] { return check(m_library->adjust_sizes_info_only()); }));
    Size const size = {data().sizes.iwidth, data().sizes.iheight};
    if (!isPossible(size))
        return fail("an image of {} x {} pixels is not possible", size.width, size.height);
    return size;
}

Result<PixelBuffer> RawDecoder::develop(bool half, std::function<void()> const& reportDamage)
{
    constexpr int kProPhoto = 4, kDeepBits = 16;
    bool isDamaged = false;
    m_library->set_dataerror_handler(noteDamage, &isDamaged);
    auto& params = m_library->imgdata.params;
    params.use_camera_wb = 1;
    params.output_color = kProPhoto;
    params.output_bps = kDeepBits;
    params.gamm[0] = params.gamm[1] = 1;
    params.half_size = half;
    TRY(guarded([&] { return check(m_library->unpack()); }));
    TRY(guarded([&] { return check(m_library->dcraw_process()); }));
    if (isDamaged)
        reportDamage();

    int width = 0, height = 0, channels = 0, bits = 0;
    m_library->get_mem_image_format(&width, &height, &channels, &bits);
    if ((channels != 1 && channels != 3) || bits != kDeepBits)
        return fail("the raw file has {} colors, which is not supported", channels);
    auto const model = channels == 1 ? ColorModel::Gray : ColorModel::RGB;
    auto buffer = TRY(PixelBuffer::create(
        {{width, height}, {ComponentType::UInt16, model, Alpha::None}, developedSpace(channels == 1)}));
    TRY(guarded([&] {
        return check(m_library->copy_mem_image(buffer.row(0), static_cast<int>(buffer.stride()), 0));
    }));
    return buffer;
}

ColorSpace developedSpace(bool isGray)
{
    return isGray ? color::linearGraySpace() : color::linearRgbSpace(color::kProPhoto);
}

} // namespace velk::codec::raw
