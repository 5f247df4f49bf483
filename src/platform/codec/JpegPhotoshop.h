#pragma once

#include "base/Bytes.h"
#include "platform/codec/Resolution.h"

#include <optional>
#include <vector>

namespace velk::codec::jpeg {

/// The image resources that Photoshop keeps in APP13 (Adobe Photoshop File Formats Specification, Image
/// Resource Blocks): numbered blocks, one of which is the IPTC-IIM data.
class PhotoshopResources {
public:
    static constexpr std::uint16_t kResolution = 0x03ED;
    static constexpr std::uint16_t kIptc = 0x0404;
    static constexpr std::uint16_t kOldThumbnail = 0x0409;
    static constexpr std::uint16_t kThumbnail = 0x040C;

    PhotoshopResources() = default;
    /// From the data of all APP13 segments. What cannot be understood is kept as it is, at the end.
    explicit PhotoshopResources(ByteSpan data);

    /// Data sets of IPTC-IIM, empty when there are none.
    Bytes iptc() const;
    /// Replaces the IPTC resource; empty bytes remove it.
    void setIptc(ByteSpan iim);

    std::optional<Resolution> resolution() const;
    /// Changes the resolution where one is stored.
    void updateResolution(Resolution resolution);
    /// Removes the small pictures of the image.
    void removeThumbnails();

    Bytes serialized() const;

private:
    struct Resource {
        std::uint32_t signature; ///< mostly "8BIM"
        std::uint16_t id;
        Bytes name; ///< Pascal string, padded to an even length
        Bytes data;
    };

    Resource const* find(std::uint16_t id) const;
    static std::optional<Resource> parse(ByteSpan& rest);

    std::vector<Resource> m_resources;
    Bytes m_remainder;
};

} // namespace velk::codec::jpeg
