#pragma once

#include "platform/js/Counter.h"

#include <gtest/gtest.h>

#include <vector>

namespace velk::test {

/// A context with the class `Counter` that keeps what is thrown.
class ScriptTest : public testing::Test {
protected:
    ScriptTest()
    {
        context->registerClass(Counter::kClass);
        context->setExceptionHandler([this](std::string const& text) { thrown.push_back(text); });
    }

    js::Value run(std::string const& source) { return context->evaluate(source, "test.js"); }
    /// The completion value as text, or what was thrown.
    std::string text(std::string const& source)
    {
        thrown.clear();
        auto const value = run(source).toString();
        return thrown.empty() ? value : "thrown: " + thrown.front();
    }

    std::vector<std::string> thrown;
    std::unique_ptr<js::Context> context = js::Context::create();
};

} // namespace velk::test
