#pragma once

#include "base/PropertyValue.h"
#include "platform/codec/ImageSource.h"
#include "script/ExportedObject.h"
#include "script/GeometryValues.h"
#include "script/SnapshotSource.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk {

/// `Image` of scripts: a view of image 0 of a file. The file is opened when pixels or properties are first
/// asked for, and again the next time when that failed. Changes to properties lie beside those of the file
/// and are never written to it.
class Image final : public ExportedObject, public SnapshotSource {
public:
    static js::ClassDescription const kClass;

    /// An image of the file at `path`, which is not opened. An empty path is that of no file.
    explicit Image(std::string path)
        : m_URL(std::move(path))
    {
    }
    static std::shared_ptr<Image> imageWithURL(std::string path)
    {
        return std::make_shared<Image>(std::move(path));
    }

    js::ClassDescription const& classDescription() const override { return kClass; }
    std::string description() const override;

    /// Path of the file.
    std::string const& URL() const { return m_URL; }
    /// The last component of the path.
    std::string name() const;
    /// In pixels; zero without an image.
    SizeValue size() const;
    /// Width through height; 0 without an image.
    double aspectRatio() const;
    /// The image's handle, its pixels undecoded; nothing when the file is no image.
    std::optional<graphics::Image> imageRef() const;
    std::optional<Snapshot> snapshot() const override;

    /// The file's properties with the changes in their place: a changed top-level entry replaces the file's
    /// whole entry. Nothing when there are neither.
    std::optional<PropertyDictionary> properties() const;
    PropertyDictionary const& modifiedProperties() const { return m_modifiedProperties; }

    /// The value at a path of keys with dots between them, from the changes or else from the file.
    std::optional<PropertyValue> getProperty(std::string const& keyPath) const;
    /// Records a change. A value on the way that is no dictionary makes room for one. What is deeper than
    /// any file's properties is ignored.
    void setProperty(std::string const& keyPath, PropertyValue value);
    bool hasModfiedKeyPath(std::string_view keyPath) const;

    /// The size with its longer edge at `edge` and the other in whole pixels.
    SizeValue scaledSizeWithLongestEdge(double edge) const;
    /// The same, but not larger than the image.
    SizeValue sizeToFitLongestEdge(double edge) const;

    js::Value sizeForScript() const { return toScript(size()); }
    js::Value propertiesForScript() const;
    js::Value getPropertyForScript(std::string const& keyPath) const;
    void setPropertyFromScript(std::string const& keyPath, js::Value const& value);
    js::Value scaledSizeForScript(double edge) const { return toScript(scaledSizeWithLongestEdge(edge)); }
    js::Value fittingSizeForScript(double edge) const { return toScript(sizeToFitLongestEdge(edge)); }

private:
    static std::vector<std::string_view> keysInPath(std::string_view keyPath);
    static PropertyValue const* objectForKeyPath(
        std::string_view keyPath, PropertyDictionary const& dictionary);

    codec::ImageSource const* ensureImage() const;
    PropertyDictionary const* ensureProperties() const;

    std::string m_URL;
    PropertyDictionary m_modifiedProperties;
    /// What was read of the file so far.
    mutable std::shared_ptr<codec::ImageSource const> m_source;
    mutable std::optional<PropertyDictionary> m_properties;
};

} // namespace velk
