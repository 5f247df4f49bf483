#pragma once

#include "base/Files.h"

#include <jxl/decode.h>

#include <memory>

namespace velk::codec::jxl {

/// Threads for libjxl to work on, as many as the machine has cores.
class Threads {
public:
    static Result<Threads> create();
    void* get() const { return m_runner.get(); }

private:
    struct Destroy {
        void operator()(void* runner) const;
    };
    std::unique_ptr<void, Destroy> m_runner;
};

/// libjxl's decoder at work on a file, which it is fed piece by piece.
class Decoder {
public:
    /// `events` are those that `next` is to stop at.
    static Result<Decoder> open(InputFile const& file, int events);

    JxlDecoder* get() const { return m_decoder.get(); }
    /// Decodes on several threads.
    Result<void> useThreads();
    /// Goes on to the next event. JXL_DEC_NEED_MORE_INPUT stands for a file that ends too early,
    /// JXL_DEC_ERROR for a damaged one.
    Result<JxlDecoderStatus> next();
    /// Goes on to this event; anything else on the way is an error.
    Result<void> expect(JxlDecoderStatus event);

private:
    struct Destroy {
        void operator()(JxlDecoder* decoder) const { JxlDecoderDestroy(decoder); }
    };

    explicit Decoder(InputFile const& file)
        : m_file(&file)
    {
    }
    Result<bool> feed();

    InputFile const* m_file;
    std::uint64_t m_offset = 0;
    Bytes m_input;
    Threads m_threads;
    // Refers to the input and the threads.
    std::unique_ptr<JxlDecoder, Destroy> m_decoder;
};

} // namespace velk::codec::jxl
