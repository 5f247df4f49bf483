#include "platform/codec/GifEncoder.h"

#include "platform/codec/GifContainer.h"
#include "platform/codec/GifQuantizer.h"
#include "platform/codec/GifSource.h"
#include "platform/codec/PropertyKeys.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::int32_t kLargestSide = 65535;
constexpr std::size_t kMaximumEntries = 256;

using Colors = std::vector<std::array<std::uint8_t, 3>>;
/// The indices of the next row; may change them in the memory that it gives.
using NextRow = std::function<Result<std::uint8_t*>()>;

/// What is written around the rows.
struct GifHeader {
    Size size;
    Colors colors;
    std::optional<std::uint8_t> transparentIndex;
    Bytes extensions;
};

struct Sink {
    AtomicFile& output;
    Result<void> result;
};

int writeToSink(GifFileType* gif, GifByteType const* bytes, int count)
{
    auto& sink = *static_cast<Sink*>(gif->UserData);
    if (sink.result)
        sink.result = sink.output.write({bytes, static_cast<std::size_t>(count)});
    return sink.result ? count : 0;
}

struct Release {
    void operator()(GifFileType* gif) const
    {
        int ignored = 0;
        EGifCloseFile(gif, &ignored);
    }
    void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
};

using ColorMapPointer = std::unique_ptr<ColorMapObject, Release>;

ColorMapPointer colorMapOf(Colors const& colors)
{
    auto const bits = std::max(1, GifBitSize(static_cast<int>(colors.size())));
    ColorMapPointer map(GifMakeMapObject(1 << bits, nullptr));
    if (map) {
        for (std::size_t i = 0; i < colors.size(); ++i)
            map->Colors[i] = {colors[i][0], colors[i][1], colors[i][2]};
    }
    return map;
}

// Label, four fields, of which only the transparent index matters in a still picture (GIF89a, 23).
Bytes graphicControl(std::uint8_t transparentIndex)
{
    return {0x21, 0xF9, 4, 1, 0, 0, transparentIndex, 0};
}

Result<void> writePicture(GifHeader const& header, NextRow const& nextRow, AtomicFile& output)
{
    Sink sink {output, {}};
    auto const map = colorMapOf(header.colors);
    int error = 0;
    std::unique_ptr<GifFileType, Release> gif(EGifOpen(&sink, writeToSink, &error));
    if (!gif || !map)
        return fail("out of memory");
    // Before giflib's result counts that of the file, which tells the reason.
    auto const check = [&](int status) -> Result<void> {
        TRY(sink.result);
        return status == GIF_OK ? Result<void> {} : fail("the GIF file cannot be written");
    };
    auto const [width, height] = header.size;
    EGifSetGifVersion(gif.get(), true);
    TRY(check(EGifPutScreenDesc(gif.get(), width, height, map->BitsPerPixel, 0, map.get())));
    TRY(output.write(header.extensions));
    if (header.transparentIndex)
        TRY(output.write(graphicControl(*header.transparentIndex)));
    TRY(check(EGifPutImageDesc(gif.get(), 0, 0, width, height, false, nullptr)));
    for (int y = 0; y < height; ++y) {
        auto* const row = TRY(nextRow());
        TRY(check(EGifPutLine(gif.get(), row, width)));
    }
    gif.reset();
    return sink.result;
}

// Greys from black to white, in as many steps as the image had.
Colors greys(int bits)
{
    auto const count = 1 << bits;
    Colors colors;
    for (int i = 0; i < count; ++i) {
        auto const grey = static_cast<std::uint8_t>(i * 255 / (count - 1));
        colors.push_back({grey, grey, grey});
    }
    return colors;
}

Result<void> encodeGrey(EncodeJob const& job, GifHeader header, AtomicFile& output)
{
    auto const bits = std::clamp(job.bitsPerComponent, 1, 8);
    header.colors = greys(bits);
    Bytes row(job.rows.rowBytes());
    auto const nextRow = [&]() -> Result<std::uint8_t*> {
        TRY(job.rows.read({row.data(), row.size(), 1}));
        auto const largest = (1 << bits) - 1;
        if (bits < 8)
            std::ranges::transform(row, row.begin(),
                [=](int value) { return static_cast<std::uint8_t>((value * largest + 127) / 255); });
        return row.data();
    };
    return writePicture(header, nextRow, output);
}

Result<void> encodeIndexed(EncodeJob const& job, GifHeader header, AtomicFile& output)
{
    std::array<std::uint8_t, kMaximumEntries> newIndex = {};
    auto const& entries = job.rows.layout().space.palette()->entries;
    for (std::size_t i = 0; i < std::min(entries.size(), kMaximumEntries); ++i) {
        auto const index = static_cast<std::uint8_t>(i);
        header.colors.push_back({entries[i][0], entries[i][1], entries[i][2]});
        bool const isTransparent = entries[i][3] == 0;
        // There is one transparent index; all that are transparent become that.
        if (isTransparent && !header.transparentIndex)
            header.transparentIndex = index;
        newIndex[i] = isTransparent ? *header.transparentIndex : index;
    }
    Bytes row(job.rows.rowBytes());
    auto const nextRow = [&]() -> Result<std::uint8_t*> {
        TRY(job.rows.read({row.data(), row.size(), 1}));
        std::ranges::transform(row, row.begin(), [&](std::uint8_t index) { return newIndex[index]; });
        return row.data();
    };
    return writePicture(header, nextRow, output);
}

Result<void> encodeColors(EncodeJob const& job, GifHeader header, AtomicFile& output)
{
    auto picture = TRY(quantizeForGif(job.rows));
    header.colors = std::move(picture.colors);
    header.transparentIndex = picture.transparentIndex;
    auto* next = picture.indices.data();
    auto const nextRow = [&]() -> Result<std::uint8_t*> {
        return std::exchange(next, next + picture.size.width);
    };
    return writePicture(header, nextRow, output);
}

Bytes extensionsOf(EncodeJob const& job)
{
    Bytes extensions;
    if (job.profile)
        append(extensions, gifProfileExtension(*job.profile));
    append(extensions, gifXmpExtension(job.metadata.xmp()));
    auto const* gif = findDictionary(job.properties, key::kGif);
    auto const* comment = gif ? find(*gif, kGifComment) : nullptr;
    if (comment && comment->asString())
        append(extensions, gifCommentExtension(*comment->asString()));
    return extensions;
}

bool isPaletteStorable(Palette const& palette)
{
    return palette.entries.size() <= kMaximumEntries
        && std::ranges::all_of(
            palette.entries, [](auto const& entry) { return entry[3] == 0 || entry[3] == 255; });
}

} // namespace

EncodeTarget negotiateGif(ImageInfo const& info, EncodeOptions const&)
{
    auto const& format = info.layout.format;
    auto const& space = info.layout.space;
    auto const* palette = space.palette();
    if (palette && isPaletteStorable(*palette))
        return {{.model = ColorModel::Indexed}, 8};
    if (format.model == ColorModel::Gray && !format.hasAlpha() && !space.profile())
        return {{.model = ColorModel::Gray}, std::min(info.bitsPerComponent, 8)};
    bool const hasAlpha = format.hasAlpha() || (palette && palette->hasAlpha());
    return {{.model = ColorModel::RGB, .alpha = hasAlpha ? Alpha::Straight : Alpha::None}, 8};
}

Result<void> encodeGif(EncodeJob const& job, AtomicFile& output)
{
    GifHeader header {.size = job.rows.size(), .extensions = extensionsOf(job)};
    if (header.size.width > kLargestSide || header.size.height > kLargestSide)
        return fail("GIF images are at most {} pixels wide and high, this one is {} x {}", kLargestSide,
            header.size.width, header.size.height);
    constexpr struct {
        ColorModel model;
        Result<void> (*encode)(EncodeJob const&, GifHeader, AtomicFile&);
    } kEncoders[] = {
        {ColorModel::Gray, encodeGrey},
        {ColorModel::Indexed, encodeIndexed},
        {ColorModel::RGB, encodeColors},
    };
    for (auto const& encoder : kEncoders) {
        if (encoder.model == job.rows.format().model)
            return encoder.encode(job, std::move(header), output);
    }
    return fail("GIF files hold no such pixels");
}

} // namespace velk::codec
