#include "canvas/PatternObject.h"

#include "platform/graphics/drawing/BitmapContext.h"

namespace velk {

namespace {

Result<graphics::Image> drawnTile(graphics::Image const& image)
{
    auto const cell = TRY(graphics::BitmapContext::create(image.size()));
    graphics::FloatRect const whole {
        0, 0, static_cast<double>(image.size().width), static_cast<double>(image.size().height)};
    cell->drawImage(image, whole, whole);
    return cell->snapshot();
}

} // namespace

std::optional<graphics::Image> const& PatternObject::patternRef() const
{
    auto const image = m_image && !m_patternRef ? m_image->imageRef() : std::nullopt;
    if (image) {
        if (auto tile = drawnTile(*image))
            m_patternRef = *std::move(tile);
    }
    return m_patternRef;
}

} // namespace velk
