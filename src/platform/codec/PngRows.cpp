#include "platform/codec/PngRows.h"

#include "platform/graphics/PixelBuffer.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>

namespace velk::codec {

using namespace graphics;

namespace {

// Deflate makes at most so many bytes of one (a match of 258 bytes in two bits).
constexpr std::uint64_t kLargestExpansion = 1032;
// An interlaced image is held whole; beyond this its data must be able to fill it.
constexpr std::uint64_t kUncheckedImageBytes = 64 * 1024 * 1024;
constexpr std::size_t kCutFileReadSize = 16;
constexpr std::size_t kReadBufferSize = 128 * 1024;

// Decodes with libpng, which is given a clean stream: header, palette and transparent colour as they were
// checked, then the file from its pixel data on. So nothing that surrounds the pixels can disturb it.
//
// libpng leaves on errors by longjmp. The functions that it may leave so (those with setjmp) hold no objects
// that need destruction.
class PngRowSource final : public RowSource {
public:
    PngRowSource(std::shared_ptr<PngSource const> source, PixelLayout layout, std::uint64_t dataOffset)
        : RowSource(std::move(layout))
        , m_source(std::move(source))
        , m_preamble(preamble(*m_source))
        , m_reader(m_source->file(), dataOffset, kReadBufferSize)
    {
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
        if (m_png)
            m_info = png_create_info_struct(m_png);
    }

    ~PngRowSource() override { png_destroy_read_struct(&m_png, &m_info, nullptr); }

    Result<void> start()
    {
        if (!m_info)
            return fail("out of memory");
        if (!startDecoder())
            return fail("the pixel data cannot be decoded: {}", m_message.data());
        if (m_decodedRowBytes != rowBytes())
            return fail("the pixel data cannot be decoded");
        return {};
    }

private:
    static Bytes preamble(PngSource const& source)
    {
        Bytes bytes(kPngSignature.begin(), kPngSignature.end());
        appendPngChunk(bytes, pngType::kHeader, source.header().bytes());
        if (source.header().colorType == PngColorType::Indexed) {
            Bytes colors;
            for (auto const& entry : source.palette().entries)
                colors.insert(colors.end(), entry.begin(), entry.begin() + 3);
            appendPngChunk(bytes, pngType::kPalette, colors);
        } else if (!source.colorKey().empty()) {
            appendPngChunk(bytes, pngType::kTransparency, source.colorKey());
        }
        return bytes;
    }

    static PngRowSource& self(png_structp png) { return *static_cast<PngRowSource*>(png_get_error_ptr(png)); }

    [[noreturn]] static void onError(png_structp png, png_const_charp message)
    {
        auto& text = self(png).m_message;
        std::strncpy(text.data(), message, text.size() - 1);
        png_longjmp(png, 1);
    }

    static void onWarning(png_structp png, png_const_charp message)
    {
        auto& text = self(png).m_warning;
        std::strncpy(text.data(), message, text.size() - 1);
    }

    static void onRead(png_structp png, png_bytep to, std::size_t count)
    {
        if (!self(png).supply({to, count}))
            png_error(png, "unexpected end of file");
    }

    bool supply(std::span<std::uint8_t> to)
    {
        auto const ready = std::min(to.size(), m_preamble.size() - m_preambleUsed);
        std::copy_n(m_preamble.data() + m_preambleUsed, ready, to.data());
        m_preambleUsed += ready;
        return m_reader.read(to.subspan(ready)) == to.size() - ready;
    }

    bool startDecoder()
    {
        if (setjmp(png_jmpbuf(m_png)))
            return false;
        png_set_read_fn(m_png, this, onRead);
        png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_benign_errors(m_png, 1);
        // A wrong checksum does not spoil the pixels that can be decoded; it is warned of.
        png_set_crc_action(m_png, PNG_CRC_WARN_USE, PNG_CRC_WARN_USE);
        // The chunks' checksums cover the same bytes.
        png_set_option(m_png, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
        // Some writers declare a smaller window than they use.
        png_set_option(m_png, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);
        // libpng decodes nothing of a block that it could not read whole; of a file that was cut, the last
        // bytes shall count.
        if (m_source->chunks().chunks.back().type == pngType::kData)
            png_set_compression_buffer_size(m_png, kCutFileReadSize);
        png_read_info(m_png, m_info);
        setTransformations();
        m_passes = png_set_interlace_handling(m_png);
        png_read_update_info(m_png, m_info);
        m_decodedRowBytes = png_get_rowbytes(m_png, m_info);
        return true;
    }

    void setTransformations()
    {
        auto const& header = m_source->header();
        if (header.colorType == PngColorType::Indexed)
            png_set_packing(m_png);
        if (header.colorType == PngColorType::Gray && header.bitDepth < 8)
            png_set_expand_gray_1_2_4_to_8(m_png);
        if (!m_source->colorKey().empty())
            png_set_tRNS_to_alpha(m_png);
        if (header.bitDepth == 16 && kNativeByteOrder == ByteOrder::Little)
            png_set_swap(m_png);
    }

    Result<void> readRows(RowView rows) override
    {
        if (m_source->header().isInterlaced) {
            if (!m_whole)
                TRY(decodeWhole());
            for (std::int32_t i = 0; i < rows.count; ++i)
                std::memcpy(rows.row(i), m_whole->row(nextRow() + i), rowBytes());
            return {};
        }
        m_rowsRead = 0;
        if (!m_isBroken)
            m_isBroken = !decodeRows(rows);
        if (m_isBroken)
            TRY(reportDamage(nextRow() + m_rowsRead > 0));
        reportDecoderWarning();
        for (auto i = m_rowsRead; i < rows.count; ++i)
            std::memset(rows.row(i), 0, rowBytes());
        for (std::int32_t i = 0; i < m_rowsRead; ++i)
            limitIndices(rows.row(i));
        return {};
    }

    bool decodeRows(RowView const& rows)
    {
        if (setjmp(png_jmpbuf(m_png)))
            return false;
        for (; m_rowsRead < rows.count; ++m_rowsRead)
            png_read_row(m_png, rows.row(m_rowsRead), nullptr);
        return true;
    }

    Result<void> decodeWhole()
    {
        m_whole = TRY(PixelBuffer::create(layout()));
        m_isBroken = !decodePasses();
        if (m_isBroken)
            TRY(reportDamage(m_hasDecoded));
        reportDecoderWarning();
        for (std::int32_t y = 0; y < size().height; ++y)
            limitIndices(m_whole->row(y));
        return {};
    }

    // Every pass fills the blocks that its pixels stand for, so that data which end early leave a coarser
    // picture, and not one with holes.
    bool decodePasses()
    {
        if (setjmp(png_jmpbuf(m_png)))
            return false;
        for (m_pass = 0; m_pass < m_passes; ++m_pass) {
            for (m_row = 0; m_row < size().height; ++m_row, m_hasDecoded = true)
                png_read_row(m_png, nullptr, m_whole->row(m_row));
        }
        return true;
    }

    Result<void> reportDamage(bool hasRows)
    {
        if (!hasRows)
            return fail("the pixel data cannot be decoded: {}", m_message.data());
        m_source->warnOnce(PngProblem::PixelData,
            "the pixel data is damaged or incomplete, and part of the picture is missing");
        return {};
    }

    void reportDecoderWarning()
    {
        if (m_warning[0])
            m_source->warnOnce(
                PngProblem::Library, fmt::format("the pixel data is suspicious: {}", m_warning.data()));
        m_warning[0] = 0;
    }

    // An index without a palette entry stands for the last one.
    void limitIndices(std::uint8_t* row)
    {
        auto const count = m_source->palette().entries.size();
        if (count == 0 || count >= std::size_t {1} << m_source->header().bitDepth)
            return;
        auto const largest = static_cast<std::uint8_t>(count - 1);
        auto const indices = std::span(row, rowBytes());
        if (*std::ranges::max_element(indices) <= largest)
            return;
        for (auto& index : indices)
            index = std::min(index, largest);
        m_source->warnOnce(PngProblem::PaletteIndex, "some pixels have colours that are not in the palette");
    }

    std::shared_ptr<PngSource const> m_source;
    Bytes m_preamble;
    std::size_t m_preambleUsed = 0;
    BufferedReader m_reader;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    std::size_t m_decodedRowBytes = 0;
    int m_passes = 1, m_pass = 0;
    std::int32_t m_row = 0, m_rowsRead = 0;
    bool m_hasDecoded = false;
    bool m_isBroken = false;
    std::optional<PixelBuffer> m_whole;
    std::array<char, 128> m_message = {};
    std::array<char, 128> m_warning = {};
};

// Refuses an image whose data cannot even fill what has to be set aside at once to decode it.
Result<void> checkPlausible(PngHeader const& header, std::size_t decodedRowBytes, std::uint64_t dataSize)
{
    auto const most = dataSize * kLargestExpansion;
    auto const height = static_cast<std::uint64_t>(header.size.height);
    bool const isLarge = header.isInterlaced && decodedRowBytes * height > kUncheckedImageBytes;
    // The smallest pass of an interlaced image has an eighth of a row's pixels.
    auto const needed = isLarge ? header.packedRowBytes() * height : header.packedRowBytes() / 8;
    if (most < needed)
        return fail("the pixel data is missing");
    return {};
}

} // namespace

Result<RowSourcePointer> readPngRows(std::shared_ptr<PngSource const> source, std::int32_t height)
{
    auto const* data = source->chunks().first(pngType::kData);
    if (!data)
        return fail("the pixel data is missing");
    auto layout = source->description().info.layout;
    TRY(checkPlausible(source->header(), layout.rowBytes(), data->size));
    layout.size.height = height;
    auto const offset = data->offset;
    auto rows = std::make_unique<PngRowSource>(std::move(source), std::move(layout), offset);
    TRY(rows->start());
    return rows;
}

} // namespace velk::codec
