#include "platform/codec/RadianceFile.h"

#include "platform/graphics/Turn.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace velk::codec {

using namespace graphics;

namespace {

constexpr int kExponentBias = 128 + 8;
// Scanlines of other lengths are never stored component by component.
constexpr std::size_t kShortestRunLength = 8, kLongestRunLength = 0x7FFF;

// ---- The header.

constexpr std::size_t kLongestLine = 4096;
constexpr int kMostLines = 4096;

Result<std::string> readLine(BufferedReader& reader)
{
    std::string line;
    while (auto const byte = reader.byte()) {
        if (*byte == '\n') {
            if (line.ends_with('\r'))
                line.pop_back();
            return line;
        }
        line.push_back(static_cast<char>(*byte));
        if (line.size() > kLongestLine)
            break;
    }
    return fail("the header is damaged");
}

std::string_view trimmed(std::string_view text)
{
    auto const first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The numbers at the start of a text, separated by blanks.
std::vector<double> numbersIn(std::string_view text)
{
    std::vector<double> numbers;
    for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
        double number = 0;
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc())
            break;
        numbers.push_back(number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return numbers;
}

Result<void> takeFormat(RadianceHeader& header, std::string_view value)
{
    header.isXyz = value == "32-bit_rle_xyze";
    if (!header.isXyz && value != "32-bit_rle_rgbe")
        return fail("Radiance pictures of the format {} are not supported", value.substr(0, 80));
    return {};
}

Result<void> takeExposure(RadianceHeader& header, std::string_view value)
{
    auto const numbers = numbersIn(value);
    auto const exposure = numbers.empty() ? 0 : header.exposure * numbers[0];
    if (std::isfinite(exposure) && exposure > 0)
        header.exposure = exposure;
    return {};
}

Result<void> takePrimaries(RadianceHeader& header, std::string_view value)
{
    auto const n = numbersIn(value);
    if (n.size() < 8)
        return {};
    color::Chromaticities const primaries = {{n[0], n[1]}, {n[2], n[3]}, {n[4], n[5]}, {n[6], n[7]}};
    if (primaries.isPossible())
        header.primaries = primaries;
    return {};
}

Result<void> takeSoftware(RadianceHeader& header, std::string_view value)
{
    header.software = value;
    return {};
}

struct Variable {
    std::string_view name;
    Result<void> (*take)(RadianceHeader& header, std::string_view value);
};
constexpr Variable kVariables[] = {
    {"FORMAT", takeFormat},
    {"EXPOSURE", takeExposure},
    {"PRIMARIES", takePrimaries},
    {"SOFTWARE", takeSoftware},
};

Result<void> takeLine(RadianceHeader& header, std::string_view line)
{
    auto const equals = line.find('=');
    if (equals == std::string_view::npos)
        return {};
    auto const variable = std::ranges::find(kVariables, trimmed(line.substr(0, equals)), &Variable::name);
    return variable == std::end(kVariables) ? Result<void>()
                                            : variable->take(header, trimmed(line.substr(equals + 1)));
}

// One of the two lengths in a line such as "-Y 480 +X 640".
struct Axis {
    char name = 0;
    bool isPositive = false;
    std::int32_t length = 0;
};

std::optional<Axis> readAxis(std::string_view& text)
{
    text = trimmed(text);
    if (text.size() < 4 || (text[0] != '+' && text[0] != '-') || (text[1] != 'X' && text[1] != 'Y'))
        return std::nullopt;
    Axis axis {.name = text[1], .isPositive = text[0] == '+'};
    text = trimmed(text.substr(2));
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), axis.length);
    if (error != std::errc() || axis.length <= 0)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return axis;
}

// The first axis counts scanlines, the second the pixels in each. Y grows upwards.
Result<void> takeResolution(RadianceHeader& header, std::string_view line)
{
    auto const lines = readAxis(line);
    auto const pixels = readAxis(line);
    if (!lines || !pixels || lines->name == pixels->name)
        return fail("the line with the resolution is damaged");
    header.stored = {pixels->length, lines->length};
    if (!isPossible(header.stored))
        return fail("a picture of {} x {} pixels is not possible", pixels->length, lines->length);
    bool const isTransposed = lines->name == 'X';
    auto const& x = isTransposed ? *lines : *pixels;
    auto const& y = isTransposed ? *pixels : *lines;
    // Mirroring comes first, in the upright picture's axes, then the axes are swapped.
    header.turn = turnOf({.swapsAxes = isTransposed, .mirrorsX = !x.isPositive, .mirrorsY = y.isPositive});
    return {};
}

// ---- Scanlines.

class ScanlineReader final : public StoredRows {
public:
    ScanlineReader(InputFile const& file, RadianceHeader const& header)
        : m_reader(file, header.dataOffset)
        , m_width(static_cast<std::size_t>(header.stored.width))
    {
    }

    Result<std::size_t> next(std::span<std::uint8_t> row) override
    {
        std::ranges::fill(row, std::uint8_t {0});
        if (m_isDamaged)
            return 0;
        auto const pixels = readScanline(row.data());
        m_isDamaged = pixels < m_width;
        return pixels * sizeof(SharedExponent);
    }

private:
    // Returns how many pixels there are.
    std::size_t readScanline(std::uint8_t* row)
    {
        SharedExponent first;
        if (m_reader.read(first) != first.size())
            return 0;
        bool const isByComponent = first[0] == 2 && first[1] == 2 && first[2] < 128
            && m_width >= kShortestRunLength && m_width <= kLongestRunLength;
        if (!isByComponent)
            return readPixels(first, row);
        return std::size_t {first[2]} << 8 == (m_width & 0x7F00) && first[3] == (m_width & 0xFF)
            ? readComponents(row)
            : 0;
    }

    // Pixels one after the other. One whose mantissas are 1 repeats the last, as often as its exponent says,
    // and another such pixel right after it counts in units of 256, and so on.
    std::size_t readPixels(SharedExponent pixel, std::uint8_t* row)
    {
        std::size_t done = 0;
        for (int shift = 0; done < m_width;) {
            if (pixel[0] == 1 && pixel[1] == 1 && pixel[2] == 1) {
                auto const count = shift < 32 ? std::uint64_t {pixel[3]} << shift : 0;
                if (done == 0 && count > 0)
                    return done;
                for (std::uint64_t i = 0; i < count && done < m_width; ++i, ++done)
                    std::copy_n(row + 4 * (done - 1), 4, row + 4 * done);
                shift += 8;
            } else {
                std::ranges::copy(pixel, row + 4 * done++);
                shift = 0;
            }
            if (done < m_width && m_reader.read(pixel) != pixel.size())
                return done;
        }
        return done;
    }

    // The four components in turn, each as runs: a count above 128 says how often (less 128) the next byte
    // stands, one up to 128 how many bytes follow.
    std::size_t readComponents(std::uint8_t* row)
    {
        for (std::size_t component = 0; component < 4; ++component) {
            for (std::size_t x = 0; x < m_width;) {
                auto const code = m_reader.byte();
                if (!code || *code == 0)
                    return 0;
                bool const isRun = *code > 128;
                std::size_t const count = isRun ? *code - 128u : *code;
                if (count > m_width - x)
                    return 0;
                std::optional<std::uint8_t> value;
                for (std::size_t i = 0; i < count; ++i, ++x) {
                    if (!isRun || i == 0)
                        value = m_reader.byte();
                    if (!value)
                        return 0;
                    row[4 * x + component] = *value;
                }
            }
        }
        return m_width;
    }

    BufferedReader m_reader;
    std::size_t m_width;
    bool m_isDamaged = false;
};

constexpr std::size_t kShortestRun = 4;
constexpr std::size_t kLongestRun = 127, kLongestLiteral = 128;

std::size_t runLength(std::span<std::uint8_t const> values)
{
    auto const limit = std::min(values.size(), kLongestRun);
    std::size_t length = 1;
    while (length < limit && values[length] == values[0])
        ++length;
    return length;
}

void appendRuns(Bytes& to, std::span<std::uint8_t const> values)
{
    while (!values.empty()) {
        std::size_t literal = 0, run = 0;
        while (literal < std::min(values.size(), kLongestLiteral)) {
            run = runLength(values.subspan(literal));
            if (run >= kShortestRun)
                break;
            run = 0;
            ++literal;
        }
        if (literal > 0) {
            to.push_back(static_cast<std::uint8_t>(literal));
            append(to, values.first(literal));
        }
        if (run > 0) {
            to.push_back(static_cast<std::uint8_t>(128 + run));
            to.push_back(values[literal]);
        }
        values = values.subspan(literal + run);
    }
}

} // namespace

bool startsLikeRadiance(ByteSpan head)
{
    return startsWith(head, "#?RADIANCE") || startsWith(head, "#?RGBE");
}

Result<RadianceHeader> readRadianceHeader(InputFile const& file)
{
    BufferedReader reader(file, 0, 4096);
    RadianceHeader header;
    TRY(readLine(reader));
    for (int lines = 0;; ++lines) {
        auto const line = TRY(readLine(reader));
        if (line.empty())
            break;
        if (lines == kMostLines)
            return fail("the header is damaged");
        if (line[0] != '#')
            TRY(takeLine(header, line));
    }
    TRY(takeResolution(header, TRY(readLine(reader))));
    header.dataOffset = reader.position();
    return header;
}

float radianceScale(std::uint8_t exponent)
{
    return exponent == 0 ? 0 : std::ldexp(1.0f, exponent - kExponentBias);
}

SharedExponent toSharedExponent(float red, float green, float blue)
{
    constexpr int kLargestExponent = 255;
    auto const largestValue = 255 * radianceScale(kLargestExponent);
    std::array<float, 3> values = {red, green, blue};
    for (auto& value : values)
        value = value > 0 ? std::min(value, largestValue) : 0;
    auto const largest = std::ranges::max(values);
    int exponent = 0;
    std::frexp(largest, &exponent);
    exponent += kExponentBias - 8;
    // A mantissa that rounds up to 256 needs the next exponent.
    if (exponent >= 0 && exponent < kLargestExponent
        && largest / radianceScale(static_cast<std::uint8_t>(std::max(exponent, 1))) >= 255.5f)
        ++exponent;
    if (largest == 0 || exponent <= 0)
        return {};
    auto const stored = static_cast<std::uint8_t>(std::min(exponent, kLargestExponent));
    auto const scale = radianceScale(stored);
    SharedExponent pixel;
    for (std::size_t i = 0; i < 3; ++i)
        pixel[i] = static_cast<std::uint8_t>(std::min(std::lround(values[i] / scale), 255L));
    pixel[3] = stored;
    return pixel;
}

StoredRowsPointer radianceRows(InputFile const& file, RadianceHeader const& header)
{
    return std::make_unique<ScanlineReader>(file, header);
}

void appendRadianceScanline(Bytes& to, std::span<SharedExponent const> pixels)
{
    auto const width = pixels.size();
    if (width < kShortestRunLength || width > kLongestRunLength) {
        for (auto const& pixel : pixels)
            append(to, pixel);
        return;
    }
    to.push_back(2);
    to.push_back(2);
    appendBE16(to, static_cast<std::uint16_t>(width));
    Bytes component(width);
    for (std::size_t i = 0; i < 4; ++i) {
        std::ranges::transform(
            pixels, component.begin(), [i](SharedExponent const& pixel) { return pixel[i]; });
        appendRuns(to, component);
    }
}

} // namespace velk::codec
