#include "cli/PathArguments.h"

#include "base/Files.h"

#include <sys/stat.h>

#include <cerrno>

namespace velk {

namespace {

bool isTooLong(std::string_view path)
{
    return path.size() > kMaximumTextLength;
}

bool isFileWithContent(std::string const& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode) && status.st_size != 0;
}

bool namesDirectory(std::string const& path)
{
    struct stat status = {};
    return (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) || path.ends_with('/');
}

// Renaming the result onto a device or a pipe would replace it by a file.
bool isSpecialFile(std::string const& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

void refuseOutputPath(std::string_view parameter, std::string_view reason)
{
    reportError("cannot write to \"{}\": {}\n", parameter, reason);
}

std::string tooLongReason()
{
    return fmt::format("the path is longer than {} bytes", kMaximumTextLength);
}

std::string unresolvedReason(int error)
{
    return error == ENOENT ? "its directory does not exist" : systemMessage(error);
}

} // namespace

void recordFile(RunSettings& settings, std::string const& argument)
{
    auto const resolved = isFileWithContent(argument) ? canonicalPath(argument) : std::nullopt;
    if (isTooLong(argument) || (resolved && isTooLong(*resolved)))
        return reportWarning("{} not a valid file ({}) - skipping\n", argument, tooLongReason());
    if (!resolved)
        return reportWarning("{} not a valid file - skipping\n", argument);
    settings.files.push_back(*resolved);
}

void recordOutputPath(RunSettings& settings, std::string const& parameter)
{
    if (parameter.empty())
        return refuseOutputPath(parameter, "the path is empty");
    if (isTooLong(parameter))
        return refuseOutputPath(parameter, tooLongReason());
    if (isSpecialFile(parameter))
        return refuseOutputPath(parameter, "it is neither a file nor a directory");

    bool const isDirectory = namesDirectory(parameter);
    auto resolved = canonicalOutputPath(parameter);
    auto const error = errno;
    if (!resolved && isDirectory) {
        settings.runError = ErrorCode::OutputDirectoryNotFound;
        return;
    }
    if (!resolved)
        return refuseOutputPath(parameter, unresolvedReason(error));
    if (isTooLong(*resolved))
        return refuseOutputPath(parameter, tooLongReason());
    settings.outputPath = *std::move(resolved);
    settings.outputIsDirectory = isDirectory;
}

std::string composeOutputPath(RunSettings const& settings, std::string const& inputPath)
{
    if (settings.outputPath.empty())
        return inputPath;
    if (!settings.outputIsDirectory)
        return settings.outputPath;
    return fmt::format("{}/{}", settings.outputPath, lastPathComponent(inputPath));
}

} // namespace velk
