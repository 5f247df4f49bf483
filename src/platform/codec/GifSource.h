#pragma once

#include "platform/codec/GifContainer.h"
#include "platform/codec/ImageSource.h"

#include <atomic>

namespace velk::codec {

constexpr std::string_view kGifType = "com.compuserve.gif";

/// Entries of {GIF}.
constexpr std::string_view kGifFrameCount = "FrameCount"; ///< integer
constexpr std::string_view kGifHasGlobalColorMap = "HasGlobalColorMap"; ///< boolean
constexpr std::string_view kGifLoopCount = "LoopCount"; ///< integer; 0 = for ever
constexpr std::string_view kGifComment = "Comment"; ///< text
constexpr std::string_view kGifDelayTime = "DelayTime"; ///< seconds that frame 0 stands

/// The first frame as it is delivered.
struct GifPicture {
    graphics::Size screen;
    graphics::IntRect area; ///< of the frame on the screen
    graphics::Palette palette; ///< holds every index that is delivered
    /// The index around the frame and in rows that are missing; not set when no index is free for it and the
    /// picture has to be delivered as RGBA.
    std::optional<std::uint8_t> blankIndex;
};

/// A GIF file. Image 0 is its first frame on an otherwise transparent screen: indexed, unless there is an
/// outside and no index left to make it transparent.
class GifSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);

    GifContents const& contents() const { return m_contents; }
    GifPicture const& picture() const { return m_picture; }
    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;
    /// Tells the user, once, that pixels are missing.
    void warnOfDamage() const;

private:
    explicit GifSource(InputFile file);
    Result<void> readPicture();
    void describe();

    GifContents m_contents;
    GifPicture m_picture;
    mutable std::atomic_flag m_warned;
};

} // namespace velk::codec
