#include "base/Md5.h"

#include <gtest/gtest.h>

namespace velk {

TEST(Md5, AgreesWithTheStandardAroundBlockEnds)
{
    // The first three are from RFC 1321, A.5; the padding of the others just fits, or needs one more block.
    struct {
        std::string text;
        char const* digest;
    } const cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
            "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
    };
    for (auto const& [text, digest] : cases)
        EXPECT_EQ(hexadecimal(md5(asBytes(text))), digest) << text.size();
}

} // namespace velk
