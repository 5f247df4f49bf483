#pragma once

#include "base/Result.h"
#include "platform/graphics/Image.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velk::desktop {

/// The file that an icon stands for.
struct IconSubject {
    /// Canonical and absolute.
    std::string path;
    std::uint64_t size = 0; ///< in bytes
    std::int64_t modificationTime = 0; ///< in seconds since 1970
    std::string_view mimeType;
    graphics::Size pixelSize;
};

/// Longest side in pixels of the largest icon that is kept.
constexpr std::int32_t kLargestIcon = 1024;

/// Makes `picture` the icon that file managers show for the file: a PNG in each of the four size directories
/// of the user's thumbnail cache (Thumbnail Managing Standard 0.9), scaled down where it must be and never
/// up. `picture` shows the file upright, in uncalibrated RGB that stands for sRGB. Directories that are
/// missing are made. Errors: there is no cache directory, it cannot be written, or the pixels cannot be read.
Result<void> setFileIcon(graphics::Image const& picture, IconSubject const& subject);

} // namespace velk::desktop
