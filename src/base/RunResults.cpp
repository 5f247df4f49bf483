#include "base/RunResults.h"

#include "base/Reporting.h"
#include "base/RunSettings.h"

#include <algorithm>

namespace velk {

void noteResult(std::string const& outputPath, std::string const& inputPath)
{
    auto& settings = runSettings();
    auto const [earlier, isFirst] = settings.results.try_emplace(outputPath, inputPath);
    if (!isFirst && earlier->second != inputPath)
        reportWarning("{}: the result of {} replaced that of {}\n", outputPath, inputPath, earlier->second);
    else if (outputPath != inputPath && std::ranges::find(settings.files, outputPath) != settings.files.end())
        reportWarning("{}: this file was replaced by the result of {}\n", outputPath, inputPath);
    earlier->second = inputPath;
}

} // namespace velk
