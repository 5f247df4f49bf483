#pragma once

#include "base/AtomicFile.h"
#include "base/Files.h"

#include <optional>
#include <string>

namespace velk {

/// A file that receives all its content at once. Where the path can be replaced, a failure leaves what stood
/// there; devices, pipes and files in directories that take no new file are written in place.
class OutputFile {
public:
    /// Refuses to write over `source`, the file that the content comes from; a warning says so.
    static Result<OutputFile> open(std::string const& path, std::string const& source);

    /// Writes the whole content and closes the file; to be called once.
    Result<void> write(ByteSpan content);

private:
    OutputFile() = default;

    std::string m_target;
    /// Either this,
    std::optional<AtomicFile> m_replacement;
    /// or the file itself.
    FileDescriptor m_inPlace;
};

} // namespace velk
