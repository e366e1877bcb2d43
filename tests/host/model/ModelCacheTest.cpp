#include "host/model/ModelCache.h"

#include "host/model/GeneratedFurniture.h"
#include "host/model/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

using namespace host;

namespace
{

constexpr uint64_t s_fingerprint = 0x1234567890ABCDEFull;

/// Small, but with something in every field.
FurnitureLibrary MakeSmallLibrary()
{
    FurnitureLibrary library;
    library.materials = {{"red", {1.0f, 0.25f, 0.125f}, 0.5f}, {"", {0, 0, 0}, 1.0f}};
    Mesh mesh;
    mesh.name = "seat";
    mesh.positions = {0, 0, 0, 1, 0, 0, 0, 2, 0};
    mesh.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1};
    mesh.indices = {0, 1, 2};
    mesh.material = 1;
    mesh.UpdateBox();
    Mesh lines;
    lines.positions = {0, 0, 0, 1, 0, 0};
    lines.normals = {0, 1, 0, 0, 1, 0};
    lines.texCoords = {0.25f, 0.5f, 1.0f, 0.0f};
    lines.indices = {0, 1, 1, 0};
    lines.corners = 2;
    lines.UpdateBox();
    library.meshes = {mesh, Mesh(), lines};
    FurniturePiece piece;
    piece.name = "chair \xC3\xA9";
    piece.category = "Kitchen";
    piece.creator = "someone";
    piece.licence = "CC0";
    piece.width = 1.0f;
    piece.depth = 2.0f;
    piece.height = 3.0f;
    piece.elevation = 0.5f;
    piece.topHeight = 0.25f;
    piece.doorOrWindow = true;
    piece.firstMesh = 0;
    piece.numMeshes = 2;
    library.pieces = {piece};
    library.credits = {{"title", "author", "licence", "text\nwith lines"}};
    library.note = "a note";
    return library;
}

void ExpectEqual(FurnitureLibrary const& a, FurnitureLibrary const& b)
{
    ASSERT_EQ(a.materials.size(), b.materials.size());
    for (size_t i = 0; i < a.materials.size(); ++i) {
        EXPECT_EQ(a.materials[i].name, b.materials[i].name);
        EXPECT_EQ(a.materials[i].opacity, b.materials[i].opacity);
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(a.materials[i].color[k], b.materials[i].color[k]);
        }
    }
    ASSERT_EQ(a.meshes.size(), b.meshes.size());
    for (size_t i = 0; i < a.meshes.size(); ++i) {
        EXPECT_EQ(a.meshes[i].name, b.meshes[i].name);
        EXPECT_EQ(a.meshes[i].positions, b.meshes[i].positions);
        EXPECT_EQ(a.meshes[i].normals, b.meshes[i].normals);
        EXPECT_EQ(a.meshes[i].texCoords, b.meshes[i].texCoords);
        EXPECT_EQ(a.meshes[i].indices, b.meshes[i].indices);
        EXPECT_EQ(a.meshes[i].corners, b.meshes[i].corners);
        EXPECT_EQ(a.meshes[i].material, b.meshes[i].material);
        EXPECT_EQ(a.meshes[i].box, b.meshes[i].box);
    }
    ASSERT_EQ(a.pieces.size(), b.pieces.size());
    for (size_t i = 0; i < a.pieces.size(); ++i) {
        EXPECT_EQ(a.pieces[i].name, b.pieces[i].name);
        EXPECT_EQ(a.pieces[i].category, b.pieces[i].category);
        EXPECT_EQ(a.pieces[i].creator, b.pieces[i].creator);
        EXPECT_EQ(a.pieces[i].licence, b.pieces[i].licence);
        EXPECT_EQ(a.pieces[i].width, b.pieces[i].width);
        EXPECT_EQ(a.pieces[i].depth, b.pieces[i].depth);
        EXPECT_EQ(a.pieces[i].height, b.pieces[i].height);
        EXPECT_EQ(a.pieces[i].elevation, b.pieces[i].elevation);
        EXPECT_EQ(a.pieces[i].topHeight, b.pieces[i].topHeight);
        EXPECT_EQ(a.pieces[i].doorOrWindow, b.pieces[i].doorOrWindow);
        EXPECT_EQ(a.pieces[i].staircase, b.pieces[i].staircase);
        EXPECT_EQ(a.pieces[i].firstMesh, b.pieces[i].firstMesh);
        EXPECT_EQ(a.pieces[i].numMeshes, b.pieces[i].numMeshes);
    }
    ASSERT_EQ(a.credits.size(), b.credits.size());
    for (size_t i = 0; i < a.credits.size(); ++i) {
        EXPECT_EQ(a.credits[i].title, b.credits[i].title);
        EXPECT_EQ(a.credits[i].author, b.credits[i].author);
        EXPECT_EQ(a.credits[i].licence, b.credits[i].licence);
        EXPECT_EQ(a.credits[i].text, b.credits[i].text);
    }
    EXPECT_EQ(a.generated, b.generated);
    EXPECT_EQ(a.note, b.note);
}

/// A written cache of the small library, for tests that damage it.
class DamagedCache : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string reason;
        ASSERT_TRUE(WriteFurnitureCache(m_path, s_fingerprint, MakeSmallLibrary(), reason))
            << reason;
        m_bytes = TemporaryFolder::Read(m_path);
    }

    bool CanRead(std::string const& bytes)
    {
        m_folder.Write("a.cache", bytes);
        FurnitureLibrary library = MakeSmallLibrary();
        bool const read = ReadFurnitureCache(m_path, s_fingerprint, library);
        EXPECT_TRUE(read || (library.pieces.empty() && library.meshes.empty()));
        return read;
    }

    TemporaryFolder m_folder;
    std::string m_path = m_folder.GetPath("a.cache");
    std::string m_bytes;
};

} // namespace

TEST(ModelCache, ReturnsWhatWasWritten)
{
    TemporaryFolder const folder;
    std::string const path = folder.GetPath("deep/below/a.cache");
    FurnitureLibrary const library = MakeSmallLibrary();
    std::string reason;
    ASSERT_TRUE(WriteFurnitureCache(path, s_fingerprint, library, reason)) << reason;
    FurnitureLibrary read;
    ASSERT_TRUE(ReadFurnitureCache(path, s_fingerprint, read));
    ExpectEqual(library, read);
}

TEST(ModelCache, ReturnsTheGeneratedFurnitureUnchanged)
{
    TemporaryFolder const folder;
    std::string const path = folder.GetPath("a.cache");
    FurnitureLibrary const library = MakeGeneratedFurniture({});
    std::string reason;
    ASSERT_TRUE(WriteFurnitureCache(path, s_fingerprint, library, reason)) << reason;
    FurnitureLibrary read;
    ASSERT_TRUE(ReadFurnitureCache(path, s_fingerprint, read));
    ExpectEqual(library, read);
}

TEST(ModelCache, LeavesNoTemporaryFileBehindAndReplacesTheOldCache)
{
    TemporaryFolder const folder;
    std::string const path = folder.GetPath("a.cache");
    folder.Write("a.cache", "something else");
    std::string reason;
    ASSERT_TRUE(WriteFurnitureCache(path, s_fingerprint, MakeSmallLibrary(), reason));
    int files = 0;
    for ([[maybe_unused]] auto const& entry :
         std::filesystem::directory_iterator(folder.GetPath())) {
        ++files;
    }
    EXPECT_EQ(files, 1);
    FurnitureLibrary read;
    EXPECT_TRUE(ReadFurnitureCache(path, s_fingerprint, read));
}

TEST(ModelCache, SaysWhyItCannotWrite)
{
    TemporaryFolder const folder;
    folder.Write("file", "not a folder");
    std::string reason;
    EXPECT_FALSE(WriteFurnitureCache(folder.GetPath("file/a.cache"), s_fingerprint,
                                     MakeSmallLibrary(), reason));
    EXPECT_FALSE(reason.empty());
}

TEST(ModelCache, IsAbsentForAMissingFileAndAFolder)
{
    TemporaryFolder const folder;
    FurnitureLibrary read = MakeSmallLibrary();
    EXPECT_FALSE(ReadFurnitureCache(folder.GetPath("missing"), s_fingerprint, read));
    EXPECT_TRUE(read.pieces.empty());
    EXPECT_FALSE(ReadFurnitureCache(folder.GetPath(), s_fingerprint, read));
}

TEST(ModelCache, IsAbsentWhereTheArraysOfAMeshDoNotFitEachOther)
{
    TemporaryFolder const folder;
    std::string const path = folder.GetPath("a.cache");
    for (int fault = 0; fault < 5; ++fault) {
        FurnitureLibrary library = MakeSmallLibrary();
        Mesh& lines = library.meshes[2];
        switch (fault) {
        case 1:
            lines.texCoords.pop_back();
            break;
        case 2:
            lines.corners = 0;
            break;
        case 3:
            lines.corners = 4;
            break;
        case 4:
            lines.indices.pop_back();
            break;
        default:
            break;
        }
        std::string reason;
        ASSERT_TRUE(WriteFurnitureCache(path, s_fingerprint, library, reason)) << reason;
        EXPECT_EQ(ReadFurnitureCache(path, s_fingerprint, library), fault == 0) << fault;
    }
}

TEST_F(DamagedCache, IsReadWhenWhole)
{
    EXPECT_TRUE(CanRead(m_bytes));
}

TEST_F(DamagedCache, IsAbsentForAnotherFingerprint)
{
    FurnitureLibrary read;
    EXPECT_FALSE(ReadFurnitureCache(m_path, s_fingerprint + 1, read));
}

TEST_F(DamagedCache, IsAbsentWhenCutShortAnywhere)
{
    for (size_t length = 0; length < m_bytes.size(); ++length) {
        ASSERT_FALSE(CanRead(m_bytes.substr(0, length))) << length;
    }
}

TEST_F(DamagedCache, IsAbsentWhenLonger)
{
    EXPECT_FALSE(CanRead(m_bytes + '\0'));
}

TEST_F(DamagedCache, IsAbsentWhenAnyByteChanged)
{
    for (size_t i = 0; i < m_bytes.size(); ++i) {
        std::string bytes = m_bytes;
        bytes[i] = static_cast<char>(bytes[i] ^ 0xFF);
        ASSERT_FALSE(CanRead(bytes)) << i;
    }
}

TEST(ModelCache, FingerprintFollowsNameSizeTimeAndOrder)
{
    namespace fs = std::filesystem;
    TemporaryFolder const folder;
    std::string const a = folder.Write("a", "1");
    std::string const b = folder.Write("b", "1");
    uint64_t const first = FingerprintFiles({a, b});
    EXPECT_EQ(FingerprintFiles({a, b}), first);
    EXPECT_NE(first, 0u);
    EXPECT_NE(FingerprintFiles({b, a}), first);
    EXPECT_NE(FingerprintFiles({a}), first);
    EXPECT_NE(FingerprintFiles({a, folder.GetPath("missing")}), first);

    auto const time = fs::last_write_time(b);
    folder.Write("b", "12");
    fs::last_write_time(b, time);
    uint64_t const larger = FingerprintFiles({a, b});
    EXPECT_NE(larger, first);
    fs::last_write_time(b, time + std::chrono::seconds(1));
    EXPECT_NE(FingerprintFiles({a, b}), larger);
}
