#include "platform/codec/PngDeflateScan.h"

#include <algorithm>
#include <array>

namespace velk::codec {

namespace {

constexpr unsigned kMaximumCodeLength = 15;
constexpr std::size_t kLiteralSymbols = 288;
constexpr std::size_t kDistanceSymbols = 32;
constexpr std::size_t kCodeLengthSymbols = 19;
constexpr std::uint16_t kEndOfBlock = 256;
/// Bits that are looked up at once to skip several literals.
constexpr unsigned kRunBits = 10;
constexpr std::uint64_t kRunMask = (1u << kRunBits) - 1;
/// Bits of the codes that are looked up one by one.
constexpr unsigned kTableBits = 10;
constexpr std::uint64_t kTableMask = (1u << kTableBits) - 1;

// Extra bits behind length symbols 257..285 and distance symbols 0..29 (RFC 1951, 3.2.5).
constexpr std::array<std::uint8_t, 29> kLengthExtraBits = {
    0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr std::array<std::uint8_t, 30> kDistanceExtraBits = {
    0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

// Reads bits, least significant first. Behind the end there are zeros; `position` tells that it was passed.
class BitReader {
public:
    explicit BitReader(ByteSpan bytes)
        : m_bytes(bytes)
    {
    }

    std::uint64_t position() const { return m_position; }
    bool isPastEnd() const { return m_position > m_bytes.size() * 8; }
    void skip(std::uint64_t bits) { m_position += bits; }
    void alignToByte() { m_position = (m_position + 7) & ~std::uint64_t {7}; }

    /// At least 56 bits from the current position on.
    std::uint64_t peek() const
    {
        auto const at = m_position / 8;
        std::uint64_t word = 0;
        if (at + 8 <= m_bytes.size()) [[likely]]
            word = loadWord(m_bytes.data() + at);
        else
            for (std::size_t i = 0; at + i < m_bytes.size(); ++i)
                word |= std::uint64_t {m_bytes[at + i]} << (8 * i);
        return word >> (m_position % 8);
    }

    std::uint32_t take(unsigned bits)
    {
        auto const value = static_cast<std::uint32_t>(peek() & ((std::uint64_t {1} << bits) - 1));
        skip(bits);
        return value;
    }

private:
    // One load where the machine can do it: this is the innermost of all loops.
    static std::uint64_t loadWord(std::uint8_t const* from)
    {
        if constexpr (kNativeByteOrder == ByteOrder::Big)
            return loadInteger<std::uint64_t>(from, ByteOrder::Little);
        std::uint64_t word;
        std::memcpy(&word, from, sizeof(word));
        return word;
    }

    ByteSpan m_bytes;
    std::uint64_t m_position = 0;
};

// A symbol at the front of some bits.
struct CodeEntry {
    std::uint16_t symbol = 0;
    std::uint8_t length = 0; ///< bits of the code; 0 = no such code
    std::uint8_t totalBits = 0; ///< of the code and the extra bits behind it; 0 = no such symbol
};

// A canonical prefix code (RFC 1951, 3.2.2). Codes of up to kTableBits bits are looked up; the longer ones
// are rare by nature and found bit by bit, which keeps the table small: a block may be no longer than 10 kB.
class PrefixCode {
public:
    // Symbols from `firstWithExtra` on have so many extra bits, and those behind the list must not occur.
    PrefixCode(std::size_t firstWithExtra, std::span<std::uint8_t const> extraBits)
        : m_firstWithExtra(firstWithExtra)
        , m_extraBits(extraBits)
    {
    }

    /// False when there are more codes than fit.
    bool build(std::span<std::uint8_t const> lengths)
    {
        m_counts = {};
        for (auto const length : lengths)
            ++m_counts[length];
        m_counts[0] = 0;
        std::array<std::uint32_t, kMaximumCodeLength + 2> nextCode = {};
        std::array<std::uint16_t, kMaximumCodeLength + 2> nextPlace = {};
        for (unsigned length = 1; length <= kMaximumCodeLength; ++length) {
            auto const end = nextCode[length] + m_counts[length];
            if (end > 1u << length)
                return false;
            nextCode[length + 1] = end << 1;
            nextPlace[length + 1] = static_cast<std::uint16_t>(nextPlace[length] + m_counts[length]);
        }
        m_table.fill({});
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
            auto const length = lengths[symbol];
            if (length == 0)
                continue;
            m_sorted[nextPlace[length]++] = static_cast<std::uint16_t>(symbol);
            auto const code = nextCode[length]++;
            if (length <= kTableBits)
                enter(code, entryFor(symbol, length));
        }
        return true;
    }

    /// The symbol at the front of `bits`, unless its code is too long for the table.
    CodeEntry const& lookUp(std::uint64_t bits) const { return m_table[bits & kTableMask]; }

    CodeEntry find(std::uint64_t bits) const
    {
        auto const& entry = lookUp(bits);
        return entry.length > 0 ? entry : findLong(bits);
    }

private:
    CodeEntry entryFor(std::size_t symbol, std::size_t length) const
    {
        auto total = length;
        if (symbol >= m_firstWithExtra) {
            auto const index = symbol - m_firstWithExtra;
            total = index < m_extraBits.size() ? length + m_extraBits[index] : 0;
        }
        return {static_cast<std::uint16_t>(symbol), static_cast<std::uint8_t>(length),
            static_cast<std::uint8_t>(total)};
    }

    // Codes come most significant bit first, so their bits index the table in reverse.
    void enter(std::uint32_t code, CodeEntry entry)
    {
        std::size_t reversed = 0;
        for (unsigned i = 0; i < entry.length; ++i)
            reversed |= std::size_t {code >> i & 1} << (entry.length - 1 - i);
        for (auto i = reversed; i < m_table.size(); i += std::size_t {1} << entry.length)
            m_table[i] = entry;
    }

    // `code` runs through the codes of growing length, `first` through the first code of each length.
    CodeEntry findLong(std::uint64_t bits) const
    {
        std::uint32_t code = 0, first = 0, place = 0;
        for (unsigned length = 1; length <= kMaximumCodeLength; ++length) {
            code |= static_cast<std::uint32_t>(bits >> (length - 1) & 1);
            auto const count = m_counts[length];
            if (code - first < count)
                return entryFor(m_sorted[place + code - first], length);
            place += count;
            first = (first + count) << 1;
            code <<= 1;
        }
        return {};
    }

    std::size_t m_firstWithExtra;
    std::span<std::uint8_t const> m_extraBits;
    std::array<std::uint16_t, kMaximumCodeLength + 1> m_counts = {};
    std::array<std::uint16_t, kLiteralSymbols> m_sorted = {};
    std::array<CodeEntry, std::size_t {1} << kTableBits> m_table;
};

// What stands at the front of the next kRunBits bits: `bits` bits of literals, and perhaps a length symbol
// with its extra bits behind them, after which a distance follows (`literalMask` is zero, else all ones).
enum class RunKind : std::uint8_t { Known, LookUp };
struct RunEntry {
    std::uint8_t bits = 0;
    RunKind kind = RunKind::LookUp;
    std::uint8_t literalMask = 0;
};

class BlockScanner {
public:
    explicit BlockScanner(ByteSpan stream)
        : m_reader(stream)
    {
    }

    std::optional<FinalDeflateBlock> findFinalBlock()
    {
        while (!m_reader.isPastEnd()) {
            auto const start = m_reader.position();
            bool const isFinal = m_reader.take(1) == 1;
            if (!skipBlock(m_reader.take(2)) || m_reader.isPastEnd())
                break;
            if (isFinal)
                return FinalDeflateBlock {start, m_reader.position()};
        }
        return std::nullopt;
    }

private:
    bool skipBlock(std::uint32_t type)
    {
        switch (type) {
        case 0:
            return skipStored();
        case 1:
            return useFixedCodes() && skipSymbols();
        case 2:
            return readDynamicCodes() && skipSymbols();
        default:
            return false;
        }
    }

    bool skipStored()
    {
        m_reader.alignToByte();
        auto const length = m_reader.take(16);
        auto const complement = m_reader.take(16);
        m_reader.skip(std::uint64_t {length} * 8);
        return (length ^ complement) == 0xFFFF;
    }

    bool useFixedCodes()
    {
        std::array<std::uint8_t, kLiteralSymbols> literals;
        std::fill_n(literals.begin(), 144, std::uint8_t {8});
        std::fill_n(literals.begin() + 144, 112, std::uint8_t {9});
        std::fill_n(literals.begin() + 256, 24, std::uint8_t {7});
        std::fill_n(literals.begin() + 280, 8, std::uint8_t {8});
        std::array<std::uint8_t, kDistanceSymbols> distances;
        distances.fill(5);
        return buildTables(literals, distances);
    }

    // RFC 1951, 3.2.7.
    bool readDynamicCodes()
    {
        constexpr std::array<std::uint8_t, kCodeLengthSymbols> kOrder = {
            16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        auto const literalCount = m_reader.take(5) + 257;
        auto const distanceCount = m_reader.take(5) + 1;
        auto const orderCount = m_reader.take(4) + 4;
        std::array<std::uint8_t, kCodeLengthSymbols> codeLengths = {};
        for (std::size_t i = 0; i < orderCount; ++i)
            codeLengths[kOrder[i]] = static_cast<std::uint8_t>(m_reader.take(3));
        if (literalCount > kLiteralSymbols || !m_codeLengths.build(codeLengths))
            return false;
        std::array<std::uint8_t, kLiteralSymbols + kDistanceSymbols> lengths = {};
        auto const all = std::span(lengths).first(literalCount + distanceCount);
        return readCodeLengths(all) && buildTables(all.first(literalCount), all.subspan(literalCount));
    }

    bool readCodeLengths(std::span<std::uint8_t> lengths)
    {
        struct Repeat {
            unsigned extraBits, base;
        };
        constexpr std::array<Repeat, 3> kRepeats = {{{2, 3}, {3, 3}, {7, 11}}};
        for (std::size_t i = 0; i < lengths.size();) {
            auto const entry = m_codeLengths.find(m_reader.peek());
            m_reader.skip(entry.length);
            if (entry.length == 0 || m_reader.isPastEnd())
                return false;
            if (entry.symbol < 16) {
                lengths[i++] = static_cast<std::uint8_t>(entry.symbol);
                continue;
            }
            auto const& repeat = kRepeats[entry.symbol - 16u];
            auto const count = repeat.base + m_reader.take(repeat.extraBits);
            if (count > lengths.size() - i || (entry.symbol == 16 && i == 0))
                return false;
            std::fill_n(lengths.begin() + static_cast<std::ptrdiff_t>(i), count,
                entry.symbol == 16 ? lengths[i - 1] : std::uint8_t {0});
            i += count;
        }
        return true;
    }

    bool buildTables(std::span<std::uint8_t const> literals, std::span<std::uint8_t const> distances)
    {
        if (!m_literals.build(literals) || !m_distances.build(distances))
            return false;
        for (std::uint32_t bits = 0; bits < m_runs.size(); ++bits)
            m_runs[bits] = runAt(bits);
        return true;
    }

    RunEntry runAt(std::uint32_t bits) const
    {
        unsigned used = 0;
        while (used < kRunBits) {
            auto const& entry = m_literals.lookUp(bits >> used);
            if (entry.totalBits == 0 || used + entry.length > kRunBits || entry.symbol == kEndOfBlock)
                break;
            used += entry.totalBits;
            if (entry.symbol > kEndOfBlock)
                return {static_cast<std::uint8_t>(used), RunKind::Known, 0};
        }
        return {static_cast<std::uint8_t>(used), used > 0 ? RunKind::Known : RunKind::LookUp, 0xFF};
    }

    // Symbols up to the end of the block. Literals and matches take turns as chance has it, so the common
    // path looks up a distance for either and does not branch on which it was.
    bool skipSymbols()
    {
        // A copy, which the compiler can keep in registers.
        auto reader = m_reader;
        while (!reader.isPastEnd()) {
            auto const bits = reader.peek();
            auto const& run = m_runs[bits & kRunMask];
            auto const& distance = m_distances.lookUp(bits >> run.bits);
            if (run.kind == RunKind::Known && (distance.totalBits | run.literalMask) != 0) [[likely]] {
                reader.skip(run.bits + (distance.totalBits & static_cast<unsigned>(~run.literalMask)));
                continue;
            }
            m_reader = reader;
            auto const more = skipSymbol(bits);
            if (!more)
                return false;
            if (*more == BlockEnd::Reached)
                return true;
            reader = m_reader;
        }
        return false;
    }

    enum class BlockEnd : bool { NotYet, Reached };

    // One symbol with all that belongs to it, at most 15 + 5 + 15 + 13 bits; nothing for one that may not be.
    std::optional<BlockEnd> skipSymbol(std::uint64_t bits)
    {
        auto const literal = m_literals.find(bits);
        if (literal.totalBits == 0)
            return std::nullopt;
        m_reader.skip(literal.totalBits);
        if (literal.symbol <= kEndOfBlock)
            return literal.symbol == kEndOfBlock ? BlockEnd::Reached : BlockEnd::NotYet;
        auto const distance = m_distances.find(bits >> literal.totalBits);
        if (distance.totalBits == 0)
            return std::nullopt;
        m_reader.skip(distance.totalBits);
        return BlockEnd::NotYet;
    }

    BitReader m_reader;
    PrefixCode m_literals {kEndOfBlock + 1, kLengthExtraBits};
    PrefixCode m_distances {0, kDistanceExtraBits};
    PrefixCode m_codeLengths {kCodeLengthSymbols, {}};
    std::array<RunEntry, std::size_t {1} << kRunBits> m_runs;
};

} // namespace

std::optional<FinalDeflateBlock> findFinalDeflateBlock(ByteSpan stream)
{
    // A quarter of a megabyte: too much for the stack of a thread to be taken for granted.
    return std::make_unique<BlockScanner>(stream)->findFinalBlock();
}

bool makeDeflateContinuable(Bytes& stream)
{
    auto const block = findFinalDeflateBlock(stream);
    if (!block)
        return false;
    stream[block->start / 8] &= static_cast<std::uint8_t>(~(1u << block->start % 8));
    // The header of a stored block is three zero bits and then zeros up to a byte boundary.
    stream.resize((block->end + 7) / 8);
    if (block->end % 8 != 0)
        stream.back() &= static_cast<std::uint8_t>((1u << block->end % 8) - 1);
    stream.resize((block->end + 3 + 7) / 8);
    constexpr std::array<std::uint8_t, 4> kEmptyStoredBlock = {0, 0, 0xFF, 0xFF};
    append(stream, ByteSpan(kEmptyStoredBlock));
    return true;
}

} // namespace velk::codec
