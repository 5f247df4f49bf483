#pragma once

#include <span>
#include <string_view>

namespace velk {

enum class PropertyType : char {
    String = 's',
    Utf8String = 'S',
    Integer = 'i',
    Float = 'f',
    Data = 'b',
    Boolean = 'B',
};

/// What the help calls a type.
std::string_view propertyTypeName(PropertyType type);

/// One property that velk can show, and perhaps change.
struct PropertyDescriptor {
    std::string_view key;
    PropertyType type;
    bool isWritable = false;
    /// The values it may have; empty where anything goes.
    std::string_view hint = {};
};

/// Every image property, in the order of the help.
std::span<PropertyDescriptor const> imagePropertyTable();
/// Every profile property, in the order of the help.
std::span<PropertyDescriptor const> profilePropertyTable();

/// The keys of an image in the order in which "all" prints them.
std::span<std::string_view const> imageKeyOrder();
/// The keys of a profile in the order in which "all" prints them.
std::span<std::string_view const> profileKeyOrder();

/// The query keys that stand for every property: as lines, and as an XML property list.
constexpr std::string_view kAllKey = "all";
constexpr std::string_view kAllXmlKey = "allxml";

} // namespace velk
