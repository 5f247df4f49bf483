#include "modules/jxl/JxlSource.h"

#include "base/Reporting.h"
#include "modules/jxl/JxlRows.h"

#include <algorithm>

namespace velk::codec::jxl {

using namespace graphics;

namespace {

constexpr std::size_t kLargestProfile = 64 << 20;

ColorModel modelOf(JxlBasicInfo const& header)
{
    return header.num_color_channels == 1 ? ColorModel::Gray : ColorModel::RGB;
}

// Integers of more bits than 16 fit floats better.
ComponentType componentTypeOf(JxlBasicInfo const& header)
{
    if (header.exponent_bits_per_sample > 0 || header.bits_per_sample > 16)
        return ComponentType::Float32;
    return header.bits_per_sample > 8 ? ComponentType::UInt16 : ComponentType::UInt8;
}

Alpha alphaOf(JxlBasicInfo const& header)
{
    if (header.alpha_bits == 0)
        return Alpha::None;
    return header.alpha_premultiplied ? Alpha::Premultiplied : Alpha::Straight;
}

SharedBytes profileOf(JxlDecoder const* decoder, JxlColorProfileTarget target)
{
    std::size_t size = 0;
    if (JxlDecoderGetICCProfileSize(decoder, nullptr, target, &size) != JXL_DEC_SUCCESS || size == 0
        || size > kLargestProfile)
        return nullptr;
    Bytes bytes(size);
    if (JxlDecoderGetColorAsICCProfile(decoder, nullptr, target, bytes.data(), size) != JXL_DEC_SUCCESS)
        return nullptr;
    return std::make_shared<Bytes const>(std::move(bytes));
}

bool isSrgb(JxlColorEncoding const& encoding)
{
    return encoding.white_point == JXL_WHITE_POINT_D65
        && encoding.transfer_function == JXL_TRANSFER_FUNCTION_SRGB
        && (encoding.color_space == JXL_COLOR_SPACE_GRAY || encoding.primaries == JXL_PRIMARIES_SRGB);
}

ColorSpace spaceFor(JxlDecoder const* decoder, ColorModel model, JxlColorProfileTarget target)
{
    JxlColorEncoding encoding;
    if (JxlDecoderGetColorAsEncodedProfile(decoder, nullptr, target, &encoding) == JXL_DEC_SUCCESS
        && isSrgb(encoding))
        return ColorSpace::device(model);
    return colorSpaceWithProfile(model, profileOf(decoder, target));
}

ColorPlan planColors(JxlDecoder* decoder, JxlBasicInfo const& header)
{
    auto const model = modelOf(header);
    ColorPlan plan {.space = spaceFor(decoder, model, JXL_COLOR_PROFILE_TARGET_ORIGINAL)};
    JxlColorEncoding original;
    bool const isDescribed =
        JxlDecoderGetColorAsEncodedProfile(decoder, nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL, &original)
        == JXL_DEC_SUCCESS;
    if (header.uses_original_profile || isDescribed)
        return plan;
    auto const wide = wideLinearLight(model);
    bool const isPossible =
        plan.space.profile() && JxlDecoderSetPreferredColorProfile(decoder, &wide) == JXL_DEC_SUCCESS;
    plan.decoded = spaceFor(decoder, model, JXL_COLOR_PROFILE_TARGET_DATA);
    if (!isPossible)
        plan.space = *std::exchange(plan.decoded, std::nullopt);
    return plan;
}

Result<int> countFrames(InputFile const& file)
{
    auto decoder = TRY(Decoder::open(file, JXL_DEC_FRAME));
    int count = 0;
    while (TRY(decoder.next()) == JXL_DEC_FRAME)
        ++count;
    return std::max(count, 1);
}

} // namespace

JxlColorEncoding wideLinearLight(ColorModel model)
{
    JxlColorEncoding encoding {};
    encoding.color_space = model == ColorModel::Gray ? JXL_COLOR_SPACE_GRAY : JXL_COLOR_SPACE_RGB;
    encoding.white_point = JXL_WHITE_POINT_D65;
    encoding.primaries = JXL_PRIMARIES_2100;
    encoding.transfer_function = JXL_TRANSFER_FUNCTION_LINEAR;
    encoding.rendering_intent = JXL_RENDERING_INTENT_RELATIVE;
    return encoding;
}

Source::Source(InputFile file)
    : ImageSource(kType, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> Source::open(InputFile file)
{
    std::shared_ptr<Source> const source(new Source(std::move(file)));
    TRY(source->readHeader());
    TRY(source->describe());
    return source;
}

Result<void> Source::readHeader()
{
    auto decoder = TRY(Decoder::open(file(), JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING));
    TRY(decoder.expect(JXL_DEC_BASIC_INFO));
    if (JxlDecoderGetBasicInfo(decoder.get(), &m_header) != JXL_DEC_SUCCESS)
        return fail("the JPEG XL data is damaged");
    TRY(decoder.expect(JXL_DEC_COLOR_ENCODING));
    m_colors = planColors(decoder.get(), m_header);
    return {};
}

Result<void> Source::describe()
{
    auto& info = editDescription().info;
    constexpr std::uint32_t kLargestSide = 1 << 30;
    if (m_header.xsize > kLargestSide || m_header.ysize > kLargestSide)
        return fail("an image of {} x {} pixels is not possible", m_header.xsize, m_header.ysize);
    info.layout.size = {static_cast<std::int32_t>(m_header.xsize), static_cast<std::int32_t>(m_header.ysize)};
    if (!isPossible(info.layout.size))
        return fail("an image of {} x {} pixels is not possible", m_header.xsize, m_header.ysize);
    info.layout.format = {componentTypeOf(m_header), modelOf(m_header), alphaOf(m_header)};
    info.layout.space = m_colors.space;
    info.bitsPerComponent = static_cast<int>(m_header.bits_per_sample);

    m_container = TRY(readContainer(file()));
    auto& metadata = editDescription().metadata;
    metadata = TRY(readMetadata(file(), m_container));
    // The library has turned the pixels already; what Exif says about that does not count.
    if (metadata.orientation() != 1)
        metadata.setOrientation(1);
    if (m_header.have_animation)
        editDescription().imageCount = TRY(countFrames(file()));
    return {};
}

bool Source::isLossless() const
{
    return m_header.uses_original_profile && !m_container.find(kReconstructionBox);
}

Result<DecodedRows> Source::open(DecodeRequest const&) const
{
    auto const self = std::static_pointer_cast<Source const>(shared_from_this());
    return wholeImage(TRY(openRows(self)));
}

void Source::warnOfDamage() const
{
    if (!m_warned.test_and_set())
        reportWarning("{}: the image data is damaged or incomplete; what is missing stays blank\n", path());
}

} // namespace velk::codec::jxl
