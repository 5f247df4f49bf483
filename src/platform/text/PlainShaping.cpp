#include "platform/text/Shaping.h"

#include <hb.h>

#include <algorithm>
#include <span>

namespace velk::text {

namespace {

struct CharacterRange {
    char32_t first, last;
};

/// Latin letters and what stands between them: left to right, one glyph of one font each, nothing that
/// combines, hides or asks for colour.
constexpr CharacterRange kPlain[] = {
    {0x20, 0x7E},
    {0xA0, 0xAC},
    {0xAE, 0x24F},
    {0x1E00, 0x1EFF},
    {0x2010, 0x2027},
    {0x2030, 0x203A},
    {0x20A0, 0x20BF},
};

bool isPlain(char32_t character)
{
    return std::ranges::any_of(kPlain,
        [&](CharacterRange const& range) { return character >= range.first && character <= range.last; });
}

/// One buffer for all lines: it keeps its memory.
hb_buffer_t* filledBuffer(std::u32string_view text)
{
    static auto* const buffer = hb_buffer_create();
    static auto const language = hb_language_from_string("en", -1);
    hb_buffer_reset(buffer);
    auto const* const characters = reinterpret_cast<std::uint32_t const*>(text.data());
    auto const length = static_cast<int>(text.size());
    hb_buffer_add_codepoints(buffer, characters, length, 0, length);
    hb_buffer_set_direction(buffer, HB_DIRECTION_LTR);
    hb_buffer_set_language(buffer, language);
    hb_buffer_guess_segment_properties(buffer);
    return buffer;
}

std::vector<ShapedGlyph> placed(
    std::span<hb_glyph_info_t const> infos, std::span<hb_glyph_position_t const> positions, Face const& face)
{
    std::vector<ShapedGlyph> glyphs;
    glyphs.reserve(infos.size());
    auto const em = face.unitsPerEm();
    double x = 0;
    for (std::size_t i = 0; i < infos.size(); ++i) {
        auto const& position = positions[i];
        glyphs.push_back({&face, infos[i].codepoint, {(x + position.x_offset) / em, position.y_offset / em}});
        x += position.x_advance;
    }
    return glyphs;
}

} // namespace

std::optional<std::vector<ShapedGlyph>> shapePlain(std::u32string_view text, Face const& face)
{
    if (!std::ranges::all_of(text, isPlain))
        return std::nullopt;
    auto* const buffer = filledBuffer(text);
    hb_shape(face.shaper(), buffer, nullptr, 0);
    auto const count = hb_buffer_get_length(buffer);
    std::span const infos(hb_buffer_get_glyph_infos(buffer, nullptr), count);
    if (std::ranges::any_of(
            infos, [](hb_glyph_info_t const& info) { return info.codepoint == kMissingGlyph; }))
        return std::nullopt;
    return placed(infos, {hb_buffer_get_glyph_positions(buffer, nullptr), count}, face);
}

} // namespace velk::text
