#pragma once

#include "script/ExportedObject.h"
#include "script/Image.h"

#include <memory>
#include <optional>
#include <string>

namespace velk {

/// `PatternObject` of scripts: a fill style of copies of an image, side by side in both directions whatever
/// `style` says.
class PatternObject final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    PatternObject(std::shared_ptr<Image> image, std::string style)
        : m_image(std::move(image))
        , m_style(std::move(style))
    {
    }

    js::ClassDescription const& classDescription() const override { return kClass; }

    /// One copy, decoded once in the pixels of a canvas; nothing when there are no pixels.
    std::optional<graphics::Image> const& patternRef() const;

private:
    std::shared_ptr<Image> m_image;
    std::string m_style;
    mutable std::optional<graphics::Image> m_patternRef;
};

} // namespace velk
