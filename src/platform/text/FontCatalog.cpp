#include "platform/text/FontCatalog.h"

#include "base/Utf8.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace velk::text {

namespace {

struct PatternRelease {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using Pattern = std::unique_ptr<FcPattern, PatternRelease>;

struct Style {
    int weight = FC_WEIGHT_REGULAR;
    int slant = FC_SLANT_ROMAN;
};

constexpr Style kRegular {};
constexpr Style kBold {FC_WEIGHT_BOLD, FC_SLANT_ROMAN};
constexpr Style kItalic {FC_WEIGHT_REGULAR, FC_SLANT_ITALIC};
constexpr Style kBoldItalic {FC_WEIGHT_BOLD, FC_SLANT_ITALIC};

/// What fontconfig and CSS call kinds of fonts; they stand for whatever is configured for them.
constexpr std::string_view kGenericFamilies[] = {
    "serif", "sans-serif", "sans", "monospace", "mono", "cursive", "fantasy", "system-ui"};

/// Families of the same widths that fontconfig ranks only as close to each other.
constexpr std::array<char const*, 2> kTwins[] = {
    {"Helvetica", "Arial"},
    {"Times", "Times New Roman"},
    {"Courier", "Courier New"},
};

/// PostScript names that scripts use wherever they come from, with what stands for them where the fonts
/// themselves are not installed.
struct WellKnownFace {
    std::string_view postScriptName;
    char const* family;
    Style style;
};

constexpr WellKnownFace kWellKnownFaces[] = {
    {"Helvetica-Bold", "Helvetica", kBold},
    {"Helvetica-Oblique", "Helvetica", kItalic},
    {"Helvetica-BoldOblique", "Helvetica", kBoldItalic},
    {"Times-Roman", "Times", kRegular},
    {"Times-Bold", "Times", kBold},
    {"Times-Italic", "Times", kItalic},
    {"Times-BoldItalic", "Times", kBoldItalic},
    {"Courier-Bold", "Courier", kBold},
    {"Courier-Oblique", "Courier", kItalic},
    {"Courier-BoldOblique", "Courier", kBoldItalic},
    {"ArialMT", "Arial", kRegular},
    {"Arial-BoldMT", "Arial", kBold},
    {"Arial-ItalicMT", "Arial", kItalic},
    {"Arial-BoldItalicMT", "Arial", kBoldItalic},
    {"TimesNewRomanPSMT", "Times New Roman", kRegular},
    {"TimesNewRomanPS-BoldMT", "Times New Roman", kBold},
    {"TimesNewRomanPS-ItalicMT", "Times New Roman", kItalic},
    {"TimesNewRomanPS-BoldItalicMT", "Times New Roman", kBoldItalic},
    {"CourierNewPSMT", "Courier New", kRegular},
    {"CourierNewPS-BoldMT", "Courier New", kBold},
    {"CourierNewPS-ItalicMT", "Courier New", kItalic},
    {"CourierNewPS-BoldItalicMT", "Courier New", kBoldItalic},
};

FcChar8 const* fcText(char const* text)
{
    return reinterpret_cast<FcChar8 const*>(text);
}

/// A name as it is compared: without regard to case and blanks, as fontconfig compares families. Font
/// strings of scripts have no place for blanks.
class ComparedName {
public:
    explicit ComparedName(std::string_view name)
    {
        std::ranges::remove_copy(name, std::back_inserter(m_name), ' ');
    }

    bool is(std::string_view other) const
    {
        ComparedName const name(other);
        return FcStrCmpIgnoreCase(fcText(m_name.c_str()), fcText(name.m_name.c_str())) == 0;
    }

private:
    std::string m_name;
};

/// Whether one of the pattern's values of `object` is `name`.
bool hasName(FcPattern* pattern, char const* object, ComparedName const& name)
{
    FcChar8* value = nullptr;
    for (int i = 0; FcPatternGetString(pattern, object, i, &value) == FcResultMatch; ++i) {
        if (name.is(reinterpret_cast<char const*>(value)))
            return true;
    }
    return false;
}

bool isValue(FcPattern* pattern, char const* object, std::string_view value)
{
    FcChar8* text = nullptr;
    return FcPatternGetString(pattern, object, 0, &text) == FcResultMatch
        && value == reinterpret_cast<char const*>(text);
}

/// Whether HarfBuzz reads the format: not bitmaps, Type 1 or compressed fonts of the web.
bool isUsable(FcPattern* font)
{
#ifdef FC_FONT_WRAPPER
    FcChar8* wrapper = nullptr;
    if (FcPatternGetString(font, FC_FONT_WRAPPER, 0, &wrapper) == FcResultMatch
        && !isValue(font, FC_FONT_WRAPPER, "SFNT"))
        return false;
#endif
    return isValue(font, FC_FONTFORMAT, "TrueType") || isValue(font, FC_FONTFORMAT, "CFF");
}

void appendUsable(std::vector<FcPattern*>& fonts, FcFontSet const* set)
{
    if (set != nullptr)
        std::copy_if(set->fonts, set->fonts + set->nfont, std::back_inserter(fonts), isUsable);
}

/// Everything installed, for the life of the process.
std::span<FcPattern* const> usableFonts()
{
    static auto const all = [] {
        std::vector<FcPattern*> fonts;
        if (auto* const config = FcConfigGetCurrent()) {
            appendUsable(fonts, FcConfigGetFonts(config, FcSetSystem));
            appendUsable(fonts, FcConfigGetFonts(config, FcSetApplication));
        }
        return fonts;
    }();
    return all;
}

template <typename Predicate> std::vector<FcPattern*> usableFontsWhere(Predicate predicate)
{
    std::vector<FcPattern*> found;
    std::ranges::copy_if(usableFonts(), std::back_inserter(found), predicate);
    return found;
}

Pattern requestFor(char const* family, Style style)
{
    Pattern request(FcPatternCreate());
    if (family != nullptr)
        FcPatternAddString(request.get(), FC_FAMILY, fcText(family));
    FcPatternAddInteger(request.get(), FC_WEIGHT, style.weight);
    FcPatternAddInteger(request.get(), FC_SLANT, style.slant);
    return request;
}

/// The one of `fonts` that comes closest to the request; null when there are none.
Face const* closest(std::span<FcPattern* const> fonts, FcPattern* request)
{
    std::vector<FcPattern*> members(fonts.begin(), fonts.end());
    FcFontSet set {static_cast<int>(members.size()), static_cast<int>(members.size()), members.data()};
    FcFontSet* sets[] = {&set};
    FcDefaultSubstitute(request);
    FcResult result = FcResultNoMatch;
    Pattern const match(FcFontSetMatch(FcConfigGetCurrent(), sets, 1, request, &result));
    return match ? Face::of(match.get()) : nullptr;
}

Face const* faceOfFamily(char const* family, Style style)
{
    ComparedName const name(family);
    auto const fonts = usableFontsWhere([&](FcPattern* font) { return hasName(font, FC_FAMILY, name); });
    return fonts.empty() ? nullptr : closest(fonts, requestFor(nullptr, style).get());
}

/// The family itself, or the first installed one of those that the configuration binds to it as equals.
/// What it merely suggests, down to the font that stands for any unknown one, is bound weakly.
Face const* faceOfEqualFamily(char const* family, Style style)
{
    auto const request = requestFor(family, style);
    FcConfigSubstitute(nullptr, request.get(), FcMatchPattern);
    FcValue value;
    FcValueBinding binding;
    for (int i = 0; FcPatternGetWithBinding(request.get(), FC_FAMILY, i, &value, &binding) == FcResultMatch;
         ++i) {
        if (binding == FcValueBindingWeak || value.type != FcTypeString)
            continue;
        if (auto const* const face = faceOfFamily(reinterpret_cast<char const*>(value.u.s), style))
            return face;
    }
    return nullptr;
}

char const* twinOf(ComparedName const& family)
{
    for (auto const& [one, other] : kTwins) {
        if (family.is(one))
            return other;
        if (family.is(other))
            return one;
    }
    return nullptr;
}

Face const* faceOfFamilyOrTwin(char const* family, Style style)
{
    if (auto const* const face = faceOfEqualFamily(family, style))
        return face;
    auto const* const twin = twinOf(ComparedName(family));
    return twin ? faceOfEqualFamily(twin, style) : nullptr;
}

Face const* faceNamed(ComparedName const& name)
{
    auto const fonts = usableFontsWhere([&](FcPattern* font) {
        return hasName(font, FC_POSTSCRIPT_NAME, name) || hasName(font, FC_FULLNAME, name);
    });
    return fonts.empty() ? nullptr : closest(fonts, requestFor(nullptr, kRegular).get());
}

Face const* wellKnownFace(ComparedName const& name)
{
    auto const* const row = std::ranges::find_if(
        kWellKnownFaces, [&](WellKnownFace const& face) { return name.is(face.postScriptName); });
    return row == std::end(kWellKnownFaces) ? nullptr : faceOfFamilyOrTwin(row->family, row->style);
}

bool isGeneric(ComparedName const& name)
{
    return std::ranges::any_of(kGenericFamilies, [&](std::string_view generic) { return name.is(generic); });
}

Face const* genericFace(char const* family)
{
    auto const request = requestFor(family, kRegular);
    FcConfigSubstitute(nullptr, request.get(), FcMatchPattern);
    return closest(usableFonts(), request.get());
}

/// Names of fonts are short, have more than blanks, and a name that is cut at a zero would be another one.
bool canBeName(std::string_view name)
{
    constexpr std::size_t kLongestName = 255;
    return name.find_first_not_of(' ') != name.npos && name.size() <= kLongestName && isUtf8(name)
        && std::ranges::none_of(name, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

} // namespace

Face const* installedFace(std::string const& name)
{
    if (!canBeName(name) || usableFonts().empty())
        return nullptr;
    if (auto const* const face = faceOfFamilyOrTwin(name.c_str(), kRegular))
        return face;
    ComparedName const compared(name);
    if (auto const* const face = faceNamed(compared))
        return face;
    if (auto const* const face = wellKnownFace(compared))
        return face;
    return isGeneric(compared) ? genericFace(name.c_str()) : nullptr;
}

Face const* anyFace()
{
    static auto const* const face = usableFonts().empty() ? nullptr : genericFace("sans-serif");
    return face;
}

} // namespace velk::text
