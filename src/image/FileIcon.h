#pragma once

#include <string>

namespace velk {

/// Gives the image file at `path` an icon of its first image, for file managers. A failure is reported and
/// leaves the file as it is.
void setFileIcon(std::string const& path);

} // namespace velk
