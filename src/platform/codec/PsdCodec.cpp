#include "platform/codec/Codecs.h"
#include "platform/codec/EncoderAbilities.h"
#include "platform/codec/PsdEncoder.h"
#include "platform/codec/PsdSource.h"

#include <algorithm>

namespace velk::codec {

using namespace graphics;

namespace {

bool matches(ByteSpan head, InputFile const&)
{
    return head.size() >= 6 && startsWith(head, "8BPS") && head[4] == 0 && (head[5] == 1 || head[5] == 2);
}

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto psd = TRY(readPsdFile(file));
    auto source = std::make_shared<PsdSource>(std::move(file), std::move(psd));
    TRY(source->load());
    return source;
}

constexpr ColorModel kModels[] = {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK, ColorModel::Lab};
constexpr int kGrayDepths[] = {1, 8};
constexpr int kIndexDepths[] = {8};
constexpr EncoderAbilities kAbilities = {
    .models = kModels,
    .modelsWithAlpha = kModels,
    .grayDepths = kGrayDepths,
    .indexDepths = kIndexDepths,
    .sixteenBits = true,
    .floatingPoint = true,
};

// What a palette may do about transparency: one colour, wholly.
bool hasAtMostOneClearColor(Palette const& palette)
{
    auto const opaque =
        std::ranges::count_if(palette.entries, [](auto const& entry) { return entry[3] == 255; });
    auto const clear =
        std::ranges::count_if(palette.entries, [](auto const& entry) { return entry[3] == 0; });
    return clear <= 1 && opaque + clear == std::ssize(palette.entries);
}

EncodeTarget negotiate(ImageInfo const& info, EncodeOptions const&)
{
    auto abilities = kAbilities;
    auto const* palette = info.layout.space.palette();
    abilities.paletteAlpha = palette && hasAtMostOneClearColor(*palette);
    auto const model = info.layout.format.model;
    abilities.floatingPoint = model == ColorModel::Gray || model == ColorModel::RGB;
    return nearestTarget(info, abilities);
}

// Nothing but the resources changes; layers and pixels stay as they are.
bool canRewrite(RewriteJob const& job)
{
    return job.turn == Turn::None && dynamic_cast<PsdSource const*>(&job.source);
}

// New data for a resource; empty = the resource goes.
struct Replacement {
    std::uint16_t id;
    Bytes data;
    bool isWritten = false;
};

std::vector<Replacement> replacementsFor(RewriteJob const& job, PsdSource const& source)
{
    std::vector<Replacement> replacements;
    auto const replace = [&](std::uint16_t id, Bytes now, ByteSpan before) {
        if (!std::ranges::equal(now, before))
            replacements.push_back({id, std::move(now)});
    };
    auto const held = [&](std::uint16_t id) { return readPsdResource(source.file(), source.psd(), id); };
    if (job.metadataChanged) {
        auto const& before = source.metadata();
        replace(psd::kExif, job.metadata.exif(), before.exif());
        auto const xmp = job.metadata.xmp();
        replace(psd::kXmp, Bytes(xmp.begin(), xmp.end()), asBytes(before.xmp()));
        auto iptc = job.metadata.iptc();
        // The digest tells Photoshop that the other metadata agrees with the old IPTC.
        if (iptc != before.iptc())
            replacements.push_back({psd::kIptcDigest, {}});
        replace(psd::kIptc, std::move(iptc), before.iptc());
    }
    if (job.profileChanged) {
        replace(psd::kProfile, job.profile ? *job.profile : Bytes(), held(psd::kProfile));
        if (job.profile)
            replacements.push_back({psd::kUntaggedProfile, {}});
    }
    if (job.resolution)
        replacements.push_back({psd::kResolution, psdResolution(*job.resolution, held(psd::kResolution))});
    return replacements;
}

void appendReplacement(Bytes& section, Replacement& replacement)
{
    if (!replacement.data.empty() && !replacement.isWritten)
        appendPsdResource(section, replacement.id, replacement.data);
    replacement.isWritten = true;
}

Result<Bytes> changedResources(PsdSource const& source, std::vector<Replacement> replacements)
{
    auto const& psd = source.psd();
    auto const appendOld = [&](Bytes& section, std::uint64_t start, std::uint64_t end) -> Result<void> {
        auto const at = section.size();
        section.resize(at + static_cast<std::size_t>(end - start));
        return source.file().readExactlyAt(start, std::span(section).subspan(at));
    };
    Bytes section;
    for (auto const& resource : psd.resources) {
        auto const found = std::ranges::find(replacements, resource.id, &Replacement::id);
        if (found != replacements.end())
            appendReplacement(section, *found);
        else
            TRY(appendOld(section, resource.start, resource.end));
        if (section.size() % 2 != 0)
            section.push_back(0);
    }
    for (auto& replacement : replacements)
        appendReplacement(section, replacement);
    TRY(appendOld(section, psd.resourcesParsedEnd, psd.resourcesEnd));
    return section;
}

Result<void> rewrite(RewriteJob const& job, AtomicFile& output)
{
    auto const& source = dynamic_cast<PsdSource const&>(job.source);
    auto const& psd = source.psd();
    auto const& file = source.file();
    auto const section = TRY(changedResources(source, replacementsFor(job, source)));
    Bytes length;
    appendBE32(length, static_cast<std::uint32_t>(section.size()));
    TRY(output.copyFrom(file, 0, psd.resourcesOffset - length.size()));
    TRY(output.write(length));
    TRY(output.write(section));
    return output.copyFrom(file, psd.resourcesEnd, file.size() - psd.resourcesEnd);
}

} // namespace

constinit Codec const kPsdCodec = {
    .type = kPsdType,
    .carries = {.exif = true, .iptc = true, .xmp = true, .profile = true, .resolution = true},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encodePsd,
    .canRewrite = canRewrite,
    .rewrite = rewrite,
};

} // namespace velk::codec
