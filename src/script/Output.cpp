#include "script/Output.h"

#include "base/Files.h"
#include "platform/codec/ImageWriter.h"
#include "platform/types/TypeRegistry.h"
#include "script/Configuration.h"
#include "script/OutputQueue.h"
#include "script/SystemLog.h"

#include <filesystem>

namespace velk {

namespace {

constexpr char kPng[] = "public.png";
constexpr char kTypeKey[] = "uti";

// A file name in two parts; a dot at its start or end separates nothing.
struct FileName {
    std::string_view stem;
    std::string_view extension;
};

FileName splitFileName(std::string_view name)
{
    auto const dot = name.rfind('.');
    if (dot == name.npos || dot == 0 || dot + 1 == name.size())
        return {name, {}};
    return {name.substr(0, dot), name.substr(dot + 1)};
}

bool isGiven(js::Value const& value)
{
    return !value.isUndefined() && !value.isNull();
}

std::string_view withoutTrailingSlashes(std::string_view path)
{
    auto const last = path.find_last_not_of('/');
    return path.substr(0, last == path.npos ? 0 : last + 1);
}

std::string inDirectory(std::string const& directory, std::string_view name)
{
    return (std::filesystem::path(directory) / name).string();
}

std::string workingDirectory()
{
    std::error_code error;
    auto const path = std::filesystem::current_path(error);
    return error ? "." : path.string();
}

Result<void> encodeInto(
    codec::Codec const& codec, graphics::Image const& image, std::string const& path, AtomicFile& file)
{
    PropertyDictionary const noProperties;
    TRY(codec::writeImage(codec,
        {.image = image, .source = nullptr, .properties = noProperties, .preview = std::nullopt}, file));
    return file.commit(path);
}

} // namespace

std::string Output::UTIForExtension(std::string_view extension)
{
    return types::identifierForExtension(extension);
}

std::string Output::extensionForUTI(std::string_view type)
{
    auto extension = types::preferredExtension(type);
    return extension.empty() ? types::preferredExtension(UTIForExtension(type)) : extension;
}

Output::Output(js::Value const& source, js::Value const& name, js::Value const& type)
{
    setCanvas(source);
    setImage(source);
    setName(name);
    if (isGiven(type))
        m_UTI = UTIForExtension(extensionForUTI(type.toString()));
}

void Output::setCanvas(js::Value const& value)
{
    m_canvas = value.as<Image>() ? nullptr : value.as<SnapshotSource>();
    m_canvasObject = m_canvas ? value : js::Value(nullptr);
}

void Output::setImage(js::Value const& value)
{
    m_image = value.as<Image>();
}

void Output::setName(js::Value const& value)
{
    m_name.reset();
    if (!isGiven(value))
        return;
    auto const path = value.toString();
    m_name = lastPathComponent(withoutTrailingSlashes(path));
}

void Output::setUTI(js::Value const& value)
{
    auto type = value.toString();
    if (types::conformsToImage(type))
        m_UTI = std::move(type);
    else
        writeLog("UTI needs to conform to public.image");
}

js::Value Output::nameForScript() const
{
    return m_name ? js::Value(*m_name) : js::Value(nullptr);
}

js::Value Output::UTIForScript() const
{
    auto const& type = UTI();
    return type.empty() ? js::Value(nullptr) : js::Value(type);
}

std::string const& Output::UTI() const
{
    if (!m_UTI.empty())
        return m_UTI;
    if (m_canvas && m_name) {
        auto const extension = splitFileName(*m_name).extension;
        m_UTI = extension.empty() ? kPng : UTIForExtension(extension);
    } else if (m_image) {
        auto const type = m_image->getProperty(kTypeKey);
        m_UTI = type && type->asString() ? *type->asString() : std::string();
    }
    return m_UTI;
}

std::string Output::outputDir() const
{
    auto const& configured = Configuration::sharedInstance()->outputDir();
    if (!configured.empty())
        return configured;
    if (m_image && !m_canvas)
        return std::filesystem::path(m_image->URL()).parent_path().string();
    return workingDirectory();
}

std::string Output::canvasFileName() const
{
    auto const [stem, ownExtension] = splitFileName(*m_name);
    auto const extension = ownExtension.empty() ? extensionForUTI(UTI()) : std::string(ownExtension);
    return fmt::format("{}.{}", stem, extension);
}

std::string const& Output::URL() const
{
    auto const& configured = Configuration::sharedInstance()->outputPath();
    if (!configured.empty())
        m_URL = configured;
    else if (m_canvas && m_name)
        m_URL = inDirectory(outputDir(), canvasFileName());
    else if (m_image && !m_canvas)
        m_URL = inDirectory(outputDir(), m_image->name());
    return m_URL;
}

std::optional<Snapshot> Output::snapshot() const
{
    if (m_canvas)
        return m_canvas->snapshot();
    return m_image ? m_image->snapshot() : std::nullopt;
}

void Output::addToQueue() const
{
    if (!m_canvas && !m_image)
        return writeLog("Must specify either a canvas or an image");
    if (m_canvas && (!m_name || m_name->empty()))
        return writeLog("Must specify a name for a canvas");
    OutputQueue::sharedQueue().addToQueue(*this);
}

std::optional<OutputError> Output::write() const
{
    auto type = m_UTI;
    if (m_image && !m_canvas) {
        auto const own = m_image->getProperty(kTypeKey);
        type = own && own->asString() ? *own->asString() : std::string();
    }
    if (!types::conformsToImage(type))
        type = UTIForExtension(type);
    if (type.empty())
        return OutputError {OutputError::NoImageType, "Invalid UTI not conforming to image"};
    if (m_canvas && (!m_name || m_name->empty()))
        return OutputError {OutputError::MissingName, "Missing name"};

    auto const path = URL();
    if (!m_canvas && m_image && m_image->URL() == path) {
        writeLog("NOT OVERWRITING!");
        return std::nullopt;
    }
    auto const picture = snapshot();
    return picture ? writeImage(picture->image, path, type) : std::nullopt;
}

std::optional<OutputError> Output::writeImage(
    graphics::Image const& image, std::string const& path, std::string type)
{
    if (type.empty())
        type = UTIForExtension(splitFileName(lastPathComponent(path)).extension);
    auto const* codec = codec::codecForType(type.empty() ? kPng : type);
    if (!codec || !codec->encode)
        return OutputError {OutputError::CannotCreate, fmt::format("Cannot write files of type {}", type)};
    // A path with a zero byte would be cut short.
    bool const isUsable = path.find('\0') == path.npos;
    auto file = isUsable ? AtomicFile::create(path) : fail("not a path");
    if (!file)
        return OutputError {OutputError::CannotCreate, file.error().message};
    // What fails from here on is not told: whoever waits for the file looks for it.
    [[maybe_unused]] auto const written = encodeInto(*codec, image, path, *file);
    return std::nullopt;
}

} // namespace velk
