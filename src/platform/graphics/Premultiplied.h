#pragma once

#include <algorithm>
#include <cstddef>

namespace velk::graphics {

/// Lowers colours that lie above their pixel's alpha, as the overshoot of a filter leaves them: no
/// premultiplied pixel is like that. Alpha is the last of `channels`.
template <typename Component> void limitToAlpha(Component* row, std::size_t pixels, std::size_t channels)
{
    for (std::size_t x = 0; x < pixels; ++x, row += channels) {
        auto const alpha = row[channels - 1];
        for (std::size_t channel = 0; channel + 1 < channels; ++channel)
            row[channel] = std::min(row[channel], alpha);
    }
}

} // namespace velk::graphics
