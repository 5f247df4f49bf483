#include "platform/js/ScriptTest.h"

#include <cmath>

namespace velk::js {

class ScriptValue : public test::ScriptTest { };

TEST_F(ScriptValue, ConvertsAsJavaScriptDoes)
{
    struct Case {
        char const* source;
        double number;
        std::uint32_t integer;
        char const* text;
        char const* description;
    };
    auto const nan = std::nan("");
    Case const cases[] = {
        {"undefined", nan, 0, "undefined", "undefined"},
        {"null", 0, 0, "null", "null"},
        {"true", 1, 1, "true", "true"},
        {"-1.5", -1.5, 4294967295, "-1.5", "-1.5"},
        {"1e21", 1e21, 3735027712, "1e+21", "1e+21"},
        {"0.1 + 0.2", 0.1 + 0.2, 0, "0.30000000000000004", "0.30000000000000004"},
        {"-0", -0.0, 0, "0", "0"},
        {"' 12 '", 12, 12, " 12 ", " 12 "},
        {"'0x10'", 16, 16, "0x10", "0x10"},
        {"'grün 🎨'", nan, 0, "grün 🎨", "grün 🎨"},
        {"'a\\ud800b'", nan, 0,
            "a\xEF\xBF\xBD"
            "b",
            "a\xEF\xBF\xBD"
            "b"},
        {"'a\\0b'.length", 3, 3, "3", "3"},
        {"[7]", 7, 7, "7", "[7]"},
        {"[1, 'a', null, undefined]", nan, 0, "1,a,,", "[1, \"a\", null, undefined]"},
        {"({a: 1, b: 'x\\n\"', c: {d: [true]}})", nan, 0, "[object Object]",
            "{a: 1, b: \"x\\n\\\"\", c: {d: [true]}}"},
        {"10n", nan, 0, "10", "10"},
        {"Symbol('s')", nan, 0, "", "Symbol(s)"},
        {"new Error('broken')", nan, 0, "Error: broken", "Error: broken"},
        {"new Int8Array([1, -2])", nan, 0, "1,-2", "Int8Array [1, -2]"},
        {"/a+/g", nan, 0, "/a+/g", "/a+/g"},
        {"({valueOf() { throw 1 }, toString() { throw 2 }})", nan, 0, "",
            "{valueOf: valueOf() { throw 1 }, toString: toString() { throw 2 }}"},
        {"({get bad() { throw 1 }, good: 2})", nan, 0, "[object Object]", "{bad: , good: 2}"},
        {"new Counter(3)", nan, 0, "[object Counter]", "[object Counter]"},
        {"let a = [1]; a.push(a, {a}); a", nan, 0, "1,,[object Object]", "[1, [...], {a: [...]}]"},
    };
    for (auto const& expected : cases) {
        auto const value = run(expected.source);
        EXPECT_EQ(thrown, std::vector<std::string>()) << expected.source;
        if (std::isnan(expected.number))
            EXPECT_TRUE(std::isnan(value.toNumber())) << expected.source;
        else
            EXPECT_EQ(value.toNumber(), expected.number) << expected.source;
        EXPECT_EQ(value.toUint32(), expected.integer) << expected.source;
        EXPECT_EQ(value.toString(), expected.text) << expected.source;
        EXPECT_EQ(value.description(), expected.description) << expected.source;
    }
}

TEST_F(ScriptValue, DescribesWhatHasNoEnd)
{
    auto const deep = run("let d = 1; for (let i = 0; i < 1e5; ++i) d = [d]; d").description();
    EXPECT_LT(deep.size(), 100U);
    auto const wide =
        run("let w = 1; for (let i = 0; i < 15; ++i) w = [w, w, w, w, w, w, w, w]; w").description();
    EXPECT_LT(wide.size(), std::size_t {2} << 20);
    EXPECT_NE(wide.find("..."), std::string::npos);
    EXPECT_EQ(run("new Int8Array(101)").description().substr(309), ", ...]");
    EXPECT_EQ(run("new Proxy({}, {ownKeys() { throw 1 }})").description().substr(0, 1), "[");
}

TEST_F(ScriptValue, ReadsListsOfNumbers)
{
    using Numbers = std::vector<double>;
    EXPECT_EQ(run("[1, '2', 5.5, true]").toNumbers(), (Numbers {1, 2, 5.5, 1}));
    EXPECT_EQ(run("new Float32Array([0.5, 2])").toNumbers(), (Numbers {0.5, 2}));
    for (auto const* const none : {"undefined", "5", "'123'", "({length: 2, 0: 1})", "Symbol()"})
        EXPECT_EQ(run(none).toNumbers(), Numbers()) << none;

    auto const odd = run("[Symbol(), , {valueOf() { throw 1 }}, 4]").toNumbers();
    ASSERT_EQ(odd.size(), 4U);
    EXPECT_TRUE(std::isnan(odd[0]) && std::isnan(odd[1]) && std::isnan(odd[2]));
    EXPECT_EQ(odd[3], 4);
    EXPECT_EQ(run("new Array(4294967295)").toNumbers().size(), 1'000'000U);
    EXPECT_EQ(text("'no exception is left'"), "no exception is left");
}

TEST_F(ScriptValue, ReadsPropertiesOfObjects)
{
    auto const value = run("({width: 3, get bad() { throw 1 }, 'ü': 4, 7: 5})");
    EXPECT_EQ(value.property("width").toNumber(), 3);
    EXPECT_EQ(value.property("ü").toNumber(), 4);
    EXPECT_EQ(value.property("7").toNumber(), 5);
    EXPECT_TRUE(value.property("bad").isUndefined());
    EXPECT_TRUE(value.property("none").isUndefined());
    EXPECT_TRUE(run("'text'").property("length").isUndefined());
    EXPECT_EQ(run("new Counter(4)").property("count").toNumber(), 4);
}

TEST_F(ScriptValue, CarriesPropertyValuesBothWays)
{
    PropertyDictionary const properties = {
        {"Make", "Grün"},
        {"Width", 640},
        {"Exposure", 0.008},
        {"Flash", true},
        {"Taken", PropertyDate {2021, 2, 3, 4, 5, 6}},
        {"Raw", std::make_shared<Bytes const>(Bytes {1, 200})},
        {"__proto__", "data"},
        {"7", "index"},
        {"Lens", PropertyArray {24, 70.5, "mm", PropertyDictionary {{"Id", 5}}}},
    };
    context->setGlobal("p", Value(PropertyValue(properties)));
    EXPECT_EQ(text("[p.Make, p.Width + 1, p.Exposure, p.Flash, p.Taken instanceof Date, p.Taken.getHours(),"
                   "p.Raw instanceof Uint8Array, p.Raw[1], p[7], p.Lens.length, p.Lens[3].Id].join()"),
        "Grün,641,0.008,true,true,4,true,200,index,4,5");
    EXPECT_EQ(run("p").toProperty(), PropertyValue(properties));
}

TEST_F(ScriptValue, ReadsAsPropertiesOnlyWhatIsPlain)
{
    for (auto const* const none :
        {"undefined", "null", "() => 1", "Symbol()", "5n", "new Counter(1)", "new Date(NaN)", "new Map"})
        EXPECT_EQ(run(none).toProperty(), std::nullopt) << none;
    EXPECT_EQ(run("({a: 1, f() {}, n: null, get g() { throw 1 }, s: Symbol(), [Symbol()]: 2})").toProperty(),
        PropertyValue(PropertyDictionary {{"a", 1}}));
    EXPECT_EQ(run("[2 ** 53, 2 ** 60, 1.5]").toProperty(),
        PropertyValue(PropertyArray {std::int64_t {1} << 53, std::ldexp(1.0, 60), 1.5}));
    // Neither a cycle nor a tree that shares its branches runs on.
    EXPECT_TRUE(run("let o = {n: 1}; o.o = o; o").toProperty().has_value());
    EXPECT_TRUE(run("let t = [1]; for (let i = 0; i < 60; ++i) t = [t, t]; t").toProperty().has_value());
}

TEST_F(ScriptValue, HandsTextThatIsNoUtf8ToScripts)
{
    context->setGlobal("t", Value(std::string("a\xFFz\0", 4)));
    EXPECT_EQ(text("t.length + ':' + t.charCodeAt(1)"), "4:65533");
}

} // namespace velk::js
