#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace velk {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<std::uint8_t const>;
/// Bytes that many owners share and nobody changes; null where there are none.
using SharedBytes = std::shared_ptr<Bytes const>;

inline ByteSpan asBytes(std::string_view text)
{
    return {reinterpret_cast<std::uint8_t const*>(text.data()), text.size()};
}

inline std::string_view asText(ByteSpan bytes)
{
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

inline SharedBytes shareBytes(ByteSpan bytes)
{
    return std::make_shared<Bytes const>(bytes.begin(), bytes.end());
}

/// Whether both hold the same bytes; two nulls are equal.
inline bool equalBytes(SharedBytes const& a, SharedBytes const& b)
{
    return a == b || (a && b && *a == *b);
}

inline bool startsWith(ByteSpan bytes, std::string_view prefix)
{
    return bytes.size() >= prefix.size() && std::memcmp(bytes.data(), prefix.data(), prefix.size()) == 0;
}

enum class ByteOrder : std::uint8_t { Little, Big };

constexpr ByteOrder kNativeByteOrder =
    std::endian::native == std::endian::little ? ByteOrder::Little : ByteOrder::Big;

/// Loads an integer from unaligned memory; the caller has checked that sizeof(T) bytes are there.
template <std::integral T> T loadInteger(std::uint8_t const* from, ByteOrder order)
{
    using Unsigned = std::make_unsigned_t<T>;
    Unsigned value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        auto const at = order == ByteOrder::Big ? i : sizeof(T) - 1 - i;
        value = static_cast<Unsigned>((sizeof(T) > 1 ? value << 8 : 0) | from[at]);
    }
    return static_cast<T>(value);
}

/// Stores an integer into unaligned memory of at least sizeof(T) bytes.
template <std::integral T> void storeInteger(std::uint8_t* to, T value, ByteOrder order)
{
    using Unsigned = std::make_unsigned_t<T>;
    auto bits = static_cast<Unsigned>(value);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        auto const at = order == ByteOrder::Big ? sizeof(T) - 1 - i : i;
        to[at] = static_cast<std::uint8_t>(bits);
        if constexpr (sizeof(T) > 1)
            bits = static_cast<Unsigned>(bits >> 8);
    }
}

inline std::uint16_t loadBE16(std::uint8_t const* p)
{
    return loadInteger<std::uint16_t>(p, ByteOrder::Big);
}
inline std::uint32_t loadBE32(std::uint8_t const* p)
{
    return loadInteger<std::uint32_t>(p, ByteOrder::Big);
}
inline std::uint64_t loadBE64(std::uint8_t const* p)
{
    return loadInteger<std::uint64_t>(p, ByteOrder::Big);
}
inline std::uint16_t loadLE16(std::uint8_t const* p)
{
    return loadInteger<std::uint16_t>(p, ByteOrder::Little);
}
inline std::uint32_t loadLE32(std::uint8_t const* p)
{
    return loadInteger<std::uint32_t>(p, ByteOrder::Little);
}

/// Appends an integer in the given byte order.
template <std::integral T> void append(Bytes& bytes, T value, ByteOrder order)
{
    bytes.resize(bytes.size() + sizeof(T));
    storeInteger(bytes.data() + bytes.size() - sizeof(T), value, order);
}

inline void appendBE16(Bytes& bytes, std::uint16_t value)
{
    append(bytes, value, ByteOrder::Big);
}
inline void appendBE32(Bytes& bytes, std::uint32_t value)
{
    append(bytes, value, ByteOrder::Big);
}
inline void appendLE16(Bytes& bytes, std::uint16_t value)
{
    append(bytes, value, ByteOrder::Little);
}
inline void appendLE32(Bytes& bytes, std::uint32_t value)
{
    append(bytes, value, ByteOrder::Little);
}
inline void append(Bytes& bytes, ByteSpan more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}
inline void append(Bytes& bytes, std::string_view text)
{
    append(bytes, asBytes(text));
}

} // namespace velk
