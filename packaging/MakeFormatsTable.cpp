// Prints docs/formats.md from the codecs' table.

#include "platform/codec/Codec.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/types/FileTypes.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

namespace velk {

namespace {

constexpr std::string_view kHead = R"(# Formats

Made from the program's own tables by `scripts/make-docs`. `velk --formats` says what is installed on a machine. The keyword is what
`--setProperty format` takes. Where single Exif tags are named, the format has places of its own for those (OpenEXR also for
exposure time, aperture and sensitivity).

| format | keyword | other suffixes | read | written | Exif | IPTC | XMP | profile | resolution | package |
|---|---|---|---|---|---|---|---|---|---|---|
)";

std::string_view mark(bool isTrue)
{
    return isTrue ? "yes" : "";
}

void printRow(codec::Codec const& codec)
{
    auto const& type = *types::fileTypeWithIdentifier(codec.type);
    std::string others;
    for (auto const extension : type.extensions.subspan(1))
        others += (others.empty() ? "" : ", ") + std::string(extension);
    auto const& carries = codec.carries;
    auto const exif = carries.tags.empty() ? std::string(mark(carries.exif))
                                           : fmt::format("{}", fmt::join(carries.tags, ", "));
    fmt::print("| {} | {} | {} | yes | {} | {} | {} | {} | {} | {} | {} |\n", codec.type, type.keyword(),
        others, mark(codec.encode), exif, mark(carries.iptc), mark(carries.xmp), mark(carries.profile),
        mark(carries.resolution), codec::packageOf(codec));
}

} // namespace

} // namespace velk

int main()
{
    using namespace velk;
    std::vector<codec::Codec const*> rows(codec::codecs().begin(), codec::codecs().end());
    std::ranges::sort(rows, {}, [](auto const* codec) { return codec->type; });
    fmt::print("{}", kHead);
    for (auto const* codec : rows)
        printRow(*codec);
    return 0;
}
