#include "script/Script.h"

#include "script/ExportedObject.h"
#include "script/SystemLog.h"

namespace velk {

Script::Script(std::span<js::ClassDescription const* const> classes)
    : m_classes(classes)
{
    m_console->setHandler([](js::Value const& value) { writeLog(value.description()); });
    setupContext();
}

void Script::setupContext()
{
    if (m_context)
        return;
    m_context = js::Context::create();
    if (!m_context)
        return;
    m_context->setGlobalFunction(
        "print", [console = m_console](js::Arguments const& arguments) { console->log(arguments.value(0)); });
    m_context->setGlobal("console", js::Value(std::shared_ptr<js::NativeObject>(m_console)));
    ExportedObject::registerExportedObjectsWithContext(*m_context, m_classes);
}

void Script::setGlobalObject(js::Value const& object, std::string const& name)
{
    setupContext();
    if (m_context && !name.empty())
        m_context->setGlobal(name, object);
}

js::Value Script::evaluateSource()
{
    if (m_source.empty())
        return {};
    setupContext();
    return m_context ? m_context->evaluate(m_source, "script") : js::Value();
}

} // namespace velk
