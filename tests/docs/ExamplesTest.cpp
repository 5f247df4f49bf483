#include "support/TestFiles.h"
#include "support/TestImages.h"

#include <gtest/gtest.h>

#include <fstream>

namespace velk {

using namespace test;

namespace {

// The files that the documents' examples speak of.
class ExampleDirectory {
public:
    ExampleDirectory()
    {
        graphics::PixelFormat const rgb = {.model = graphics::ColorModel::RGB};
        auto const photo = readBytes(dataFile("Canon_PowerShot_S40.jpg"));
        for (auto const name : {"photo.jpg", "second.jpg"})
            writeBytes(m_directory / name, photo);
        EXPECT_TRUE(encode("public.png", photoLike({120, 90}, rgb), m_directory / "drawing.png"));
        EXPECT_TRUE(encode("public.tiff", photoLike({120, 90}, rgb), m_directory / "scan.tiff"));
        writeBytes(m_directory / "monitor.icc", readBytes(dataFile("DisplayP3-v4.icc")));
        writeBytes(m_directory / "press.icc", readBytes(dataFile("AdobeCompat-v2.icc")));
        EncodeExtras withProfile;
        withProfile.profile = shareBytes(readBytes(dataFile("AdobeCompat-v2.icc")));
        EXPECT_TRUE(encode(
            "public.jpeg", photoLike({60, 40}, rgb), m_directory / "photo-with-profile.jpg", withProfile));
        writeBytes(m_directory / "contact-sheet.js", readBytes(documentPath("samples/contact-sheet.js")));
        for (auto const name : {"small", "web", "photos", "cache"})
            std::filesystem::create_directory(m_directory / name);
        for (auto const name : {"photos/a.jpg", "photos/b.jpg"})
            writeBytes(m_directory / name, photo);
    }

    std::string path() const { return m_directory.path(); }

    static std::string documentPath(std::string const& name) { return std::string(VELK_TOP) + "/" + name; }

private:
    TemporaryDirectory m_directory;
};

// The lines of the document's indented blocks that start with `velk `.
std::vector<std::string> examplesIn(std::string const& document)
{
    std::ifstream file(ExampleDirectory::documentPath(document));
    EXPECT_TRUE(file) << document;
    std::vector<std::string> examples;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("    velk ") || line.starts_with("    find photos "))
            examples.push_back(line.substr(4));
    }
    return examples;
}

// Runs a line in a shell that finds velk.
int runInShell(std::string const& line, std::string const& directory)
{
    auto const bin = std::filesystem::path(VELK_BINARY).parent_path().string();
    auto const command = "cd '" + directory + "' && export PATH='" + bin
        + "':\"$PATH\" XDG_CACHE_HOME=\"$PWD/cache\" && {\n" + line + "\n} >output.txt 2>errors.txt";
    return std::system(command.c_str());
}

} // namespace

TEST(Examples, OfTheDocumentsWork)
{
    std::size_t count = 0;
    for (auto const document : {"README.md", "docs/guide.md", "docs/profiles.md", "docs/scripting.md"}) {
        // A document's examples build on each other.
        ExampleDirectory const directory;
        for (auto const& example : examplesIn(document)) {
            EXPECT_EQ(runInShell(example, directory.path()), 0) << document << ": " << example;
            auto const errors = readBytes(directory.path() + "/errors.txt");
            EXPECT_EQ(std::string(errors.begin(), errors.end()).find("Error"), std::string::npos) << example;
            ++count;
        }
    }
    EXPECT_GT(count, 40U);
}

TEST(Documents, TheTableOfFormatsIsUpToDate)
{
    TemporaryDirectory const directory;
    auto const made = directory / "formats.md";
    ASSERT_EQ(std::system((std::string(VELK_FORMATS_TABLE) + " > '" + made + "'").c_str()), 0);
    EXPECT_TRUE(readBytes(made) == readBytes(ExampleDirectory::documentPath("docs/formats.md")))
        << "scripts/make-docs writes it anew";
}

} // namespace velk
