#pragma once

#include "platform/js/ClassTable.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace velk::js {

/// A JavaScript context with its global object. One at a time in a process, on the main thread.
class Context {
public:
    /// Null when the engine cannot start.
    static std::unique_ptr<Context> create();
    Context(Context const&) = delete;
    Context& operator=(Context const&) = delete;
    ~Context();

    void setGlobal(std::string_view name, Value const& value);
    /// A global function whose result is undefined.
    void setGlobalFunction(std::string_view name, std::function<void(Arguments const&)> function);
    /// The constructor of a class as a global; every class whose objects reach the script must be registered
    /// or is then registered without a global.
    void registerClass(ClassDescription const& description);
    void registerClassAs(std::string_view globalName, ClassDescription const& description);

    /// Called with the string form of every uncaught exception and syntax error.
    void setExceptionHandler(std::function<void(std::string const& text)> handler);
    /// Evaluates a classic script in UTF-8; pending promise jobs are run afterwards. The completion value, or
    /// undefined after an exception.
    Value evaluate(std::string_view source, std::string const& fileName);

    /// Collects everything that no script and no C++ object can reach any more.
    void collectGarbage();

private:
    class Implementation;
    explicit Context(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace velk::js
