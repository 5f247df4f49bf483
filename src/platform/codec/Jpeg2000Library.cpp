#include "platform/codec/Jpeg2000Library.h"

#include <algorithm>
#include <string_view>

namespace velk::codec::openjpeg {

namespace {

constexpr OPJ_SIZE_T kStreamBuffer = 256 * 1024;
constexpr auto kEnd = static_cast<OPJ_SIZE_T>(-1);

// A codestream without its end marker is complete all the same.
constexpr std::string_view kHarmless = "EOC";

void ignore(char const*, void*) { }

void noteWarning(char const* message, void* messages)
{
    if (std::string_view(message).find(kHarmless) == std::string_view::npos)
        static_cast<Messages*>(messages)->hasWarning = true;
}

OPJ_SIZE_T readInput(void* to, OPJ_SIZE_T count, void* user)
{
    auto& range = *static_cast<InputRange*>(user);
    auto const wanted = std::min<std::uint64_t>(count, range.length - range.position);
    auto const done = range.file.readAt(
        range.offset + range.position, {static_cast<std::uint8_t*>(to), static_cast<std::size_t>(wanted)});
    if (!done || *done == 0)
        return kEnd;
    range.position += *done;
    return *done;
}

OPJ_OFF_T skipInput(OPJ_OFF_T count, void* user)
{
    auto& range = *static_cast<InputRange*>(user);
    auto const left = range.length - range.position;
    if (count < 0 || left == 0)
        return -1;
    auto const skipped = std::min<std::uint64_t>(static_cast<std::uint64_t>(count), left);
    range.position += skipped;
    return static_cast<OPJ_OFF_T>(skipped);
}

OPJ_BOOL seekInput(OPJ_OFF_T position, void* user)
{
    auto& range = *static_cast<InputRange*>(user);
    if (position < 0 || static_cast<std::uint64_t>(position) > range.length)
        return OPJ_FALSE;
    range.position = static_cast<std::uint64_t>(position);
    return OPJ_TRUE;
}

OPJ_SIZE_T writeOutput(void* from, OPJ_SIZE_T count, void* user)
{
    auto& end = *static_cast<OutputEnd*>(user);
    if (end.result)
        end.result = end.file.write({static_cast<std::uint8_t const*>(from), count});
    return end.result ? count : kEnd;
}

} // namespace

void Messages::listenTo(opj_codec_t* codec)
{
    opj_set_info_handler(codec, ignore, this);
    opj_set_warning_handler(codec, noteWarning, this);
    opj_set_error_handler(codec, noteWarning, this);
}

StreamPointer openInput(InputRange& range)
{
    StreamPointer stream(opj_stream_create(kStreamBuffer, OPJ_TRUE));
    if (stream) {
        opj_stream_set_user_data(stream.get(), &range, nullptr);
        opj_stream_set_user_data_length(stream.get(), range.length);
        opj_stream_set_read_function(stream.get(), readInput);
        opj_stream_set_skip_function(stream.get(), skipInput);
        opj_stream_set_seek_function(stream.get(), seekInput);
    }
    return stream;
}

StreamPointer openOutput(OutputEnd& end)
{
    StreamPointer stream(opj_stream_create(kStreamBuffer, OPJ_FALSE));
    if (stream) {
        opj_stream_set_user_data(stream.get(), &end, nullptr);
        opj_stream_set_write_function(stream.get(), writeOutput);
    }
    return stream;
}

} // namespace velk::codec::openjpeg
