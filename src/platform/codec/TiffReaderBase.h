#pragma once

#include "platform/codec/TiffHandle.h"
#include "platform/codec/TiffRowReader.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

/// What the row readers for the different layouts of pixels have in common.
namespace velk::codec::tiff {

/// Rows, and tiles and strips that can only be decoded as a whole, may not be larger.
constexpr std::uint64_t kLargestChunk = std::uint64_t {256} << 20;

/// Zeroed memory that costs nothing before it is written.
class ChunkBuffer {
public:
    static Result<ChunkBuffer> create(std::uint64_t size)
    {
        if (size > kLargestChunk)
            return fail("the rows or tiles of the TIFF image are too large");
        ChunkBuffer buffer;
        buffer.m_size = size;
        buffer.m_bytes.reset(static_cast<std::uint8_t*>(std::calloc(size + 1, 1)));
        if (!buffer.m_bytes)
            return fail("out of memory");
        return buffer;
    }

    std::uint8_t* data() const { return m_bytes.get(); }
    std::uint64_t size() const { return m_size; }

private:
    struct Release {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<std::uint8_t[], Release> m_bytes;
    std::uint64_t m_size = 0;
};

/// Whether no single rows can be had from a decoder.
bool decodesWholeStripsOnly(int scheme);

/// Opens libtiff on the image and makes it deliver the samples that are planned.
Result<std::unique_ptr<Handle>> openDecoder(InputFile const& file, Structure const& structure);

/// What all readers know of the image.
struct PlaneLayout {
    graphics::Size size;
    std::int32_t rowsPerChunk;
    std::uint64_t rowBytes;
    int plane;
};

class ReaderBase : public RowReader {
public:
    explicit ReaderBase(PlaneLayout layout)
        : m_layout(layout)
    {
    }
    std::string const& problem() const override { return m_problem; }

protected:
    void noteProblem(std::string problem)
    {
        if (m_problem.empty())
            m_problem = std::move(problem);
    }
    void noteProblem(Handle& handle)
    {
        if (handle.hasReadPastEnd())
            noteProblem("the file is cut off");
    }
    std::int32_t chunkCount() const
    {
        return static_cast<std::int32_t>(
            (std::int64_t {m_layout.size.height} + m_layout.rowsPerChunk - 1) / m_layout.rowsPerChunk);
    }
    /// Rows in a chunk; the last one has fewer.
    std::int32_t rowsIn(std::int32_t chunk) const
    {
        auto const first = std::int64_t {chunk} * m_layout.rowsPerChunk;
        return static_cast<std::int32_t>(
            std::min<std::int64_t>(m_layout.rowsPerChunk, m_layout.size.height - first));
    }

    PlaneLayout m_layout;

private:
    std::string m_problem;
};

} // namespace velk::codec::tiff
