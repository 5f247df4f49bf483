#pragma once

#include "platform/js/Value.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

namespace velk::js {

struct EngineArguments;

/// The arguments of a call from a script. A missing argument is undefined.
class Arguments {
public:
    std::size_t count() const;
    bool isMissing(std::size_t index) const; ///< missing or undefined
    Value value(std::size_t index) const;
    double number(std::size_t index) const; ///< NaN when missing or not a number
    std::uint32_t uint32(std::size_t index) const; ///< 0 when missing
    std::string string(std::size_t index) const; ///< empty when missing
    template <typename T> std::shared_ptr<T> native(std::size_t index) const { return value(index).as<T>(); }

private:
    friend class Binding;
    explicit Arguments(EngineArguments& engineArguments)
        : m_engine(engineArguments)
    {
    }
    EngineArguments& m_engine;
};

struct MethodDescription {
    char const* name;
    Value (*call)(NativeObject& self, Arguments const& arguments);
};

struct PropertyDescription {
    char const* name;
    Value (*get)(NativeObject const& self);
    void (*set)(NativeObject& self, Value const& value) = nullptr; ///< null = read-only
};

/// A class as scripts see it. One constant object for each class.
struct ClassDescription {
    char const* name;
    /// Null = scripts cannot construct it, and no global is registered.
    std::shared_ptr<NativeObject> (*construct)(Arguments const& arguments);
    std::span<MethodDescription const> methods;
    std::span<PropertyDescription const> properties;
};

namespace detail {

template <typename T> std::remove_cvref_t<T> argument(Arguments const& arguments, std::size_t index)
{
    using Plain = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<Plain, double>)
        return arguments.number(index);
    else if constexpr (std::is_same_v<Plain, std::uint32_t>)
        return arguments.uint32(index);
    else if constexpr (std::is_same_v<Plain, std::string>)
        return arguments.string(index);
    else if constexpr (std::is_same_v<Plain, Value>)
        return arguments.value(index);
    else
        return arguments.native<typename Plain::element_type>(index);
}

template <typename... Parameters, std::size_t... Indices>
Value callWith(auto const& function, Arguments const& arguments, std::index_sequence<Indices...>)
{
    if constexpr (std::is_void_v<
                      std::invoke_result_t<decltype(function), std::remove_cvref_t<Parameters>...>>) {
        function(argument<Parameters>(arguments, Indices)...);
        return {};
    } else {
        return Value(function(argument<Parameters>(arguments, Indices)...));
    }
}

template <typename Class, typename Result, typename... Parameters>
Value callMember(Class& self, Result (Class::*member)(Parameters...), Arguments const& arguments)
{
    return callWith<Parameters...>(
        [&](auto&&... values) { return (self.*member)(std::forward<decltype(values)>(values)...); },
        arguments, std::index_sequence_for<Parameters...>());
}

template <typename Class, typename Result, typename... Parameters>
Value callMember(Class const& self, Result (Class::*member)(Parameters...) const, Arguments const& arguments)
{
    return callWith<Parameters...>(
        [&](auto&&... values) { return (self.*member)(std::forward<decltype(values)>(values)...); },
        arguments, std::index_sequence_for<Parameters...>());
}

template <typename Member> struct ClassOf;
template <typename Class, typename T> struct ClassOf<T Class::*> {
    using Type = Class;
};

} // namespace detail

/// Row of a method table that calls a member function with its arguments converted to the parameters' types:
/// double, std::uint32_t, std::string, Value or std::shared_ptr to a native class (null for anything else).
///
///     {"fillRect", js::method<&Canvas::fillRect>}
template <auto member> Value method(NativeObject& self, Arguments const& arguments)
{
    using Class = typename detail::ClassOf<decltype(member)>::Type;
    return detail::callMember(static_cast<Class&>(self), member, arguments);
}

/// Getter of a property table over a const member function without parameters.
template <auto member> Value getter(NativeObject const& self)
{
    using Class = typename detail::ClassOf<decltype(member)>::Type;
    return Value((static_cast<Class const&>(self).*member)());
}

/// Setter over a member function that takes the Value.
template <auto member> void setter(NativeObject& self, Value const& value)
{
    using Class = typename detail::ClassOf<decltype(member)>::Type;
    (static_cast<Class&>(self).*member)(value);
}

} // namespace velk::js
