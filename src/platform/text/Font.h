#pragma once

#include "platform/graphics/drawing/Path.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velk::text {

/// A font at a size, by its family, full or PostScript name. Cheap to copy.
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

    double size() const;

private:
    friend class Line;
    struct Data;
    explicit Font(std::shared_ptr<Data const> data);
    std::shared_ptr<Data const> m_data;
};

} // namespace velk::text
