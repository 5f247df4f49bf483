#include "image/OutputFormat.h"

#include "base/Reporting.h"
#include "image/NumberText.h"
#include "platform/codec/ModuleCodecs.h"
#include "platform/codec/PropertyKeys.h"
#include "properties/FormatTable.h"

#include <algorithm>

namespace velk {

using namespace codec;

namespace {

constexpr std::string_view kCompression = "Compression";

// Compression schemes of TIFF 6.0, tag 259.
constexpr int kLzw = 5;
constexpr int kPackBits = 32773;

struct CompressionWord {
    std::string_view word;
    int compression;
};

constexpr CompressionWord kCompressionWords[] = {{"lzw", kLzw}, {"pacbits", kPackBits}};

struct QualityWord {
    std::string_view word;
    float quality;
};

constexpr QualityWord kQualityWords[] = {{"low", 0.25F}, {"normal", 0.5F}, {"high", 0.75F}, {"best", 1.0F}};

std::optional<float> qualityFromText(std::string const& value)
{
    auto const word = std::ranges::find(kQualityWords, value, &QualityWord::word);
    if (word != std::end(kQualityWords))
        return word->quality;
    auto const percentage = leadingNumber(value);
    if (!percentage || *percentage < 0 || *percentage > 100)
        return std::nullopt;
    return static_cast<float>(*percentage) * 0.01F;
}

// Says what is missing when velk knows the format and only cannot write it here and now.
void warnOfMissingModule(std::string_view keyword)
{
    auto const* type = types::fileTypeWithExtension(keyword);
    auto const* codec = type ? codecForType(type->identifier) : nullptr;
    if (codec && !isInstalled(*codec))
        reportWarning("{}\n", missingModuleText(*codec));
}

} // namespace

void selectOutputFormat(ImageEditState& state, std::string const& value)
{
    auto const& table = formatTable();
    auto const row = std::ranges::find_if(
        table, [&](FormatRow const& format) { return !format.keyword.empty() && format.keyword == value; });
    if (row == table.end())
        warnOfMissingModule(value);
    state.outputType = row == table.end() ? value : std::string(row->typeIdentifier);
}

void selectFormatOptions(ImageEditState& state, std::string const& value)
{
    auto& tiff = subDictionary(state.properties, key::kTiff);
    if (value == "default") {
        tiff.erase(std::string(kCompression));
        state.properties.erase(std::string(key::kLossyCompressionQuality));
        return;
    }
    if (value == "noChromaSubSampling") {
        set(state.properties, key::kChromaSubsamplingX, 1);
        set(state.properties, key::kChromaSubsamplingY, 1);
        return;
    }
    auto const word = std::ranges::find(kCompressionWords, value, &CompressionWord::word);
    if (word != std::end(kCompressionWords)) {
        set(tiff, kCompression, word->compression);
        return;
    }
    if (auto const quality = qualityFromText(value))
        set(state.properties, key::kLossyCompressionQuality, *quality);
    else
        reportWarning("Unknown format option {}\n", value);
}

} // namespace velk
