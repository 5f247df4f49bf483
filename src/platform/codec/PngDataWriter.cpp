#include "platform/codec/PngDataWriter.h"

#include "platform/codec/PngDeflateScan.h"
#include "platform/codec/PngFilter.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

namespace velk::codec {

using namespace graphics;

namespace {

// Zeros in front of every row stand for the pixel to the left of the first one. The size keeps rows aligned.
constexpr std::size_t kRowPadding = 16;
constexpr unsigned kMaximumThreads = 2;
// One strip is being read, one is on each thread, one is done and waits to be written.
constexpr std::size_t kStripCount = kMaximumThreads + 2;

constexpr std::size_t kSmallestStrip = 256 * 1024;
constexpr std::size_t kLargestStrip = 1024 * 1024;
// Enough strips for two threads to end at about the same time.
constexpr std::size_t kStripsWanted = 8;

constexpr std::size_t kSmallImage = 1024 * 1024;
constexpr int kSmallImageLevel = 7;
constexpr int kPhotoLevel = 3;

// How rows are stored, computed once.
struct RowStorage {
    PngHeader header;
    std::size_t sourceBytes = 0; ///< of a row as it is delivered
    std::size_t stride = 0; ///< from one delivered row to the next, padding included
    std::size_t packedBytes = 0; ///< of a row as it is stored
    std::size_t pixelBytes = 1;
    bool isPacked = false; ///< several pixels in a byte
    bool isFiltered = true;
};

RowStorage rowStorage(RowSource const& rows, PngHeader const& header)
{
    RowStorage storage {.header = header, .sourceBytes = rows.rowBytes()};
    storage.stride = (kRowPadding + storage.sourceBytes + kRowPadding - 1) / kRowPadding * kRowPadding;
    storage.packedBytes = static_cast<std::size_t>(header.packedRowBytes());
    storage.pixelBytes =
        std::max<std::size_t>(1, static_cast<std::size_t>(header.channels() * header.bitDepth / 8));
    storage.isPacked = header.bitDepth < 8;
    // Neighbouring indices and packed bits say little about each other (PNG, third edition, 12.7).
    storage.isFiltered = !storage.isPacked && header.colorType != PngColorType::Indexed;
    return storage;
}

// Some rows on their way from the source into the file. Changes hands between the threads as a whole.
struct Strip {
    /// Row 0 is the one above the strip (zeros above the image); the strip's own start at row 1.
    Bytes rows;
    std::int32_t count = 0;
    bool isLast = false;

    Bytes filtered;
    Bytes compressed;
    std::uint32_t adler = 1;
    bool isSound = false;
};

// Filters and compresses strips; every thread has its own.
class StripCompressor {
public:
    StripCompressor(RowStorage const& storage, int level)
        : m_storage(storage)
        , m_compressor(libdeflate_alloc_compressor(level))
    {
    }

    bool isReady() const { return m_compressor != nullptr; }

    void compress(Strip& strip)
    {
        filter(strip);
        strip.adler =
            static_cast<std::uint32_t>(libdeflate_adler32(1, strip.filtered.data(), strip.filtered.size()));
        strip.compressed.resize(libdeflate_deflate_compress_bound(m_compressor.get(), strip.filtered.size()));
        strip.compressed.resize(libdeflate_deflate_compress(m_compressor.get(), strip.filtered.data(),
            strip.filtered.size(), strip.compressed.data(), strip.compressed.size()));
        strip.isSound =
            !strip.compressed.empty() && (strip.isLast || makeDeflateContinuable(strip.compressed));
    }

private:
    struct Free {
        void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
    };

    void filter(Strip& strip) const
    {
        strip.filtered.resize(static_cast<std::size_t>(strip.count) * (1 + m_storage.packedBytes));
        if (m_storage.header.bitDepth == 16 && kNativeByteOrder == ByteOrder::Little) {
            for (std::int32_t i = 0; i <= strip.count; ++i)
                swapBytes(row(strip, i));
        }
        auto* to = strip.filtered.data();
        for (std::int32_t i = 1; i <= strip.count; ++i, to += 1 + m_storage.packedBytes)
            storeRow(row(strip, i), row(strip, i - 1), to);
    }

    std::uint8_t* row(Strip& strip, std::int32_t index) const
    {
        return strip.rows.data() + static_cast<std::size_t>(index) * m_storage.stride + kRowPadding;
    }

    void swapBytes(std::uint8_t* bytes) const
    {
        for (std::size_t i = 0; i < m_storage.sourceBytes; i += 2)
            std::swap(bytes[i], bytes[i + 1]);
    }

    // The filter type and the row's bytes.
    void storeRow(std::uint8_t const* current, std::uint8_t const* previous, std::uint8_t* to) const
    {
        if (m_storage.isPacked) {
            *to = static_cast<std::uint8_t>(PngFilter::None);
            pack(current, to + 1);
            return;
        }
        PngFilterInput const input {current, previous, m_storage.packedBytes, m_storage.pixelBytes};
        auto const filter = m_storage.isFiltered ? bestPngFilter(pngFilterSums(input)) : PngFilter::None;
        *to = static_cast<std::uint8_t>(filter);
        applyPngFilter(filter, input, to + 1);
    }

    // 8-bit components to 1, 2 or 4 bits, the leftmost pixel in the highest bits; grey loses its scale.
    void pack(std::uint8_t const* components, std::uint8_t* to) const
    {
        auto const depth = static_cast<unsigned>(m_storage.header.bitDepth);
        auto const largest = (1u << depth) - 1;
        bool const isIndex = m_storage.header.colorType == PngColorType::Indexed;
        std::fill_n(to, m_storage.packedBytes, std::uint8_t {0});
        for (std::size_t x = 0; x < m_storage.sourceBytes; ++x) {
            auto const value =
                isIndex ? std::min<unsigned>(components[x], largest) : (components[x] * largest + 127) / 255;
            auto const bit = x * depth;
            to[bit / 8] = static_cast<std::uint8_t>(to[bit / 8] | value << (8 - depth - bit % 8));
        }
    }

    RowStorage const& m_storage;
    std::unique_ptr<libdeflate_compressor, Free> m_compressor;
};

// Threads that compress strips from a ring, in the order in which they are handed out:
//
//     submitted - collected <= ring size;   strip n lies in slot n % ring size
//
// Without threads, `submit` compresses.
class StripWorkers {
public:
    StripWorkers(RowStorage const& storage, int level, unsigned threads)
        : m_inline(storage, level)
    {
        if (threads < 2)
            return;
        try {
            for (unsigned i = 0; i < threads; ++i)
                m_threads.emplace_back([this, &storage, level] { work(StripCompressor(storage, level)); });
        } catch (std::system_error const&) {
            // As many threads as the system gives, none included, do the same work.
        }
    }

    StripWorkers(StripWorkers const&) = delete;
    ~StripWorkers()
    {
        {
            std::lock_guard const lock(m_mutex);
            m_isOver = true;
        }
        m_changed.notify_all();
        for (auto& thread : m_threads)
            thread.join();
    }

    bool isReady() const { return m_inline.isReady(); }
    Strip& slot(std::size_t number) { return m_strips[number % kStripCount]; }

    void submit(std::size_t number)
    {
        if (m_threads.empty()) {
            m_inline.compress(slot(number));
            return;
        }
        {
            std::lock_guard const lock(m_mutex);
            m_submitted = number + 1;
            m_isDone[number % kStripCount] = false;
        }
        m_changed.notify_all();
    }

    void wait(std::size_t number)
    {
        if (m_threads.empty())
            return;
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_isDone[number % kStripCount]; });
    }

private:
    void work(StripCompressor compressor)
    {
        std::unique_lock lock(m_mutex);
        while (true) {
            m_changed.wait(lock, [&] { return m_isOver || m_taken < m_submitted; });
            if (m_isOver)
                return;
            auto const number = m_taken++;
            lock.unlock();
            compressStrip(compressor, slot(number));
            lock.lock();
            m_isDone[number % kStripCount] = true;
            m_changed.notify_all();
        }
    }

    static void compressStrip(StripCompressor& compressor, Strip& strip)
    {
        try {
            strip.isSound = false;
            if (compressor.isReady())
                compressor.compress(strip);
        } catch (std::bad_alloc const&) {
            // The strip stays unsound.
        }
    }

    std::array<Strip, kStripCount> m_strips;
    StripCompressor m_inline;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::array<bool, kStripCount> m_isDone = {};
    std::size_t m_submitted = 0, m_taken = 0;
    bool m_isOver = false;
    std::vector<std::thread> m_threads;
};

class DataWriter {
public:
    DataWriter(
        RowSource& rows, RowStorage const& storage, DataSink const& sink, PngCompression const& compression)
        : m_rows(rows)
        , m_storage(storage)
        , m_sink(sink)
        , m_rowsPerStrip(rowsPerStrip(storage, compression))
        , m_workers(storage, compression.level, threadCount(compression))
    {
    }

    Result<void> write()
    {
        if (!m_workers.isReady())
            return fail("not enough memory");
        std::size_t number = 0, collected = 0;
        for (; m_rows.rowsLeft() > 0; ++number) {
            if (number - collected == kStripCount)
                TRY(collect(collected++));
            TRY(fill(m_workers.slot(number)));
            m_workers.submit(number);
        }
        while (collected < number)
            TRY(collect(collected++));
        return {};
    }

private:
    static std::uint64_t totalBytes(RowStorage const& storage)
    {
        return (storage.packedBytes + 1) * static_cast<std::uint64_t>(storage.header.size.height);
    }

    static std::int32_t rowsPerStrip(RowStorage const& storage, PngCompression const& compression)
    {
        auto const bytes = compression.stripBytes
            ? compression.stripBytes
            : std::clamp<std::uint64_t>(totalBytes(storage) / kStripsWanted, kSmallestStrip, kLargestStrip);
        auto const perRow = std::max(storage.stride, storage.packedBytes + 1);
        return static_cast<std::int32_t>(std::clamp<std::uint64_t>(
            bytes / perRow, 1, static_cast<std::uint64_t>(storage.header.size.height)));
    }

    unsigned threadCount(PngCompression const& compression) const
    {
        if (m_storage.header.size.height <= m_rowsPerStrip)
            return 1;
        if (compression.threads)
            return std::min(compression.threads, kMaximumThreads);
        return std::clamp(std::thread::hardware_concurrency(), 1u, kMaximumThreads);
    }

    Result<void> fill(Strip& strip)
    {
        strip.count = std::min(m_rowsPerStrip, m_rows.rowsLeft());
        strip.rows.resize(static_cast<std::size_t>(m_rowsPerStrip + 1) * m_storage.stride);
        auto* const first = strip.rows.data() + kRowPadding;
        m_lastRow.resize(m_storage.sourceBytes);
        std::ranges::copy(m_lastRow, first);
        auto* const own = first + m_storage.stride;
        TRY(m_rows.read({own, m_storage.stride, strip.count}));
        strip.isLast = m_rows.rowsLeft() == 0;
        auto const* const last = own + static_cast<std::size_t>(strip.count - 1) * m_storage.stride;
        m_lastRow.assign(last, last + m_storage.sourceBytes);
        return {};
    }

    // Hands on a finished strip, with the zlib stream's head and tail at its ends.
    Result<void> collect(std::size_t number)
    {
        m_workers.wait(number);
        auto& strip = m_workers.slot(number);
        if (!strip.isSound)
            return fail("the pixels cannot be compressed: not enough memory");
        m_adler = static_cast<std::uint32_t>(
            ::adler32_combine(m_adler, strip.adler, static_cast<z_off_t>(strip.filtered.size())));
        if (number == 0) {
            // Deflate with a window of 32 KiB; the check bits make the pair a multiple of 31 (RFC 1950, 2.2).
            constexpr std::array<std::uint8_t, 2> kZlibHead = {0x78, 0x5E};
            strip.compressed.insert(strip.compressed.begin(), kZlibHead.begin(), kZlibHead.end());
        }
        if (strip.isLast)
            appendBE32(strip.compressed, m_adler);
        return m_sink(strip.compressed);
    }

    RowSource& m_rows;
    RowStorage const& m_storage;
    DataSink const& m_sink;
    std::int32_t m_rowsPerStrip;
    Bytes m_lastRow;
    std::uint32_t m_adler = 1;
    StripWorkers m_workers;
};

} // namespace

Result<void> writePngData(
    RowSource& rows, PngHeader const& header, AtomicFile& output, PngCompression const& compression)
{
    return compressFilteredRows(
        rows, header, [&](ByteSpan piece) { return writePngChunk(output, pngType::kData, piece); },
        compression);
}

Result<void> compressFilteredRows(
    RowSource& rows, PngHeader const& header, DataSink const& sink, PngCompression const& compression)
{
    auto const storage = rowStorage(rows, header);
    auto chosen = compression;
    if (chosen.level == 0) {
        auto const bytes = (storage.packedBytes + 1) * static_cast<std::uint64_t>(header.size.height);
        chosen.level = bytes < kSmallImage ? kSmallImageLevel : kPhotoLevel;
    }
    return DataWriter(rows, storage, sink, chosen).write();
}

} // namespace velk::codec
