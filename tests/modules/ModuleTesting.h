#pragma once

#include "platform/codec/ImageWriter.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/codec/RawCodecSupport.h"

/// Ends a test of a format whose module was not built.
#define VELK_NEEDS_MODULE(type)                                                                              \
    do {                                                                                                     \
        if (!codec::isInstalled(*codec::codecForType(type)))                                                 \
            GTEST_SKIP() << codec::missingModuleText(*codec::codecForType(type));                            \
    } while (false)

namespace velk::test {

/// Writes a picture as the program does, colours and all.
inline Bytes writeAs(std::string_view type, codec::Picture const& picture)
{
    TemporaryDirectory const directory;
    auto const path = directory / "written";
    auto output = *AtomicFile::create(path);
    auto const result = codec::writeImage(*codec::codecForType(type), picture, output);
    EXPECT_TRUE(result) << (result ? "" : result.error().message);
    EXPECT_TRUE(output.commit(path));
    return readBytes(path);
}

inline Bytes writeAs(std::string_view type, graphics::Image const& image)
{
    PropertyDictionary const none;
    return writeAs(type, codec::Picture {.image = image, .properties = none});
}

inline bool contains(Bytes const& bytes, ByteSpan part)
{
    return std::search(bytes.begin(), bytes.end(), part.begin(), part.end()) != bytes.end();
}
inline bool contains(Bytes const& bytes, std::string_view text)
{
    return contains(bytes, asBytes(text));
}

/// Rows as the image's provider delivers them for a reduced size.
inline graphics::DecodedRows openReduced(codec::ImageSource const& source, double scale)
{
    return *source.open({.scale = scale});
}

} // namespace velk::test
