#include "platform/codec/PngEdits.h"

#include "platform/codec/PngAncillary.h"
#include "platform/codec/PngText.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>

namespace velk::codec {

namespace {

constexpr std::size_t kMaximumResources = 64 * 1024 * 1024;

std::function<bool(PngChunk const&)> hasType(FourCC type)
{
    return [type](PngChunk const& chunk) { return chunk.type == type; };
}

std::function<bool(PngChunk const&)> hasRole(PngRole role)
{
    return [role](PngChunk const& chunk) { return chunk.role == role; };
}

std::function<bool(PngChunk const&)> hasKeyword(std::string_view keyword)
{
    return [keyword = std::string(keyword)](
               PngChunk const& chunk) { return chunk.role == PngRole::Text && chunk.keyword == keyword; };
}

// Every chunk that says what the colours mean.
bool describesColor(PngChunk const& chunk)
{
    return chunk.role == PngRole::Profile || chunk.type == pngType::kGamma
        || chunk.type == pngType::kChromaticities || chunk.type == pngType::kSrgb
        || chunk.type == pngType::kCodingPoints;
}

PngEdit profileEdit(SharedBytes const& profile)
{
    if (!profile)
        return {hasRole(PngRole::Profile), {}, PngPlace::BeforePalette};
    PngEdit edit {describesColor, {}, PngPlace::BeforePalette};
    appendPngProfile(edit.chunks, *profile);
    return edit;
}

void addColorEdits(std::vector<PngEdit>& edits, PropertyChanges const& changes)
{
    for (auto const& change : changes) {
        auto const property = std::ranges::find(kPngColorProperties, change.key, &PngColorProperty::key);
        if (change.dictionary != key::kPng || property == kPngColorProperties.end())
            continue;
        PngEdit edit {hasType(property->chunkType), {}, PngPlace::BeforePalette};
        if (change.value)
            property->append(edit.chunks, *change.value);
        edits.push_back(std::move(edit));
    }
}

// The image resources that the file's IPTC stands among.
Bytes photoshopResources(PngSource const& source)
{
    auto const found = std::ranges::find(source.chunks().chunks, PngRole::Iptc, &PngChunk::role);
    if (found == source.chunks().chunks.end())
        return {};
    auto const data = readPngChunk(source.file(), *found);
    std::size_t budget = kMaximumResources;
    auto const text = data ? parsePngText(found->type, data->bytes, budget) : std::nullopt;
    return text ? decodeRawProfile(text->text) : Bytes();
}

// A block that is as it was stays in its chunk, but Exif leaves the hexadecimal text of old for good.
void addMetadataEdits(std::vector<PngEdit>& edits, Metadata const& metadata, PngSource const& source)
{
    bool const hasLegacyExif = std::ranges::any_of(source.chunks().chunks,
        [](auto& chunk) { return chunk.role == PngRole::Exif && chunk.type != pngType::kExif; });
    if (auto const exif = metadata.exif(); hasLegacyExif || exif != source.metadata().exif()) {
        edits.push_back({hasRole(PngRole::Exif), {}, PngPlace::Anywhere});
        appendPngExif(edits.back().chunks, exif);
    }
    if (auto const xmp = metadata.xmp(); xmp != source.metadata().xmp()) {
        edits.push_back({hasRole(PngRole::Xmp), {}, PngPlace::Anywhere});
        if (!xmp.empty())
            appendPngXmp(edits.back().chunks, xmp);
    }
    if (auto const iptc = metadata.iptc(); iptc != source.metadata().iptc()) {
        edits.push_back({hasRole(PngRole::Iptc), {}, PngPlace::Anywhere});
        auto const resources = resourcesWithIptc(iptc, photoshopResources(source));
        if (!resources.empty())
            appendRawProfile(edits.back().chunks, "iptc", resources);
    }
}

PngEdit textEdit(std::string_view keyword, std::optional<PropertyValue> const& value)
{
    PngEdit edit {hasKeyword(keyword), {}, PngPlace::Anywhere};
    if (value)
        appendPngKeyword(edit.chunks, keyword, *value);
    return edit;
}

} // namespace

PngEdits::PngEdits(PngChunkList const& list, std::vector<PngEdit> edits)
{
    for (auto& edit : edits) {
        bool const isExpected = std::ranges::any_of(list.chunks, edit.replaces);
        m_edits.push_back({std::move(edit), false, isExpected});
    }
}

bool PngEdits::replaces(PngChunk const& chunk) const
{
    return std::ranges::any_of(m_edits, [&](auto& pending) { return pending.edit.replaces(chunk); });
}

Result<bool> PngEdits::replace(PngChunk const& chunk, AtomicFile& output)
{
    auto const found =
        std::ranges::find_if(m_edits, [&](auto& pending) { return pending.edit.replaces(chunk); });
    if (found == m_edits.end())
        return false;
    if (!std::exchange(found->isWritten, true))
        TRY(output.write(found->edit.chunks));
    return true;
}

bool PngEdits::isDue(Pending const& pending, PngPlace place) const
{
    if (pending.isWritten || pending.edit.chunks.empty())
        return false;
    // Only what may stand anywhere can wait for its place behind the pixel data.
    if (pending.isExpected && pending.edit.place > place)
        return false;
    return pending.edit.place <= place || (place == PngPlace::BeforeData && !pending.isExpected);
}

bool PngEdits::hasNothingFor(PngPlace place) const
{
    return std::ranges::none_of(m_edits, [&](auto& pending) { return isDue(pending, place); });
}

Result<void> PngEdits::insert(PngPlace place, AtomicFile& output)
{
    for (auto& pending : m_edits) {
        if (!isDue(pending, place))
            continue;
        TRY(output.write(pending.edit.chunks));
        pending.isWritten = true;
    }
    return {};
}

std::vector<PngEdit> pngTextEdits(PngChunkList const& list, PropertyChanges const& changes)
{
    std::vector<PngEdit> edits;
    for (auto const& change : changes) {
        if (change.dictionary == key::kPng && isPngKeyword(change.key))
            edits.push_back(textEdit(change.key, change.value));
    }
    // The first edit that replaces a chunk has it, so {PNG} goes before its twins.
    for (auto const& change : changes) {
        auto const twin = std::ranges::find(kPngTextTwins, change.key, &PngTextTwin::tiffKey);
        if (change.dictionary != key::kTiff || twin == kPngTextTwins.end())
            continue;
        auto const isTwin = hasKeyword(twin->keyword);
        auto const isEdited = [&](PngEdit const& edit) {
            return std::ranges::any_of(
                list.chunks, [&](auto& chunk) { return isTwin(chunk) && edit.replaces(chunk); });
        };
        if (std::ranges::any_of(list.chunks, isTwin) && std::ranges::none_of(edits, isEdited))
            edits.push_back(textEdit(twin->keyword, change.value));
    }
    return edits;
}

std::vector<PngEdit> pngRewriteEdits(RewriteJob const& job, PngSource const& source)
{
    auto edits = pngTextEdits(source.chunks(), job.changes);
    if (job.profileChanged)
        edits.push_back(profileEdit(job.profile));
    // A profile says all that these would.
    if (!(job.profileChanged && job.profile))
        addColorEdits(edits, job.changes);
    if (job.resolution) {
        edits.push_back({hasType(pngType::kResolution), {}, PngPlace::BeforeData});
        appendPngResolution(edits.back().chunks, *job.resolution);
    }
    if (job.metadataChanged)
        addMetadataEdits(edits, job.metadata, source);
    return edits;
}

} // namespace velk::codec
