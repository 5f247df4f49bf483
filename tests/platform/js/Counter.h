#pragma once

#include "platform/js/Context.h"

#include <new>
#include <stdexcept>

namespace velk::test {

/// A small class that scripts can make, with a member of every kind.
class Counter final : public js::NativeObject {
public:
    static js::ClassDescription const kClass;

    explicit Counter(double start)
        : m_count(start)
        , m_bytes(std::make_shared<std::vector<std::int8_t>>(4))
        , m_view(js::ByteView {m_bytes, m_bytes->data(), m_bytes->size()})
    {
        ++living;
    }
    Counter(Counter const&) = delete;
    ~Counter() override { --living; }

    js::ClassDescription const& classDescription() const override { return kClass; }

    double count() const { return m_count; }
    void setCount(js::Value const& count) { m_count = count.toNumber(); }
    js::Value style() const { return m_style; }
    void setStyle(js::Value const& style) { m_style = style; }
    js::Value bytes() const { return m_view; }
    std::shared_ptr<std::vector<std::int8_t>> memory() const { return m_bytes; }

    std::shared_ptr<js::NativeObject> self() { return shared_from_this(); }
    void add(double amount) { m_count += amount; }
    bool sameAs(std::shared_ptr<Counter> const& other) const { return other.get() == this; }
    std::string join(std::string const& a, std::uint32_t b) const { return a + "/" + std::to_string(b); }
    void exhaustMemory() { throw std::bad_alloc(); }
    void fail() { throw std::runtime_error("inside"); }

    static inline int living = 0;

private:
    double m_count;
    js::Value m_style;
    std::shared_ptr<std::vector<std::int8_t>> m_bytes;
    js::Value m_view;
};

} // namespace velk::test
