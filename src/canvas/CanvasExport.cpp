#include "canvas/Canvas.h"
#include "platform/js/ClassTable.h"

namespace velk {

namespace {

js::Value drawImage(js::NativeObject& self, js::Arguments const& arguments)
{
    Canvas::ImageArguments places;
    for (std::size_t i = 0; i < places.size(); ++i)
        places[i] = arguments.value(i + 1);
    static_cast<Canvas&>(self).drawImage(arguments.native<Image>(0), places);
    return {};
}

constexpr js::MethodDescription kMethods[] = {
    {"getContext", js::method<&Canvas::getContext>},
    {"setLineDash", js::method<&Canvas::setLineDash>},
    {"save", js::method<&Canvas::save>},
    {"restore", js::method<&Canvas::restore>},

    {"scale", js::method<&Canvas::scale>},
    {"rotate", js::method<&Canvas::rotate>},
    {"translate", js::method<&Canvas::translate>},
    {"transform", js::method<&Canvas::transform>},
    {"setTransform", js::method<&Canvas::setTransform>},

    {"beginPath", js::method<&Canvas::beginPath>},
    {"closePath", js::method<&Canvas::closePath>},
    {"moveTo", js::method<&Canvas::moveTo>},
    {"lineTo", js::method<&Canvas::lineTo>},
    {"quadraticCurveTo", js::method<&Canvas::quadraticCurveTo>},
    {"bezierCurveTo", js::method<&Canvas::bezierCurveTo>},
    {"arc", js::method<&Canvas::arc>},
    {"arcTo", js::method<&Canvas::arcTo>},
    {"rect", js::method<&Canvas::rect>},
    {"isPointInPath", js::method<&Canvas::isPointInPath>},

    {"fill", js::method<&Canvas::fill>},
    {"stroke", js::method<&Canvas::stroke>},
    {"clip", js::method<&Canvas::clip>},
    {"fillRect", js::method<&Canvas::fillRect>},
    {"strokeRect", js::method<&Canvas::strokeRect>},
    {"clearRect", js::method<&Canvas::clearRect>},

    {"fillText", js::method<&Canvas::fillText>},
    {"strokeText", js::method<&Canvas::strokeText>},
    {"measureText", js::method<&Canvas::measureTextForScript>},

    {"drawImage", drawImage},
    {"createImageData", js::method<&Canvas::createImageData>},
    {"getImageData", js::method<&Canvas::getImageData>},
    {"putImageData", js::method<&Canvas::putImageData>},

    {"createLinearGradient", js::method<&Canvas::createLinearGradient>},
    {"createRadialGradient", js::method<&Canvas::createRadialGradient>},
    {"createPattern", js::method<&Canvas::createPattern>},
};

constexpr js::PropertyDescription kProperties[] = {
    {"width", js::getter<&Canvas::width>},
    {"height", js::getter<&Canvas::height>},
    {"fillStyle", js::getter<&Canvas::fillStyle>, js::setter<&Canvas::setFillStyle>},
    {"strokeStyle", js::getter<&Canvas::strokeStyle>, js::setter<&Canvas::setStrokeStyle>},
    {"shadowColor", js::getter<&Canvas::shadowColor>, js::setter<&Canvas::setShadowColor>},
    {"shadowBlur", js::getter<&Canvas::shadowBlur>, js::setter<&Canvas::setShadowBlur>},
    {"shadowOffsetX", js::getter<&Canvas::shadowOffsetX>, js::setter<&Canvas::setShadowOffsetX>},
    {"shadowOffsetY", js::getter<&Canvas::shadowOffsetY>, js::setter<&Canvas::setShadowOffsetY>},
    {"lineCap", js::getter<&Canvas::lineCap>, js::setter<&Canvas::setLineCap>},
    {"lineJoin", js::getter<&Canvas::lineJoin>, js::setter<&Canvas::setLineJoin>},
    {"lineWidth", js::getter<&Canvas::lineWidth>, js::setter<&Canvas::setLineWidth>},
    {"miterLimit", js::getter<&Canvas::miterLimit>, js::setter<&Canvas::setMiterLimit>},
    {"lineDash", js::getter<&Canvas::lineDash>},
    {"font", js::getter<&Canvas::font>, js::setter<&Canvas::setFont>},
    {"textAlign", js::getter<&Canvas::textAlign>, js::setter<&Canvas::setTextAlign>},
    {"textBaseline", js::getter<&Canvas::textBaseline>, js::setter<&Canvas::setTextBaseline>},
    {"globalAlpha", js::getter<&Canvas::globalAlpha>, js::setter<&Canvas::setGlobalAlpha>},
    {"globalCompositeOperation", js::getter<&Canvas::globalCompositeOperation>,
        js::setter<&Canvas::setGlobalCompositeOperation>},
};

std::shared_ptr<js::NativeObject> construct(js::Arguments const& arguments)
{
    return std::make_shared<Canvas>(arguments.uint32(0), arguments.uint32(1));
}

} // namespace

js::ClassDescription const Canvas::kClass {
    .name = "Canvas",
    .construct = construct,
    .methods = kMethods,
    .properties = kProperties,
};

} // namespace velk
