#include "platform/codec/TiffReferences.h"

#include "platform/codec/TiffTags.h"

#include <algorithm>
#include <set>

namespace velk::codec::tiff {

namespace {

constexpr int kDeepestDirectory = 4;
constexpr std::uint64_t kMostSubDirectories = 1024;

// Pairs of tags that give the places and lengths of coded data.
struct DataTags {
    std::uint16_t offsets;
    std::uint16_t lengths;
};
constexpr std::array kDataTags = {
    DataTags {tag::kStripOffsets, tag::kStripByteCounts},
    DataTags {tag::kTileOffsets, tag::kTileByteCounts},
    DataTags {tag::kJpegInterchangeFormat, tag::kJpegInterchangeFormatLength},
};
constexpr std::array kPointerTags = {tag::kSubIfds, tag::kExifIfd, tag::kGpsIfd, tag::kInteroperabilityIfd};

class Walk {
public:
    explicit Walk(DirectoryReader const& reader)
        : m_reader(reader)
    {
        add({0, reader.format().headerSize()});
    }

    void visit(Directory const& directory, int depth)
    {
        if (depth > kDeepestDirectory || !m_visited.insert(directory.offset).second)
            return;
        add({directory.offset, m_reader.format().directorySize(directory.entries.size())});
        for (auto const& entry : directory.entries) {
            if (auto const range = m_reader.outside(entry))
                add(*range);
        }
        for (auto const& tags : kDataTags)
            addData(directory, tags);
        for (auto const pointer : kPointerTags) {
            for (auto const offset : m_reader.integers(directory.find(pointer), kMostSubDirectories)) {
                if (auto const next = m_reader.directory(offset))
                    visit(*next, depth + 1);
            }
        }
    }

    std::uint64_t claimedDataEnd() const { return m_claimedDataEnd; }

    std::vector<Range> take()
    {
        std::ranges::sort(m_ranges, {}, &Range::offset);
        std::vector<Range> joined;
        for (auto const& range : m_ranges) {
            if (!joined.empty() && range.offset <= joined.back().end())
                joined.back().length = std::max(joined.back().end(), range.end()) - joined.back().offset;
            else
                joined.push_back(range);
        }
        return joined;
    }

private:
    // A range that the end of the file cuts off counts as far as it is there.
    void add(Range range)
    {
        auto const size = m_reader.bytes().size();
        if (range.offset >= size || range.length == 0)
            return;
        m_ranges.push_back({range.offset, std::min(range.length, size - range.offset)});
    }

    void addData(Directory const& directory, DataTags tags)
    {
        auto const offsets = m_reader.integers(directory.find(tags.offsets), ~std::uint64_t {0});
        auto const lengths = m_reader.integers(directory.find(tags.lengths), ~std::uint64_t {0});
        for (std::size_t i = 0; i < offsets.size(); ++i) {
            // Data of unknown length may reach to the end of the file.
            Range const range {offsets[i], i < lengths.size() ? lengths[i] : ~std::uint64_t {0}};
            if (range.end() >= range.offset)
                m_claimedDataEnd = std::max(m_claimedDataEnd, range.end());
            add(range);
        }
    }

    DirectoryReader const& m_reader;
    std::set<std::uint64_t> m_visited;
    std::vector<Range> m_ranges;
    std::uint64_t m_claimedDataEnd = 0;
};

} // namespace

std::vector<Range> referencedRanges(DirectoryReader const& reader)
{
    Walk walk(reader);
    reader.forEachDirectory([&](Directory const& directory) { walk.visit(directory, 0); });
    return walk.take();
}

std::vector<Range> referencedRanges(DirectoryReader const& reader, Directory const& directory)
{
    Walk walk(reader);
    walk.visit(directory, 0);
    return walk.take();
}

std::uint64_t claimedDataEnd(DirectoryReader const& reader)
{
    Walk walk(reader);
    reader.forEachDirectory([&](Directory const& directory) { walk.visit(directory, 0); });
    return walk.claimedDataEnd();
}

std::vector<Range> difference(std::vector<Range> const& ranges, std::vector<Range> const& without)
{
    std::vector<Range> left;
    auto next = without.begin();
    for (auto range : ranges) {
        while (next != without.end() && next->end() <= range.offset)
            ++next;
        for (auto cut = next; cut != without.end() && cut->offset < range.end(); ++cut) {
            if (cut->offset > range.offset)
                left.push_back({range.offset, cut->offset - range.offset});
            auto const start = std::min(cut->end(), range.end());
            range = {start, range.end() - start};
        }
        if (range.length > 0)
            left.push_back(range);
    }
    return left;
}

} // namespace velk::codec::tiff
