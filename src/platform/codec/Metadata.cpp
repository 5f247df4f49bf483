#include "platform/codec/Metadata.h"

#include "platform/codec/ExifEditor.h"
#include "platform/codec/ExifTransplant.h"
#include "platform/codec/ExifValues.h"
#include "platform/codec/IptcBlock.h"
#include "platform/codec/PropertyKeys.h"
#include "platform/codec/XmpPacket.h"

#include <cmath>

namespace velk::codec {

namespace {

using enum ExifDirectory;

constexpr std::uint32_t kUnitInch = 2;
constexpr std::uint32_t kUnitCentimetre = 3;
// What a JPEG can hold in one segment, after the length and "Exif\0\0".
constexpr std::size_t kMaximumJpegExif = 65'533 - 6;

constexpr struct {
    std::string_view key;
    ExifDirectory directory;
} kDictionaries[] = {{key::kTiff, Image}, {key::kExif, Photo}, {key::kGps, Gps}};

bool isOrientation(std::optional<std::uint32_t> value)
{
    return value && *value >= 1 && *value <= 8;
}

void describeDirectory(ExifBlock const& block, ExifDirectory directory, PropertyDictionary& dictionary)
{
    for (auto const& entry : block.directory(directory).entries) {
        auto const* const row = exifTag(directory, entry.tag);
        auto const value = row ? block.value(directory, entry.tag) : std::nullopt;
        if (!value)
            continue;
        if (auto property = propertyFromExif(*row, *value, block.order()))
            set(dictionary, row->name, std::move(*property));
    }
}

void describeExif(ByteSpan exif, PropertyDictionary& properties)
{
    auto const block = ExifBlock::parse(exif);
    if (!block)
        return;
    for (auto const& [key, directory] : kDictionaries) {
        PropertyDictionary dictionary;
        describeDirectory(*block, directory, dictionary);
        if (!dictionary.empty())
            merge(subDictionary(properties, key), dictionary);
    }
    if (auto const orientation = block->integer(Image, tag::kOrientation); isOrientation(orientation))
        set(properties, key::kOrientation, static_cast<int>(*orientation));
}

// An orientation out of range would make other programs guess.
bool isAllowed(ExifTag const& row, OwnedExifValue const& value, ByteOrder order)
{
    if (row.directory != Image || row.tag != tag::kOrientation)
        return true;
    auto const number = exifInteger(value, 0, order);
    return number >= 1 && number <= 8;
}

bool applyToExif(ExifEditor& editor, ExifDirectory directory, PropertyChange const& change)
{
    auto const* const row = exifTag(directory, change.key);
    if (!row)
        return false;
    if (!change.value)
        return editor.remove(directory, row->tag);
    auto const value = exifFromProperty(*row, *change.value, editor.order());
    return value && isAllowed(*row, *value, editor.order()) && editor.set(directory, row->tag, *value);
}

struct SizeTag {
    ExifDirectory directory;
    std::uint16_t tag;
    std::int32_t graphics::Size::*side;
};

constexpr SizeTag kSizeTags[] = {
    {Image, tag::kImageWidth, &graphics::Size::width},
    {Image, tag::kImageLength, &graphics::Size::height},
    {Photo, tag::kPixelXDimension, &graphics::Size::width},
    {Photo, tag::kPixelYDimension, &graphics::Size::height},
    {Interop, tag::kRelatedImageWidth, &graphics::Size::width},
    {Interop, tag::kRelatedImageLength, &graphics::Size::height},
};

constexpr struct {
    std::string_view property;
    std::int32_t graphics::Size::*side;
} kXmpSizes[] = {
    {"tiff:ImageWidth", &graphics::Size::width},
    {"tiff:ImageLength", &graphics::Size::height},
    {"exif:PixelXDimension", &graphics::Size::width},
    {"exif:PixelYDimension", &graphics::Size::height},
};

// Writes a whole number into a tag that is there, in its own type where it fits.
void update(ExifBlock const& block, ExifEditor& editor, ExifDirectory directory, std::uint16_t tag,
    std::uint32_t number)
{
    auto const old = block.value(directory, tag);
    if (!old)
        return;
    bool const isShort = old->type == ExifType::Short && number <= 0xFFFF;
    editor.setInteger(directory, tag, isShort ? ExifType::Short : ExifType::Long, number);
}

} // namespace

/// The blocks as they are to be written. There is no parsed form beside them: reading a block anew costs
/// microseconds, and so nothing can disagree or needs a lock.
struct Metadata::State {
    Bytes exif, iptc;
    std::string xmp;

    /// Takes the result of an edit. One that no longer fits a JPEG, as the block did before, gives up the
    /// preview: that can be made anew.
    void replaceExif(Bytes edited)
    {
        if (edited.size() > kMaximumJpegExif && exif.size() <= kMaximumJpegExif) {
            ExifEditor editor(edited);
            editor.setPreview({});
            edited = editor.finish();
        }
        exif = std::move(edited);
    }
};

Metadata::Metadata()
    : m_state(std::make_shared<State>())
{
}
Metadata::Metadata(Metadata const&) = default;
Metadata& Metadata::operator=(Metadata const&) = default;
Metadata::~Metadata() = default;

// What was moved from is empty, not without a state.
Metadata::Metadata(Metadata&& other) noexcept
    : m_state(other.m_state)
{
}
Metadata& Metadata::operator=(Metadata&& other) noexcept
{
    m_state = other.m_state;
    return *this;
}

Metadata::State& Metadata::edit()
{
    if (m_state.use_count() > 1)
        m_state = std::make_shared<State>(*m_state);
    return *m_state;
}

void Metadata::setExif(ByteSpan tiff)
{
    edit().exif.assign(tiff.begin(), tiff.end());
}

void Metadata::setExifFromTiffFile(ByteSpan file)
{
    edit().exif = exifFromTiffFile(file);
}

void Metadata::setIptc(ByteSpan iim)
{
    edit().iptc.assign(iim.begin(), iim.end());
}

void Metadata::setXmp(std::string_view packet)
{
    edit().xmp = packet;
}

Bytes Metadata::exif() const
{
    return m_state->exif;
}

Bytes Metadata::iptc() const
{
    return m_state->iptc;
}

std::string Metadata::xmp() const
{
    return m_state->xmp;
}

Bytes Metadata::exifLittleEndian() const
{
    return exifInLittleEndian(m_state->exif);
}

bool Metadata::isEmpty() const
{
    return m_state->exif.empty() && m_state->iptc.empty() && m_state->xmp.empty();
}

void Metadata::describe(PropertyDictionary& properties) const
{
    describeExif(m_state->exif, properties);
    PropertyDictionary iptc;
    describeIptc(m_state->iptc, iptc);
    if (!iptc.empty())
        merge(subDictionary(properties, key::kIptc), iptc);
}

bool Metadata::apply(PropertyChanges const& changes)
{
    ExifEditor editor(m_state->exif);
    bool exifEdited = false;
    bool iptcEdited = false;
    for (auto const& change : changes) {
        for (auto const& [key, directory] : kDictionaries) {
            if (change.dictionary == key)
                exifEdited |= applyToExif(editor, directory, change);
        }
        if (change.dictionary != key::kIptc)
            continue;
        if (auto edited = editIptc(m_state->iptc, change.key, change.value ? &*change.value : nullptr)) {
            edit().iptc = std::move(*edited);
            iptcEdited = true;
        }
    }
    auto const turnedBefore = orientation();
    if (exifEdited)
        edit().replaceExif(editor.finish());
    if (orientation() != turnedBefore && !m_state->xmp.empty())
        setXmpInteger(edit().xmp, "tiff:Orientation", orientation());
    return exifEdited || iptcEdited;
}

std::optional<Resolution> Metadata::resolution() const
{
    auto const block = ExifBlock::parse(m_state->exif);
    if (!block)
        return std::nullopt;
    auto const number = [&](std::uint16_t tag) -> std::optional<double> {
        auto const value = block->value(Image, tag);
        auto const result = value ? exifNumber(*value, 0, block->order()) : std::nullopt;
        return result && std::isfinite(*result) && *result > 0 ? result : std::nullopt;
    };
    auto const unit = block->integer(Image, tag::kResolutionUnit).value_or(kUnitInch);
    auto const x = number(tag::kXResolution);
    auto const y = number(tag::kYResolution);
    if ((!x && !y) || (unit != kUnitInch && unit != kUnitCentimetre))
        return std::nullopt;
    auto const scale = unit == kUnitCentimetre ? kCentimetresPerInch : 1;
    return Resolution {(x ? *x : *y) * scale, (y ? *y : *x) * scale};
}

void Metadata::setResolution(Resolution resolution)
{
    ExifEditor editor(m_state->exif);
    auto const x = exifRational(resolution.x, ExifType::Rational, editor.order());
    auto const y = exifRational(resolution.y, ExifType::Rational, editor.order());
    if (!x || !y)
        return;
    editor.set(Image, tag::kXResolution, *x);
    editor.set(Image, tag::kYResolution, *y);
    editor.setInteger(Image, tag::kResolutionUnit, ExifType::Short, kUnitInch);
    edit().replaceExif(editor.finish());
}

int Metadata::orientation() const
{
    auto const block = ExifBlock::parse(m_state->exif);
    auto const value = block ? block->integer(Image, tag::kOrientation) : std::nullopt;
    return isOrientation(value) ? static_cast<int>(*value) : 1;
}

void Metadata::setOrientation(int orientation)
{
    auto const block = ExifBlock::parse(m_state->exif);
    bool const isSet = block && block->value(Image, tag::kOrientation);
    auto const number = static_cast<std::uint32_t>(orientation);
    // Upright is what no tag means, too.
    if (isSet || orientation != 1) {
        ExifEditor editor(m_state->exif);
        editor.setInteger(Image, tag::kOrientation, ExifType::Short, number);
        if (block)
            update(*block, editor, Preview, tag::kOrientation, number);
        edit().replaceExif(editor.finish());
    }
    if (!m_state->xmp.empty())
        setXmpInteger(edit().xmp, "tiff:Orientation", orientation);
}

void Metadata::setPixelSize(graphics::Size size)
{
    if (auto const block = ExifBlock::parse(m_state->exif)) {
        ExifEditor editor(m_state->exif);
        for (auto const& row : kSizeTags)
            update(*block, editor, row.directory, row.tag, static_cast<std::uint32_t>(size.*row.side));
        edit().replaceExif(editor.finish());
    }
    if (m_state->xmp.empty())
        return;
    for (auto const& row : kXmpSizes)
        setXmpInteger(edit().xmp, row.property, size.*row.side);
}

Bytes Metadata::preview() const
{
    auto const block = ExifBlock::parse(m_state->exif);
    auto const jpeg = block ? block->preview() : ByteSpan();
    return startsWith(jpeg, "\xFF\xD8") ? Bytes(jpeg.begin(), jpeg.end()) : Bytes();
}

void Metadata::setPreview(ByteSpan jpeg)
{
    ExifEditor editor(m_state->exif);
    editor.setPreview(jpeg);
    edit().replaceExif(editor.finish());
}

} // namespace velk::codec
