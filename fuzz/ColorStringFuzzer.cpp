// Colour and font strings of scripts.
#include "canvas/ColorString.h"
#include "canvas/FontString.h"
#include "fuzz/FuzzInput.h"

#include <cmath>

using namespace velk;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    auto const text = asText(ByteSpan(data, size));
    auto const color = CreateColorFromString(text);
    fuzz::require(color.has_value() || text.empty(), "only an empty text is no colour");
    auto const normalized = NormalizedColorString(text);
    fuzz::require(NormalizedColorString(normalized) == normalized, "what is normal stays so");
    for (auto const component : ColorStringComponents(text)) {
        fuzz::require(component.data() >= text.data()
                && component.data() + component.size() <= text.data() + text.size(),
            "components lie in the text");
        [[maybe_unused]] auto const value = ColorComponentValue(component, 255);
    }
    auto const font = parseFontString(text);
    fuzz::require(!std::isnan(font.size), "a font has a size");
    return 0;
}
