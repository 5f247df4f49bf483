#include "platform/codec/ExifTransplant.h"

#include "platform/codec/ExifEditor.h"
#include "platform/codec/TiffStructuralTags.h"
#include "platform/modules/MakerNoteInterface.h"
#include "platform/modules/Module.h"

#include <algorithm>

namespace velk::codec {

namespace {

constexpr std::size_t kMaximumValue = 4 * 1024 * 1024;
constexpr std::size_t kMaximumBlock = 16 * 1024 * 1024;

using TagFilter = bool (*)(ExifDirectory directory, std::uint16_t tag);

bool isPointer(ExifDirectory directory, std::uint16_t tag)
{
    return (directory == ExifDirectory::Image && (tag == tag::kExifPointer || tag == tag::kGpsPointer))
        || (directory == ExifDirectory::Photo && tag == tag::kInteropPointer)
        || (directory == ExifDirectory::Preview
            && (tag == tag::kPreviewOffset || tag == tag::kPreviewLength));
}

bool leavesOutOfTiffFile(ExifDirectory directory, std::uint16_t tag)
{
    return isPointer(directory, tag) || (directory == ExifDirectory::Image && isStructural(tag));
}

std::size_t swapUnit(ExifType type)
{
    bool const isRational = type == ExifType::Rational || type == ExifType::SignedRational;
    return isRational ? 4 : exifTypeSize(type);
}

Bytes swapped(ExifValue const& value)
{
    Bytes bytes(value.bytes.begin(), value.bytes.end());
    auto const unit = static_cast<std::ptrdiff_t>(swapUnit(value.type));
    for (auto at = bytes.begin(); at != bytes.end(); at += unit)
        std::reverse(at, at + unit);
    return bytes;
}

// Copies fields into a new block; maker notes come out with the offsets that they had.
class FieldCopier {
public:
    FieldCopier(ExifBlock const& from, ByteOrder order)
        : m_from(from)
        , m_editor({}, order)
    {
    }

    void copy(ExifDirectory directory, TagFilter leavesOut)
    {
        for (auto const& entry : m_from.directory(directory).entries) {
            auto const value = m_from.value(directory, entry.tag);
            if (!value || leavesOut(directory, entry.tag) || value->bytes.size() > kMaximumValue
                || m_total + value->bytes.size() > kMaximumBlock)
                continue;
            m_total += value->bytes.size();
            bool const isSameOrder = m_from.order() == m_editor.order();
            auto const bytes = isSameOrder ? Bytes() : swapped(*value);
            m_editor.set(directory, entry.tag,
                {value->type, value->count, isSameOrder ? value->bytes : ByteSpan(bytes)});
        }
    }
    void copyPreview(TagFilter leavesOut)
    {
        if (m_from.preview().empty())
            return;
        copy(ExifDirectory::Preview, leavesOut);
        m_editor.setPreview(m_from.preview());
    }
    Bytes finish()
    {
        removeIfAdded(ExifDirectory::Photo, tag::kExifVersion);
        removeIfAdded(ExifDirectory::Gps, tag::kGpsVersion);
        return m_editor.finish();
    }

private:
    // The editor completes a directory that begins; a copy shall not say more than the original.
    void removeIfAdded(ExifDirectory directory, std::uint16_t tag)
    {
        if (!m_from.value(directory, tag))
            m_editor.remove(directory, tag);
    }

    ExifBlock const& m_from;
    ExifEditor m_editor;
    std::size_t m_total = 0;
};

constexpr ExifDirectory kCopiedDirectories[] = {
    ExifDirectory::Image, ExifDirectory::Photo, ExifDirectory::Gps, ExifDirectory::Interop};

// Velk's own reader leaves maker notes as they are; the module knows where the formats of the makers keep
// offsets. Empty when it fails or is not there.
Bytes rewriteWithMakerNotes(ByteSpan tiff, ByteOrder order, bool isWholeFile)
{
    auto const rewrite = modules::function<modules::RewriteMakerNotes>("exif", modules::kRewriteMakerNotes);
    if (!rewrite)
        return {};
    Bytes block;
    auto const take = [](void* context, std::uint8_t const* bytes, std::size_t size) {
        static_cast<Bytes*>(context)->assign(bytes, bytes + size);
    };
    (*rewrite)(tiff.data(), tiff.size(), order == ByteOrder::Little, isWholeFile, take, &block);
    auto const parsed = ExifBlock::parse(block);
    bool const isComplete =
        parsed && block.size() <= kMaximumBlock && parsed->value(ExifDirectory::Photo, tag::kMakerNote);
    return isComplete ? block : Bytes();
}

bool hasMakerNote(ExifBlock const& block)
{
    return block.value(ExifDirectory::Photo, tag::kMakerNote).has_value();
}

} // namespace

Bytes exifFromTiffFile(ByteSpan file)
{
    auto const parsed = ExifBlock::parse(file);
    if (!parsed)
        return {};
    if (hasMakerNote(*parsed)) {
        if (auto block = rewriteWithMakerNotes(file, parsed->order(), true); !block.empty())
            return block;
    }
    FieldCopier copier(*parsed, parsed->order());
    for (auto const directory : kCopiedDirectories)
        copier.copy(directory, leavesOutOfTiffFile);
    return copier.finish();
}

Bytes exifInLittleEndian(ByteSpan block)
{
    auto const parsed = ExifBlock::parse(block);
    if (!parsed || parsed->order() == ByteOrder::Little)
        return Bytes(block.begin(), block.end());
    if (hasMakerNote(*parsed)) {
        if (auto rewritten = rewriteWithMakerNotes(block, ByteOrder::Little, false); !rewritten.empty())
            return rewritten;
    }
    FieldCopier copier(*parsed, ByteOrder::Little);
    for (auto const directory : kCopiedDirectories)
        copier.copy(directory, isPointer);
    copier.copyPreview(isPointer);
    return copier.finish();
}

} // namespace velk::codec
