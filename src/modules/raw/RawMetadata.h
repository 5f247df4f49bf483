#pragma once

#include "base/Files.h"
#include "platform/codec/Metadata.h"

#include <libraw/libraw_types.h>

namespace velk::codec::raw {

/// Exif of a camera file: all of it where the file is a TIFF structure, else what the library found out. The
/// orientation is 1, since the developed picture is upright.
Metadata metadataOf(InputFile const& file, libraw_data_t const& data);

} // namespace velk::codec::raw
