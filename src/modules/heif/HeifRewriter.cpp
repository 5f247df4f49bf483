#include "modules/heif/HeifRewriter.h"

#include "modules/heif/HeifMeta.h"
#include "modules/heif/HeifSource.h"

#include <algorithm>
#include <array>

namespace velk::codec::heif {

namespace {

constexpr std::size_t kBoxHeader = 8;
// Boxes that refer to places in the file beside the meta box.
constexpr FourCC kUnmovable[] = {FourCC("moov"), FourCC("moof"), FourCC("mfra"), FourCC("sidx")};

/// A file's new meta box, and what goes to the file's end.
///
///     before   | ftyp | meta | ............ mdat ........... |
///     after    | ftyp | meta ... | ...... mdat with wiped ... | mdat with new items |
struct Edit {
    std::uint64_t metaOffset = 0, metaSize = 0; ///< in the old file
    Bytes meta;
    Bytes appended;
    std::vector<Extent> wiped; ///< of the old file
};

/// A block of metadata, and the item that holds it.
struct NewItem {
    std::uint32_t id = 0;
    Bytes content;
};

struct ItemKind {
    FourCC type;
    std::string_view contentType;
};
constexpr ItemKind kExif {FourCC("Exif"), {}}, kXmp {FourCC("mime"), "application/rdf+xml"};

class Editor {
public:
    Editor(InputFile const& file, TopLevelBox const& box, Meta meta)
        : m_file(file)
        , m_box(box)
        , m_meta(std::move(meta))
    {
    }

    Result<void> replace(ItemKind const& kind, bool wasPresent, Bytes content)
    {
        auto const item = m_meta.describingItem(kind.type, kind.contentType);
        // Removing an item, or one that is compressed, is not foreseen.
        if (content.empty() || item.has_value() != wasPresent)
            return fail("the metadata cannot be replaced");
        auto const id = item ? *item : TRY(m_meta.addDescribingItem(kind.type, kind.contentType));
        auto* const location = m_meta.location(id);
        if (!location)
            return fail("the file is damaged");
        TRY(wipe(*location));
        *location = {.item = id, .extents = {{0, 0, content.size()}}};
        m_items.push_back({id, std::move(content)});
        return {};
    }

    Result<Edit> finish()
    {
        Edit edit {.metaOffset = m_box.offset, .metaSize = m_box.size, .wiped = m_wiped};
        auto const newSize = m_meta.serialize().size();
        auto const move = newSize - m_box.size; // wraps where it shrinks, and so does the sum
        for (auto& location : m_meta.locations())
            TRY(shift(location, move));
        Bytes content;
        for (auto const& item : m_items) {
            m_meta.location(item.id)->extents[0].offset = m_file.size() + move + kBoxHeader + content.size();
            append(content, item.content);
        }
        edit.meta = m_meta.serialize();
        edit.appended = makeBox(FourCC("mdat"), content);
        return edit;
    }

private:
    Result<void> wipe(ItemLocation const& old)
    {
        if (old.dataReference != 0 || old.method > 1)
            return fail("the metadata cannot be replaced");
        for (auto const& extent : old.extents) {
            if (m_meta.isShared(old, extent))
                return fail("the metadata shares its place in the file");
            if (old.method == 1)
                m_meta.wipeItemData(extent);
            else if (isBehindMeta(extent))
                m_wiped.push_back(extent);
            else
                return fail("the metadata cannot be replaced");
        }
        return {};
    }

    bool isBehindMeta(Extent const& extent) const
    {
        return extent.length > 0 && extent.offset >= m_box.offset + m_box.size
            && extent.offset <= m_file.size() && extent.length <= m_file.size() - extent.offset;
    }

    Result<void> shift(ItemLocation& location, std::uint64_t move) const
    {
        bool const isNew = std::ranges::find(m_items, location.item, &NewItem::id) != m_items.end();
        if (isNew || !location.isInFile())
            return {};
        for (auto& extent : location.extents) {
            if (isBehindMeta(extent))
                extent.offset += move;
            else if (extent.offset + extent.length > m_box.offset)
                return fail("the file is of an unknown structure");
        }
        return {};
    }

    InputFile const& m_file;
    TopLevelBox m_box;
    Meta m_meta;
    std::vector<NewItem> m_items;
    std::vector<Extent> m_wiped;
};

Bytes exifItem(ByteSpan tiff)
{
    Bytes content;
    if (!tiff.empty()) {
        appendBE32(content, 0);
        append(content, tiff);
    }
    return content;
}

Result<TopLevelBox> movableMeta(InputFile const& file)
{
    auto const boxes = TRY(topLevelBoxes(file));
    auto const meta = std::ranges::find(boxes, FourCC("meta"), &TopLevelBox::type);
    bool const hasUnmovable =
        std::ranges::find_first_of(boxes, kUnmovable, {}, &TopLevelBox::type) != boxes.end();
    if (meta == boxes.end() || hasUnmovable)
        return fail("the file is of an unknown structure");
    // A box that reaches to the end of the file would take in what is appended.
    auto const& last = boxes.back();
    std::array<std::uint8_t, 4> size {};
    TRY(file.readExactlyAt(last.offset, size));
    if (last.offset + last.size != file.size() || loadBE32(size.data()) == 0)
        return fail("the file is of an unknown structure");
    return *meta;
}

Result<Edit> planEdit(RewriteJob const& job)
{
    auto const& file = job.source.file();
    auto const box = TRY(movableMeta(file));
    Editor editor(file, box, TRY(Meta::parse(TRY(readContent(file, box)), file.size())));
    auto const& old = job.source.metadata();
    if (auto const exif = job.metadata.exif(); exif != old.exif())
        TRY(editor.replace(kExif, !old.exif().empty(), exifItem(exif)));
    if (auto const xmp = job.metadata.xmp(); xmp != old.xmp())
        TRY(editor.replace(kXmp, !old.xmp().empty(), {xmp.begin(), xmp.end()}));
    return editor.finish();
}

Result<void> wipe(Edit const& edit, AtomicFile& output)
{
    for (auto const& extent : edit.wiped)
        TRY(output.writeAt(extent.offset + edit.meta.size() - edit.metaSize, Bytes(extent.length)));
    return {};
}

} // namespace

bool canRewrite(RewriteJob const& job)
{
    // The pixels are upright as the file stands, and its properties say what their colours are.
    bool const asksForPixels = job.turn != graphics::Turn::None || job.profileChanged
        || job.metadata.orientation() != 1 || job.options.quality || job.options.noChromaSubsampling;
    return !asksForPixels && (!job.metadataChanged || planEdit(job));
}

Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
{
    auto const& file = job.source.file();
    if (!job.metadataChanged)
        return output.copyFrom(file, 0, file.size());
    auto const edit = TRY(planEdit(job));
    auto const rest = edit.metaOffset + edit.metaSize;
    TRY(output.copyFrom(file, 0, edit.metaOffset));
    TRY(output.write(edit.meta));
    TRY(output.copyFrom(file, rest, file.size() - rest));
    TRY(output.write(edit.appended));
    return wipe(edit, output);
}

} // namespace velk::codec::heif
