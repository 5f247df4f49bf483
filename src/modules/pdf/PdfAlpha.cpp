#include "modules/pdf/PdfAlpha.h"

#include <cstring>

namespace velk::codec::pdf {

using namespace graphics;

namespace {

PixelLayout withoutAlpha(PixelLayout layout)
{
    layout.format.alpha = Alpha::None;
    return layout;
}

class StoredAlpha final : public RowSource {
public:
    StoredAlpha(PixelLayout layout, InputFile file)
        : RowSource(std::move(layout))
        , m_file(std::move(file))
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        for (std::int32_t i = 0; i < rows.count; ++i) {
            auto const offset = static_cast<std::uint64_t>(nextRow() + i) * rowBytes();
            TRY(m_file.readExactlyAt(offset, {rows.row(i), rowBytes()}));
        }
        return {};
    }

    InputFile m_file;
};

} // namespace

Result<std::unique_ptr<AlphaSplitter>> AlphaSplitter::create(RowSource& rows, AtomicFile const& output)
{
    return std::make_unique<AlphaSplitter>(rows, TRY(AtomicFile::createPrivate(output.temporaryPath())));
}

AlphaSplitter::AlphaSplitter(RowSource& rows, AtomicFile alpha)
    : RowSource(withoutAlpha(rows.layout()))
    , m_rows(rows)
    , m_alpha(std::move(alpha))
    , m_row(rows.rowBytes())
    , m_alphaRow(static_cast<std::size_t>(rows.size().width) * componentSize(rows.format().componentType))
{
}

// c c c a  c c c a  ...  ->  c c c  c c c  ...  and  a  a  ...
Result<void> AlphaSplitter::readRows(RowView rows)
{
    auto const component = componentSize(format().componentType);
    auto const colors = format().bytesPerPixel();
    for (std::int32_t i = 0; i < rows.count; ++i) {
        TRY(m_rows.read({m_row.data(), m_row.size(), 1}));
        auto const* from = m_row.data();
        auto* to = rows.row(i);
        for (std::size_t at = 0; at < m_alphaRow.size(); at += component) {
            std::memcpy(to, from, colors);
            std::memcpy(m_alphaRow.data() + at, from + colors, component);
            to += colors;
            from += colors + component;
        }
        TRY(m_alpha.write(m_alphaRow));
    }
    return {};
}

Result<RowSourcePointer> AlphaSplitter::alpha()
{
    TRY(m_alpha.flush());
    PixelFormat const gray = {format().componentType, ColorModel::Gray, Alpha::None};
    return std::make_unique<StoredAlpha>(PixelLayout {size(), gray, ColorSpace::device(ColorModel::Gray)},
        TRY(InputFile::open(m_alpha.temporaryPath())));
}

} // namespace velk::codec::pdf
