#include "base/Reporting.h"
#include "platform/codec/Codecs.h"
#include "platform/codec/IcoFile.h"

#include <atomic>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::string_view kType = "com.microsoft.ico";
constexpr std::string_view kDictionary = "{ICO}";

bool matches(ByteSpan head, InputFile const& file)
{
    return startsLikeIco(head, file.size());
}

// Reading

class IcoSource final : public ImageSource {
public:
    explicit IcoSource(InputFile file)
        : ImageSource(kType, std::move(file))
    {
    }

    Result<void> load()
    {
        auto const directory = TRY(readIcoDirectory(file()));
        auto const* picture = directory.largest();
        if (!picture)
            return fail("it holds no picture that makes sense");
        TRY(picture->isPng ? loadPng(*picture) : loadBitmap(*picture));
        editDescription().imageCount = directory.count;
        auto& properties = subDictionary(editDescription().formatProperties, kDictionary);
        set(properties, "BitsPerPixel", picture->bitsPerPixel);
        set(properties, "IsCursor", directory.isCursor);
        set(properties, "IsPNG", picture->isPng);
        return {};
    }

    Result<DecodedRows> open(DecodeRequest const& request) const override
    {
        if (m_png)
            return m_png->open(request);
        auto const self = std::static_pointer_cast<IcoSource const>(shared_from_this());
        return wholeImage(icoBitmapRows(file(), m_bitmap, m_usesMask, [self] { self->reportMissing(); }));
    }

private:
    Result<void> loadPng(IcoPicture const& picture)
    {
        if (picture.offset + picture.size > file().size())
            return fail("the icon's picture is cut off");
        Bytes bytes(picture.size);
        TRY(file().readExactlyAt(picture.offset, bytes));
        m_png = TRY(kPngCodec.open(TRY(InputFile::inMemory(path(), bytes))));
        editDescription() = m_png->description();
        return {};
    }

    Result<void> loadBitmap(IcoPicture const& picture)
    {
        m_bitmap = TRY(readIcoBitmap(file(), picture));
        m_usesMask = !TRY(icoBitmapHasAlpha(file(), m_bitmap));
        editDescription().info.layout = {m_bitmap.size, {.alpha = Alpha::Straight}};
        return {};
    }

    void reportMissing() const
    {
        if (!m_reported.exchange(true))
            reportWarning("{}: the pixel data is incomplete; missing parts stay blank\n", path());
    }

    std::shared_ptr<ImageSource const> m_png;
    IcoBitmap m_bitmap;
    bool m_usesMask = true;
    mutable std::atomic<bool> m_reported = false;
};

Result<std::shared_ptr<ImageSource>> open(InputFile file)
{
    auto source = std::make_shared<IcoSource>(std::move(file));
    TRY(source->load());
    return source;
}

// Writing

constexpr std::int32_t kLongestSide = 256;

// Readers of icons expect PNG pictures to have 32 bits a pixel.
EncodeTarget negotiate(ImageInfo const&, EncodeOptions const&)
{
    return {{.alpha = Alpha::Straight}, 8};
}

// The file's header and its only entry. A side of 256 is written as 0.
Bytes headerOf(Size size)
{
    constexpr std::uint16_t kIcon = 1, kBitsPerPixel = 32;
    constexpr std::uint32_t kPictureOffset = 22;
    Bytes bytes;
    for (std::uint16_t const value : {std::uint16_t {0}, kIcon, std::uint16_t {1}})
        appendLE16(bytes, value);
    bytes.push_back(static_cast<std::uint8_t>(size.width));
    bytes.push_back(static_cast<std::uint8_t>(size.height));
    appendLE16(bytes, 0);
    appendLE16(bytes, 1);
    appendLE16(bytes, kBitsPerPixel);
    appendLE32(bytes, 0);
    appendLE32(bytes, kPictureOffset);
    return bytes;
}

Result<void> encode(EncodeJob const& job, AtomicFile& output)
{
    constexpr std::uint64_t kSizeField = 14;
    auto const size = job.rows.size();
    if (size.width > kLongestSide || size.height > kLongestSide)
        return fail("an icon has at most {0} x {0} pixels, not {1} x {2}; resample the image to that size",
            kLongestSide, size.width, size.height);
    auto const header = headerOf(size);
    TRY(output.write(header));
    PropertyDictionary const noProperties;
    TRY(kPngCodec.encode({.rows = job.rows,
                             .bitsPerComponent = job.bitsPerComponent,
                             .profile = job.profile,
                             .options = job.options,
                             .properties = noProperties},
        output));
    Bytes field;
    appendLE32(field, static_cast<std::uint32_t>(output.position() - header.size()));
    return output.writeAt(kSizeField, field);
}

} // namespace

constinit Codec const kIcoCodec = {
    .type = kType,
    .carries = {.profile = true},
    .matches = matches,
    .open = open,
    .negotiate = negotiate,
    .encode = encode,
};

} // namespace velk::codec
