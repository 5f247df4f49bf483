#include "base/TextEncoding.h"
#include "platform/text/FontCatalog.h"
#include "platform/text/Shaping.h"

#include <hb.h>
#include <pango/pangofc-font.h>
#include <pango/pangofc-fontmap.h>
#include <pango/pangoft2.h>

#include <algorithm>
#include <map>
#include <memory>

namespace velk::text {

namespace {

/// Pango counts in whole numbers at a size; everything is shaped at this one and scaled.
constexpr int kEm = 64 * PANGO_SCALE;

template <auto Release> struct Releaser {
    template <typename T> void operator()(T* object) const { Release(object); }
};
using Run = std::unique_ptr<PangoItem, Releaser<pango_item_free>>;
using GlyphString = std::unique_ptr<PangoGlyphString, Releaser<pango_glyph_string_free>>;

void useOutlinesAsDesigned(FcPattern* pattern, void*)
{
    FcPatternDel(pattern, FC_HINTING);
    FcPatternAddBool(pattern, FC_HINTING, FcFalse);
}

PangoContext* makeContext()
{
    auto* const map = pango_ft2_font_map_new();
    pango_fc_font_map_set_default_substitute(PANGO_FC_FONT_MAP(map), useOutlinesAsDesigned, nullptr, nullptr);
    auto* const context = pango_font_map_create_context(map);
    g_object_unref(map);
    pango_context_set_round_glyph_positions(context, FALSE);
    // A picture does not depend on the language of the machine that drew it.
    pango_context_set_language(context, pango_language_from_string("en"));
    return context;
}

PangoFontDescription* makeDescription(Face const& face)
{
    auto* const description = pango_fc_font_description_from_pattern(face.pattern(), FALSE);
    pango_font_description_set_absolute_size(description, kEm);
    return description;
}

/// The context that lays out in `face`, made when the first text asks for it.
PangoContext* contextFor(Face const& face)
{
    static auto* const context = makeContext();
    static std::map<Face const*, PangoFontDescription*> descriptions;
    auto& description = descriptions[&face];
    if (description == nullptr)
        description = makeDescription(face);
    pango_context_set_font_description(context, description);
    return context;
}

/// Runs of one font, script and direction in the order in which they are read. The first letter that has a
/// direction gives the line its own.
std::vector<Run> logicalRuns(std::string const& text, PangoContext* context)
{
    static auto* const noAttributes = pango_attr_list_new();
    auto* const list = pango_itemize_with_base_dir(context, PANGO_DIRECTION_WEAK_LTR, text.data(), 0,
        static_cast<int>(text.size()), noAttributes, nullptr);
    std::vector<Run> runs;
    for (auto const* node = list; node != nullptr; node = node->next)
        runs.emplace_back(static_cast<PangoItem*>(node->data));
    g_list_free(list);
    return runs;
}

/// Turns around each longest row of runs whose level is at least `level`.
void reverseFromLevel(std::vector<Run>& runs, int level)
{
    auto const isInner = [&](Run const& run) { return run->analysis.level >= level; };
    for (auto first = runs.begin(); (first = std::find_if(first, runs.end(), isInner)) != runs.end();) {
        auto const last = std::find_if_not(first, runs.end(), isInner);
        std::reverse(first, last);
        first = last;
    }
}

/// From left to right as they are seen (UAX #9, rule L2). Pango's own function for this takes time that grows
/// with the square of the number of runs.
void putInVisualOrder(std::vector<Run>& runs)
{
    int highest = 0;
    for (auto const& run : runs)
        highest = std::max<int>(highest, run->analysis.level);
    for (auto level = highest; level > 0; --level)
        reverseFromLevel(runs, level);
}

/// The face that shows a box for missing glyphs: some leave them blank.
Face const& faceOfMissing(Face const& face)
{
    auto const* const usual = face.outline(kMissingGlyph, 1).isEmpty() ? anyFace() : nullptr;
    return usual ? *usual : face;
}

double advanceOf(Face const& face, GlyphIndex glyph)
{
    return hb_font_get_glyph_h_advance(face.shaper(), glyph) / face.unitsPerEm();
}

double ems(int pangoUnits)
{
    return static_cast<double>(pangoUnits) / kEm;
}

/// Appends shaped runs to a line.
class LineBuilder {
public:
    LineBuilder(std::string const& text, Face const& faceOfMissing)
        : m_text(text)
        , m_faceOfMissing(faceOfMissing)
    {
    }

    void append(PangoItem const& run)
    {
        pango_shape_full(m_text.data() + run.offset, run.length, m_text.data(),
            static_cast<int>(m_text.size()), &run.analysis, m_shaped.get());
        auto const* const runFace = faceOf(run.analysis.font);
        for (int i = 0; i < m_shaped->num_glyphs; ++i)
            append(m_shaped->glyphs[i], runFace);
    }

    std::vector<ShapedGlyph> take() { return std::move(m_glyphs); }

private:
    static Face const* faceOf(PangoFont* font)
    {
        return font ? Face::of(pango_fc_font_get_pattern(PANGO_FC_FONT(font))) : nullptr;
    }

    void append(PangoGlyphInfo const& info, Face const* runFace)
    {
        if (info.glyph == PANGO_GLYPH_EMPTY) {
            m_x += ems(info.geometry.width);
        } else if ((info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0 || runFace == nullptr) {
            m_glyphs.push_back({&m_faceOfMissing, kMissingGlyph, {m_x, 0}});
            m_x += advanceOf(m_faceOfMissing, kMissingGlyph);
        } else {
            auto const& at = info.geometry;
            m_glyphs.push_back({runFace, info.glyph, {m_x + ems(at.x_offset), -ems(at.y_offset)}});
            m_x += ems(at.width);
        }
    }

    std::string const& m_text;
    Face const& m_faceOfMissing;
    GlyphString m_shaped {pango_glyph_string_new()};
    std::vector<ShapedGlyph> m_glyphs;
    double m_x = 0;
};

std::string utf8(std::u32string_view text)
{
    std::string encoded;
    for (auto const character : text)
        appendUtf8(encoded, character);
    return encoded;
}

} // namespace

std::vector<ShapedGlyph> shapeAny(std::u32string_view text, Face const& face)
{
    if (text.empty())
        return {};
    auto const encoded = utf8(text);
    auto runs = logicalRuns(encoded, contextFor(face));
    putInVisualOrder(runs);
    LineBuilder line(encoded, faceOfMissing(face));
    for (auto const& run : runs)
        line.append(*run);
    return line.take();
}

} // namespace velk::text
