#include "cli/RunDriver.h"

#include "base/StandardOutput.h"
#include "cli/ArgumentParser.h"
#include "cli/FileOperations.h"
#include "cli/InformationalModes.h"
#include "cli/PathArguments.h"
#include "platform/modules/Module.h"
#include "platform/modules/ScriptInterface.h"
#include "properties/Query.h"

namespace velk {

namespace {

// The first thing that is wrong with the requests as a whole.
ErrorCode validate(RunSettings const& settings)
{
    bool const queries = settings.queryKeys.has_value();
    bool const modifies = settings.modifications.has_value();
    bool const extracts = settings.extractions.has_value();
    bool const doesNothing = !queries && !modifies && !extracts && !settings.verify;
    bool const outputIsFile = !settings.outputPath.empty() && !settings.outputIsDirectory;

    struct Check {
        bool fails;
        ErrorCode error;
    };
    Check const checks[] = {
        {settings.files.empty() && settings.fileRequired, ErrorCode::NoFile},
        {queries && modifies, ErrorCode::QueryAndModify},
        {modifies && extracts, ErrorCode::ExtractAndModify},
        {modifies && settings.verify, ErrorCode::VerifyAndModify},
        {settings.fileRequired && doesNothing, ErrorCode::NoFunction},
        {settings.files.size() >= 2 && modifies && outputIsFile, ErrorCode::NoDestinationDirectory},
    };
    auto const failed = std::ranges::find(checks, true, &Check::fails);
    return failed == std::end(checks) ? ErrorCode::None : failed->error;
}

void printFileLine(RunSettings const& settings, std::string const& path)
{
    bool const printsXml = settings.queryKeys && asksForXml(*settings.queryKeys);
    if (!printsXml && !settings.scriptSource)
        printOutput("{}{}", path, outputSeparator(settings.oneLine));
}

void queryFile(RunSettings const& settings, std::string const& path)
{
    query(path, *settings.queryKeys, settings.oneLine);
    if (settings.oneLine)
        writeOutput("\n");
}

void modifyFile(RunSettings const& settings, std::string const& path)
{
    auto const output = composeOutputPath(settings, path);
    if (output.size() > kMaximumTextLength)
        reportError("{}: the output path is longer than {} bytes\n", path, kMaximumTextLength);
    else
        modify(path, output, *settings.modifications, settings.outputIsDirectory);
    printOutput("{}{}\n", settings.oneLine ? "\t" : "  ", output);
}

void processFile(RunSettings const& settings, std::string const& path)
{
    printFileLine(settings, path);
    if (settings.queryKeys)
        queryFile(settings, path);
    if (settings.extractions)
        extract(path, *settings.extractions);
    if (settings.verify)
        verify(path);
    if (settings.modifications)
        modifyFile(settings, path);
}

void runScript(std::string const& source, Arguments arguments)
{
    auto const run = modules::function<modules::RunScript>("script", modules::kRunScript);
    if (!run)
        reportError("cannot run scripts: {}\n", run.error().message);
    else
        (*run)(source, {arguments.begin() + 1, arguments.end()});
}

void processFiles(RunSettings& settings, Arguments arguments)
{
    settings.runError = validate(settings);
    if (settings.runError != ErrorCode::None)
        return;
    for (auto const& path : settings.files)
        processFile(settings, path);
    if (settings.scriptSource)
        runScript(*settings.scriptSource, arguments);
}

void printMode(RunMode mode)
{
    struct ModePrinter {
        RunMode mode;
        void (*print)();
    };
    constexpr ModePrinter kPrinters[] = {
        {RunMode::Help, printUsage},
        {RunMode::HelpProperties, printPropertyHelp},
        {RunMode::Manual, printManualPage},
        {RunMode::Version, printVersion},
        {RunMode::Formats, printFormats},
    };
    for (auto const& printer : kPrinters) {
        if (printer.mode == mode)
            printer.print();
    }
}

void reportLostOutput()
{
    if (auto const flushed = flushOutput(); !flushed)
        reportError("cannot write to standard output: {}\n", flushed.error().message);
}

// Reports the run error, clears the settings and returns the exit status.
int finish(RunSettings& settings, Arguments arguments)
{
    reportLostOutput();
    auto const error = settings.runError;
    auto const index = static_cast<std::size_t>(settings.errorArgumentIndex);
    reportRunError(error, index >= 1 ? arguments[index] : std::string_view());
    settings = {};
    return static_cast<int>(error);
}

} // namespace

int run(Arguments arguments)
{
    auto& settings = runSettings();
    if (arguments.size() < 2)
        settings.mode = RunMode::Help;
    else
        parseArguments(settings, arguments);

    if (settings.mode == RunMode::ProcessFiles && settings.runError == ErrorCode::None)
        processFiles(settings, arguments);
    printMode(settings.mode);
    // Whoever asks for the version gets it, whatever else is wrong with the command line.
    if (settings.mode == RunMode::Version)
        settings.runError = ErrorCode::None;
    return finish(settings, arguments);
}

} // namespace velk
