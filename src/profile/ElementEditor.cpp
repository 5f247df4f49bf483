#include "profile/ElementEditor.h"

#include <algorithm>
#include <utility>

namespace velk {

ByteSpan ElementEditor::part(std::uint64_t offset, std::uint64_t length) const
{
    auto const start = std::min(offset, size());
    return m_bytes.subspan(start, std::min(length, size() - start));
}

void ElementEditor::extend(std::uint64_t size)
{
    auto& bytes = edit();
    bytes.resize(std::max<std::uint64_t>(size, bytes.size()));
    m_bytes = bytes;
}

Bytes ElementEditor::take()
{
    edit();
    m_bytes = {};
    return std::exchange(m_copy, {});
}

Bytes& ElementEditor::edit()
{
    if (!m_isEdited) {
        m_copy.assign(m_bytes.begin(), m_bytes.end());
        m_bytes = m_copy;
        m_isEdited = true;
    }
    return m_copy;
}

} // namespace velk
