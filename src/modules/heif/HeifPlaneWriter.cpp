#include "modules/heif/HeifPlaneWriter.h"

#include "modules/heif/HeifPlanes.h"

#include <algorithm>
#include <array>

namespace velk::codec::heif {

using namespace graphics;

namespace {

struct TargetPlane {
    std::uint8_t* data = nullptr;
    std::size_t stride = 0;
};

template <typename Sample>
void toSamples(std::span<float const> values, SampleScale scale, float largest, std::uint8_t* to)
{
    auto* samples = reinterpret_cast<Sample*>(to);
    for (std::size_t i = 0; i < values.size(); ++i)
        samples[i] =
            static_cast<Sample>(std::clamp(values[i] * scale.range + scale.zero, 0.0f, largest) + 0.5f);
}

template <typename Component>
void toValues(std::uint8_t const* row, std::size_t step, std::span<float> values)
{
    constexpr auto kFactor = 1 / static_cast<float>(static_cast<Component>(~Component {}));
    auto const* components = reinterpret_cast<Component const*>(row);
    for (auto& value : values) {
        value = static_cast<float>(*components) * kFactor;
        components += step;
    }
}

/// Takes pixels two rows at a time, as many as a row of halved chroma stands for.
class PlaneWriter {
public:
    PlaneWriter(RowSource& rows, PlaneLayout const& layout)
        : m_rows(rows)
        , m_layout(layout)
        , m_isGray(rows.format().model == ColorModel::Gray)
    {
        auto const width = static_cast<std::size_t>(rows.size().width);
        for (auto& row : m_values)
            for (auto& channel : row)
                channel.resize(width);
        m_chroma.resize((width + 1) / 2);
        m_pixels.resize(rows.rowBytes());
    }

    Result<Pointer<heif_image>> write()
    {
        auto image = TRY(create());
        auto const height = m_rows.size().height;
        for (int y = 0; y < height; y += 2) {
            bool const isPair = y + 1 < height;
            TRY(take(y, m_values[0]));
            if (isPair)
                TRY(take(y + 1, m_values[1]));
            if (m_layout.halvesChroma && !m_isGray)
                writeHalvedChroma(y / 2, isPair);
        }
        return image;
    }

private:
    using Channels = std::array<std::vector<float>, 3>;

    Result<Pointer<heif_image>> create()
    {
        heif_image* created = nullptr;
        auto const size = m_rows.size();
        auto const chroma = m_isGray ? heif_chroma_monochrome
            : m_layout.halvesChroma  ? heif_chroma_420
                                     : heif_chroma_444;
        TRY(check(heif_image_create(size.width, size.height,
                      m_isGray ? heif_colorspace_monochrome : heif_colorspace_YCbCr, chroma, &created),
            "the picture cannot be encoded"));
        Pointer<heif_image> image(created);
        TRY(add(image.get(), heif_channel_Y, size));
        if (!m_isGray) {
            auto const half = Size {(size.width + 1) / 2, (size.height + 1) / 2};
            TRY(add(image.get(), heif_channel_Cb, m_layout.halvesChroma ? half : size));
            TRY(add(image.get(), heif_channel_Cr, m_layout.halvesChroma ? half : size));
        }
        if (m_rows.format().hasAlpha())
            TRY(add(image.get(), heif_channel_Alpha, size));
        heif_image_set_premultiplied_alpha(
            image.get(), m_rows.format().alpha == Alpha::Premultiplied ? 1 : 0);
        return image;
    }

    Result<void> add(heif_image* image, heif_channel channel, Size size)
    {
        TRY(check(heif_image_add_plane(image, channel, size.width, size.height, m_layout.bits),
            "the picture cannot be encoded"));
        int stride = 0;
        auto* const data = heif_image_get_plane(image, channel, &stride);
        if (!data)
            return fail("out of memory");
        m_planes[channel] = {data, static_cast<std::size_t>(stride)};
        return {};
    }

    // Reads a row of pixels and writes what is as large as they are.
    Result<void> take(int y, Channels& values)
    {
        TRY(m_rows.read({m_pixels.data(), m_pixels.size(), 1}));
        auto const colors = static_cast<std::size_t>(m_rows.format().colorChannels());
        if (m_rows.format().hasAlpha()) {
            spread(colors, values[0]);
            put(heif_channel_Alpha, y, values[0], SampleKind::Light);
        }
        for (std::size_t channel = 0; channel < colors; ++channel)
            spread(channel, values[channel]);
        if (!m_isGray)
            fromRgb(m_layout.meaning, {values[0], values[1], values[2]});
        put(heif_channel_Y, y, values[0], SampleKind::Light);
        if (!m_isGray && !m_layout.halvesChroma) {
            auto const kind = m_layout.meaning.kind == LumaChroma::Kind::Identity ? SampleKind::Light
                                                                                  : SampleKind::Difference;
            put(heif_channel_Cb, y, values[1], kind);
            put(heif_channel_Cr, y, values[2], kind);
        }
        return {};
    }

    void spread(std::size_t channel, std::span<float> values) const
    {
        auto const type = m_rows.format().componentType;
        auto const step = static_cast<std::size_t>(m_rows.format().channels());
        auto const* from = m_pixels.data() + channel * componentSize(type);
        if (type == ComponentType::UInt16)
            toValues<std::uint16_t>(from, step, values);
        else
            toValues<std::uint8_t>(from, step, values);
    }

    void writeHalvedChroma(int y, bool isPair)
    {
        for (std::size_t channel = 1; channel < 3; ++channel) {
            auto& mean = m_values[0][channel];
            for (std::size_t i = 0; isPair && i < mean.size(); ++i)
                mean[i] = 0.5f * (mean[i] + m_values[1][channel][i]);
            halveRow(mean, m_chroma);
            put(channel == 1 ? heif_channel_Cb : heif_channel_Cr, y, m_chroma, SampleKind::Difference);
        }
    }

    void put(heif_channel channel, int y, std::span<float const> values, SampleKind kind) const
    {
        auto const& plane = m_planes[channel];
        auto* const to = plane.data + static_cast<std::size_t>(y) * plane.stride;
        auto const scale = scaleOf(m_layout.bits, true, kind);
        auto const largest = static_cast<float>((1 << m_layout.bits) - 1);
        if (m_layout.bits > 8)
            toSamples<std::uint16_t>(values, scale, largest, to);
        else
            toSamples<std::uint8_t>(values, scale, largest, to);
    }

    RowSource& m_rows;
    PlaneLayout m_layout;
    bool m_isGray;
    std::array<TargetPlane, heif_channel_Alpha + 1> m_planes;
    std::array<Channels, 2> m_values;
    std::vector<float> m_chroma;
    Bytes m_pixels;
};

} // namespace

Result<Pointer<heif_image>> collectPlanes(RowSource& rows, PlaneLayout const& layout)
{
    return PlaneWriter(rows, layout).write();
}

} // namespace velk::codec::heif
