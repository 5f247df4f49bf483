// What scripts hand to native functions. The input builds JavaScript expressions; they become arguments of a
// function, of a constructor, of a method with a parameter of every kind, and values of a property.
#include "fuzz/FuzzInput.h"
#include "platform/js/Context.h"

#include <fmt/format.h>

#include <cmath>
#include <string>

using namespace velk;

namespace {

constexpr int kMaximumDepth = 5;
constexpr int kRunsBetweenCollections = 500;

class Probe final : public js::NativeObject {
public:
    static js::ClassDescription const kClass;

    js::ClassDescription const& classDescription() const override { return kClass; }

    js::Value held() const { return m_held; }
    void setHeld(js::Value const& value) { m_held = value; }
    void take(double, std::uint32_t, std::string const& text, js::Value const& value,
        std::shared_ptr<Probe> const& other)
    {
        fuzz::require(text.size() < (std::size_t {1} << 30), "a text has a size");
        m_held = other ? other->m_held : value;
    }

private:
    js::Value m_held;
};

void convert(js::Value const& value)
{
    [[maybe_unused]] auto const number = value.toNumber();
    [[maybe_unused]] auto const integer = value.toUint32();
    [[maybe_unused]] auto const text = value.toString();
    [[maybe_unused]] auto const description = value.description();
    fuzz::require(value.toNumbers().size() <= 1'000'000, "lists are bounded");
    [[maybe_unused]] auto const inner = value.property("a").toString();
    if (auto const property = value.toProperty()) [[maybe_unused]]
        auto const again = js::Value(*property).toString();
}

constexpr js::MethodDescription kMethods[] = {{"take", js::method<&Probe::take>}};
constexpr js::PropertyDescription kProperties[] = {
    {"held", js::getter<&Probe::held>, js::setter<&Probe::setHeld>}};

js::ClassDescription const Probe::kClass = {
    .name = "Probe",
    .construct = [](js::Arguments const& arguments) -> std::shared_ptr<js::NativeObject> {
        auto probe = std::make_shared<Probe>();
        probe->setHeld(arguments.value(0));
        return probe;
    },
    .methods = kMethods,
    .properties = kProperties,
};

std::string numberExpression(double number)
{
    if (std::isnan(number))
        return "NaN";
    return std::isinf(number) ? (number < 0 ? "-Infinity" : "Infinity") : fmt::format("({})", number);
}

// Any UTF-16, lone surrogates included.
std::string stringExpression(fuzz::FuzzInput& input)
{
    std::string text = "\"";
    for (auto count = input.byte() % 16; count > 0; --count)
        text += fmt::format("\\u{:04x}", input.integer<std::uint16_t>());
    return text + '"';
}

std::string expression(fuzz::FuzzInput& input, int depth);

std::string listExpression(fuzz::FuzzInput& input, int depth)
{
    std::string list;
    for (auto count = input.byte() % 6; count > 0; --count)
        list += expression(input, depth + 1) + ",";
    return list;
}

std::string objectExpression(fuzz::FuzzInput& input, int depth)
{
    std::string entries;
    for (auto count = input.byte() % 6; count > 0; --count)
        entries += stringExpression(input) + ":" + expression(input, depth + 1) + ",";
    return "({" + entries + "a:" + expression(input, depth + 1) + "})";
}

constexpr char const* kOddValues[] = {
    "undefined",
    "null",
    "true",
    "false",
    "-0",
    "10n",
    "Symbol('s')",
    "Symbol.iterator",
    "(() => 1)",
    "class A {}",
    "/a+/g",
    "new Error('e')",
    "new Map([[1, 2]])",
    "Promise.resolve(1)",
    "globalThis",
    "Probe",
    "last",
    "({valueOf() { throw 1 }, toString() { throw last }})",
    "({valueOf() { return {} }, toString() { return {} }})",
    "({[Symbol.toPrimitive]() { return last }})",
    "({get a() { throw 1 }})",
    "({get a() { last = [last]; return last }})",
    "new Proxy({}, {get() { throw 1 }, ownKeys() { throw 2 }})",
    "new Proxy([], {get(t, k) { return k == 'length' ? 4294967295 : k == 'toString' ? () => 'long' : 1 }})",
    "new Proxy(new Probe(1), {})",
    "Object.create(new Probe(2))",
    "Object.assign([], {length: 4294967295, toString() { return 'long' }})",
    "(a => (a.push(a), a))([1])",
    "(o => (o.a = o, o))({})",
    "new Float64Array(9)",
    "new Uint8ClampedArray([300, -1])",
    "new BigInt64Array(2)",
    "new DataView(new ArrayBuffer(4))",
    "(function () { return arguments })(1, 2)",
    "new Date(NaN)",
    "new String('boxed')",
    "Object.freeze([last])",
};

std::string expression(fuzz::FuzzInput& input, int depth)
{
    switch (auto const kind = input.byte(); kind % (depth < kMaximumDepth ? 9 : 4)) {
    case 0:
        return kOddValues[input.byte() % std::size(kOddValues)];
    case 1:
        return numberExpression(input.number());
    case 2:
        return fmt::format("({})", input.integer<std::int32_t>());
    case 3:
        return stringExpression(input);
    case 4:
        return "[" + listExpression(input, depth) + "]";
    case 5:
        return objectExpression(input, depth);
    case 6:
        return "new Date(" + numberExpression(input.number()) + ")";
    case 7:
        return "new Probe(" + expression(input, depth + 1) + ")";
    default:
        return "Int16Array.of(" + listExpression(input, depth) + ")";
    }
}

js::Context& context()
{
    static auto const context = [] {
        auto made = js::Context::create();
        fuzz::require(made != nullptr, "the engine starts");
        made->registerClass(Probe::kClass);
        made->setExceptionHandler([](std::string const&) {});
        made->setGlobalFunction("convert", [](js::Arguments const& arguments) {
            for (std::size_t i = 0; i <= arguments.count(); ++i)
                convert(arguments.value(i));
        });
        return made;
    }();
    return *context;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    fuzz::FuzzInput input(data, size);
    auto const first = expression(input, 0);
    auto const second = expression(input, 0);
    auto const rest = listExpression(input, 0);
    context().evaluate("last = 1", "fuzz.js");
    auto const result = context().evaluate(
        fmt::format("last = {0}; convert({0}, last, {1}); var p = new Probe({0}); p.held = {1}; "
                    "try {{ p.take({2} 1, 2, 3, 4, p) }} catch (e) {{ }} p.take({0}, {0}, {0}, {0}, {0}); "
                    "Probe.prototype.take.call({1}, {0}); p.held",
            first, second, rest),
        "fuzz.js");
    convert(result);
    context().setGlobal("last", result);
    static int runs = 0;
    if (++runs % kRunsBetweenCollections == 0)
        context().collectGarbage();
    return 0;
}
