#include "base/StandardOutput.h"
#include "cli/HelpContents.h"
#include "cli/InformationalModes.h"

namespace velk {

namespace {

constexpr std::string_view kShortTag = "xxxx";
constexpr std::string_view kImageKeyTag = "xxxxxxxxxxxxxxx";
constexpr std::string_view kProfileKeyTag = "xxxxxxxxxxxxxxxxxx";

constexpr std::string_view kHeader = R"(.Dd 7/10/05
.Dt velk 1
.Os Tundra
.Sh NAME
.Nm velk
)";

constexpr std::string_view kSynopsis = R"(.Sh SYNOPSIS
.Nm
.Op Ar image-functions
.Ar imagefile
.Ar ...
.Nm
.Op Ar profile-functions
.Ar profile
.Ar ...
)";

constexpr std::string_view kScriptIntroduction = R"(.Sh JavaScript
HTML Canvas objects can be created and used to create a 2D drawing context.
The commands for drawing into the context are well documented elsewhere.
This section will describe the velk global object and other interesting classes.
.Pp
)";

// A term and what it stands for.
struct ListItem {
    std::string_view term;
    std::string_view description;
};

constexpr ListItem kGlobalProperties[] = {
    {"images", "Valid images passed as arguments converted into an array of Image objects"},
    {"arguments", "Arguments passed into the program as an array of strings"},
    {"size", "Recommended size for output. Setting the crop or resample flags will set this value."},
    {"longestEdge", "If specified, the value of the -Z/--resampleHeightWidthMax option. [default: 0]"},
    {"outputPath", "Output directory [default: current directory]"},
};

constexpr ListItem kImageMembers[] = {
    {"name", "Name of image"},
    {"size", "Size of image (pixels)"},
    {"properties", "Image properties"},
    {"getProperty(name)", "Return the image property for name, if any."},
    {"sizeToFitLongestEdge(length)",
        "Return the size that will contain the image with the longest edge set to length. Maintains aspect "
        "ratio."},
};

constexpr ListItem kOutputMembers[] = {
    {"new Output(context, name[, type])",
        "Output the context to disk with name and optional type (extension or UTI)."},
    {"addToQueue()", "Adds the output to the queue to be written to disk."},
};

constexpr ListItem kScriptFunctions[] = {
    {"print(str)", "Output to standard output. Equivalent to console.log(str)."},
};

constexpr ListItem kSpecialKeys[] = {
    {kAllKey, kSpecialPropertyType},
    {kAllXmlKey, kSpecialPropertyType},
};

void beginList(std::string_view heading, std::string_view tag)
{
    printOutput("{}\n.Bl -tag -width {} -compact\n", heading, tag);
}

void printList(std::string_view heading, std::string_view tag, std::span<ListItem const> items)
{
    beginList(heading, tag);
    for (auto const& item : items)
        printOutput(".It {}\n{}\n", item.term, item.description);
    writeOutput(".El\n.Pp\n");
}

void printProperties(
    std::string_view heading, std::string_view tag, std::span<PropertyDescriptor const> properties)
{
    beginList(heading, tag);
    for (auto const& property : properties)
        printOutput(".It {}\n{}\n", property.key, describe(property));
    writeOutput(".El\n.Pp\n");
}

void printItem(std::string_view flag, FunctionEntry const& function)
{
    printOutput(".It Fl {} ", flag);
    for (auto const name : function.parameterNames())
        printOutput("Ar {} ", name);
    writeOutput("\n");
}

void printFunction(FunctionEntry const& function)
{
    if (function.shortLetter)
        printItem({&function.shortLetter, 1}, function);
    printItem(function.longName.substr(1), function); // Fl sets the first dash.
    if (!function.help.empty())
        printOutput("{}\n", function.help);
    writeOutput(".Pp\n");
}

void printFunctions()
{
    writeOutput(".Sh FUNCTIONS\n.Pp\n");
    for (auto const& group : functionGroups()) {
        beginList(group.heading, kShortTag);
        writeOutput(".Pp\n");
        for (auto const& function : group.members())
            printFunction(function);
        writeOutput(".El\n");
    }
}

} // namespace

void printManualPage()
{
    writeOutput(kHeader);
    printOutput(".Nd {}\n", kOneLineDescription);
    writeOutput(kSynopsis);
    printOutput(".Sh DESCRIPTION\n{}\n{}\n", kPurposeLine, kAutomationLine);
    writeOutput("It also supports executing JavaScript to either modify or generate images.\n.Pp\n");
    printFunctions();

    writeOutput(kScriptIntroduction);
    printList("Global variable (velk) properties", kShortTag, kGlobalProperties);
    printList("Image Object", kShortTag, kImageMembers);
    printList("Output Object", kShortTag, kOutputMembers);
    printList("Functions", kShortTag, kScriptFunctions);

    printOutput(".Sh OPTIONS\n{}\n{}\n.Pp\n", kPropertyCommandsLine, kPropertyParametersLine);
    printList("Special property keys:", kImageKeyTag, kSpecialKeys);
    printProperties("Image property keys:", kImageKeyTag, imagePropertyTable());
    printProperties("Profile property keys:", kProfileKeyTag, profilePropertyTable());
}

} // namespace velk
