#include "base/StandardOutput.h"
#include "cli/HelpContents.h"
#include "cli/InformationalModes.h"

namespace velk {

namespace {

void printBanner()
{
    printOutput("velk - {}.\n{}\n{}\n\n", kOneLineDescription, kPurposeLine, kAutomationLine);
}

void printFunction(FunctionEntry const& function)
{
    writeOutput(function.shortLetter ? fmt::format("    -{}, ", function.shortLetter) : "        ");
    printOutput("{} ", function.longName);
    for (auto const name : function.parameterNames())
        printOutput("{} ", name);
}

void printGroup(FunctionGroup const& group)
{
    auto const members = group.members();
    auto const nameLength = [](auto const& function) { return function.longName.size(); };
    auto const longest = std::ranges::max(members, {}, nameLength).longName.size();

    printOutput("  {} \n", group.heading);
    for (auto const& function : members) {
        printFunction(function);
        if (group.showsHelp)
            printOutput("{:>{}}{}", " ", longest - nameLength(function) + 1, function.help);
        writeOutput("\n");
    }
}

void printProperties(std::string_view heading, std::span<PropertyDescriptor const> properties)
{
    printOutput("  {} \n", heading);
    for (auto const& property : properties)
        printOutput("    {:<20} {}\n", property.key, describe(property));
    writeOutput("\n");
}

} // namespace

void printUsage()
{
    printBanner();
    writeOutput("  Usages:\n"
                "    velk [image-functions] imagefile ... \n"
                "    velk [profile-functions] profile ... \n");
    for (auto const& group : functionGroups()) {
        writeOutput("\n");
        printGroup(group);
    }
}

void printPropertyHelp()
{
    printBanner();
    printOutput("  {}\n  {}\n\n", kPropertyCommandsLine, kPropertyParametersLine);
    writeOutput("  Special property keys: \n");
    for (auto const key : {kAllKey, kAllXmlKey})
        printOutput("    {:<20} {}\n", key, kSpecialPropertyType);
    writeOutput("\n");
    printProperties("Image property keys:", imagePropertyTable());
    printProperties("Profile property keys:", profilePropertyTable());
}

} // namespace velk
