#include "support/TestFiles.h"
#include "support/TestImages.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velk {

using test::readBytes;
using test::runVelk;
using test::TemporaryDirectory;
using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

constexpr auto kFailed = "Error 13: an unknown error occurred\nTry 'velk --help' for help using this tool\n";

class ProfileExtraction : public testing::Test {
protected:
    std::string encode(std::string_view type, SharedBytes embedded) const
    {
        auto const path = directory / "photo";
        auto const pixels = test::photoLike({16, 16}, {.model = graphics::ColorModel::RGB});
        EXPECT_TRUE(test::encode(type, pixels, path, {.profile = std::move(embedded)}));
        return path;
    }

    test::RunResult run(Words const& arguments) const { return runVelk(arguments, directory.path()); }

    TemporaryDirectory const directory;
    Bytes const profile = test::matrixProfile().bytes();
};

} // namespace

TEST_F(ProfileExtraction, WritesTheEmbeddedProfile)
{
    for (auto const* const type : {"public.jpeg", "public.png", "public.tiff"}) {
        auto const path = encode(type, shareBytes(profile));
        auto const result = run({"-x", "a.icc", "--extractProfile", "b.icc", path});
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(result.output, path + "\n");
        EXPECT_EQ(readBytes(directory / "a.icc"), profile) << type;
        EXPECT_EQ(readBytes(directory / "b.icc"), profile) << type;
    }
}

TEST_F(ProfileExtraction, OneFailureDoesNotStopTheNext)
{
    auto const path = encode("public.png", shareBytes(profile));
    auto const photo = readBytes(path);
    auto const result = run({"-X", "desc", "tag", "-x", "gone/a.icc", "-x", "photo", "-x", "a.icc", path});
    EXPECT_EQ(result.status, 13);
    EXPECT_EQ(result.errors,
        "Error: Cannot do --extractTag on file\nError: Cannot open file gone/a.icc for writing\n"
        "Warning: photo: would be replaced by what is extracted from it\n"
        "Error: Cannot open file photo for writing\n"
            + std::string(kFailed));
    EXPECT_EQ(readBytes(path), photo);
    EXPECT_EQ(directory.names(), (Words {"a.icc", "photo"}));
}

TEST_F(ProfileExtraction, AShortWriteIsReported)
{
    auto const path = encode("public.png", shareBytes(profile));
    EXPECT_EQ(run({"-x", "/dev/full", path}).errors,
        "Error: Failed to write file /dev/full: No space left on device\n" + std::string(kFailed));
    EXPECT_EQ(run({"-x", "/dev/null", path}).errors, "");
}

TEST_F(ProfileExtraction, NoProfileNoFile)
{
    auto const path = encode("public.png", nullptr);
    auto const result = run({"--debug", "-x", "a.icc", path});
    EXPECT_THAT(result.errors, HasSubstr("   assert: data=0 [ImageProcessing, line "));
    EXPECT_THAT(result.errors, HasSubstr("]\nError: No profile in image\n"));
    EXPECT_EQ(directory.names(), (Words {"photo"}));
}

} // namespace velk
