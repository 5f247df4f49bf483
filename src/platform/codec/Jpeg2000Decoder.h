#pragma once

#include "platform/codec/Jpeg2000Codestream.h"
#include "platform/codec/Jpeg2000Library.h"

namespace velk::codec {

/// How to treat damaged data.
enum class Jpeg2000Care : std::uint8_t {
    /// A tile of which anything is missing or wrong cannot be decoded.
    Strict,
    /// As much is decoded as there is, with which OpenJPEG 2.5.0 at times reads beyond its memory.
    Daring,
};

/// Decodes parts of one codestream, halved `reduction` times. Used by one thread at a time.
class Jpeg2000Decoder {
public:
    static Result<std::unique_ptr<Jpeg2000Decoder>> open(
        InputFile const& file, Jpeg2000Codestream const& codestream, int reduction, Jpeg2000Care care);

    /// Decodes a rectangle of the reference grid; false when that is not possible. Of an image of several
    /// tiles, only one can be decoded.
    bool decodeArea(GridRect const& area);
    /// Decodes a whole tile, likewise; tiles have to be asked for in ascending order.
    bool decodeTile(std::int64_t index);

    /// The samples decoded last, and their number in each direction.
    opj_image_comp_t const& component(int index) const;
    /// Whether anything was wrong with the data that were decoded so far.
    bool hasDamage() const { return m_messages.hasWarning; }

private:
    Jpeg2000Decoder(InputFile const& file, Jpeg2000Codestream const& codestream);
    Result<void> start(int reduction, Jpeg2000Care care);

    Jpeg2000Codestream const& m_codestream;
    openjpeg::Messages m_messages;
    openjpeg::InputRange m_range;
    openjpeg::StreamPointer m_stream;
    openjpeg::CodecPointer m_codec;
    openjpeg::ImagePointer m_image;
};

} // namespace velk::codec
