#pragma once

#include "modules/heif/HeifBoxes.h"

#include <optional>
#include <string_view>

namespace velk::codec::heif {

/// Bytes of an item, counted from the start of the file, or of what its construction method says.
struct Extent {
    std::uint64_t index = 0, offset = 0, length = 0;
};

/// Where an item lies (ISO/IEC 14496-12, 8.11.3).
struct ItemLocation {
    std::uint32_t item = 0;
    unsigned method = 0; ///< 0: in the file; 1: in the item data box; 2: in another item
    unsigned dataReference = 0; ///< 0: in this file
    std::vector<Extent> extents;

    bool isInFile() const { return method == 0 && dataReference == 0; }
};

/// The meta box of a file, taken apart as far as items can be added, moved and replaced in it.
class Meta {
public:
    /// The meta box of a file of this size. An error when something in it is of a kind that is not known
    /// here.
    static Result<Meta> parse(ByteSpan content, std::uint64_t fileSize);

    std::uint32_t primary() const { return m_primary; }
    std::vector<ItemLocation>& locations() { return m_locations; }
    /// The location of an item, or null.
    ItemLocation* location(std::uint32_t item);
    /// Whether bytes of an item that lies in the file or the item data box are also those of another.
    bool isShared(ItemLocation const& owner, Extent const& extent) const;
    /// The first item of this type (and content type, for "mime") that describes the primary image.
    std::optional<std::uint32_t> describingItem(FourCC type, std::string_view contentType = {}) const;
    /// Adds an item that describes the primary image; it has no extents yet. An error when there are too
    /// many.
    Result<std::uint32_t> addDescribingItem(FourCC type, std::string_view contentType = {});
    /// Overwrites what lies in the item data box.
    void wipeItemData(Extent const& extent);

    /// The whole box. Its size depends on the number of items and extents, and on nothing else.
    Bytes serialize() const;

private:
    struct Child {
        FourCC type;
        Bytes content;
    };
    struct Item {
        std::uint32_t id = 0;
        FourCC type;
        std::string_view contentType;
        bool isEncoded = false;
    };

    Child* find(FourCC type);
    Child const* find(FourCC type) const;
    bool canAddItems() const;
    Result<void> parseLocations();
    Bytes serializedLocations() const;
    std::vector<Item> items() const;
    bool describesPrimary(std::uint32_t item) const;

    /// The bytes that numbers of the location box take.
    struct LocationSizes {
        unsigned version = 0;
        unsigned item = 2, offset = 4, index = 0;
    };

    Bytes m_header;
    LocationSizes m_sizes;
    std::vector<Child> m_children;
    std::uint32_t m_primary = 0;
    std::vector<ItemLocation> m_locations;
};

} // namespace velk::codec::heif
