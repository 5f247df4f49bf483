#include "platform/color/ColorConversion.h"

#include "platform/color/ProfileTransform.h"
#include "platform/graphics/WorkCrew.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velk::color {

using namespace graphics;

namespace {

struct Step {
    RowKernel kernel;
    PixelFormat result;
};

// The steps from one format to another, built one after the other.
struct Plan {
    PixelFormat format;
    std::vector<Step> steps;
    bool isCostly = false;

    void add(PixelFormat result, RowKernel kernel)
    {
        steps.push_back({std::move(kernel), result});
        format = result;
    }
    void changeComponents(ComponentType type)
    {
        auto result = format;
        result.componentType = type;
        if (result != format)
            add(result, convertComponents(format, type));
    }
    void changeAlpha(Alpha alpha, Bytes background)
    {
        auto result = format;
        result.alpha = alpha;
        if (result != format)
            add(result, convertAlpha(format, alpha, std::move(background)));
    }
};

// Runs a plan over rows; the intermediate rows lie in two buffers that take turns.
class PlanRunner {
public:
    explicit PlanRunner(Plan plan)
        : m_steps(std::move(plan.steps))
    {
    }

    bool isEmpty() const { return m_steps.empty(); }
    void run(std::uint8_t const* in, std::uint8_t* out, std::size_t pixels)
    {
        for (std::size_t i = 0; i < m_steps.size(); ++i) {
            auto& [kernel, result] = m_steps[i];
            auto& scratch = m_scratch[i % 2];
            auto* to = out;
            if (i + 1 < m_steps.size()) {
                scratch.resize(pixels * result.bytesPerPixel());
                to = scratch.data();
            }
            kernel(in, to, pixels);
            in = to;
        }
    }

private:
    std::vector<Step> m_steps;
    Bytes m_scratch[2];
};

bool isGrayToRgbDevice(ColorSpace const& from, ColorSpace const& to)
{
    return from.model() == ColorModel::Gray && to.model() == ColorModel::RGB && !from.profile()
        && !to.profile();
}

Result<Plan> makePlan(ColoredPixels const& source, ConversionTarget const& target);

// The background as one opaque pixel of the target's model, in `type` components.
Result<Bytes> backgroundPixel(ConversionTarget const& target, ComponentType type)
{
    // White is bare paper: that needs no separation.
    bool const isWhite = std::all_of(
        std::begin(target.background), std::end(target.background), [](float part) { return part == 1; });
    PixelFormat const opaque {type, target.format.model, Alpha::None};
    if (isWhite && target.format.model == ColorModel::CMYK)
        return Bytes(opaque.bytesPerPixel());
    // An RGB target takes the numbers as its own.
    ConversionTarget pixelTarget {.format = opaque, .space = target.space, .intent = target.intent};
    if (target.format.model == ColorModel::RGB)
        pixelTarget.space = ColorSpace::device(ColorModel::RGB);
    ColoredPixels const source {{ComponentType::Float32, ColorModel::RGB, Alpha::None}};
    Bytes in(sizeof(target.background));
    std::memcpy(in.data(), target.background, in.size());
    Bytes out(pixelTarget.format.bytesPerPixel());
    PlanRunner runner(TRY(makePlan(source, pixelTarget)));
    if (runner.isEmpty())
        return in;
    runner.run(in.data(), out.data(), 1);
    return out;
}

// Indices stay indices until the end: the palette is converted, and the pixels are looked up in the result.
Result<Plan> makeIndexedPlan(ColoredPixels const& source, ConversionTarget const& target)
{
    auto const& palette = *source.space.palette();
    auto const alpha = palette.hasAlpha() ? Alpha::Straight : Alpha::None;
    ColoredPixels const colors {{ComponentType::UInt8, ColorModel::RGB, alpha}, source.space.base()};
    constexpr std::size_t kIndices = 256;
    Bytes pixels;
    for (std::size_t i = 0; i < kIndices; ++i) {
        // Broken files hold indices without an entry: black.
        auto const entry =
            i < palette.entries.size() ? palette.entries[i] : std::array<std::uint8_t, 4> {0, 0, 0, 255};
        append(pixels, ByteSpan(entry.data(), static_cast<std::size_t>(colors.format.channels())));
    }
    PlanRunner runner(TRY(makePlan(colors, target)));
    auto const bytesPerPixel = target.format.bytesPerPixel();
    Bytes table = pixels;
    if (!runner.isEmpty()) {
        table.resize(kIndices * bytesPerPixel);
        runner.run(pixels.data(), table.data(), kIndices);
    }
    Plan plan {source.format, {}};
    plan.add(target.format, lookUp(std::move(table), bytesPerPixel));
    return plan;
}

Result<void> addColorSteps(Plan& plan, ColorSpace const& space, ConversionTarget const& target)
{
    if (isGrayToRgbDevice(space, target.space) && target.through.empty()) {
        auto result = plan.format;
        result.model = ColorModel::RGB;
        plan.add(result, expandGray(plan.format));
        return {};
    }
    if (plan.format.alpha == Alpha::Premultiplied)
        plan.changeAlpha(Alpha::Straight, {});
    auto result = target.format;
    result.alpha = plan.format.hasAlpha() || target.format.hasAlpha() ? Alpha::Straight : Alpha::None;
    auto links = target.through;
    links.push_back({target.space, target.intent});
    auto colors = TRY(profileTransform({plan.format, space}, links, result));
    plan.add(result, std::move(colors.kernel));
    plan.isCostly = colors.isCostly;
    return {};
}

// What became opaque on the way is straight and premultiplied alike.
bool isOpaqueByNow(PixelFormat source, PixelFormat now)
{
    return !source.hasAlpha() && now.hasAlpha();
}

Result<Plan> makePlan(ColoredPixels const& source, ConversionTarget const& target)
{
    if (source.format.model == ColorModel::Indexed)
        return makeIndexedPlan(source, target);
    Plan plan {source.format, {}};
    if (changesColors(source.space, target))
        TRY(addColorSteps(plan, source.space, target));
    if (isOpaqueByNow(source.format, plan.format))
        plan.format.alpha = target.format.alpha;

    // Alpha is dealt with in the finer components of the two.
    auto const type = target.format.componentType;
    if (componentSize(type) > componentSize(plan.format.componentType))
        plan.changeComponents(type);
    Bytes background;
    if (plan.format.hasAlpha() && !target.format.hasAlpha())
        background = TRY(backgroundPixel(target, plan.format.componentType));
    plan.changeAlpha(target.format.alpha, std::move(background));
    plan.changeComponents(type);
    return plan;
}

class ConvertedRows final : public RowSource {
public:
    ConvertedRows(RowSourcePointer rows, PixelLayout layout, Plan const& plan)
        : RowSource(std::move(layout))
        , m_rows(std::move(rows))
        , m_runners(plan.isCostly && size().pixelCount() >= kSharedPixels ? kParts : 1, PlanRunner(plan))
    {
    }

private:
    // As much as stays in the processor's nearer caches.
    static constexpr std::size_t kBlockBytes = 128 * 1024;
    // A costly block is worked on in parts, each by a runner of its own; less than so many pixels are done
    // before threads have started.
    static constexpr std::size_t kParts = 4;
    static constexpr std::int64_t kSharedPixels = 1 << 15;

    Result<void> readRows(RowView rows) override
    {
        if (m_runners[0].isEmpty())
            return m_rows->read(rows);
        auto const stride = m_rows->rowBytes();
        auto const blockRows =
            static_cast<std::int32_t>(std::clamp<std::size_t>(kBlockBytes / stride, m_runners.size(), 64));
        m_block.resize(stride * static_cast<std::size_t>(std::min(blockRows, rows.count)));
        for (std::int32_t done = 0; done < rows.count;) {
            RowView const block {m_block.data(), stride, std::min(blockRows, rows.count - done)};
            TRY(m_rows->read(block));
            convert(block, {rows.row(done), rows.stride, block.count});
            done += block.count;
        }
        return {};
    }

    void convert(RowView from, RowView to)
    {
        auto const parts = std::min(m_runners.size(), static_cast<std::size_t>(from.count));
        auto const endOf = [&](std::size_t part) {
            return static_cast<std::int32_t>(part * static_cast<std::size_t>(from.count) / parts);
        };
        auto const convertPart = [&](std::size_t part) {
            for (auto i = endOf(part); i < endOf(part + 1); ++i)
                m_runners[part].run(from.row(i), to.row(i), static_cast<std::size_t>(size().width));
        };
        if (parts > 1)
            m_crew.run(parts, convertPart);
        else
            convertPart(0);
    }

    RowSourcePointer m_rows;
    std::vector<PlanRunner> m_runners;
    WorkCrew m_crew;
    Bytes m_block;
};

} // namespace

bool changesColors(ColorSpace const& from, ConversionTarget const& target)
{
    auto const& to = target.space;
    if (!target.through.empty() || from.model() != to.model())
        return true;
    if (from.profile() && to.profile())
        return !equalBytes(from.profile(), to.profile());
    return target.readsDevice && (from.profile() || to.profile());
}

Result<RowSourcePointer> convertColors(RowSourcePointer rows, ConversionTarget const& target)
{
    if (target.format.model == ColorModel::Indexed || target.format.model != target.space.model())
        return fail("an image cannot be converted to this color model");
    auto layout = rows->layout();
    if (layout.format == target.format && layout.space == target.space && target.through.empty())
        return rows;
    auto plan = TRY(makePlan({layout.format, layout.space}, target));
    layout.format = target.format;
    layout.space = target.space;
    return std::make_unique<ConvertedRows>(std::move(rows), std::move(layout), plan);
}

} // namespace velk::color
