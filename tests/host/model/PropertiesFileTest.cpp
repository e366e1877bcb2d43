#include "host/model/PropertiesFile.h"

#include <gtest/gtest.h>

using namespace host;

TEST(PropertiesFile, TakesAllThreeSeparatorsWithBlanksAround)
{
    Properties const p = ParseProperties("a=1\nb:2\nc 3\n  d \t=\t 4\ne\n");
    EXPECT_EQ(GetProperty(p, "a"), "1");
    EXPECT_EQ(GetProperty(p, "b"), "2");
    EXPECT_EQ(GetProperty(p, "c"), "3");
    EXPECT_EQ(GetProperty(p, "d"), "4");
    EXPECT_EQ(GetProperty(p, "e", "missing"), "");
    EXPECT_EQ(p.size(), 5u);
}

TEST(PropertiesFile, KeepsNumbersAfterHashInKeysAndSkipsComments)
{
    Properties const p = ParseProperties("# name#1=no\n! name#1=no\n  # no=no\nname#1=Bed # 1\n");
    EXPECT_EQ(p.size(), 1u);
    EXPECT_EQ(GetProperty(p, "name#1"), "Bed # 1");
}

TEST(PropertiesFile, JoinsContinuedLinesWithoutTheirIndent)
{
    Properties const p = ParseProperties("text=one, \\\n    two, \\\r\n\tthree\nnext=4");
    EXPECT_EQ(GetProperty(p, "text"), "one, two, three");
    EXPECT_EQ(GetProperty(p, "next"), "4");
}

TEST(PropertiesFile, DoesNotContinueAfterAnEscapedBackslash)
{
    Properties const p = ParseProperties("path=C:\\\\\nnext=4\n");
    EXPECT_EQ(GetProperty(p, "path"), "C:\\");
    EXPECT_EQ(GetProperty(p, "next"), "4");
}

TEST(PropertiesFile, ContinuedCommentTextIsPartOfTheValue)
{
    Properties const p = ParseProperties("a=1\\\n# 2\nb=3");
    EXPECT_EQ(GetProperty(p, "a"), "1# 2");
    EXPECT_EQ(GetProperty(p, "b"), "3");
}

TEST(PropertiesFile, ReadsEscapesInKeysAndValues)
{
    Properties const p = ParseProperties("a\\=b\\ c=\\t\\n\\r\\f\\q\\=\n");
    EXPECT_EQ(GetProperty(p, "a=b c"), "\t\n\r\fq=");
}

TEST(PropertiesFile, ReadsUnicodeEscapesAndSurrogatePairs)
{
    Properties const p = ParseProperties("a=\\u00e9\\u20AC\nb=\\uD83D\\uDE00\n");
    EXPECT_EQ(GetProperty(p, "a"), "\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(GetProperty(p, "b"), "\xF0\x9F\x98\x80");
}

TEST(PropertiesFile, ReplacesDamagedUnicodeEscapes)
{
    std::string const replacement = "\xEF\xBF\xBD";
    Properties const p = ParseProperties("a=\\u12\nb=\\uD83Dx\nc=\\uDE00\nd=\\uzzzz");
    EXPECT_EQ(GetProperty(p, "a"), replacement + "12");
    EXPECT_EQ(GetProperty(p, "b"), replacement + "x");
    EXPECT_EQ(GetProperty(p, "c"), replacement);
    EXPECT_EQ(GetProperty(p, "d"), replacement + "zzzz");
}

TEST(PropertiesFile, ReadsLatin1AndUtf8Alike)
{
    EXPECT_EQ(GetProperty(ParseProperties("a=\xA9 2008"), "a"), "\xC2\xA9 2008");
    EXPECT_EQ(GetProperty(ParseProperties("a=\xC2\xA9 2008"), "a"), "\xC2\xA9 2008");
}

TEST(PropertiesFile, LastOfRepeatedKeysCounts)
{
    EXPECT_EQ(GetProperty(ParseProperties("a=1\na=2\n"), "a"), "2");
}

TEST(PropertiesFile, AcceptsEmptyTextAndALoneBackslash)
{
    EXPECT_TRUE(ParseProperties("").empty());
    EXPECT_TRUE(ParseProperties("\n\r\n  \n").empty());
    EXPECT_TRUE(ParseProperties("\\").empty());
}

TEST(PropertiesFile, ReadsFiniteNumbersOnly)
{
    Properties const p = ParseProperties("a=59.4\nb= -1e2 \nc=nan\nd=inf\ne=12cm\nf=\ng=+3");
    EXPECT_EQ(GetNumber(p, "a", 7.0), 59.4);
    EXPECT_EQ(GetNumber(p, "b", 7.0), -100.0);
    for (char const* key : {"c", "d", "e", "f", "missing"}) {
        EXPECT_EQ(GetNumber(p, key, 7.0), 7.0) << key;
    }
    EXPECT_EQ(GetNumber(p, "g", 7.0), 3.0);
}
