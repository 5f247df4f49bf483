#include "modules/jxl/JxlDecoder.h"

#include <jxl/thread_parallel_runner.h>

#include <algorithm>

namespace velk::codec::jxl {

namespace {

// Most headers lie within the first piece; pixels come in larger ones.
constexpr std::size_t kFirstPiece = 16 * 1024, kLargestPiece = 4 << 20;

} // namespace

Result<Threads> Threads::create()
{
    Threads threads;
    threads.m_runner.reset(
        JxlThreadParallelRunnerCreate(nullptr, JxlThreadParallelRunnerDefaultNumWorkerThreads()));
    if (!threads.get())
        return fail("out of memory");
    return threads;
}

void Threads::Destroy::operator()(void* runner) const
{
    JxlThreadParallelRunnerDestroy(runner);
}

Result<Decoder> Decoder::open(InputFile const& file, int events)
{
    Decoder decoder(file);
    decoder.m_decoder.reset(JxlDecoderCreate(nullptr));
    if (!decoder.get() || JxlDecoderSubscribeEvents(decoder.get(), events) != JXL_DEC_SUCCESS)
        return fail("out of memory");
    return decoder;
}

Result<void> Decoder::useThreads()
{
    m_threads = TRY(Threads::create());
    if (JxlDecoderSetParallelRunner(get(), JxlThreadParallelRunner, m_threads.get()) != JXL_DEC_SUCCESS)
        return fail("the JPEG XL library does not fit");
    return {};
}

// What the decoder has not consumed has to be given to it again, followed by more.
Result<bool> Decoder::feed()
{
    auto const rest = JxlDecoderReleaseInput(get());
    std::ranges::copy(m_input.end() - static_cast<std::ptrdiff_t>(rest), m_input.end(), m_input.begin());
    auto const piece = std::clamp(m_input.size() * 2, kFirstPiece, kLargestPiece);
    m_input.resize(rest + piece);
    auto const count = TRY(m_file->readAt(m_offset, std::span(m_input).subspan(rest)));
    m_offset += count;
    m_input.resize(rest + count);
    if (JxlDecoderSetInput(get(), m_input.data(), m_input.size()) != JXL_DEC_SUCCESS)
        return fail("the JPEG XL library does not fit");
    return count > 0;
}

Result<JxlDecoderStatus> Decoder::next()
{
    for (;;) {
        auto const status = JxlDecoderProcessInput(get());
        if (status != JXL_DEC_NEED_MORE_INPUT || !TRY(feed()))
            return status;
    }
}

Result<void> Decoder::expect(JxlDecoderStatus event)
{
    auto const status = TRY(next());
    if (status == event)
        return {};
    return status == JXL_DEC_NEED_MORE_INPUT ? fail("unexpected end of file")
                                             : fail("the JPEG XL data is damaged");
}

} // namespace velk::codec::jxl
