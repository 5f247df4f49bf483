#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/PngChunks.h"

#include <atomic>

namespace velk::codec {

/// What can be wrong with a file that is shown all the same; each is said once.
enum class PngProblem : unsigned { AncillaryChunk = 1, PixelData = 2, PaletteIndex = 4, Library = 8 };

/// An opened PNG file.
class PngSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);
    /// Not yet described; for `open`.
    explicit PngSource(InputFile file);

    PngHeader const& header() const { return m_header; }
    PngChunkList const& chunks() const { return m_chunks; }
    /// Data of tRNS when it names the transparent colour of a grey or RGB image; else empty.
    Bytes const& colorKey() const { return m_colorKey; }
    /// The palette of an indexed image.
    graphics::Palette const& palette() const { return m_palette; }

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;

    /// Prints the path and `what` as a warning, unless the same problem was warned of before.
    void warnOnce(PngProblem problem, std::string_view what) const;

private:
    friend class PngInspector;

    PngHeader m_header;
    PngChunkList m_chunks;
    Bytes m_colorKey;
    graphics::Palette m_palette;
    mutable std::atomic<unsigned> m_warned = 0;
};

/// A property of {TIFF} and the keyword of the text chunk that says the same.
struct PngTextTwin {
    std::string_view tiffKey;
    std::string_view keyword;
};
constexpr std::array<PngTextTwin, 4> kPngTextTwins = {{
    {"Artist", "Author"},
    {"ImageDescription", "Description"},
    {"Copyright", "Copyright"},
    {"Software", "Software"},
}};

} // namespace velk::codec
