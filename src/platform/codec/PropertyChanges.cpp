#include "platform/codec/PropertyChanges.h"

namespace velk::codec {

PropertyChanges changesBetween(PropertyDictionary const& original, PropertyDictionary const& edited)
{
    static PropertyDictionary const empty;
    PropertyChanges changes;
    for (auto const& [name, value] : edited) {
        auto const* after = value.asDictionary();
        if (!after)
            continue;
        auto const* found = findDictionary(original, name);
        auto const& before = found ? *found : empty;
        for (auto const& [key, entry] : *after) {
            auto const* old = find(before, key);
            if (!old || !(*old == entry))
                changes.push_back({name, key, entry});
        }
        for (auto const& [key, entry] : before) {
            if (!find(*after, key))
                changes.push_back({name, key, std::nullopt});
        }
    }
    return changes;
}

} // namespace velk::codec
