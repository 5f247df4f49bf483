#pragma once

#include "script/ExportedObject.h"
#include "script/GeometryValues.h"

namespace velk {

/// `Rect` of scripts: `new Rect(x, y, width, height)`, or `new Rect(width, height)` at the origin.
class RectObject final : public ExportedObject {
public:
    static js::ClassDescription const kClass;

    explicit RectObject(RectValue rect)
        : m_rect(rect)
    {
    }
    /// As the constructor reads its arguments: without `c` and `d`, `a` and `b` are the size.
    static std::shared_ptr<RectObject> fromValues(
        js::Value const& a, js::Value const& b, js::Value const& c, js::Value const& d);

    js::ClassDescription const& classDescription() const override { return kClass; }
    /// "Rect: {{x, y}, {width, height}}", numbers in shortest general notation.
    std::string description() const override;

    RectValue rect() const { return m_rect; }
    void setRect(RectValue rect) { m_rect = rect; }

    double x() const { return m_rect.x; }
    double y() const { return m_rect.y; }
    double width() const { return m_rect.width; }
    double height() const { return m_rect.height; }
    js::Value origin() const { return toScript(PointValue {m_rect.x, m_rect.y}); }
    js::Value size() const { return toScript(SizeValue {m_rect.width, m_rect.height}); }
    void setX(js::Value const& x) { m_rect.x = x.toNumber(); }
    void setY(js::Value const& y) { m_rect.y = y.toNumber(); }
    void setWidth(js::Value const& width) { m_rect.width = width.toNumber(); }
    void setHeight(js::Value const& height) { m_rect.height = height.toNumber(); }
    void setOrigin(js::Value const& origin);
    void setSize(js::Value const& size);

private:
    RectValue m_rect;
};

} // namespace velk
