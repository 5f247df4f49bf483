#include "script/ScriptRunner.h"

#include "base/Reporting.h"
#include "base/RunSettings.h"
#include "base/StandardOutput.h"
#include "platform/tasks/MainLoop.h"
#include "script/Configuration.h"
#include "script/Script.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <initializer_list>
#include <limits>

namespace velk {

namespace {

using ArgumentList = std::span<std::string const>;

// The number at the start of a text, at single precision; 0 when there is none.
double leadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r\f\v"), text.size()));
    bool const isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    // "inf" and "nan" are no numbers on a command line.
    if (text.empty() || text.find_first_of(".0123456789") != 0)
        return 0;
    float number = 0;
    auto const parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec == std::errc::result_out_of_range)
        number = 0;
    return isNegative ? -number : number;
}

// The arguments that follow the first one that is one of `names`.
ArgumentList argumentsAfter(ArgumentList arguments, std::initializer_list<std::string_view> names)
{
    auto const found = std::ranges::find_first_of(arguments, names);
    return found == arguments.end() ? ArgumentList() : ArgumentList(found + 1, arguments.end());
}

double numberAt(ArgumentList arguments, std::size_t index)
{
    return index < arguments.size() ? leadingNumber(arguments[index]) : 0;
}

SizeValue sizeAfter(ArgumentList arguments, std::initializer_list<std::string_view> names)
{
    auto const parameters = argumentsAfter(arguments, names);
    return {numberAt(parameters, 0), numberAt(parameters, 1)};
}

std::vector<std::shared_ptr<js::NativeObject>> imagesOf(
    std::vector<std::string> const& files, ScriptServices const& services)
{
    std::vector<std::shared_ptr<js::NativeObject>> images;
    for (auto const& path : files) {
        if (auto image = services.imageWithURL(path))
            images.push_back(std::move(image));
    }
    return images;
}

void fillConfiguration(Configuration& configuration, RunSettings const& settings,
    std::vector<std::string> const& arguments, ScriptServices const& services)
{
    configuration.setImages(imagesOf(settings.files, services));
    if (settings.outputIsDirectory)
        configuration.setOutputDir(settings.outputPath);
    else
        configuration.setOutputPath(settings.outputPath);
    configuration.setArguments(arguments);
    configuration.setSize(recommendedSize(arguments));
    configuration.setLongestEdge(recommendedLongestEdge(arguments));
}

void printValue(js::Value const& value)
{
    writeOutput(value.isUndefined() ? "<Can't create string>" : value.description());
    writeOutput("\n");
}

void evaluate(Script& script, std::string const& source)
{
    script.setGlobalObject(
        js::Value(std::shared_ptr<js::NativeObject>(Configuration::sharedInstance())), "velk");
    script.console().setHandler(printValue);
    if (!script.context()) {
        reportError("cannot start the JavaScript engine\n");
        return;
    }
    script.context()->setExceptionHandler(
        [](std::string const& text) { printOutput("JS Error: {}\n", text); });
    script.setSource(source);
    script.evaluateSource();
}

void waitForOutputs(ScriptServices const& services)
{
    using namespace std::chrono_literals;
    while (services.pendingOperations() > 0)
        tasks::runMainLoop(100ms, [&] { return services.pendingOperations() == 0; });
    // What the last operation has handed to this thread.
    tasks::runMainLoop(0ms);
}

} // namespace

SizeValue recommendedSize(ArgumentList arguments)
{
    SizeValue size = {numberAt(argumentsAfter(arguments, {"--resampleWidth"}), 0),
        numberAt(argumentsAfter(arguments, {"--resampleHeight"}), 0)};
    if (size.isZero())
        size = sizeAfter(arguments, {"-z", "--resampleHeightWidth"});
    if (size.isZero())
        size = sizeAfter(arguments, {"-c", "--cropToHeightWidth"});
    return size;
}

double recommendedLongestEdge(ArgumentList arguments)
{
    return numberAt(argumentsAfter(arguments, {"-Z", "--resampleHeightWidthMax"}), 0);
}

void runScript(
    std::string const& source, std::vector<std::string> const& arguments, ScriptServices const& services)
{
    auto& configuration = *Configuration::sharedInstance();
    fillConfiguration(configuration, runSettings(), arguments, services);
    Script script(services.classes);
    evaluate(script, source);
    waitForOutputs(services);
    script.releaseResources();
    configuration.setImages({});
}

} // namespace velk
