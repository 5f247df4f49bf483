#include "platform/js/Context.h"

#include "platform/js/Binding.h"
#include "platform/js/ByteArrays.h"

#include <js/CompilationAndEvaluation.h>
#include <js/CompileOptions.h>
#include <js/Exception.h>
#include <js/GCAPI.h>
#include <js/Promise.h>
#include <js/PropertyAndElement.h>
#include <js/SourceText.h>
#include <jsfriendapi.h>

#include <deque>

namespace velk::js {

using GlobalFunction = std::function<void(Arguments const&)>;

class Context::Implementation {
public:
    explicit Implementation(std::unique_ptr<Binding> binding)
        : m_binding(std::move(binding))
        , m_rejected(engine())
    {
        JS::SetPromiseRejectionTrackerCallback(engine(), trackRejection, this);
    }
    Implementation(Implementation const&) = delete;

    Binding& binding() { return *m_binding; }
    JSContext* engine() { return m_binding->context(); }

    void define(std::string_view name, JS::HandleValue value)
    {
        ExceptionGuard const guard(engine());
        JS::RootedString const text(engine(), toScriptString(engine(), name));
        JS::RootedId id(engine());
        // Scripts may declare the name for themselves.
        if (text && JS_StringToId(engine(), text, &id))
            JS_DefinePropertyById(engine(), m_binding->global(), id, value, 0);
    }

    void defineFunction(std::string_view name, GlobalFunction function)
    {
        ExceptionGuard const guard(engine());
        auto& kept = m_functions.emplace_back(std::move(function));
        auto* const made =
            ::js::NewFunctionWithReserved(engine(), callFunction, 0, 0, std::string(name).c_str());
        if (!made)
            return;
        JS::RootedObject const object(engine(), JS_GetFunctionObject(made));
        ::js::SetFunctionNativeReserved(object, 0, JS::PrivateValue(&kept));
        JS::RootedValue const value(engine(), JS::ObjectValue(*object));
        define(name, value);
    }

    void setExceptionHandler(std::function<void(std::string const&)> handler)
    {
        m_exceptionHandler = std::move(handler);
    }

    Value evaluate(std::string_view source, std::string const& fileName)
    {
        JS::RootedValue result(engine());
        if (!run(source, fileName, &result))
            reportPendingException();
        ::js::RunJobs(engine());
        reportRejections();
        return m_binding->fromScript(result);
    }

private:
    static bool callFunction(JSContext* context, unsigned count, JS::Value* values);
    static void trackRejection(JSContext* context, bool, JS::HandleObject promise,
        JS::PromiseRejectionHandlingState state, void* implementation);

    bool run(std::string_view source, std::string const& fileName, JS::MutableHandleValue result)
    {
        JS::SourceText<mozilla::Utf8Unit> text;
        JS::CompileOptions options(engine());
        options.setFileAndLine(fileName.c_str(), 1);
        return text.init(engine(), source.data(), source.size(), JS::SourceOwnership::Borrowed)
            && JS::Evaluate(engine(), options, text, result);
    }

    void reportPendingException()
    {
        JS::RootedValue exception(engine());
        if (!JS_GetPendingException(engine(), &exception))
            return;
        JS_ClearPendingException(engine());
        report(exception);
    }

    void report(JS::HandleValue exception)
    {
        auto text = convertedText(engine(), exception);
        // Symbols and objects that cannot be converted have no string form.
        if (text.empty() && !exception.isString())
            text = describe(engine(), exception);
        JS_ClearPendingException(engine());
        if (m_exceptionHandler)
            m_exceptionHandler(text);
    }

    // Errors of asynchronous functions that nobody has caught by now.
    void reportRejections()
    {
        JS::RootedValue reason(engine());
        for (std::size_t index = 0; index < m_rejected.length(); ++index) {
            reason = JS::GetPromiseResult(m_rejected[index]);
            report(reason);
        }
        m_rejected.clear();
    }

    std::unique_ptr<Binding> m_binding;
    std::deque<GlobalFunction> m_functions;
    std::function<void(std::string const&)> m_exceptionHandler;
    JS::PersistentRootedObjectVector m_rejected;
};

bool Context::Implementation::callFunction(JSContext* context, unsigned count, JS::Value* values)
{
    auto const arguments = JS::CallArgsFromVp(count, values);
    auto const& function = *static_cast<GlobalFunction const*>(
        ::js::GetFunctionNativeReserved(&arguments.callee(), 0).toPrivate());
    arguments.rval().setUndefined();
    return callNative(context, [&] {
        EngineArguments engine {context, arguments};
        function(Binding::argumentsOf(engine));
        return true;
    });
}

void Context::Implementation::trackRejection(JSContext* context, bool, JS::HandleObject promise,
    JS::PromiseRejectionHandlingState state, void* implementation)
{
    auto& rejected = static_cast<Implementation*>(implementation)->m_rejected;
    if (state == JS::PromiseRejectionHandlingState::Unhandled) {
        if (!rejected.append(promise))
            JS_ClearPendingException(context);
        return;
    }
    auto* const known = std::find(rejected.begin(), rejected.end(), promise.get());
    if (known != rejected.end())
        rejected.erase(known);
}

std::unique_ptr<Context> Context::create()
{
    auto binding = Binding::create();
    if (!binding)
        return nullptr;
    return std::unique_ptr<Context>(new Context(std::make_unique<Implementation>(std::move(binding))));
}

Context::Context(std::unique_ptr<Implementation> implementation)
    : m_implementation(std::move(implementation))
{
}

Context::~Context() = default;

void Context::setGlobal(std::string_view name, Value const& value)
{
    JS::RootedValue engineValue(m_implementation->engine());
    ExceptionGuard const guard(m_implementation->engine());
    if (m_implementation->binding().toScript(value, &engineValue))
        m_implementation->define(name, engineValue);
}

void Context::setGlobalFunction(std::string_view name, std::function<void(Arguments const&)> function)
{
    m_implementation->defineFunction(name, std::move(function));
}

void Context::registerClass(ClassDescription const& description)
{
    registerClassAs(description.name, description);
}

void Context::registerClassAs(std::string_view globalName, ClassDescription const& description)
{
    ExceptionGuard const guard(m_implementation->engine());
    auto const* const record = m_implementation->binding().recordOf(description);
    if (!record || !record->constructor)
        return;
    JS::RootedValue const constructor(m_implementation->engine(), JS::ObjectValue(*record->constructor));
    m_implementation->define(globalName, constructor);
}

void Context::setExceptionHandler(std::function<void(std::string const& text)> handler)
{
    m_implementation->setExceptionHandler(std::move(handler));
}

Value Context::evaluate(std::string_view source, std::string const& fileName)
{
    return m_implementation->evaluate(source, fileName);
}

void Context::collectGarbage()
{
    JS_GC(m_implementation->engine());
    releaseByteOwners();
}

} // namespace velk::js
