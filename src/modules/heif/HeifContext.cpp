#include "modules/heif/HeifContext.h"

#include <algorithm>
#include <thread>

namespace velk::codec::heif {

namespace {

// libheif multiplies this with itself; larger pictures exceed what its planes may take anyway.
constexpr int kLargestSide = 46340;

} // namespace

Result<void> check(heif_error const& error, std::string_view what)
{
    if (error.code == heif_error_Ok)
        return {};
    if (error.code == heif_error_Memory_allocation_error
        && error.subcode == heif_suberror_Security_limit_exceeded)
        return fail("{}: the image is larger than this format's library reads", what);
    return fail("{}: {}", what, error.message ? error.message : "unknown error");
}

int threadCount()
{
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 16u));
}

heif_reader const Reader::kFunctions = {
    .reader_api_version = 1,
    .get_position = [](void* reader) { return static_cast<Reader*>(reader)->m_position; },
    .read =
        [](void* to, std::size_t size, void* data) {
            auto* const reader = static_cast<Reader*>(data);
            auto const isRead = reader->m_file->readExactlyAt(
                static_cast<std::uint64_t>(reader->m_position), {static_cast<std::uint8_t*>(to), size});
            reader->m_position += isRead ? static_cast<std::int64_t>(size) : 0;
            return isRead ? 0 : 1;
        },
    .seek =
        [](std::int64_t position, void* data) {
            static_cast<Reader*>(data)->m_position = position;
            return position < 0 ? 1 : 0;
        },
    .wait_for_file_size =
        [](std::int64_t size, void* data) {
            return size >= 0 && static_cast<std::uint64_t>(size) <= static_cast<Reader*>(data)->m_file->size()
                ? heif_reader_grow_status_size_reached
                : heif_reader_grow_status_size_beyond_eof;
        },
};

Result<std::unique_ptr<Reader>> Reader::open(InputFile const& file)
{
    std::unique_ptr<Reader> reader(new Reader(file));
    TRY(reader->start());
    return reader;
}

Result<void> Reader::start()
{
    m_context.reset(heif_context_alloc());
    if (!m_context)
        return fail("out of memory");
    heif_context_set_maximum_image_size_limit(context(), kLargestSide);
    heif_context_set_max_decoding_threads(context(), threadCount());
    TRY(check(heif_context_read_from_reader(context(), &kFunctions, this, nullptr), "the file is damaged"));
    heif_image_handle* handle = nullptr;
    TRY(check(heif_context_get_primary_image_handle(context(), &handle), "the file holds no still image"));
    m_image.reset(handle);
    return {};
}

Result<Pointer<heif_image>> Reader::decode(heif_colorspace space, heif_chroma chroma) const
{
    Pointer<heif_decoding_options> const options(heif_decoding_options_alloc());
    if (!options)
        return fail("out of memory");
    heif_image* decoded = nullptr;
    auto const error = heif_decode_image(image(), &decoded, space, chroma, options.get());
    Pointer<heif_image> result(decoded);
    TRY(check(error, "the image data cannot be decoded"));
    return result;
}

} // namespace velk::codec::heif
