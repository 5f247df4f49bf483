#pragma once

#include "platform/graphics/drawing/Path.h"

#include <algorithm>
#include <limits>

namespace velk::text {

/// Grows around points; at first around none.
class InkExtent {
public:
    bool isEmpty() const { return m_minimumX > m_maximumX; }
    /// All zeros when empty.
    graphics::FloatRect rect() const
    {
        if (isEmpty())
            return {};
        return {m_minimumX, m_minimumY, m_maximumX - m_minimumX, m_maximumY - m_minimumY};
    }

    void include(graphics::Point point)
    {
        m_minimumX = std::min(m_minimumX, point.x);
        m_minimumY = std::min(m_minimumY, point.y);
        m_maximumX = std::max(m_maximumX, point.x);
        m_maximumY = std::max(m_maximumY, point.y);
    }
    /// Includes `other`, moved.
    void include(InkExtent const& other, graphics::Point by)
    {
        if (other.isEmpty())
            return;
        include({other.m_minimumX + by.x, other.m_minimumY + by.y});
        include({other.m_maximumX + by.x, other.m_maximumY + by.y});
    }

private:
    static constexpr double kNothing = std::numeric_limits<double>::infinity();
    double m_minimumX = kNothing, m_minimumY = kNothing, m_maximumX = -kNothing, m_maximumY = -kNothing;
};

/// Around the curves themselves, which reach less far than their control points.
InkExtent inkExtent(graphics::Path const& path);

} // namespace velk::text
