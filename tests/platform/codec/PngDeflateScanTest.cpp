#include "platform/codec/PngDeflateScan.h"

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <random>
#include <string>

namespace velk::codec {

namespace {

constexpr int kRawDeflate = -15;

Bytes deflatedByLibdeflate(Bytes const& data, int level)
{
    auto* const compressor = libdeflate_alloc_compressor(level);
    Bytes stream(libdeflate_deflate_compress_bound(compressor, data.size()));
    stream.resize(
        libdeflate_deflate_compress(compressor, data.data(), data.size(), stream.data(), stream.size()));
    libdeflate_free_compressor(compressor);
    return stream;
}

Bytes deflatedByZlib(Bytes const& data, int level, int strategy)
{
    z_stream stream = {};
    deflateInit2(&stream, level, Z_DEFLATED, kRawDeflate, 8, strategy);
    Bytes result(deflateBound(&stream, data.size()));
    stream.next_in = const_cast<Bytef*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = result.data();
    stream.avail_out = static_cast<uInt>(result.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

struct Inflated {
    Bytes data;
    int status;
    bool isAllRead;
};

Inflated inflated(Bytes const& stream, std::size_t size)
{
    z_stream inflater = {};
    inflateInit2(&inflater, kRawDeflate);
    Inflated result {Bytes(size + 1), 0, false};
    inflater.next_in = const_cast<Bytef*>(stream.data());
    inflater.avail_in = static_cast<uInt>(stream.size());
    inflater.next_out = result.data.data();
    inflater.avail_out = static_cast<uInt>(result.data.size());
    result.status = inflate(&inflater, Z_NO_FLUSH);
    result.data.resize(inflater.total_out);
    result.isAllRead = inflater.avail_in == 0;
    inflateEnd(&inflater);
    return result;
}

// Kinds of data that make every kind of block: stored, fixed and dynamic codes, long matches, codes of all
// lengths, one block and many.
struct Sample {
    std::string name;
    Bytes data;
};

std::vector<Sample> samples()
{
    std::minstd_rand random(5);
    std::geometric_distribution<int> skewed(0.08), veryskewed(0.5);
    auto const filled = [](std::size_t size, auto next) {
        Bytes data(size);
        for (auto& byte : data)
            byte = static_cast<std::uint8_t>(next());
        return data;
    };
    std::size_t i = 0;
    return {
        {"empty", {}},
        {"one byte", {42}},
        {"short", filled(20, [&] { return i++ % 7; })},
        {"flat", Bytes(400'000, 9)},
        {"noise", filled(200'000, [&] { return random() >> 7; })},
        {"residuals", filled(700'000, [&] { return skewed(random); })},
        {"rare symbols", filled(300'000, [&] { return veryskewed(random) * 11; })},
        {"mixed", filled(900'000, [&] { return ++i / 50'000 % 2 ? skewed(random) : (i / 9) % 200; })},
    };
}

} // namespace

TEST(PngDeflateScan, PiecesOfAnyKindJoinIntoOneStream)
{
    auto const all = samples();
    auto const last = deflatedByLibdeflate({'e', 'n', 'd'}, 6);
    for (auto const& [name, data] : all) {
        std::vector<Bytes> streams;
        for (int const level : {0, 1, 2, 3, 6, 12})
            streams.push_back(deflatedByLibdeflate(data, level));
        for (int const strategy : {Z_DEFAULT_STRATEGY, Z_HUFFMAN_ONLY, Z_FIXED, Z_RLE})
            streams.push_back(deflatedByZlib(data, 6, strategy));
        for (auto& stream : streams) {
            ASSERT_TRUE(makeDeflateContinuable(stream)) << name;
            // Nothing is lost, the end is not reached, and every byte was good for something.
            auto const open = inflated(stream, data.size());
            EXPECT_EQ(open.status, Z_OK) << name;
            EXPECT_TRUE(open.isAllRead) << name;
            EXPECT_TRUE(open.data == data) << name;
            append(stream, ByteSpan(last));
            auto const joined = inflated(stream, data.size() + 3);
            EXPECT_EQ(joined.status, Z_STREAM_END) << name;
            EXPECT_EQ(joined.data.size(), data.size() + 3) << name;
        }
    }
}

TEST(PngDeflateScan, RefusesWhatIsNoDeflateStream)
{
    for (auto const& sample : samples()) {
        auto const whole = deflatedByLibdeflate(sample.data, 6);
        for (std::size_t tenth = 0; tenth < 10; ++tenth) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() * tenth / 10));
            EXPECT_FALSE(findFinalDeflateBlock(cut)) << sample.name << " cut at " << tenth << "/10";
        }
    }
    // Block type 3; a stored block whose length and complement disagree; codes that overlap.
    for (Bytes broken : {Bytes {7, 0, 0}, Bytes {1, 5, 0, 5, 0, 1, 2, 3, 4, 5}, Bytes(60, 0x25)}) {
        auto const before = broken;
        EXPECT_FALSE(makeDeflateContinuable(broken));
        EXPECT_EQ(broken, before);
    }
}

TEST(PngDeflateScan, SurvivesRandomBits)
{
    std::minstd_rand random(13);
    for (int round = 0; round < 3000; ++round) {
        Bytes stream(200);
        for (auto& byte : stream)
            byte = static_cast<std::uint8_t>(random() >> 9);
        stream[0] = static_cast<std::uint8_t>((stream[0] & ~7) | (round % 2 ? 4 : 2));
        auto const block = findFinalDeflateBlock(stream);
        EXPECT_LE(block ? block->end : 0, stream.size() * 8);
    }
}

} // namespace velk::codec
