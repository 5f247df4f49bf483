#pragma once

#include "platform/graphics/drawing/BitmapContext.h"
#include "platform/graphics/drawing/Compositor.h"

#include <vector>

namespace velk::graphics {

/// What `save` keeps. A copy is cheap: masks of clips are shared.
struct DrawingState {
    AffineTransform transform;
    Clip clip;
    Color fillColor {0, 0, 0, 1};
    Color strokeColor {0, 0, 0, 1};
    StrokeStyle stroke;
    double alpha = 1;
    BlendMode mode = BlendMode::Normal;
    Shadow shadow {.color = {0, 0, 0, 0}};
};

/// The states below the current one. Saving again what was just saved costs a count.
class StateStack {
public:
    explicit StateStack(DrawingState initial)
        : m_current(std::move(initial))
    {
    }

    DrawingState const& current() const { return m_current; }
    /// To change it.
    DrawingState& edit()
    {
        m_isSaved = false;
        return m_current;
    }

    void save()
    {
        if (m_isSaved)
            ++m_saved.back().count;
        else
            m_saved.push_back({m_current, 1});
        m_isSaved = true;
    }

    void restore()
    {
        if (m_saved.empty())
            return;
        auto& last = m_saved.back();
        if (last.count > 1) {
            --last.count;
            if (!m_isSaved)
                m_current = last.state;
            m_isSaved = true;
        } else {
            m_current = std::move(last.state);
            m_saved.pop_back();
            m_isSaved = false;
        }
    }

private:
    struct Saved {
        DrawingState state;
        std::size_t count;
    };

    DrawingState m_current;
    std::vector<Saved> m_saved;
    bool m_isSaved = false; // the last saved state is the current one
};

} // namespace velk::graphics
