#pragma once

#include "platform/graphics/Image.h"

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>

namespace velk::graphics {

/// The pixels of images that are drawn again and again, as canvases have them. Small ones are kept from the
/// first time on, large ones from the second on, so that a photo drawn once never lies in memory. Any thread.
class DecodedImages {
public:
    static DecodedImages& shared();

    /// `image`, or an image of the same pixels in Display P3, where that is kept at `scale` or more.
    Image lookUp(Image const& image, double scale);

    /// Whether `lookUp` gave the image, so that its rows only have to be copied.
    static bool isKept(Image const& image);

private:
    struct Entry {
        std::weak_ptr<PixelProvider const> original;
        ColorSpace space;
        int draws = 0;
        double scale = 0; ///< of the pixels, 0 without
        std::shared_ptr<PixelProvider const> pixels;
        std::size_t bytes = 0;
    };

    Entry& entryOf(Image const& image);
    void decode(Entry& entry, Image const& image, double scale);
    void makeRoom(std::size_t bytes);

    std::mutex m_mutex;
    std::list<Entry> m_entries; // the latest first
};

} // namespace velk::graphics
