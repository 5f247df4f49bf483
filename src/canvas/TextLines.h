#pragma once

#include "platform/text/Line.h"

#include <memory>
#include <string>

namespace velk {

/// A laid-out line and the size of its font.
struct TextLine {
    text::Line line;
    double fontSize;
};

/// Lines of text by the `font` string of a canvas. Finding fonts and laying out text takes long, and scripts
/// draw the same words again and again, so some are remembered. Main thread only.
///
/// Null when there is no such font.
std::shared_ptr<TextLine const> textLine(std::string const& font, std::string const& text);

/// The line in the font that text has without one.
std::shared_ptr<TextLine const> textLineInFallbackFont(std::string const& text);

} // namespace velk
