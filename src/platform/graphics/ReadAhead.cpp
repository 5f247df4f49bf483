#include "platform/graphics/Pipeline.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace velk::graphics {

namespace {

constexpr std::size_t kBlockBytes = std::size_t {512} << 10;
constexpr std::uint32_t kBlockCount = 4;
// What fits in half a block is read sooner than a thread starts.
constexpr std::size_t kSmallImageBytes = kBlockBytes / 2;

// Rows of a block: whole strips of 16, as most decoders make them, where that many fit.
std::int32_t rowsPerBlock(PixelLayout const& layout)
{
    auto const fitting = static_cast<std::int32_t>(
        std::clamp<std::size_t>(kBlockBytes / layout.rowBytes(), 1, static_cast<std::size_t>(1) << 20));
    auto const whole = fitting >= 16 ? fitting / 16 * 16 : fitting;
    return std::min(whole, layout.size.height);
}

// The thread fills blocks in a ring; the reader empties them. Both counts only grow:
//
//     0        m_emptied         m_filled
//     |...gone...|###full###......|...free, up to kBlockCount ahead...
//
class ReadAheadRows final : public RowSource {
public:
    explicit ReadAheadRows(RowSourcePointer rows)
        : RowSource(rows->layout())
        , m_rows(std::move(rows))
        , m_rowsPerBlock(rowsPerBlock(layout()))
    {
    }

    ~ReadAheadRows() override
    {
        {
            std::lock_guard const lock(m_mutex);
            m_stopped = true;
        }
        m_blockEmptied.notify_one();
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    struct Block {
        Bytes pixels;
        std::int32_t rows = 0;
    };

    Result<void> readRows(RowView rows) override
    {
        if (!m_started && !start())
            m_readsDirectly = true;
        if (m_readsDirectly)
            return m_rows->read(rows);
        for (std::int32_t done = 0; done < rows.count;) {
            TRY(waitForBlock());
            done += takeRows(rows, done);
        }
        return {};
    }

    bool start()
    {
        m_started = true;
        try {
            m_thread = std::thread([this] { run(); });
        } catch (std::system_error const&) {
            return false;
        }
        return true;
    }

    Result<void> waitForBlock()
    {
        std::unique_lock lock(m_mutex);
        m_blockFilled.wait(lock, [this] { return m_filled != m_emptied || m_error; });
        if (m_filled == m_emptied)
            return tl::unexpected<Error>(*m_error);
        return {};
    }

    // Copies what the oldest full block has, up to what is still asked for.
    std::int32_t takeRows(RowView rows, std::int32_t done)
    {
        auto const& block = m_blocks[m_emptied % kBlockCount];
        auto const count = std::min(rows.count - done, block.rows - m_taken);
        for (std::int32_t i = 0; i < count; ++i) {
            auto const* from = block.pixels.data() + static_cast<std::size_t>(m_taken + i) * rowBytes();
            std::memcpy(rows.row(done + i), from, rowBytes());
        }
        m_taken += count;
        if (m_taken == block.rows)
            releaseBlock();
        return count;
    }

    void releaseBlock()
    {
        m_taken = 0;
        {
            std::lock_guard const lock(m_mutex);
            ++m_emptied;
        }
        m_blockEmptied.notify_one();
    }

    void run()
    {
        while (m_rows->rowsLeft() > 0 && waitForSpace()) {
            auto filled = fill(m_blocks[m_filled % kBlockCount]);
            {
                std::lock_guard const lock(m_mutex);
                if (filled)
                    ++m_filled;
                else
                    m_error = std::move(filled).error();
            }
            m_blockFilled.notify_one();
            if (!filled)
                return;
        }
    }

    bool waitForSpace()
    {
        std::unique_lock lock(m_mutex);
        m_blockEmptied.wait(lock, [this] { return m_stopped || m_filled - m_emptied < kBlockCount; });
        return !m_stopped;
    }

    Result<void> fill(Block& block)
    {
        block.rows = std::min(m_rowsPerBlock, m_rows->rowsLeft());
        block.pixels.resize(static_cast<std::size_t>(m_rowsPerBlock) * rowBytes());
        return m_rows->read({block.pixels.data(), rowBytes(), block.rows});
    }

    RowSourcePointer m_rows;
    std::int32_t m_rowsPerBlock;
    std::array<Block, kBlockCount> m_blocks;
    std::int32_t m_taken = 0; // rows taken from the oldest full block

    std::mutex m_mutex;
    std::condition_variable m_blockFilled;
    std::condition_variable m_blockEmptied;
    std::uint32_t m_filled = 0;
    std::uint32_t m_emptied = 0;
    std::optional<Error> m_error;
    bool m_stopped = false;

    bool m_started = false;
    bool m_readsDirectly = false; // no thread could be had
    std::thread m_thread;
};

} // namespace

RowSourcePointer readAhead(RowSourcePointer rows)
{
    assert(rows->nextRow() == 0);
    auto const bytes = rows->rowBytes() * static_cast<std::size_t>(rows->size().height);
    if (bytes <= kSmallImageBytes)
        return rows;
    return std::make_unique<ReadAheadRows>(std::move(rows));
}

} // namespace velk::graphics
