#include "platform/codec/TiffStripEncoder.h"

#include "platform/codec/TiffHandle.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace velk::codec::tiff {

namespace {

constexpr unsigned kMostThreads = 4;

// A libtiff file that goes nowhere: what it appends for a strip is the strip's coded bytes.
class StripEncoder {
public:
    static Result<StripEncoder> create(StripCoding const& coding)
    {
        StripEncoder encoder;
        encoder.m_handle = TRY(Handle::openSink(true));
        TRY(encoder.configure(coding));
        return encoder;
    }

    Result<Bytes> encode(std::int32_t strip, std::span<std::uint8_t> rows)
    {
        auto const size = static_cast<tmsize_t>(rows.size());
        m_handle->takeWritten();
        if (TIFFWriteEncodedStrip(m_handle->get(), static_cast<std::uint32_t>(strip), rows.data(), size)
            != size)
            return fail("the image cannot be compressed ({})", m_handle->takeError());
        return m_handle->takeWritten();
    }

private:
    Result<void> configure(StripCoding const& coding)
    {
        auto* const tiff = m_handle->get();
        bool done = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, coding.size.width)
            && TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, coding.size.height)
            && TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, coding.bitsPerSample)
            && TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, coding.samplesPerPixel)
            && TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG)
            && TIFFSetField(
                tiff, TIFFTAG_SAMPLEFORMAT, coding.isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT)
            && TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, static_cast<int>(coding.photometric))
            && TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, coding.rowsPerStrip)
            && TIFFSetField(tiff, TIFFTAG_COMPRESSION, coding.compression);
        if (done && coding.predictor != 1)
            done = TIFFSetField(tiff, TIFFTAG_PREDICTOR, coding.predictor);
        if (done && coding.compression == compression::kJpeg)
            done = configureJpeg(coding);
        if (done && coding.compression == compression::kWebp)
            done = TIFFSetField(tiff, TIFFTAG_WEBP_LOSSLESS, 1);
        if (!done)
            return fail("the TIFF encoder refuses the image ({})", m_handle->takeError());
        return {};
    }

    // Every strip carries its own tables, so that strips can be coded independently of each other.
    bool configureJpeg(StripCoding const& coding)
    {
        auto* const tiff = m_handle->get();
        bool const done = TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, coding.jpegQuality)
            && TIFFSetField(tiff, TIFFTAG_JPEGTABLESMODE, 0);
        if (!done || coding.photometric != Photometric::YCbCr)
            return done;
        return TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB)
            && TIFFSetField(
                tiff, TIFFTAG_YCBCRSUBSAMPLING, coding.chromaSubsampling, coding.chromaSubsampling);
    }

    std::unique_ptr<Handle> m_handle;
};

/// Strips on their way: the caller fills one, a worker codes it, the caller takes it.
///
///     slot:    0        1        2        3
///            coded | coding | queued | filling
///
/// Strip n uses slot n % slots.size(), so that strips leave in order.
class Workshop {
public:
    static Result<std::unique_ptr<Workshop>> create(StripCoding const& coding, unsigned threads)
    {
        auto workshop = std::make_unique<Workshop>();
        workshop->m_slots.resize(threads + 2);
        std::vector<StripEncoder> encoders;
        for (unsigned i = 0; i < threads; ++i)
            encoders.push_back(TRY(StripEncoder::create(coding)));
        for (auto& encoder : encoders) {
            workshop->m_threads.emplace_back(
                [self = workshop.get(), own = std::move(encoder)]() mutable { self->work(own); });
        }
        return workshop;
    }

    ~Workshop()
    {
        {
            std::lock_guard const lock(m_mutex);
            m_isClosing = true;
        }
        m_changed.notify_all();
        for (auto& thread : m_threads)
            thread.join();
    }

    std::int32_t capacity() const { return static_cast<std::int32_t>(m_slots.size()); }

    /// Memory for the rows of a strip whose slot is free.
    std::span<std::uint8_t> rows(std::int32_t strip, std::size_t size)
    {
        auto& slot = slotOf(strip);
        slot.rows.resize(size);
        return slot.rows;
    }

    void submit(std::int32_t strip)
    {
        {
            std::lock_guard const lock(m_mutex);
            slotOf(strip).isCoded = false;
            m_queue.push_back(strip);
        }
        m_changed.notify_all();
    }

    /// The coded bytes of a strip that was submitted, when it is ready.
    Result<Bytes> await(std::int32_t strip)
    {
        std::unique_lock lock(m_mutex);
        auto& slot = slotOf(strip);
        m_changed.wait(lock, [&] { return slot.isCoded; });
        return std::move(slot.coded);
    }

private:
    struct Slot {
        Bytes rows;
        Result<Bytes> coded;
        bool isCoded = false;
    };

    Slot& slotOf(std::int32_t strip) { return m_slots[static_cast<std::size_t>(strip) % m_slots.size()]; }

    void work(StripEncoder& encoder)
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_isClosing || !m_queue.empty(); });
            if (m_isClosing)
                return;
            auto const strip = m_queue.front();
            m_queue.pop_front();
            auto& slot = slotOf(strip);
            lock.unlock();
            auto coded = encoder.encode(strip, slot.rows);
            lock.lock();
            slot.coded = std::move(coded);
            slot.isCoded = true;
            m_changed.notify_all();
        }
    }

    std::vector<Slot> m_slots;
    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::int32_t> m_queue;
    bool m_isClosing = false;
};

std::size_t bytesOf(StripCoding const& coding, std::int32_t strip)
{
    return static_cast<std::size_t>(coding.rowsIn(strip)) * coding.rowBytes;
}

Result<void> encodeHere(StripCoding const& coding, FillStrip const& fill, TakeStrip const& take)
{
    auto encoder = TRY(StripEncoder::create(coding));
    Bytes rows;
    for (std::int32_t strip = 0; strip < coding.stripCount(); ++strip) {
        rows.resize(bytesOf(coding, strip));
        TRY(fill(strip, rows));
        auto const coded = TRY(encoder.encode(strip, rows));
        TRY(take(coded));
    }
    return {};
}

Result<void> copyStrips(StripCoding const& coding, FillStrip const& fill, TakeStrip const& take)
{
    Bytes rows;
    for (std::int32_t strip = 0; strip < coding.stripCount(); ++strip) {
        rows.resize(bytesOf(coding, strip));
        TRY(fill(strip, rows));
        TRY(take(rows));
    }
    return {};
}

} // namespace

Result<void> encodeStrips(StripCoding const& coding, FillStrip const& fill, TakeStrip const& take)
{
    if (coding.compression == compression::kNone && kNativeByteOrder == ByteOrder::Little)
        return copyStrips(coding, fill, take);
    auto const count = coding.stripCount();
    auto const threads = std::min(
        {std::max(std::thread::hardware_concurrency(), 1u), kMostThreads, static_cast<unsigned>(count)});
    if (threads == 1)
        return encodeHere(coding, fill, take);

    auto const workshop = TRY(Workshop::create(coding, threads));
    auto const takeNext = [&](std::int32_t strip) -> Result<void> {
        auto const coded = TRY(workshop->await(strip));
        return take(coded);
    };
    for (std::int32_t strip = 0; strip < count; ++strip) {
        if (strip >= workshop->capacity())
            TRY(takeNext(strip - workshop->capacity()));
        TRY(fill(strip, workshop->rows(strip, bytesOf(coding, strip))));
        workshop->submit(strip);
    }
    for (auto strip = std::max(count - workshop->capacity(), 0); strip < count; ++strip)
        TRY(takeNext(strip));
    return {};
}

} // namespace velk::codec::tiff
