#pragma once

#include "platform/codec/ImageSource.h"
#include "platform/codec/TiffPixels.h"

#include <atomic>
#include <memory>

namespace velk::codec::tiff {

/// Uniform type identifier of TIFF files.
constexpr std::string_view kTypeIdentifier = "public.tiff";

/// An opened TIFF or BigTIFF file; image 0 is its first directory.
class TiffSource final : public ImageSource {
public:
    static Result<std::shared_ptr<ImageSource>> open(InputFile file);

    explicit TiffSource(InputFile file)
        : ImageSource(kTypeIdentifier, std::move(file))
    {
    }

    Result<graphics::DecodedRows> open(graphics::DecodeRequest const& request) const override;

    DirectoryReader const& reader() const { return *m_reader; }
    Directory const& directory() const { return m_directory; }
    Structure const& structure() const { return m_structure; }

private:
    Result<void> describe();
    void describeMetadata();
    void describeProperties();
    void describeResolution();
    int countImages() const;

    std::optional<DirectoryReader> m_reader;
    Directory m_directory;
    Structure m_structure;
    PixelPlan m_plan;
    mutable std::atomic<bool> m_hasWarned = false;
};

} // namespace velk::codec::tiff
