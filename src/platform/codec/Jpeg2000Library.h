#pragma once

#include "base/AtomicFile.h"
#include "base/Files.h"
#include "base/Result.h"

#include <openjpeg.h>

#include <memory>
#include <string>

/// OpenJPEG's objects as owners, and its streams over the files of the ground floor.
namespace velk::codec::openjpeg {

// Codecs and streams are the same type to the compiler.
template <auto destroy> struct Release {
    void operator()(auto* object) const { destroy(object); }
};

using CodecPointer = std::unique_ptr<opj_codec_t, Release<opj_destroy_codec>>;
using StreamPointer = std::unique_ptr<opj_stream_t, Release<opj_stream_destroy>>;
using ImagePointer = std::unique_ptr<opj_image_t, Release<opj_image_destroy>>;

/// What a codec has to say. Nothing of it is printed.
struct Messages {
    bool hasWarning = false;

    void listenTo(opj_codec_t* codec);
};

/// The bytes of a codestream within a file.
struct InputRange {
    InputFile const& file;
    std::uint64_t offset;
    std::uint64_t length;
    std::uint64_t position = 0;
};

/// `range` has to outlive the stream.
StreamPointer openInput(InputRange& range);

/// A file to append to, and the first failure to do so.
struct OutputEnd {
    AtomicFile& file;
    Result<void> result;
};

/// `end` has to outlive the stream.
StreamPointer openOutput(OutputEnd& end);

/// Worker threads for code blocks.
constexpr int kThreads = 2;

} // namespace velk::codec::openjpeg
