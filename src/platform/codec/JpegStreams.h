#pragma once

#include "base/Files.h"
#include "platform/codec/JpegErrors.h"

#include <array>
#include <functional>
#include <string>

namespace velk::codec::jpeg {

/// Feeds libjpeg from a file that other readers may share.
struct FileInput : jpeg_source_mgr {
    explicit FileInput(InputFile const& from);

    /// Offset of the first byte that libjpeg has not taken.
    std::uint64_t position() const { return offset - (ended ? 0 : bytes_in_buffer); }

    InputFile const& file;
    /// Offset of the first byte that is not in the buffer.
    std::uint64_t offset = 0;
    /// The file is used up, and libjpeg was given an end-of-image marker in its place.
    bool ended = false;
    std::string failure;
    std::array<JOCTET, 64 * 1024> buffer;
};

/// Takes the next bytes of a file that is being made.
using ByteSink = std::function<Result<void>(ByteSpan)>;

/// Takes libjpeg's output.
struct SinkOutput : jpeg_destination_mgr {
    explicit SinkOutput(ByteSink to);

    /// Hands all that libjpeg has written so far to the sink; false when that failed, and `failure` says why.
    bool drain();

    ByteSink sink;
    std::string failure;
    std::array<JOCTET, 64 * 1024> buffer;
};

/// A libjpeg decompressor of one file, headers not yet read.
class Decompressor {
public:
    static Result<std::unique_ptr<Decompressor>> create(InputFile const& file);
    explicit Decompressor(InputFile const& file);
    Decompressor(Decompressor const&) = delete;
    Decompressor& operator=(Decompressor const&) = delete;
    ~Decompressor();

    jpeg_decompress_struct info = {};
    ErrorManager errors;
    FileInput input;

    /// Reads headers, and sets the limits against files that are small but claim a lot of work.
    Result<void> readHeader();
    /// An error when the coefficients of the whole image (`jpeg_has_multiple_scans`) are more than a file of
    /// this size could sensibly ask for.
    Result<void> checkCoefficientMemory() const;

private:
    jpeg_progress_mgr m_progress = {};
};

/// A libjpeg compressor that writes to a sink, parameters not yet set.
class Compressor {
public:
    static Result<std::unique_ptr<Compressor>> create(ByteSink sink);
    explicit Compressor(ByteSink sink);
    Compressor(Compressor const&) = delete;
    Compressor& operator=(Compressor const&) = delete;
    ~Compressor();

    jpeg_compress_struct info = {};
    ErrorManager errors;
    SinkOutput output;
};

} // namespace velk::codec::jpeg
