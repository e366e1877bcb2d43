#include "host/model/ZipArchive.h"

#include "host/model/TemporaryFolder.h"
#include "host/model/ZipMaker.h"

#include <gtest/gtest.h>

using namespace host;

TEST(ZipArchive, ReadsEntriesOfAZipFile)
{
    TemporaryFolder const folder;
    std::string const large(100000, 'x');
    ASSERT_TRUE(MakeZip(folder.GetPath("a.zip"),
                        {{"list.txt", "hello"}, {"sub/large.bin", large}, {"empty", ""}}));
    std::string reason;
    auto const archive = ZipArchive::Open(folder.GetPath("a.zip"), reason);
    ASSERT_NE(archive, nullptr) << reason;
    EXPECT_EQ(archive->GetNames().size(), 3u);
    EXPECT_TRUE(archive->Contains("sub/large.bin"));
    EXPECT_FALSE(archive->Contains("large.bin"));
    EXPECT_EQ(archive->GetSize("sub/large.bin"), 100000u);

    std::string content;
    EXPECT_TRUE(archive->Read("list.txt", content));
    EXPECT_EQ(content, "hello");
    EXPECT_TRUE(archive->Read("sub/large.bin", content));
    EXPECT_EQ(content, large);
    EXPECT_TRUE(archive->Read("empty", content));
    EXPECT_EQ(content, "");
}

TEST(ZipArchive, RefusesAMissingEntryAndStaysUsable)
{
    TemporaryFolder const folder;
    ASSERT_TRUE(MakeZip(folder.GetPath("a.zip"), {{"a", "1"}}));
    std::string reason;
    auto const archive = ZipArchive::Open(folder.GetPath("a.zip"), reason);
    ASSERT_NE(archive, nullptr);
    std::string content = "old";
    EXPECT_FALSE(archive->Read("b", content));
    EXPECT_TRUE(content.empty());
    EXPECT_TRUE(archive->Read("a", content));
    EXPECT_EQ(content, "1");
}

TEST(ZipArchive, GivesAReasonForFilesThatAreNoZip)
{
    TemporaryFolder const folder;
    for (std::string const& path :
         {folder.GetPath("missing.zip"), folder.Write("text.zip", "no zip file at all"),
          folder.GetPath()}) {
        std::string reason;
        EXPECT_EQ(ZipArchive::Open(path, reason), nullptr) << path;
        EXPECT_FALSE(reason.empty()) << path;
    }
}

TEST(ZipArchive, NoticesADamagedEntry)
{
    TemporaryFolder const folder;
    std::string text;
    for (int i = 0; i < 5000; ++i) {
        text += std::to_string(i * 7919) + " ";
    }
    std::string const path = folder.GetPath("a.zip");
    ASSERT_TRUE(MakeZip(path, {{"data", text}}));
    std::string bytes = TemporaryFolder::Read(path);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 0x55);
    folder.Write("a.zip", bytes);

    std::string reason;
    auto const archive = ZipArchive::Open(path, reason);
    ASSERT_NE(archive, nullptr) << reason;
    std::string content;
    EXPECT_FALSE(archive->Read("data", content));
    EXPECT_TRUE(content.empty());
}
