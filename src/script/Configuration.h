#pragma once

#include "script/GeometryValues.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velk {

/// What the command line asks of a script: the global `velk`. The runner fills it, scripts only read it.
class Configuration final : public js::NativeObject {
public:
    static js::ClassDescription const kClass;

    /// The one of this process.
    static std::shared_ptr<Configuration> const& sharedInstance();

    js::ClassDescription const& classDescription() const override { return kClass; }

    /// The valid files of the command line as script images.
    std::vector<std::shared_ptr<js::NativeObject>> const& images() const { return m_images; }
    void setImages(std::vector<std::shared_ptr<js::NativeObject>> images) { m_images = std::move(images); }

    /// The arguments of the process without the program's name.
    std::vector<std::string> const& arguments() const { return m_arguments; }
    void setArguments(std::vector<std::string> arguments) { m_arguments = std::move(arguments); }

    /// Length in pixels that the longer edge of an output should have; 0 = none is asked for.
    double longestEdge() const { return m_longestEdge; }
    void setLongestEdge(double edge) { m_longestEdge = edge; }

    /// The directory for outputs; empty = none was named.
    std::string const& outputDir() const;
    void setOutputDir(std::optional<std::string> directory) { m_outputDir = std::move(directory); }

    /// The one path for all outputs; empty = none was named.
    std::string const& outputPath() const;
    void setOutputPath(std::optional<std::string> path) { m_outputPath = std::move(path); }

    /// Recommended size of outputs in pixels; zero = none.
    SizeValue size() const { return m_size; }
    void setSize(SizeValue size) { m_size = size; }

    /// The size that a picture of `size` should be put out in: `size()` if there is one, else scaled down to
    /// `longestEdge()`; never larger than it is.
    SizeValue requestedSizeForSize(SizeValue size) const;

    /// As scripts see them: lists are new arrays at every reading, and what is not set is undefined.
    js::Value imagesForScript() const;
    js::Value argumentsForScript() const;
    js::Value outputDirForScript() const;
    js::Value outputPathForScript() const;
    js::Value sizeForScript() const { return toScript(m_size); }
    js::Value requestedSizeForScript(js::Value size) const;

private:
    std::vector<std::shared_ptr<js::NativeObject>> m_images;
    std::vector<std::string> m_arguments;
    double m_longestEdge = 0;
    std::optional<std::string> m_outputDir;
    std::optional<std::string> m_outputPath;
    SizeValue m_size;
};

} // namespace velk
