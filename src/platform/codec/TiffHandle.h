#pragma once

#include "base/Files.h"
#include "base/Result.h"

#include <tiffio.h>

#include <memory>
#include <string>

namespace velk::codec::tiff {

/// libtiff's view of a file or of a sink in memory. Its errors are kept here, nothing is printed.
class Handle {
    struct Private { };

public:
    explicit Handle(Private) { }
    /// Opens a file for decoding. `file` must outlive the handle.
    static Result<std::unique_ptr<Handle>> openForReading(InputFile const& file);
    /// A little-endian file of which only what is appended matters.
    static Result<std::unique_ptr<Handle>> openSink(bool isBig);

    Handle(Handle const&) = delete;
    ~Handle();

    TIFF* get() const { return m_tiff; }
    /// The first error since the last call, in libtiff's words.
    std::string takeError();
    /// Whether data was asked for that lies beyond the end of the file.
    bool hasReadPastEnd() const { return m_hasReadPastEnd; }
    /// What was appended to a sink since the last call.
    Bytes takeWritten() { return std::exchange(m_written, {}); }

private:
    Result<void> open(char const* mode, std::size_t largestAllocation);

    bool isPadding(std::uint64_t count);

    static tmsize_t read(thandle_t self, void* to, tmsize_t count);
    static tmsize_t write(thandle_t self, void* from, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t offset, int origin);
    static toff_t size(thandle_t self);
    static int close(thandle_t self);
    static int onError(TIFF* tiff, void* self, char const* module, char const* format, va_list values);
    static int onWarning(TIFF* tiff, void* self, char const* module, char const* format, va_list values);

    TIFF* m_tiff = nullptr;
    InputFile const* m_file = nullptr;
    std::uint64_t m_position = 0;
    std::uint64_t m_size = 0;
    Bytes m_written;
    std::string m_error;
    bool m_hasReadPastEnd = false;
    /// Zeros delivered beyond the end of the file, and where the last of them lies.
    std::uint64_t m_padding = 0;
    std::uint64_t m_paddingEnd = 0;
};

} // namespace velk::codec::tiff
