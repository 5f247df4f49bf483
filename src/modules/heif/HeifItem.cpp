#include "modules/heif/HeifItem.h"

#include "modules/heif/HeifBoxes.h"

#include <algorithm>

namespace velk::codec::heif {

namespace {

constexpr int kMaximumDerivations = 4;

// Numbers, from 1 on, of an item's properties (ISO/IEC 23008-12, 9.3.3).
std::vector<std::size_t> propertiesOf(std::uint32_t wanted, ByteSpan iprp)
{
    std::vector<std::size_t> properties;
    BoxFields fields(contentOf(iprp, FourCC("ipma")));
    auto const header = fields.fullBoxHeader();
    auto const entries = fields.number(4);
    for (std::uint64_t entry = 0; entry < entries && fields.isValid(); ++entry) {
        auto const item = fields.number(header.version == 0 ? 2 : 4);
        auto const count = fields.number(1);
        for (std::uint64_t i = 0; i < count; ++i) {
            bool const isWide = header.flags & 1;
            auto const number = fields.number(isWide ? 2 : 1) & (isWide ? 0x7FFF : 0x7F);
            if (item == wanted && fields.isValid())
                properties.push_back(static_cast<std::size_t>(number));
        }
    }
    return properties;
}

// The first of the images that an image is derived from (ISO/IEC 23008-12, 6.6).
std::optional<std::uint32_t> firstInput(std::uint32_t item, ByteSpan meta)
{
    auto const iref = contentOf(meta, FourCC("iref"));
    BoxFields header(iref);
    auto const bytes = header.fullBoxHeader().version == 0 ? 2u : 4u;
    for (auto const& reference : childBoxes(header.rest())) {
        BoxFields fields(reference.content);
        auto const from = fields.number(bytes);
        auto const count = fields.number(2);
        auto const to = fields.number(bytes);
        if (reference.type == FourCC("dimg") && from == item && count > 0 && fields.isValid())
            return static_cast<std::uint32_t>(to);
    }
    return std::nullopt;
}

CodedChroma hevcChroma(ByteSpan configuration)
{
    constexpr std::size_t kFormat = 16;
    constexpr CodedChroma kFormats[] = {
        CodedChroma::Monochrome, CodedChroma::Halved, CodedChroma::HalvedWidth, CodedChroma::Full};
    return configuration.size() > kFormat ? kFormats[configuration[kFormat] & 3] : CodedChroma::Unknown;
}

CodedChroma av1Chroma(ByteSpan configuration)
{
    constexpr std::size_t kFlags = 2;
    constexpr std::uint8_t kMonochrome = 0x10, kHalfWidth = 0x08, kHalfHeight = 0x04;
    if (configuration.size() <= kFlags)
        return CodedChroma::Unknown;
    auto const flags = configuration[kFlags];
    return flags & kMonochrome ? CodedChroma::Monochrome
        : flags & kHalfHeight  ? CodedChroma::Halved
        : flags & kHalfWidth   ? CodedChroma::HalvedWidth
                               : CodedChroma::Full;
}

CodedChroma chromaOf(std::uint32_t item, ByteSpan iprp)
{
    auto const all = childBoxes(contentOf(iprp, FourCC("ipco")));
    for (auto const number : propertiesOf(item, iprp)) {
        if (number == 0 || number > all.size())
            continue;
        auto const& property = all[number - 1];
        if (property.type == FourCC("hvcC"))
            return hevcChroma(property.content);
        if (property.type == FourCC("av1C"))
            return av1Chroma(property.content);
    }
    return CodedChroma::Unknown;
}

} // namespace

std::optional<std::uint32_t> primaryItem(ByteSpan meta)
{
    BoxFields fields(contentOf(meta, FourCC("pitm")));
    auto const version = fields.fullBoxHeader().version;
    auto const item = fields.number(version == 0 ? 2 : 4);
    return fields.isValid() ? std::optional(static_cast<std::uint32_t>(item)) : std::nullopt;
}

Result<CodedChroma> chromaOf(InputFile const& file)
{
    auto const boxes = TRY(topLevelBoxes(file));
    auto const found = std::ranges::find(boxes, FourCC("meta"), &TopLevelBox::type);
    if (found == boxes.end())
        return CodedChroma::Unknown;
    auto const content = TRY(readContent(file, *found));
    BoxFields fields(content);
    fields.fullBoxHeader();
    auto const meta = fields.rest();
    auto const iprp = contentOf(meta, FourCC("iprp"));
    auto item = primaryItem(meta);
    for (int depth = 0; item && depth < kMaximumDerivations; ++depth) {
        if (auto const chroma = chromaOf(*item, iprp); chroma != CodedChroma::Unknown)
            return chroma;
        item = firstInput(*item, meta);
    }
    return CodedChroma::Unknown;
}

} // namespace velk::codec::heif
