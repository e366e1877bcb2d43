#include "host/model/TowerScene.h"

#include "host/model/FurnitureDeck.h"
#include "host/model/GeneratedFurniture.h"
#include "host/model/RoomLayout.h"
#include "host/model/ShapeMaker.h"
#include "host/model/TowerPath.h"
#include "host/model/TowerPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

using namespace host;

namespace
{

/// A few boxes of furniture-like sizes, with something for every use: quick to make and to place.
FurnitureLibrary MakeBoxFurniture()
{
    struct Kind
    {
        char const* name;
        char const* category;
        double width;
        double height;
        double depth;
        float elevation;
        float topHeight;
    };

    constexpr Kind s_kinds[] = {
        {"table", "Kitchen", 1.6, 0.75, 0.9, 0.0f, 0.75f},
        {"chair", "Kitchen", 0.45, 0.9, 0.45, 0.0f, -1.0f},
        {"plate", "Kitchen", 0.24, 0.05, 0.24, 0.0f, -1.0f},
        {"bed", "Bedroom", 1.6, 0.9, 2.1, 0.0f, -1.0f},
        {"bedside table", "Bedroom", 0.45, 0.7, 0.45, 0.0f, 0.5f},
        {"wardrobe", "Bedroom", 1.2, 2.2, 0.6, 0.0f, -1.0f},
        {"sofa", "Living room", 2.2, 0.85, 0.9, 0.0f, 0.44f},
        {"vase", "Miscellaneous", 0.15, 0.3, 0.15, 0.0f, -1.0f},
        {"picture", "Miscellaneous", 0.6, 0.4, 0.03, 1.4f, -1.0f},
        {"ceiling lamp", "Lights", 0.5, 0.4, 0.5, 2.2f, -1.0f},
        {"door", "Doors and windows", 0.95, 2.1, 0.2, 0.0f, -1.0f},
        {"window", "Doors and windows", 1.4, 1.2, 0.25, 0.9f, -1.0f},
        {"car", "Vehicles", 1.8, 1.5, 4.2, 0.0f, -1.0f},
        {"tree", "Exterior", 4.0, 7.0, 4.0, 0.0f, -1.0f},
    };
    FurnitureLibrary library;
    library.generated = true;
    library.materials.resize(2);
    MeshBuilder builder;
    for (Kind const& kind : s_kinds) {
        FurniturePiece piece;
        piece.name = kind.name;
        piece.category = kind.category;
        piece.width = static_cast<float>(kind.width);
        piece.height = static_cast<float>(kind.height);
        piece.depth = static_cast<float>(kind.depth);
        piece.elevation = kind.elevation;
        piece.topHeight = kind.topHeight;
        piece.doorOrWindow = piece.category == "Doors and windows";
        piece.firstMesh = static_cast<uint32_t>(library.meshes.size());
        piece.numMeshes = 2;
        double const x = kind.width / 2;
        double const z = kind.depth / 2;
        double const y = kind.height / 2;
        AddBox(builder, {-x, 0.0, -z}, {x, y, z});
        library.meshes.emplace_back();
        library.meshes.back().name = piece.name + " / lower";
        builder.Finish(library.meshes.back());
        AddBox(builder, {-x, y, -z}, {x, kind.height, z});
        library.meshes.emplace_back();
        library.meshes.back().name = piece.name + " / upper";
        library.meshes.back().material = 1;
        builder.Finish(library.meshes.back());
        library.pieces.push_back(std::move(piece));
    }
    return library;
}

SceneModel MakeBoxTower(int storeys, uint64_t seed)
{
    TowerOptions options;
    options.storeys = storeys;
    options.seed = seed;
    return AssembleTower(MakeBoxFurniture(), options, {});
}

/// A number for everything that a tower is made of.
uint64_t HashScene(SceneModel const& scene)
{
    uint64_t hash = 0;
    auto const add = [&hash](void const* data, size_t size) {
        auto const* bytes = static_cast<unsigned char const*>(data);
        for (size_t i = 0; i < size; ++i) {
            hash = (hash ^ bytes[i]) * 0x100000001B3ull;
        }
    };
    for (Mesh const& mesh : scene.meshes) {
        add(mesh.positions.data(), mesh.positions.size() * sizeof(float));
        add(mesh.indices.data(), mesh.indices.size() * sizeof(uint32_t));
    }
    for (Placement const& placement : scene.placements) {
        add(&placement.mesh, sizeof(placement.mesh));
        add(placement.toWorld.Data(), 12 * sizeof(double));
    }
    return hash;
}

/// Checks every index, box and number of a scene.
void ExpectSoundScene(SceneModel const& scene)
{
    TqLBox3f whole;
    std::vector<int> used(scene.meshes.size(), 0);
    for (Placement const& placement : scene.placements) {
        ASSERT_LT(placement.mesh, scene.meshes.size());
        used[placement.mesh] = 1;
        whole.ExtendBy(placement.box);
    }
    EXPECT_EQ(whole, scene.box);
    for (size_t i = 0; i < scene.meshes.size(); ++i) {
        EXPECT_EQ(used[i], 1) << scene.meshes[i].name;
        ASSERT_LT(scene.meshes[i].material, scene.materials.size());
        EXPECT_GT(scene.meshes[i].GetNumTriangles(), 0u);
    }
}

void ExpectBoxEnclosesVertices(SceneModel const& scene, Placement const& placement)
{
    Mesh const& mesh = scene.meshes[placement.mesh];
    for (size_t i = 0; i < mesh.positions.size(); i += 3) {
        TqLPos3f const local(mesh.positions[i], mesh.positions[i + 1], mesh.positions[i + 2]);
        TqLPos3f const world = local * placement.toWorld;
        for (int axis = 0; axis < 3; ++axis) {
            ASSERT_GE(world[axis], placement.box.GetMin()[axis] - 1e-9) << mesh.name;
            ASSERT_LE(world[axis], placement.box.GetMax()[axis] + 1e-9) << mesh.name;
        }
    }
}

bool Meet(TqLBox3f const& a, TqLBox3f const& b)
{
    bool meet = true;
    for (int axis = 0; axis < 3; ++axis) {
        meet = meet && a.GetMin()[axis] <= b.GetMax()[axis] && b.GetMin()[axis] <= a.GetMax()[axis];
    }
    return meet;
}

/// Placements that the straight lines between a path's keys go through, the frames of openings and
/// the stairs' box left aside: those are hollow.
std::map<std::string, int> FindObstacles(SceneModel const& scene)
{
    constexpr double eSTEP = 0.05;
    std::map<std::string, int> obstacles;
    for (size_t i = 0; i + 1 < scene.path.size(); ++i) {
        TqLPos3f const from = scene.path[i].position;
        TqLVec3f const way = scene.path[i + 1].position - from;
        int const steps = static_cast<int>(way.Length() / eSTEP) + 1;
        TqLBox3f around(from, from);
        around.ExtendBy(scene.path[i + 1].position);
        for (Placement const& placement : scene.placements) {
            std::string const& name = scene.meshes[placement.mesh].name;
            if (!Meet(around, placement.box) || name == "door frame" || name == "stairs") {
                continue;
            }
            for (int k = 0; k <= steps; ++k) {
                if (placement.box.Contains(from + way * (double(k) / steps))) {
                    ++obstacles[name + " on the way to key " + std::to_string(i + 1)];
                }
            }
        }
    }
    return obstacles;
}

} // namespace

// ---- The whole tower ----------------------------------------------------------------------------

TEST(TowerScene, IsTheSameForTheSameSeedAndDiffersForAnother)
{
    uint64_t const first = HashScene(MakeBoxTower(2, 7));
    EXPECT_EQ(HashScene(MakeBoxTower(2, 7)), first);
    EXPECT_NE(HashScene(MakeBoxTower(2, 8)), first);
}

TEST(TowerScene, IsSoundForFewAndManyStoreys)
{
    for (int const storeys : {1, 2, 3, 9}) {
        SCOPED_TRACE(storeys);
        SceneModel const scene = MakeBoxTower(storeys, 1);
        ExpectSoundScene(scene);
        // The parapet stands on the roof; only trees may be higher.
        double highest = 0.0;
        for (Placement const& placement : scene.placements) {
            if (placement.occluder) {
                highest = std::max(highest, placement.box.GetMax()[1]);
            }
        }
        EXPECT_NEAR(highest, TowerPlan::GetFloor(storeys) + 0.9, 1e-6);
        EXPECT_TRUE(scene.generated);
    }
}

TEST(TowerScene, BoxesEncloseTheirVertices)
{
    TowerOptions options;
    options.storeys = 1;
    SceneModel const scene = AssembleTower(MakeGeneratedFurniture({}), options, {});
    for (size_t i = 0; i < scene.placements.size(); i += 31) {
        ExpectBoxEnclosesVertices(scene, scene.placements[i]);
    }
}

TEST(TowerScene, GrowsUntilBothMinimaAreReached)
{
    size_t const storey =
        MakeBoxTower(2, 1).placements.size() - MakeBoxTower(1, 1).placements.size();
    TowerOptions options;
    options.minPlacements = 6 * storey;
    options.minTriangles = 1000;
    SceneModel const byPlacements = AssembleTower(MakeBoxFurniture(), options, {});
    EXPECT_GE(byPlacements.placements.size(), 6 * storey);
    EXPECT_LT(byPlacements.placements.size(), 9 * storey);
    options.minPlacements = 10;
    options.minTriangles = 100000;
    SceneModel const byTriangles = AssembleTower(MakeBoxFurniture(), options, {});
    EXPECT_GE(byTriangles.GetPlacedTriangles(), 100000u);
    EXPECT_LT(byTriangles.GetPlacedTriangles(), 200000u);
}

TEST(TowerScene, ReachesAHundredThousandShapesAndAHundredMillionTrianglesByDefault)
{
    SceneModel const scene = AssembleTower(MakeGeneratedFurniture({}), TowerOptions(), {});
    EXPECT_GE(scene.placements.size(), 100000u);
    EXPECT_GE(scene.GetPlacedTriangles(), 100000000u);
    EXPECT_LT(scene.GetStoredTriangles(), 10000000u);
}

TEST(TowerScene, ClampsAbsurdStoreys)
{
    TowerOptions options;
    options.storeys = -3;
    options.minPlacements = 1;
    options.minTriangles = 1;
    EXPECT_EQ(AssembleTower(MakeBoxFurniture(), options, {}).title, "Furnished tower, 1 storey");
}

TEST(TowerScene, StandsWithoutAnyFurniture)
{
    TowerOptions options;
    options.storeys = 2;
    SceneModel const scene = AssembleTower(FurnitureLibrary(), options, {});
    ExpectSoundScene(scene);
    EXPECT_GT(scene.placements.size(), 300u);
}

TEST(TowerScene, HasOpaqueOccludersOnEveryStorey)
{
    SceneModel const scene = MakeBoxTower(3, 1);
    int perStorey[4] = {};
    for (Placement const& placement : scene.placements) {
        Material const& material = scene.materials[scene.meshes[placement.mesh].material];
        if (placement.occluder) {
            EXPECT_EQ(material.opacity, 1.0f) << material.name;
            double const y = placement.box.GetCenter()[1] + TowerPlan::s_slabThickness;
            ++perStorey[static_cast<int>(std::min(y / TowerPlan::s_storeyHeight, 3.0))];
        }
    }
    for (int const count : {perStorey[0], perStorey[1], perStorey[2]}) {
        EXPECT_GT(count, 150);
    }
}

TEST(TowerScene, MakesATowerWhereNoCatalogueIsFound)
{
    TowerOptions options;
    options.storeys = 1;
    options.furniture.directory = "/nowhere/at/all";
    double last = 0.0;
    SceneModel const scene = MakeTower(options, [&last](double share, char const*) {
        EXPECT_GE(share, last);
        EXPECT_LE(share, 1.0);
        last = share;
    });
    EXPECT_EQ(last, 1.0);
    EXPECT_TRUE(scene.generated);
    EXPECT_NE(scene.note.find("generated furniture"), std::string::npos);
}

// ---- Rooms --------------------------------------------------------------------------------------

TEST(RoomLayout, PutsThirtyToSixtyPiecesIntoEveryRoom)
{
    FurnitureLibrary const library = MakeBoxFurniture();
    std::map<std::string, int> byMesh;
    for (FurniturePiece const& piece : library.pieces) {
        byMesh[library.meshes[piece.firstMesh].name] = 1;
    }
    SceneModel const scene = MakeBoxTower(3, 5);
    std::map<int, int> byRoom;
    for (Placement const& placement : scene.placements) {
        std::string const& name = scene.meshes[placement.mesh].name;
        TqLPos3f const middle = placement.box.GetCenter();
        if (byMesh.count(name) == 0) {
            continue;
        }
        for (TowerSide const side : {eNORTH, eSOUTH}) {
            for (int room = 0; room < TowerPlan::s_roomsPerSide; ++room) {
                Rect const area = TowerPlan::GetRoom(room, side);
                if (middle[0] > area.minX && middle[0] < area.maxX && middle[2] > area.minZ &&
                    middle[2] < area.maxZ) {
                    int const storey = static_cast<int>(middle[1] / TowerPlan::s_storeyHeight);
                    ++byRoom[storey * 100 + room * 10 + (side == eNORTH ? 0 : 1)];
                }
            }
        }
    }
    EXPECT_EQ(byRoom.size(), 36u);
    for (auto const& [room, count] : byRoom) {
        EXPECT_GE(count, 30) << room;
        EXPECT_LE(count, 60) << room;
    }
}

TEST(RoomLayout, KeepsPiecesApartInsideAndOutOfWhatIsKeptFree)
{
    FurnitureLibrary const library = MakeGeneratedFurniture({});
    FurnitureDeck deck(library);
    Rect const area = {0.0, 8.0, 0.0, 7.0};
    Rect const lane = {3.4, 4.6, 0.0, 7.0};
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        RoomLayout layout(area, 1.0, 2.9);
        layout.KeepFree(lane, 0.0, 2.9);
        for (int i = 0; i < 100; ++i) {
            uint32_t piece = 0;
            ASSERT_TRUE(deck.DealForRoom("Kitchen", random, piece));
            layout.Add(library, piece, random);
        }
        std::vector<LaidPiece> const& laid = layout.GetPieces();
        EXPECT_GT(laid.size(), 15u);
        for (size_t i = 0; i < laid.size(); ++i) {
            FurniturePiece const& piece = library.pieces[laid[i].piece];
            Rect const own = GetFootprint(piece, laid[i].quarters, laid[i].x, laid[i].z);
            EXPECT_GE(own.minX, area.minX - 1e-9);
            EXPECT_LE(own.maxX, area.maxX + 1e-9);
            EXPECT_GE(own.minZ, area.minZ - 1e-9);
            EXPECT_LE(own.maxZ, area.maxZ + 1e-9);
            EXPECT_GE(laid[i].y, 1.0);
            EXPECT_LE(laid[i].y + double(piece.height), 3.9 + 1e-9);
            EXPECT_FALSE(own.Overlaps(lane, 0.0));
            for (size_t k = 0; k < i; ++k) {
                FurniturePiece const& other = library.pieces[laid[k].piece];
                Rect const area2 = GetFootprint(other, laid[k].quarters, laid[k].x, laid[k].z);
                bool const sameHeight = laid[i].y < laid[k].y + double(other.height) &&
                                        laid[k].y < laid[i].y + double(piece.height);
                // What stands on a piece stands within its box where its top is not its highest
                // point: a lamp on a bedside table with a raised back.
                bool const onTop = double(other.topHeight) > 0.0 &&
                                   std::abs(laid[i].y - laid[k].y - double(other.topHeight)) < 1e-6;
                EXPECT_FALSE(sameHeight && !onTop && own.Overlaps(area2, 0.0))
                    << piece.name << " in " << other.name;
            }
        }
    }
}

TEST(RoomLayout, RefusesWhatDoesNotFit)
{
    FurnitureLibrary library;
    FurniturePiece piece;
    piece.width = 3.0f;
    piece.depth = 3.0f;
    piece.height = 1.0f;
    library.pieces.push_back(piece);
    piece.width = 0.9f;
    piece.depth = 0.9f;
    piece.height = 4.0f;
    library.pieces.push_back(piece);
    Random random(1);
    RoomLayout layout({0.0, 2.0, 0.0, 2.0}, 0.0, 2.9);
    EXPECT_FALSE(layout.Add(library, 0, random));
    EXPECT_FALSE(layout.Add(library, 1, random));
    EXPECT_TRUE(layout.GetPieces().empty());
}

TEST(RoomLayout, TurnsBacksToWallsAndFootprintsWithThem)
{
    FurniturePiece piece;
    piece.width = 2.0f;
    piece.depth = 1.0f;
    Rect const straight = GetFootprint(piece, 0, 10.0, 20.0);
    EXPECT_DOUBLE_EQ(straight.minX, 9.0);
    EXPECT_DOUBLE_EQ(straight.maxZ, 20.5);
    Rect const turned = GetFootprint(piece, 3, 10.0, 20.0);
    EXPECT_DOUBLE_EQ(turned.minX, 9.5);
    EXPECT_DOUBLE_EQ(turned.maxZ, 21.0);
}

// ---- Choosing pieces ----------------------------------------------------------------------------

TEST(FurnitureDeck, SortsPiecesByWhatTheyAreFor)
{
    FurniturePiece piece;
    piece.width = piece.depth = 1.0f;
    piece.height = 1.0f;
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eROOM);
    piece.category = "Vehicles";
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eGARDEN);
    piece.category = "Kitchen";
    piece.height = 5.0f;
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eGARDEN);
    piece.height = 1.0f;
    piece.width = 9.0f;
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eGARDEN);
    piece.width = 1.0f;
    piece.doorOrWindow = true;
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eGARDEN); // a whole lift cabin: too deep for a wall
    piece.depth = 0.2f;
    EXPECT_EQ(GetPieceUse(piece), PieceUse::eOPENING);
}

TEST(FurnitureDeck, DealsEveryPieceBeforeItRepeatsOne)
{
    PieceDeck deck;
    for (uint32_t i = 0; i < 50; ++i) {
        deck.Add(i);
    }
    Random random(3);
    for (int round = 0; round < 3; ++round) {
        std::map<uint32_t, int> dealt;
        for (int i = 0; i < 50; ++i) {
            ++dealt[deck.Deal(random)];
        }
        EXPECT_EQ(dealt.size(), 50u);
    }
}

TEST(FurnitureDeck, DealsNothingFromAnEmptyLibrary)
{
    FurnitureLibrary const library;
    FurnitureDeck deck(library);
    Random random(1);
    uint32_t piece = 0;
    EXPECT_FALSE(deck.DealForRoom(deck.PickTheme(random), random, piece));
    EXPECT_FALSE(deck.DealSmall(random, piece));
    EXPECT_FALSE(deck.DealForOpening(random, piece));
}

// ---- The walk -----------------------------------------------------------------------------------

TEST(TowerPath, MeetsNeitherWallsNorFurniture)
{
    for (int const storeys : {1, 2, 3, 5}) {
        SCOPED_TRACE(storeys);
        SceneModel const scene = MakeBoxTower(storeys, 11);
        std::map<std::string, int> const obstacles = FindObstacles(scene);
        EXPECT_TRUE(obstacles.empty()) << obstacles.begin()->first;
    }
}

TEST(TowerPath, GoesInsideUpAStoreyAndOutAgain)
{
    std::vector<CameraKey> const path = MakeTowerPath(6);
    ASSERT_GE(path.size(), 12u);
    Rect const house = {-TowerPlan::s_halfLength, TowerPlan::s_stairsEnd, -TowerPlan::s_outerFace,
                        TowerPlan::s_outerFace};
    auto const isInside = [&house](CameraKey const& key) {
        return key.position[0] > house.minX && key.position[0] < house.maxX &&
               key.position[2] > house.minZ && key.position[2] < house.maxZ;
    };
    EXPECT_FALSE(isInside(path.front()));
    EXPECT_FALSE(isInside(path.back()));
    std::map<int, int> storeys;
    for (CameraKey const& key : path) {
        EXPECT_NEAR(key.direction.Length(), 1.0, 1e-9);
        if (isInside(key)) {
            ++storeys[static_cast<int>(key.position[1] / TowerPlan::s_storeyHeight)];
        }
    }
    EXPECT_EQ(storeys.size(), 2u);
}

// ---- The generated furniture --------------------------------------------------------------------

TEST(GeneratedFurniture, FillsTheSizesItStates)
{
    FurnitureLibrary const library = MakeGeneratedFurniture({});
    EXPECT_TRUE(library.generated);
    EXPECT_TRUE(library.IsConsistent());
    EXPECT_GE(library.pieces.size(), 80u);
    for (FurniturePiece const& piece : library.pieces) {
        TqLBox3f box;
        for (uint32_t i = 0; i < piece.numMeshes; ++i) {
            box.ExtendBy(library.meshes[piece.firstMesh + i].box);
        }
        EXPECT_NEAR(box.GetMin()[1], 0.0, 1e-5) << piece.name;
        EXPECT_NEAR(box.GetMax()[0], double(piece.width) / 2, 1e-5) << piece.name;
        EXPECT_NEAR(box.GetMin()[2], double(piece.depth) / -2, 1e-5) << piece.name;
        EXPECT_NEAR(box.GetMax()[1], double(piece.height), 1e-5) << piece.name;
        EXPECT_LE(double(piece.topHeight), double(piece.height) + 1e-6) << piece.name;
        EXPECT_GT(library.GetTriangles(piece), 500u) << piece.name;
    }
}
