#pragma once

#include "support/TestFiles.h"

#include <map>
#include <string>

namespace velk::test {

/// Bytes and permission bits of a file.
struct FileState {
    Bytes bytes;
    unsigned mode = 0;

    bool operator==(FileState const&) const = default;
};

/// Every file of a directory by its name.
using Snapshot = std::map<std::string, FileState>;

Snapshot takeSnapshot(TemporaryDirectory const& directory);
/// Puts the files back as they were, and removes all others.
void restore(Snapshot const& snapshot, TemporaryDirectory const& directory);
/// The names in `now` of files that are not as in `before`, with those that are gone; "" when there are none.
std::string differences(Snapshot const& before, Snapshot const& now);

/// Files to modify: "photo.jpg", "drawing.png", "scan.tif", "film.webp", "map.jp2", "logo.gif", "layers.psd",
/// "texture.tga", "screen.icc", and "wrong.icc", which a repair corrects. Others may not read them.
void makeFiles(TemporaryDirectory const& directory);

} // namespace velk::test
