#include "cli/ArgumentParser.h"

#include "cli/PathArguments.h"

namespace velk {

namespace {

// A negative number of at least two digits, such as an angle, is no mistyped function.
bool isAcceptableParameter(std::string_view text)
{
    if (!text.starts_with('-'))
        return true;
    return text.size() >= 3 && text[1] != '-' && text[2] >= '0' && text[2] <= '9';
}

// `following` is everything behind the function.
ErrorCode checkParameters(FunctionEntry const& function, Arguments following)
{
    auto const count = function.parameterNames().size();
    if (following.size() < count)
        return ErrorCode::MissingParameters;
    auto const parameters = following.first(count);
    if (std::ranges::any_of(parameters, [](auto* text) { return findFunction(text) != nullptr; }))
        return ErrorCode::MissingParameters;
    if (!std::ranges::all_of(parameters, isAcceptableParameter))
        return ErrorCode::BadParameter;
    return ErrorCode::None;
}

void recordError(RunSettings& settings, ErrorCode error, std::size_t argumentIndex)
{
    settings.runError = error;
    settings.errorArgumentIndex = static_cast<int>(argumentIndex);
}

void takeFile(RunSettings& settings, Arguments arguments, std::size_t index)
{
    std::string_view const argument = arguments[index];
    if (argument.starts_with('-'))
        recordError(settings, ErrorCode::UnknownFunction, index);
    else
        recordFile(settings, std::string(argument));
}

void takeFunction(
    RunSettings& settings, FunctionEntry const& function, Arguments arguments, std::size_t index)
{
    auto const following = arguments.subspan(index + 1);
    if (auto const error = checkParameters(function, following); error != ErrorCode::None)
        return recordError(settings, error, index);
    function.record(settings, function, following.first(function.parameterNames().size()));
    // What a function does not like while it records its request is its first parameter.
    if (settings.runError != ErrorCode::None)
        settings.errorArgumentIndex = static_cast<int>(index + 1);
}

} // namespace

void parseArguments(RunSettings& settings, Arguments arguments)
{
    std::size_t index = 1;
    while (index < arguments.size() && settings.runError == ErrorCode::None) {
        if (auto const* function = findFunction(arguments[index])) {
            takeFunction(settings, *function, arguments, index);
            index += 1 + function->parameterNames().size();
        } else {
            takeFile(settings, arguments, index);
            index += 1;
        }
    }
}

} // namespace velk
