#include "canvas/CanvasProbe.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velk {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Runs scripts with the velk binary in a directory of their own.
class CanvasScript : public testing::Test {
protected:
    RunResult run(std::string const& script, std::vector<std::string> arguments = {})
    {
        writeBytes(m_directory / "script.js", asBytes(script));
        arguments.insert(arguments.begin(), {"--js", "script.js"});
        auto result = runVelk(arguments, m_directory.path());
        EXPECT_EQ(result.status, 0) << result.errors;
        std::filesystem::remove(m_directory / "script.js");
        return result;
    }

    // What a script prints that has a canvas `c` of 8 by 4 pixels.
    std::string printed(std::string const& script)
    {
        return run("var c = new Canvas(8, 4);" + script).output;
    }

    std::string imageFile(std::string const& name)
    {
        auto const path = m_directory / name;
        EXPECT_TRUE(encode("public.png", photoLike({16, 8}, {.model = graphics::ColorModel::RGB}), path));
        return path;
    }

    TemporaryDirectory m_directory;
};

} // namespace

TEST_F(CanvasScript, ReadsPropertiesAsTheyWereSet)
{
    struct Case {
        char const *script, *output;
    };
    constexpr Case kCases[] = {
        {"print(c.getContext('webgl') === c)", "true\n"},
        {"print(c.width + 'x' + c.height); c.width = 5; print(c.width)", "8x4\n8\n"},
        {"print(c.font); c.font = 5; print(typeof c.font)", "12pt Helvetica\nstring\n"},
        {"print(c.shadowColor === null); c.shadowColor = 'red'; c.shadowColor = 5; print(c.shadowColor)",
            "true\nred\n"},
        {"c.globalCompositeOperation = 'XOR'; print(c.globalCompositeOperation)", "xor\n"},
        {"c.lineWidth = '2.5'; print(c.lineWidth); c.lineWidth = {}; print(isNaN(c.lineWidth))",
            "2.5\ntrue\n"},
        {"c.setLineDash([5.1, '2']); print(c.lineDash); c.setLineDash(); print(c.lineDash.length)",
            "[5.1, 2]\n0\n"},
        {"var s = {a: 1}; c.fillStyle = s; print(c.fillStyle === s)", "true\n"},
        {"var g = c.createLinearGradient(0, 0, 1, 1); c.fillStyle = g; print(c.fillStyle === g)", "true\n"},
        {"print(g = c.createRadialGradient(0, 0, 1, 1, 0, 0)); print(g instanceof Gradient)",
            "[object Gradient]\ntrue\n"},
        {"var m = c.measureText('  '); print(m.width + ' ' + m.height)", "0 0\n"},
        {"c.rect(0, 0, 4, 4); print(c.isPointInPath(1, 1)); print(c.isPointInPath())", "true\nfalse\n"},
    };
    for (auto const& [script, output] : kCases)
        EXPECT_EQ(printed(script), output) << script;
}

TEST_F(CanvasScript, SharesPixelsWithTypedArrays)
{
    struct Case {
        char const *script, *output;
    };
    constexpr Case kCases[] = {
        {"c.fillStyle = 'white'; c.fillRect(0, 0, 8, 4); print(Array.from(c.getImageData(0, 0, 2, 1).data))",
            "[-1, -1, -1, -1, -1, -1, -1, -1]\n"},
        {"var d = c.createImageData(3, 2).data; d[0] = 200; print(d.length + ' ' + d[0] + ' ' + d[1])",
            "24 -56 0\n"},
        {"var i = c.getImageData(4, 3); print(i.width + 'x' + i.height); print(i.data === i.data)",
            "4x3\ntrue\n"},
        {"var i = c.getImageData('0', null, '2', true); print(i.width + 'x' + i.height)", "2x1\n"},
        {"var i = c.createImageData(1, 1); i.data[3] = 255; c.putImageData(i, 2, 1);"
         "print(c.getImageData(2, 1, 1, 1).data[3]); print(c.createImageData(i).data[3])",
            "-1\n-1\n"},
        {"print(c.createImageData(0x40000000, 1).data.length); print(c.createImageData().data.length)",
            "0\n0\n"},
        {"print(c.getImageData(0, 0, 1e9, 1e9).data.length)", "0\n"},
        // The array outlives what it was taken from.
        {"var kept = []; for (var i = 0; i < 2000; ++i) kept.push(c.createImageData(64, 64).data);"
         "kept.forEach(d => d.fill(7)); print(kept[0][16383])",
            "7\n"},
    };
    for (auto const& [script, output] : kCases)
        EXPECT_EQ(printed(script), output) << script;
}

TEST_F(CanvasScript, NeverThrowsForWhatMakesNoSense)
{
    auto const result = run(R"(
        var values = [undefined, null, NaN, Infinity, -1, 1e300, "", "text", "\uD800", {}, [], () => 1,
            Symbol("s"), new Canvas(2, 2), new Point(1, 2), 10n];
        var hostile = { valueOf() { throw 1; }, toString() { throw 2; } };
        var c = new Canvas(20, 20);
        var makers = { Canvas, ImageData, Output, Image, Gradient, PatternObject, Point, Size, Rect };
        var targets = [c, new Output(c, "x"), new Image(), new Gradient(), new ImageData(2, 2)];
        for (var value of [...values, hostile]) {
            for (var name in makers) {
                try { new makers[name](value, value, value); } catch (e) { print(name + " threw"); }
            }
            for (var target of targets) {
                var all = [...Object.getOwnPropertyNames(Object.getPrototypeOf(target)), "name", "UTI"];
                for (var name of all) {
                    if (name == "constructor" || name == "addToQueue")
                        continue;
                    try {
                        if (typeof target[name] == "function")
                            target[name](value, value, value, value, value, value, value, value, value);
                        else
                            target[name] = value;
                    } catch (e) { print(name + " threw " + e); }
                }
            }
        }
        for (var i = 0; i < 100000; ++i)
            c.save();
        c.restore();
        print("done");
    )");
    EXPECT_THAT(result.output, testing::EndsWith("done\n"));
    EXPECT_THAT(result.output, testing::Not(HasSubstr("threw")));
}

TEST_F(CanvasScript, WritesCanvasesAndImages)
{
    imageFile("in.png");
    std::filesystem::create_directory(m_directory / "out");
    auto const result = run(R"(
        var image = velk.images[0];
        print(image.name + " " + image.size.width + "x" + image.size.height);
        var c = new Canvas(20, 10);
        c.fillStyle = "lime";
        c.fillRect(0, 0, 20, 10);
        new Output(c, "some/where/plain").addToQueue();
        c.fillStyle = "black";
        c.fillRect(0, 0, 20, 10);
        c.drawImage(image, 2, 1);
        new Output(c, "later.tif").addToQueue();
        new Output(image, "ignored.jpg").addToQueue();
        new Output(c).addToQueue();
        new Output(5, "a.png").addToQueue();
    )",
        {"--out", "out", "in.png"});
    EXPECT_EQ(result.output, "in.png 16x8\n");
    EXPECT_THAT(result.errors, HasSubstr("Must specify a name for a canvas"));
    EXPECT_THAT(result.errors, HasSubstr("Must specify either a canvas or an image"));
    EXPECT_THAT(m_directory.names(), ElementsAre("in.png", "out"));
    auto const plain = decode(m_directory / "out/plain.png");
    ASSERT_TRUE(plain);
    EXPECT_EQ(component(**plain, 0, 0, 0), 0);
    EXPECT_EQ(component(**plain, 0, 0, 1), 1);
    EXPECT_TRUE((*plain)->layout().space.profile()); // says which green it is
    EXPECT_EQ((*decode(m_directory / "out/later.tif"))->size(), (graphics::Size {20, 10}));
    EXPECT_LT(
        largestDifference(**decode(m_directory / "out/in.png"), **decode(m_directory / "in.png")), 0.001);
}

TEST_F(CanvasScript, ReadsAndChangesPropertiesOfImages)
{
    std::filesystem::copy_file(dataFile("Canon_PowerShot_S40.jpg"), m_directory / "photo.jpg");
    auto const before = readBytes(m_directory / "photo.jpg");
    auto const result = run(R"(
        var image = velk.images[0];
        print(image.getProperty("TIFF.Make"));
        print(image.properties.TIFF.Make);
        image.setProperty("TIFF.Make", "X");
        image.setProperty("TIFF.Make.deeper", { list: [1, "two", true] });
        image.setProperty("TIFF.Make", undefined);
        print(image.getProperty("TIFF.Make.deeper.list.x") === undefined);
        print(image.getProperty("TIFF.Make.deeper").list);
        print(Object.keys(image.properties.TIFF));
        print(image.properties.uti + " " + (image.properties.nothing === undefined));
        var deep = {}; for (var i = 0; i < 100000; ++i) deep = { deep };
        image.setProperty("deep", deep);
        var cycle = {}; cycle.cycle = cycle;
        image.setProperty("cycle", cycle);
    )",
        {"photo.jpg"});
    EXPECT_EQ(result.output, "Canon\nCanon\ntrue\n[1, \"two\", true]\n[\"Make\"]\npublic.jpeg true\n");
    EXPECT_EQ(readBytes(m_directory / "photo.jpg"), before);
}

} // namespace velk
