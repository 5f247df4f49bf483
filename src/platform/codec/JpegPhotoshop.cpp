#include "platform/codec/JpegPhotoshop.h"

#include "base/FourCC.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velk::codec::jpeg {

namespace {

constexpr std::array kSignatures = {
    FourCC("8BIM"), FourCC("MeSa"), FourCC("PHUT"), FourCC("AgHg"), FourCC("DCSR")};

constexpr std::size_t even(std::size_t size)
{
    return size + (size & 1);
}

// ResolutionInfo: horizontal pixels per inch as 16.16 fixed point at 0, vertical at 8.
constexpr std::size_t kResolutionInfoSize = 16;
constexpr std::size_t kVerticalOffset = 8;
constexpr double kFixedOne = 65536;

std::uint32_t toFixed(double value)
{
    return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 32767.0) * kFixedOne));
}

} // namespace

PhotoshopResources::PhotoshopResources(ByteSpan data)
{
    while (!data.empty()) {
        auto resource = parse(data);
        if (!resource)
            break;
        m_resources.push_back(std::move(*resource));
    }
    m_remainder.assign(data.begin(), data.end());
}

// signature (4) | id (2) | name length (1), name, padded to even | data size (4) | data, padded to even
std::optional<PhotoshopResources::Resource> PhotoshopResources::parse(ByteSpan& rest)
{
    constexpr std::size_t kNameOffset = 6;
    if (rest.size() < kNameOffset + 2 + 4)
        return std::nullopt;
    auto const signature = loadBE32(rest.data());
    if (std::ranges::find(kSignatures, FourCC(signature)) == kSignatures.end())
        return std::nullopt;
    auto const nameSize = even(std::size_t {rest[kNameOffset]} + 1);
    auto const dataOffset = kNameOffset + nameSize + 4;
    if (rest.size() < dataOffset)
        return std::nullopt;
    auto const dataSize = loadBE32(&rest[dataOffset - 4]);
    if (rest.size() - dataOffset < dataSize)
        return std::nullopt;
    auto const name = rest.subspan(kNameOffset, nameSize);
    auto const data = rest.subspan(dataOffset, dataSize);
    Resource resource {signature, loadBE16(&rest[4]), {name.begin(), name.end()}, {data.begin(), data.end()}};
    // Some writers forget the last padding byte.
    rest = rest.subspan(std::min(dataOffset + even(dataSize), rest.size()));
    return resource;
}

PhotoshopResources::Resource const* PhotoshopResources::find(std::uint16_t id) const
{
    auto const found = std::ranges::find(m_resources, id, &Resource::id);
    return found == m_resources.end() ? nullptr : &*found;
}

Bytes PhotoshopResources::iptc() const
{
    auto const* resource = find(kIptc);
    return resource ? resource->data : Bytes();
}

void PhotoshopResources::setIptc(ByteSpan iim)
{
    auto const found = std::ranges::find(m_resources, kIptc, &Resource::id);
    if (iim.empty()) {
        std::erase_if(m_resources, [](auto const& resource) { return resource.id == kIptc; });
    } else if (found != m_resources.end()) {
        found->data.assign(iim.begin(), iim.end());
    } else {
        m_resources.push_back({FourCC("8BIM").code, kIptc, Bytes(2), {iim.begin(), iim.end()}});
    }
}

std::optional<Resolution> PhotoshopResources::resolution() const
{
    auto const* resource = find(kResolution);
    if (!resource || resource->data.size() < kResolutionInfoSize)
        return std::nullopt;
    Resolution const resolution {
        loadBE32(resource->data.data()) / kFixedOne, loadBE32(&resource->data[kVerticalOffset]) / kFixedOne};
    if (resolution.x <= 0 || resolution.y <= 0)
        return std::nullopt;
    return resolution;
}

void PhotoshopResources::updateResolution(Resolution resolution)
{
    auto const found = std::ranges::find(m_resources, kResolution, &Resource::id);
    if (found == m_resources.end() || found->data.size() < kResolutionInfoSize)
        return;
    storeInteger(found->data.data(), toFixed(resolution.x), ByteOrder::Big);
    storeInteger(&found->data[kVerticalOffset], toFixed(resolution.y), ByteOrder::Big);
}

void PhotoshopResources::removeThumbnails()
{
    std::erase_if(m_resources,
        [](auto const& resource) { return resource.id == kThumbnail || resource.id == kOldThumbnail; });
}

Bytes PhotoshopResources::serialized() const
{
    Bytes bytes;
    for (auto const& resource : m_resources) {
        appendBE32(bytes, resource.signature);
        appendBE16(bytes, resource.id);
        append(bytes, resource.name);
        appendBE32(bytes, static_cast<std::uint32_t>(resource.data.size()));
        append(bytes, resource.data);
        bytes.resize(even(bytes.size()));
    }
    append(bytes, m_remainder);
    return bytes;
}

} // namespace velk::codec::jpeg
