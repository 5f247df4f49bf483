#pragma once

#include "base/Bytes.h"
#include "base/Result.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velk {

/// Owns a file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor() { close(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    /// Returns false when the system reports that written data was lost.
    bool close();

private:
    int m_fd = -1;
};

/// "No such file or directory" and the like, for the error in `errno`.
std::string systemMessage(int error);

/// A file open for reading. Reads name their offset, so that many readers can share one. The content stays
/// the one that was opened even if the path vanishes or is replaced.
class InputFile {
public:
    static Result<InputFile> open(std::string const& path);
    /// A file that exists only in memory, for what lies inside another file; `path` names it in messages.
    static Result<InputFile> inMemory(std::string const& path, ByteSpan bytes);

    std::string const& path() const { return m_path; }
    std::uint64_t size() const { return m_size; }
    int descriptor() const { return m_fd.get(); }

    /// Reads up to to.size() bytes at `offset`; fewer only at the end of the file.
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> to) const;
    /// Reads exactly to.size() bytes; "unexpected end of file" when they are not there.
    Result<void> readExactlyAt(std::uint64_t offset, std::span<std::uint8_t> to) const;
    /// The whole content; an error when it is longer than `limit`.
    Result<Bytes> readAll(std::uint64_t limit = std::uint64_t {1} << 32) const;

    /// An error if the system ever refused to read, however that was taken: who reads on as if the file ended
    /// there, or does without a part, must not replace the file by the rest of it.
    Result<void> checkReads() const;

private:
    std::string m_path;
    FileDescriptor m_fd;
    std::uint64_t m_size = 0;
    /// The first error of any read, 0 = none. Readers on several threads share it.
    std::unique_ptr<std::atomic<int>> m_readError = std::make_unique<std::atomic<int>>(0);
};

/// Reads an `InputFile` from front to back (or after a seek) through a buffer.
class BufferedReader {
public:
    explicit BufferedReader(
        InputFile const& file, std::uint64_t offset = 0, std::size_t bufferSize = 64 * 1024);

    /// Offset of the next byte.
    std::uint64_t position() const { return m_bufferOffset + m_next; }
    void seek(std::uint64_t offset);
    void skip(std::uint64_t count) { seek(position() + count); }

    /// Up to to.size() bytes; fewer only at the end of the file or when reading fails.
    std::size_t read(std::span<std::uint8_t> to);
    /// Exactly to.size() bytes, or an error.
    Result<void> readExactly(std::span<std::uint8_t> to);
    /// The next byte, or nothing at the end.
    std::optional<std::uint8_t> byte()
    {
        if (m_next == m_end && !refill())
            return std::nullopt;
        return m_buffer[m_next++];
    }

private:
    bool refill();

    InputFile const* m_file;
    Bytes m_buffer;
    std::uint64_t m_bufferOffset;
    std::size_t m_next = 0;
    std::size_t m_end = 0;
};

/// The bytes of a whole file; an error when it is longer than `limit`.
Result<Bytes> readFile(std::string const& path, std::uint64_t limit = std::uint64_t {1} << 32);

/// The absolute path with symbolic links resolved, if every component exists.
std::optional<std::string> canonicalPath(std::string const& path);
/// As `canonicalPath`, but the last component need not exist (unless the path ends in '/').
std::optional<std::string> canonicalOutputPath(std::string const& path);
/// The text after the last '/', or the whole path.
std::string_view lastPathComponent(std::string_view path);

} // namespace velk
