#include "modules/ModuleTesting.h"
#include "support/TestNegative.h"

#include <gmock/gmock.h>

namespace velk::test {

// A page, a drawing or a negative cannot be had back from a picture of it.
TEST(Originals, AreNotReplacedByPicturesOfThem)
{
    std::string const svg = "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='10'/>";
    std::string const pdf = "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
                            "2 0 obj\n<< /Type /Pages /Kids [3 0 R] /Count 1 >>\nendobj\n"
                            "3 0 obj\n<< /Type /Page /Parent 2 0 R /MediaBox [0 0 72 72] >>\nendobj\n"
                            "trailer\n<< /Root 1 0 R >>\n%%EOF\n";
    struct Case {
        std::string_view type;
        char const* name;
        Bytes content;
    };
    auto const bytes = [](std::string_view text) { return Bytes(text.begin(), text.end()); };
    Case const cases[] = {
        {"public.svg-image", "a.svg", bytes(svg)},
        {"com.adobe.pdf", "a.pdf", bytes(pdf)},
        {"com.adobe.raw-image", "a.dng", TestNegative {}.file()},
    };
    for (auto const& [type, name, content] : cases) {
        if (!codec::isInstalled(*codec::codecForType(type)))
            continue;
        TemporaryDirectory const directory;
        auto const path = directory / name;
        writeBytes(path, content);
        std::vector<std::string> const makesPicture = {"-s", "format", "png", "-Z", "16", path};
        auto const with = [&](std::vector<std::string> const& more) {
            auto arguments = makesPicture;
            arguments.insert(arguments.end(), more.begin(), more.end());
            return runVelk(arguments, directory.path());
        };
        for (auto const& run : {with({}), with({"--out", std::string("./") + name})}) {
            EXPECT_EQ(run.status, 13) << name;
            EXPECT_NE(run.errors.find(path + ": a picture cannot replace"), std::string::npos) << run.errors;
            EXPECT_EQ(readBytes(path), content) << name;
        }
        EXPECT_EQ(directory.names(), std::vector<std::string> {name});
        // Elsewhere, also beside it, is fine.
        EXPECT_EQ(with({"--out", "."}).status, 0) << name;
        EXPECT_THAT(directory.names(), testing::UnorderedElementsAre(name, "a.png"));
        EXPECT_EQ(readBytes(path), content) << name;
    }
}

} // namespace velk::test
