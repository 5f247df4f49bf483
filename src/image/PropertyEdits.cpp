#include "image/PropertyEdits.h"

#include "image/ColorRequests.h"
#include "image/NumberText.h"
#include "image/OutputFormat.h"
#include "platform/codec/PropertyKeys.h"

#include <algorithm>

namespace velk {

namespace {

// The keys that stand for one text of the {TIFF} sub-dictionary.
struct TextKey {
    std::string_view key;
    std::string_view tag;
};

constexpr TextKey kTextKeys[] = {
    {"make", "Make"},
    {"model", "Model"},
    {"description", "ImageDescription"},
    {"copyright", "Copyright"},
    {"artist", "Artist"},
};

TextKey const* textKey(std::string_view key)
{
    auto const found = std::ranges::find(kTextKeys, key, &TextKey::key);
    return found == std::end(kTextKeys) ? nullptr : found;
}

void setResolution(ImageEditState& state, std::string_view entry, std::string const& value)
{
    set(state.properties, entry, static_cast<float>(leadingNumber(value).value_or(0)));
}

void setDpiHeight(ImageEditState& state, std::string const& value)
{
    setResolution(state, codec::key::kDpiHeight, value);
}

void setDpiWidth(ImageEditState& state, std::string const& value)
{
    setResolution(state, codec::key::kDpiWidth, value);
}

struct EditKey {
    std::string_view key;
    void (*edit)(ImageEditState&, std::string const& value);
};

constexpr EditKey kEditKeys[] = {
    {"dpiHeight", setDpiHeight},
    {"dpiWidth", setDpiWidth},
    {"format", selectOutputFormat},
    {"formatOptions", selectFormatOptions},
};

} // namespace

Result<void> requestPropertyEdit(ImageEditState& state, FunctionRequest const& request)
{
    auto const& key = request.at(1);
    auto const& value = request.at(2);
    if (key == "profile")
        return requestProfileReplacement(state, request);
    if (auto const* text = textKey(key)) {
        set(subDictionary(state.properties, codec::key::kTiff), text->tag, value);
    } else if (auto const found = std::ranges::find(kEditKeys, key, &EditKey::key);
               found != std::end(kEditKeys)) {
        found->edit(state, value);
    } else {
        return fail("Cannot do {} {} on file", request.at(0), key);
    }
    state.modified = true;
    return {};
}

Result<void> requestPropertyRemoval(ImageEditState& state, FunctionRequest const& request)
{
    if (request.at(1) == "profile")
        return requestProfileDeletion(state);
    auto const* text = textKey(request.at(1));
    if (!text)
        return fail("Cannot do {} {} on file", request.at(0), request.at(1));
    subDictionary(state.properties, codec::key::kTiff).erase(std::string(text->tag));
    state.modified = true;
    return {};
}

} // namespace velk
