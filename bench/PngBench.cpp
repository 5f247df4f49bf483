#include "platform/codec/PngDataWriter.h"
#include "platform/codec/PngDeflateScan.h"
#include "platform/codec/PngFilter.h"
#include "platform/graphics/PixelBuffer.h"

#include <benchmark/benchmark.h>
#include <libdeflate.h>

#include <cmath>
#include <filesystem>
#include <random>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr Size kSize = {4000, 1000};
constexpr std::size_t kPadding = 16;
constexpr std::size_t kPixelBytes = 3;
constexpr std::size_t kRowBytes = kSize.width * kPixelBytes;

// Slopes with the grain of a sensor: compresses about as a photograph does.
std::shared_ptr<PixelBuffer const> grainyPhoto()
{
    static auto const photo = [] {
        auto buffer = PixelBuffer::create({kSize, {}}).value();
        std::minstd_rand random(1);
        std::normal_distribution<double> grain(0, 1.5);
        for (int y = 0; y < kSize.height; ++y) {
            for (int x = 0; x < kSize.width; ++x) {
                auto const light = 128 + 70 * std::sin(x * 0.011) * std::cos(y * 0.017) + grain(random);
                for (int channel = 0; channel < 3; ++channel)
                    buffer.row(y)[x * 3 + channel] =
                        static_cast<std::uint8_t>(light + channel * 9 + grain(random));
            }
        }
        return std::make_shared<PixelBuffer const>(std::move(buffer));
    }();
    return photo;
}

Bytes paddedRow(int y)
{
    Bytes row(kPadding + kRowBytes);
    std::copy_n(grainyPhoto()->row(y), kRowBytes, row.data() + kPadding);
    return row;
}

template <auto sums> void filterSums(benchmark::State& state)
{
    auto const previous = paddedRow(0), row = paddedRow(1);
    PngFilterInput const input {row.data() + kPadding, previous.data() + kPadding, kRowBytes, kPixelBytes};
    for (auto _ : state)
        benchmark::DoNotOptimize(sums(input));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kRowBytes));
}
BENCHMARK(filterSums<pngFilterSums>);
BENCHMARK(filterSums<scalar::pngFilterSums>);

template <auto apply> void paethFilter(benchmark::State& state)
{
    auto const previous = paddedRow(0), row = paddedRow(1);
    PngFilterInput const input {row.data() + kPadding, previous.data() + kPadding, kRowBytes, kPixelBytes};
    Bytes filtered(kRowBytes);
    for (auto _ : state) {
        apply(PngFilter::Paeth, input, filtered.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kRowBytes));
}
BENCHMARK(paethFilter<applyPngFilter>);
BENCHMARK(paethFilter<scalar::applyPngFilter>);

Bytes filteredRows()
{
    Bytes all(static_cast<std::size_t>(kSize.height - 1) * kRowBytes);
    for (int y = 1; y < kSize.height; ++y) {
        auto const previous = paddedRow(y - 1), row = paddedRow(y);
        applyPngFilter(PngFilter::Paeth,
            {row.data() + kPadding, previous.data() + kPadding, kRowBytes, kPixelBytes},
            all.data() + static_cast<std::size_t>(y - 1) * kRowBytes);
    }
    return all;
}

// What finding the last block costs beside making it: compare with deflateOnly.
struct Deflated {
    Bytes raw = filteredRows();
    Bytes stream = Bytes(raw.size());

    void compress()
    {
        auto* const compressor = libdeflate_alloc_compressor(3);
        stream.resize(raw.size());
        stream.resize(
            libdeflate_deflate_compress(compressor, raw.data(), raw.size(), stream.data(), stream.size()));
        libdeflate_free_compressor(compressor);
    }
};

void deflateOnly(benchmark::State& state)
{
    Deflated data;
    for (auto _ : state)
        data.compress();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.raw.size()));
}
BENCHMARK(deflateOnly)->Unit(benchmark::kMillisecond);

void scanOnly(benchmark::State& state)
{
    Deflated data;
    data.compress();
    for (auto _ : state)
        benchmark::DoNotOptimize(findFinalDeflateBlock(data.stream));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.raw.size()));
}
BENCHMARK(scanOnly)->Unit(benchmark::kMillisecond);

// Arguments: level, threads.
void writeData(benchmark::State& state)
{
    auto const target = (std::filesystem::temp_directory_path() / "velk-png-bench.png").string();
    std::uint64_t size = 0;
    for (auto _ : state) {
        auto const rows = rowsOf(grainyPhoto());
        auto output = AtomicFile::create(target).value();
        PngCompression const compression {
            .level = static_cast<int>(state.range(0)), .threads = static_cast<unsigned>(state.range(1))};
        if (!writePngData(*rows, {.size = kSize}, output, compression))
            state.SkipWithError("cannot be written");
        size = output.position();
    }
    state.counters["bytes"] = static_cast<double>(size);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kRowBytes) * kSize.height);
}
BENCHMARK(writeData)->ArgsProduct({{1, 2, 3, 4, 5, 6}, {1, 2}})->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

} // namespace velk::codec

BENCHMARK_MAIN();
