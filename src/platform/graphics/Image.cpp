#include "platform/graphics/Image.h"

#include <cassert>

namespace velk::graphics {

namespace {

// Keeps the pixels and replaces what they mean.
class RelabelledRows final : public RowSource {
public:
    RelabelledRows(RowSourcePointer rows, PixelLayout layout)
        : RowSource(std::move(layout))
        , m_rows(std::move(rows))
    {
    }

private:
    Result<void> readRows(RowView rows) override { return m_rows->read(rows); }

    RowSourcePointer m_rows;
};

class BufferProvider final : public PixelProvider {
public:
    explicit BufferProvider(std::shared_ptr<PixelBuffer const> buffer)
        : m_buffer(std::move(buffer))
    {
    }

    Result<DecodedRows> open(DecodeRequest const&) const override
    {
        auto const size = m_buffer->size();
        return DecodedRows {
            rowsOf(m_buffer), {0, 0, static_cast<double>(size.width), static_cast<double>(size.height)}};
    }

private:
    std::shared_ptr<PixelBuffer const> m_buffer;
};

int depthOf(ComponentType type)
{
    return static_cast<int>(componentSize(type)) * 8;
}

} // namespace

Image::Image(std::shared_ptr<PixelBuffer const> pixels)
    : m_info {pixels->layout(), depthOf(pixels->format().componentType)}
    , m_pixels(std::make_shared<BufferProvider>(pixels))
{
}

bool Image::hasAlpha() const
{
    return format().hasAlpha() || (space().palette() && space().palette()->hasAlpha());
}

Result<DecodedRows> Image::open(DecodeRequest const& request) const
{
    auto decoded = TRY(m_pixels->open(request));
    if (decoded.rows->layout().space == space())
        return decoded;
    auto layout = decoded.rows->layout();
    layout.space = space();
    decoded.rows = std::make_unique<RelabelledRows>(std::move(decoded.rows), std::move(layout));
    return decoded;
}

Result<RowSourcePointer> Image::rows() const
{
    auto decoded = TRY(open({}));
    assert(decoded.rows->size() == size());
    return std::move(decoded.rows);
}

Image Image::withColorSpace(ColorSpace space) const
{
    assert(space.model() == this->space().model());
    Image image = *this;
    image.m_info.layout.space = std::move(space);
    return image;
}

Image Image::withOrigin(std::shared_ptr<ImageOrigin const> origin, Turn turn) const
{
    Image image = *this;
    image.m_origin = std::move(origin);
    image.m_turn = turn;
    return image;
}

} // namespace velk::graphics
