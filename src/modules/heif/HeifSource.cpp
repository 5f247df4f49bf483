#include "modules/heif/HeifSource.h"

#include "modules/heif/CodedColors.h"
#include "modules/heif/HeifRows.h"

#include <algorithm>
#include <vector>

namespace velk::codec::heif {

using namespace graphics;

namespace {

constexpr std::size_t kLargestBlock = 64 << 20, kTiffOffsetSize = 4;
constexpr std::string_view kXmpContentType = "application/rdf+xml";

Alpha alphaOf(heif_image_handle const* image)
{
    if (!heif_image_handle_has_alpha_channel(image))
        return Alpha::None;
    return heif_image_handle_is_premultiplied_alpha(image) ? Alpha::Premultiplied : Alpha::Straight;
}

SharedBytes profileOf(heif_image_handle const* image)
{
    auto const size = heif_image_handle_get_raw_color_profile_size(image);
    if (size == 0 || size > kLargestBlock)
        return nullptr;
    Bytes bytes(size);
    if (heif_image_handle_get_raw_color_profile(image, bytes.data()).code != heif_error_Ok)
        return nullptr;
    return std::make_shared<Bytes const>(std::move(bytes));
}

CodedColors codedColorsOf(heif_image_handle const* image)
{
    heif_color_profile_nclx* found = nullptr;
    if (heif_image_handle_get_nclx_color_profile(image, &found).code != heif_error_Ok)
        return {};
    Pointer<heif_color_profile_nclx> const nclx(found);
    return {static_cast<int>(nclx->color_primaries), static_cast<int>(nclx->transfer_characteristics)};
}

ColorSpace spaceOf(heif_image_handle const* image, ColorModel model)
{
    if (auto profile = profileOf(image))
        return colorSpaceWithProfile(model, std::move(profile));
    return spaceOf(codedColorsOf(image), model);
}

std::vector<heif_item_id> metadataItems(heif_image_handle const* image)
{
    std::vector<heif_item_id> items(
        static_cast<std::size_t>(heif_image_handle_get_number_of_metadata_blocks(image, nullptr)));
    auto const count = heif_image_handle_get_list_of_metadata_block_IDs(
        image, nullptr, items.data(), static_cast<int>(items.size()));
    items.resize(static_cast<std::size_t>(count));
    return items;
}

// A block that cannot be read counts as absent.
Bytes contentOfItem(heif_image_handle const* image, heif_item_id item)
{
    auto const size = heif_image_handle_get_metadata_size(image, item);
    Bytes bytes(size <= kLargestBlock ? size : 0);
    if (bytes.empty() || heif_image_handle_get_metadata(image, item, bytes.data()).code != heif_error_Ok)
        return {};
    return bytes;
}

// The TIFF structure in an Exif item lies behind an offset, which counts from its own end
// (ISO/IEC 23008-12, A.2.1).
ByteSpan tiffIn(ByteSpan item)
{
    if (item.size() <= kTiffOffsetSize)
        return {};
    auto const content = item.subspan(kTiffOffsetSize);
    return content.subspan(std::min<std::size_t>(loadBE32(item.data()), content.size()));
}

} // namespace

Source::Source(std::string_view type, InputFile file)
    : ImageSource(type, std::move(file))
{
}

Result<std::shared_ptr<ImageSource>> Source::open(std::string_view type, InputFile file)
{
    std::shared_ptr<Source> const source(new Source(type, std::move(file)));
    TRY(source->describe());
    return source;
}

Result<void> Source::describe()
{
    auto const reader = TRY(Reader::open(file()));
    auto const* image = reader->image();
    auto& info = editDescription().info;
    info.layout.size = {heif_image_handle_get_width(image), heif_image_handle_get_height(image)};
    if (!isPossible(info.layout.size))
        return fail(
            "an image of {} x {} pixels is not possible", info.layout.size.width, info.layout.size.height);
    m_chroma = TRY(chromaOf(file()));
    auto const bits = heif_image_handle_get_luma_bits_per_pixel(image);
    info.bitsPerComponent = bits > 0 ? bits : 8;
    info.layout.format = {info.bitsPerComponent > 8 ? ComponentType::UInt16 : ComponentType::UInt8,
        m_chroma == CodedChroma::Monochrome ? ColorModel::Gray : ColorModel::RGB, alphaOf(image)};
    info.layout.space = spaceOf(image, info.layout.format.model);
    editDescription().imageCount =
        std::max(1, heif_context_get_number_of_top_level_images(reader->context()));
    return readMetadata(image);
}

Result<void> Source::readMetadata(heif_image_handle const* image)
{
    auto& metadata = editDescription().metadata;
    for (auto const item : metadataItems(image)) {
        std::string_view const type = heif_image_handle_get_metadata_type(image, item);
        std::string_view const contentType = heif_image_handle_get_metadata_content_type(image, item);
        auto const content = contentOfItem(image, item);
        if (type == "Exif" && metadata.exif().empty())
            metadata.setExif(tiffIn(content));
        else if (type == "mime" && contentType == kXmpContentType && metadata.xmp().empty())
            metadata.setXmp(asText(content));
    }
    // The library has turned the pixels already; what Exif says about that does not count.
    if (metadata.orientation() != 1)
        metadata.setOrientation(1);
    return {};
}

Result<DecodedRows> Source::open(DecodeRequest const&) const
{
    auto const self = std::static_pointer_cast<Source const>(shared_from_this());
    return wholeImage(openRows(self));
}

} // namespace velk::codec::heif
