#include "profile/ProfileReport.h"

#include "base/StandardOutput.h"

#include <string>

namespace velk {

namespace {

// The four characters as they lie in the file, up to the first zero.
std::string signatureText(FourCC signature)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        auto const character = static_cast<char>(signature.code >> shift);
        if (character == '\0')
            break;
        text += character;
    }
    return text;
}

std::string_view outcome(CheckMode mode, bool isFixed)
{
    if (mode == CheckMode::Verify)
        return "";
    return isFixed ? "Fixed." : "Could not be fixed.";
}

} // namespace

void reportProblem(CheckMode mode, FourCC tag, int code, std::string_view message, bool isFixed)
{
    auto const subject = tag == FourCC() ? std::string() : fmt::format("Tag '{}': ", signatureText(tag));
    auto const text = message.empty() ? fmt::format("error ({}). ", code) : std::string(message);
    printOutput("   {}{}{}\n", subject, text, outcome(mode, isFixed));
}

} // namespace velk
