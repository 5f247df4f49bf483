#include "script/Configuration.h"

#include "platform/js/Context.h"
#include "script/ScriptRunner.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velk {

using Words = std::vector<std::string>;

void PrintTo(SizeValue size, std::ostream* stream)
{
    *stream << size.width << " x " << size.height;
}

TEST(Configuration, RecommendsASizeForEveryPicture)
{
    struct Case {
        SizeValue configured;
        double longestEdge;
        SizeValue picture;
        SizeValue requested;
    };
    Case const cases[] = {
        {{0, 0}, 0, {400, 200}, {400, 200}},
        {{0, 0}, 100, {400, 200}, {100, 50}},
        {{0, 0}, 100, {200, 400}, {50, 100}},
        {{0, 0}, 100, {300, 300}, {100, 100}},
        {{0, 0}, 100, {60, 40}, {60, 40}},
        {{0, 0}, 100, {100, 75}, {100, 75}},
        {{0, 0}, 100, {1000, 5}, {100, 1}}, // half a pixel rounds up
        {{0, 0}, 100, {400, 0}, {400, 0}},
        {{0, 0}, 100, {400, -1}, {400, -1}},
        {{0, 0}, -5, {400, 200}, {400, 200}},
        {{300, 300}, 100, {400, 200}, {300, 300}},
        {{300, 0}, 100, {10, 10}, {300, 0}},
    };
    for (auto const& [configured, edge, picture, requested] : cases) {
        Configuration configuration;
        configuration.setSize(configured);
        configuration.setLongestEdge(edge);
        EXPECT_EQ(configuration.requestedSizeForSize(picture), requested);
    }
}

TEST(Configuration, IsReadOnlyToScripts)
{
    auto const configuration = std::make_shared<Configuration>();
    configuration->setArguments({"--js", "ä.js"});
    configuration->setOutputPath("");
    configuration->setSize({3, 4});
    auto const context = js::Context::create();
    context->setGlobal("velk", js::Value(std::shared_ptr<js::NativeObject>(configuration)));

    auto const text = [&](std::string const& source) { return context->evaluate(source, "").toString(); };
    EXPECT_EQ(
        text("'use strict'; velk.size = 1; velk.size.width = 9; velk.arguments.push(1); velk.images = 0;"
             "[velk.size.width, velk.size.height, velk.arguments.join(), velk.images.length].join()"),
        "3,4,--js,ä.js,0");
    EXPECT_EQ(text("[velk.outputDir, velk.outputPath === '', velk.longestEdge].join()"), ",true,0");
    EXPECT_EQ(text("'constructor' in velk && velk.constructor === Object"), "true");
    EXPECT_EQ(text("velk.requestedSizeForSize({width: 9, height: 9}).height"), "4");
    configuration->setSize({});
    EXPECT_EQ(text("velk.requestedSizeForSize().width"), "NaN");
    EXPECT_EQ(text("velk.requestedSizeForSize('wide').width"), "NaN");
}

TEST(ScriptRunner, ReadsTheRecommendedSizeFromTheCommandLine)
{
    struct Case {
        Words arguments;
        SizeValue size;
        double longestEdge = 0;
    };
    Case const cases[] = {
        {{}, {0, 0}},
        {{"--js", "a.js", "-z", "100", "200"}, {100, 200}},
        {{"--resampleHeightWidth", "100", "200"}, {100, 200}},
        {{"-c", "30", "40"}, {30, 40}},
        {{"--cropToHeightWidth", "30", "40"}, {30, 40}},
        {{"-c", "30", "40", "-z", "100", "200"}, {100, 200}},
        {{"--resampleWidth", "300", "-z", "100", "200"}, {300, 0}},
        {{"--resampleHeight", "20", "--resampleWidth", "300"}, {300, 20}},
        {{"--resampleWidth", "0", "-z", "0", "0", "-c", "5", "6"}, {5, 6}},
        {{"-z", "1", "2", "-z", "3", "4"}, {1, 2}},
        {{"-Z", "512"}, {0, 0}, 512},
        {{"--resampleHeightWidthMax", "12.5px"}, {0, 0}, 12.5},
        {{"-z", " +1e2x", "-3."}, {100, -3}},
        {{"-z", "0.1", ".5"}, {static_cast<double>(0.1F), 0.5}},
        {{"-z", "wide", "7"}, {0, 7}},
        {{"-z", "inf", "nan"}, {0, 0}},
        {{"-z", "1e99", "--5"}, {0, 0}},
        {{"-z", "7"}, {7, 0}},
        {{"-Z"}, {0, 0}, 0},
    };
    for (auto const& [arguments, size, edge] : cases) {
        auto const name = arguments.empty() ? "" : arguments[0];
        EXPECT_EQ(recommendedSize(arguments), size) << name;
        EXPECT_EQ(recommendedLongestEdge(arguments), edge) << name;
    }
}

} // namespace velk
