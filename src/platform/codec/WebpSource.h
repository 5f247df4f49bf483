#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/WebpContainer.h"

#include <atomic>

namespace velk::codec {

constexpr std::string_view kWebpType = "org.webmproject.webp";

/// The sub-dictionary of a WebP file and its entries.
constexpr std::string_view kWebpDictionary = "{WebP}";
constexpr std::string_view kWebpLossless = "Lossless"; ///< boolean, of the first frame
constexpr std::string_view kWebpFrameCount = "FrameCount"; ///< integer, of animations only
constexpr std::string_view kWebpLoopCount = "LoopCount"; ///< integer, of animations only; 0 = for ever

/// A WebP file. Image 0 of an animation is its first frame on an otherwise transparent canvas.
class WebpSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);

    WebpContents const& contents() const { return m_contents; }
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;
    /// Tells the user, once, that pixels are missing.
    void warnOfDamage() const;

private:
    explicit WebpSource(InputFile file);
    Result<void> readDescription();
    Result<void> readMetadata();
    Result<Bytes> payload(WebpChunk const& chunk) const;

    WebpContents m_contents;
    mutable std::atomic_flag m_warned;
};

} // namespace velk::codec
