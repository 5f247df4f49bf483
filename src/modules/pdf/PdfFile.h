#pragma once

#include "base/AtomicFile.h"

#include <functional>
#include <string>
#include <vector>

namespace velk::codec::pdf {

/// Writes the objects of a PDF 1.7 file (ISO 32000-1) from front to back, each once and in any order.
class PdfFile {
public:
    explicit PdfFile(AtomicFile& output)
        : m_output(output)
    {
    }

    Result<void> start();
    /// A number for an object that is written later.
    int reserve();
    /// "7 0 R", the way that an object is named in others.
    static std::string reference(int object);

    Result<void> write(int object, std::string_view value);
    /// A stream whose bytes `body` appends to the file; its length is written behind it. `entries` are those
    /// of the stream's dictionary.
    Result<void> writeStream(int object, std::string_view entries, std::function<Result<void>()> const& body);
    /// Cross-reference table and trailer; `information` is the document information dictionary.
    Result<void> finish(int catalog, int information);

private:
    Result<void> begin(int object);

    AtomicFile& m_output;
    std::vector<std::uint64_t> m_offsets; ///< of object n + 1
};

} // namespace velk::codec::pdf
