#include "host/model/TowerShell.h"

#include "host/model/Transforms.h"

#include <algorithm>

namespace host
{
namespace
{

using Plan = TowerPlan;

constexpr double eFRAME = 0.06; ///< of windows and doors, across the opening
constexpr double eLEAF_THICKNESS = 0.04;
constexpr double ePARAPET = 0.9;
constexpr double eGROUND_LEVEL = -0.05;
constexpr double eGROUND_THICKNESS = 0.25;
constexpr double eGROUND_TILE = 20.0;
constexpr double eLAMP_SIZE = 0.6;
constexpr double eLAMP_THICKNESS = 0.06;
constexpr double eENTRANCE_HALF = 0.6; ///< of the house door at the corridor's -x end

/// A wall cut into the solid pieces between, below and above its openings.
std::vector<WallOpening> CutWall(WallOpening const& wall, std::vector<WallOpening> openings)
{
    std::sort(openings.begin(), openings.end(),
              [](WallOpening const& a, WallOpening const& b) { return a.from < b.from; });
    std::vector<WallOpening> pieces;
    double at = wall.from;
    for (WallOpening const& hole : openings) {
        pieces.push_back({at, hole.from, wall.bottom, wall.top});
        pieces.push_back({hole.from, hole.to, wall.bottom, hole.bottom});
        pieces.push_back({hole.from, hole.to, hole.top, wall.top});
        at = hole.to;
    }
    pieces.push_back({at, wall.to, wall.bottom, wall.top});
    pieces.erase(std::remove_if(pieces.begin(), pieces.end(),
                                [](WallOpening const& piece) {
                                    return piece.to - piece.from <= 0.0 ||
                                           piece.top - piece.bottom <= 0.0;
                                }),
                 pieces.end());
    return pieces;
}

/// Four bars around an opening that is centred on the origin in x and z and starts at y = 0.
void AddFrame(MeshBuilder& builder, double width, double height, double depth, bool sill)
{
    double const half = width / 2;
    double const deep = depth / 2;
    AddBox(builder, {-half, 0.0, -deep}, {-half + eFRAME, height, deep});
    AddBox(builder, {half - eFRAME, 0.0, -deep}, {half, height, deep});
    AddBox(builder, {-half + eFRAME, height - eFRAME, -deep}, {half - eFRAME, height, deep});
    if (sill) {
        AddBox(builder, {-half + eFRAME, 0.0, -deep}, {half - eFRAME, eFRAME, deep});
    }
}

/// A rail of posts and a hand bar along x, centred, standing on y = 0.
void AddRail(MeshBuilder& builder, double length, double height)
{
    constexpr double ePOST = 0.012;
    constexpr double eBAR = 0.025;
    constexpr double eSPACING = 0.12;
    int const posts = static_cast<int>(length / eSPACING);
    for (int i = 0; i <= posts; ++i) {
        double const x = -length / 2 + length * i / posts;
        AddBox(builder, {x - ePOST, 0.0, -ePOST}, {x + ePOST, height - eBAR, ePOST});
    }
    AddBox(builder, {-length / 2, height - 2 * eBAR, -eBAR}, {length / 2, height, eBAR});
}

} // namespace

// ---- Meshes -------------------------------------------------------------------------------------

TowerShell::TowerShell(SceneModel& scene) : m_scene(scene)
{
    MakeMeshes();
}

uint32_t TowerShell::AddMaterial(char const* name, float red, float green, float blue,
                                 float opacity)
{
    m_scene.materials.push_back({name, {red, green, blue}, opacity});
    return static_cast<uint32_t>(m_scene.materials.size() - 1);
}

uint32_t TowerShell::AddMesh(char const* name, uint32_t material, MeshBuilder& builder)
{
    Mesh mesh;
    mesh.name = name;
    mesh.material = material;
    builder.Finish(mesh);
    m_scene.meshes.push_back(std::move(mesh));
    return static_cast<uint32_t>(m_scene.meshes.size() - 1);
}

void TowerShell::MakeMeshes()
{
    struct Paint
    {
        char const* name;
        float color[3];
    };

    constexpr Paint s_paints[eNUM_STUFFS] = {
        {"plaster", {0.82f, 0.78f, 0.70f}},  {"facade", {0.56f, 0.36f, 0.28f}},
        {"concrete", {0.60f, 0.60f, 0.58f}}, {"parquet", {0.52f, 0.36f, 0.22f}},
        {"tile", {0.55f, 0.56f, 0.58f}},     {"door leaf", {0.45f, 0.31f, 0.20f}},
        {"lamp", {1.00f, 0.97f, 0.88f}},     {"grass", {0.30f, 0.40f, 0.20f}},
    };
    MeshBuilder builder;
    for (int i = 0; i < eNUM_STUFFS; ++i) {
        float const* color = s_paints[i].color;
        uint32_t const material = AddMaterial(s_paints[i].name, color[0], color[1], color[2], 1.0f);
        AddBox(builder, {0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
        m_cubes[i] = AddMesh(s_paints[i].name, material, builder);
    }
    uint32_t const white = AddMaterial("frame", 0.92f, 0.92f, 0.90f, 1.0f);
    uint32_t const glass = AddMaterial("window glass", 0.62f, 0.76f, 0.82f, 0.25f);
    uint32_t const steel = AddMaterial("steel", 0.35f, 0.36f, 0.38f, 1.0f);

    double const windowHeight = Plan::s_windowHead - Plan::s_windowSill;
    AddFrame(builder, Plan::s_windowWidth, windowHeight, eFRAME, true);
    AddBox(builder, {-eFRAME / 2, eFRAME, -eFRAME / 2},
           {eFRAME / 2, windowHeight - eFRAME, eFRAME / 2});
    m_windowFrame = AddMesh("window frame", white, builder);
    AddBox(builder, {-Plan::s_windowWidth / 2 + eFRAME, eFRAME, -0.006},
           {Plan::s_windowWidth / 2 - eFRAME, windowHeight - eFRAME, 0.006});
    m_windowPane = AddMesh("window pane", glass, builder);

    AddRail(builder, Plan::s_windowWidth, Plan::s_balconyRail);
    m_balconyRail = AddMesh("balcony rail", steel, builder);
    AddFrame(builder, Plan::s_doorWidth, Plan::s_doorHeight, Plan::s_innerWall + 0.03, false);
    m_doorFrame = AddMesh("door frame", white, builder);
    AddCylinder(builder, {0.0, 0.0, 0.0}, 0.025, 0.025, 0.012, 16);
    AddEllipsoid(builder, {0.0, 0.04, 0.0}, {0.028, 0.028, 0.028}, 12, 16);
    m_doorHandle = AddMesh("door handle", steel, builder);

    double const rise = Plan::s_storeyHeight / Plan::s_stairsSteps;
    double const going = Plan::s_stairsLength / Plan::s_stairsSteps;
    for (int i = 0; i < Plan::s_stairsSteps; ++i) {
        double const low = std::max(0.0, (i - 1) * rise);
        AddBox(builder, {i * going, low, 0.0}, {(i + 1) * going, (i + 1) * rise, 1.15});
    }
    m_stairs = AddMesh("stairs", m_scene.meshes[m_cubes[eCONCRETE]].material, builder);
    AddRail(builder, Plan::s_stairsLength, 1.0);
    m_stairsRail = AddMesh("stairs rail", steel, builder);
}

// ---- Pieces -------------------------------------------------------------------------------------

void TowerShell::AddBlock(Stuff stuff, Triple const& min, Triple const& max)
{
    m_scene.AddPlacement(
        m_cubes[stuff],
        MakeScaled(max[0] - min[0], max[1] - min[1], max[2] - min[2], min[0], min[1], min[2]),
        true);
}

/// Like AddBlock(), for things too thin or small to hide much.
void TowerShell::AddThin(Stuff stuff, Triple const& min, Triple const& max)
{
    AddBlock(stuff, min, max);
    m_scene.placements.back().occluder = false;
}

/// A wall along x. `extent` runs along it and upwards from the floor.
void TowerShell::AddWallX(Stuff stuff, double floor, WallOpening const& extent, Thickness const& z,
                          std::vector<WallOpening> const& openings)
{
    for (WallOpening const& piece : CutWall(extent, openings)) {
        AddBlock(stuff, {piece.from, floor + piece.bottom, z.from},
                 {piece.to, floor + piece.top, z.to});
    }
}

/// A wall along z.
void TowerShell::AddWallZ(Stuff stuff, double floor, WallOpening const& extent, Thickness const& x,
                          std::vector<WallOpening> const& openings)
{
    for (WallOpening const& piece : CutWall(extent, openings)) {
        AddBlock(stuff, {x.from, floor + piece.bottom, piece.from},
                 {x.to, floor + piece.top, piece.to});
    }
}

// ---- Storeys ------------------------------------------------------------------------------------

void TowerShell::AddStorey(int storey, std::vector<InnerOpening> const& openings)
{
    double const floor = Plan::GetFloor(storey);
    AddSlabs(floor, storey > 0);
    for (TowerSide const side : {eNORTH, eSOUTH}) {
        for (int room = 0; room < Plan::s_roomsPerSide; ++room) {
            AddRoom(storey, room, side);
        }
        AddInnerWalls(floor, side, openings);
    }
    AddEnds(floor);
    AddStairWell(storey);
}

/// The slab under a storey, or the roof: one piece for each room and each bay of the corridor.
void TowerShell::AddSlabs(double top, bool withStairsHole)
{
    double const bottom = top - Plan::s_slabThickness;
    double const half = Plan::s_corridorHalf;
    for (int room = 0; room < Plan::s_roomsPerSide; ++room) {
        bool const first = room == 0;
        bool const last = room + 1 == Plan::s_roomsPerSide;
        double const middle = Plan::GetRoomCenterX(room);
        double const minX = middle - Plan::s_roomPitch / 2 - (first ? Plan::s_outerWall : 0.0);
        double const maxX = middle + Plan::s_roomPitch / 2 + (last ? Plan::s_outerWall : 0.0);
        AddBlock(eCONCRETE, {minX, bottom, -Plan::s_halfDepth}, {maxX, top, -half});
        AddBlock(eCONCRETE, {minX, bottom, -half}, {std::min(maxX, Plan::s_halfLength), top, half});
        AddBlock(eCONCRETE, {minX, bottom, half}, {maxX, top, Plan::s_halfDepth});
    }
    double const start = Plan::s_halfLength;
    double const landing = start + Plan::s_stairsLength;
    AddBlock(eCONCRETE, {start, bottom, withStairsHole ? 0.05 : -half}, {landing, top, half});
    AddBlock(eCONCRETE, {landing, bottom, -half}, {Plan::s_stairsEnd, top, half});
}

/// Where a room's walls along x run: half a pitch to both sides, but not into the walls that close
/// the building at its ends, with whose faces they would share a plane.
WallOpening TowerShell::GetRoomLength(int room)
{
    double const middle = Plan::GetRoomCenterX(room);
    double const end = Plan::s_halfLength - Plan::s_innerWall / 2;
    return {std::max(middle - Plan::s_roomPitch / 2, -end),
            std::min(middle + Plan::s_roomPitch / 2, end), 0.0, Plan::s_clearHeight};
}

void TowerShell::AddRoom(int storey, int room, TowerSide side)
{
    double const floor = Plan::GetFloor(storey);
    Rect const area = Plan::GetRoom(room, side);
    double const middle = area.GetCenterX();
    double const doorHalf = Plan::s_doorWidth / 2;

    AddThin((room + storey) % 3 == 0 ? eTILE : ePARQUET, {area.minX, floor, area.minZ},
            {area.maxX, floor + Plan::s_floorFinish, area.maxZ});
    AddThin(
        eLAMP,
        {middle - eLAMP_SIZE / 2, floor + Plan::s_clearHeight - eLAMP_THICKNESS,
         area.GetCenterZ() - eLAMP_SIZE / 2},
        {middle + eLAMP_SIZE / 2, floor + Plan::s_clearHeight, area.GetCenterZ() + eLAMP_SIZE / 2});

    // The corridor's wall with the door in its middle; the leaf stands open into the room.
    double const sign = side;
    double const face = sign * Plan::s_corridorHalf;
    double const far = sign * (Plan::s_corridorHalf + Plan::s_innerWall);
    Thickness const wall = {std::min(face, far), std::max(face, far)};
    AddWallX(ePLASTER, floor, GetRoomLength(room), wall,
             {{middle - doorHalf, middle + doorHalf, 0.0, Plan::s_doorHeight}});
    m_scene.AddPlacement(m_doorFrame, MakeTranslation(middle, floor, (wall.from + wall.to) / 2),
                         false);
    double const leafX = middle - doorHalf - eLEAF_THICKNESS;
    double const tip = far + sign * (Plan::s_doorWidth - 2 * eFRAME);
    AddBlock(eLEAF, {leafX, floor + Plan::s_floorFinish, std::min(far, tip)},
             {leafX + eLEAF_THICKNESS, floor + Plan::s_doorHeight - eFRAME, std::max(far, tip)});
    // The handle's axis points along x, away from the leaf.
    double const rows[3][3] = {{0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}};
    double const place[3] = {leafX + eLEAF_THICKNESS, floor + 1.0, tip - sign * 0.08};
    m_scene.AddPlacement(m_doorHandle, MakeAffine(rows, place), false);

    AddWindows(floor, room, side);
}

/// The outer wall of a room with two windows and, in line with the door, an open balcony door
/// behind a rail.
void TowerShell::AddWindows(double floor, int room, TowerSide side)
{
    double const halfWindow = Plan::s_windowWidth / 2;
    double const sign = side;
    double const face = sign * Plan::s_outerFace;
    double const far = sign * Plan::s_halfDepth;
    double const middleZ = (face + far) / 2;
    std::vector<WallOpening> openings;
    for (int window = 0; window < 3; ++window) {
        double const x = Plan::GetWindowCenterX(room, window);
        bool const balcony = window == 1;
        openings.push_back({x - halfWindow, x + halfWindow, balcony ? 0.0 : Plan::s_windowSill,
                            Plan::s_windowHead});
        if (balcony) {
            m_scene.AddPlacement(m_balconyRail, MakeTranslation(x, floor, middleZ), false);
        } else {
            TqLAffine3f const place = MakeTranslation(x, floor + Plan::s_windowSill, middleZ);
            m_scene.AddPlacement(m_windowFrame, place, false);
            m_scene.AddPlacement(m_windowPane, place, false);
        }
    }
    AddWallX(eFACADE, floor, GetRoomLength(room), {std::min(face, far), std::max(face, far)},
             openings);
}

/// The walls between neighbouring rooms of one side.
void TowerShell::AddInnerWalls(double floor, TowerSide side,
                               std::vector<InnerOpening> const& openings)
{
    for (int room = 0; room + 1 < Plan::s_roomsPerSide; ++room) {
        Rect const area = Plan::GetRoom(room, side);
        std::vector<WallOpening> holes;
        for (InnerOpening const& opening : openings) {
            if (opening.room == room && opening.side == side) {
                holes.push_back(opening.hole);
            }
        }
        AddWallZ(ePLASTER, floor, {area.minZ, area.maxZ, 0.0, Plan::s_clearHeight},
                 {area.maxX, area.maxX + Plan::s_innerWall}, holes);
    }
}

/// The walls that close the building at -x and +x. At -x the corridor has a window, on the ground
/// the house door; at +x it goes on into the stair well.
void TowerShell::AddEnds(double floor)
{
    double const inner = Plan::s_halfLength - Plan::s_innerWall / 2;
    double const outer = Plan::s_halfLength + Plan::s_outerWall;
    double const room = Plan::s_corridorHalf;
    WallOpening const whole = {-Plan::s_halfDepth, Plan::s_halfDepth, 0.0, Plan::s_clearHeight};
    bool const ground = floor <= 0.0;
    WallOpening const corridorEnd = {-eENTRANCE_HALF, eENTRANCE_HALF,
                                     ground ? 0.0 : Plan::s_windowSill, Plan::s_windowHead};
    AddWallZ(eFACADE, floor, whole, {-outer, -inner}, {corridorEnd});
    AddWallZ(eFACADE, floor, whole, {inner, outer}, {{-room, room, 0.0, Plan::s_clearHeight}});
}

/// The bay at the corridor's end: outer walls with a large window, stairs up, a rail beside the
/// hole.
void TowerShell::AddStairWell(int storey)
{
    double const floor = Plan::GetFloor(storey);
    double const half = Plan::s_corridorHalf;
    double const wall = half + Plan::s_outerWall;
    double const start = Plan::s_halfLength + Plan::s_outerWall;
    double const end = Plan::s_stairsEnd;
    WallOpening const along = {start, end, 0.0, Plan::s_storeyHeight};
    AddWallX(eFACADE, floor - Plan::s_slabThickness, along, {-wall, -half}, {});
    AddWallX(eFACADE, floor - Plan::s_slabThickness, along, {half, wall}, {});
    AddWallZ(eFACADE, floor - Plan::s_slabThickness, {-wall, wall, 0.0, Plan::s_storeyHeight},
             {end, end + Plan::s_outerWall},
             {{-0.9, 0.9, Plan::s_slabThickness + Plan::s_windowSill,
               Plan::s_slabThickness + Plan::s_windowHead}});
    m_scene.AddPlacement(m_stairs, MakeTranslation(Plan::s_halfLength, floor, -half), false);
    if (storey > 0) {
        m_scene.AddPlacement(
            m_stairsRail,
            MakeTranslation(Plan::s_halfLength + Plan::s_stairsLength / 2, floor, 0.02), false);
    }
}

// ---- Roof and ground ----------------------------------------------------------------------------

void TowerShell::AddRoof(int storeys)
{
    double const top = Plan::GetFloor(storeys);
    AddSlabs(top, true);
    double const x = Plan::s_halfLength + Plan::s_outerWall;
    double const z = Plan::s_halfDepth;
    double const thick = Plan::s_outerWall;
    AddBlock(eFACADE, {-x, top, -z}, {x, top + ePARAPET, -z + thick});
    AddBlock(eFACADE, {-x, top, z - thick}, {x, top + ePARAPET, z});
    AddBlock(eFACADE, {-x, top, -z + thick}, {-x + thick, top + ePARAPET, z - thick});
    AddBlock(eFACADE, {x - thick, top, -z + thick}, {x, top + ePARAPET, -Plan::s_corridorHalf});
    AddBlock(eFACADE, {x - thick, top, Plan::s_corridorHalf}, {x, top + ePARAPET, z - thick});
}

void TowerShell::AddGround(double halfExtent)
{
    double const bottom = eGROUND_LEVEL - eGROUND_THICKNESS;
    int const tiles = std::max(1, static_cast<int>(2.0 * halfExtent / eGROUND_TILE));
    double const size = 2.0 * halfExtent / tiles;
    for (int i = 0; i < tiles; ++i) {
        for (int k = 0; k < tiles; ++k) {
            double const x = -halfExtent + i * size;
            double const z = -halfExtent + k * size;
            AddBlock(eGRASS, {x, bottom, z}, {x + size, eGROUND_LEVEL, z + size});
        }
    }
}

} // namespace host
