#include "platform/text/Face.h"

#include <fontconfig/fontconfig.h>
#include <hb-ot.h>
#include <hb.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velk::text {

namespace {

/// A face as fontconfig names it.
struct FaceSource {
    std::string file;
    /// The face in a collection; above bit 16 the named instance of a variable font, counted from 1.
    unsigned index = 0;
    /// "wght=700,wdth=75"
    std::string variations;
    /// A regular face that stands in for a bold one calls itself bold, so its pattern is no name of it.
    int weight = 0, slant = 0;

    auto operator<=>(FaceSource const&) const = default;
};

/// In place of an instance: the variable font itself.
constexpr unsigned kNoInstance = 0x8000;

std::string stringOf(FcPattern* pattern, char const* object)
{
    FcChar8* text = nullptr;
    if (FcPatternGetString(pattern, object, 0, &text) != FcResultMatch)
        return {};
    return reinterpret_cast<char const*>(text);
}

int integerOf(FcPattern* pattern, char const* object)
{
    int value = 0;
    FcPatternGetInteger(pattern, object, 0, &value);
    return value;
}

FaceSource sourceOf(FcPattern* pattern)
{
    return {
        .file = stringOf(pattern, FC_FILE),
        .index = static_cast<unsigned>(integerOf(pattern, FC_INDEX)),
        .variations = stringOf(pattern, FC_FONT_VARIATIONS),
        .weight = integerOf(pattern, FC_WEIGHT),
        .slant = integerOf(pattern, FC_SLANT),
    };
}

std::vector<hb_variation_t> parsedVariations(std::string_view list)
{
    std::vector<hb_variation_t> variations;
    while (!list.empty()) {
        auto const entry = list.substr(0, list.find(','));
        hb_variation_t variation;
        if (hb_variation_from_string(entry.data(), static_cast<int>(entry.size()), &variation))
            variations.push_back(variation);
        list.remove_prefix(std::min(list.size(), entry.size() + 1));
    }
    return variations;
}

void applyVariations(hb_font_t* font, FaceSource const& source)
{
    if (auto const instance = source.index >> 16; instance > 0 && instance != kNoInstance)
        hb_font_set_var_named_instance(font, instance - 1);
    if (auto const variations = parsedVariations(source.variations); !variations.empty())
        hb_font_set_variations(font, variations.data(), static_cast<unsigned>(variations.size()));
}

/// Null when there is no font in the file.
hb_font_t* openShaper(FaceSource const& source)
{
    auto* const blob = hb_blob_create_from_file(source.file.c_str());
    auto* const face = hb_face_create(blob, source.index & 0xFFFF);
    hb_blob_destroy(blob);
    hb_font_t* font = nullptr;
    if (hb_face_get_glyph_count(face) > 0) {
        font = hb_font_create(face);
        applyVariations(font, source);
    }
    hb_face_destroy(face);
    return font;
}

/// What HarfBuzz draws a glyph with.
struct Pen {
    graphics::Path path;
    double scale;

    graphics::Point at(float x, float y) const { return {x * scale, y * scale}; }
};

Pen& penOf(void* drawing)
{
    return *static_cast<Pen*>(drawing);
}

void moveTo(hb_draw_funcs_t*, void* drawing, hb_draw_state_t*, float x, float y, void*)
{
    auto& pen = penOf(drawing);
    pen.path.moveTo(pen.at(x, y));
}

void lineTo(hb_draw_funcs_t*, void* drawing, hb_draw_state_t*, float x, float y, void*)
{
    auto& pen = penOf(drawing);
    pen.path.lineTo(pen.at(x, y));
}

void quadTo(hb_draw_funcs_t*, void* drawing, hb_draw_state_t*, float cx, float cy, float x, float y, void*)
{
    auto& pen = penOf(drawing);
    pen.path.quadTo(pen.at(cx, cy), pen.at(x, y));
}

void cubicTo(hb_draw_funcs_t*, void* drawing, hb_draw_state_t*, float c1x, float c1y, float c2x, float c2y,
    float x, float y, void*)
{
    auto& pen = penOf(drawing);
    pen.path.cubicTo(pen.at(c1x, c1y), pen.at(c2x, c2y), pen.at(x, y));
}

void closePath(hb_draw_funcs_t*, void* drawing, hb_draw_state_t*, void*)
{
    penOf(drawing).path.close();
}

hb_draw_funcs_t* makePenFunctions()
{
    auto* const functions = hb_draw_funcs_create();
    hb_draw_funcs_set_move_to_func(functions, moveTo, nullptr, nullptr);
    hb_draw_funcs_set_line_to_func(functions, lineTo, nullptr, nullptr);
    hb_draw_funcs_set_quadratic_to_func(functions, quadTo, nullptr, nullptr);
    hb_draw_funcs_set_cubic_to_func(functions, cubicTo, nullptr, nullptr);
    hb_draw_funcs_set_close_path_func(functions, closePath, nullptr, nullptr);
    hb_draw_funcs_make_immutable(functions);
    return functions;
}

void draw(hb_font_t* font, GlyphIndex glyph, Pen& pen)
{
    static auto* const functions = makePenFunctions();
#if HB_VERSION_ATLEAST(7, 0, 0)
    hb_font_draw_glyph(font, glyph, functions, &pen);
#else
    hb_font_get_glyph_shape(font, glyph, functions, &pen);
#endif
}

} // namespace

void Face::PatternRelease::operator()(FcPattern* pattern) const
{
    FcPatternDestroy(pattern);
}

void Face::ShaperRelease::operator()(hb_font_t* font) const
{
    hb_font_destroy(font);
}

Face::Face(FcPattern* pattern)
    : m_shaper(openShaper(sourceOf(pattern)))
{
    FcPatternReference(pattern);
    m_pattern.reset(pattern);
    // A font without scale set measures in font units.
    if (m_shaper)
        m_unitsPerEm = hb_face_get_upem(hb_font_get_face(m_shaper.get()));
}

Face const* Face::of(FcPattern* pattern)
{
    static std::map<FaceSource, std::unique_ptr<Face>> faces;
    auto& face = faces[sourceOf(pattern)];
    if (!face)
        face.reset(new Face(pattern));
    return face->m_shaper ? face.get() : nullptr;
}

graphics::Path Face::outline(GlyphIndex glyph, double size) const
{
    Pen pen {.path = {}, .scale = size / m_unitsPerEm};
    draw(m_shaper.get(), glyph, pen);
    return std::move(pen.path);
}

} // namespace velk::text
