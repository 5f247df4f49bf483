#include "platform/codec/JpegStreams.h"

#include "platform/graphics/Geometry.h"

#include <jerror.h>

#include <algorithm>

namespace velk::codec::jpeg {

namespace {

constexpr std::array<JOCTET, 2> kEndOfImage = {0xFF, JPEG_EOI};

FileInput& inputOf(j_decompress_ptr info)
{
    return *static_cast<FileInput*>(info->src);
}

void startNothing(j_decompress_ptr) { }

enum class Filled { Data, End, Failed };

Filled fill(FileInput& input)
{
    auto const count = input.file.readAt(input.offset, input.buffer);
    if (!count) {
        input.failure = count.error().message;
        return Filled::Failed;
    }
    input.offset += *count;
    input.next_input_byte = input.buffer.data();
    input.bytes_in_buffer = *count;
    return *count > 0 ? Filled::Data : Filled::End;
}

boolean fillInput(j_decompress_ptr info)
{
    auto& input = inputOf(info);
    auto const filled = fill(input);
    if (filled == Filled::Failed) {
        static_cast<ErrorManager*>(info->err)->cause = input.failure.c_str();
        ERREXIT(info, JERR_FILE_READ);
    }
    if (filled == Filled::End) {
        WARNMS(info, JWRN_JPEG_EOF);
        input.ended = true;
        input.next_input_byte = kEndOfImage.data();
        input.bytes_in_buffer = kEndOfImage.size();
    }
    return TRUE;
}

void skipInput(j_decompress_ptr info, long count)
{
    auto& input = inputOf(info);
    if (count <= 0)
        return;
    auto const wanted = static_cast<std::size_t>(count);
    auto const buffered = std::min(wanted, input.bytes_in_buffer);
    input.next_input_byte += buffered;
    input.bytes_in_buffer -= buffered;
    input.offset += wanted - buffered;
}

SinkOutput& outputOf(j_compress_ptr info)
{
    return *static_cast<SinkOutput*>(info->dest);
}

void startOutput(j_compress_ptr) { }

void drainOrLeave(j_compress_ptr info)
{
    auto& output = outputOf(info);
    if (!output.drain()) {
        static_cast<ErrorManager*>(info->err)->cause = output.failure.c_str();
        ERREXIT(info, JERR_FILE_WRITE);
    }
}

boolean emptyOutput(j_compress_ptr info)
{
    // libjpeg means the whole buffer here, whatever `free_in_buffer` says.
    outputOf(info).free_in_buffer = 0;
    drainOrLeave(info);
    return TRUE;
}

std::uint64_t blockCount(jpeg_decompress_struct const& info)
{
    std::uint64_t blocks = 0;
    for (int i = 0; i < info.num_components; ++i)
        blocks += std::uint64_t {info.comp_info[i].width_in_blocks} * info.comp_info[i].height_in_blocks;
    return blocks;
}

// A scan can visit every block of the image for next to no data, so the number of scans is limited: to what
// no encoder exceeds, and to fewer in huge images. Ten scans are usual.
void limitScans(j_common_ptr common)
{
    constexpr std::uint64_t kMaximumVisits = std::uint64_t {1} << 30;
    auto* const info = reinterpret_cast<j_decompress_ptr>(common);
    auto const affordable = kMaximumVisits / std::max<std::uint64_t>(blockCount(*info), 1);
    auto const limit = std::clamp<std::uint64_t>(affordable, 24, 500);
    if (static_cast<std::uint64_t>(info->input_scan_number) > limit) {
        static_cast<ErrorManager*>(info->err)->cause = "has too many scans for a JPEG image";
        ERREXIT(info, JERR_BAD_STATE);
    }
}

} // namespace

FileInput::FileInput(InputFile const& from)
    : jpeg_source_mgr {}
    , file(from)
{
    init_source = startNothing;
    fill_input_buffer = fillInput;
    skip_input_data = skipInput;
    resync_to_restart = jpeg_resync_to_restart;
    term_source = startNothing;
}

SinkOutput::SinkOutput(ByteSink to)
    : jpeg_destination_mgr {}
    , sink(std::move(to))
{
    init_destination = startOutput;
    empty_output_buffer = emptyOutput;
    term_destination = drainOrLeave;
    next_output_byte = buffer.data();
    free_in_buffer = buffer.size();
}

bool SinkOutput::drain()
{
    auto const written = sink(ByteSpan(buffer).first(buffer.size() - free_in_buffer));
    next_output_byte = buffer.data();
    free_in_buffer = buffer.size();
    if (!written)
        failure = written.error().message;
    return written.has_value();
}

Result<std::unique_ptr<Decompressor>> Decompressor::create(InputFile const& file)
{
    auto decompressor = std::make_unique<Decompressor>(file);
    TRY(attempt(decompressor->errors, [&info = decompressor->info] { jpeg_create_decompress(&info); }));
    decompressor->info.src = &decompressor->input;
    decompressor->info.progress = &decompressor->m_progress;
    return decompressor;
}

Decompressor::Decompressor(InputFile const& file)
    : input(file)
{
    info.err = &errors;
    m_progress.progress_monitor = limitScans;
}

Decompressor::~Decompressor()
{
    jpeg_destroy_decompress(&info);
}

Result<void> Decompressor::readHeader()
{
    return attempt(errors, [this] { jpeg_read_header(&info, TRUE); });
}

Result<void> Decompressor::checkCoefficientMemory() const
{
    constexpr std::uint64_t kAlwaysAllowed = std::uint64_t {256} << 20;
    constexpr std::uint64_t kNeverAllowed = std::uint64_t {2} << 30;
    auto const blocks = blockCount(info);
    auto const bytes = blocks * sizeof(JBLOCK);
    if (bytes > kNeverAllowed)
        return fail("is too large for a progressive JPEG image");
    // Each block has at least one bit in one of the scans, unless arithmetic coding squeezes it.
    if (bytes > kAlwaysAllowed && !info.arith_code && blocks / 8 > input.file.size())
        return fail(
            "has too little data for an image of {} x {} pixels", info.image_width, info.image_height);
    return {};
}

Result<std::unique_ptr<Compressor>> Compressor::create(ByteSink sink)
{
    auto compressor = std::make_unique<Compressor>(std::move(sink));
    TRY(attempt(compressor->errors, [&info = compressor->info] { jpeg_create_compress(&info); }));
    compressor->info.dest = &compressor->output;
    return compressor;
}

Compressor::Compressor(ByteSink sink)
    : output(std::move(sink))
{
    info.err = &errors;
}

Compressor::~Compressor()
{
    jpeg_destroy_compress(&info);
}

} // namespace velk::codec::jpeg
