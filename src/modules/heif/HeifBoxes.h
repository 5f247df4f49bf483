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

/// A box that lies in no other.
struct TopLevelBox {
    FourCC type;
    std::uint64_t offset = 0, headerSize = 0, size = 0; ///< size with the header
};

/// The file's boxes, up to the first that is not possible or reaches beyond its end.
Result<std::vector<TopLevelBox>> topLevelBoxes(InputFile const& file);
/// What lies in a box of the file; an error when it is too large to be metadata.
Result<Bytes> readContent(InputFile const& file, TopLevelBox const& box);

/// A box with this content, of less than 4 GiB.
Bytes makeBox(FourCC type, ByteSpan content);
/// The low `bytes` (0 to 8) of a number, big-endian.
void appendNumber(Bytes& to, std::uint64_t number, unsigned bytes);

} // namespace velk::codec::heif
