#include "script/Output.h"

#include "platform/tasks/MainLoop.h"
#include "script/Configuration.h"
#include "script/OutputQueue.h"
#include "support/TestFiles.h"
#include "support/TestImages.h"
#include "support/TestProfiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace velk {

using namespace test;
using graphics::Alpha;
using graphics::ColorModel;
using graphics::ColorSpace;
using graphics::PixelFormat;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr PixelFormat kRgb {.model = ColorModel::RGB};

PixelBufferPointer grayPixels(double value, graphics::ColorSpace const* space = nullptr)
{
    return paint(
        {8, 8}, kRgb, [value](int, int, int) { return value; }, space);
}

// Stands for a canvas.
class Drawing final : public ExportedObject, public SnapshotSource {
public:
    explicit Drawing(PixelBufferPointer drawn)
        : pixels(std::move(drawn))
    {
    }
    js::ClassDescription const& classDescription() const override { return Image::kClass; }
    std::optional<Snapshot> snapshot() const override
    {
        return Snapshot {.image = graphics::Image(pixels), .memory = 256};
    }

    PixelBufferPointer pixels;
};

class ScriptOutput : public testing::Test {
protected:
    ScriptOutput() { Configuration::sharedInstance()->setOutputDir(m_directory.path()); }
    ~ScriptOutput() override
    {
        Configuration::sharedInstance()->setOutputDir(std::nullopt);
        Configuration::sharedInstance()->setOutputPath(std::nullopt);
        OutputQueue::sharedQueue().resetQueue();
        finish();
    }

    static void finish()
    {
        auto& queue = OutputQueue::sharedQueue();
        while (queue.operationCount() != 0)
            tasks::runMainLoop(std::chrono::milliseconds(100), [&] { return queue.operationCount() == 0; });
        tasks::runMainLoop(std::chrono::milliseconds(0));
    }

    Output named(char const* name, js::Value const& type = {}) { return {m_drawing, name, type}; }

    std::string fileName(Output const& output)
    {
        auto const path = output.URL();
        return path.starts_with(m_directory.path() + "/") ? path.substr(m_directory.path().size() + 1) : path;
    }

    std::shared_ptr<Image> imageFile(std::string const& path, double value = 0.2)
    {
        EXPECT_TRUE(encode("public.tiff", grayPixels(value), path));
        return std::make_shared<Image>(path);
    }

    // The component of the first pixel in a written file.
    double shade(std::string const& name)
    {
        auto const pixels = decode(m_directory / name);
        return pixels ? component(**pixels, 0, 0, 0) : -1;
    }

    TemporaryDirectory m_directory;
    std::shared_ptr<Drawing> m_canvas = std::make_shared<Drawing>(grayPixels(1));
    js::Value m_drawing = js::Value(m_canvas);
};

} // namespace

TEST_F(ScriptOutput, WorksOutNamesAndTypes)
{
    struct Case {
        char const* name;
        js::Value type;
        char const* file;
        char const* identifier;
    };
    Case const cases[] = {
        {"dir/sub/pic.jpg", {}, "pic.jpg", "public.jpeg"},
        {"dir/pic/", {}, "pic.png", "public.png"},
        {"pic", {}, "pic.png", "public.png"},
        {"pic", "jpg", "pic.jpeg", "public.jpeg"},
        {"pic", "JPEG", "pic.jpeg", "public.jpeg"},
        {"pic", "public.jpeg", "pic.jpeg", "public.jpeg"},
        {"pic", "tif", "pic.tiff", "public.tiff"},
        {"a.png", "jpeg", "a.png", "public.jpeg"},
        {"a.b.TIF", {}, "a.b.TIF", "public.tiff"},
        {"pic", "Foo", "pic.foo", "dyn.foo"},
        {"pic.foo", {}, "pic.foo", "dyn.foo"},
        {".png", {}, ".png.png", "public.png"},
        {"pic", nullptr, "pic.png", "public.png"},
    };
    for (auto const& [name, type, file, identifier] : cases) {
        auto const output = named(name, type);
        EXPECT_EQ(fileName(output), file) << name;
        EXPECT_EQ(output.UTI(), identifier) << name;
    }
}

TEST_F(ScriptOutput, PutsImagesUnderTheirOwnName)
{
    TemporaryDirectory elsewhere;
    auto const image = imageFile(elsewhere / "photo.tif");
    Output const output(js::Value(image), "other.png", "jpg");
    EXPECT_EQ(fileName(output), "photo.tif");
    EXPECT_EQ(output.UTI(), "public.jpeg");
    EXPECT_EQ(Output(js::Value(image), "other.png").UTI(), "public.tiff");

    Configuration::sharedInstance()->setOutputDir(std::nullopt);
    EXPECT_EQ(output.URL(), elsewhere / "photo.tif");
    Configuration::sharedInstance()->setOutputPath("/somewhere/else.png");
    EXPECT_EQ(output.URL(), "/somewhere/else.png");
}

TEST_F(ScriptOutput, WritesWhatWasThereWhenItWasQueued)
{
    named("a.png").addToQueue();
    m_canvas->pixels = grayPixels(0);
    named("b", "tiff").addToQueue();
    finish();
    EXPECT_THAT(m_directory.names(), ElementsAre("a.png", "b.tiff"));
    EXPECT_EQ(shade("a.png"), 1);
    EXPECT_EQ(shade("b.tiff"), 0);
    EXPECT_THAT(OutputQueue::sharedQueue().writtenURLs(),
        testing::UnorderedElementsAre(m_directory / "a.png", m_directory / "b.tiff"));
}

TEST_F(ScriptOutput, ReplacesTheImagesOwnFile)
{
    Configuration::sharedInstance()->setOutputDir(std::nullopt);
    auto const path = m_directory / "photo.tif";
    auto const image = imageFile(path);
    image->setProperty("uti", "public.png");
    Output(js::Value(image), {}).addToQueue();
    finish();
    EXPECT_THAT(m_directory.names(), ElementsAre("photo.tif"));
    EXPECT_EQ((*codec::openImage(path))->type().identifier, "public.png");
    EXPECT_NEAR(shade("photo.tif"), 0.2, 0.01);
}

TEST_F(ScriptOutput, KeepsTheProfileAndNothingElseOfAnImage)
{
    TemporaryDirectory elsewhere;
    auto const profile = std::make_shared<Bytes const>(matrixProfile().bytes());
    auto const space = ColorSpace::withProfile(ColorModel::RGB, profile);
    EncodeExtras extras {.profile = profile};
    extras.resolution = codec::Resolution {300, 300};
    auto const path = elsewhere / "photo.png";
    ASSERT_TRUE(encode("public.png", grayPixels(0.5, &space), path, extras));
    Output(js::Value(std::make_shared<Image>(path)), {}).addToQueue();
    finish();
    auto const written = codec::openImage(m_directory / "photo.png");
    ASSERT_TRUE(written);
    EXPECT_TRUE(equalBytes((*written)->image().space().profile(), profile));
    EXPECT_FALSE((*written)->resolution());
}

TEST_F(ScriptOutput, LeavesNothingHalfDone)
{
    named("a.foo").addToQueue(); // no such format
    Configuration::sharedInstance()->setOutputDir(m_directory / "missing");
    named("b.png").addToQueue();
    Configuration::sharedInstance()->setOutputDir(m_directory.path());
    writeBytes(m_directory / "empty.tif", {});
    Output(js::Value(std::make_shared<Image>(m_directory / "empty.tif")), {}).addToQueue();
    finish();
    EXPECT_THAT(m_directory.names(), ElementsAre("empty.tif"));
    EXPECT_THAT(OutputQueue::sharedQueue().writtenURLs(), IsEmpty());
}

TEST_F(ScriptOutput, SaysWhatIsMissing)
{
    struct Case {
        js::Value source, name;
        char const* message;
    };
    Case const cases[] = {
        {{}, "a.png", "Must specify either a canvas or an image"},
        {"text", "a.png", "Must specify either a canvas or an image"},
        {m_drawing, {}, "Must specify a name for a canvas"},
        {m_drawing, "", "Must specify a name for a canvas"},
        {m_drawing, "/", "Must specify a name for a canvas"},
    };
    for (auto const& [source, name, message] : cases) {
        testing::internal::CaptureStderr();
        Output(source, name).addToQueue();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(message));
    }
    finish();
    EXPECT_THAT(m_directory.names(), IsEmpty());
}

TEST_F(ScriptOutput, TakesOnlyImageTypes)
{
    auto output = named("a.png");
    output.setUTI("public.tiff");
    for (auto const* type : {"public.text", "", "png", "dyn.png", "com.adobe.pdf"}) {
        testing::internal::CaptureStderr();
        output.setUTI(type);
        EXPECT_THAT(
            testing::internal::GetCapturedStderr(), HasSubstr("UTI needs to conform to public.image"));
        EXPECT_EQ(output.UTI(), "public.tiff") << type;
    }
}

TEST_F(ScriptOutput, PrefersTheCanvas)
{
    auto const image = std::make_shared<Image>("/no/where.tif");
    auto output = named("a.png");
    output.setImage(js::Value(image));
    EXPECT_EQ(fileName(output), "a.png");
    EXPECT_EQ(output.imageForScript().as<Image>(), image);
    output.setCanvas(js::Value(image));
    EXPECT_TRUE(output.canvasForScript().isNull());
    EXPECT_EQ(fileName(output), "where.tif");
}

TEST_F(ScriptOutput, ManyAtOnePlaceLeaveOneWholeFile)
{
    Configuration::sharedInstance()->setOutputPath(m_directory / "all.png");
    for (int i = 0; i < 40; ++i)
        named(i % 2 == 0 ? "a.png" : "b.png").addToQueue();
    finish();
    EXPECT_THAT(m_directory.names(), ElementsAre("all.png"));
    EXPECT_EQ(shade("all.png"), 1);
    EXPECT_EQ(OutputQueue::sharedQueue().writtenURLs().size(), 40u);
}

TEST_F(ScriptOutput, TellsObserversOnTheMainThread)
{
    OutputQueue queue;
    auto const mainThread = std::this_thread::get_id();
    int calls = 0;
    queue.observeWrittenURLs([&] {
        EXPECT_EQ(std::this_thread::get_id(), mainThread);
        ++calls;
    });
    queue.addToQueue(named("a.png"));
    while (queue.operationCount() != 0)
        tasks::runMainLoop(std::chrono::milliseconds(100), [&] { return queue.operationCount() == 0; });
    tasks::runMainLoop(std::chrono::milliseconds(0));
    EXPECT_EQ(calls, 1);
    queue.resetQueue();
    EXPECT_THAT(queue.writtenURLs(), IsEmpty());
    tasks::runMainLoop(std::chrono::milliseconds(0));
    EXPECT_EQ(calls, 2);
}

TEST_F(ScriptOutput, WritesAtOnce)
{
    auto output = named("a.png");
    EXPECT_EQ(output.write()->code, OutputError::NoImageType); // only what was set counts here
    output.setUTI("public.png");
    EXPECT_FALSE(output.write());
    EXPECT_EQ(shade("a.png"), 1);
    output.setName("");
    EXPECT_EQ(output.write()->description, "Missing name");

    Configuration::sharedInstance()->setOutputDir(std::nullopt);
    auto const image = imageFile(m_directory / "own.tif");
    auto const before = readBytes(image->URL());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Output(js::Value(image), {}).write());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("NOT OVERWRITING!"));
    EXPECT_EQ(readBytes(image->URL()), before);
}

} // namespace velk
