#pragma once

#include <string>

namespace velk {

/// A colour on a gradient, as a script gave it.
struct GradientStop {
    std::string colorStyle;
    double location = 0;
};

} // namespace velk
