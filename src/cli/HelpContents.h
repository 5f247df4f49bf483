#pragma once

#include "cli/FunctionTable.h"
#include "properties/PropertyKeys.h"

#include <string>
#include <string_view>
#include <vector>

/// What the usage text, the property help and the manual page have in common.
namespace velk {

/// The tool in one line, without a full stop.
constexpr std::string_view kOneLineDescription =
    "scriptable tool to query and modify raster images and ICC profiles";
constexpr std::string_view kPurposeLine =
    "This tool is used to query or modify raster image files and Tintwell ICC profiles.";
constexpr std::string_view kAutomationLine =
    "The same functions can be used from shell scripts, makefiles and file manager actions.";
constexpr std::string_view kPropertyCommandsLine =
    "The commands --getProperty, --setProperty, and --deleteProperty";
constexpr std::string_view kPropertyParametersLine = "can use one of the following keys as a parameter.";
constexpr std::string_view kSpecialPropertyType = "binary data";

/// Functions that are listed together. A function may stand in several groups.
struct FunctionGroup {
    std::string_view heading;
    bool (*contains)(FunctionEntry const& function);
    /// In the usage text the functions of this group come with their help.
    bool showsHelp = false;

    std::vector<FunctionEntry> members() const;
};

std::span<FunctionGroup const> functionGroups();

/// A property's type, hint and whether it can only be read, such as "string default | lzw" or "integer
/// (read-only)".
std::string describe(PropertyDescriptor const& property);

} // namespace velk
