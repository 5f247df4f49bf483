#pragma once

#include "base/Bytes.h"
#include "base/FourCC.h"

namespace velk {

/// Big-endian access to a tag element that stays inside of it, whatever offsets and counts the element
/// claims: reading outside gives 0, writing outside does nothing. The element is copied by the first write.
class ElementEditor {
public:
    /// `element` must outlive the editor.
    explicit ElementEditor(ByteSpan element)
        : m_bytes(element)
    {
    }
    ElementEditor(ElementEditor const&) = delete;

    std::uint64_t size() const { return m_bytes.size(); }
    /// Whether the whole range lies inside. Neither the offset nor their sum needs to make sense.
    bool contains(std::uint64_t offset, std::uint64_t length) const
    {
        return offset <= size() && length <= size() - offset;
    }
    /// The part of the range that lies inside.
    ByteSpan part(std::uint64_t offset, std::uint64_t length) const;

    std::uint8_t byte(std::uint64_t offset) const { return load<std::uint8_t>(offset); }
    std::uint16_t half(std::uint64_t offset) const { return load<std::uint16_t>(offset); }
    std::uint32_t word(std::uint64_t offset) const { return load<std::uint32_t>(offset); }
    FourCC signature(std::uint64_t offset) const { return FourCC(word(offset)); }

    void setByte(std::uint64_t offset, std::uint8_t value) { store(offset, value); }
    void setHalf(std::uint64_t offset, std::uint16_t value) { store(offset, value); }
    void setWord(std::uint64_t offset, std::uint32_t value) { store(offset, value); }
    /// Appends zeros; never shortens.
    void extend(std::uint64_t size);

    bool isEdited() const { return m_isEdited; }
    /// The element with all edits. Leaves the editor empty.
    Bytes take();

private:
    template <std::integral T> T load(std::uint64_t offset) const
    {
        return contains(offset, sizeof(T)) ? loadInteger<T>(m_bytes.data() + offset, ByteOrder::Big) : T {};
    }
    template <std::integral T> void store(std::uint64_t offset, T value)
    {
        if (contains(offset, sizeof(T)))
            storeInteger(edit().data() + offset, value, ByteOrder::Big);
    }
    Bytes& edit();

    /// The element as given, then `m_copy`.
    ByteSpan m_bytes;
    Bytes m_copy;
    bool m_isEdited = false;
};

} // namespace velk
