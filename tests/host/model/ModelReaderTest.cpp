#include "host/model/ModelReader.h"

#include "host/model/GuardedReader.h"
#include "host/model/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

using namespace host;

namespace
{

constexpr char s_twoTriangles[] = "mtllib m.mtl\n"
                                  "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n"
                                  "usemtl red\nf 1 2 3\n"
                                  "usemtl glass\nf 1 3 4\n";
constexpr char s_materials[] = "newmtl red\nKd 1 0.25 0\nnewmtl glass\nKd 0 0 1\nd 0.5\n";

/// A glTF file with one triangle that three nodes use, one of them below another.
std::string MakeInstancedGltf()
{
    std::string buffer;
    float const positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    buffer.assign(reinterpret_cast<char const*>(positions), sizeof(positions));
    constexpr char s_digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string base64;
    for (size_t i = 0; i < buffer.size(); i += 3) {
        unsigned bits = 0;
        for (size_t k = 0; k < 3; ++k) {
            bits = bits << 8 | static_cast<unsigned char>(buffer[i + k]);
        }
        for (int shift = 18; shift >= 0; shift -= 6) {
            base64 += s_digits[bits >> shift & 63];
        }
    }
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0,1]}],
        "nodes":[{"mesh":0,"translation":[10,0,0],"children":[2]},{"mesh":0},
                 {"mesh":0,"translation":[0,5,0],"scale":[2,2,2]}],
        "meshes":[{"primitives":[{"attributes":{"POSITION":0}}]}],
        "accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3",
                      "min":[0,0,0],"max":[1,1,0]}],
        "bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":36}],
        "buffers":[{"byteLength":36,"uri":"data:application/octet-stream;base64,)" +
           base64 + R"("}]})";
}

std::string MakeBinaryPly(int announced, int present)
{
    std::string file = "ply\nformat binary_little_endian 1.0\nelement vertex 3\n"
                       "property float x\nproperty float y\nproperty float z\nelement face " +
                       std::to_string(announced) +
                       "\nproperty list uchar int vertex_indices\nend_header\n";
    float const positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    file.append(reinterpret_cast<char const*>(positions), sizeof(positions));
    for (int i = 0; i < present; ++i) {
        int const corners[3] = {0, 1, 2};
        file += '\x03';
        file.append(reinterpret_cast<char const*>(corners), sizeof(corners));
    }
    return file;
}

/// Expects a refusal with a reason of one line that contains `fragment`, and an empty scene.
void ExpectRefused(std::string const& path, std::string const& fragment)
{
    SceneModel scene;
    scene.title = "old";
    scene.placements.resize(1);
    std::string reason;
    EXPECT_FALSE(ReadModelFile(path, scene, reason, {})) << path;
    EXPECT_NE(reason.find(fragment), std::string::npos) << path << ": " << reason;
    EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
    EXPECT_TRUE(scene.title.empty());
    EXPECT_TRUE(scene.placements.empty());
    EXPECT_TRUE(scene.meshes.empty());
}

void ExpectFiniteAndEnclosed(SceneModel const& scene)
{
    for (Placement const& placement : scene.placements) {
        ASSERT_LT(placement.mesh, scene.meshes.size());
        EXPECT_TRUE(scene.box.Contains(placement.box));
        Mesh const& mesh = scene.meshes[placement.mesh];
        for (size_t i = 0; i < mesh.positions.size(); i += 3) {
            TqLPos3f const local(mesh.positions[i], mesh.positions[i + 1], mesh.positions[i + 2]);
            TqLPos3f const world = local * placement.toWorld;
            for (int axis = 0; axis < 3; ++axis) {
                EXPECT_TRUE(std::isfinite(world[axis]));
                EXPECT_GE(world[axis], placement.box.GetMin()[axis] - 1e-9);
                EXPECT_LE(world[axis], placement.box.GetMax()[axis] + 1e-9);
            }
        }
    }
}

} // namespace

// ---- Good files ---------------------------------------------------------------------------------

TEST(ModelReader, SplitsAnObjFileIntoItsMaterials)
{
    TemporaryFolder const folder;
    folder.Write("m.mtl", s_materials);
    std::string const path = folder.Write("m.obj", s_twoTriangles);
    SceneModel scene;
    std::string reason = "untouched";
    double last = 0.0;
    ASSERT_TRUE(ReadModelFile(path, scene, reason, [&last](double share, char const* what) {
        EXPECT_GE(share, last);
        EXPECT_LE(share, 1.0);
        EXPECT_GT(std::strlen(what), 0u);
        last = share;
    })) << reason;
    EXPECT_EQ(reason, "untouched");
    EXPECT_EQ(last, 1.0);
    EXPECT_EQ(scene.title, "m.obj");
    ASSERT_EQ(scene.meshes.size(), 2u);
    EXPECT_EQ(scene.placements.size(), 2u);
    EXPECT_EQ(scene.GetPlacedTriangles(), 2u);
    Material const& red = scene.materials[scene.meshes[0].material];
    EXPECT_EQ(red.name, "red");
    EXPECT_FLOAT_EQ(red.color[1], 0.25f);
    EXPECT_FLOAT_EQ(red.opacity, 1.0f);
    Material const& glass = scene.materials[scene.meshes[1].material];
    EXPECT_EQ(glass.name, "glass");
    EXPECT_FLOAT_EQ(glass.opacity, 0.5f);
    EXPECT_GE(scene.path.size(), 16u);
    EXPECT_FALSE(scene.generated);
    ExpectFiniteAndEnclosed(scene);
}

TEST(ModelReader, DoesWithoutAMissingMaterialFile)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    EXPECT_TRUE(ReadModelFile(folder.Write("m.obj", s_twoTriangles), scene, reason, {})) << reason;
    EXPECT_EQ(scene.GetPlacedTriangles(), 2u);
}

TEST(ModelReader, KeepsInstancesAndNodeTransforms)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    ASSERT_TRUE(ReadModelFile(folder.Write("m.gltf", MakeInstancedGltf()), scene, reason, {}))
        << reason;
    EXPECT_EQ(scene.meshes.size(), 1u);
    ASSERT_EQ(scene.placements.size(), 3u);
    EXPECT_EQ(scene.GetPlacedTriangles(), 3u);
    EXPECT_EQ(scene.GetStoredTriangles(), 1u);
    // The child node: scaled by 2, then moved by its own and its parent's translation.
    TqLBox3f const child(TqLPos3f(10, 5, 0), TqLPos3f(12, 7, 0));
    int numFound = 0;
    for (Placement const& placement : scene.placements) {
        numFound += placement.box == child ? 1 : 0;
    }
    EXPECT_EQ(numFound, 1);
    ExpectFiniteAndEnclosed(scene);
}

TEST(ModelReader, ReadsPlyAndStl)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    EXPECT_TRUE(ReadModelFile(folder.Write("m.ply", MakeBinaryPly(2, 2)), scene, reason, {}))
        << reason;
    EXPECT_EQ(scene.GetPlacedTriangles(), 2u);
    std::string const stl = "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                            "vertex 0 1 0\nendloop\nendfacet\nendsolid a\n";
    EXPECT_TRUE(ReadModelFile(folder.Write("m.stl", stl), scene, reason, {})) << reason;
    EXPECT_EQ(scene.GetPlacedTriangles(), 1u);
}

TEST(ModelReader, LeavesOutTrianglesThatAreNotFiniteAndSaysSo)
{
    TemporaryFolder const folder;
    std::string ply = MakeBinaryPly(2, 0);
    ply.replace(ply.find("vertex 3"), 8, "vertex 4");
    float const notFinite[3] = {std::nanf(""), 0, 0};
    ply.append(reinterpret_cast<char const*>(notFinite), sizeof(notFinite));
    for (int const last : {2, 3}) {
        int const corners[3] = {0, 1, last};
        ply += '\x03';
        ply.append(reinterpret_cast<char const*>(corners), sizeof(corners));
    }
    SceneModel scene;
    std::string reason;
    ASSERT_TRUE(ReadModelFile(folder.Write("m.ply", ply), scene, reason, {})) << reason;
    EXPECT_EQ(scene.GetPlacedTriangles(), 1u);
    EXPECT_EQ(scene.note, "1 triangles with unusable corners left out");
    ExpectFiniteAndEnclosed(scene);
}

TEST(ModelReader, KeepsLinesAndPointsInMeshesOfTheirOwn)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    std::string const obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 5 0 0\n"
                            "f 1 2 3\nl 1 2\nl 2 3 4\np 4\n";
    ASSERT_TRUE(ReadModelFile(folder.Write("m.obj", obj), scene, reason, {})) << reason;
    uint64_t numPrimitives[4] = {};
    for (Mesh const& mesh : scene.meshes) {
        ASSERT_GE(mesh.corners, 1u);
        ASSERT_LE(mesh.corners, 3u);
        EXPECT_EQ(mesh.normals.size(), mesh.positions.size());
        numPrimitives[mesh.corners] += mesh.GetNumPrimitives();
    }
    EXPECT_EQ(numPrimitives[3], 1u);
    EXPECT_EQ(numPrimitives[2], 3u);
    EXPECT_EQ(numPrimitives[1], 1u);
    EXPECT_EQ(scene.GetPlacedTriangles(), 1u);
    EXPECT_EQ(scene.box, TqLBox3f(TqLPos3f(0, 0, 0), TqLPos3f(5, 1, 0)));
    ExpectFiniteAndEnclosed(scene);
}

TEST(ModelReader, ReadsAFileOfLinesAlone)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    std::string const obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nl 1 2\nl 2 3\n";
    ASSERT_TRUE(ReadModelFile(folder.Write("m.obj", obj), scene, reason, {})) << reason;
    ASSERT_EQ(scene.meshes.size(), 1u);
    EXPECT_EQ(scene.meshes[0].corners, 2u);
    EXPECT_EQ(scene.meshes[0].GetNumPrimitives(), 2u);
    EXPECT_EQ(scene.GetPlacedTriangles(), 0u);
}

TEST(ModelReader, KeepsTextureCoordinates)
{
    TemporaryFolder const folder;
    SceneModel scene;
    std::string reason;
    std::string const obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.25 0.5\nvt 1 0\nvt 0 1\n"
                            "f 1/1 2/2 3/3\n";
    ASSERT_TRUE(ReadModelFile(folder.Write("m.obj", obj), scene, reason, {})) << reason;
    ASSERT_EQ(scene.meshes.size(), 1u);
    Mesh const& mesh = scene.meshes[0];
    ASSERT_EQ(mesh.texCoords.size(), 6u);
    for (uint32_t const vertex : mesh.indices) {
        float const* const place = mesh.positions.data() + 3 * vertex;
        float const* const texCoord = mesh.texCoords.data() + 2 * vertex;
        bool const isFirst = place[0] == 0.0f && place[1] == 0.0f;
        EXPECT_FLOAT_EQ(texCoord[0], isFirst ? 0.25f : place[0]);
        EXPECT_FLOAT_EQ(texCoord[1], isFirst ? 0.5f : place[1]);
    }
}

// ---- Bad files ----------------------------------------------------------------------------------

TEST(ModelReader, RefusesAMissingFile)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.GetPath("missing.obj"), "no such file");
    ExpectRefused("", "no such file");
}

TEST(ModelReader, RefusesADirectory)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.GetPath(), "is a directory");
}

TEST(ModelReader, RefusesAnEmptyFile)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.Write("m.obj", ""), "is empty");
}

TEST(ModelReader, RefusesADevice)
{
    ExpectRefused("/dev/null", "is not a regular file");
}

TEST(ModelReader, RefusesAnUnreadableFile)
{
    namespace fs = std::filesystem;
    TemporaryFolder const folder;
    std::string const path = folder.Write("m.obj", s_twoTriangles);
    fs::permissions(path, fs::perms::none);
    if (std::ifstream(path)) {
        GTEST_SKIP() << "this user may read everything";
    }
    ExpectRefused(path, "cannot be read");
}

TEST(ModelReader, RefusesFilesOfNoKnownFormat)
{
    TemporaryFolder const folder;
    std::string garbage;
    for (int i = 0; i < 5000; ++i) {
        garbage += static_cast<char>(i * i % 251);
    }
    for (char const* name : {"m.xyzzy", "m.obj", "m.gltf", "m.glb", "m.ply", "m.stl", "m.dae"}) {
        SceneModel scene;
        std::string reason;
        EXPECT_FALSE(ReadModelFile(folder.Write(name, garbage), scene, reason, {})) << name;
        EXPECT_FALSE(reason.empty()) << name;
        EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
    }
}

TEST(ModelReader, RefusesModelsWithNothingToDraw)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.Write("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n"), "");
    ExpectRefused(folder.Write("line.ply", MakeBinaryPly(0, 0)), "");
    ExpectRefused(
        folder.Write("empty.gltf", R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[]}]})"), "");
}

TEST(ModelReader, RefusesTruncatedFilesOfEachFormat)
{
    TemporaryFolder const folder;
    std::string const gltf = MakeInstancedGltf();
    std::string const ply = MakeBinaryPly(8, 8);
    std::string const stl = "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                            "vertex 0 1 0\nendloop\nendfacet\nfacet normal 0 0 1\nouter loop\n";
    for (size_t share = 1; share < 8; ++share) {
        ExpectRefused(folder.Write("m.gltf", gltf.substr(0, gltf.size() * share / 8)), "");
        ExpectRefused(folder.Write("m.ply", ply.substr(0, ply.size() * share / 8)), "cut short");
    }
    ExpectRefused(folder.Write("m.stl", stl), "cut short");
    ExpectRefused(folder.Write("m.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2"), "cut short");
    ExpectRefused(folder.Write("n.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nv 1"), "cut short");
}

TEST(ModelReader, SaysHowFarATruncatedPlyFileGoes)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.Write("m.ply", MakeBinaryPly(1000, 7)),
                  "it announces 1000 of \"face\" and ends after 7");
}

TEST(ModelReader, RefusesAPlyFileThatAnnouncesAbsurdCounts)
{
    TemporaryFolder const folder;
    ExpectRefused(folder.Write("m.ply", MakeBinaryPly(2000000000, 3)), "cut short");
}

// ---- The guard ----------------------------------------------------------------------------------

TEST(GuardedReader, TakesOverTheSceneOfItsChild)
{
    SceneModel scene;
    std::string reason;
    ReadFn const read = [](SceneModel& made, std::string&, ProgressFn const& progress) {
        made.title = "made";
        made.note = "note";
        made.materials.resize(1);
        made.meshes.resize(1);
        made.meshes[0].positions = {0, 0, 0, 1, 0, 0, 0, 1, 0};
        made.meshes[0].normals = made.meshes[0].positions;
        made.meshes[0].indices = {0, 1, 2};
        made.meshes[0].UpdateBox();
        made.AddPlacement(0, TqLAffine3f(), false);
        progress(0.5, "half");
        return true;
    };
    std::string steps;
    ASSERT_TRUE(ReadGuarded(read, 0, scene, reason, [&steps](double share, char const* what) {
        steps += std::to_string(share) + what;
    }));
    EXPECT_EQ(scene.title, "made");
    EXPECT_EQ(scene.note, "note");
    EXPECT_EQ(scene.placements.size(), 1u);
    EXPECT_EQ(scene.box, scene.meshes[0].box);
    EXPECT_EQ(steps, "0.500000half");
}

TEST(GuardedReader, PassesOnReasonsAndExceptions)
{
    SceneModel scene;
    std::string reason;
    EXPECT_FALSE(ReadGuarded(
        [](SceneModel&, std::string& why, ProgressFn const&) {
            why = "because";
            return false;
        },
        0, scene, reason, {}));
    EXPECT_EQ(reason, "because");
    EXPECT_FALSE(ReadGuarded([](SceneModel&, std::string&,
                                ProgressFn const&) -> bool { throw std::runtime_error("thrown"); },
                             0, scene, reason, {}));
    EXPECT_NE(reason.find("thrown"), std::string::npos);
    EXPECT_FALSE(ReadGuarded([](SceneModel&, std::string&, ProgressFn const&) -> bool { throw 1; },
                             0, scene, reason, {}));
    EXPECT_FALSE(reason.empty());
    EXPECT_FALSE(ReadGuarded(
        [](SceneModel&, std::string&, ProgressFn const&) -> bool { throw std::bad_alloc(); }, 0,
        scene, reason, {}));
    EXPECT_NE(reason.find("memory"), std::string::npos);
}

TEST(GuardedReader, SurvivesAChildThatCrashesOrQuits)
{
    for (int const how : {SIGSEGV, SIGABRT, 0}) {
        SceneModel scene;
        std::string reason;
        EXPECT_FALSE(ReadGuarded(
            [how](SceneModel&, std::string&, ProgressFn const&) -> bool {
                if (how == 0) {
                    std::_Exit(0); // leaves an empty file behind
                }
                std::signal(how, SIG_DFL);
                std::raise(how);
                return true;
            },
            0, scene, reason, {}));
        EXPECT_NE(reason.find("broke the importer"), std::string::npos) << reason;
    }
}

TEST(GuardedReader, RefusesASceneWhoseIndicesPointOutside)
{
    SceneModel scene;
    std::string reason;
    EXPECT_FALSE(ReadGuarded(
        [](SceneModel& made, std::string&, ProgressFn const&) {
            made.materials.resize(1);
            made.meshes.resize(1);
            made.meshes[0].positions = {0, 0, 0, 1, 0, 0, 0, 1, 0};
            made.meshes[0].normals = made.meshes[0].positions;
            made.meshes[0].indices = {0, 1, 3};
            return true;
        },
        0, scene, reason, {}));
    EXPECT_TRUE(scene.meshes.empty());
}

// ---- The flight ---------------------------------------------------------------------------------

TEST(OrbitPath, StaysFiniteForAPointAndIsEmptyForNothing)
{
    EXPECT_TRUE(MakeOrbitPath(TqLBox3f()).empty());
    TqLPos3f const point(1e6, -2.0, 3.0);
    for (CameraKey const& key : MakeOrbitPath(TqLBox3f(point, point))) {
        EXPECT_NEAR(key.direction.Length(), 1.0, 1e-9);
        EXPECT_TRUE(std::isfinite(key.position[0]));
    }
}

TEST(OrbitPath, StartsOutsideAndGoesThroughTheMiddle)
{
    TqLBox3f const box(TqLPos3f(0, 0, 0), TqLPos3f(10, 4, 6));
    std::vector<CameraKey> const path = MakeOrbitPath(box);
    ASSERT_GE(path.size(), 16u);
    EXPECT_FALSE(box.Contains(path.front().position));
    int numInside = 0;
    for (CameraKey const& key : path) {
        numInside += box.Contains(key.position) ? 1 : 0;
    }
    EXPECT_GE(numInside, 1);
}
