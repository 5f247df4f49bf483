#pragma once

#include "platform/graphics/drawing/Coverage.h"
#include "platform/graphics/drawing/CoverageSink.h"
#include "platform/graphics/drawing/Rasterizer.h"

#include <optional>

namespace velk::graphics {

/// The part that both rectangles share.
IntRect intersection(IntRect const& a, IntRect const& b);
/// The pixels of `within` that the box touches.
IntRect pixelsOf(Box const& box, IntRect const& within);

/// What a drawing operation covers, in device space (y downwards).
class Shape {
public:
    virtual ~Shape() = default;
    /// The pixels of `within` that the shape, moved by `shift`, may touch.
    virtual IntRect bounds(IntRect const& within, Point shift) const = 0;
    /// The coverage of the moved shape in `area`, which lies in its bounds.
    virtual void cover(IntRect const& area, Point shift, CoverageSink& sink) const = 0;
    /// The upright rectangle that the shape is, if it is one.
    virtual std::optional<Box> rectangle() const { return std::nullopt; }
};

/// An upright rectangle.
class RectangleShape final : public Shape {
public:
    explicit RectangleShape(Box const& box);
    IntRect bounds(IntRect const& within, Point shift) const override;
    void cover(IntRect const& area, Point shift, CoverageSink& sink) const override;
    std::optional<Box> rectangle() const override { return m_box; }
    /// Whether its edges lie between pixels.
    bool isAligned() const;

private:
    Box m_box;
};

/// An upright rectangle under a Gaussian of at least a pixel: the product of a profile along x and one along
/// y.
class BlurredRectangleShape final : public Shape {
public:
    BlurredRectangleShape(Box const& box, double deviation);
    IntRect bounds(IntRect const& within, Point shift) const override;
    void cover(IntRect const& area, Point shift, CoverageSink& sink) const override;

private:
    Box m_box;
    double m_deviation;
};

/// The inside of a path by the non-zero winding rule. Refers to all that it is given.
class FilledShape final : public Shape {
public:
    FilledShape(Path const& path, AffineTransform const& pathToDevice, Rasterizer& rasterizer);
    IntRect bounds(IntRect const& within, Point shift) const override;
    void cover(IntRect const& area, Point shift, CoverageSink& sink) const override;

private:
    Path const& m_path;
    AffineTransform m_pathToDevice;
    Rasterizer& m_rasterizer;
};

/// A line along a path. Refers to all that it is given.
class StrokedShape final : public Shape {
public:
    StrokedShape(Path const& path, AffineTransform const& pathToDevice, StrokeStyle const& style,
        AffineTransform const& userToDevice, Rasterizer& rasterizer);
    IntRect bounds(IntRect const& within, Point shift) const override;
    void cover(IntRect const& area, Point shift, CoverageSink& sink) const override;

private:
    Path const& m_path;
    AffineTransform m_pathToDevice;
    StrokeStyle const& m_style;
    AffineTransform m_userToDevice;
    Rasterizer& m_rasterizer;
};

/// A mask, moved by whole pixels. Refers to the mask.
class MaskShape final : public Shape {
public:
    MaskShape(CoverageMask const& mask, std::int32_t dx, std::int32_t dy);
    IntRect bounds(IntRect const& within, Point shift) const override;
    void cover(IntRect const& area, Point shift, CoverageSink& sink) const override;

private:
    CoverageMask const& m_mask;
    Point m_place; // of its top-left corner
};

/// The rectangle that a path consists of, when it is an upright one and nothing else.
std::optional<Box> uprightRectangle(Path const& path, AffineTransform const& pathToDevice);

/// The coverage of the moved shape in `within`.
CoverageMask maskOf(Shape const& shape, IntRect const& within, Point shift = {});

} // namespace velk::graphics
