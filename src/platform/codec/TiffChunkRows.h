#pragma once

#include "platform/codec/TiffReaderBase.h"

namespace velk::codec::tiff {

/// Rows of strips that are decoded one strip at a time.
Result<std::unique_ptr<RowReader>> makeWholeStripReader(
    InputFile const& file, Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle);

/// Rows of tiles, of which one row is decoded at a time.
Result<std::unique_ptr<RowReader>> makeTileReader(
    Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle);

/// RGB rows of strips or tiles of YCbCr data units.
Result<std::unique_ptr<RowReader>> makeYcbcrReader(DirectoryReader const& reader, Directory const& directory,
    Structure const& structure, PlaneLayout layout, std::unique_ptr<Handle> handle);

} // namespace velk::codec::tiff
