#pragma once

#include "platform/js/Context.h"
#include "script/Console.h"

#include <span>
#include <string>

namespace velk {

/// A script with its JavaScript context, which is made when it is first needed.
class Script {
public:
    /// `classes` become global constructors. The console writes to the log until it gets another handler.
    explicit Script(std::span<js::ClassDescription const* const> classes);

    /// Makes the context with `print`, `console` and the exported classes, unless there is one.
    void setupContext();
    /// The context; null when the engine cannot start.
    js::Context* context() { return m_context.get(); }
    Console& console() { return *m_console; }

    std::string const& source() const { return m_source; }
    void setSource(std::string source) { m_source = std::move(source); }

    void setGlobalObject(js::Value const& object, std::string const& name);
    /// The completion value; undefined when the source is empty.
    js::Value evaluateSource();
    /// Drops the context.
    void releaseResources() { m_context.reset(); }

private:
    std::span<js::ClassDescription const* const> m_classes;
    std::shared_ptr<Console> m_console = std::make_shared<Console>();
    std::string m_source;
    std::unique_ptr<js::Context> m_context;
};

} // namespace velk
