#include "cli/HelpContents.h"

#include <fmt/format.h>

#include <iterator>

namespace velk {

namespace {

using namespace category;

template <std::uint8_t required> bool hasAll(FunctionEntry const& function)
{
    return (function.categories & required) == required;
}

template <std::uint8_t subject> bool modifies(FunctionEntry const& function)
{
    return (function.categories & subject) != 0 && (function.categories & kQuery) == 0;
}

bool isOther(FunctionEntry const& function)
{
    return (function.categories & kAll) == kQuery;
}

constexpr FunctionGroup kGroups[] = {
    {"Profile query functions:", hasAll<kProfile | kQuery>},
    {"Image query functions:", hasAll<kImage | kQuery>},
    {"Profile modification functions:", modifies<kProfile>},
    {"Image modification functions:", modifies<kImage>},
    {"Other functions:", isOther, true},
};

} // namespace

std::vector<FunctionEntry> FunctionGroup::members() const
{
    std::vector<FunctionEntry> members;
    std::ranges::copy_if(functionTable(), std::back_inserter(members), contains);
    return members;
}

std::span<FunctionGroup const> functionGroups()
{
    return kGroups;
}

std::string describe(PropertyDescriptor const& property)
{
    std::string text(propertyTypeName(property.type));
    if (!property.hint.empty())
        text += fmt::format(" {}", property.hint);
    if (!property.isWritable)
        text += " (read-only)";
    return text;
}

} // namespace velk
