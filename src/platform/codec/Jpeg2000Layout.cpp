#include "platform/codec/Jpeg2000Layout.h"

#include "platform/color/IccProfile.h"

#include <algorithm>
#include <cmath>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr double kFullRange16 = 65535;
// 16-bit encoding of a and b (ICC.1:2022, 6.3.4.2).
constexpr double kLabStep = 257, kLabZero = 128;

/// Which channels are colours and which is alpha, by their number.
struct ChannelRoles {
    std::vector<int> colors;
    std::optional<int> alpha;
    Alpha alphaKind = Alpha::None;
};

std::vector<Jp2Channel> channelsOf(Jp2Contents const& contents)
{
    if (contents.palette && !contents.channels.empty())
        return contents.channels;
    std::vector<Jp2Channel> channels;
    for (std::size_t i = 0; i < contents.codestream.components.size(); ++i)
        channels.push_back({.component = static_cast<int>(i)});
    return channels;
}

bool isValid(Jp2Channel const& channel, Jp2Contents const& contents)
{
    if (static_cast<std::size_t>(channel.component) >= contents.codestream.components.size())
        return false;
    return !channel.paletteColumn
        || static_cast<std::size_t>(*channel.paletteColumn) < contents.palette->columns.size();
}

ChannelRoles definedRoles(std::vector<Jp2ChannelDefinition> definitions, int channelCount)
{
    ChannelRoles roles;
    std::erase_if(definitions, [=](auto const& definition) { return definition.channel >= channelCount; });
    std::ranges::stable_sort(definitions, {}, &Jp2ChannelDefinition::association);
    for (auto const& definition : definitions) {
        if (definition.type == Jp2ChannelDefinition::Color) {
            roles.colors.push_back(definition.channel);
        } else if (definition.type <= Jp2ChannelDefinition::PremultipliedOpacity && !roles.alpha) {
            roles.alpha = definition.channel;
            roles.alphaKind =
                definition.type == Jp2ChannelDefinition::Opacity ? Alpha::Straight : Alpha::Premultiplied;
        }
    }
    return roles;
}

ChannelRoles rolesOf(Jp2Contents const& contents, int channelCount)
{
    auto roles = definedRoles(contents.definitions, channelCount);
    if (!roles.colors.empty())
        return roles;
    roles = {};
    for (int i = 0; i < channelCount; ++i)
        roles.colors.push_back(i);
    if (contents.isRaw && (channelCount == 2 || channelCount == 4)) {
        roles.alpha = roles.colors.back();
        roles.alphaKind = Alpha::Straight;
        roles.colors.pop_back();
    }
    return roles;
}

std::optional<ColorModel> statedModel(Jp2Contents const& contents)
{
    constexpr struct {
        std::uint32_t space;
        ColorModel model;
    } kModels[] = {
        {jp2::kSrgb, ColorModel::RGB},
        {jp2::kGrey, ColorModel::Gray},
        {jp2::kSycc, ColorModel::RGB},
        {jp2::kCmyk, ColorModel::CMYK},
        {jp2::kCieLab, ColorModel::Lab},
    };
    if (auto const model = color::profileColorModel(contents.profile))
        return model;
    for (auto const& row : kModels) {
        if (row.space == contents.enumeratedSpace)
            return row.model;
    }
    return std::nullopt;
}

ColorModel modelOf(Jp2Contents const& contents, ChannelRoles const& roles)
{
    auto const stated = statedModel(contents);
    if (stated && static_cast<std::size_t>(channelCount(*stated)) <= roles.colors.size())
        return *stated;
    return roles.colors.size() < 3 ? ColorModel::Gray : ColorModel::RGB;
}

bool isYcc(Jp2Contents const& contents, ChannelRoles const& roles)
{
    if (contents.enumeratedSpace == jp2::kSycc)
        return contents.profile.empty();
    // Nobody subsamples red or blue.
    auto const& components = contents.codestream.components;
    return contents.isRaw && roles.colors.size() == 3 && components[0].stepX == 1
        && (components[1].stepX > 1 || components[1].stepY > 1);
}

int bitsOf(Jp2Channel const& channel, Jp2Contents const& contents)
{
    return channel.paletteColumn
        ? contents.palette->columns[static_cast<std::size_t>(*channel.paletteColumn)].bits
        : contents.codestream.components[static_cast<std::size_t>(channel.component)].bits;
}

std::uint16_t scaled(double value, double from, double to)
{
    return static_cast<std::uint16_t>(std::lround(std::clamp(value / from, 0.0, 1.0) * to));
}

// What the samples of a component, counted from 0, become.
Jpeg2000Plane planeFor(Jp2Channel const& channel, Jp2Contents const& contents, double fullRange)
{
    auto const& component = contents.codestream.components[static_cast<std::size_t>(channel.component)];
    Jpeg2000Plane plane {
        .component = channel.component, .offset = component.isSigned ? 1 << (component.bits - 1) : 0};
    auto const count = 1 << component.bits;
    auto const largest = (1 << bitsOf(channel, contents)) - 1;
    plane.values.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto value = i;
        if (channel.paletteColumn) {
            auto const& values =
                contents.palette->columns[static_cast<std::size_t>(*channel.paletteColumn)].values;
            value = values[std::min(static_cast<std::size_t>(i), values.size() - 1)];
        }
        plane.values.push_back(scaled(value, largest, fullRange));
    }
    return plane;
}

// The ranges that hold when the file states none.
Jp2LabRange defaultLabRange(std::size_t index, int bits)
{
    auto const half = std::exp2(bits - 1);
    Jp2LabRange const ranges[] = {{100, 0}, {170, half}, {200, half / 2 + half / 4}};
    return ranges[index];
}

// Recodes L, a or b as ICC does.
void recodeLab(Jpeg2000Plane& plane, std::size_t index, Jp2Contents const& contents)
{
    auto const bits = contents.codestream.components[static_cast<std::size_t>(plane.component)].bits;
    auto const range = contents.labRanges ? (*contents.labRanges)[index] : defaultLabRange(index, bits);
    auto const largest = std::exp2(bits) - 1;
    for (std::size_t i = 0; i < plane.values.size(); ++i) {
        auto const value = (static_cast<double>(i) - range.offset) * range.range / largest;
        plane.values[i] = index == 0 ? scaled(value, 100, kFullRange16)
                                     : scaled((value + kLabZero) * kLabStep, kFullRange16, kFullRange16);
    }
}

} // namespace

Result<Jpeg2000Layout> jpeg2000LayoutOf(Jp2Contents const& contents)
{
    auto const channels = channelsOf(contents);
    if (!std::ranges::all_of(channels, [&](auto const& channel) { return isValid(channel, contents); }))
        return fail("the JPEG 2000 palette is damaged");
    auto roles = rolesOf(contents, static_cast<int>(channels.size()));

    Jpeg2000Layout layout;
    layout.format.model = modelOf(contents, roles);
    layout.format.alpha = roles.alphaKind;
    layout.isYcc = layout.format.model == ColorModel::RGB && isYcc(contents, roles);
    roles.colors.resize(static_cast<std::size_t>(layout.format.colorChannels()));
    auto const channel = [&](int number) { return channels[static_cast<std::size_t>(number)]; };
    auto const bits = [&](int number) { return bitsOf(channel(number), contents); };
    layout.bitsPerComponent = bits(*std::ranges::max_element(roles.colors, {}, bits));

    // Lab has to be recoded, which takes more than 8 bits.
    bool const isLab = layout.format.model == ColorModel::Lab && contents.profile.empty();
    auto used = roles.colors;
    if (roles.alpha)
        used.push_back(*roles.alpha);
    bool const isDeep = isLab || std::ranges::any_of(used, [&](int number) { return bits(number) > 8; });
    layout.format.componentType = isDeep ? ComponentType::UInt16 : ComponentType::UInt8;
    for (auto const number : used)
        layout.planes.push_back(planeFor(channel(number), contents, isDeep ? kFullRange16 : 255));
    for (std::size_t i = 0; isLab && i < 3; ++i)
        recodeLab(layout.planes[i], i, contents);
    return layout;
}

} // namespace velk::codec
