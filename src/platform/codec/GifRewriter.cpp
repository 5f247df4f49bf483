#include "platform/codec/GifRewriter.h"

#include "platform/codec/GifSource.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>
#include <functional>

namespace velk::codec {

namespace {

constexpr std::uint64_t kVersionOffset = 3;

/// Bytes in the place of a part of the source file.
struct Edit {
    std::uint64_t offset = 0;
    std::uint64_t removed = 0;
    Bytes inserted;
};

using IsBlock = std::function<bool(GifBlock const&)>;

IsBlock isApplication(std::string_view name)
{
    return [=](GifBlock const& block) { return block.application == name; };
}

bool isComment(GifBlock const& block)
{
    return block.kind == GifBlockKind::Comment;
}

// New extensions stand before the first image and its graphic control, behind all that stood there before.
std::uint64_t placeForExtensions(GifContents const& contents)
{
    for (auto const& block : contents.blocks) {
        if (block.kind != GifBlockKind::Application && block.kind != GifBlockKind::Comment)
            return block.offset;
    }
    return contents.headerEnd;
}

/// Collects what is to change in one file.
class GifEdits {
public:
    explicit GifEdits(GifContents const& contents)
        : m_contents(contents)
    {
    }

    /// Puts `extension` in the place of the first block that `isOld`, and removes the others.
    void replace(IsBlock const& isOld, Bytes extension, std::uint64_t newPlace)
    {
        bool isPlaced = extension.empty();
        for (auto const& block : m_contents.blocks) {
            if (isOld(block))
                m_edits.push_back({block.offset, block.length,
                    std::exchange(isPlaced, true) ? Bytes() : std::move(extension)});
        }
        if (!isPlaced)
            m_edits.push_back({newPlace, 0, std::move(extension)});
    }

    void apply(PropertyChanges const& changes)
    {
        for (auto const& change : changes) {
            if (change.dictionary != key::kGif)
                continue;
            auto const* text = change.value ? change.value->asString() : nullptr;
            if (change.key == kGifComment && (text || !change.value))
                replace(isComment, gifCommentExtension(text ? *text : ""), placeForExtensions(m_contents));
            if (change.key == kGifLoopCount)
                replace(isApplication(kGifLoopApplication), loopExtension(change), m_contents.headerEnd);
        }
    }

    Result<void> write(InputFile const& source, AtomicFile& output)
    {
        bool const extends =
            std::ranges::any_of(m_edits, [](auto const& edit) { return !edit.inserted.empty(); });
        // Only version 89a knows extensions.
        if (extends)
            m_edits.push_back({kVersionOffset, 3, {'8', '9', 'a'}});
        std::ranges::stable_sort(m_edits, {}, &Edit::offset);
        std::uint64_t position = 0;
        for (auto const& edit : m_edits) {
            TRY(output.copyFrom(source, position, edit.offset - position));
            TRY(output.write(edit.inserted));
            position = edit.offset + edit.removed;
        }
        return output.copyFrom(source, position, source.size() - position);
    }

private:
    static Bytes loopExtension(PropertyChange const& change)
    {
        if (!change.value || !change.value->isNumber())
            return {};
        return gifLoopExtension(static_cast<std::uint16_t>(std::clamp(change.value->number(), 0.0, 65535.0)));
    }

    GifContents const& m_contents;
    std::vector<Edit> m_edits;
};

} // namespace

Result<void> rewriteGif(RewriteJob const& job, AtomicFile& output)
{
    auto const& contents = static_cast<GifSource const&>(job.source).contents();
    auto const place = placeForExtensions(contents);
    GifEdits edits(contents);
    if (job.profileChanged)
        edits.replace(isApplication(kGifProfileApplication),
            job.profile ? gifProfileExtension(*job.profile) : Bytes(), place);
    if (auto const xmp = job.metadata.xmp(); job.metadataChanged && xmp != job.source.metadata().xmp())
        edits.replace(isApplication(kGifXmpApplication), gifXmpExtension(xmp), place);
    edits.apply(job.changes);
    return edits.write(job.source.file(), output);
}

} // namespace velk::codec
