#include "canvas/Gradient.h"

#include "canvas/ColorString.h"

#include <cmath>

namespace velk {

Gradient::Gradient(graphics::Point start, graphics::Point end)
    : m_type(Linear)
    , m_startPt(start)
    , m_endPt(end)
{
}

Gradient::Gradient(graphics::Point start, double startRadius, graphics::Point end, double endRadius)
    : m_type(Radial)
    , m_startPt(start)
    , m_endPt(end)
    , m_startRadius(startRadius)
    , m_endRadius(endRadius)
{
}

void Gradient::addColorStop(double offset, std::string const& color)
{
    m_gradientRef.reset();
    m_stops.push_back({color, offset});
}

graphics::Gradient Gradient::build() const
{
    using Kind = graphics::Gradient::Kind;
    graphics::Gradient gradient {
        .kind = m_type == Linear ? Kind::Linear : Kind::Radial,
        .start = m_startPt,
        .end = m_endPt,
        .startRadius = m_startRadius,
        .endRadius = m_endRadius,
        .stops = {},
    };
    for (auto const& stop : m_stops) {
        auto const color = CreateColorFromString(stop.colorStyle);
        if (color && !std::isnan(stop.location))
            gradient.stops.push_back({stop.location, *color});
    }
    return gradient;
}

graphics::Gradient const* Gradient::gradientRef() const
{
    if (!m_gradientRef)
        m_gradientRef = build();
    return m_gradientRef->stops.empty() ? nullptr : &*m_gradientRef;
}

} // namespace velk
