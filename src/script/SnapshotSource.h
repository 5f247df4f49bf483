#pragma once

#include "platform/graphics/Image.h"

#include <cstddef>
#include <optional>

namespace velk {

/// A picture as it is at one moment.
struct Snapshot {
    graphics::Image image;
    /// Bytes that the picture holds in memory.
    std::size_t memory = 0;
};

/// Something that an `Output` can write.
class SnapshotSource {
public:
    virtual ~SnapshotSource() = default;
    /// What is there now, unmoved by what is drawn later; nothing when there is no picture.
    virtual std::optional<Snapshot> snapshot() const = 0;
};

} // namespace velk
