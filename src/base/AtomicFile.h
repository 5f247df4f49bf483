#pragma once

#include "base/Files.h"

#include <string>

namespace velk {

/// A file that is written beside its target and renamed onto it, so that the target is never half written.
/// Until `commit`, every way out (failure, destruction, a signal) removes the temporary file.
class AtomicFile {
public:
    /// The name of a temporary file beside `target`, not yet created.
    static std::string temporaryTemplate(std::string const& target) { return target + ".XXXXX"; }

    /// Creates the temporary file `target` + "." + five characters, with the permission bits of the file that
    /// stands at `target`, or 0666 less the process mask when none does.
    static Result<AtomicFile> create(std::string const& target);
    /// The same with the permission bits 0600, whatever stands at `target`, for a file that can be made
    /// again: `commit` does not wait for the disk.
    static Result<AtomicFile> createPrivate(std::string const& target);

    AtomicFile(AtomicFile&&) noexcept;
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    std::string const& temporaryPath() const { return m_temporaryPath; }
    int descriptor() const { return m_fd.get(); }

    /// Appends through a buffer. The first failure is kept and returned by every later call.
    Result<void> write(ByteSpan bytes);
    /// Overwrites or extends at `offset` without moving the place where `write` appends; flushes first.
    Result<void> writeAt(std::uint64_t offset, ByteSpan bytes);
    /// Number of bytes written so far: the offset of the next `write`.
    std::uint64_t position() const { return m_written + m_buffer.size(); }
    /// Hands the buffered bytes to the system.
    Result<void> flush();
    /// Moves the append position to the end of the file, after somebody else wrote through `descriptor`.
    Result<void> syncPosition();
    /// Appends `count` bytes of `from` at `offset`, inside the kernel where it can do so.
    Result<void> copyFrom(InputFile const& from, std::uint64_t offset, std::uint64_t count);

    /// Everything that `commit` does before it renames, so that a failure to write can be told from a failure
    /// to rename: flushes, takes over the permission bits of the file at `target`, and syncs the data to disk
    /// when there is one.
    Result<void> prepareCommit(std::string const& target);
    /// Prepares, unless that was done, and renames the temporary file onto `target`.
    Result<void> commit(std::string const& target);

private:
    AtomicFile() = default;
    static Result<AtomicFile> createTemporary(std::string const& target, unsigned mode);
    Result<void> remember(Result<void> result);

    FileDescriptor m_fd;
    std::string m_temporaryPath;
    Bytes m_buffer;
    bool m_isPrepared = false;
    std::uint64_t m_written = 0;
    std::string m_failure;
    int m_cleanupSlot = -1;
};

} // namespace velk
