// Numbers, signatures and encodings in texts.
#include "base/TextEncoding.h"
#include "base/Utf8.h"
#include "fuzz/FuzzInput.h"
#include "image/NumberText.h"
#include "platform/codec/FixedText.h"
#include "platform/color/ProfileText.h"
#include "properties/TextConversions.h"

#include <cmath>

using namespace velk;

namespace {

void readNumbers(std::string_view text)
{
    [[maybe_unused]] auto const integer = parseInteger(text);
    if (auto const number = leadingNumber(text))
        fuzz::require(!std::isnan(*number), "a number is one");
    fuzz::require(!formatSignature(parseSignature(text)).empty(), "a signature can be written");
}

void convertEncodings(ByteSpan bytes)
{
    for (auto const& text :
        {utf8FromUndeclared(bytes), utf8FromLatin1(bytes), utf8FromUtf16(bytes, ByteOrder::Big),
            utf8FromUtf16(bytes, ByteOrder::Little), codec::readFixedText(bytes)}) {
        fuzz::require(isUtf8(text), "every conversion gives UTF-8");
        auto const wide = utf16FromUtf8(text, ByteOrder::Little);
        auto const isMark =
            wide.size() >= 2 && (loadLE16(wide.data()) == 0xFEFF || loadLE16(wide.data()) == 0xFFFE);
        if (!isMark)
            fuzz::require(utf8FromUtf16(wide, ByteOrder::Little) == text, "UTF-16 reads back as it was");
        fuzz::require(codec::fixedText(text, 16).size() == 16, "a field has its size");
    }
    if (auto const text = color::elementText(bytes))
        fuzz::require(isUtf8(*text), "texts of profiles are UTF-8");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    ByteSpan const bytes(data, size);
    readNumbers(asText(bytes));
    convertEncodings(bytes);
    return 0;
}
