#pragma once

#include "base/AtomicFile.h"
#include "platform/codec/PngChunks.h"
#include "platform/graphics/RowSource.h"

#include <functional>

namespace velk::codec {

/// How pixel data is compressed.
struct PngCompression {
    /// libdeflate's levels, 1 to 12; 0 = choose by the size of the image.
    int level = 0;
    /// Worker threads; 0 = as many as help. 1 compresses on the calling thread.
    unsigned threads = 0;
    /// Bytes that are compressed at once; 0 = choose by the size of the image.
    std::size_t stripBytes = 0;
};

/// Writes all rows of an image as IDAT chunks. `rows` deliver full-range components as PixelFormat says;
/// `header` tells how they are stored. Memory stays at a few strips of rows, which worker threads filter and
/// compress independently, each into a piece of the one zlib stream.
Result<void> writePngData(graphics::RowSource& rows, PngHeader const& header, AtomicFile& output,
    PngCompression const& compression = {});

/// Takes the pieces of a stream one after the other.
using DataSink = std::function<Result<void>(ByteSpan piece)>;

/// The same as a zlib stream in pieces, for formats that share PNG's filters. `header` need only agree with
/// the rows in its size, depth and number of channels.
Result<void> compressFilteredRows(graphics::RowSource& rows, PngHeader const& header, DataSink const& sink,
    PngCompression const& compression = {});

} // namespace velk::codec
