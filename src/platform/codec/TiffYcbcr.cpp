#include "platform/codec/TiffYcbcr.h"

#include "platform/codec/TiffTags.h"

#include <algorithm>

namespace velk::codec::tiff {

namespace {

// The numbers of an entry, or the defaults where they are missing or cannot be.
template <std::size_t Count>
std::array<double, Count> numbersOr(std::array<double, Count> const& defaults, DirectoryReader const& reader,
    Directory const& directory, std::uint16_t tag)
{
    auto const stored = reader.numbers(directory.find(tag), Count);
    auto values = defaults;
    if (stored.size() == Count)
        std::ranges::copy(stored, values.begin());
    return values;
}

bool isFactor(int value)
{
    return value == 1 || value == 2 || value == 4;
}

std::uint8_t toByte(float value)
{
    return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

std::int64_t unitsFor(std::int32_t pixels, int factor)
{
    return (std::int64_t {pixels} + factor - 1) / factor;
}

} // namespace

Result<YcbcrConverter> YcbcrConverter::create(
    DirectoryReader const& reader, Directory const& directory, std::array<int, 2> subsampling)
{
    if (!isFactor(subsampling[0]) || !isFactor(subsampling[1]))
        return fail("YCbCr subsampling {} x {} is not supported", subsampling[0], subsampling[1]);
    constexpr std::array kRec601 = {0.299, 0.587, 0.114};
    constexpr std::array<double, 6> kFullRange = {0, 255, 128, 255, 128, 255};
    auto weights = numbersOr(kRec601, reader, directory, tag::kYCbCrCoefficients);
    if (std::ranges::any_of(weights, [](double weight) { return !(weight > 0 && weight < 1); }))
        weights = kRec601;
    auto range = numbersOr(kFullRange, reader, directory, tag::kReferenceBlackWhite);
    if (range[0] == range[1] || range[2] == range[3] || range[4] == range[5])
        range = kFullRange;

    YcbcrConverter converter;
    converter.m_subsampling = subsampling;
    auto const [red, green, blue] = weights;
    for (std::size_t i = 0; i < 256; ++i) {
        auto const code = static_cast<double>(i);
        auto const cb = (code - range[2]) * 127 / (range[3] - range[2]);
        auto const cr = (code - range[4]) * 127 / (range[5] - range[4]);
        auto& tables = converter.m_tables;
        tables.luma[i] = static_cast<float>((code - range[0]) * 255 / (range[1] - range[0]));
        tables.redFromCr[i] = static_cast<float>(cr * (2 - 2 * red));
        tables.blueFromCb[i] = static_cast<float>(cb * (2 - 2 * blue));
        tables.greenFromCr[i] = static_cast<float>(-cr * (2 - 2 * red) * red / green);
        tables.greenFromCb[i] = static_cast<float>(-cb * (2 - 2 * blue) * blue / green);
    }
    return converter;
}

std::uint64_t YcbcrConverter::unitBytes(graphics::Size area) const
{
    auto const unit = m_subsampling[0] * m_subsampling[1] + 2;
    return static_cast<std::uint64_t>(unitsFor(area.width, m_subsampling[0]))
        * static_cast<std::uint64_t>(unitsFor(area.height, m_subsampling[1]))
        * static_cast<std::uint64_t>(unit);
}

void YcbcrConverter::convert(std::uint8_t const* units, graphics::Size area, std::int32_t width,
    std::uint8_t* to, std::uint64_t stride) const
{
    auto const [horizontal, vertical] = m_subsampling;
    auto const unitSize = static_cast<std::size_t>(horizontal * vertical + 2);
    auto const unitRow = static_cast<std::size_t>(unitsFor(width, horizontal)) * unitSize;
    for (std::int32_t y = 0; y < area.height; ++y) {
        auto const* unit = units + static_cast<std::size_t>(y / vertical) * unitRow;
        auto const* lumas = unit + (y % vertical) * horizontal;
        auto* pixel = to + static_cast<std::uint64_t>(y) * stride;
        for (std::int32_t x = 0; x < area.width; ++x, pixel += 3) {
            auto const at = static_cast<std::size_t>(x / horizontal) * unitSize;
            auto const luma = m_tables.luma[lumas[at + static_cast<std::size_t>(x % horizontal)]];
            auto const cb = unit[at + unitSize - 2], cr = unit[at + unitSize - 1];
            pixel[0] = toByte(luma + m_tables.redFromCr[cr]);
            pixel[1] = toByte(luma + m_tables.greenFromCr[cr] + m_tables.greenFromCb[cb]);
            pixel[2] = toByte(luma + m_tables.blueFromCb[cb]);
        }
    }
}

} // namespace velk::codec::tiff
