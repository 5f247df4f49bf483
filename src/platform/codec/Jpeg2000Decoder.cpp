#include "platform/codec/Jpeg2000Decoder.h"

namespace velk::codec {

Jpeg2000Decoder::Jpeg2000Decoder(InputFile const& file, Jpeg2000Codestream const& codestream)
    : m_codestream(codestream)
    , m_range {file, codestream.offset, codestream.length}
{
}

Result<std::unique_ptr<Jpeg2000Decoder>> Jpeg2000Decoder::open(
    InputFile const& file, Jpeg2000Codestream const& codestream, int reduction, Jpeg2000Care care)
{
    std::unique_ptr<Jpeg2000Decoder> decoder(new Jpeg2000Decoder(file, codestream));
    TRY(decoder->start(reduction, care));
    return decoder;
}

Result<void> Jpeg2000Decoder::start(int reduction, Jpeg2000Care care)
{
    m_stream = openjpeg::openInput(m_range);
    m_codec.reset(opj_create_decompress(OPJ_CODEC_J2K));
    if (!m_stream || !m_codec)
        return fail("out of memory");
    m_messages.listenTo(m_codec.get());
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = static_cast<OPJ_UINT32>(reduction);
    opj_image_t* image = nullptr;
    bool const isStrict = care == Jpeg2000Care::Strict;
    bool const isOpen = opj_setup_decoder(m_codec.get(), &parameters)
        && opj_decoder_set_strict_mode(m_codec.get(), isStrict)
        && opj_codec_set_threads(m_codec.get(), isStrict ? openjpeg::kThreads : 0)
        && opj_read_header(m_stream.get(), m_codec.get(), &image);
    m_image.reset(image);
    if (!isOpen || !m_image || m_image->numcomps != m_codestream.components.size())
        return fail("the JPEG 2000 header is damaged");
    m_messages.hasWarning = false;
    return {};
}

bool Jpeg2000Decoder::decodeArea(GridRect const& area)
{
    auto const coordinate = [](std::int64_t value) { return static_cast<OPJ_INT32>(value); };
    return opj_set_decode_area(m_codec.get(), m_image.get(), coordinate(area.x0), coordinate(area.y0),
               coordinate(area.x1), coordinate(area.y1))
        && opj_decode(m_codec.get(), m_stream.get(), m_image.get());
}

bool Jpeg2000Decoder::decodeTile(std::int64_t index)
{
    return opj_get_decoded_tile(m_codec.get(), m_stream.get(), m_image.get(), static_cast<OPJ_UINT32>(index));
}

opj_image_comp_t const& Jpeg2000Decoder::component(int index) const
{
    return m_image->comps[index];
}

} // namespace velk::codec
