#include "script/Configuration.h"

#include "platform/js/ClassTable.h"

#include <algorithm>
#include <cmath>

namespace velk {

namespace {

constexpr js::MethodDescription kMethods[] = {
    {"requestedSizeForSize", js::method<&Configuration::requestedSizeForScript>},
};

constexpr js::PropertyDescription kProperties[] = {
    {"images", js::getter<&Configuration::imagesForScript>},
    {"arguments", js::getter<&Configuration::argumentsForScript>},
    {"longestEdge", js::getter<&Configuration::longestEdge>},
    {"outputDir", js::getter<&Configuration::outputDirForScript>},
    {"outputPath", js::getter<&Configuration::outputPathForScript>},
    {"size", js::getter<&Configuration::sizeForScript>},
};

std::string const& textOrEmpty(std::optional<std::string> const& text)
{
    static std::string const empty;
    return text ? *text : empty;
}

js::Value textOrUndefined(std::optional<std::string> const& text)
{
    return text ? js::Value(*text) : js::Value();
}

} // namespace

js::ClassDescription const Configuration::kClass = {"Configuration", nullptr, kMethods, kProperties};

std::shared_ptr<Configuration> const& Configuration::sharedInstance()
{
    static auto const instance = std::make_shared<Configuration>();
    return instance;
}

std::string const& Configuration::outputDir() const
{
    return textOrEmpty(m_outputDir);
}

std::string const& Configuration::outputPath() const
{
    return textOrEmpty(m_outputPath);
}

SizeValue Configuration::requestedSizeForSize(SizeValue size) const
{
    if (!m_size.isZero())
        return m_size;
    if (!(size.height > 0) || !(m_longestEdge > 0))
        return size;
    auto const ratio = size.width / size.height;
    auto const candidate = ratio > 1 ? SizeValue {m_longestEdge, std::round(m_longestEdge / ratio)}
                                     : SizeValue {std::round(ratio * m_longestEdge), m_longestEdge};
    bool const enlarges = candidate.width > size.width || candidate.height > size.height;
    return enlarges ? size : candidate;
}

js::Value Configuration::imagesForScript() const
{
    return js::Value::list({m_images.begin(), m_images.end()});
}

js::Value Configuration::argumentsForScript() const
{
    return js::Value::list({m_arguments.begin(), m_arguments.end()});
}

js::Value Configuration::outputDirForScript() const
{
    return textOrUndefined(m_outputDir);
}

js::Value Configuration::outputPathForScript() const
{
    return textOrUndefined(m_outputPath);
}

js::Value Configuration::requestedSizeForScript(js::Value size) const
{
    return toScript(requestedSizeForSize(sizeFromScript(size)));
}

} // namespace velk
