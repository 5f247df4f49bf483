#include "image/GeometryRequests.h"

#include "image/NumberText.h"
#include "properties/TextConversions.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velk {

using graphics::AffineTransform;

namespace {

constexpr double kRadiansPerDegree = 0.0174532925199433;

// A new operation acts before those requested earlier; it turns and scales the frame too once there is one.
void applyOperation(ImageEditState& state, AffineTransform const& operation)
{
    state.imageTransform = operation * state.imageTransform;
    if (state.boxHeight > 0)
        state.frameTransform = operation * state.frameTransform;
}

// Into 0..360 by whole turns; 360 and its positive multiples stay 360.
double normalizedDegrees(double degrees)
{
    if (degrees >= 0 && degrees <= 360)
        return degrees;
    auto const rest = std::fmod(degrees, 360.0);
    if (degrees > 360)
        return rest == 0 ? 360 : rest;
    return rest == 0 ? 0 : rest + 360;
}

Result<float> resampleValue(std::string const& text)
{
    auto const value = parseInteger(text);
    if (value < 1) {
        noteMissing("v > 0");
        return fail("Not a valid resample value");
    }
    return static_cast<float>(value);
}

// The four requests differ in what they measure: the side that their value is compared with, and whether a
// second value gives the width.
struct ResampleKind {
    std::string_view name;
    std::int64_t (*base)(ImageEditState const&);
    bool hasOwnWidth = false;
};

constexpr ResampleKind kResampleKinds[] = {
    {"--resampleHeightWidthMax", [](auto& state) { return std::max(state.sourceWidth, state.sourceHeight); }},
    {"--resampleHeight", [](auto& state) { return state.sourceHeight; }},
    {"--resampleWidth", [](auto& state) { return state.sourceWidth; }},
    {"--resampleHeightWidth", [](auto& state) { return state.sourceHeight; }, true},
};

// Truncates toward zero, as far as an image size can go; anything beyond is refused when it is rendered.
std::int64_t wholePixels(double extent)
{
    constexpr double kLimit = std::numeric_limits<std::int32_t>::max();
    if (std::isnan(extent))
        return 0;
    return static_cast<std::int64_t>(std::clamp(extent, 0.0, kLimit));
}

} // namespace

AffineTransform rotateTransform(double degrees, AffineTransform const& transform)
{
    if (degrees == 0)
        return transform;
    if (degrees == 90)
        return AffineTransform {.a = 0, .b = 1, .c = -1, .d = 0} * transform;
    if (degrees == 180)
        return AffineTransform {.a = -1, .b = 0, .c = 0, .d = -1} * transform;
    if (degrees == 270)
        return AffineTransform {.a = 0, .b = -1, .c = 1, .d = 0} * transform;
    auto const radians = static_cast<double>(static_cast<float>(degrees * kRadiansPerDegree));
    auto const sine = std::sin(radians);
    auto const cosine = std::cos(radians);
    return AffineTransform {.a = cosine, .b = sine, .c = -sine, .d = cosine} * transform;
}

Result<void> requestRotation(ImageEditState& state, FunctionRequest const& request)
{
    auto const degrees = normalizedDegrees(-leadingNumber(request.at(1)).value_or(0));
    applyOperation(state, rotateTransform(degrees, {}));
    return {};
}

Result<void> requestFlip(ImageEditState& state, FunctionRequest const& request)
{
    bool const horizontal = request.at(1).starts_with('h');
    applyOperation(state, horizontal ? AffineTransform::scale(-1, 1) : AffineTransform::scale(1, -1));
    return {};
}

Result<void> requestResampling(ImageEditState& state, FunctionRequest const& request)
{
    auto const kind = std::ranges::find(kResampleKinds, request.at(0), &ResampleKind::name);
    if (kind == std::end(kResampleKinds))
        return fail("Cannot do {} on file", request.at(0));
    // Single precision is part of the behaviour: it decides on which side of a whole pixel a size falls.
    auto const sy = TRY(resampleValue(request.at(1))) / static_cast<float>(kind->base(state));
    auto sx = sy;
    if (kind->hasOwnWidth)
        sx = TRY(resampleValue(request.at(2))) / static_cast<float>(state.sourceWidth);
    applyOperation(state, AffineTransform::scale(static_cast<double>(sx), static_cast<double>(sy)));
    return {};
}

Result<void> requestFrame(ImageEditState& state, FunctionRequest const& request)
{
    auto const height = parseInteger(request.at(1));
    auto const width = parseInteger(request.at(2));
    if (height < 1 || width < 1) {
        noteMissing("ch > 0 && cw > 0");
        return fail("Not a valid pixelsH pixelsW value");
    }
    state.boxHeight = height;
    state.boxWidth = width;
    return {};
}

Result<void> requestOffset(ImageEditState& state, FunctionRequest const& request)
{
    state.offsetY = parseInteger(request.at(1));
    state.offsetX = parseInteger(request.at(2));
    return {};
}

Result<void> requestPadColor(ImageEditState& state, FunctionRequest const& request)
{
    constexpr std::size_t kDigits = 6;
    auto const& text = request.at(1);
    if (text.size() != kDigits) {
        noteMissing("strlen(padStr)==6");
        return fail("Invalid pad color");
    }
    std::array<std::uint8_t, 3> color = {};
    for (std::size_t i = 0; i < kDigits; ++i) {
        auto const digit = hexadecimalDigit(text[i]);
        if (!digit) {
            noteMissing("isxdigit(padStr[i])");
            return fail("Invalid pad color");
        }
        color[i / 2] = static_cast<std::uint8_t>(color[i / 2] * 16 + *digit);
    }
    state.padColor = color;
    return {};
}

FittedTransform fitTransform(std::int64_t width, std::int64_t height, AffineTransform transform)
{
    auto const w = static_cast<double>(width);
    auto const h = static_cast<double>(height);
    auto const [minX, maxX] = std::minmax({0.0F, static_cast<float>(w * transform.a),
        static_cast<float>(h * transform.c), static_cast<float>(w * transform.a + h * transform.c)});
    auto const [minY, maxY] = std::minmax({0.0F, static_cast<float>(w * transform.b),
        static_cast<float>(h * transform.d), static_cast<float>(w * transform.b + h * transform.d)});
    // An extent that misses the next whole pixel by no more than this still counts as reaching it.
    constexpr double kReach = 0.2;
    auto const fit = [](float low, float high) {
        auto const extent = high - low;
        auto const fitted = wholePixels(static_cast<double>(extent) + kReach);
        auto const translation = (static_cast<float>(fitted) - extent) * 0.5F - low;
        return std::pair(fitted, static_cast<double>(translation));
    };
    auto const [fittedWidth, tx] = fit(minX, maxX);
    auto const [fittedHeight, ty] = fit(minY, maxY);
    transform.tx = tx;
    transform.ty = ty;
    return {fittedWidth, fittedHeight, transform};
}

FittedTransform finalGeometry(ImageEditState const& state)
{
    auto out = fitTransform(state.sourceWidth, state.sourceHeight, state.imageTransform);
    if (state.boxHeight <= 0)
        return out;
    auto const frame = fitTransform(state.boxWidth, state.boxHeight, state.frameTransform);
    if (state.offsetX != 0 || state.offsetY != 0) {
        // The offset counts down from the top edge, the transform up from the bottom one.
        auto const below = static_cast<float>(out.height) - static_cast<float>(state.offsetY + frame.height);
        out.transform.tx -= static_cast<double>(state.offsetX);
        out.transform.ty -= static_cast<double>(below);
    } else {
        out.transform.tx += static_cast<double>(frame.width - out.width) * 0.5;
        out.transform.ty += static_cast<double>(frame.height - out.height) * 0.5;
    }
    out.width = frame.width;
    out.height = frame.height;
    return out;
}

} // namespace velk
