#include "script/PointObject.h"
#include "script/RectObject.h"
#include "script/SizeObject.h"

#include <gtest/gtest.h>

namespace velk {

namespace {

class GeometryObjects : public testing::Test {
protected:
    GeometryObjects()
    {
        constexpr js::ClassDescription const* kClasses[] = {
            &PointObject::kClass, &SizeObject::kClass, &RectObject::kClass};
        ExportedObject::registerExportedObjectsWithContext(*context, kClasses);
    }

    js::Value run(std::string const& source) { return context->evaluate(source, ""); }

    std::unique_ptr<js::Context> context = js::Context::create();
};

} // namespace

TEST_F(GeometryObjects, ReadTheirConstructorArguments)
{
    struct Case {
        char const* source;
        char const* values;
    };
    Case const cases[] = {
        {"{x, y} = new Point()", "0,0"},
        {"{x, y} = new Point(3)", "3,0"},
        {"{x, y} = new Point(undefined, '4')", "0,4"},
        {"{x, y} = new Point('a', null)", "NaN,0"},
        {"{x: x, y: y} = new Point(1.5, -2)", "1.5,-2"},
        {"{width: x, height: y} = new Size(7)", "7,7"},
        {"{width: x, height: y} = new Size(7, 2)", "7,2"},
        {"{width: x, height: y} = new Size(7, undefined)", "7,7"},
        {"{width: x, height: y} = new Size(7, null)", "7,0"},
        {"{width: x, height: y} = new Size()", "0,0"},
        {"{x, y, width: w, height: h} = new Rect(10, 20)", "0,0,10,20"},
        {"{x, y, width: w, height: h} = new Rect(1, 2, 3, 4)", "1,2,3,4"},
        {"{x, y, width: w, height: h} = new Rect(1, 2, 3)", "1,2,3,0"},
        {"{x, y, width: w, height: h} = new Rect(1, 2, undefined, 4)", "1,2,0,4"},
        {"{x, y, width: w, height: h} = new Rect()", "0,0,0,0"},
    };
    for (auto const& [source, values] : cases) {
        auto const script =
            std::string("var x, y, w, h; (") + source + "); [x, y, w, h].filter(v => v !== undefined).join()";
        EXPECT_EQ(run(script).toString(), values) << source;
    }
}

TEST_F(GeometryObjects, RectTakesItsOriginAndSizeFromAnyObject)
{
    EXPECT_EQ(run("r = new Rect(1, 2, 3, 4); r.origin = new Point(8, 9); r.size = {width: 5, height: 6}; r.x "
                  "+= 0.5;"
                  "[r.x, r.y, r.width, r.height, r.origin.x, r.size.height].join()")
                  .toString(),
        "8.5,9,5,6,8.5,6");
    EXPECT_EQ(run("r.description").toString(), "Rect: {{8.5, 9}, {5, 6}}");
    EXPECT_EQ(run("r.description = 1; r").description(), "Rect: {{8.5, 9}, {5, 6}}");
    EXPECT_EQ(run("r.origin.x = 1; r.x").toNumber(), 8.5);
}

TEST_F(GeometryObjects, AreReadByNativeCallers)
{
    EXPECT_EQ(run("new Rect(1, 2, 3, 4)").as<RectObject>()->rect(), (RectValue {1, 2, 3, 4}));
    EXPECT_EQ(run("new Size(5)").as<SizeObject>()->size(), (SizeValue {5, 5}));
    EXPECT_EQ(run("new Size(5)").as<PointObject>(), nullptr);
    EXPECT_EQ(RectObject::fromValues(4, 3, {}, {})->rect(), (RectValue {0, 0, 4, 3}));
    EXPECT_EQ(sizeFromScript(run("new Rect(1, 2, 3, 4)")), (SizeValue {3, 4}));
}

} // namespace velk
