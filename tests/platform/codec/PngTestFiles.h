#pragma once

#include "platform/codec/PngChunks.h"

#include <functional>
#include <string>
#include <vector>

namespace velk::test {

/// A chunk of a PNG file under test.
struct TestChunk {
    std::string type;
    Bytes data;

    bool operator==(TestChunk const&) const = default;
};

TestChunk chunk(std::string type, std::string_view data);
/// Signature and chunks.
Bytes pngFile(std::vector<TestChunk> const& chunks);
/// The chunks of a sound file; consecutive IDATs stay apart. Fails the test when a checksum is wrong.
std::vector<TestChunk> chunksOf(Bytes const& file);
/// The types of `chunks` with spaces between.
std::string typesOf(std::vector<TestChunk> const& chunks);

/// A sample as it is stored, in the depth of the header.
using Sampler = std::function<unsigned(int x, int y, int channel)>;
/// IDAT of an image with filter None, in the passes of Adam7 where the header says so.
TestChunk imageData(codec::PngHeader const& header, Sampler const& sampler);
TestChunk headerChunk(codec::PngHeader const& header);

} // namespace velk::test
