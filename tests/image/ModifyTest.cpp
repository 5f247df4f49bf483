#include "platform/codec/PropertyKeys.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace velk {

using namespace graphics;
using namespace test;

namespace {

constexpr PixelFormat kRgb = {.model = ColorModel::RGB};

PropertyDictionary propertiesOf(std::string const& path)
{
    return codec::openImage(path).value()->properties();
}

std::string textProperty(std::string const& path, std::string_view dictionary, std::string_view key)
{
    auto const properties = propertiesOf(path);
    auto const* inner = findDictionary(properties, dictionary);
    auto const* value = inner ? find(*inner, key) : nullptr;
    return value && value->asString() ? *value->asString() : "(none)";
}

// The entropy-coded data of a JPEG: everything from its first scan on. Segments are skipped by their lengths,
// as an embedded preview has scans of its own.
Bytes scanData(Bytes const& jpeg)
{
    constexpr std::uint8_t kStartOfScan = 0xDA;
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at + 1] != kStartOfScan)
        at += 2u + loadBE16(jpeg.data() + at + 2);
    return {jpeg.begin() + static_cast<std::ptrdiff_t>(std::min(at, jpeg.size())), jpeg.end()};
}

} // namespace

TEST(Modify, RequestsThatChangeNothingCopyTheBytes)
{
    TemporaryDirectory const directory;
    ASSERT_TRUE(encode("public.jpeg", photoLike({48, 32}, kRgb), directory / "in.jpg"));
    auto const before = readBytes(directory / "in.jpg");
    for (auto const& degrees : {"0", "360", "abc"}) {
        ASSERT_EQ(runVelk({"-r", degrees, directory / "in.jpg", "-o", directory / "out.jpg"}).status, 0);
        EXPECT_TRUE(readBytes(directory / "out.jpg") == before) << degrees;
    }
}

TEST(Modify, MetadataEditsLeaveCodedPixelsAlone)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.jpg";
    writeBytes(path, readBytes(dataFile("Canon_PowerShot_S40.jpg")));
    auto const before = readBytes(path);
    auto const original = propertiesOf(path);

    ASSERT_EQ(runVelk({"-s", "artist", "Zoë", "-s", "copyright", "© 2026", "-d", "make", path}).status, 0);
    EXPECT_EQ(textProperty(path, codec::key::kTiff, "Artist"), "Zoë");
    EXPECT_EQ(textProperty(path, codec::key::kTiff, "Copyright"), "© 2026");
    EXPECT_EQ(textProperty(path, codec::key::kTiff, "Make"), "(none)");
    EXPECT_TRUE(scanData(readBytes(path)) == scanData(before));

    auto expected = original;
    auto& tiff = subDictionary(expected, codec::key::kTiff);
    set(tiff, "Artist", "Zoë");
    set(tiff, "Copyright", "© 2026");
    tiff.erase("Make");
    EXPECT_EQ(propertiesOf(path), expected);
}

TEST(Modify, TurningAPhotoKeepsItsMetadataAndFitsItToTheNewPixels)
{
    TemporaryDirectory const directory;
    writeBytes(directory / "photo.jpg", readBytes(dataFile("Canon_PowerShot_S40.jpg")));
    auto const source = codec::openImage(directory / "photo.jpg").value();
    auto const size = source->image().size();
    ASSERT_EQ(runVelk({"-r", "90", directory / "photo.jpg"}).status, 0);
    auto const turned = codec::openImage(directory / "photo.jpg").value();
    EXPECT_EQ(turned->image().size(), (Size {size.height, size.width}));
    auto const properties = turned->properties();
    auto const* exif = findDictionary(properties, codec::key::kExif);
    ASSERT_TRUE(exif && find(*exif, "PixelXDimension"));
    EXPECT_EQ(find(*exif, "PixelXDimension")->number(), size.height);
    EXPECT_EQ(find(*exif, "PixelYDimension")->number(), size.width);
    EXPECT_EQ(textProperty(directory / "photo.jpg", codec::key::kTiff, "Model"), "Canon PowerShot S40");

    // The preview stands upright as the picture does.
    auto const preview = turned->metadata().preview();
    ASSERT_FALSE(preview.empty());
    writeBytes(directory / "preview.jpg", preview);
    auto const previewSize = codec::openImage(directory / "preview.jpg").value()->image().size();
    EXPECT_EQ(previewSize.width < previewSize.height, size.height < size.width);
}

TEST(Modify, SuffixFollowsTheFormatOnlyInADirectory)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.jpg";
    std::filesystem::create_directory(directory / "out");
    ASSERT_TRUE(encode("public.jpeg", photoLike({48, 32}, kRgb), path));

    auto run = runVelk({"-s", "format", "png", path, "-o", directory / "out"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "Warning: Output file suffix changed to png\n");
    EXPECT_EQ(run.output, path + "\n  " + (directory / "out/photo.jpg") + "\n");
    EXPECT_EQ(codec::openImage(directory / "out/photo.png").value()->type().identifier, "public.png");
    EXPECT_FALSE(std::filesystem::exists(directory / "out/photo.jpg"));

    run = runVelk({"-s", "format", "png", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "Warning: Output file suffix should be png\n");
    EXPECT_EQ(codec::openImage(path).value()->type().identifier, "public.png");

    // The content decides on the type, not the name.
    run = runVelk({"-s", "artist", "x", path});
    EXPECT_EQ(run.errors, "Warning: Output file suffix should be png\n");
    EXPECT_EQ(codec::openImage(path).value()->type().identifier, "public.png");
    EXPECT_EQ(directory.names(), (std::vector<std::string> {"out", "photo.jpg"}));
}

TEST(Modify, ResolutionIsWrittenInEachFormatsOwnPlace)
{
    TemporaryDirectory const directory;
    for (auto const* format : {"jpeg", "png", "tiff", "bmp", "psd"}) {
        auto const path = directory / "photo." + format;
        ASSERT_TRUE(encode("public.png", photoLike({48, 32}, kRgb), path));
        auto const run =
            runVelk({"-s", "format", format, "-s", "dpiWidth", "144", "-s", "dpiHeight", "300.5", path});
        ASSERT_EQ(run.status, 0) << run.errors;
        auto const dpi = codec::openImage(path).value()->description().resolution;
        ASSERT_TRUE(dpi) << format;
        EXPECT_NEAR(dpi->x, 144, 0.51) << format;
        EXPECT_NEAR(dpi->y, 300.5, 0.51) << format;
    }
}

TEST(Modify, FormatOptionsChooseCompressionAndQuality)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({200, 150}, kRgb), path));
    auto const sizeWith = [&](std::vector<std::string> const& options,
                              std::string const& expectedErrors = "") {
        std::vector<std::string> arguments = {"-s", "format", "jpeg", path, "-o", directory / "out.jpg"};
        for (auto const& option : options)
            arguments.insert(arguments.end(), {"-s", "formatOptions", option});
        auto const run = runVelk(arguments);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, expectedErrors);
        return readBytes(directory / "out.jpg").size();
    };
    auto const plain = sizeWith({});
    EXPECT_LT(sizeWith({"low"}), sizeWith({"normal"}));
    EXPECT_LT(sizeWith({"normal"}), sizeWith({"high"}));
    EXPECT_LT(sizeWith({"high"}), sizeWith({"best"}));
    EXPECT_EQ(sizeWith({"75"}), sizeWith({"high"}));
    EXPECT_EQ(sizeWith({"50%"}), sizeWith({"normal"}));
    EXPECT_EQ(sizeWith({"0", "100"}), sizeWith({"best"}));
    EXPECT_EQ(sizeWith({"low", "default"}), plain);
    EXPECT_GT(sizeWith({"50", "noChromaSubSampling"}), sizeWith({"50"}));
    for (auto const* unknown : {"101", "abc", "packbits", "Low"}) {
        EXPECT_EQ(sizeWith({unknown}, fmt::format("Warning: Unknown format option {}\n", unknown)), plain);
    }
}

TEST(Modify, TiffCompressionIsChosenKeptAndReported)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.tiff";
    ASSERT_TRUE(encode("public.tiff", photoLike({64, 48}, kRgb), path));
    auto const pixels = decode(path).value();
    auto const options = [&] { return runVelk({"-g", "formatOptions", path}).output; };
    ASSERT_EQ(runVelk({"-s", "formatOptions", "pacbits", path}).status, 0);
    EXPECT_EQ(options(), path + "\n  formatOptions: pacbits\n");
    EXPECT_EQ(runVelk({"-s", "formatOptions", "packbits", path}).errors,
        "Warning: Unknown format option packbits\n");
    EXPECT_EQ(options(), path + "\n  formatOptions: pacbits\n");
    ASSERT_EQ(runVelk({"-s", "formatOptions", "lzw", path}).status, 0);
    EXPECT_EQ(options(), path + "\n  formatOptions: lzw\n");
    EXPECT_EQ(largestDifference(*decode(path).value(), *pixels), 0);
}

TEST(Modify, DepthAndModelStayWhereNothingIsRendered)
{
    struct Case {
        std::string_view type, suffix;
        PixelBufferPointer pixels;
        int bits;
    };
    PixelFormat const deep = {ComponentType::UInt16, ColorModel::RGB, Alpha::Straight};
    std::vector<Case> const cases = {
        {"public.png", "png", photoLike({33, 21}, deep), 16},
        {"public.png", "png", indexedImage({33, 21}, 13, true), 4},
        {"public.jpeg", "jpg", photoLike({33, 21}, {.model = ColorModel::CMYK}), 8},
        {"public.tiff", "tiff", photoLike({33, 21}, {ComponentType::Float32, ColorModel::RGB}), 32},
        {"public.tiff", "tiff", photoLike({33, 21}, {.model = ColorModel::Lab}), 8},
    };
    TemporaryDirectory const directory;
    for (auto const& [type, suffix, pixels, bits] : cases) {
        auto const path = directory / "photo." + std::string(suffix);
        ASSERT_TRUE(encode(type, pixels, path, {.bitsPerComponent = bits}));
        auto const before = decode(path).value();
        ASSERT_EQ(runVelk({"-s", "artist", "me", path}).status, 0);
        auto const source = codec::openImage(path).value();
        EXPECT_EQ(source->description().info.bitsPerComponent, bits);
        EXPECT_EQ(source->image().format(), pixels->format());
        EXPECT_EQ(largestDifference(*decode(path).value(), *before), 0);
        EXPECT_EQ(textProperty(path, codec::key::kTiff, "Artist"), "me");
    }
}

TEST(Modify, FailuresLeaveNothingBehind)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({400, 300}, kRgb), path));
    auto const before = readBytes(path);

    // A disk that fills up while the result is written.
    auto const run = runVelk({"-s", "format", "bmp", path}, ".", [] {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit const limit = {64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.status, 13);
    EXPECT_NE(run.errors.find("File too large"), std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("Error: Unable to write image to file " + path + "."), std::string::npos);
    EXPECT_TRUE(readBytes(path) == before);
    EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.png"});

    // A directory that takes no files, even from root.
    auto const refused = runVelk({"-r", "90", path, "--out", "/proc/self"});
    EXPECT_EQ(refused.status, 13);
    EXPECT_NE(refused.errors.find("Unable to write image to file /proc/"), std::string::npos)
        << refused.errors;

    // A target that is a directory cannot be replaced by the rename.
    std::filesystem::create_directories(directory / "out/photo.png");
    auto const occupied = runVelk({"-r", "90", path, "--out", directory / "out"});
    EXPECT_EQ(occupied.status, 13);
    EXPECT_NE(
        occupied.errors.find("Error: Cannot to rename temporary file to " + (directory / "out/photo.png")),
        std::string::npos)
        << occupied.errors;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory / "out"), {}), 1);
}

TEST(Modify, AClosedPipeBehindTheMessagesLeavesNoTemporaryFile)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({48, 32}, kRgb), path));
    auto const child = ::fork();
    if (child == 0) {
        int pipe[2];
        if (::pipe(pipe) != 0 || ::dup2(pipe[1], STDERR_FILENO) < 0)
            ::_exit(127);
        ::close(pipe[0]);
        // The warning about the suffix is written while the result waits under its temporary name.
        ::execl(VELK_BINARY, VELK_BINARY, "-s", "format", "jpeg", path.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
    EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.png"});
}

TEST(Modify, WarnsWhenTwoResultsHaveOneName)
{
    TemporaryDirectory const directory;
    for (auto const* const folder : {"a", "b", "out"})
        std::filesystem::create_directory(directory / folder);
    ASSERT_TRUE(encode("public.jpeg", photoLike({48, 32}, kRgb), directory / "a/x.jpg"));
    ASSERT_TRUE(encode("public.png", photoLike({48, 32}, kRgb), directory / "b/x.png"));
    ASSERT_TRUE(encode("public.png", photoLike({48, 32}, kRgb), directory / "out/x.png"));
    auto const changed = std::string("Warning: Output file suffix changed to png\n");
    auto const out = directory / "out/x.png";

    auto const together =
        runVelk({"-s", "format", "png", "a/x.jpg", "b/x.png", "-o", "out"}, directory.path());
    EXPECT_EQ(together.status, 0);
    EXPECT_EQ(together.errors,
        changed + "Warning: " + out + ": the result of " + (directory / "b/x.png") + " replaced that of "
            + (directory / "a/x.jpg") + "\n");

    auto const ontoInput =
        runVelk({"-s", "format", "png", "a/x.jpg", "out/x.png", "-o", "out"}, directory.path());
    EXPECT_EQ(ontoInput.errors,
        changed + "Warning: " + out + ": this file was replaced by the result of " + (directory / "a/x.jpg")
            + "\n" + "Warning: " + out + ": the result of " + out + " replaced that of "
            + (directory / "a/x.jpg") + "\n");

    // One input twice loses nothing.
    EXPECT_EQ(runVelk({"-r", "90", "b/x.png", "b/x.png", "-o", "out"}, directory.path()).errors, "");
}

TEST(Modify, ASignalInTheMiddleLeavesTheOriginalAlone)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.png";
    ASSERT_TRUE(encode("public.png", photoLike({900, 700}, kRgb), path));
    auto const before = readBytes(path);
    // An enlargement that takes far longer than the signal.
    auto const child = ::fork();
    if (child == 0) {
        ::execl(VELK_BINARY, VELK_BINARY, "-Z", "30000", path.c_str(), nullptr);
        ::_exit(127);
    }
    for (int i = 0; i < 5000 && directory.names().size() < 2; ++i)
        ::usleep(1000);
    EXPECT_EQ(directory.names().size(), 2u);
    ::kill(child, SIGTERM);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(directory.names(), std::vector<std::string> {"photo.png"});
    EXPECT_TRUE(readBytes(path) == before);
}

TEST(Modify, ReplacedFilesKeepTheirPermissionBits)
{
    TemporaryDirectory const directory;
    auto const path = directory / "photo.jpg";
    ASSERT_TRUE(encode("public.jpeg", photoLike({48, 32}, kRgb), path));
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(runVelk({"-f", "h", path}).status, 0);
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST(Modify, ABrokenFileAmongGoodOnesFailsAlone)
{
    TemporaryDirectory const directory;
    ASSERT_TRUE(encode("public.png", photoLike({48, 32}, kRgb), directory / "good.png"));
    auto const good = readBytes(directory / "good.png");
    Bytes const broken(good.begin(), good.begin() + 40);
    writeBytes(directory / "broken.png", broken);
    auto const run = runVelk({"-f", "h", directory / "broken.png", directory / "good.png"});
    EXPECT_EQ(run.status, 13);
    EXPECT_NE(run.errors.find(directory / "broken.png"), std::string::npos) << run.errors;
    EXPECT_TRUE(readBytes(directory / "broken.png") == broken);
    EXPECT_FALSE(readBytes(directory / "good.png") == good);
    EXPECT_EQ(directory.names(), (std::vector<std::string> {"broken.png", "good.png"}));
}

} // namespace velk
