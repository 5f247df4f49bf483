#pragma once

#include "script/ExportedObject.h"
#include "script/Image.h"
#include "script/SnapshotSource.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velk {

/// Why an output could not be written.
struct OutputError {
    enum Code : int { CannotCreate = 1, MissingName = 1, NoImageType = 2 };
    int code;
    std::string description;
};

/// `Output` of scripts: a file to be made from a canvas, or from an image when there is no canvas.
class Output final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    /// `source` is a canvas or an image. The name loses its directories. `type` is a type identifier or a
    /// filename extension, of any kind. Undefined and null are not given.
    Output(js::Value const& source, js::Value const& name, js::Value const& type = {});

    js::ClassDescription const& classDescription() const override { return kClass; }

    /// Hands the output as it stands to the shared queue; the log says what is missing for that.
    void addToQueue() const;
    /// Writes the output at once. An image does not replace its own file that way.
    std::optional<OutputError> write() const;

    /// Where the file goes: the configured path, else in the configured directory (or the image's own, or the
    /// working directory) an image under its own file's name, and a canvas under `name` with an extension
    /// that fits its type if it has none.
    std::string const& URL() const;
    /// The type identifier: the one that was set, else what the name's extension says (PNG without one), or
    /// the image's own. Empty when nothing tells.
    std::string const& UTI() const;
    /// What would be written now.
    std::optional<Snapshot> snapshot() const;

    /// The type identifier for a filename extension; made up for unknown ones.
    static std::string UTIForExtension(std::string_view extension);
    /// The preferred extension of a type, which is given by its identifier or by one of its extensions.
    static std::string extensionForUTI(std::string_view type);
    /// Writes an image without metadata, but with its profile; an empty `type` is taken from the path. An
    /// error only when no file of that type can be made there: no half-written file is left behind in any
    /// case. Safe on any thread.
    static std::optional<OutputError> writeImage(
        graphics::Image const& image, std::string const& path, std::string type);

    js::Value canvasForScript() const { return m_canvasObject; }
    js::Value imageForScript() const { return js::Value(m_image); }
    js::Value nameForScript() const;
    js::Value UTIForScript() const;
    void setCanvas(js::Value const& value);
    void setImage(js::Value const& value);
    void setName(js::Value const& value);
    void setUTI(js::Value const& value);

private:
    std::string outputDir() const;
    std::string canvasFileName() const;

    std::shared_ptr<SnapshotSource> m_canvas;
    js::Value m_canvasObject = nullptr;
    std::shared_ptr<Image> m_image;
    std::optional<std::string> m_name;
    // Worked out when they are asked for.
    mutable std::string m_UTI;
    mutable std::string m_URL;
};

} // namespace velk
