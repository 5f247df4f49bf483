#pragma once

#include "base/Bytes.h"
#include "platform/graphics/PixelFormat.h"

#include <array>
#include <memory>
#include <vector>

namespace velk::graphics {

/// Rendering intents as the image operations number them.
enum class RenderingIntent : std::uint8_t { Default, Absolute, Relative, Perceptual, Saturation };

/// Up to 256 colours of an indexed image: 8-bit RGB and straight alpha.
struct Palette {
    std::vector<std::array<std::uint8_t, 4>> entries;

    bool hasAlpha() const;
};

/// What the components of a pixel mean: a model with an ICC profile, or without one (an uncalibrated device
/// space), or a palette over an RGB space. Immutable and cheap to copy.
class ColorSpace {
public:
    /// The uncalibrated space of a model; not for Indexed.
    static ColorSpace device(ColorModel model) { return ColorSpace(model, nullptr); }
    /// `model` is the profile's own data colour space.
    static ColorSpace withProfile(ColorModel model, SharedBytes profile)
    {
        return {model, std::move(profile)};
    }
    /// Indices into `palette`, whose colours lie in `base` (an RGB space).
    static ColorSpace indexed(ColorSpace const& base, Palette palette);
    /// `space` with `profile` in place of its own (null removes it); an indexed space keeps its palette.
    ColorSpace replacingProfile(SharedBytes profile) const;

    ColorModel model() const { return m_palette ? ColorModel::Indexed : m_model; }
    bool isIndexed() const { return m_palette != nullptr; }
    /// The space of the palette's colours when indexed, else this space.
    ColorSpace base() const { return {m_model, m_profile}; }
    /// Null unless indexed.
    Palette const* palette() const { return m_palette.get(); }
    /// ICC profile bytes; null in a device space.
    SharedBytes const& profile() const { return m_profile; }

    bool operator==(ColorSpace const& other) const;

private:
    ColorSpace(ColorModel model, SharedBytes profile)
        : m_model(model)
        , m_profile(std::move(profile))
    {
    }

    ColorModel m_model;
    SharedBytes m_profile;
    std::shared_ptr<Palette const> m_palette;
};

/// One step of a conversion's way: the space that it ends in, and how colours get there.
struct ColorLink {
    ColorSpace space;
    RenderingIntent intent = RenderingIntent::Default;
};

} // namespace velk::graphics
