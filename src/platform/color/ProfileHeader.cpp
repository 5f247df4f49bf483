#include "platform/color/ProfileHeader.h"

#include <algorithm>
#include <cassert>

namespace velk::color {

namespace {

// Both directions walk the fields in the order in which they lie in the header, so that there is one list of
// them.
template <typename Visitor, typename Header> void visitFields(Visitor& visit, Header& header)
{
    visit(header.size);
    visit(header.cmm.code);
    visit(header.version);
    visit(header.profileClass.code);
    visit(header.space.code);
    visit(header.pcs.code);
    auto& date = header.creation;
    for (auto* field : {&date.year, &date.month, &date.day, &date.hours, &date.minutes, &date.seconds})
        visit(*field);
    visit(header.signature.code);
    visit(header.platform.code);
    visit(header.flags);
    visit(header.deviceManufacturer.code);
    visit(header.deviceModel);
    visit(header.deviceAttributes[0]);
    visit(header.deviceAttributes[1]);
    visit(header.renderingIntent);
    visit(header.illuminant.x);
    visit(header.illuminant.y);
    visit(header.illuminant.z);
    visit(header.creator.code);
    visit.bytes(header.id);
    visit.bytes(header.reserved);
}

struct FieldReader {
    std::uint8_t const* next;

    template <typename T> void operator()(T& field)
    {
        field = loadInteger<T>(next, ByteOrder::Big);
        next += sizeof(T);
    }
    void bytes(auto& field)
    {
        std::copy_n(next, field.size(), field.begin());
        next += field.size();
    }
};

struct FieldWriter {
    std::uint8_t* next;

    template <typename T> void operator()(T const& field)
    {
        storeInteger(next, field, ByteOrder::Big);
        next += sizeof(T);
    }
    void bytes(auto const& field) { next = std::copy(field.begin(), field.end(), next); }
};

} // namespace

ProfileHeader ProfileHeader::parse(ByteSpan bytes)
{
    assert(bytes.size() >= kProfileHeaderSize);
    ProfileHeader header;
    FieldReader reader {bytes.data()};
    visitFields(reader, header);
    return header;
}

std::array<std::uint8_t, kProfileHeaderSize> ProfileHeader::serialize() const
{
    std::array<std::uint8_t, kProfileHeaderSize> bytes = {};
    FieldWriter writer {bytes.data()};
    visitFields(writer, *this);
    assert(writer.next == bytes.data() + bytes.size());
    return bytes;
}

} // namespace velk::color
