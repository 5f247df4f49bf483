#pragma once

#include "base/PropertyValue.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace velk::js {

/// Base of the C++ objects that scripts hold. A script object and its C++ object live while either is held;
/// handing the same object out again gives the script the same script object while that lives.
class NativeObject : public std::enable_shared_from_this<NativeObject> {
public:
    virtual ~NativeObject() = default;
    /// Index of the object's class in the process: see `ClassTable.h`.
    virtual struct ClassDescription const& classDescription() const = 0;
    /// The text that `print` shows; "[object Name]" unless a class has something better to say.
    virtual std::string description() const;
    /// Memory in bytes that goes with the object, so that a script that makes many large ones collects them
    /// in time. Asked once, when the object is first handed to a script.
    virtual std::size_t memorySize() const { return 0; }
};

/// A typed array of signed bytes that views memory which a C++ object owns and keeps in place: the array
/// keeps the owner alive.
struct ByteView {
    std::shared_ptr<void const> owner;
    std::int8_t* data = nullptr;
    std::size_t length = 0;
};

/// A value that scripts and C++ exchange. Strings are UTF-8, with U+FFFD for lone surrogates. Holds on to
/// script objects. Cheap to copy; main thread only.
class Value {
public:
    struct ScriptObject; ///< an object or symbol of the engine, kept alive

    Value() = default; ///< undefined
    Value(std::nullptr_t); ///< null
    Value(bool value);
    Value(int value);
    Value(double value);
    Value(std::string value);
    Value(char const* value);
    Value(std::shared_ptr<NativeObject> object); ///< null for a null pointer
    Value(PropertyValue value); ///< dictionaries as plain objects, dates as Date, data as Uint8Array
    Value(ByteView view); ///< copies of one Value give the script one array
    /// A list: a new array each time it is handed out.
    static Value list(std::vector<Value> elements);
    /// A plain object of numbers, its properties in this order.
    static Value record(std::initializer_list<std::pair<char const*, double>> fields);

    bool isUndefined() const;
    bool isNull() const;
    /// The text when this is a string, else null.
    std::string const* asString() const;
    /// The object when this is a native one of class T, else null.
    template <typename T> std::shared_ptr<T> as() const { return std::dynamic_pointer_cast<T>(native()); }

    /// As JavaScript converts: undefined is NaN. What throws is NaN or an empty text, and the exception is
    /// gone.
    double toNumber() const;
    std::uint32_t toUint32() const;
    std::string toString() const;
    /// The elements' numbers of an array or typed array; empty for anything else. Bounded by 1,000,000.
    std::vector<double> toNumbers() const;
    /// Strings, numbers, booleans, dates, arrays and plain objects (to a depth of 64); nothing for the rest.
    std::optional<PropertyValue> toProperty() const;
    /// A property of an object by name; undefined when there is none.
    Value property(std::string_view name) const;
    /// As `print` shows it: strings as they are, numbers in decimal, arrays and plain objects in a readable
    /// form
    /// ([1, 2], {a: 1, b: "x"}), errors by their message. Safe on cycles and deep nesting.
    std::string description() const;

private:
    std::shared_ptr<NativeObject> native() const;

    friend class Binding;
    struct Null { };
    using Record = std::vector<std::pair<std::string, double>>;
    std::variant<std::monostate, Null, bool, double, std::string, std::shared_ptr<NativeObject>,
        std::shared_ptr<PropertyValue const>, std::shared_ptr<ByteView const>,
        std::shared_ptr<std::vector<Value> const>, std::shared_ptr<Record const>,
        std::shared_ptr<ScriptObject>>
        m_value;
};

} // namespace velk::js
