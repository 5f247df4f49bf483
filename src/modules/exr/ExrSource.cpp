#include "modules/exr/ExrSource.h"

#include "base/Reporting.h"
#include "modules/exr/ExrRows.h"
#include "modules/exr/ExrStreams.h"
#include "modules/exr/ExrTags.h"
#include "platform/codec/StoredRows.h"
#include "platform/color/LinearLight.h"

#include <ImfChannelList.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

namespace velk::codec::exr {

using namespace graphics;

namespace {

// Larger sides and tiles only cost the library memory for its tables and buffers.
constexpr int kLongestSide = 1 << 22;
constexpr int kLongestTileSide = 1 << 15;

constexpr std::array<char const*, Imf::NUM_COMPRESSION_METHODS> kCompressionNames = {
    "None", "RLE", "ZIPS", "ZIP", "PIZ", "PXR24", "B44", "B44A", "DWAA", "DWAB"};

// The picture among the channels whose names start with `prefix`; no names when there is none.
PictureChannels channelsOf(Imf::ChannelList const& list, std::string const& prefix, bool isFirstPart)
{
    auto const has = [&](char const* name) { return list.findChannel(prefix + name) != nullptr; };
    PictureChannels channels;
    if (has("R") || has("G") || has("B")) {
        channels.names = {prefix + "R", prefix + "G", prefix + "B"};
    } else if (has("Y")) {
        channels.isLuminanceChroma = isFirstPart && prefix.empty() && has("RY") && has("BY");
        channels.model = channels.isLuminanceChroma ? ColorModel::RGB : ColorModel::Gray;
        channels.names = {"Y"};
        channels.names[0].insert(0, prefix);
    }
    channels.hasAlpha = !channels.names.empty() && has("A");
    if (channels.hasAlpha)
        channels.names.push_back(prefix + "A");
    return channels;
}

// The main layer, else the first that has colours, else the first channel there is, as grey.
PictureChannels pictureChannels(Imf::ChannelList const& list, bool isFirstPart)
{
    auto channels = channelsOf(list, "", isFirstPart);
    std::set<std::string> layers;
    list.layers(layers);
    for (auto layer = layers.begin(); channels.names.empty() && layer != layers.end(); ++layer)
        channels = channelsOf(list, *layer + ".", isFirstPart);
    if (channels.names.empty() && list.begin() != list.end())
        channels = {.model = ColorModel::Gray, .names = {list.begin().name()}};
    channels.isHalf = std::ranges::all_of(channels.names, [&](std::string const& name) {
        auto const* channel = list.findChannel(name);
        return !channel || channel->type == Imf::HALF;
    });
    return channels;
}

bool isFlat(Imf::Header const& header)
{
    return !header.hasType() || !Imf::isDeepData(header.type());
}

std::optional<color::Chromaticities> chromaticitiesIn(Imf::Header const& header)
{
    if (!Imf::hasChromaticities(header))
        return std::nullopt;
    auto const& stored = Imf::chromaticities(header);
    auto const point = [](Imath::V2f const& xy) { return color::Chromaticities::Point {xy.x, xy.y}; };
    color::Chromaticities const result = {
        point(stored.red), point(stored.green), point(stored.blue), point(stored.white)};
    return result.isPossible() ? std::optional(result) : std::nullopt;
}

std::optional<Resolution> resolutionIn(Imf::Header const& header)
{
    if (!Imf::hasXDensity(header))
        return std::nullopt;
    double const x = Imf::xDensity(header);
    double const y = x * header.pixelAspectRatio();
    bool const isPlausible = std::isfinite(x) && std::isfinite(y) && x > 0 && y > 0;
    return isPlausible ? std::optional(Resolution {x, y}) : std::nullopt;
}

std::int64_t sideOf(int first, int last)
{
    return std::int64_t {last} - first + 1;
}

Result<Size> sizeOf(Imath::Box2i const& window)
{
    auto const width = sideOf(window.min.x, window.max.x);
    auto const height = sideOf(window.min.y, window.max.y);
    if (width <= 0 || height <= 0 || width > kLongestSide || height > kLongestSide
        || width * height > kMaximumPixelCount)
        return fail("an image of {} x {} pixels is not possible", width, height);
    return Size {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

} // namespace

ExrSource::ExrSource(InputFile file)
    : ImageSource(kType, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> ExrSource::open(InputFile file)
{
    auto source = std::make_shared<ExrSource>(std::move(file));
    TRY(source->readHeader());
    TRY(source->checkWindows());
    source->describe();
    return source;
}

Result<void> ExrSource::readHeader()
{
    int parts = 0;
    m_part = -1;
    TRY(guarded([&] {
        Imf::Header::setMaxImageSize(kLongestSide, kLongestSide);
        Imf::Header::setMaxTileSize(kLongestTileSide, kLongestTileSide);
        InputStream stream(file());
        Imf::MultiPartInputFile const input(stream, 1, false);
        parts = input.parts();
        for (int part = 0; part < parts && m_part < 0; ++part) {
            if (!isFlat(input.header(part)))
                continue;
            m_part = part;
            m_header = input.header(part);
            m_channels = pictureChannels(m_header.channels(), part == 0);
        }
    }));
    if (m_part < 0)
        return fail("it holds only deep images, which are not supported");
    if (m_channels.names.empty())
        return fail("it has no channels");
    editDescription().imageCount = parts;
    return {};
}

Result<void> ExrSource::checkWindows() const
{
    // No coding makes more than about a thousand bytes of one.
    constexpr std::uint64_t kLargestExpansion = 1024;
    TRY(sizeOf(m_header.displayWindow()));
    auto const data = TRY(sizeOf(m_header.dataWindow()));
    auto const bytes = static_cast<std::uint64_t>(data.pixelCount()) * m_channels.names.size() * 2;
    return checkPixelData(file(), data, 0, {1, bytes / kLargestExpansion});
}

void ExrSource::describe()
{
    auto& description = editDescription();
    auto const space = m_channels.model == ColorModel::Gray
        ? color::linearGraySpace()
        : color::linearRgbSpace(chromaticitiesIn(m_header).value_or(color::kRec709));
    PixelFormat const format = {
        ComponentType::Float32, m_channels.model, m_channels.hasAlpha ? Alpha::Premultiplied : Alpha::None};
    description.info.layout = {*sizeOf(m_header.displayWindow()), format, space};
    description.info.bitsPerComponent = m_channels.isHalf ? 16 : 32;
    description.resolution = resolutionIn(m_header);
    readTags(m_header, description.metadata);

    auto& properties = subDictionary(description.formatProperties, kDictionary);
    auto const compression = static_cast<std::size_t>(m_header.compression());
    if (compression < kCompressionNames.size())
        set(properties, "Compression", kCompressionNames[compression]);
    for (auto attribute = m_header.begin(); attribute != m_header.end(); ++attribute) {
        if (auto const* text = dynamic_cast<Imf::StringAttribute const*>(&attribute.attribute()))
            set(properties, attribute.name(), text->value());
    }
}

Result<DecodedRows> ExrSource::open(DecodeRequest const&) const
{
    return wholeImage(TRY(openRows(std::static_pointer_cast<ExrSource const>(shared_from_this()))));
}

void ExrSource::reportDamage() const
{
    if (!m_reported.exchange(true))
        reportWarning("{}: the image data is damaged or incomplete; missing parts stay blank\n", path());
}

} // namespace velk::codec::exr
