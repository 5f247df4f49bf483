#include "platform/codec/LinearRows.h"

#include "platform/color/ColorConversion.h"
#include "platform/color/LinearLight.h"

namespace velk::codec {

using namespace graphics;

namespace {

// Rows that somebody else owns.
class BorrowedRows final : public RowSource {
public:
    explicit BorrowedRows(RowSource& rows)
        : RowSource(rows.layout())
        , m_rows(rows)
    {
    }

private:
    Result<void> readRows(RowView rows) override { return m_rows.read(rows); }

    RowSource& m_rows;
};

} // namespace

Result<RowSourcePointer> linearRows(RowSource& rows)
{
    auto borrowed = std::make_unique<BorrowedRows>(rows);
    auto const& space = rows.layout().space;
    if (color::isLinear(space))
        return borrowed;
    auto const linear =
        space.model() == ColorModel::Gray ? color::linearGraySpace() : color::linearRgbSpace(color::kRec709);
    return color::convertColors(std::move(borrowed),
        {.format = rows.format(), .space = linear, .intent = RenderingIntent::Relative, .readsDevice = true});
}

} // namespace velk::codec
