#pragma once

#include "platform/codec/TiffDirectoryBuilder.h"

namespace velk::codec::tiff {

/// A little-endian Exif structure at the very start of a new TIFF file. All offsets in it stay valid there,
/// those that only the camera's maker understands included; its first directory's place is taken by the
/// directory of the new file, which adopts its entries.
class ExifBlock {
public:
    /// `exif` may be empty. The preview that it may hold is not kept.
    ExifBlock(Bytes exif, Format file);

    /// What the file starts with: at least the room for its header.
    Bytes const& bytes() const { return m_bytes; }

    /// Adds the entries to the file's directory. Returns bytes that have to be put at `offset` (even) of the
    /// file: the Exif and GPS directories, where the file's format is not that of the block.
    Bytes addTo(DirectoryBuilder& directory, std::uint64_t offset) const;

private:
    void clearWhatIsNotKept(DirectoryReader const& reader, Directory const& first);
    Bytes addConverted(DirectoryBuilder& directory, std::uint64_t offset) const;

    Format m_file;
    Bytes m_bytes;
    /// The block as it was, and its first directory.
    Bytes m_original;
    Directory m_first;
};

} // namespace velk::codec::tiff
