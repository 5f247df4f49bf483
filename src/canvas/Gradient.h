#pragma once

#include "canvas/GradientStop.h"
#include "platform/graphics/drawing/BitmapContext.h"
#include "script/ExportedObject.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velk {

/// `Gradient` of scripts: a fill style of colours between two points or two circles in the user space of the
/// moment when it is used.
class Gradient final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    enum Type : std::int32_t { Linear = 0, Radial = 1 };

    explicit Gradient(Type type)
        : m_type(type)
    {
    }
    Gradient(graphics::Point start, graphics::Point end);
    Gradient(graphics::Point start, double startRadius, graphics::Point end, double endRadius);

    js::ClassDescription const& classDescription() const override { return kClass; }

    Type type() const { return m_type; }

    /// Appends a stop, whatever its offset and colour string are.
    void addColorStop(double offset, std::string const& color);

    /// The gradient as it is drawn, or null when no stop has a colour. Stops with an empty colour string and
    /// with an offset that is no number count for nothing. Good until the next stop is added.
    graphics::Gradient const* gradientRef() const;

private:
    graphics::Gradient build() const;

    Type m_type;
    graphics::Point m_startPt, m_endPt;
    double m_startRadius = 0, m_endRadius = 0;
    std::vector<GradientStop> m_stops;
    mutable std::optional<graphics::Gradient> m_gradientRef;
};

} // namespace velk
