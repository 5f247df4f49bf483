#pragma once

#include "script/ExportedObject.h"
#include "script/GeometryValues.h"

namespace velk {

/// `Size` of scripts: `new Size(width, height)`; a missing height is the width.
class SizeObject final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    explicit SizeObject(SizeValue size)
        : m_size(size)
    {
    }
    /// As the constructor reads its arguments.
    static std::shared_ptr<SizeObject> fromValues(js::Value const& width, js::Value const& height);

    js::ClassDescription const& classDescription() const override { return kClass; }
    std::string description() const override;

    SizeValue size() const { return m_size; }
    double width() const { return m_size.width; }
    double height() const { return m_size.height; }
    void setWidth(js::Value const& width) { m_size.width = width.toNumber(); }
    void setHeight(js::Value const& height) { m_size.height = height.toNumber(); }

private:
    SizeValue m_size;
};

} // namespace velk
