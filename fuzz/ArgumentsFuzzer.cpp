// The command line: arguments end with zeros, as in the system's own memory.
#include "base/RunSettings.h"
#include "cli/ArgumentParser.h"
#include "fuzz/FuzzInput.h"

#include <string>
#include <vector>

using namespace velk;

namespace {

std::vector<std::string> split(fuzz::FuzzInput input)
{
    std::vector<std::string> words = {"velk"};
    while (!input.isEmpty())
        words.emplace_back(input.text());
    return words;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    auto const words = split({data, size});
    std::vector<char const*> arguments;
    for (auto const& word : words)
        arguments.push_back(word.c_str());
    auto& settings = runSettings();
    settings = {};
    parseArguments(settings, arguments);
    fuzz::require(settings.errorArgumentIndex >= 0
            && settings.errorArgumentIndex < static_cast<int>(std::max<std::size_t>(arguments.size(), 1)),
        "an error names an argument");
    return 0;
}
