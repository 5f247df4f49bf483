#include "platform/desktop/FileIcon.h"

#include "platform/desktop/FileUri.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <optional>

namespace velk {

using namespace graphics;
using test::TemporaryDirectory;

namespace {

// An environment variable for the time of a test; null = not set.
class ScopedVariable {
public:
    ScopedVariable(char const* name, char const* value)
        : m_name(name)
    {
        if (auto const* const old = std::getenv(name))
            m_old = old;
        set(value);
    }
    ScopedVariable(ScopedVariable const&) = delete;
    ~ScopedVariable() { set(m_old ? m_old->c_str() : nullptr); }

private:
    void set(char const* value)
    {
        if (value)
            ::setenv(m_name, value, 1);
        else
            ::unsetenv(m_name);
    }

    char const* m_name;
    std::optional<std::string> m_old;
};

mode_t modeOf(std::string const& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

Image photo(Size size)
{
    return Image(test::photoLike(size, {.model = ColorModel::RGB}));
}

desktop::IconSubject subject()
{
    return {.path = "/tmp/a b.jpg",
        .size = 1234,
        .modificationTime = 1700000000,
        .mimeType = "image/jpeg",
        .pixelSize = {6000, 4000}};
}

// MD5 of "file:///tmp/a%20b.jpg".
constexpr auto kIconName = "45f1b47640b52dc5428fd58ac89fec15.png";

} // namespace

TEST(FileUri, EscapesAsDesktopProgramsDo)
{
    struct {
        char const* path;
        char const* uri;
    } const cases[] = {
        {"/", "file:///"},
        {"/a b/%41", "file:///a%20b/%2541"},
        {"/!$&'()*+,-.:=@_~", "file:///!$&'()*+,-.:=@_~"},
        {"/\"#;<>?[\\]^`{|}\x7F\n", "file:///%22%23%3B%3C%3E%3F%5B%5C%5D%5E%60%7B%7C%7D%7F%0A"},
        // UTF-8, and bytes that are none.
        {"/\xC3\xA4\xFF", "file:///%C3%A4%FF"},
    };
    for (auto const& [path, uri] : cases)
        EXPECT_EQ(desktop::fileUri(path), uri);
}

TEST(FileIcon, IsKeptInEverySizeForItsOwnerAlone)
{
    TemporaryDirectory const directory;
    ScopedVariable const cache("XDG_CACHE_HOME", (directory / "new/cache").c_str());
    // Twice: an icon is replaced.
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(desktop::setFileIcon(photo({700, 350}), subject()));
    struct {
        char const* directory;
        Size size;
    } const sizes[] = {
        {"normal", {128, 64}}, {"large", {256, 128}}, {"x-large", {512, 256}}, {"xx-large", {700, 350}}};
    for (auto const& [name, size] : sizes) {
        auto const folder = directory / "new/cache/thumbnails/" + name;
        auto const path = folder + "/" + kIconName;
        EXPECT_EQ(test::decode(path).value()->size(), size) << name;
        EXPECT_EQ(modeOf(folder), 0700u);
        EXPECT_EQ(modeOf(path), 0600u);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
    }
    EXPECT_EQ(modeOf(directory / "new"), 0700u);
}

TEST(FileIcon, SaysWhichFileItShows)
{
    TemporaryDirectory const directory;
    ScopedVariable const cache("XDG_CACHE_HOME", directory.path().c_str());
    ASSERT_TRUE(desktop::setFileIcon(photo({30, 20}), subject()));
    auto const source = codec::openImage(directory / "thumbnails/large/" + kIconName).value();
    EXPECT_EQ(source->image().size(), (Size {30, 20}));
    auto const properties = source->properties();
    auto const* const png = findDictionary(properties, "{PNG}");
    ASSERT_NE(png, nullptr);
    std::pair<char const*, char const*> const texts[] = {
        {"Thumb::URI", "file:///tmp/a%20b.jpg"},
        {"Thumb::MTime", "1700000000"},
        {"Thumb::Size", "1234"},
        {"Thumb::Mimetype", "image/jpeg"},
        {"Thumb::Image::Width", "6000"},
        {"Thumb::Image::Height", "4000"},
    };
    for (auto const& [key, text] : texts) {
        auto const* const value = find(*png, key);
        ASSERT_NE(value, nullptr) << key;
        EXPECT_EQ(*value, PropertyValue(text));
    }
}

TEST(FileIcon, AnIconIsAtLeastOnePixelWide)
{
    TemporaryDirectory const directory;
    ScopedVariable const cache("XDG_CACHE_HOME", directory.path().c_str());
    ASSERT_TRUE(desktop::setFileIcon(photo({1, 3000}), subject()));
    EXPECT_EQ(test::decode(directory / "thumbnails/normal/" + kIconName).value()->size(), (Size {1, 128}));
}

TEST(FileIcon, NeedsAPlaceToBeKept)
{
    TemporaryDirectory const directory;
    auto const home = directory.path();
    auto const file = directory / "file";
    test::writeBytes(file, asBytes("in the way"));
    struct {
        char const* cache;
        char const* home;
        bool isPossible;
    } const cases[] = {
        {nullptr, nullptr, false},
        {"", "", false},
        {"relative", nullptr, false},
        {"relative", home.c_str(), true},
        {file.c_str(), home.c_str(), false},
    };
    for (auto const& [cachePath, homePath, isPossible] : cases) {
        ScopedVariable const cacheVariable("XDG_CACHE_HOME", cachePath);
        ScopedVariable const homeVariable("HOME", homePath);
        EXPECT_EQ(desktop::setFileIcon(photo({8, 8}), subject()).has_value(), isPossible)
            << (cachePath ? cachePath : "no cache") << ", " << (homePath ? homePath : "no home");
    }
    EXPECT_TRUE(std::filesystem::exists(directory / ".cache/thumbnails/normal/" + kIconName));
}

} // namespace velk
