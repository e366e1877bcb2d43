#include "host/model/Utf8.h"

#include <gtest/gtest.h>

using namespace host;

TEST(Utf8, EncodesEachLength)
{
    std::string text;
    for (uint32_t const codePoint : {0x41u, 0xE9u, 0x20ACu, 0x1F600u}) {
        AppendUtf8(text, codePoint);
    }
    EXPECT_EQ(text, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf8, EncodesWhatIsNoCharacterAsReplacement)
{
    std::string text;
    AppendUtf8(text, 0xD800);
    AppendUtf8(text, 0x110000);
    EXPECT_EQ(text, "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8, TellsWellFormedTextFromOther)
{
    EXPECT_TRUE(IsUtf8(""));
    EXPECT_TRUE(IsUtf8("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));
    EXPECT_FALSE(IsUtf8("\xA9"));             // a continuation without a start
    EXPECT_FALSE(IsUtf8("\xC3"));             // cut off
    EXPECT_FALSE(IsUtf8("\xC3\x41"));         // not continued
    EXPECT_FALSE(IsUtf8("\xC0\x80"));         // overlong
    EXPECT_FALSE(IsUtf8("\xE0\x80\x80"));     // overlong
    EXPECT_FALSE(IsUtf8("\xED\xA0\x80"));     // surrogate
    EXPECT_FALSE(IsUtf8("\xF4\x90\x80\x80")); // above U+10FFFF
    EXPECT_FALSE(IsUtf8("\xFF"));
}

TEST(Utf8, ReadsOtherTextAsLatin1AndDropsTheByteOrderMark)
{
    EXPECT_EQ(ToUtf8("caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(ToUtf8("\xEF\xBB\xBFname"), "name");
}
