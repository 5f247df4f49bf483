#include "cli/FileOperations.h"

#include "base/Reporting.h"
#include "image/ImageProcessing.h"
#include "properties/ImageProperties.h"

namespace velk {

void extract(std::string const& path, std::vector<FunctionRequest> const&)
{
    warnWhyNotAnImage(path);
    reportError("Error operating on file\n");
}

void verify(std::string const&)
{
    reportError("Error operating on file\n");
}

void modify(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests, bool outputIsDirectory)
{
    if (modifyImageFile(inputPath, outputPath, requests, outputIsDirectory) != kNotAnImage)
        return;
    warnWhyNotAnImage(inputPath);
    reportError("Error modifying file\n");
}

} // namespace velk
