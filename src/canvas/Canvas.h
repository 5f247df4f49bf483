#pragma once

#include "canvas/Gradient.h"
#include "canvas/ImageData.h"
#include "canvas/PatternObject.h"
#include "canvas/TextLines.h"
#include "platform/graphics/drawing/BitmapContext.h"
#include "script/ExportedObject.h"
#include "script/GeometryValues.h"
#include "script/Image.h"
#include "script/SnapshotSource.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velk {

/// `Canvas` of scripts: the element and the 2D context of HTML Canvas in one object. User space has its
/// origin at the top-left corner, y downwards, one unit a pixel. Everything is drawn at once.
///
/// The properties are what was assigned last. What is in effect is the state of the bitmap context, to which
/// the setters pass their values on: `save` and `restore` act on that and leave the properties alone.
///
/// Nothing that a script passes is an error: what makes no sense draws nothing. Without pixels (a size of
/// zero, or one that is not possible) all drawing does nothing.
class Canvas final : public ExportedObject, public SnapshotSource {
public:
    static js::ClassDescription const kClass;

    /// With a width or a height of 0, both are those of the configured size.
    Canvas(std::uint32_t width, std::uint32_t height);

    js::ClassDescription const& classDescription() const override { return kClass; }
    std::size_t memorySize() const override;
    std::optional<Snapshot> snapshot() const override;

    std::int32_t width() const { return m_width; }
    std::int32_t height() const { return m_height; }
    /// Null when there are no pixels.
    graphics::BitmapContext* bitmapContext() const { return m_context.get(); }
    js::Value getContext();

    // Canvas.cpp: the drawing state.

    js::Value fillStyle() const { return m_fillStyle; }
    js::Value strokeStyle() const { return m_strokeStyle; }
    js::Value shadowColor() const;
    double shadowBlur() const { return m_shadowBlur; }
    double shadowOffsetX() const { return m_shadowOffsetX; }
    double shadowOffsetY() const { return m_shadowOffsetY; }
    std::string const& lineCap() const { return m_lineCap; }
    std::string const& lineJoin() const { return m_lineJoin; }
    double lineWidth() const { return m_lineWidth; }
    double miterLimit() const { return m_miterLimit; }
    js::Value lineDash() const;
    std::string const& font() const { return m_font; }
    std::string const& textAlign() const { return m_textAlign; }
    std::string const& textBaseline() const { return m_textBaseline; }
    double globalAlpha() const { return m_globalAlpha; }
    std::string const& globalCompositeOperation() const { return m_globalCompositeOperation; }

    /// A colour string, a `Gradient` or a `PatternObject`; anything else fills nothing.
    void setFillStyle(js::Value const& style);
    /// Only colour strings take effect on lines.
    void setStrokeStyle(js::Value const& style);
    /// What is no string is ignored.
    void setShadowColor(js::Value const& color);
    void setShadowBlur(js::Value const& blur);
    /// In device pixels, y *upwards*.
    void setShadowOffsetX(js::Value const& offset);
    void setShadowOffsetY(js::Value const& offset);
    void setLineCap(js::Value const& cap);
    void setLineJoin(js::Value const& join);
    void setLineWidth(js::Value const& width);
    void setMiterLimit(js::Value const& limit);
    void setLineDash(js::Value const& lengths);
    void setFont(js::Value const& font) { m_font = font.toString(); }
    void setTextAlign(js::Value const& align) { m_textAlign = align.toString(); }
    void setTextBaseline(js::Value const& baseline) { m_textBaseline = baseline.toString(); }
    void setGlobalAlpha(js::Value const& alpha);
    void setGlobalCompositeOperation(js::Value const& operation);

    void save();
    void restore();

    // CanvasPaths.cpp: transforms, paths and painting.

    void scale(double x, double y);
    void rotate(double angle);
    void translate(double x, double y);
    void transform(double a, double b, double c, double d, double e, double f);
    /// Leaves a transform alone that cannot be undone, such as a scale by 0.
    void setTransform(double a, double b, double c, double d, double e, double f);

    void beginPath();
    void closePath();
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    void quadraticCurveTo(double cpx, double cpy, double x, double y);
    void bezierCurveTo(double cp1x, double cp1y, double cp2x, double cp2y, double x, double y);
    /// Clockwise as it is seen.
    void arc(double x, double y, double radius, double startAngle, double endAngle);
    void arcTo(double x1, double y1, double x2, double y2, double radius);
    void rect(double x, double y, double width, double height);
    bool isPointInPath(double x, double y) const;

    /// These consume the path, by the non-zero winding rule. A gradient without colours and a style that
    /// fills nothing leave it.
    void fill();
    void stroke();
    /// Without a path, clips to the one that was stroked last.
    void clip();

    /// A gradient takes the place of the path for this; a pattern fills nothing.
    void fillRect(double x, double y, double width, double height);
    /// Lines of odd width (rounded down) are moved right and down by half of it.
    void strokeRect(double x, double y, double width, double height);
    void clearRect(double x, double y, double width, double height);

    // CanvasText.cpp

    void fillText(std::string const& text, double x, double y);
    /// `lineWidth` counts as percent of the font's size.
    void strokeText(std::string const& text, double x, double y);
    /// Width and height of the ink.
    SizeValue measureText(std::string const& text) const;
    js::Value measureTextForScript(std::string const& text) const { return toScript(measureText(text)); }

    // CanvasImages.cpp: images, pixels, and what fills shapes.

    using ImageArguments = std::array<js::Value, 8>;

    /// As HTML Canvas: place; place and size; or part, place and size. Without the place's size, the
    /// image's. What a part has outside of the image is left out and the rest drawn in the whole size.
    void drawImage(std::shared_ptr<Image> const& image, ImageArguments const& arguments);
    /// An empty block of that size, or a copy of an `ImageData`.
    std::shared_ptr<ImageData> createImageData(js::Value const& widthOrData, std::uint32_t height) const;
    std::shared_ptr<ImageData> getImageData(
        js::Value const& x, js::Value const& y, js::Value const& width, js::Value const& height) const;
    /// Draws the pixels like an image.
    void putImageData(std::shared_ptr<ImageData> const& data, double x, double y);

    std::shared_ptr<Gradient> createLinearGradient(double x0, double y0, double x1, double y1) const;
    std::shared_ptr<Gradient> createRadialGradient(
        double x0, double y0, double r0, double x1, double y1, double r1) const;
    std::shared_ptr<PatternObject> createPattern(
        std::shared_ptr<Image> const& image, std::string const& style) const;

private:
    void setDefaults();
    void applyOriginTransform();
    void concatenate(graphics::AffineTransform const& map);
    void updateShadowInformation();

    /// Calls `draw` with the origin of user space at `origin` and y upwards, as text and images have it;
    /// not for an origin that is no number.
    template <typename Draw> void drawUpright(graphics::Point origin, Draw const& draw)
    {
        if (!std::isfinite(origin.x) || !std::isfinite(origin.y))
            return;
        m_context->save();
        m_context->concatenate({.d = -1, .tx = origin.x, .ty = origin.y});
        draw();
        m_context->restore();
    }
    void fillWithGradient(Gradient const& gradient);
    void fillWithPattern(PatternObject const& pattern);

    std::shared_ptr<TextLine const> lineInFont(std::string const& text) const;
    graphics::Point textPosition(text::Line const& line, double x, double y) const;
    bool canUseMasks(TextLine const& line) const;
    void fillMasks(text::Line const& line);

    std::int32_t m_width = 0, m_height = 0;
    std::vector<double> m_lineDash;
    double m_globalAlpha = 1;
    std::string m_globalCompositeOperation;
    js::Value m_fillStyle, m_strokeStyle;
    std::optional<std::string> m_shadowColor;
    double m_shadowBlur = 0, m_shadowOffsetX = 0, m_shadowOffsetY = 0;
    std::string m_lineCap, m_lineJoin;
    double m_lineWidth = 1;
    double m_miterLimit = 0;
    std::string m_font, m_textAlign, m_textBaseline;
    std::unique_ptr<graphics::BitmapContext> m_context;
    /// Of the styles, when they are colour strings; not saved, unlike the colours of the context.
    std::optional<graphics::Color> m_fillColor, m_strokeColor;
    /// The path that was stroked last, in the context's base space.
    graphics::Path m_lastPath;
};

} // namespace velk
