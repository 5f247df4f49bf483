#pragma once

#include "base/Files.h"
#include "base/FourCC.h"

#include <vector>

namespace velk::codec::heif {

/// A box in the content of another (ISO/IEC 14496-12, 4.2).
struct ChildBox {
    FourCC type;
    ByteSpan content;
};

/// The boxes that lie one after the other in `content`; those that reach beyond it are left out.
std::vector<ChildBox> childBoxes(ByteSpan content);
/// The content of the first of them of this type; empty when there is none.
ByteSpan contentOf(ByteSpan boxes, FourCC type);

/// Reads big-endian fields; once there are too few bytes for one, it and all that follow are 0.
class BoxFields {
public:
    struct FullBoxHeader {
        unsigned version = 0;
        std::uint32_t flags = 0;
    };

    explicit BoxFields(ByteSpan bytes)
        : m_rest(bytes)
    {
    }
    bool isValid() const { return m_isValid; }
    ByteSpan rest() const { return m_rest; }
    /// The next `bytes` (0 to 8) as a number.
    std::uint64_t number(unsigned bytes);
    FullBoxHeader fullBoxHeader();

private:
    ByteSpan m_rest;
    bool m_isValid = true;
};

/// The content of the file's meta box; empty when there is none.
Result<Bytes> readMeta(InputFile const& file);

} // namespace velk::codec::heif
