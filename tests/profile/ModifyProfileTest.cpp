#include "platform/color/IccProfile.h"
#include "support/TestFiles.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <sys/resource.h>

#include <csignal>

namespace velk {

using color::IccProfile;
using test::runVelk;
using test::TemporaryDirectory;
using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

constexpr auto kFailed = "Error 13: an unknown error occurred\nTry 'velk --help' for help using this tool\n";

// A profile in a directory of its own.
class ModifyProfile : public testing::Test {
protected:
    ModifyProfile() { test::writeBytes(path, original); }

    test::RunResult run(Words arguments, char const* locale = "C") const
    {
        arguments.push_back(path);
        return runVelk(arguments, directory.path(), [=] { ::setenv("LC_ALL", locale, 1); });
    }

    void expectSuccess(Words const& arguments, char const* locale = "C") const
    {
        auto const result = run(arguments, locale);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, path + "\n  " + path + "\n");
    }

    /// The same, with the file left as it was.
    void expectRefusal(Words const& arguments, std::string const& errors) const
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        auto const result = run(arguments);
        EXPECT_EQ(result.errors, errors + kFailed);
        EXPECT_EQ(result.status, 13);
        EXPECT_EQ(result.output, path + "\n  " + path + "\n");
        EXPECT_EQ(test::readBytes(path), original);
    }

    std::string queried(std::string const& key, char const* locale = "C") const
    {
        auto const output = run({"-g", key}, locale).output;
        auto const start = path.size() + key.size() + 5;
        return output.substr(start, output.size() - start - 1);
    }

    IccProfile profile() const { return IccProfile::open(path).value(); }

    TemporaryDirectory const directory;
    std::string const path = directory / "p.icc";
    Bytes const original = test::matrixProfile().word(44, 0x0003BEEF).bytes();
};

} // namespace

TEST_F(ModifyProfile, SetsHeaderFieldsAndNothingElse)
{
    struct {
        std::string key, value;
        std::size_t offset;
        std::vector<std::uint32_t> words;
    } const cases[] = {
        {"cmm", "abcd", 4, {0x61626364}},
        {"cmm", "0x00000000", 4, {0}},
        {"cmm", "0xfFfFfFfE", 4, {0xFFFFFFFE}},
        {"creator", "0x61626364", 80, {0x61626364}},
        {"platform", "MSFT", 40, {FourCC("MSFT").code}},
        {"deviceManufacturer", "0", 48, {0}},
        {"quality", "normal", 44, {0x0000BEEF}},
        {"quality", "draft", 44, {0x0001BEEF}},
        {"quality", "best", 44, {0x0002BEEF}},
        {"renderingIntent", "perceptual", 64, {0}},
        {"renderingIntent", "relative", 64, {1}},
        {"renderingIntent", "saturation", 64, {2}},
        {"renderingIntent", "satuation", 64, {2}},
        {"renderingIntent", "absolute", 64, {3}},
        {"version", "4.2", 8, {0x04200000}},
        {"version", "2.1.1", 8, {0x02110000}},
        {"deviceModel", "0", 52, {0}},
        {"deviceModel", " +77 dwarves", 52, {77}},
        {"deviceAttributes0", "-16", 56, {0xFFFFFFF0}},
        {"deviceAttributes1", "2147483647", 60, {0x7FFFFFFF}},
        {"creation", "2003:07:01", 24, {2003u << 16 | 7, 1u << 16, 0}},
        {"creation", "2999:02:31 23:59:59", 24, {2999u << 16 | 2, 31u << 16 | 23, 59u << 16 | 59}},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.key + " " + row.value);
        test::writeBytes(path, original);
        expectSuccess({"-s", row.key, row.value});
        auto expected = original;
        for (std::size_t i = 0; i < row.words.size(); ++i)
            storeInteger(expected.data() + row.offset + 4 * i, row.words[i], ByteOrder::Big);
        EXPECT_EQ(test::readBytes(path), expected);
    }
}

TEST_F(ModifyProfile, RefusesBadValuesAndUndoesWhatCameBefore)
{
    struct {
        std::string key;
        Words values;
        std::string message, assertion;
        bool assertsFirst;
    } const cases[] = {
        {"cmm", {"ap", "", "abcde", "0xFFFFFFFF", "0X12345678", "0x1234567", "\xC3\xA4pp"},
            "Not a valid cmm signature", "t!=-1=0 [Profile, line 248]", true},
        {"creator", {"0x0000000g"}, "Not a valid creator signature", "t!=-1=0 [Profile, line 255]", true},
        {"platform", {"ap"}, "Not a valid platform signature", "t!=-1=0 [Profile, line 262]", true},
        {"deviceManufacturer", {"ap"}, "Not a valid deviceManufacturer signature",
            "t!=-1=0 [Profile, line 269]", true},
        {"quality", {"Best", "", "3"}, "Not a valid quality value", "v!=-1=0 [Profile, line 276]", false},
        {"renderingIntent", {"colorimetric", "Absolute"}, "Not a valid intent value",
            "v!=-1=0 [Profile, line 283]", false},
        {"version", {"9.0", "3.0", "4.10", "4", "4.", "4.3.", "4.3.1.2", "4.3 ", "4,3", "4.3-1", "x.3"},
            "Not a valid version value", "v!=-1=0 [Profile, line 290]", false},
        {"deviceModel", {"abc", "00", ""}, "Not a valid deviceModel value", "v!=-1=0 [Profile, line 297]",
            true},
        {"deviceAttributes0", {"abc"}, "Not a valid deviceAttributes0 value", "v!=-1=0 [Profile, line 304]",
            true},
        {"deviceAttributes1", {"abc"}, "Not a valid deviceAttributes1 value", "v!=-1=0 [Profile, line 311]",
            true},
        {"creation",
            {"2003:07:01 12:30", "1980:01:01", "3000:01:01", "2003:13:01", "2003:00:01", "2003:01:32",
                "2003:01:00", "2003:01:01 24:00:00", "2003:01:01 00:60:00", "2003:01:01 00:00:60", "2003", "",
                "now", "2003:01:01 00:00:-1"},
            "Not a valid creation value", "dt.year=0 [Profile, line 318]", false},
    };
    for (auto const& row : cases) {
        auto const message = "Error: " + row.message + "\n";
        for (auto const& value : row.values)
            expectRefusal({"-s", "platform", "APPL", "--deleteTag", "desc", "-s", row.key, value, "-s",
                              "version", "2.0"},
                message);
        auto const debugged = run({"--debug", "-s", row.key, row.values[0]}).errors;
        auto const assertion = "   assert: " + row.assertion + "\n";
        EXPECT_THAT(debugged, HasSubstr(row.assertsFirst ? assertion + message : message + assertion));
    }
}

TEST_F(ModifyProfile, RefusesWhatProfilesCannotDo)
{
    auto const refusal = [](std::string const& what) { return "Error: Cannot do " + what + " on file\n"; };
    for (std::string const key : {"size", "class", "space", "pcs", "md5", "make", "Description", ""})
        expectRefusal({"-s", key, "1"}, refusal("--setProperty " + key));
    expectRefusal({"-d", "description"}, refusal("--deleteProperty description"));
    expectRefusal({"-s", "cmm", "abcd", "-r", "90"}, refusal("--rotate"));
    expectRefusal({"-i"}, refusal("--addIcon"));
}

TEST_F(ModifyProfile, DescriptionIsLocalizedAndReadBack)
{
    struct {
        char const* locale;
        std::string text;
        std::vector<std::string> codes;
        std::string english;
    } const cases[] = {
        {"C", "Schöner Schirm", {"enUS"}, "Schöner Schirm"},
        {"en_US.UTF-8", "plain", {"enUS"}, "plain"},
        {"de_AT.UTF-8", "Schöner \xF0\x9F\x98\x80 Schirm ", {"deAT", "enUS"}, "Sch?ner ? Schirm "},
        {"ja", "画面", {std::string("ja\0\0", 4), "enUS"}, "??"},
        {"fr_FR", std::string(2000, 'x'), {"frFR", "enUS"}, std::string(1024, 'x')},
        {"de_DE", "", {"deDE", "enUS"}, ""},
        // Not UTF-8, so it can only be what it was typed as.
        {"en_GB", "Caf\xE9", {"enGB", "enUS"}, "Caf?"},
    };
    for (auto const& row : cases) {
        SCOPED_TRACE(row.locale);
        test::writeBytes(path, original);
        expectSuccess({"-s", "description", row.text}, row.locale);
        EXPECT_EQ(queried("description", row.locale), row.text == "Caf\xE9" ? "Café" : row.text);
        EXPECT_EQ(queried("description", "en_US"), row.english);
        auto const element = *profile().tag(FourCC("dscm"));
        ASSERT_TRUE(startsWith(element, std::string_view("mluc\0\0\0\0", 8)));
        ASSERT_EQ(loadBE32(element.data() + 8), row.codes.size());
        for (std::size_t i = 0; i < row.codes.size(); ++i)
            EXPECT_EQ(asText(std::span(element).subspan(16 + 12 * i, 4)), row.codes[i]);
        auto header = profile().header();
        header.size = static_cast<std::uint32_t>(original.size());
        EXPECT_EQ(header, IccProfile::parse(original)->header());
        EXPECT_TRUE(
            equalBytes(profile().tag(FourCC("desc")), IccProfile::parse(original)->tag(FourCC("desc"))));
    }
}

TEST_F(ModifyProfile, CopyrightIsPlainTextAndCut)
{
    expectSuccess({"-s", "copyright", "© Ünder"});
    EXPECT_EQ(*profile().tag(FourCC("cprt")), test::textElement("? ?nder"));
    EXPECT_EQ(queried("copyright"), "? ?nder");
    expectSuccess({"-s", "copyright", std::string(201, 'c')});
    EXPECT_EQ(*profile().tag(FourCC("cprt")), test::textElement(std::string(200, 'c')));
    expectSuccess({"-s", "copyright", ""});
    EXPECT_EQ(*profile().tag(FourCC("cprt")), test::textElement(""));
}

TEST_F(ModifyProfile, DeletesTags)
{
    auto const before = profile();
    expectSuccess({"--deleteTag", "none", "--deleteTag", "invalid", "--deleteTag", "0xFFFFFFFF"});
    EXPECT_EQ(test::readBytes(path), original);
    expectSuccess({"--deleteTag", "desc", "--deleteTag", "0x72545243"});
    EXPECT_FALSE(profile().contains(FourCC("desc")));
    EXPECT_FALSE(profile().contains(FourCC("rTRC")));
    EXPECT_TRUE(equalBytes(profile().tag(FourCC("gTRC")), before.tag(FourCC("rTRC"))));
    EXPECT_EQ(queried("description"), "<nil>");
}

TEST_F(ModifyProfile, LoadsAndCopiesTags)
{
    Bytes large(3000);
    for (std::size_t i = 0; i < large.size(); ++i)
        large[i] = static_cast<std::uint8_t>(i * 7);
    test::writeBytes(directory / "large", large);
    test::writeBytes(directory / "empty", {});
    auto const description = *profile().tag(FourCC("desc"));
    auto const white = *profile().tag(FourCC("wtpt"));

    // A copy is a copy of what stood in the file.
    expectSuccess({"--loadTag", "desc", "large", "--copyTag", "desc", "dscm", "--loadTag", "none", "empty",
        "--copyTag", "gone", "wtpt", "--copyTag", "bad", "wtpt", "--copyTag", "wtpt", "bad"});
    EXPECT_EQ(*profile().tag(FourCC("desc")), large);
    EXPECT_EQ(*profile().tag(FourCC("dscm")), description);
    EXPECT_EQ(*profile().tag(FourCC("wtpt")), white);
    EXPECT_EQ(*profile().tag(kNoFourCC), white);
    EXPECT_TRUE(profile().tag(FourCC("none"))->empty());
    EXPECT_EQ(test::readBytes(path).size() % 4, 0u);
    EXPECT_EQ(profile().header().size, test::readBytes(path).size());
}

TEST_F(ModifyProfile, TagFilesThatCannotBeRead)
{
    std::filesystem::create_directory(directory / "folder");
    expectRefusal({"--loadTag", "desc", "gone"}, "Error: Cannot open file gone\n");
    expectRefusal(
        {"--deleteTag", "desc", "--loadTag", "desc", "folder"}, "Error: Failed to read file folder\n");
    expectRefusal({"--loadTag", "desc", "/dev/zero"}, "Error: Failed to read file /dev/zero\n");
    struct {
        char const *file, *assertion;
    } const steps[] = {
        {"gone", "f>=0=0 [Profile, line 372]\nError: Cannot"},
        {"folder", "bytesRead>=0=0 [Profile, line 377]\nError: Failed"},
        {"/dev/zero", "buff != NULL=0 [Profile, line 382]\nError: Failed"},
    };
    for (auto const& step : steps) {
        EXPECT_THAT(run({"--debug", "--loadTag", "desc", step.file}).errors,
            HasSubstr("   assert: " + std::string(step.assertion)));
    }
}

TEST_F(ModifyProfile, WritesElsewhereWhenAskedTo)
{
    std::filesystem::create_directory(directory / "out");
    auto const result = run({"-s", "cmm", "abcd", "-o", "out"});
    EXPECT_EQ(result.output, path + "\n  " + (directory / "out/p.icc") + "\n");
    EXPECT_EQ(test::readBytes(path), original);
    EXPECT_EQ(IccProfile::open(directory / "out/p.icc")->header().cmm, FourCC("abcd"));
    run({"-s", "cmm", "efgh", "-o", "out/p.icc"});
    EXPECT_EQ(IccProfile::open(directory / "out/p.icc")->header().cmm, FourCC("efgh"));
}

TEST_F(ModifyProfile, AFailedWriteLosesNothing)
{
    test::writeBytes(directory / "large", Bytes(100'000));
    auto const result = runVelk({"--debug", "--loadTag", "data", "large", path}, directory.path(), [] {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit const limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(result.status, 13);
    EXPECT_THAT(result.errors,
        testing::EndsWith("   assert: err=-1 [Profile, line 409]\nWarning: " + path
            + ": File too large\nError: Failed to write profile\n" + kFailed));
    EXPECT_EQ(test::readBytes(path), original);
    EXPECT_EQ(directory.names(), (Words {"large", "p.icc"}));
}

TEST_F(ModifyProfile, WhatIsNoProfileIsNotModified)
{
    auto broken = original;
    broken[128] = 0xFF;
    test::writeBytes(path, broken);
    auto const result = run({"--debug", "-s", "cmm", "abcd"});
    EXPECT_THAT(
        result.errors, HasSubstr("   assert: profile=0 [Profile, line 161]\nWarning: " + path + ": "));
    EXPECT_THAT(result.errors, HasSubstr("\nError: Error modifying file\n"));
    EXPECT_EQ(test::readBytes(path), broken);
}

TEST_F(ModifyProfile, ColorEnginesOpenTheResult)
{
    for (auto const* const name : {"DisplayP3-v4.icc", "AdobeCompat-v2.icc", "sGrey-v4.icc"}) {
        test::writeBytes(path, test::readBytes(test::dataFile(name)));
        expectSuccess({"-s", "description", "Mine", "-s", "copyright", "Me", "-s", "renderingIntent",
            "relative", "--deleteTag", "chad", "--copyTag", "wtpt", "xtra"});
        auto* const opened = cmsOpenProfileFromFile(path.c_str(), "r");
        ASSERT_TRUE(opened) << name;
        char text[20] = {};
        cmsGetProfileInfoASCII(opened, cmsInfoCopyright, "en", "US", text, sizeof(text));
        EXPECT_STREQ(text, "Me");
        auto const* const localized =
            static_cast<cmsMLU const*>(cmsReadTag(opened, cmsSigProfileDescriptionMLTag));
        ASSERT_TRUE(localized);
        cmsMLUgetASCII(localized, "en", "US", text, sizeof(text));
        EXPECT_STREQ(text, "Mine");
        EXPECT_EQ(cmsGetHeaderRenderingIntent(opened), 1u);
        auto* const lab = cmsCreateLab4Profile(nullptr);
        auto const format = std::string_view(name).starts_with("sGrey") ? TYPE_GRAY_8 : TYPE_RGB_8;
        auto* const transform = cmsCreateTransform(opened, format, lab, TYPE_Lab_DBL, 1, 0);
        EXPECT_TRUE(transform) << name;
        if (transform)
            cmsDeleteTransform(transform);
        cmsCloseProfile(lab);
        cmsCloseProfile(opened);
    }
}

} // namespace velk
