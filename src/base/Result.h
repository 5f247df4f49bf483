#pragma once

#include <fmt/format.h>
#include <tl/expected.hpp>

#include <string>
#include <utility>

namespace velk {

/// Why an operation failed, in words that make sense after "file: ".
struct Error {
    std::string message;
};

/// A value, or the reason why there is none.
template <typename T> using Result = tl::expected<T, Error>;

/// A failed `Result` of any type; the message is formatted with {fmt}.
template <typename... Values>
[[nodiscard]] tl::unexpected<Error> fail(fmt::format_string<Values...> format, Values&&... values)
{
    return tl::unexpected<Error>(Error {fmt::format(format, std::forward<Values>(values)...)});
}

namespace detail {

template <typename T> T takeValue(Result<T>&& result)
{
    return std::move(*result);
}

inline void takeValue(Result<void>&&) { }

} // namespace detail

} // namespace velk

/// Evaluates a `Result`; hands its error to the caller of the enclosing function, or yields its value.
#define TRY(...) VELK_TRY_COUNTED(__COUNTER__, __VA_ARGS__)
// The counter makes the variable's name unique, so that one TRY may stand inside another.
#define VELK_TRY_COUNTED(counter, ...) VELK_TRY_NAMED(counter, __VA_ARGS__)
#define VELK_TRY_NAMED(counter, ...)                                                                         \
    __extension__({                                                                                          \
        auto tryResult##counter = (__VA_ARGS__);                                                             \
        if (!tryResult##counter) [[unlikely]]                                                                \
            return tl::unexpected<::velk::Error>(std::move(tryResult##counter).error());                     \
        ::velk::detail::takeValue(std::move(tryResult##counter));                                            \
    })
