#include "cli/FileOperations.h"

#include "base/Reporting.h"
#include "image/ImageProcessing.h"
#include "image/ProfileExtraction.h"
#include "profile/Profile.h"
#include "profile/ProfileCheck.h"
#include "properties/ImageProperties.h"
#include "properties/ProfileProperties.h"

namespace velk {

namespace {

// The reason comes first, if there is one to tell.
void reportUnknownKind(std::string const& path, std::string_view message)
{
    warnWhyNotAnImage(path);
    warnWhyNotAProfile(path);
    reportError("{}\n", message);
}

} // namespace

void extract(std::string const& path, std::vector<FunctionRequest> const& requests)
{
    if (extractImageProfile(path, requests) == kNotAnImage
        && extractProfileTags(path, requests) == kNotAProfile)
        reportUnknownKind(path, "Error operating on file");
}

void verify(std::string const& path)
{
    verifyProfile(path);
}

void modify(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests, bool outputIsDirectory)
{
    if (modifyImageFile(inputPath, outputPath, requests, outputIsDirectory) == kNotAnImage
        && modifyProfile(inputPath, outputPath, requests) == kNotAProfile)
        reportUnknownKind(inputPath, "Error modifying file");
}

} // namespace velk
