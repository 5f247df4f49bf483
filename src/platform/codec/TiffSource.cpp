#include "platform/codec/TiffSource.h"

#include "platform/codec/PropertyKeys.h"
#include "platform/codec/TiffMetadata.h"
#include "platform/codec/TiffReader.h"

#include <algorithm>
#include <cmath>

namespace velk::codec::tiff {

using namespace graphics;

namespace {

struct NamedTag {
    std::string_view key;
    std::uint16_t tag;
};
constexpr std::array kIntegerTags = {
    NamedTag {"Compression", tag::kCompression},
    NamedTag {"PhotometricInterpretation", tag::kPhotometric},
    NamedTag {"PlanarConfiguration", tag::kPlanarConfiguration},
    NamedTag {"Orientation", tag::kOrientation},
    NamedTag {"ResolutionUnit", tag::kResolutionUnit},
    NamedTag {"SamplesPerPixel", tag::kSamplesPerPixel},
    NamedTag {"TileWidth", tag::kTileWidth},
    NamedTag {"TileLength", tag::kTileLength},
};
constexpr std::array kNumberTags = {
    NamedTag {"WhitePoint", tag::kWhitePoint},
    NamedTag {"PrimaryChromaticities", tag::kPrimaryChromaticities},
};
constexpr std::array kTextTags = {
    NamedTag {"ImageDescription", tag::kImageDescription},
    NamedTag {"Make", tag::kMake},
    NamedTag {"Model", tag::kModel},
    NamedTag {"Software", tag::kSoftware},
    NamedTag {"DateTime", tag::kDateTime},
    NamedTag {"Artist", tag::kArtist},
    NamedTag {"HostComputer", tag::kHostComputer},
    NamedTag {"Copyright", tag::kCopyright},
};

constexpr std::uint64_t kMostNumbers = 6;

bool isSane(double resolution)
{
    return std::isfinite(resolution) && resolution > 0;
}

} // namespace

Result<std::shared_ptr<ImageSource>> TiffSource::open(InputFile file)
{
    auto source = std::make_shared<TiffSource>(std::move(file));
    TRY(source->describe());
    return source;
}

Result<void> TiffSource::describe()
{
    m_reader = TRY(DirectoryReader::open(file()));
    if (m_reader->firstDirectory() == 0)
        return fail("the TIFF file holds no image");
    m_directory = TRY(m_reader->directory(m_reader->firstDirectory()));
    m_structure = TRY(readStructure(*m_reader, m_directory));
    m_plan = TRY(planPixels(*m_reader, m_directory, m_structure));

    auto const model = m_plan.format.model;
    auto space = colorSpaceWithProfile(
        model == ColorModel::Indexed ? ColorModel::RGB : model, readProfile(*m_reader, m_directory));
    if (m_plan.palette)
        space = ColorSpace::indexed(space, *m_plan.palette);
    auto& description = this->editDescription();
    description.info = {{m_structure.size, m_plan.format, std::move(space)}, m_plan.bitsPerComponent};
    description.imageCount = countImages();
    describeMetadata();
    describeProperties();
    describeResolution();
    return {};
}

void TiffSource::describeMetadata()
{
    editDescription().metadata = readMetadata(file(), *m_reader, m_directory);
}

void TiffSource::describeProperties()
{
    auto& tiff = subDictionary(editDescription().formatProperties, key::kTiff);
    set(tiff, "Compression", m_structure.compression);
    set(tiff, "PhotometricInterpretation", static_cast<int>(m_structure.photometric));
    set(tiff, "PlanarConfiguration", m_structure.isPlanar ? 2 : 1);
    for (auto const& [key, tag] : kIntegerTags) {
        if (auto const value = m_reader->integer(m_directory.find(tag)))
            set(tiff, key, static_cast<std::int64_t>(*value));
    }
    for (auto const& [key, tag] : kNumberTags) {
        PropertyArray numbers;
        for (auto const number : m_reader->numbers(m_directory.find(tag), kMostNumbers))
            numbers.emplace_back(number);
        if (!numbers.empty())
            set(tiff, key, std::move(numbers));
    }
    for (auto const& [key, tag] : kTextTags) {
        if (auto text = m_reader->text(m_directory.find(tag)); !text.empty())
            set(tiff, key, std::move(text));
    }
}

void TiffSource::describeResolution()
{
    constexpr std::uint64_t kCentimetre = 3, kInch = 2;
    auto const x = m_reader->numbers(m_directory.find(tag::kXResolution), 1);
    auto const y = m_reader->numbers(m_directory.find(tag::kYResolution), 1);
    auto const unit = m_reader->integer(m_directory.find(tag::kResolutionUnit)).value_or(kInch);
    if (x.empty() || y.empty() || (unit != kInch && unit != kCentimetre))
        return;
    auto const scale = unit == kCentimetre ? kCentimetresPerInch : 1;
    if (isSane(x[0] * scale) && isSane(y[0] * scale))
        editDescription().resolution = Resolution {x[0] * scale, y[0] * scale};
}

// Reduced versions and masks of other images in the chain do not count.
int TiffSource::countImages() const
{
    constexpr std::uint64_t kReducedOrMask = 1 | 4;
    constexpr std::uint64_t kOldReduced = 2;
    int count = 0;
    m_reader->forEachDirectory([&](Directory const& directory) {
        auto const type = m_reader->integer(directory.find(tag::kNewSubfileType)).value_or(0);
        auto const oldType = m_reader->integer(directory.find(tag::kSubfileType)).value_or(0);
        count += (type & kReducedOrMask) == 0 && oldType != kOldReduced ? 1 : 0;
    });
    return std::max(count, 1);
}

Result<DecodedRows> TiffSource::open(DecodeRequest const& request) const
{
    return openRows({shared_from_this(), *m_reader, m_directory, m_structure, m_plan, m_hasWarned}, request);
}

} // namespace velk::codec::tiff
