#include "image/ProfileExtraction.h"

#include "base/OutputFile.h"
#include "base/Reporting.h"
#include "image/ImageEditState.h"
#include "image/ImageProcessing.h"
#include "platform/codec/Codec.h"

namespace velk {

namespace {

void extractProfile(codec::ImageSource const& source, FunctionRequest const& request)
{
    if (request.at(0) != "--extractProfile")
        return reportError("Cannot do {} on file\n", request.at(0));
    auto const profile = source.image().space().profile();
    if (!profile) {
        noteMissing("data");
        return reportError("No profile in image\n");
    }
    auto const& profilePath = request.at(1);
    auto file = OutputFile::open(profilePath, source.path());
    if (!file) {
        noteMissing("fh");
        return reportError("Cannot open file {} for writing\n", profilePath);
    }
    if (auto const written = file->write(*profile); !written)
        reportError("Failed to write file {}: {}\n", profilePath, written.error().message);
}

} // namespace

int extractImageProfile(std::string const& path, std::vector<FunctionRequest> const& requests)
{
    auto const source = codec::openImage(path);
    if (!source) {
        noteMissing("source");
        return kNotAnImage;
    }
    for (auto const& request : requests)
        extractProfile(**source, request);
    return 0;
}

} // namespace velk
