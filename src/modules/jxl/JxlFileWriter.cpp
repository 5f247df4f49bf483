#include "modules/jxl/JxlFileWriter.h"

#include "modules/jxl/JxlContainer.h"
#include "modules/jxl/JxlPixels.h"

#include <jxl/thread_parallel_runner.h>

namespace velk::codec::jxl {

namespace {

constexpr std::size_t kPieceSize = 256 * 1024;

Result<void> addBox(FileWriter const& writer, char const (&type)[5], ByteSpan content)
{
    return writer.check(JxlEncoderAddBox(writer.get(), type, content.data(), content.size(), JXL_FALSE));
}

} // namespace

Result<FileWriter> FileWriter::create()
{
    FileWriter writer;
    writer.m_threads = TRY(Threads::create());
    writer.m_encoder.reset(JxlEncoderCreate(nullptr));
    if (!writer.get())
        return fail("out of memory");
    TRY(writer.check(
        JxlEncoderSetParallelRunner(writer.get(), JxlThreadParallelRunner, writer.m_threads.get())));
    return writer;
}

Result<void> FileWriter::check(JxlEncoderStatus status) const
{
    if (status == JXL_ENC_SUCCESS)
        return {};
    return JxlEncoderGetError(get()) == JXL_ENC_ERR_OOM ? fail("out of memory")
                                                        : fail("the picture cannot be encoded as JPEG XL");
}

// Boxes stay uncompressed, as few readers can decompress them.
Result<void> FileWriter::addMetadata(Metadata const& metadata) const
{
    auto const exif = metadata.exif();
    auto const xmp = metadata.xmp();
    if (exif.empty() && xmp.empty())
        return {};
    TRY(check(JxlEncoderUseBoxes(get())));
    if (!exif.empty())
        TRY(addBox(*this, "Exif", exifContent(exif)));
    if (!xmp.empty())
        TRY(addBox(*this, "xml ", asBytes(xmp)));
    JxlEncoderCloseBoxes(get());
    return {};
}

Result<void> FileWriter::useRequiredLevel() const
{
    auto const level = JxlEncoderGetRequiredCodestreamLevel(get());
    return level > 5 ? check(JxlEncoderSetCodestreamLevel(get(), level)) : Result<void> {};
}

Result<void> FileWriter::addFrame(
    JxlEncoderFrameSettings* settings, graphics::PixelBuffer const& pixels) const
{
    auto const layout = layoutOf(pixels);
    return check(JxlEncoderAddImageFrame(settings, &layout, pixels.row(0), sizeOf(pixels)));
}

Result<void> FileWriter::finish(AtomicFile& output)
{
    JxlEncoderCloseInput(get());
    Bytes piece(kPieceSize);
    for (;;) {
        auto* next = piece.data();
        auto left = piece.size();
        auto const status = JxlEncoderProcessOutput(get(), &next, &left);
        TRY(output.write(ByteSpan(piece).first(piece.size() - left)));
        if (status != JXL_ENC_NEED_MORE_OUTPUT)
            return check(status);
    }
}

} // namespace velk::codec::jxl
