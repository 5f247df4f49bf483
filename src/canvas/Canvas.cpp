#include "canvas/Canvas.h"

#include "canvas/ColorString.h"
#include "script/Configuration.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

namespace velk {

using graphics::BitmapContext;
using graphics::BlendMode;
using graphics::Color;
using graphics::LineCap;
using graphics::LineJoin;

namespace {

template <typename T> struct Word {
    std::string_view word;
    T meaning;
};

constexpr Word<LineCap> kLineCaps[] = {
    {"round", LineCap::Round},
    {"square", LineCap::Square},
};

constexpr Word<LineJoin> kLineJoins[] = {
    {"round", LineJoin::Round},
    {"miter", LineJoin::Miter},
};

constexpr Word<BlendMode> kBlendModes[] = {
    {"source-atop", BlendMode::SourceAtop},
    {"source-in", BlendMode::SourceIn},
    {"source-out", BlendMode::SourceOut},
    {"destination-over", BlendMode::DestinationOver},
    {"destination-atop", BlendMode::DestinationAtop},
    {"destination-in", BlendMode::DestinationIn},
    {"destination-out", BlendMode::DestinationOut},
    {"lighter", BlendMode::Lighten},
    {"copy", BlendMode::Copy},
    {"xor", BlendMode::Xor},
};

template <typename T> T meaningOf(std::string_view word, std::span<Word<T> const> words, T otherwise)
{
    auto const found = std::ranges::find(words, word, &Word<T>::word);
    return found == words.end() ? otherwise : found->meaning;
}

char lowerCase(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// A configured width or height, truncated; 0 when it is no possible one.
std::int32_t wholePixels(double size)
{
    return size > 0 && size <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(size) : 0;
}

std::optional<Color> styleColor(js::Value const& style)
{
    auto const* text = style.asString();
    return text ? CreateColorFromString(*text) : std::nullopt;
}

} // namespace

Canvas::Canvas(std::uint32_t width, std::uint32_t height)
    : m_width(static_cast<std::int32_t>(width))
    , m_height(static_cast<std::int32_t>(height))
{
    if (width == 0 || height == 0) {
        auto const configured = Configuration::sharedInstance()->size();
        m_width = wholePixels(configured.width);
        m_height = wholePixels(configured.height);
    }
    if (auto context = BitmapContext::create({m_width, m_height}))
        m_context = *std::move(context);
    setDefaults();
    applyOriginTransform();
}

void Canvas::setDefaults()
{
    setStrokeStyle("black");
    setFillStyle("black");
    setLineWidth(1.0);
    setLineCap("butt");
    setLineJoin("miter");
    setLineDash({});
    setFont("12pt Helvetica");
    setTextAlign("left");
    setTextBaseline("alphabetic");
    setGlobalAlpha(1.0);
    setGlobalCompositeOperation("source-over");
}

std::size_t Canvas::memorySize() const
{
    constexpr std::size_t kBytesPerPixel = 4;
    return m_context ? static_cast<std::size_t>(m_context->size().pixelCount()) * kBytesPerPixel : 0;
}

std::optional<Snapshot> Canvas::snapshot() const
{
    auto image = m_context ? m_context->snapshot() : fail("no pixels");
    if (!image)
        return std::nullopt;
    return Snapshot {.image = *std::move(image), .memory = memorySize()};
}

js::Value Canvas::getContext()
{
    return js::Value(shared_from_this());
}

js::Value Canvas::shadowColor() const
{
    return m_shadowColor ? js::Value(*m_shadowColor) : js::Value(nullptr);
}

js::Value Canvas::lineDash() const
{
    return js::Value::list({m_lineDash.begin(), m_lineDash.end()});
}

void Canvas::setFillStyle(js::Value const& style)
{
    m_fillStyle = style;
    m_fillColor = styleColor(style);
    if (m_context && m_fillColor)
        m_context->setFillColor(*m_fillColor);
}

void Canvas::setStrokeStyle(js::Value const& style)
{
    m_strokeStyle = style;
    m_strokeColor = styleColor(style);
    if (m_context && m_strokeColor)
        m_context->setStrokeColor(*m_strokeColor);
}

void Canvas::setShadowColor(js::Value const& color)
{
    auto const* text = color.asString();
    if (!text)
        return;
    m_shadowColor = *text;
    updateShadowInformation();
}

void Canvas::setShadowBlur(js::Value const& blur)
{
    m_shadowBlur = blur.toNumber();
    updateShadowInformation();
}

void Canvas::setShadowOffsetX(js::Value const& offset)
{
    m_shadowOffsetX = offset.toNumber();
    updateShadowInformation();
}

void Canvas::setShadowOffsetY(js::Value const& offset)
{
    m_shadowOffsetY = offset.toNumber();
    updateShadowInformation();
}

void Canvas::updateShadowInformation()
{
    auto const color = m_shadowColor ? CreateColorFromString(*m_shadowColor) : std::nullopt;
    if (!m_context || !color)
        return;
    m_context->setShadow(
        {.offsetX = m_shadowOffsetX, .offsetY = m_shadowOffsetY, .blur = m_shadowBlur, .color = *color});
}

void Canvas::setLineCap(js::Value const& cap)
{
    m_lineCap = cap.toString();
    if (m_context)
        m_context->setLineCap(meaningOf<LineCap>(m_lineCap, kLineCaps, LineCap::Butt));
}

void Canvas::setLineJoin(js::Value const& join)
{
    m_lineJoin = join.toString();
    if (m_context)
        m_context->setLineJoin(meaningOf<LineJoin>(m_lineJoin, kLineJoins, LineJoin::Bevel));
}

void Canvas::setLineWidth(js::Value const& width)
{
    m_lineWidth = width.toNumber();
    if (m_context)
        m_context->setLineWidth(m_lineWidth);
}

void Canvas::setMiterLimit(js::Value const& limit)
{
    m_miterLimit = limit.toNumber();
    if (m_context)
        m_context->setMiterLimit(m_miterLimit);
}

void Canvas::setLineDash(js::Value const& lengths)
{
    m_lineDash = lengths.toNumbers();
    if (!m_context)
        return;
    auto dash = m_lineDash;
    for (auto& length : dash)
        length = static_cast<double>(static_cast<float>(length));
    m_context->setLineDash(0, std::move(dash));
}

void Canvas::setGlobalAlpha(js::Value const& alpha)
{
    m_globalAlpha = alpha.toNumber();
    if (m_context)
        m_context->setAlpha(m_globalAlpha);
}

void Canvas::setGlobalCompositeOperation(js::Value const& operation)
{
    m_globalCompositeOperation = operation.toString();
    std::ranges::transform(m_globalCompositeOperation, m_globalCompositeOperation.begin(), lowerCase);
    if (m_context)
        m_context->setBlendMode(
            meaningOf<BlendMode>(m_globalCompositeOperation, kBlendModes, BlendMode::Normal));
}

void Canvas::save()
{
    if (m_context)
        m_context->save();
}

void Canvas::restore()
{
    if (m_context)
        m_context->restore();
}

} // namespace velk
