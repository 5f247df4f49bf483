#include "platform/codec/GifSource.h"

#include "base/Reporting.h"
#include "platform/codec/GifRows.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>
#include <bit>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr std::size_t kMaximumEntries = 256;

// Colours of a file without any colour table: black and white first (GIF89a, 18.c), then greys.
Palette substitutePalette()
{
    Palette palette;
    palette.entries = {{0, 0, 0, 255}, {255, 255, 255, 255}};
    for (auto i = palette.entries.size(); i < kMaximumEntries; ++i) {
        auto const grey = static_cast<std::uint8_t>(i);
        palette.entries.push_back({grey, grey, grey, 255});
    }
    return palette;
}

Size screenWith(GifContents const& contents)
{
    auto const& area = contents.frame.area;
    return {std::max(contents.screen.width, area.x + area.width),
        std::max(contents.screen.height, area.y + area.height)};
}

// The colours of the first frame. Indices that its codes can have beyond the colour table are black.
Palette paletteOf(GifContents const& contents)
{
    auto const& frame = contents.frame;
    auto palette = frame.palette ? *frame.palette
        : contents.globalPalette ? *contents.globalPalette
                                 : substitutePalette();
    auto const needed = std::max(std::size_t {1} << std::clamp(frame.codeSize, 1, 8),
        static_cast<std::size_t>(frame.transparentIndex.value_or(0)) + 1);
    auto const isOneBit = palette.entries.size() == 2 && !(frame.transparentIndex > 1);
    // Pictures of two colours have codes of two bits, of which nobody uses the upper half.
    if (palette.entries.size() < needed && !(isOneBit && frame.codeSize == 2))
        palette.entries.resize(needed, {0, 0, 0, 255});
    if (frame.transparentIndex)
        palette.entries[static_cast<std::size_t>(*frame.transparentIndex)][3] = 0;
    return palette;
}

bool coversScreen(GifPicture const& picture)
{
    return picture.area.width == picture.screen.width && picture.area.height == picture.screen.height;
}

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

bool isUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const ones = std::countl_one(static_cast<unsigned char>(text[i]));
        if (ones == 1 || ones > 4)
            return false;
        for (int rest = ones; rest > 1; --rest) {
            if (++i == text.size() || !isContinuation(text[i]))
                return false;
        }
    }
    return true;
}

// Comments are 7-bit ASCII by the standard; in practice they are UTF-8 or Latin-1.
std::string commentInUtf8(std::string const& comment)
{
    if (isUtf8(comment))
        return comment;
    std::string text;
    for (auto const character : comment) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            text += character;
        } else {
            text += static_cast<char>(0xC0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

} // namespace

GifSource::GifSource(InputFile file)
    : ImageSource(kGifType, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> GifSource::open(InputFile file)
{
    std::shared_ptr<GifSource> const source(new GifSource(std::move(file)));
    source->m_contents = TRY(readGifContents(source->file()));
    TRY(source->readPicture());
    source->describe();
    return source;
}

Result<void> GifSource::readPicture()
{
    m_picture.area = m_contents.frame.area;
    m_picture.screen = screenWith(m_contents);
    if (m_picture.area.isEmpty())
        return fail("the first image of the GIF file has no pixels");
    if (!isPossible(m_picture.screen))
        return fail(
            "an image of {} x {} pixels is not possible", m_picture.screen.width, m_picture.screen.height);

    m_picture.palette = paletteOf(m_contents);
    auto& entries = m_picture.palette.entries;
    if (m_contents.frame.transparentIndex) {
        m_picture.blankIndex = static_cast<std::uint8_t>(*m_contents.frame.transparentIndex);
    } else if (coversScreen(m_picture)) {
        m_picture.blankIndex = 0;
    } else if (entries.size() < kMaximumEntries) {
        m_picture.blankIndex = static_cast<std::uint8_t>(entries.size());
        entries.push_back({0, 0, 0, 0});
    }
    return {};
}

void GifSource::describe()
{
    auto const base = colorSpaceWithProfile(
        ColorModel::RGB, m_contents.profile.empty() ? nullptr : shareBytes(m_contents.profile));
    auto& info = editDescription().info;
    info.layout.size = m_picture.screen;
    if (m_picture.blankIndex) {
        info.layout.format = {.model = ColorModel::Indexed};
        info.layout.space = ColorSpace::indexed(base, m_picture.palette);
        info.bitsPerComponent =
            std::max(1, static_cast<int>(std::bit_width(m_picture.palette.entries.size() - 1)));
    } else {
        info.layout.format = {.model = ColorModel::RGB, .alpha = Alpha::Straight};
        info.layout.space = base;
    }
    editDescription().imageCount = m_contents.frameCount;
    editDescription().metadata.setXmp(m_contents.xmp);

    auto& properties = subDictionary(editDescription().formatProperties, key::kGif);
    set(properties, kGifFrameCount, m_contents.frameCount);
    set(properties, kGifHasGlobalColorMap, m_contents.globalPalette.has_value());
    if (m_contents.loopCount)
        set(properties, kGifLoopCount, *m_contents.loopCount);
    if (m_contents.frame.delay)
        set(properties, kGifDelayTime, *m_contents.frame.delay / 100.0);
    if (!m_contents.comment.empty())
        set(properties, kGifComment, commentInUtf8(m_contents.comment));
}

Result<DecodedRows> GifSource::open(DecodeRequest const&) const
{
    auto const self = std::static_pointer_cast<GifSource const>(shared_from_this());
    return wholeImage(TRY(openGifRows(self)));
}

void GifSource::warnOfDamage() const
{
    if (!m_warned.test_and_set())
        reportWarning("{}: the image data is damaged or incomplete; what is missing stays blank\n", path());
}

} // namespace velk::codec
