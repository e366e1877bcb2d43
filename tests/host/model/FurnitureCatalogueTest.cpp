#include "host/model/FurnitureCatalogue.h"

#include "host/model/CatalogueEntries.h"
#include "host/model/FurnitureStore.h"
#include "host/model/ModelCache.h"
#include "host/model/TemporaryFolder.h"
#include "host/model/ZipMaker.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace host;

namespace
{

/// A box from the origin to (2, 4, 6) in two materials: two triangles each of bottom and top.
constexpr char s_box[] = "mtllib box.mtl\n"
                         "v 0 0 0\nv 2 0 0\nv 2 0 6\nv 0 0 6\nv 0 4 0\nv 2 4 0\nv 2 4 6\nv 0 4 6\n"
                         "usemtl wood\nf 1 2 3 4\nusemtl glass\nf 5 8 7 6\n";
constexpr char s_boxMaterials[] = "newmtl wood\nKd 0.5 0.25 0.125\nnewmtl glass\nKd 0 0 1\nd 0.5\n";
constexpr char s_list[] = "id=Test#Catalogue\nname=Test models\ndescription=Made for a test\n"
                          "license=CC0\n"
                          "name#1=Crate\ncategory#1=Office\nmodel#1=/models/box.obj\n"
                          "width#1=100\ndepth#1=50\nheight#1=25\nelevation#1=10\n"
                          "dropOnTopElevation#1=20\ncreator#1=Somebody\ndoorOrWindow#1=false\n"
                          "name#2=Turned crate\nmodel#2=models/box.obj\n"
                          "width#2=100\ndepth#2=50\nheight#2=25\ndoorOrWindow#2=true\n"
                          "modelRotation#2=0 0 1 0 1 0 -1 0 0\ncreator#2=Another\n"
                          "name#3=Crate again\nmodel#3=/models/box.obj\n"
                          "width#3=100\ndepth#3=50\nheight#3=25\n"
                          "name#4=No size\nmodel#4=/models/box.obj\nwidth#4=x\n"
                          "name#5=No model\nmodel#5=/models/missing.obj\n"
                          "width#5=100\ndepth#5=50\nheight#5=25\n"
                          "name#6=No geometry\nmodel#6=/models/text.obj\n"
                          "width#6=100\ndepth#6=50\nheight#6=25\n";

std::string MakeCatalogue(TemporaryFolder const& folder, std::string const& name = "a.sh3f")
{
    std::string const path = folder.GetPath(name);
    EXPECT_TRUE(MakeZip(path, {{"PluginFurnitureCatalog.properties", s_list},
                               {"LICENSE.TXT", "free for all"},
                               {"models/box.obj", s_box},
                               {"models/BOX.MTL", s_boxMaterials},
                               {"models/text.obj", "this is no model at all, only some text"}}));
    return path;
}

TqLBox3f GetPieceBox(FurnitureLibrary const& library, FurniturePiece const& piece)
{
    TqLBox3f box;
    for (uint32_t i = 0; i < piece.numMeshes; ++i) {
        box.ExtendBy(library.meshes[piece.firstMesh + i].box);
    }
    return box;
}

void ExpectBox(TqLBox3f const& box, TqLPos3f const& min, TqLPos3f const& max)
{
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(box.GetMin()[axis], min[axis], 1e-6) << axis;
        EXPECT_NEAR(box.GetMax()[axis], max[axis], 1e-6) << axis;
    }
}

/// Sets an environment variable for as long as this lives.
class ScopedVariable
{
public:
    ScopedVariable(char const* name, char const* value) : m_name(name)
    {
        char const* before = std::getenv(name);
        m_wasSet = before != nullptr;
        m_before = m_wasSet ? before : "";
        setenv(name, value, 1);
    }

    ~ScopedVariable()
    {
        if (m_wasSet) {
            setenv(m_name, m_before.c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }

    ScopedVariable(ScopedVariable const&) = delete;
    ScopedVariable& operator=(ScopedVariable const&) = delete;

private:
    char const* m_name;
    std::string m_before;
    bool m_wasSet = false;
};

} // namespace

TEST(FurnitureCatalogue, BringsPiecesToTheirCatalogueSize)
{
    TemporaryFolder const folder;
    FurnitureLibrary const library = ReadFurnitureCatalogues({MakeCatalogue(folder)}, {});
    ASSERT_EQ(library.pieces.size(), 2u);
    EXPECT_TRUE(library.IsConsistent());
    FurniturePiece const& crate = library.pieces[0];
    EXPECT_EQ(crate.name, "Crate");
    EXPECT_EQ(crate.category, "Office");
    EXPECT_EQ(crate.creator, "Somebody");
    EXPECT_EQ(crate.licence, "CC0");
    EXPECT_FLOAT_EQ(crate.width, 1.0f);
    EXPECT_FLOAT_EQ(crate.depth, 0.5f);
    EXPECT_FLOAT_EQ(crate.height, 0.25f);
    EXPECT_FLOAT_EQ(crate.elevation, 0.1f);
    EXPECT_FLOAT_EQ(crate.topHeight, 0.2f);
    EXPECT_FALSE(crate.doorOrWindow);
    ExpectBox(GetPieceBox(library, crate), TqLPos3f(-0.5, 0.0, -0.25), TqLPos3f(0.5, 0.25, 0.25));
    EXPECT_EQ(library.GetTriangles(crate), 4u);
}

TEST(FurnitureCatalogue, SplitsAModelIntoItsMaterials)
{
    TemporaryFolder const folder;
    FurnitureLibrary const library = ReadFurnitureCatalogues({MakeCatalogue(folder)}, {});
    ASSERT_FALSE(library.pieces.empty());
    ASSERT_EQ(library.pieces[0].numMeshes, 2u);
    // Its material file is found although the archive spells the name differently, and both pieces
    // share the two materials.
    EXPECT_EQ(library.materials.size(), 2u);
    Material const& wood = library.materials[library.meshes[0].material];
    EXPECT_EQ(wood.name, "wood");
    EXPECT_FLOAT_EQ(wood.color[2], 0.125f);
    EXPECT_FLOAT_EQ(library.materials[library.meshes[1].material].opacity, 0.5f);
}

TEST(FurnitureCatalogue, TurnsAModelBeforeItIsScaled)
{
    TemporaryFolder const folder;
    FurnitureLibrary const library = ReadFurnitureCatalogues({MakeCatalogue(folder)}, {});
    ASSERT_EQ(library.pieces.size(), 2u);
    FurniturePiece const& turned = library.pieces[1];
    EXPECT_TRUE(turned.doorOrWindow);
    EXPECT_FLOAT_EQ(turned.topHeight, -1.0f);
    ExpectBox(GetPieceBox(library, turned), TqLPos3f(-0.5, 0.0, -0.25), TqLPos3f(0.5, 0.25, 0.25));
    // The rotation takes z to x and x to -z: the corner of smallest z is the one of smallest x.
    Mesh const& bottom = library.meshes[turned.firstMesh];
    EXPECT_FLOAT_EQ(bottom.normals[1] * bottom.normals[1], 1.0f);
}

TEST(FurnitureCatalogue, CountsWhatItLeavesOut)
{
    TemporaryFolder const folder;
    std::string const broken = folder.Write("b.sh3f", "no zip file");
    FurnitureLibrary const library = ReadFurnitureCatalogues({MakeCatalogue(folder), broken}, {});
    EXPECT_EQ(library.note, "left out: 1 unreadable catalogues, 1 unusable catalogue entries, "
                            "2 unreadable models");
}

TEST(FurnitureCatalogue, CreditsEveryCreatorWithTheLicenceText)
{
    TemporaryFolder const folder;
    FurnitureLibrary const library = ReadFurnitureCatalogues({MakeCatalogue(folder)}, {});
    ASSERT_FALSE(library.credits.empty());
    EXPECT_EQ(library.credits[0].title, "Test models");
    EXPECT_EQ(library.credits[0].author, "Another, Somebody");
    EXPECT_EQ(library.credits[0].licence, "CC0");
    EXPECT_EQ(library.credits[0].text, "free for all");
}

TEST(FurnitureCatalogue, FindsCataloguesBelowAFolderInOrder)
{
    TemporaryFolder const folder;
    std::filesystem::create_directories(folder.GetPath("sub"));
    folder.Write("b.sh3f", "");
    folder.Write("sub/a.sh3f", "");
    folder.Write("c.zip", "");
    std::vector<std::string> const expected = {folder.GetPath("b.sh3f"),
                                               folder.GetPath("sub/a.sh3f")};
    EXPECT_EQ(FindFurnitureCatalogues(folder.GetPath()), expected);
    ScopedVariable const variable("SCENECULL_FURNITURE", folder.GetPath().c_str());
    EXPECT_EQ(FindFurnitureCatalogues(""), expected);
    EXPECT_TRUE(FindFurnitureCatalogues(folder.GetPath("missing")).empty());
}

TEST(CatalogueEntries, StopAtTheFirstUnusedNumber)
{
    int numRefused = 0;
    Properties const properties =
        ParseProperties("name#1=a\nmodel#1=a.obj\nwidth#1=1\ndepth#1=1\nheight#1=1\n"
                        "name#3=b\nmodel#3=b.obj\nwidth#3=1\ndepth#3=1\nheight#3=1\n");
    EXPECT_EQ(ListCatalogueEntries(properties, numRefused).size(), 1u);
    EXPECT_EQ(numRefused, 0);
}

TEST(CatalogueEntries, RefuseSizesThatAreNoLengths)
{
    for (char const* width : {"0", "-5", "nan", "inf", "1e9", ""}) {
        int numRefused = 0;
        Properties const properties = ParseProperties(
            "name#1=a\nmodel#1=a.obj\ndepth#1=1\nheight#1=1\nwidth#1=" + std::string(width) + "\n");
        EXPECT_TRUE(ListCatalogueEntries(properties, numRefused).empty()) << width;
        EXPECT_EQ(numRefused, 1) << width;
    }
}

TEST(FurnitureStore, FallsBackToGeneratedFurnitureAndSaysSo)
{
    TemporaryFolder const folder;
    FurnitureOptions options;
    options.directory = folder.GetPath();
    options.cachePath = folder.GetPath("cache");
    FurnitureLibrary const library = LoadFurniture(options, {});
    EXPECT_TRUE(library.generated);
    EXPECT_FALSE(library.pieces.empty());
    EXPECT_NE(library.note.find("sweethome3d-furniture is not installed"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(options.cachePath));
}

TEST(FurnitureStore, FallsBackWhenNoCatalogueHasAReadableModel)
{
    TemporaryFolder const folder;
    folder.Write("a.sh3f", "no zip file");
    FurnitureOptions options;
    options.directory = folder.GetPath();
    options.cachePath = folder.GetPath("cache");
    FurnitureLibrary const library = LoadFurniture(options, {});
    EXPECT_TRUE(library.generated);
    EXPECT_NE(library.note.find("no readable model"), std::string::npos);
}

TEST(FurnitureStore, ReadsTheCatalogueOnceAndThenTheCache)
{
    TemporaryFolder const folder;
    std::string const catalogue = MakeCatalogue(folder);
    FurnitureOptions options;
    options.directory = folder.GetPath();
    options.cachePath = folder.GetPath("cache");
    EXPECT_EQ(LoadFurniture(options, {}).pieces.size(), 2u);

    // Change the cache's content under the right fingerprint: what comes back then shows its
    // source.
    FurnitureLibrary changed;
    ASSERT_TRUE(ReadFurnitureCache(options.cachePath, FingerprintFiles({catalogue}), changed));
    changed.pieces.pop_back();
    std::string reason;
    ASSERT_TRUE(
        WriteFurnitureCache(options.cachePath, FingerprintFiles({catalogue}), changed, reason));
    EXPECT_EQ(LoadFurniture(options, {}).pieces.size(), 1u);
    options.useCache = false;
    EXPECT_EQ(LoadFurniture(options, {}).pieces.size(), 2u);
}

TEST(FurnitureStore, RebuildsADamagedCache)
{
    TemporaryFolder const folder;
    std::string const catalogue = MakeCatalogue(folder);
    FurnitureOptions options;
    options.directory = folder.GetPath();
    options.cachePath = folder.Write("cache", "damaged");
    EXPECT_EQ(LoadFurniture(options, {}).pieces.size(), 2u);
    FurnitureLibrary read;
    EXPECT_TRUE(ReadFurnitureCache(options.cachePath, FingerprintFiles({catalogue}), read));
}

TEST(FurnitureStore, DoesWithoutACacheThatCannotBeWritten)
{
    TemporaryFolder const folder;
    MakeCatalogue(folder);
    FurnitureOptions options;
    options.directory = folder.GetPath();
    options.cachePath = folder.GetPath("a.sh3f/below");
    FurnitureLibrary const library = LoadFurniture(options, {});
    EXPECT_EQ(library.pieces.size(), 2u);
    EXPECT_NE(library.note.find("cannot write the cache"), std::string::npos);
}

TEST(ModelCache, CacheDirectoryFollowsTheEnvironment)
{
    {
        ScopedVariable const cacheHome("XDG_CACHE_HOME", "/some/cache");
        EXPECT_EQ(GetCacheDirectory(), "/some/cache/scenecull");
    }
    ScopedVariable const cacheHome("XDG_CACHE_HOME", "");
    ScopedVariable const home("HOME", "/some/home");
    EXPECT_EQ(GetCacheDirectory(), "/some/home/.cache/scenecull");
}
