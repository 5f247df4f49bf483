#include "platform/js/Binding.h"

#include "platform/js/ByteArrays.h"
#include "platform/js/Classes.h"

#include <js/Array.h>
#include <js/GCAPI.h>
#include <js/GlobalObject.h>
#include <js/Realm.h>

#include <cassert>

namespace velk::js {

namespace {

Binding* currentBinding = nullptr;

// Standard classes come into being when a script first names one.
constexpr JSClass kGlobalClass = {"global", JSCLASS_GLOBAL_FLAGS, &JS::DefaultGlobalClassOps};

} // namespace

Binding* Binding::current()
{
    return currentBinding;
}

std::unique_ptr<Binding> Binding::create()
{
    if (currentBinding)
        return nullptr;
    auto context = createEngineContext();
    if (!context)
        return nullptr;
    std::unique_ptr<Binding> binding(new Binding(std::move(context)));
    return binding->createGlobal() ? std::move(binding) : nullptr;
}

Binding::Binding(ContextPointer context)
    : m_context(std::move(context))
    , m_global(m_context.get())
{
    currentBinding = this;
}

bool Binding::createGlobal()
{
    JS::RealmOptions const options;
    m_global = JS_NewGlobalObject(context(), &kGlobalClass, nullptr, JS::FireOnNewGlobalHook, options);
    if (!m_global)
        return false;
    m_callersRealm = JS::EnterRealm(context(), m_global);
    return JS_AddWeakPointerZonesCallback(context(), sweepScriptObjects, this);
}

Binding::~Binding()
{
    JS_RemoveWeakPointerZonesCallback(context(), sweepScriptObjects);
    m_scriptObjects.clear();
    for (auto& [description, record] : m_records) {
        record->prototype.reset();
        record->constructor.reset();
    }
    if (m_global)
        JS::LeaveRealm(context(), m_callersRealm);
    m_global.reset();
    // The last collection destroys the native objects; their classes go after it.
    m_context.reset();
    releaseByteOwners();
    currentBinding = nullptr;
}

void Binding::sweepScriptObjects(JSTracer* tracer, void* binding)
{
    auto& objects = static_cast<Binding*>(binding)->m_scriptObjects;
    for (auto entry = objects.begin(); entry != objects.end();)
        entry = JS_UpdateWeakPointerAfterGC(tracer, &entry->second) ? std::next(entry) : objects.erase(entry);
}

ClassRecord* Binding::recordOf(ClassDescription const& description)
{
    auto& record = m_records[&description];
    if (!record)
        record = makeClassRecord(context(), description);
    return record.get();
}

JSObject* Binding::findScriptObject(void const* native)
{
    auto const found = m_scriptObjects.find(native);
    return found == m_scriptObjects.end() ? nullptr : found->second.get();
}

JSObject* Binding::scriptObjectOf(std::shared_ptr<NativeObject> const& native)
{
    if (auto* const known = findScriptObject(native.get()))
        return known;
    auto* const record = recordOf(native->classDescription());
    if (!record)
        return nullptr;
    JS::RootedObject object(
        context(), JS_NewObjectWithGivenProto(context(), &record->engineClass, record->prototype));
    if (!object)
        return nullptr;
    attachNative(object, native);
    m_scriptObjects[native.get()] = object;
    return object;
}

bool Binding::constructObject(
    ClassRecord& record, std::shared_ptr<NativeObject> native, JS::CallArgs const& arguments)
{
    // A class of the script may extend ours: its prototype comes from the constructor after `new`.
    auto* const made = arguments.isConstructing()
        ? JS_NewObjectForConstructor(context(), &record.engineClass, arguments)
        : JS_NewObjectWithGivenProto(context(), &record.engineClass, record.prototype);
    if (!made)
        return false;
    JS::RootedObject object(context(), made);
    if (native) {
        attachNative(object, native);
        m_scriptObjects[native.get()] = object;
    }
    arguments.rval().setObject(*object);
    return true;
}

JSObject* Binding::byteArrayOf(std::shared_ptr<ByteView const> const& view)
{
    if (auto* const known = findScriptObject(view.get()))
        return known;
    JS::RootedObject array(context(), newByteArray(context(), view));
    if (array)
        m_scriptObjects[view.get()] = array;
    return array;
}

JSObject* Binding::arrayOf(std::vector<Value> const& elements)
{
    JS::RootedObject array(context(), JS::NewArrayObject(context(), elements.size()));
    JS::RootedValue element(context());
    for (std::uint32_t index = 0; array && index < elements.size(); ++index) {
        if (!toScript(elements[index], &element)
            || !JS_DefineElement(context(), array, index, element, JSPROP_ENUMERATE))
            return nullptr;
    }
    return array;
}

JSObject* Binding::objectOf(Value::Record const& record)
{
    JS::RootedObject object(context(), JS_NewPlainObject(context()));
    for (auto const& [name, number] : record) {
        if (!object || !JS_DefineProperty(context(), object, name.c_str(), number, JSPROP_ENUMERATE))
            return nullptr;
    }
    return object;
}

// One conversion for each kind of value that C++ holds.
struct Binding::ScriptConverter {
    Binding& binding;
    JS::MutableHandleValue to;

    bool setObject(JSObject* object)
    {
        to.setObjectOrNull(object);
        return object != nullptr;
    }

    bool operator()(std::monostate) { return to.setUndefined(), true; }
    bool operator()(Value::Null) { return to.setNull(), true; }
    bool operator()(bool boolean) { return to.setBoolean(boolean), true; }
    bool operator()(double number) { return to.setNumber(number), true; }
    bool operator()(std::string const& text)
    {
        auto* const string = toScriptString(binding.context(), text);
        if (string)
            to.setString(string);
        return string != nullptr;
    }
    bool operator()(std::shared_ptr<NativeObject> const& native)
    {
        return setObject(binding.scriptObjectOf(native));
    }
    bool operator()(std::shared_ptr<PropertyValue const> const& property)
    {
        return setObject(toScriptObject(binding.context(), *property));
    }
    bool operator()(std::shared_ptr<ByteView const> const& view)
    {
        return setObject(binding.byteArrayOf(view));
    }
    bool operator()(std::shared_ptr<std::vector<Value> const> const& list)
    {
        return setObject(binding.arrayOf(*list));
    }
    bool operator()(std::shared_ptr<Value::Record const> const& record)
    {
        return setObject(binding.objectOf(*record));
    }
    bool operator()(std::shared_ptr<Value::ScriptObject> const& object)
    {
        return to.set(object->value), true;
    }
};

bool Binding::toScript(Value const& value, JS::MutableHandleValue to)
{
    return std::visit(ScriptConverter {*this, to}, value.m_value);
}

Value Binding::fromScript(JS::HandleValue value)
{
    if (value.isUndefined())
        return {};
    if (value.isNull())
        return nullptr;
    if (value.isBoolean())
        return value.toBoolean();
    if (value.isNumber())
        return value.toNumber();
    if (value.isString()) {
        JS::RootedString const string(context(), value.toString());
        return textOf(context(), string);
    }
    if (value.isObject()) {
        if (auto native = nativeObject(&value.toObject()))
            return native;
    }
    Value result;
    result.m_value = std::make_shared<Value::ScriptObject>(context(), value);
    return result;
}

} // namespace velk::js
