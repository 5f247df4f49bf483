#include "platform/js/ScriptTest.h"

#include <algorithm>

namespace velk::js {

using test::Counter;

class NativeClass : public test::ScriptTest { };

TEST_F(NativeClass, BehavesInScriptsLikeAnyClass)
{
    struct Case {
        char const* source;
        char const* result;
    };
    Case const cases[] = {
        {"let c = new Counter(3); c.add(4); c.count", "7"},
        {"c = new Counter(3); c.count = '12'; c.count", "12"},
        {"new Counter(1) instanceof Counter", "true"},
        {"new Counter(1).constructor === Counter", "true"},
        {"Object.prototype.toString.call(new Counter(1))", "[object Counter]"},
        {"Counter.name", "Counter"},
        {"Counter(5).count", "5"},
        {"[...'count total style bytes self'.split(' ')].every(n => n in Counter.prototype)", "true"},
        {"class Double extends Counter { get twice() { return 2 * this.count } }; new Double(4).twice", "8"},
        {"new Double(4) instanceof Double && new Double(4) instanceof Counter", "true"},
        {"c.join('a', 7)", "a/7"},
        {"c.join(undefined, -1)", "/4294967295"},
        {"c.join({toString: () => 'o'}, 4294967298.9)", "o/2"},
        {"c.add(); isNaN(c.count)", "true"},
        {"c.sameAs(c)", "true"},
        {"c.sameAs(new Counter(1)) || c.sameAs(1) || c.sameAs() || c.sameAs({})", "false"},
        {"let Counter2 = Counter; { let Counter = 5; Counter }", "5"},
    };
    for (auto const& [source, result] : cases)
        EXPECT_EQ(text(source), result) << source;
}

TEST_F(NativeClass, NeverThrowsIntoScripts)
{
    struct Case {
        char const* source;
        char const* result;
    };
    Case const cases[] = {
        {"'use strict'; let c = new Counter(3); c.total = 9; c.total", "3"},
        {"'use strict'; const {add} = c; add(1); c.count", "3"},
        {"Counter.prototype.count", "undefined"},
        {"Counter.prototype.add.call({}, 1)", "undefined"},
        {"Counter.prototype.add.call(null, 1)", "undefined"},
        {"Counter.prototype.self.call(new Proxy(c, {}))", "undefined"},
        {"Object.create(c).count", "undefined"},
        {"Counter.prototype.add.call(Counter.prototype, 1)", "undefined"},
        {"new Counter() instanceof Counter && new Counter().count === undefined", "true"},
        {"c.add({valueOf() { throw 1 }}); c.count", "NaN"},
        {"c.count = Symbol(); c.count", "NaN"},
        {"c.count = 5n; c.count", "NaN"},
        {"c.join(Symbol(), {valueOf() { throw 1 }})", "/0"},
        {"c.join({toString() { throw 1 }}, 1)", "/1"},
        {"c.fail()", "undefined"},
    };
    for (auto const& [source, result] : cases)
        EXPECT_EQ(text(source), result) << source;
}

TEST_F(NativeClass, RunsOutOfMemoryAsAnErrorOfTheScript)
{
    EXPECT_EQ(text("new Counter(1).exhaustMemory()"), "thrown: out of memory");
    EXPECT_EQ(text("try { new Counter(1).exhaustMemory() } catch { 'caught' }"), "caught");
}

TEST_F(NativeClass, HandsOutOneScriptObjectForOneNativeObject)
{
    auto const counter = std::make_shared<Counter>(1);
    context->setGlobal("given", Value(std::shared_ptr<NativeObject>(counter)));
    EXPECT_EQ(text("given.mark = 'kept'; given.self() === given"), "true");
    context->collectGarbage();
    context->setGlobal("again", Value(std::shared_ptr<NativeObject>(counter)));
    EXPECT_EQ(text("again === given && again.mark"), "kept");
    EXPECT_EQ(run("given").as<Counter>(), counter);
    EXPECT_EQ(run("given.constructor").as<Counter>(), nullptr);
}

TEST_F(NativeClass, LivesWhileEitherSideHoldsIt)
{
    run("for (let i = 0; i < 100; ++i) new Counter(i); var kept = new Counter(42);");
    auto held = run("new Counter(7)").as<Counter>();
    context->collectGarbage();
    EXPECT_EQ(Counter::living, 2);
    EXPECT_EQ(held->count(), 7);
    context->setGlobal("back", Value(std::shared_ptr<NativeObject>(held)));
    EXPECT_EQ(text("back.count + kept.count"), "49");

    run("kept = back = undefined");
    context->collectGarbage();
    EXPECT_EQ(Counter::living, 1);
    context.reset();
    EXPECT_EQ(Counter::living, 1);
    held.reset();
    EXPECT_EQ(Counter::living, 0);
}

TEST_F(NativeClass, KeepsAssignedScriptValues)
{
    EXPECT_EQ(text("var c = new Counter(1); c.style = {deep: [1, 2]}; c.style.deep[1]"), "2");
    context->collectGarbage();
    EXPECT_EQ(text("c.style.deep[1]"), "2");
    EXPECT_EQ(text("let o = {}; c.style = o; c.style === o"), "true");
    EXPECT_EQ(text("c.style = c; c.style === c"), "true");

    // A value outlives its context; the object inside it does not.
    auto const counter = run("c.style = {a: 1}; c").as<Counter>();
    context.reset();
    EXPECT_TRUE(counter->style().property("a").isUndefined());
}

TEST_F(NativeClass, SharesBytesWithItsTypedArray)
{
    auto const memory = run("var c = new Counter(1); var bytes = c.bytes; c").as<Counter>()->memory();
    EXPECT_EQ(text("bytes instanceof Int8Array && bytes.length"), "4");
    EXPECT_EQ(text("bytes[0] = 200; bytes[0]"), "-56");
    EXPECT_EQ((*memory)[0], -56);
    (*memory)[1] = 5;
    EXPECT_EQ(text("c.bytes[1]"), "5");
    EXPECT_EQ(text("c.bytes === bytes"), "true");
}

TEST_F(NativeClass, KeepsBytesAliveForTheirTypedArray)
{
    std::weak_ptr<std::vector<std::int8_t>> const memory =
        run("var c = new Counter(1); var bytes = c.bytes; bytes[3] = 9; c").as<Counter>()->memory();
    run("c = undefined");
    context->collectGarbage();
    EXPECT_EQ(Counter::living, 0);
    ASSERT_FALSE(memory.expired());
    EXPECT_EQ(text("bytes[3]"), "9");
    run("var view = new Uint8Array(bytes.buffer, 3); bytes = undefined");
    context->collectGarbage();
    EXPECT_EQ(text("view[0]"), "9");
    run("view = undefined");
    context->collectGarbage();
    context.reset();
    EXPECT_TRUE(memory.expired());
}

TEST_F(NativeClass, CountsTheMemoryOfNativeObjects)
{
    // Each object claims far more than the engine sees; without collections all of them would live.
    struct Large final : NativeObject {
        ClassDescription const& classDescription() const override
        {
            static constexpr ClassDescription kClass = {"Large", nullptr, {}, {}};
            return kClass;
        }
        std::size_t memorySize() const override { return std::size_t {64} << 20; }
    };
    std::vector<std::weak_ptr<NativeObject>> made;
    context->setGlobalFunction("make", [&](Arguments const&) {
        auto const large = std::make_shared<Large>();
        made.push_back(large);
        context->setGlobal("last", Value(std::shared_ptr<NativeObject>(large)));
    });
    run("for (let i = 0; i < 100; ++i) make()");
    EXPECT_GT(std::ranges::count_if(made, [](auto const& large) { return large.expired(); }), 50);
}

} // namespace velk::js
