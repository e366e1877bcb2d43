#include "host/report/HtmlText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

std::vector<std::uint8_t> Bytes(std::string const& text)
{
    return {text.begin(), text.end()};
}

} // namespace

TEST(EscapeHtml, ReplacesWhatHasAMeaning)
{
    EXPECT_EQ(host::EscapeHtml("<a href=\"x\">Tom & 'Ann'</a>"),
              "&lt;a href=&quot;x&quot;&gt;Tom &amp; &#39;Ann&#39;&lt;/a&gt;");
}

TEST(EscapeHtml, KeepsPlainAndForeignLetters)
{
    std::string const text = "chaise \xC3\xA9l\xC3\xA9gante \xE2\x82\xAC \xF0\x9F\x8F\xA0\n\tend";
    EXPECT_EQ(host::EscapeHtml(text), text);
    EXPECT_EQ(host::EscapeHtml(""), "");
}

TEST(EscapeHtml, ReplacesBytesThatAreNoText)
{
    std::string const unknown = "\xEF\xBF\xBD";
    EXPECT_EQ(host::EscapeHtml(std::string("a\0b", 3)), "a" + unknown + "b");
    EXPECT_EQ(host::EscapeHtml("\x1B[1m"), unknown + "[1m");
    EXPECT_EQ(host::EscapeHtml("caf\xE9!"), "caf" + unknown + "!");
    EXPECT_EQ(host::EscapeHtml("cut \xE2\x82"), "cut " + unknown + unknown);
}

TEST(EncodeBase64, PadsToGroupsOfFour)
{
    EXPECT_EQ(host::EncodeBase64({}), "");
    EXPECT_EQ(host::EncodeBase64(Bytes("f")), "Zg==");
    EXPECT_EQ(host::EncodeBase64(Bytes("fo")), "Zm8=");
    EXPECT_EQ(host::EncodeBase64(Bytes("foo")), "Zm9v");
    EXPECT_EQ(host::EncodeBase64(Bytes("foobar")), "Zm9vYmFy");
    EXPECT_EQ(host::EncodeBase64({0xFF, 0xFE, 0xFD}), "//79");
}
