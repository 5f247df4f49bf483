#include "platform/js/ScriptTest.h"

namespace velk::js {

class ScriptContext : public test::ScriptTest { };

TEST_F(ScriptContext, ReportsEveryKindOfUncaughtError)
{
    struct Case {
        char const* source;
        char const* report;
    };
    Case const cases[] = {
        {"throw new Error('x')", "Error: x"},
        {"throw 'plain'", "plain"},
        {"throw {toString: () => 'mine'}", "mine"},
        {"throw {}", "[object Object]"},
        {"throw undefined", "undefined"},
        {"throw Symbol('s')", "Symbol(s)"},
        {"throw Object.create(null)", "{}"},
        {"nowhere.x", "ReferenceError: nowhere is not defined"},
        {"function f() { f() } f()", "InternalError: too much recursion"},
        {"(async () => { await null; throw new TypeError('late') })()", "TypeError: late"},
        {"new Array(-1)", "RangeError: invalid array length"},
    };
    for (auto const& [source, report] : cases) {
        thrown.clear();
        EXPECT_TRUE(run(source).isUndefined() || thrown.size() == 1) << source;
        EXPECT_EQ(thrown, std::vector<std::string> {report}) << source;
    }
    for (auto const* const wrong : {"let x = ;", "if (", "'\xFF'"}) {
        thrown.clear();
        run(wrong);
        ASSERT_EQ(thrown.size(), 1U) << wrong;
        EXPECT_TRUE(thrown[0].starts_with("SyntaxError: ")) << thrown[0];
    }
}

TEST_F(ScriptContext, SettlesPromisesBeforeItReturns)
{
    EXPECT_EQ(text("var log = []; (async () => { for await (const x of [1, 2]) log.push(x) })();"
                   "Promise.resolve().then(() => log.push('then')); log.push('sync'); 0"),
        "0");
    EXPECT_EQ(text("log.sort().join()"), "1,2,sync,then");
    EXPECT_EQ(text("Promise.reject(new Error('handled')).catch(() => 0); 1"), "1");
    EXPECT_EQ(
        text("const late = Promise.reject(1); Promise.resolve().then(() => late.catch(() => 0)); 2"), "2");
}

TEST_F(ScriptContext, LetsScriptsUseTheNamesOfGlobals)
{
    std::vector<std::string> calls;
    context->setGlobalFunction("note", [&](Arguments const& arguments) {
        calls.push_back(std::to_string(arguments.count()) + ":" + arguments.string(0));
    });
    context->setGlobal("answer", Value(42));
    EXPECT_EQ(text("note('a', 2); note(); [answer, note()].join()"), "42,");
    EXPECT_EQ(calls, (std::vector<std::string> {"2:a", "0:", "0:"}));
    EXPECT_EQ(text("const answer = 1; let note = 2; answer + note"), "3");
}

TEST_F(ScriptContext, IsTheOnlyOneAndCanComeAgain)
{
    EXPECT_EQ(Context::create(), nullptr);
    auto const old = run("({a: 1})");
    context.reset();
    EXPECT_EQ(old.toString(), "");
    context = Context::create();
    ASSERT_NE(context, nullptr);
    EXPECT_TRUE(old.property("a").isUndefined());
    EXPECT_EQ(run("40 + 2").toNumber(), 42);
}

} // namespace velk::js
