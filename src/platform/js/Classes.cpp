#include "platform/js/Classes.h"

#include <js/Class.h>
#include <js/MemoryFunctions.h>
#include <js/PropertyAndElement.h>
#include <js/Symbol.h>
#include <jsfriendapi.h>

namespace velk::js {

namespace {

// A function of the engine knows its row of a table and its class.
enum FunctionSlot { kRowSlot, kRecordSlot };
// An object of the engine knows its native object.
enum ObjectSlot { kHolderSlot, kObjectSlotCount };

struct Holder {
    std::shared_ptr<NativeObject> native;
    std::size_t memorySize;
};

Holder* holderOf(JSObject* object)
{
    auto const& slot = JS::GetReservedSlot(object, kHolderSlot);
    return slot.isUndefined() ? nullptr : static_cast<Holder*>(slot.toPrivate());
}

void finalizeObject(JS::GCContext*, JSObject* object)
{
    std::unique_ptr<Holder> const holder(holderOf(object));
    if (holder)
        JS::RemoveAssociatedMemory(object, holder->memorySize, JS::MemoryUse::Embedding1);
}

constexpr JSClassOps kObjectOperations = {
    .finalize = finalizeObject,
};

JSClass engineClassOf(ClassDescription const& description)
{
    // Native objects hold values of the engine, so they are destroyed on the engine's thread.
    constexpr std::uint32_t kFlags =
        JSCLASS_HAS_RESERVED_SLOTS(kObjectSlotCount) | JSCLASS_FOREGROUND_FINALIZE;
    return {description.name, kFlags, &kObjectOperations};
}

ClassRecord& recordOfCallee(JS::CallArgs const& arguments)
{
    return *static_cast<ClassRecord*>(
        ::js::GetFunctionNativeReserved(&arguments.callee(), kRecordSlot).toPrivate());
}

template <typename Row> Row const& rowOfCallee(JS::CallArgs const& arguments)
{
    return *static_cast<Row const*>(
        ::js::GetFunctionNativeReserved(&arguments.callee(), kRowSlot).toPrivate());
}

// The native object of `this`, or null when `this` is no object of the function's class.
NativeObject* nativeThis(JS::CallArgs const& arguments)
{
    auto const& self = arguments.thisv();
    if (!self.isObject() || JS::GetClass(&self.toObject()) != &recordOfCallee(arguments).engineClass)
        return nullptr;
    auto const* const holder = holderOf(&self.toObject());
    return holder ? holder->native.get() : nullptr;
}

bool callMethod(JSContext* context, unsigned count, JS::Value* values)
{
    auto const arguments = JS::CallArgsFromVp(count, values);
    auto* const self = nativeThis(arguments);
    auto const& method = rowOfCallee<MethodDescription>(arguments);
    arguments.rval().setUndefined();
    return !self || callNative(context, [&] {
        EngineArguments engine {context, arguments};
        auto const result = method.call(*self, Binding::argumentsOf(engine));
        return Binding::current()->toScript(result, arguments.rval());
    });
}

bool callGetter(JSContext* context, unsigned count, JS::Value* values)
{
    auto const arguments = JS::CallArgsFromVp(count, values);
    auto const* const self = nativeThis(arguments);
    auto const& property = rowOfCallee<PropertyDescription>(arguments);
    arguments.rval().setUndefined();
    return !self || callNative(context, [&] {
        return Binding::current()->toScript(property.get(*self), arguments.rval());
    });
}

// Every property has a setter, so that assigning to one that is read-only is ignored in strict code too.
bool callSetter(JSContext* context, unsigned count, JS::Value* values)
{
    auto const arguments = JS::CallArgsFromVp(count, values);
    auto* const self = nativeThis(arguments);
    auto const& property = rowOfCallee<PropertyDescription>(arguments);
    arguments.rval().setUndefined();
    return !self || !property.set || callNative(context, [&] {
        property.set(*self, Binding::current()->fromScript(arguments.get(0)));
        return true;
    });
}

bool callConstructor(JSContext* context, unsigned count, JS::Value* values)
{
    auto const arguments = JS::CallArgsFromVp(count, values);
    auto& record = recordOfCallee(arguments);
    return callNative(context, [&] {
        EngineArguments engine {context, arguments};
        return Binding::current()->constructObject(
            record, record.description->construct(Binding::argumentsOf(engine)), arguments);
    });
}

JSObject* newFunction(JSContext* context, JSNative native, char const* name, unsigned flags, void const* row,
    ClassRecord& record)
{
    auto* const function = ::js::NewFunctionWithReserved(context, native, 0, flags, name);
    if (!function)
        return nullptr;
    auto* const object = JS_GetFunctionObject(function);
    // The engine's private values are not const; the rows are never written to.
    ::js::SetFunctionNativeReserved(object, kRowSlot, JS::PrivateValue(const_cast<void*>(row)));
    ::js::SetFunctionNativeReserved(object, kRecordSlot, JS::PrivateValue(&record));
    return object;
}

bool defineMethods(JSContext* context, ClassRecord& record)
{
    for (auto const& method : record.description->methods) {
        JS::RootedObject const function(
            context, newFunction(context, callMethod, method.name, 0, &method, record));
        if (!function
            || !JS_DefineProperty(context, record.prototype, method.name, function, JSPROP_ENUMERATE))
            return false;
    }
    return true;
}

bool defineProperties(JSContext* context, ClassRecord& record)
{
    for (auto const& property : record.description->properties) {
        JS::RootedObject const getter(
            context, newFunction(context, callGetter, property.name, 0, &property, record));
        JS::RootedObject const setter(
            context, newFunction(context, callSetter, property.name, 0, &property, record));
        if (!getter || !setter
            || !JS_DefineProperty(context, record.prototype, property.name, getter, setter, JSPROP_ENUMERATE))
            return false;
    }
    return true;
}

// What `Object.prototype.toString` puts after "object".
bool defineTag(JSContext* context, ClassRecord& record)
{
    JS::RootedString const name(context, toScriptString(context, record.description->name));
    JS::RootedId const tag(context, JS::GetWellKnownSymbolKey(context, JS::SymbolCode::toStringTag));
    return name && JS_DefinePropertyById(context, record.prototype, tag, name, JSPROP_READONLY);
}

bool defineConstructor(JSContext* context, ClassRecord& record)
{
    if (!record.description->construct)
        return true;
    record.constructor =
        newFunction(context, callConstructor, record.description->name, JSFUN_CONSTRUCTOR, nullptr, record);
    return record.constructor
        && JS_LinkConstructorAndPrototype(context, record.constructor, record.prototype);
}

} // namespace

std::unique_ptr<ClassRecord> makeClassRecord(JSContext* context, ClassDescription const& description)
{
    auto record = std::make_unique<ClassRecord>(ClassRecord {&description, engineClassOf(description),
        JS::PersistentRootedObject(context, JS_NewPlainObject(context)),
        JS::PersistentRootedObject(context)});
    bool const isComplete = record->prototype && defineTag(context, *record)
        && defineMethods(context, *record) && defineProperties(context, *record)
        && defineConstructor(context, *record);
    return isComplete ? std::move(record) : nullptr;
}

void attachNative(JSObject* object, std::shared_ptr<NativeObject> native)
{
    auto const memorySize = native->memorySize();
    auto holder = std::make_unique<Holder>(Holder {std::move(native), memorySize});
    JS::AddAssociatedMemory(object, memorySize, JS::MemoryUse::Embedding1);
    JS::SetReservedSlot(object, kHolderSlot, JS::PrivateValue(holder.release()));
}

std::shared_ptr<NativeObject> nativeObject(JSObject* object)
{
    if (JS::GetClass(object)->cOps != &kObjectOperations)
        return nullptr;
    auto const* const holder = holderOf(object);
    return holder ? holder->native : nullptr;
}

} // namespace velk::js
