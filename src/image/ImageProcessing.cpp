#include "image/ImageProcessing.h"

#include "base/AtomicFile.h"
#include "base/Reporting.h"
#include "base/RunResults.h"
#include "image/ColorRequests.h"
#include "image/FileIcon.h"
#include "image/GeometryRequests.h"
#include "image/ImageEditState.h"
#include "image/PropertyEdits.h"
#include "platform/codec/ImageWriter.h"
#include "platform/graphics/Render.h"
#include "platform/types/FileTypes.h"

#include <algorithm>
#include <filesystem>

namespace velk {

using namespace graphics;

namespace {

struct RequestKind {
    std::string_view name;
    Result<void> (*apply)(ImageEditState&, FunctionRequest const&);
    /// Whether the name is only the beginning of the functions' names.
    bool isPrefix = false;
};

Result<void> requestIcon(ImageEditState& state, FunctionRequest const&)
{
    state.addIcon = true;
    return {};
}

constexpr RequestKind kRequestKinds[] = {
    {"--setProperty", requestPropertyEdit},
    {"--deleteProperty", requestPropertyRemoval},
    {"--embedProfile", requestEmbedding},
    {"--embedProfileIfNone", requestEmbedding},
    {"--matchTo", requestMatching},
    {"--matchToWithIntent", requestMatching},
    {"--optimizeColorForSharing", requestSharing},
    {"--deleteColorManagementProperties", requestColorPropertiesDeletion},
    {"--rotate", requestRotation},
    {"--flip", requestFlip},
    {"--cropToHeightWidth", requestFrame},
    {"--padToHeightWidth", requestFrame},
    {"--cropOffset", requestOffset},
    {"--padColor", requestPadColor},
    {"--resampl", requestResampling, true},
    {"--addIcon", requestIcon},
};

Result<void> applyRequest(ImageEditState& state, FunctionRequest const& request)
{
    auto const& name = request.at(0);
    for (auto const& kind : kRequestKinds) {
        if (kind.isPrefix ? name.starts_with(kind.name) : name == kind.name)
            return kind.apply(state, request);
    }
    return fail("Cannot do {} on file", name);
}

std::shared_ptr<codec::ImageSource const> openSource(std::string const& path)
{
    auto source = codec::openImage(path);
    if (!source) {
        noteMissing("src");
        return nullptr;
    }
    return *source;
}

// Longest side of an embedded preview, as cameras make them.
constexpr double kPreviewSize = 160;

// The same drawing at the size of a preview.
RenderRequest previewRequest(RenderRequest request)
{
    auto const longest = std::max(request.size.width, request.size.height);
    auto const scale = std::min(1.0, kPreviewSize / longest);
    auto const scaled = [&](std::int32_t side) {
        return std::max(1, static_cast<std::int32_t>(side * scale + 0.5));
    };
    request.size = {scaled(request.size.width), scaled(request.size.height)};
    request.transform = request.transform * AffineTransform::scale(scale, scale);
    return request;
}

// A picture that is only smaller or larger still looks like its preview.
bool isScaleOnly(ImageEditState const& state)
{
    auto const& transform = state.imageTransform;
    return transform.b == 0 && transform.c == 0 && transform.a > 0 && transform.d > 0 && state.boxHeight == 0;
}

struct Rendering {
    Image image;
    std::optional<Image> preview;
};

Result<Rendering> renderImage(ImageEditState const& state, FittedTransform const& geometry)
{
    auto links = matchingLinks(state);
    bool const isMatched = !links.empty();
    if (!isMatched)
        links.push_back({state.image.space().base()});
    auto const last = links.back();
    links.pop_back();
    RenderRequest const request {
        .transform = geometry.transform,
        .size = {static_cast<std::int32_t>(geometry.width), static_cast<std::int32_t>(geometry.height)},
        .background = state.padColor,
        .alpha = state.hasAlpha,
        .componentType = state.floatComponents ? ComponentType::Float32 : ComponentType::UInt8,
        .drawingSpace = last.space,
        .tagSpace = last.space,
        .intent = last.intent,
        .through = std::move(links),
        .readsDevice = isMatched,
    };
    Rendering rendering {.image = TRY(render(state.image, request)), .preview = std::nullopt};
    if (!isScaleOnly(state))
        rendering.preview = TRY(render(state.image, previewRequest(request)));
    return rendering;
}

// The suffix rule: the path with the type's preferred extension if it has one that the type does not know.
std::string fitSuffix(std::string const& path, std::string_view typeIdentifier, bool mayChange)
{
    auto const dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos)
        return path;
    auto const* type = types::fileTypeWithIdentifier(typeIdentifier);
    if (!type || type->extensions.empty()
        || types::hasExtension(*type, std::string_view(path).substr(dot + 1)))
        return path;
    if (!mayChange) {
        reportWarning("Output file suffix should be {}\n", type->keyword());
        return path;
    }
    reportWarning("Output file suffix changed to {}\n", type->keyword());
    return path.substr(0, dot + 1) + std::string(type->keyword());
}

// The reason comes first, then what could not be done because of it.
void reportFailedStep(std::string const& inputPath, Error const& reason, std::string const& message)
{
    reportWarning("{}: {}\n", inputPath, reason.message);
    reportError("{}\n", message);
}

// One modification on its way from the opened file to the renamed result.
class Modification {
public:
    Modification(std::string const& inputPath, std::string const& outputPath, ImageEditState state)
        : m_inputPath(inputPath)
        , m_outputPath(outputPath)
        , m_state(std::move(state))
    {
    }

    bool walk(std::vector<FunctionRequest> const& requests);
    bool renderIfNeeded();
    bool write(bool outputIsDirectory);

private:
    bool copyInput(AtomicFile& output) const;
    bool encode(AtomicFile& output) const;
    /// Whether a page, a drawing or a negative would be lost to a picture of it.
    bool wouldReplaceOriginal(std::string const& path) const;
    bool cannotWrite(std::string const& temporaryPath, Error const& reason, std::string_view step) const;

    std::string const& m_inputPath;
    std::string const& m_outputPath;
    ImageEditState m_state;
    std::optional<Image> m_preview;
};

bool Modification::walk(std::vector<FunctionRequest> const& requests)
{
    for (auto const& request : requests) {
        if (auto const applied = applyRequest(m_state, request); !applied) {
            reportError("{}\n", applied.error().message);
            return false;
        }
    }
    return true;
}

bool Modification::renderIfNeeded()
{
    auto const geometry = finalGeometry(m_state);
    bool const sameSize = geometry.width == m_state.sourceWidth && geometry.height == m_state.sourceHeight;
    if (geometry.transform.isIdentity() && sameSize && m_state.matches.empty())
        return true;
    auto rendering = renderImage(m_state, geometry);
    if (!rendering) {
        noteMissing("dest_image");
        reportFailedStep(m_inputPath, rendering.error(), "Unable to render destination image");
        return false;
    }
    m_state.image = std::move(rendering->image);
    m_preview = std::move(rendering->preview);
    m_state.modified = true;
    return true;
}

bool Modification::cannotWrite(
    std::string const& temporaryPath, Error const& reason, std::string_view step) const
{
    noteMissing(step);
    reportFailedStep(m_inputPath, reason, fmt::format("Unable to write image to file {}", temporaryPath));
    return false;
}

bool Modification::copyInput(AtomicFile& output) const
{
    auto const& input = m_state.source->file();
    auto copied = output.copyFrom(input, 0, input.size());
    if (copied)
        copied = output.flush();
    return copied || cannotWrite(output.temporaryPath(), copied.error(), "bytesR==bytesW");
}

bool Modification::encode(AtomicFile& output) const
{
    auto const* codec = codec::codecForType(m_state.outputType);
    codec::Picture const picture {
        .image = m_state.image,
        .source = m_state.source.get(),
        .properties = m_state.properties,
        .preview = m_preview,
    };
    auto written = codec::writeImage(*codec, picture, output);
    if (written)
        written = output.flush();
    return written || cannotWrite(output.temporaryPath(), written.error(), "success");
}

bool Modification::wouldReplaceOriginal(std::string const& path) const
{
    std::error_code error;
    return m_state.source->description().isInterpretation
        && std::filesystem::equivalent(path, m_inputPath, error);
}

bool Modification::write(bool outputIsDirectory)
{
    if (m_state.modified) {
        auto const* codec = codec::codecForType(m_state.outputType);
        if (!codec || !codec->encode) {
            reportError("Unsupported output format {}\n", m_state.outputType);
            return false;
        }
    }
    auto output = AtomicFile::create(m_outputPath);
    if (!output)
        return cannotWrite(AtomicFile::temporaryTemplate(m_outputPath), output.error(), "mktemp(temp_path)");
    if (!(m_state.modified ? encode(*output) : copyInput(*output)))
        return false;
    auto const finalPath = fitSuffix(m_outputPath, m_state.outputType, outputIsDirectory);
    if (m_state.modified && wouldReplaceOriginal(finalPath))
        return cannotWrite(output->temporaryPath(),
            {"a picture cannot replace what the file holds; name another file with --out"}, "success");
    if (auto const synced = output->prepareCommit(finalPath); !synced)
        return cannotWrite(output->temporaryPath(), synced.error(), "success");
    if (auto const renamed = output->commit(finalPath); !renamed) {
        noteMissing("success");
        reportFailedStep(
            m_inputPath, renamed.error(), fmt::format("Cannot to rename temporary file to {}", finalPath));
        return false;
    }
    noteResult(finalPath, m_inputPath);
    if (m_state.addIcon)
        setFileIcon(finalPath);
    return true;
}

} // namespace

int modifyImageFile(std::string const& inputPath, std::string const& outputPath,
    std::vector<FunctionRequest> const& requests, bool outputIsDirectory)
{
    auto source = openSource(inputPath);
    if (!source)
        return kNotAnImage;
    Modification modification(inputPath, outputPath, ImageEditState(std::move(source)));
    if (modification.walk(requests) && modification.renderIfNeeded())
        modification.write(outputIsDirectory);
    return 0;
}

} // namespace velk
