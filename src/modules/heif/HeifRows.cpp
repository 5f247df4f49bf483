#include "modules/heif/HeifRows.h"

#include "modules/heif/HeifPlanes.h"

#include <algorithm>
#include <array>
#include <optional>

namespace velk::codec::heif {

using namespace graphics;

namespace {

/// What the samples of a decoded image mean.
struct Coding {
    LumaChroma meaning;
    bool isFullRange = true;
};

/// What the library is asked for: halved chroma as it is coded, because the library would repeat its samples
/// where they are to be interpolated; of everything else, red, green and blue.
struct RequestedLayout {
    heif_colorspace space = heif_colorspace_RGB;
    heif_chroma chroma = heif_chroma_444;
};

RequestedLayout layoutFor(CodedChroma coded)
{
    switch (coded) {
    case CodedChroma::Halved:
        return {heif_colorspace_YCbCr, heif_chroma_420};
    case CodedChroma::HalvedWidth:
        return {heif_colorspace_YCbCr, heif_chroma_422};
    case CodedChroma::Unknown:
    case CodedChroma::Monochrome:
    case CodedChroma::Full:
        break;
    }
    return {};
}

Coding codingOf(heif_image const* image)
{
    heif_color_profile_nclx* found = nullptr;
    if (heif_image_get_nclx_color_profile(image, &found).code != heif_error_Ok)
        return {};
    Pointer<heif_color_profile_nclx> const nclx(found);
    return {LumaChroma::fromCode(nclx->matrix_coefficients), nclx->full_range_flag != 0};
}

// Values to components `step` apart.
template <typename Component> void store(std::span<float const> values, std::uint8_t* to, std::size_t step)
{
    constexpr auto kLargest = static_cast<float>(static_cast<Component>(~Component {}));
    auto* out = reinterpret_cast<Component*>(to);
    for (auto const value : values) {
        *out = static_cast<Component>(std::clamp(value, 0.0f, 1.0f) * kLargest + 0.5f);
        out += step;
    }
}

bool saysFullRange(heif_image_handle const* image)
{
    heif_color_profile_nclx* found = nullptr;
    if (heif_image_handle_get_nclx_color_profile(image, &found).code != heif_error_Ok)
        return true;
    Pointer<heif_color_profile_nclx> const nclx(found);
    return nclx->full_range_flag != 0;
}

class Rows final : public RowSource {
public:
    explicit Rows(std::shared_ptr<Source const> source)
        : RowSource(source->description().info.layout)
        , m_source(std::move(source))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        if (!m_image)
            TRY(decode());
        for (std::int32_t i = 0; i < rows.count; ++i)
            deliver(nextRow() + i, rows.row(i));
        return {};
    }

    Result<void> decode()
    {
        auto const reader = TRY(Reader::open(m_source->file()));
        auto const wanted = layoutFor(m_source->chroma());
        auto image = TRY(reader->decode(wanted.space, wanted.chroma));
        m_coding = codingOf(image.get());
        // The library brings colours to full range when it converts them, but hands on luma alone as it is.
        if (heif_image_get_colorspace(image.get()) == heif_colorspace_RGB)
            m_coding.isFullRange =
                m_source->chroma() != CodedChroma::Monochrome || saysFullRange(reader->image());
        TRY(findPlanes(image.get()));
        for (auto& values : m_values)
            values.resize(static_cast<std::size_t>(size().width));
        m_image = std::move(image);
        return {};
    }

    Result<void> findPlanes(heif_image const* image)
    {
        auto const space = heif_image_get_colorspace(image);
        m_isRgb = space == heif_colorspace_RGB;
        m_hasColors = space != heif_colorspace_monochrome && format().model == ColorModel::RGB;
        if (m_isRgb && heif_image_get_chroma_format(image) != heif_chroma_444)
            return fail("the image data is in an unknown layout");
        auto const add = [&](heif_channel channel) -> Result<void> {
            m_planes.push_back(TRY(Plane::of(image, channel, size())));
            return {};
        };
        TRY(add(m_isRgb ? heif_channel_R : heif_channel_Y));
        if (m_hasColors) {
            TRY(add(m_isRgb ? heif_channel_G : heif_channel_Cb));
            TRY(add(m_isRgb ? heif_channel_B : heif_channel_Cr));
        }
        if (format().hasAlpha() && heif_image_has_channel(image, heif_channel_Alpha))
            m_alpha = TRY(Plane::of(image, heif_channel_Alpha, size()));
        return {};
    }

    void deliver(int y, std::uint8_t* to)
    {
        readColors(y);
        auto const colors = static_cast<std::size_t>(format().colorChannels());
        for (std::size_t channel = 0; channel < colors; ++channel)
            put(m_values[m_hasColors ? channel : 0], channel, to);
        if (!format().hasAlpha())
            return;
        if (m_alpha)
            m_alpha->read(y, scaleOf(m_alpha->bits(), true, SampleKind::Light), m_values[0]);
        else
            std::ranges::fill(m_values[0], 1.0f);
        put(m_values[0], colors, to);
    }

    void readColors(int y)
    {
        bool const isDirect = m_isRgb || m_coding.meaning.kind == LumaChroma::Kind::Identity;
        for (std::size_t i = 0; i < m_planes.size(); ++i) {
            auto const kind = i == 0 || isDirect ? SampleKind::Light : SampleKind::Difference;
            m_planes[i].read(y, scaleOf(m_planes[i].bits(), m_coding.isFullRange, kind), m_values[i]);
        }
        if (m_hasColors && !m_isRgb)
            toRgb(m_coding.meaning, {m_values[0], m_values[1], m_values[2]});
    }

    void put(std::span<float const> values, std::size_t channel, std::uint8_t* to) const
    {
        auto const type = format().componentType;
        auto const step = static_cast<std::size_t>(format().channels());
        to += channel * componentSize(type);
        if (type == ComponentType::UInt16)
            store<std::uint16_t>(values, to, step);
        else
            store<std::uint8_t>(values, to, step);
    }

    std::shared_ptr<Source const> m_source;
    Pointer<heif_image> m_image;
    Coding m_coding;
    bool m_isRgb = false, m_hasColors = false;
    std::vector<Plane> m_planes;
    std::optional<Plane> m_alpha;
    std::array<std::vector<float>, 3> m_values;
};

} // namespace

RowSourcePointer openRows(std::shared_ptr<Source const> source)
{
    return std::make_unique<Rows>(std::move(source));
}

} // namespace velk::codec::heif
