// The module velk-codec-raw: camera files, developed by LibRaw.

#include "base/Reporting.h"
#include "modules/raw/RawDecoder.h"
#include "modules/raw/RawMetadata.h"
#include "platform/codec/Codec.h"
#include "platform/color/ColorConversion.h"
#include "platform/color/LinearLight.h"
#include "platform/graphics/Pipeline.h"

#include <atomic>

namespace velk::codec::raw {

using namespace graphics;

namespace {

constexpr std::string_view kDng = "com.adobe.raw-image";
constexpr std::string_view kCameraRaw = "public.camera-raw-image";
constexpr std::string_view kDictionary = "{Raw}";

// Display P3 shows nearly all that a camera sees and is what phones write; 16 bits keep the room for edits.
ColorSpace pictureSpace(bool isGray)
{
    return color::withSrgbCurve(isGray ? color::linearGraySpace() : color::linearRgbSpace(color::kDisplayP3));
}

class RawSource final : public ImageSource {
public:
    RawSource(std::string_view type, InputFile file)
        : ImageSource(type, std::move(file))
    {
    }

    Result<void> load()
    {
        auto decoder = TRY(RawDecoder::open(file()));
        auto& description = editDescription();
        description.isInterpretation = true;
        description.metadata = metadataOf(file(), decoder.data());
        auto& properties = subDictionary(description.formatProperties, kDictionary);
        set(properties, "RawWidth", decoder.data().sizes.raw_width);
        set(properties, "RawHeight", decoder.data().sizes.raw_height);

        auto const space = pictureSpace(decoder.isGray());
        description.info.layout = {
            TRY(decoder.uprightSize()), {ComponentType::UInt16, space.model(), Alpha::None}, space};
        description.info.bitsPerComponent = 16;
        return {};
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        constexpr double kHalf = 0.5;
        auto const& layout = description().info.layout;
        bool const isHalf = request.scale <= kHalf;
        auto decoder = TRY(RawDecoder::open(file()));
        auto developed = TRY(decoder.develop(isHalf, [this] { reportDamage(); }));
        if (developed.format().model != layout.format.model)
            return fail("the raw file does not have the colors that it announces");
        auto rows =
            TRY(color::convertColors(rowsOf(std::make_shared<PixelBuffer const>(std::move(developed))),
                {.format = layout.format,
                    .space = layout.space,
                    .intent = RenderingIntent::Relative,
                    .readsDevice = true}));
        auto const full = layout.size;
        // At full size the picture is to be exactly as large as announced.
        if (!isHalf && rows->size() != full)
            rows = cropOrPad(
                std::move(rows), {0, 0, full.width, full.height}, Bytes(layout.format.bytesPerPixel()));
        return DecodedRows {
            std::move(rows), {0, 0, static_cast<double>(full.width), static_cast<double>(full.height)}};
    }

private:
    void reportDamage() const
    {
        if (!m_reported.exchange(true))
            reportWarning("{}: the image data is damaged or incomplete\n", path());
    }

    mutable std::atomic<bool> m_reported = false;
};

Result<std::shared_ptr<ImageSource>> openAs(std::string_view type, InputFile file)
{
    auto source = std::make_shared<RawSource>(type, std::move(file));
    TRY(source->load());
    return source;
}

constinit Codec const kCodecs[] = {
    {.type = kDng, .open = [](InputFile file) { return openAs(kDng, std::move(file)); }},
    {.type = kCameraRaw, .open = [](InputFile file) { return openAs(kCameraRaw, std::move(file)); }},
};

} // namespace

} // namespace velk::codec::raw

extern "C" __attribute__((visibility("default"))) velk::codec::Codec const* velkModuleCodec(
    std::string_view type)
{
    for (auto const& codec : velk::codec::raw::kCodecs) {
        if (codec.type == type)
            return &codec;
    }
    return nullptr;
}
