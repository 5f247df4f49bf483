// The module velk-codec-svg: Scalable Vector Graphics, drawn by librsvg.

#include "modules/VectorRows.h"
#include "platform/codec/Codec.h"

#include <librsvg/rsvg.h>

#include <memory>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "public.svg-image";
constexpr std::string_view kDictionary = "{SVG}";
constexpr double kCssPixelsPerInch = 96;
constexpr std::uint64_t kLargestFile = 256 << 20;

struct Release {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(GError* error) const { g_error_free(error); }
};
using Handle = std::unique_ptr<RsvgHandle, Release>;
using Failure = std::unique_ptr<GError, Release>;

// Without a base file the library follows no reference out of the picture, be it to a file or to the network.
Result<Handle> parse(ByteSpan bytes)
{
    GError* error = nullptr;
    Handle handle(rsvg_handle_new_from_data(bytes.data(), bytes.size(), &error));
    Failure const failure(error);
    if (!handle)
        return fail("the SVG cannot be read: {}", failure ? failure->message : "unknown reason");
    rsvg_handle_set_dpi(handle.get(), kCssPixelsPerInch);
    return handle;
}

struct CssSize {
    double width = 0, height = 0;

    bool isPositive() const
    {
        return std::isfinite(width) && std::isfinite(height) && width > 0 && height > 0;
    }
};

// Everything that is drawn, from the origin on.
CssSize inkSize(RsvgHandle* handle)
{
    RsvgRectangle ink = {};
    if (!rsvg_handle_get_geometry_for_element(handle, nullptr, &ink, nullptr, nullptr))
        return {};
    return {ink.x + ink.width, ink.y + ink.height};
}

// A length that is a share of a viewport which nobody gives is that share of the view box.
double lengthIn(RsvgLength const& length, double viewBox)
{
    return length.unit == RSVG_UNIT_PERCENT ? length.length * viewBox : 0;
}

// CSS Images 3, 5.2: the natural size; else that of the view box; else of what is drawn; else that of a
// replaced element (CSS 2.1, 10.3.2).
CssSize cssSize(RsvgHandle* handle)
{
    CssSize size;
    if (rsvg_handle_get_intrinsic_size_in_pixels(handle, &size.width, &size.height) && size.isPositive())
        return size;
    gboolean hasWidth = FALSE, hasHeight = FALSE, hasViewBox = FALSE;
    RsvgLength width = {}, height = {};
    RsvgRectangle viewBox = {};
    rsvg_handle_get_intrinsic_dimensions(
        handle, &hasWidth, &width, &hasHeight, &height, &hasViewBox, &viewBox);
    if (hasViewBox && CssSize {viewBox.width, viewBox.height}.isPositive()) {
        size = {lengthIn(width, viewBox.width), lengthIn(height, viewBox.height)};
        return size.isPositive() ? size : CssSize {viewBox.width, viewBox.height};
    }
    size = inkSize(handle);
    return size.isPositive() ? size : CssSize {300, 150};
}

class SvgSource final : public ImageSource {
public:
    explicit SvgSource(InputFile file)
        : ImageSource(kType, std::move(file))
    {
    }

    Result<void> load()
    {
        m_bytes = TRY(file().readAll(kLargestFile));
        auto const handle = TRY(parse(m_bytes));
        m_size = cssSize(handle.get());
        auto const size = TRY(vectorSize(m_size.width, m_size.height, kCssPixelsPerInch));
        auto& description = editDescription();
        description.isInterpretation = true;
        description.info.layout = {
            size, {.alpha = Alpha::Premultiplied}, ColorSpace::device(ColorModel::RGB)};
        description.resolution = Resolution {kVectorResolution, kVectorResolution};
        auto& properties = subDictionary(description.formatProperties, kDictionary);
        set(properties, "Width", m_size.width);
        set(properties, "Height", m_size.height);
        return {};
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        auto layout = description().info.layout;
        auto const full = layout.size;
        layout.size = drawnSize(full, request);
        // A handle serves one thread.
        auto handle = std::shared_ptr<RsvgHandle>(TRY(parse(m_bytes)));
        auto rows = std::make_unique<VectorRows>(
            layout, [handle = std::move(handle), css = m_size, size = layout.size](cairo_t* context) {
                return draw(handle.get(), css, size, context);
            });
        return DecodedRows {
            std::move(rows), {0, 0, static_cast<double>(full.width), static_cast<double>(full.height)}};
    }

private:
    static Result<void> draw(RsvgHandle* handle, CssSize const& css, Size size, cairo_t* context)
    {
        cairo_scale(context, size.width / css.width, size.height / css.height);
        RsvgRectangle const viewport = {0, 0, css.width, css.height};
        GError* error = nullptr;
        bool const isDrawn = rsvg_handle_render_document(handle, context, &viewport, &error);
        Failure const failure(error);
        if (!isDrawn)
            return fail("the SVG cannot be drawn: {}", failure ? failure->message : "unknown reason");
        return {};
    }

    Bytes m_bytes;
    CssSize m_size;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto source = std::make_shared<SvgSource>(std::move(file));
    TRY(source->load());
    return source;
}

constinit Codec const kCodec = {.type = kType, .open = open};

} // namespace

} // namespace velk::codec

extern "C" __attribute__((visibility("default"))) velk::codec::Codec const* velkModuleCodec(
    std::string_view type)
{
    return type == velk::codec::kType ? &velk::codec::kCodec : nullptr;
}
