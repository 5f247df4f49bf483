#pragma once

#include <string_view>
#include <vector>

namespace velk {

/// One file type that the codec service knows.
struct FormatRow {
    std::string_view typeIdentifier;
    /// The preferred filename extension; empty when the type has none.
    std::string_view keyword;
    bool writable = false;
};

/// All readable types and the PDF type, sorted by type identifier; built on first use.
std::vector<FormatRow> const& formatTable();

} // namespace velk
