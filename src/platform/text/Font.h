#pragma once

#include <memory>
#include <optional>
#include <string>

namespace velk::text {

class SizedFace;

/// A font at a size, by its family, full or PostScript name, in which case and blanks do not count. Cheap to
/// copy. Fonts and lines belong to the main thread.
class Font {
public:
    /// The size of text that says nothing else, in units of user space.
    static constexpr double kDefaultSize = 12;

    /// A font of that name that is installed, or that the font configuration maps to an installed one as an
    /// equivalent (Helvetica, Arial, sans-serif); nothing otherwise. A size that is not finite or above 0
    /// counts as the default size.
    static std::optional<Font> find(std::string const& name, double size);
    /// What text is set in when no font was chosen.
    static Font fallback();

    double size() const { return m_size; }

private:
    friend class Line;
    Font(double size, std::shared_ptr<SizedFace> face);

    double m_size;
    /// Null when not a single font is installed.
    std::shared_ptr<SizedFace> m_face;
};

} // namespace velk::text
