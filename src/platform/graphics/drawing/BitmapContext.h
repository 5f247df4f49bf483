#pragma once

#include "base/Result.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/drawing/Coverage.h"
#include "platform/graphics/drawing/Path.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace velk::graphics {

class Painter;

/// A colour in Display P3 (as CSS Color 4 names it) with straight alpha; nominally 0 to 1, clamped when
/// drawn.
struct Color {
    double red = 0, green = 0, blue = 0, alpha = 1;

    bool operator==(Color const&) const = default;
};

/// How drawing joins what is there: the Porter-Duff operators and a lightening one, which takes the larger of
/// the two in each component and composites that as Normal. As in HTML Canvas, the operators that change what
/// lies outside of a shape (SourceIn, SourceOut, DestinationIn, DestinationAtop, Copy) do so in the whole
/// clip.
enum class BlendMode : std::uint8_t {
    Normal,
    SourceAtop,
    SourceIn,
    SourceOut,
    DestinationOver,
    DestinationAtop,
    DestinationIn,
    DestinationOut,
    Lighten,
    Copy,
    Xor,
};

/// Drawn before each drawing operation, in the shape of its coverage.
struct Shadow {
    /// In device pixels, y upwards, independent of the transform.
    double offsetX = 0, offsetY = 0;
    /// Twice the standard deviation of the Gaussian, in device pixels; not above 0 = sharp.
    double blur = 0;
    Color color;
};

struct GradientStop {
    double location = 0;
    Color color;
};

/// A blend of colours along a line or between two circles, extended at both ends; user space. Stops out of
/// order take effect in ascending order of their locations, the earlier first where they are equal; locations
/// are clamped to 0..1.
struct Gradient {
    enum class Kind : std::uint8_t { Linear, Radial };
    Kind kind = Kind::Linear;
    Point start, end;
    double startRadius = 0, endRadius = 0;
    std::vector<GradientStop> stops;
};

/// A surface of 8-bit premultiplied RGBA in Display P3, and the state of drawing on it. The base space has
/// its origin at the bottom-left corner, y upwards, one unit a pixel. A drawing operation draws at once.
/// Numbers that are not finite draw nothing; no operation fails.
class BitmapContext {
public:
    /// A transparent surface; an error when the size is not possible or memory is short.
    static Result<std::unique_ptr<BitmapContext>> create(Size size);
    /// A surface over pixels in `layout`, at least as long-lived as the context.
    static std::unique_ptr<BitmapContext> over(std::uint8_t* pixels, Size size, std::size_t stride);
    ~BitmapContext();

    /// The layout of all surfaces: UInt8 RGB, premultiplied alpha, Display P3.
    static PixelLayout layout(Size size);

    Size size() const;
    std::uint8_t const* row(std::int32_t y) const; ///< row 0 is the top one
    /// A copy of the pixels as they are now.
    Result<Image> snapshot() const;

    /// The state: transform, clip, colours, stroke style, alpha, blend mode and shadow; not the path.
    void save();
    void restore(); ///< nothing without a matching `save`

    AffineTransform const& transform() const; ///< user space to base space
    void concatenate(AffineTransform const& map); ///< applied before the present transform
    void resetTransform(); ///< to base space

    void setFillColor(Color const& color);
    void setStrokeColor(Color const& color);
    void setLineWidth(double width);
    void setLineCap(LineCap cap);
    void setLineJoin(LineJoin join);
    void setMiterLimit(double limit);
    void setLineDash(double phase, std::vector<double> lengths);
    void setAlpha(double alpha); ///< clamped to 0..1 when drawing; not finite = ignored
    void setBlendMode(BlendMode mode);
    void setShadow(Shadow const& shadow);
    BlendMode blendMode() const;
    bool castsShadow() const; ///< whether the shadow could be seen

    /// The current path, in base space: points are mapped when they are added. Of arguments in user space.
    Path const& path() const;
    void beginPath();
    void setPath(Path path); ///< in base space
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    void quadTo(double cx, double cy, double x, double y);
    void cubicTo(double c1x, double c1y, double c2x, double c2y, double x, double y);
    void closePath();
    void addRect(FloatRect const& rect);
    void addArc(double x, double y, double radius, double startAngle, double endAngle);
    /// An arc tangent to the lines (current point, (x1, y1)) and ((x1, y1), (x2, y2)).
    void addArcTo(double x1, double y1, double x2, double y2, double radius);
    bool pathContains(double x, double y) const;
    /// The rectangle around the path's points in user space; empty without points.
    FloatRect pathBounds() const;

    /// Non-zero winding; these three consume the current path.
    void fillPath();
    void strokePath();
    void clipToPath();

    /// These leave the current path alone; rectangles and `outline` in user space.
    void fillRect(FloatRect const& rect);
    void strokeRect(FloatRect const& rect);
    void clearRect(FloatRect const& rect);
    void fillOutline(Path const& outline);
    void strokeOutline(Path const& outline, double width);

    /// Fills `mask`, moved by whole pixels, with the fill colour: a glyph from a cache. Device pixels, y
    /// downwards from the top-left corner. A shape of several masks casts its shadow mask by mask.
    void fillMask(CoverageMask const& mask, std::int32_t dx, std::int32_t dy);

    /// Fills the whole clip.
    void drawGradient(Gradient const& gradient);
    /// Fills and consumes the current path with copies of `tile`, one tile pixel a device pixel, the
    /// lower-left corner of one at `phase` (base space, rounded to whole pixels), repeated in both
    /// directions. `alpha` multiplies the state's alpha.
    void fillPathWithPattern(Image const& tile, Point phase, double alpha);
    /// Draws `part` of an image (pixels, y downwards from its top-left corner; cut at its edges, the
    /// destination accordingly) into `destination` (user space, y upwards: the image's top edge is at the
    /// larger y). Shrinking averages, enlarging interpolates; colours are converted. An image that cannot be
    /// decoded draws nothing.
    void drawImage(Image const& image, FloatRect const& part, FloatRect const& destination);

private:
    explicit BitmapContext(std::unique_ptr<Painter> painter);
    std::unique_ptr<Painter> m_painter;
};

} // namespace velk::graphics
