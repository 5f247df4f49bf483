#pragma once

#include "base/Files.h"

#include <libheif/heif.h>

#include <memory>

namespace velk::codec::heif {

struct Release {
    void operator()(heif_context* context) const { heif_context_free(context); }
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
    void operator()(heif_image* image) const { heif_image_release(image); }
    void operator()(heif_encoder* encoder) const { heif_encoder_release(encoder); }
    void operator()(heif_decoding_options* options) const { heif_decoding_options_free(options); }
    void operator()(heif_encoding_options* options) const { heif_encoding_options_free(options); }
    void operator()(heif_color_profile_nclx* profile) const { heif_nclx_color_profile_free(profile); }
};
template <typename T> using Pointer = std::unique_ptr<T, Release>;

/// Success, or what libheif says went wrong, after `what` and a colon.
Result<void> check(heif_error const& error, std::string_view what);

/// libheif at work on a file, by one thread at a time.
class Reader {
public:
    /// Reads what describes the file's images.
    static Result<std::unique_ptr<Reader>> open(InputFile const& file);
    Reader(Reader const&) = delete;

    heif_context* context() const { return m_context.get(); }
    /// The primary image.
    heif_image_handle const* image() const { return m_image.get(); }
    /// The image's pixels in this layout, turned and cropped as the file says.
    Result<Pointer<heif_image>> decode(heif_colorspace space, heif_chroma chroma) const;

private:
    explicit Reader(InputFile const& file)
        : m_file(&file)
    {
    }
    Result<void> start();

    static heif_reader const kFunctions;

    InputFile const* m_file;
    std::int64_t m_position = 0;
    // Refers to the file and the position.
    Pointer<heif_context> m_context;
    Pointer<heif_image_handle> m_image;
};

/// Threads that coding may use.
int threadCount();

} // namespace velk::codec::heif
