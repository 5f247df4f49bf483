#pragma once

#include "platform/js/ClassTable.h"
#include "platform/js/Engine.h"
#include "platform/js/Value.h"

#include <jsapi.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velk::js {

/// What the engine hands to a native function.
struct EngineArguments {
    JSContext* context;
    JS::CallArgs const& arguments;
};

struct Value::ScriptObject {
    ScriptObject(JSContext* context, JS::HandleValue engineValue)
        : value(context, engineValue)
    {
    }
    JS::PersistentRootedValue value;
};

/// A class of native objects inside the engine.
struct ClassRecord {
    ClassDescription const* description;
    JSClass engineClass;
    JS::PersistentRootedObject prototype;
    JS::PersistentRootedObject constructor;
};

/// Clears on the way out whatever exception its block has left behind.
class ExceptionGuard {
public:
    explicit ExceptionGuard(JSContext* context)
        : m_context(context)
    {
    }
    ExceptionGuard(ExceptionGuard const&) = delete;
    ~ExceptionGuard() { JS_ClearPendingException(m_context); }

private:
    JSContext* m_context;
};

/// The engine's side of the one context: converts values and keeps classes and object identities.
///
///     C++ object  <--shared_ptr--  script object (reserved slot)
///         |                             ^
///         +----- m_scriptObjects: weak -+     swept by the collector
class Binding {
public:
    /// The binding of this process, or null when there is no context.
    static Binding* current();
    /// Null when the engine cannot start or a context exists already.
    static std::unique_ptr<Binding> create();
    Binding(Binding const&) = delete;
    ~Binding();

    JSContext* context() const { return m_context.get(); }
    JS::HandleObject global() const { return m_global; }

    /// Conversions to the engine return false with an exception pending when there is no memory.
    bool toScript(Value const& value, JS::MutableHandleValue to);
    Value fromScript(JS::HandleValue value);

    /// The class inside the engine, made when it is first asked for; null with an exception pending.
    ClassRecord* recordOf(ClassDescription const& description);

    static Arguments argumentsOf(EngineArguments& engine) { return Arguments(engine); }

    /// Makes the script object of a new native object for a constructor call.
    bool constructObject(
        ClassRecord& record, std::shared_ptr<NativeObject> native, JS::CallArgs const& arguments);

private:
    struct ScriptConverter;

    explicit Binding(ContextPointer context);
    bool createGlobal();
    static void sweepScriptObjects(JSTracer* tracer, void* binding);

    JSObject* findScriptObject(void const* native);
    JSObject* scriptObjectOf(std::shared_ptr<NativeObject> const& native);
    JSObject* byteArrayOf(std::shared_ptr<ByteView const> const& view);
    JSObject* arrayOf(std::vector<Value> const& elements);
    JSObject* objectOf(Value::Record const& record);

    ContextPointer m_context;
    JS::PersistentRootedObject m_global;
    JS::Realm* m_callersRealm = nullptr;
    std::unordered_map<ClassDescription const*, std::unique_ptr<ClassRecord>> m_records;
    std::unordered_map<void const*, JS::Heap<JSObject*>> m_scriptObjects;
};

/// The native object behind a script object, or null.
std::shared_ptr<NativeObject> nativeObject(JSObject* object);

/// A script string; malformed UTF-8 becomes U+FFFD. Null with an exception pending.
JSString* toScriptString(JSContext* context, std::string_view text);
/// UTF-8 of a script string, U+FFFD for lone surrogates; empty when there is no memory.
std::string textOf(JSContext* context, JS::HandleString string);
/// The string that the engine converts a value to, empty when that throws.
std::string convertedText(JSContext* context, JS::HandleValue value);

/// Property values as plain objects, arrays, dates and byte arrays; null with an exception pending.
JSObject* toScriptObject(JSContext* context, PropertyValue const& value);
std::optional<PropertyValue> toPropertyValue(JSContext* context, JS::HandleValue value);

/// Runs C++ on behalf of a script and returns what it returns to the engine. C++ exceptions end here: no
/// memory is an error of the script, and nothing else is thrown on purpose.
template <typename Function> bool callNative(JSContext* context, Function const& function)
{
    try {
        return function();
    } catch (std::bad_alloc const&) {
        JS_ReportOutOfMemory(context);
    } catch (std::length_error const&) {
        JS_ReportOutOfMemory(context);
    } catch (...) {
        return true;
    }
    return false;
}

/// What `print` shows of a value that is an object of the engine.
std::string describe(JSContext* context, JS::HandleValue value);

} // namespace velk::js
