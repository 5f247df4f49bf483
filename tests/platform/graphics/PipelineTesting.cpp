#include "platform/graphics/PipelineTesting.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::test {

using namespace graphics;

namespace {

class WatchedRows final : public RowSource {
public:
    WatchedRows(PixelBufferPointer const& pixels, int& rowsRead, int failsAt)
        : RowSource(pixels->layout())
        , m_rows(rowsOf(pixels))
        , m_rowsRead(rowsRead)
        , m_failsAt(failsAt)
    {
    }

private:
    Result<void> readRows(RowView rows) override
    {
        if (m_failsAt >= 0 && nextRow() + rows.count > m_failsAt)
            return fail("row {} is damaged", m_failsAt);
        m_rowsRead += rows.count;
        return m_rows->read(rows);
    }

    RowSourcePointer m_rows;
    int& m_rowsRead;
    int m_failsAt;
};

} // namespace

PixelBufferPointer collect(RowSourcePointer rows)
{
    auto buffer = PixelBuffer::create(rows->layout()).value();
    for (int count = 1; rows->rowsLeft() > 0; ++count) {
        auto const result = rows->read(buffer.rows(rows->nextRow(), std::min(count, rows->rowsLeft())));
        if (!result) {
            ADD_FAILURE() << result.error().message;
            break;
        }
    }
    return std::make_shared<PixelBuffer>(std::move(buffer));
}

PixelBufferPointer collect(Image const& image)
{
    return collect(image.rows().value());
}

int byteAt(PixelBufferPointer const& pixels, int x, int y, int channel)
{
    return pixels->row(y)[x * pixels->format().channels() + channel];
}

std::vector<int> pixelAt(PixelBufferPointer const& pixels, int x, int y)
{
    std::vector<int> pixel;
    for (int channel = 0; channel < pixels->format().channels(); ++channel)
        pixel.push_back(byteAt(pixels, x, y, channel));
    return pixel;
}

RowSourcePointer watchedRows(PixelBufferPointer pixels, int& rowsRead, int failsAt)
{
    return std::make_unique<WatchedRows>(pixels, rowsRead, failsAt);
}

std::vector<PixelFormat> variousFormats()
{
    std::vector<PixelFormat> formats;
    for (auto const type : {ComponentType::UInt8, ComponentType::UInt16, ComponentType::Float32}) {
        for (auto const model : {ColorModel::Gray, ColorModel::RGB, ColorModel::CMYK}) {
            formats.push_back({type, model, Alpha::None});
            formats.push_back({type, model, Alpha::Premultiplied});
        }
    }
    return formats;
}

} // namespace velk::test
