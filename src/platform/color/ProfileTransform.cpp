#include "platform/color/ProfileTransform.h"

#include "CmykProfileData.h"
#include "platform/color/CmykSeparation.h"
#include "platform/color/IccProfile.h"
#include "platform/color/MatrixShaper.h"
#include "platform/color/ProfileText.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace velk::color {

using namespace graphics;

namespace {

constexpr std::size_t kMaximumProfileSize = 64 * 1024 * 1024;

// A Little CMS context of our own, which keeps the first message instead of printing it.
class Engine {
public:
    Engine()
        : m_context(cmsCreateContext(nullptr, this))
    {
        if (m_context)
            cmsSetLogErrorHandlerTHR(m_context, keepMessage);
    }
    Engine(Engine const&) = delete;
    Engine& operator=(Engine const&) = delete;
    ~Engine()
    {
        if (m_context)
            cmsDeleteContext(m_context);
    }

    cmsContext context() const { return m_context; }
    std::string const& message() const { return m_message; }

private:
    static void keepMessage(cmsContext context, cmsUInt32Number, char const* text)
    {
        auto* const engine = static_cast<Engine*>(cmsGetContextUserData(context));
        if (engine && engine->m_message.empty())
            engine->m_message = text;
    }

    cmsContext m_context;
    std::string m_message;
};

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

struct DeleteTransform {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<void, DeleteTransform>;

struct FreeCurve {
    void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

Profile openBytes(Engine const& engine, ByteSpan bytes)
{
    if (bytes.size() > kMaximumProfileSize)
        return nullptr;
    return Profile(
        cmsOpenProfileFromMemTHR(engine.context(), bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

// IEC 61966-2-1, 5.2, as parametric curve of type 3 (numbered 4 here).
Profile createGrayProfile(Engine const& engine)
{
    constexpr cmsFloat64Number kSrgb[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    std::unique_ptr<cmsToneCurve, FreeCurve> const curve(
        cmsBuildParametricToneCurve(engine.context(), 4, kSrgb));
    return Profile(cmsCreateGrayProfileTHR(engine.context(), cmsD50_xyY(), curve.get()));
}

Profile openSpace(Engine const& engine, ColorSpace const& space)
{
    if (auto const& bytes = space.profile())
        return openBytes(engine, *bytes);
    switch (space.model()) {
    case ColorModel::Gray:
        return createGrayProfile(engine);
    case ColorModel::CMYK:
        return openBytes(engine, kCmykProfileData);
    case ColorModel::Lab:
        return Profile(cmsCreateLab4ProfileTHR(engine.context(), nullptr));
    case ColorModel::RGB:
    case ColorModel::Indexed:
        break;
    }
    return Profile(cmsCreate_sRGBProfileTHR(engine.context()));
}

cmsUInt32Number pixelType(ColorModel model)
{
    switch (model) {
    case ColorModel::Gray:
        return PT_GRAY;
    case ColorModel::CMYK:
        return PT_CMYK;
    case ColorModel::Lab:
        return PT_Lab;
    case ColorModel::RGB:
    case ColorModel::Indexed:
        break;
    }
    return PT_RGB;
}

cmsUInt32Number engineFormat(PixelFormat format)
{
    bool const isFloat = format.componentType == ComponentType::Float32;
    return FLOAT_SH(isFloat) | COLORSPACE_SH(pixelType(format.model)) | EXTRA_SH(format.hasAlpha())
        | CHANNELS_SH(static_cast<cmsUInt32Number>(format.colorChannels()))
        | BYTES_SH(static_cast<cmsUInt32Number>(componentSize(format.componentType)));
}

cmsUInt32Number engineIntent(RenderingIntent intent)
{
    switch (intent) {
    case RenderingIntent::Absolute:
        return INTENT_ABSOLUTE_COLORIMETRIC;
    case RenderingIntent::Relative:
        return INTENT_RELATIVE_COLORIMETRIC;
    case RenderingIntent::Saturation:
        return INTENT_SATURATION;
    case RenderingIntent::Default:
    case RenderingIntent::Perceptual:
        break;
    }
    return INTENT_PERCEPTUAL;
}

// How a message calls a space.
std::string nameOf(ColorSpace const& space)
{
    auto const& profile = space.profile();
    auto const name = profile ? profileDescription(*profile) : std::nullopt;
    return name ? fmt::format("color profile '{}'", *name) : "color profile";
}

Result<Profile> open(Engine const& engine, ColorSpace const& space)
{
    auto profile = openSpace(engine, space);
    bool const isOfModel =
        profile && (!space.profile() || profileColorModel(*space.profile()) == space.base().model());
    if (!isOfModel)
        return fail("the {} is damaged", nameOf(space));
    return profile;
}

// Whether a matrix and tone curves are all that this conversion uses of the profile.
bool isPlainMatrix(cmsHPROFILE profile, RenderingIntent intent, cmsUInt32Number direction)
{
    return cmsGetColorSpace(profile) == cmsSigRgbData && cmsGetPCS(profile) == cmsSigXYZData
        && cmsIsMatrixShaper(profile) && !cmsIsCLUT(profile, engineIntent(intent), direction)
        && intent != RenderingIntent::Absolute;
}

template <typename T> T const* readTag(cmsHPROFILE profile, cmsTagSignature signature)
{
    return static_cast<T const*>(cmsReadTag(profile, signature));
}

std::optional<RgbShape> shapeOf(cmsHPROFILE profile)
{
    constexpr cmsTagSignature kColorants[] = {
        cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    constexpr cmsTagSignature kCurves[] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    RgbShape shape;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        auto const* const xyz = readTag<cmsCIEXYZ>(profile, kColorants[channel]);
        auto const* const curve = readTag<cmsToneCurve>(profile, kCurves[channel]);
        if (!xyz || !curve)
            return std::nullopt;
        shape.toXyz[0][channel] = xyz->X;
        shape.toXyz[1][channel] = xyz->Y;
        shape.toXyz[2][channel] = xyz->Z;
        auto const light = [&](double code) {
            return static_cast<double>(cmsEvalToneCurveFloat(curve, static_cast<float>(code / 255)));
        };
        for (std::size_t code = 0; code < 256; ++code)
            shape.linear[channel][code] = light(static_cast<double>(code));
        for (std::size_t code = 0; code < 255; ++code)
            shape.thresholds[channel][code] = light(static_cast<double>(code) + 0.5);
    }
    return shape;
}

std::optional<RowKernel> fastKernel(
    cmsHPROFILE source, PixelFormat from, cmsHPROFILE target, PixelFormat to, RenderingIntent intent)
{
    bool const isEightBit =
        from.componentType == ComponentType::UInt8 && to.componentType == ComponentType::UInt8;
    if (!isEightBit || !isPlainMatrix(source, intent, LCMS_USED_AS_INPUT)
        || !isPlainMatrix(target, intent, LCMS_USED_AS_OUTPUT))
        return std::nullopt;
    auto const sourceShape = shapeOf(source);
    auto const targetShape = shapeOf(target);
    if (!sourceShape || !targetShape)
        return std::nullopt;
    return matrixShaper(*sourceShape, *targetShape, from.channels(), to.channels());
}

bool isFloatCmyk(PixelFormat format)
{
    return format.model == ColorModel::CMYK && format.componentType == ComponentType::Float32;
}

// Little CMS counts floating-point ink in percent.
void scaleInk(float* pixels, std::size_t count, PixelFormat format, float factor)
{
    auto const channels = static_cast<std::size_t>(format.channels());
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t channel = 0; channel < 4; ++channel)
            pixels[i * channels + channel] *= factor;
    }
}

struct FreePipeline {
    void operator()(cmsPipeline* pipeline) const { cmsPipelineFree(pipeline); }
};
using Pipeline = std::unique_ptr<cmsPipeline, FreePipeline>;

struct TransformEnd {
    cmsHPROFILE profile;
    cmsUInt32Number format;
};

// Neighbouring pixels of a photo are seldom equal, so a cache of the last one would only cost time.
Transform createTransform(Engine const& engine, TransformEnd from, TransformEnd to, cmsUInt32Number intent)
{
    return Transform(cmsCreateTransformTHR(
        engine.context(), from.profile, from.format, to.profile, to.format, intent, cmsFLAGS_NOCACHE));
}

// The profile that stands for device CMYK says how inks look and not how to get a look, so the second is
// worked out from the first, once in a run. 16-bit inks of a grid of sRGB values; empty when it fails.
std::vector<std::uint16_t> computeSeparation()
{
    Engine const engine;
    Profile const srgb(cmsCreate_sRGBProfileTHR(engine.context()));
    Profile const lab(cmsCreateLab4ProfileTHR(engine.context(), nullptr));
    auto const press = openBytes(engine, kCmykProfileData);
    auto const toLab = createTransform(
        engine, {srgb.get(), TYPE_RGB_FLT}, {lab.get(), TYPE_Lab_FLT}, INTENT_RELATIVE_COLORIMETRIC);
    auto const inkToLab = createTransform(
        engine, {press.get(), TYPE_CMYK_FLT}, {lab.get(), TYPE_Lab_FLT}, INTENT_RELATIVE_COLORIMETRIC);
    if (!toLab || !inkToLab)
        return {};

    std::vector<std::array<float, 3>> grid;
    constexpr auto kLast = static_cast<float>(kSeparationNodes - 1);
    for (unsigned red = 0; red < kSeparationNodes; ++red) {
        for (unsigned green = 0; green < kSeparationNodes; ++green) {
            for (unsigned blue = 0; blue < kSeparationNodes; ++blue)
                grid.push_back({static_cast<float>(red) / kLast, static_cast<float>(green) / kLast,
                    static_cast<float>(blue) / kLast});
        }
    }
    std::vector<Lab> colors(grid.size());
    cmsDoTransform(toLab.get(), grid.data(), colors.data(), static_cast<cmsUInt32Number>(grid.size()));
    auto const inks = separate(colors, [&](std::span<Ink const> probes) {
        std::vector<Ink> percent(probes.begin(), probes.end());
        for (auto& ink : percent)
            std::for_each(ink.begin(), ink.end(), [](float& part) { part *= 100; });
        std::vector<Lab> seen(percent.size());
        cmsDoTransform(
            inkToLab.get(), percent.data(), seen.data(), static_cast<cmsUInt32Number>(percent.size()));
        return seen;
    });
    std::vector<std::uint16_t> table;
    for (auto const& ink : inks) {
        for (auto const part : ink)
            table.push_back(static_cast<std::uint16_t>(std::lround(part * 65535)));
    }
    return table;
}

// A device link from sRGB to the inks of device CMYK.
Profile createSeparationLink(Engine const& engine)
{
    static auto const table = computeSeparation();
    if (table.empty())
        return nullptr;
    Profile link(cmsCreateProfilePlaceholder(engine.context()));
    Pipeline const pipeline(cmsPipelineAlloc(engine.context(), 3, 4));
    if (!link || !pipeline)
        return nullptr;
    cmsSetDeviceClass(link.get(), cmsSigLinkClass);
    cmsSetColorSpace(link.get(), cmsSigRgbData);
    cmsSetPCS(link.get(), cmsSigCmykData);
    cmsSetProfileVersion(link.get(), 4.3);
    bool const isComplete =
        cmsPipelineInsertStage(pipeline.get(), cmsAT_BEGIN,
            cmsStageAllocCLut16bit(engine.context(), kSeparationNodes, 3, 4, table.data()))
        && cmsWriteTag(link.get(), cmsSigAToB0Tag, pipeline.get());
    return isComplete ? std::move(link) : nullptr;
}

// To device CMYK by way of sRGB.
Transform createSeparation(Engine const& engine, TransformEnd from, TransformEnd to, cmsUInt32Number intent)
{
    Profile const srgb(cmsCreate_sRGBProfileTHR(engine.context()));
    auto const link = createSeparationLink(engine);
    if (!srgb || !link)
        return nullptr;
    cmsHPROFILE chain[] = {from.profile, srgb.get(), link.get()};
    return Transform(cmsCreateMultiprofileTransformTHR(
        engine.context(), chain, 3, from.format, to.format, intent, cmsFLAGS_NOCACHE));
}

// Every space on the way is reached and then left: it stands twice in the engine's list, the second time as
// the source of the next link, whose intent that is.
Transform createChain(Engine const& engine, TransformEnd from, std::span<ColorLink const> links,
    std::span<Profile const> stations, cmsUInt32Number toFormat)
{
    std::vector<cmsHPROFILE> profiles = {from.profile};
    std::vector<cmsUInt32Number> intents = {engineIntent(links.front().intent)};
    for (std::size_t i = 0; i < links.size(); ++i) {
        profiles.push_back(stations[i].get());
        intents.push_back(engineIntent(links[i].intent));
        if (i + 1 < links.size()) {
            profiles.push_back(stations[i].get());
            intents.push_back(engineIntent(links[i + 1].intent));
        }
    }
    std::vector<cmsBool> blackPoints(profiles.size(), FALSE);
    std::vector<cmsFloat64Number> adaptation(profiles.size(), 1.0);
    return Transform(cmsCreateExtendedTransform(engine.context(),
        static_cast<cmsUInt32Number>(profiles.size()), profiles.data(), blackPoints.data(), intents.data(),
        adaptation.data(), nullptr, 0, from.format, toFormat, cmsFLAGS_NOCACHE));
}

bool isDeviceCmyk(ColorSpace const& space)
{
    return space.model() == ColorModel::CMYK && !space.profile();
}

struct EngineTransform {
    std::shared_ptr<Engine> engine;
    Transform transform;
};

RowKernel engineKernel(std::shared_ptr<EngineTransform const> transform, PixelFormat from, PixelFormat to)
{
    return [transform = std::move(transform), from, to, percent = std::vector<float>()](
               std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) mutable {
        void const* source = in;
        if (isFloatCmyk(from)) {
            percent.resize(pixels * static_cast<std::size_t>(from.channels()));
            std::memcpy(percent.data(), in, percent.size() * sizeof(float));
            scaleInk(percent.data(), pixels, from, 100);
            source = percent.data();
        }
        cmsDoTransform(transform->transform.get(), source, out, static_cast<cmsUInt32Number>(pixels));
        if (isFloatCmyk(to))
            scaleInk(reinterpret_cast<float*>(out), pixels, to, 0.01f);
    };
}

RowKernel withAlpha(RowKernel colors, PixelFormat from, PixelFormat to)
{
    if (!to.hasAlpha())
        return colors;
    return [colors = std::move(colors), alpha = from.hasAlpha() ? copyAlpha(from, to) : fillAlpha(to)](
               std::uint8_t const* in, std::uint8_t* out, std::size_t pixels) {
        colors(in, out, pixels);
        alpha(in, out, pixels);
    };
}

} // namespace

Result<ColorKernel> profileTransform(
    ColoredPixels const& from, std::span<ColorLink const> links, PixelFormat to)
{
    auto const engine = std::make_shared<Engine>();
    if (!engine->context())
        return fail("out of memory");
    auto const source = TRY(open(*engine, from.space));
    std::vector<Profile> stations;
    for (auto const& link : links)
        stations.push_back(TRY(open(*engine, link.space)));
    auto const& last = links.back();
    auto* const target = stations.back().get();
    if (links.size() == 1) {
        if (auto kernel = fastKernel(source.get(), from.format, target, to, last.intent))
            return ColorKernel {withAlpha(std::move(*kernel), from.format, to)};
    }
    TransformEnd const start = {source.get(), engineFormat(from.format)};
    TransformEnd const end = {target, engineFormat(to)};
    auto transform = links.size() > 1 ? createChain(*engine, start, links, stations, end.format)
        : isDeviceCmyk(last.space)    ? createSeparation(*engine, start, end, engineIntent(last.intent))
                                      : createTransform(*engine, start, end, engineIntent(last.intent));
    if (!transform) {
        auto const& message = engine->message();
        return fail("cannot convert the colors: the {} does not work{}{}",
            nameOf(from.space.profile() && !last.space.profile() ? from.space : last.space),
            message.empty() ? "" : ": ", message);
    }
    auto shared = std::make_shared<EngineTransform const>(engine, std::move(transform));
    auto kernel = withAlpha(engineKernel(std::move(shared), from.format, to), from.format, to);
    return ColorKernel {std::move(kernel), true};
}

bool canConvertTo(ByteSpan profile)
{
    Engine const engine;
    auto const opened = openBytes(engine, profile);
    if (!opened)
        return false;
    return cmsIsMatrixShaper(opened.get()) || cmsIsTag(opened.get(), cmsSigBToA0Tag)
        || cmsIsTag(opened.get(), cmsSigBToD0Tag)
        || (cmsGetColorSpace(opened.get()) == cmsSigGrayData && cmsIsTag(opened.get(), cmsSigGrayTRCTag));
}

} // namespace velk::color
