#pragma once

#include "script/ExportedObject.h"
#include "script/GeometryValues.h"

namespace velk {

/// `Point` of scripts: `new Point(x, y)`, what is missing is 0.
class PointObject final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    explicit PointObject(PointValue point)
        : m_point(point)
    {
    }
    /// As the constructor reads its arguments.
    static std::shared_ptr<PointObject> fromValues(js::Value const& x, js::Value const& y);

    js::ClassDescription const& classDescription() const override { return kClass; }
    std::string description() const override;

    PointValue point() const { return m_point; }
    double x() const { return m_point.x; }
    double y() const { return m_point.y; }
    void setX(js::Value const& x) { m_point.x = x.toNumber(); }
    void setY(js::Value const& y) { m_point.y = y.toNumber(); }

private:
    PointValue m_point;
};

} // namespace velk
