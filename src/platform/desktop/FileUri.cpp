#include "platform/desktop/FileUri.h"

#include <fmt/format.h>

#include <iterator>

namespace velk::desktop {

namespace {

bool isPlain(char character)
{
    constexpr std::string_view kMarks = "/!$&'()*+,-.:=@_~";
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z')
        || (character >= 'a' && character <= 'z') || kMarks.find(character) != std::string_view::npos;
}

} // namespace

std::string fileUri(std::string_view absolutePath)
{
    std::string uri = "file://";
    for (auto const character : absolutePath) {
        if (isPlain(character))
            uri += character;
        else
            fmt::format_to(std::back_inserter(uri), "%{:02X}", static_cast<unsigned char>(character));
    }
    return uri;
}

} // namespace velk::desktop
