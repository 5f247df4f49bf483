#include "platform/codec/PngTestFiles.h"

#include "platform/codec/PngText.h"

#include <gtest/gtest.h>
#include <zlib.h>

namespace velk::test {

using codec::PngHeader;

namespace {

struct Pass {
    int x, y, stepX, stepY;
};

// One pass's rows, packed from the highest bit down.
void appendPass(Bytes& raw, PngHeader const& header, Pass const& pass, Sampler const& sampler)
{
    for (int y = pass.y; y < header.size.height && pass.x < header.size.width; y += pass.stepY) {
        raw.push_back(0);
        unsigned bits = 0, count = 0;
        auto const flush = [&] {
            for (; count >= 8; count -= 8)
                raw.push_back(static_cast<std::uint8_t>(bits >> (count - 8)));
        };
        for (int x = pass.x; x < header.size.width; x += pass.stepX) {
            for (int channel = 0; channel < header.channels(); ++channel) {
                bits = bits << header.bitDepth | sampler(x, y, channel);
                count += static_cast<unsigned>(header.bitDepth);
                flush();
            }
        }
        if (count > 0) {
            bits <<= 8 - count;
            count = 8;
            flush();
        }
    }
}

} // namespace

TestChunk chunk(std::string type, std::string_view data)
{
    return {std::move(type), Bytes(data.begin(), data.end())};
}

Bytes pngFile(std::vector<TestChunk> const& chunks)
{
    Bytes file(codec::kPngSignature.begin(), codec::kPngSignature.end());
    for (auto const& [type, data] : chunks)
        codec::appendPngChunk(file, FourCC(loadBE32(asBytes(type).data())), data);
    return file;
}

std::vector<TestChunk> chunksOf(Bytes const& file)
{
    std::vector<TestChunk> chunks;
    for (std::size_t at = 8; at + 12 <= file.size();) {
        auto const length = loadBE32(file.data() + at);
        if (at + 12 + length > file.size()) {
            ADD_FAILURE() << "a chunk is cut";
            break;
        }
        auto const body = ByteSpan(file).subspan(at + 4, length + 4);
        EXPECT_EQ(
            ::crc32(0, body.data(), static_cast<uInt>(body.size())), loadBE32(body.data() + body.size()));
        chunks.push_back(chunk(std::string(asText(body.first(4))), asText(body.subspan(4))));
        at += 12 + length;
    }
    return chunks;
}

std::string typesOf(std::vector<TestChunk> const& chunks)
{
    std::string types;
    for (auto const& chunk : chunks)
        types += (types.empty() ? "" : " ") + chunk.type;
    return types;
}

TestChunk imageData(PngHeader const& header, Sampler const& sampler)
{
    static std::vector<Pass> const whole = {{0, 0, 1, 1}};
    static std::vector<Pass> const adam7 = {
        {0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    Bytes raw;
    for (auto const& pass : header.isInterlaced ? adam7 : whole)
        appendPass(raw, header, pass, sampler);
    return {"IDAT", codec::deflateZlib(raw)};
}

TestChunk headerChunk(PngHeader const& header)
{
    auto const bytes = header.bytes();
    return {"IHDR", Bytes(bytes.begin(), bytes.end())};
}

} // namespace velk::test
