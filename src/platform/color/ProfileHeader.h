#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"

#include <array>
#include <cstdint>

namespace velk::color {

constexpr std::size_t kProfileHeaderSize = 128;

/// dateTimeNumber (ICC.1:2022, 4.2).
struct ProfileDate {
    std::uint16_t year = 0, month = 0, day = 0, hours = 0, minutes = 0, seconds = 0;

    bool operator==(ProfileDate const&) const = default;
};

/// XYZNumber (ICC.1:2022, 4.14): three s15Fixed16Numbers as stored.
struct ProfileXyz {
    std::uint32_t x = 0, y = 0, z = 0;

    bool operator==(ProfileXyz const&) const = default;
};

/// The 128-byte profile header (ICC.1:2022, 7.2), its numbers in the machine's byte order.
struct ProfileHeader {
    std::uint32_t size = 0;
    FourCC cmm;
    /// Byte 0 (most significant) is the major version, byte 1 minor and bug-fix as two nibbles; the rest is
    /// zero.
    std::uint32_t version = 0;
    FourCC profileClass;
    FourCC space;
    FourCC pcs;
    ProfileDate creation;
    FourCC signature; ///< "acsp"
    FourCC platform;
    std::uint32_t flags = 0;
    FourCC deviceManufacturer;
    std::uint32_t deviceModel = 0;
    std::array<std::uint32_t, 2> deviceAttributes = {};
    std::uint32_t renderingIntent = 0;
    ProfileXyz illuminant;
    FourCC creator;
    std::array<std::uint8_t, 16> id = {};
    std::array<std::uint8_t, 28> reserved = {};

    bool operator==(ProfileHeader const&) const = default;

    std::uint32_t majorVersion() const { return version >> 24; }

    /// From the first 128 bytes of `bytes`, which the caller has checked to be there.
    static ProfileHeader parse(ByteSpan bytes);
    std::array<std::uint8_t, kProfileHeaderSize> serialize() const;
};

} // namespace velk::color
