#pragma once

#include "platform/js/ClassTable.h"

#include <functional>

namespace velk {

/// The global `console` of scripts: hands what is logged to a handler.
class Console final : public js::NativeObject {
public:
    static js::ClassDescription const kClass;
    using Handler = std::function<void(js::Value const&)>;

    js::ClassDescription const& classDescription() const override { return kClass; }

    /// Calls the handler, if there is one.
    void log(js::Value value);

    Handler const& handler() const { return m_handler; }
    void setHandler(Handler handler) { m_handler = std::move(handler); }

private:
    Handler m_handler;
};

} // namespace velk
