#include "base/StandardOutput.h"
#include "cli/InformationalModes.h"
#include "properties/FormatTable.h"

#include <algorithm>

namespace velk {

namespace {

constexpr int kVersion = 295;
constexpr std::string_view kNoKeyword = "--";

std::size_t longest(std::string_view FormatRow::*column)
{
    return (
        std::ranges::max(formatTable(), {}, [&](auto const& row) { return (row.*column).size(); }).*column)
        .size();
}

} // namespace

void printVersion()
{
    printOutput("velk-{}\n", kVersion);
}

void printFormats()
{
    auto const typeWidth = longest(&FormatRow::typeIdentifier);
    auto const keywordWidth = longest(&FormatRow::keyword);
    printOutput("Supported Formats:\n{:->{}}\n", "", typeWidth + keywordWidth + 10);
    for (auto const& row : formatTable()) {
        printOutput("{:<{}} {:<{}} {}\n", row.typeIdentifier, typeWidth,
            row.keyword.empty() ? kNoKeyword : row.keyword, keywordWidth, row.writable ? "Writable" : "");
    }
}

} // namespace velk
