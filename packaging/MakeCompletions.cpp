// Prints velk's completions for a shell, made from the tables that the parser and the help use.
//
//     velk_completions bash|zsh|fish

#include "cli/FunctionTable.h"
#include "platform/codec/Codec.h"
#include "platform/types/FileTypes.h"
#include "properties/PropertyKeys.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace velk {

namespace {

constexpr char kIntents[] = "perceptual relative saturation absolute";

// What may stand in a parameter's place: words, or names of files when there are none.
std::string wordsFor(FunctionEntry const& function, std::string_view parameter)
{
    std::string words;
    auto const add = [&](std::string_view word) { words += (words.empty() ? "" : " ") + std::string(word); };
    if (parameter == "key") {
        bool const isQuery = function.categories & category::kQuery;
        std::set<std::string_view> keys;
        for (auto const& table : {imagePropertyTable(), profilePropertyTable()}) {
            for (auto const& property : table) {
                if (isQuery || property.isWritable)
                    keys.insert(property.key);
            }
        }
        if (isQuery) {
            add(kAllKey);
            add(kAllXmlKey);
        }
        for (auto const key : keys)
            add(key);
    } else if (parameter == "intent") {
        words = kIntents;
    } else if (parameter.find('|') != std::string_view::npos) {
        words = parameter;
        for (auto& letter : words) {
            if (letter == '|')
                letter = ' ';
        }
    }
    return words;
}

// Keys whose values are words, with these; they follow a function that sets a property.
struct ValueWords {
    std::string_view key;
    std::string words;
};

std::vector<ValueWords> valueWords()
{
    std::set<std::string_view> formats;
    for (auto const* codec : codec::codecs()) {
        if (codec->encode)
            formats.insert(types::fileTypeWithIdentifier(codec->type)->keyword());
    }
    return {{"format", fmt::format("{}", fmt::join(formats, " "))},
        {"formatOptions", "default low normal high best lzw pacbits noChromaSubSampling"},
        {"quality", "normal draft best"}, {"renderingIntent", kIntents}};
}

bool takesFile(std::string_view parameter)
{
    constexpr std::string_view kFiles[] = {"profile", "tagFile", "file", "file-or-directory"};
    return std::ranges::find(kFiles, parameter) != std::end(kFiles);
}

// Every function once, whatever groups of the help it stands in.
std::vector<FunctionEntry const*> functions()
{
    std::vector<FunctionEntry const*> result;
    for (auto const& function : functionTable())
        result.push_back(&function);
    return result;
}

std::string shortForm(FunctionEntry const& function)
{
    return function.shortLetter ? std::string {'-', function.shortLetter} : std::string();
}

std::string allNames()
{
    std::string names;
    for (auto const* function : functions()) {
        names += (names.empty() ? "" : " ") + std::string(function->longName);
        if (function->shortLetter)
            names += " " + shortForm(*function);
    }
    return names;
}

// ---- Bash.

// A case of what follows the function's name, `distance` words back.
void printBashCase(FunctionEntry const& function, std::size_t distance)
{
    auto const parameter = function.parameterNames()[distance - 1];
    auto const pattern = function.shortLetter ? fmt::format("{}|{}", function.longName, shortForm(function))
                                              : std::string(function.longName);
    auto const words = wordsFor(function, parameter);
    auto const reply = !words.empty() ? fmt::format("COMPREPLY=($(compgen -W '{}' -- \"$word\"))", words)
        : takesFile(parameter)        ? std::string("COMPREPLY=($(compgen -f -- \"$word\"))")
                                      : std::string("COMPREPLY=()");
    fmt::print("        {}) {}; return ;;\n", pattern, reply);
}

void printBash()
{
    fmt::print("_velk() {{\n    local word=${{COMP_WORDS[COMP_CWORD]}}\n"
               "    if [[ COMP_CWORD -gt 2 && ${{COMP_WORDS[COMP_CWORD-2]}} == @(-s|--setProperty) ]]; then\n"
               "        case ${{COMP_WORDS[COMP_CWORD-1]}} in\n");
    for (auto const& [key, words] : valueWords())
        fmt::print("        {}) COMPREPLY=($(compgen -W '{}' -- \"$word\")); return ;;\n", key, words);
    fmt::print("        esac\n    fi\n");
    for (std::size_t distance = 1; distance <= 2; ++distance) {
        fmt::print(
            "    (( COMP_CWORD > {} )) && case ${{COMP_WORDS[COMP_CWORD-{}]}} in\n", distance, distance);
        for (auto const* function : functions()) {
            if (function->parameterNames().size() >= distance)
                printBashCase(*function, distance);
        }
        fmt::print("    esac\n");
    }
    fmt::print(
        "    if [[ $word == -* ]]; then\n        COMPREPLY=($(compgen -W '{}' -- \"$word\"))\n    else\n"
        "        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}}\n"
        "complete -o filenames -F _velk velk\n",
        allNames());
}

// ---- Zsh.

std::string zshAction(FunctionEntry const& function, std::string_view parameter)
{
    auto const words = wordsFor(function, parameter);
    if (!words.empty())
        return fmt::format("({})", words);
    if (parameter == "value") {
        std::string cases;
        for (auto const& [key, keyWords] : valueWords())
            cases += fmt::format("{}) compadd {};; ", key, keyWords);
        return fmt::format("{{case $words[CURRENT-1] in {}esac}}", cases);
    }
    return takesFile(parameter) ? "_files" : " ";
}

std::string zshQuoted(std::string_view text)
{
    std::string result;
    for (auto const letter : text) {
        if (letter == ':' || letter == '[' || letter == ']')
            result += '\\';
        result += letter == '\'' ? std::string("'\\''") : std::string {letter};
    }
    return result;
}

void printZsh()
{
    fmt::print("#compdef velk\n_arguments -S \\\n");
    for (auto const* function : functions()) {
        std::string parameters;
        for (auto const name : function->parameterNames())
            parameters += fmt::format(":{}:{}", zshQuoted(name), zshAction(*function, name));
        auto const help = function->help.empty() ? function->longName.substr(2) : function->help;
        for (auto const& name : {std::string(function->longName), shortForm(*function)}) {
            if (!name.empty())
                fmt::print("  '*{}[{}]{}' \\\n", name, zshQuoted(help), parameters);
        }
    }
    fmt::print("  '*:file:_files'\n");
}

// ---- Fish.

void printFish()
{
    fmt::print("function __velk_sets\n    set -l words (commandline -opc)\n"
               "    test (count $words) -gt 2; and contains -- $words[-2] -s --setProperty; "
               "and test $words[-1] = $argv[1]\nend\n");
    for (auto const& [key, words] : valueWords())
        fmt::print("complete -c velk -n '__velk_sets {}' -f -a '{}'\n", key, words);
    for (auto const* function : functions()) {
        fmt::print("complete -c velk -l {}", function->longName.substr(2));
        if (function->shortLetter)
            fmt::print(" -s {}", function->shortLetter);
        if (auto const parameters = function->parameterNames(); !parameters.empty()) {
            auto const words = wordsFor(*function, parameters[0]);
            if (!words.empty())
                fmt::print(" -x -a '{}'", words);
            else
                fmt::print("{}", takesFile(parameters[0]) ? " -r" : " -x");
        }
        std::string help(function->help.empty() ? function->longName.substr(2) : function->help);
        for (std::size_t at = 0; (at = help.find('\'', at)) != std::string::npos; at += 2)
            help.insert(at, 1, '\\');
        fmt::print(" -d '{}'\n", help);
    }
}

struct Shell {
    std::string_view name;
    void (*print)();
};

constexpr Shell kShells[] = {{"bash", printBash}, {"zsh", printZsh}, {"fish", printFish}};

} // namespace

} // namespace velk

int main(int count, char** arguments)
{
    for (auto const& shell : velk::kShells) {
        if (count == 2 && arguments[1] == shell.name) {
            shell.print();
            return 0;
        }
    }
    fmt::print(stderr, "usage: velk_completions bash|zsh|fish\n");
    return 1;
}
