#include "base/StandardOutput.h"
#include "canvas/Canvas.h"
#include "platform/graphics/drawing/Blend.h"
#include "platform/text/GlyphMasks.h"

#include <cmath>

namespace velk {

using graphics::AffineTransform;
using graphics::Path;
using graphics::Point;

namespace {

/// Font size in device pixels from which on text is drawn as outlines.
constexpr double kMaximumMaskedSize = 96;

// Whether the map keeps text upright and in proportion, up to what rounding leaves of a turn there and back.
bool isUpright(AffineTransform const& map)
{
    constexpr double kTolerance = 1e-9;
    auto const largest = kTolerance * map.a;
    return map.a > 0 && std::abs(map.d - map.a) <= largest && std::abs(map.b) <= largest
        && std::abs(map.c) <= largest;
}

} // namespace

std::shared_ptr<TextLine const> Canvas::lineInFont(std::string const& text) const
{
    if (m_font.empty())
        return nullptr;
    auto line = textLine(m_font, text);
    if (!line)
        printOutput("Unable to create font: '{}'\n", m_font);
    return line;
}

// The rectangle of the ink serves as the box of the outlines too: ink is drawn from nothing else. So text
// with its bottom at y differs from text with its baseline there in name only.
Point Canvas::textPosition(text::Line const& line, double x, double y) const
{
    auto const ink = line.inkBox();
    Point position {x, y};
    if (m_textAlign == "center")
        position.x -= ink.width / 2;
    else if (m_textAlign == "right" || m_textAlign == "end")
        position.x -= ink.width;

    if (m_textBaseline == "middle")
        position.y += ink.height / 2;
    else if (m_textBaseline != "alphabetic" && m_textBaseline != "bottom")
        position.y += ink.height;
    return position;
}

void Canvas::fillText(std::string const& text, double x, double y)
{
    if (!m_context || !m_fillColor)
        return;
    auto const line = lineInFont(text);
    if (!line)
        return;
    auto const position = textPosition(line->line, x, y);
    drawUpright(position, [&] {
        m_context->setFillColor(*m_fillColor);
        if (canUseMasks(*line))
            fillMasks(line->line);
        else
            m_context->fillOutline(line->line.outline());
    });
}

// Masks join the picture one by one. A shadow, and modes that clear what lies around a shape, need the whole
// line at once.
bool Canvas::canUseMasks(TextLine const& line) const
{
    auto const& map = m_context->transform();
    return isUpright(map) && map.a * line.fontSize <= kMaximumMaskedSize && !m_context->castsShadow()
        && !changesOutside(m_context->blendMode());
}

void Canvas::fillMasks(text::Line const& line)
{
    auto const map = m_context->transform();
    for (auto const& glyph : line.glyphs()) {
        auto const origin = apply(map, glyph.origin);
        auto const placed = text::GlyphMasks::shared().place(glyph, map.a, {origin.x, m_height - origin.y});
        if (placed) {
            m_context->fillMask(*placed->mask, placed->dx, placed->dy);
            continue;
        }
        Path outline;
        outline.append(*glyph.outline, AffineTransform::translation(glyph.origin.x, glyph.origin.y));
        m_context->fillOutline(outline);
    }
}

void Canvas::strokeText(std::string const& text, double x, double y)
{
    if (!m_context || !m_strokeColor)
        return;
    auto const line = lineInFont(text);
    if (!line)
        return;
    auto const position = textPosition(line->line, x, y);
    drawUpright(position, [&] {
        m_context->setStrokeColor(*m_strokeColor);
        m_context->strokeOutline(line->line.outline(), m_lineWidth / 100 * line->fontSize);
    });
}

SizeValue Canvas::measureText(std::string const& text) const
{
    auto line = lineInFont(text);
    if (!line)
        line = textLineInFallbackFont(text);
    auto const ink = line->line.inkBox();
    return {ink.width, ink.height};
}

} // namespace velk
