#include "properties/FormatTable.h"

#include "platform/codec/Codec.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/types/FileTypes.h"

#include <algorithm>

namespace velk {

namespace {

constexpr FormatRow kPdfRow {.typeIdentifier = "com.adobe.pdf", .keyword = "pdf"};

FormatRow readableRow(codec::Codec const& codec)
{
    auto const* type = types::fileTypeWithIdentifier(codec.type);
    return {.typeIdentifier = codec.type, .keyword = type ? type->keyword() : std::string_view()};
}

void markWritable(std::vector<FormatRow>& rows, std::string_view typeIdentifier)
{
    for (auto& row : rows) {
        if (row.typeIdentifier == typeIdentifier)
            row.writable = true;
    }
}

std::vector<FormatRow> buildFormatTable()
{
    std::vector<FormatRow> rows;
    for (auto const* codec : codec::codecs()) {
        if (codec::isInstalled(*codec))
            rows.push_back(readableRow(*codec));
    }
    rows.push_back(kPdfRow);
    for (auto const* codec : codec::codecs()) {
        if (codec->encode && codec::isInstalled(*codec))
            markWritable(rows, codec->type);
    }
    std::ranges::stable_sort(rows, {}, &FormatRow::typeIdentifier);
    return rows;
}

} // namespace

std::vector<FormatRow> const& formatTable()
{
    static std::vector<FormatRow> const table = buildFormatTable();
    return table;
}

} // namespace velk
