#include "host/model/TowerScene.h"

#include "host/model/FurnitureDeck.h"
#include "host/model/RoomLayout.h"
#include "host/model/TowerGarden.h"
#include "host/model/TowerPath.h"
#include "host/model/TowerShell.h"
#include "host/model/Transforms.h"

#include <algorithm>
#include <utility>

namespace host
{
namespace
{

using Plan = TowerPlan;

constexpr int eMOST_STOREYS = 400;
constexpr uint32_t eLEAST_PIECES = 30; ///< in a room
constexpr uint32_t eMOST_PIECES = 60;
constexpr int eDRAWS_A_PIECE = 12;    ///< before a room counts as full
constexpr double eWINDOW_ZONE = 0.15; ///< kept free before windows
constexpr double eDOOR_SWING = 1.1;
constexpr double eLOADING_SHARE = 0.9; ///< of the progress; assembling has the rest
constexpr uint64_t eSTOREY_STEP = 0xD1342543DE82EF95ull;

/// Puts one tower together.
class TowerAssembler
{
public:
    TowerAssembler(FurnitureLibrary&& library, TowerOptions const& options, SceneModel& scene);

    void Assemble(ProgressFn const& progress);

private:
    bool IsEnough(int storeys) const;
    void CountTriangles();
    void AddStorey(int storey);
    void FurnishRoom(int storey, int room, TowerSide side, Random& random);
    InnerOpening PlaceInOpening(double floor, int room, TowerSide side, Random& random);
    void PlacePiece(LaidPiece const& laid);
    void DropUnusedMeshes();

    FurnitureLibrary m_library; ///< its meshes and materials are in the scene, pieces adjusted
    TowerOptions const& m_options;
    SceneModel& m_scene;
    FurnitureDeck m_deck;
    uint64_t m_numTriangles = 0; ///< of the first m_numCounted placements
    size_t m_numCounted = 0;
};

/// The library's meshes and materials become the scene's; its pieces keep pointing to them.
TowerAssembler::TowerAssembler(FurnitureLibrary&& library, TowerOptions const& options,
                               SceneModel& scene)
    : m_library(std::move(library))
    , m_options(options)
    , m_scene(scene)
    , m_deck(m_library)
{
    m_scene.materials = std::move(m_library.materials);
    m_scene.meshes = std::move(m_library.meshes);
    m_scene.credits = std::move(m_library.credits);
    m_scene.generated = m_library.generated;
    m_scene.note = m_library.note;
}

void TowerAssembler::Assemble(ProgressFn const& progress)
{
    TowerShell shell(m_scene);
    Garden const garden = LayOutGarden(m_library, m_deck.GetGardenPieces());
    shell.AddGround(garden.halfExtent);
    for (LaidPiece const& laid : garden.pieces) {
        PlacePiece(laid);
    }
    int const wanted = std::clamp(m_options.storeys, 0, eMOST_STOREYS);
    int storeys = 0;
    do {
        std::vector<InnerOpening> openings;
        Random random(m_options.seed + eSTOREY_STEP * static_cast<uint64_t>(storeys + 1));
        for (TowerSide const side : {eNORTH, eSOUTH}) {
            for (int room = 0; room < Plan::s_roomsPerSide; ++room) {
                FurnishRoom(storeys, room, side, random);
                if (room + 1 < Plan::s_roomsPerSide) {
                    openings.push_back(PlaceInOpening(Plan::GetFloor(storeys), room, side, random));
                }
            }
        }
        shell.AddStorey(storeys, openings);
        ++storeys;
        CountTriangles();
        if (progress) {
            double const share =
                wanted > 0 ? double(storeys) / wanted
                           : double(m_numTriangles) / (double(m_options.minTriangles) + 1.0);
            progress(std::min(share, 1.0), "assembling the tower");
        }
    } while (wanted > 0 ? storeys < wanted : !IsEnough(storeys));
    shell.AddRoof(storeys);
    m_scene.path = MakeTowerPath(storeys);
    m_scene.title =
        "Furnished tower, " + std::to_string(storeys) + (storeys == 1 ? " storey" : " storeys");
    DropUnusedMeshes();
}

bool TowerAssembler::IsEnough(int storeys) const
{
    return storeys >= eMOST_STOREYS || (m_scene.placements.size() >= m_options.minPlacements &&
                                        m_numTriangles >= m_options.minTriangles);
}

/// Takes the placements that are new since the last call into the count.
void TowerAssembler::CountTriangles()
{
    for (; m_numCounted < m_scene.placements.size(); ++m_numCounted) {
        m_numTriangles += m_scene.meshes[m_scene.placements[m_numCounted].mesh].GetNumTriangles();
    }
}

// ---- Rooms --------------------------------------------------------------------------------------

void TowerAssembler::FurnishRoom(int storey, int room, TowerSide side, Random& random)
{
    Rect const area = Plan::GetRoom(room, side);
    double const floor = Plan::GetFloor(storey) + Plan::s_floorFinish;
    RoomLayout layout(area, floor, Plan::s_clearHeight - Plan::s_floorFinish - 0.07);

    // The way from the door to the balcony, the door's swing, and the windows.
    double const middle = area.GetCenterX();
    layout.KeepFree({middle - Plan::s_laneHalf, middle + Plan::s_laneHalf, area.minZ, area.maxZ},
                    0.0, Plan::s_clearHeight);
    double const doorZ = side == eSOUTH ? area.minZ : area.maxZ - eDOOR_SWING;
    layout.KeepFree({middle - 0.8, middle + 0.8, doorZ, doorZ + eDOOR_SWING}, 0.0,
                    Plan::s_clearHeight);
    double const windowZ = side == eSOUTH ? area.maxZ - eWINDOW_ZONE : area.minZ;
    for (int const window : {0, 2}) {
        double const x = Plan::GetWindowCenterX(room, window);
        layout.KeepFree({x - Plan::s_windowWidth / 2, x + Plan::s_windowWidth / 2, windowZ,
                         windowZ + eWINDOW_ZONE},
                        Plan::s_windowSill, Plan::s_windowHead);
    }

    uint32_t const target = eLEAST_PIECES + random.Below(eMOST_PIECES - eLEAST_PIECES + 1);
    std::string const theme = m_deck.PickTheme(random);
    uint32_t piece = 0;
    int draws = eDRAWS_A_PIECE * static_cast<int>(target);
    while (layout.GetPieces().size() < target && draws-- > 0 &&
           m_deck.DealForRoom(theme, random, piece)) {
        layout.Add(m_library, piece, random);
    }
    draws = eDRAWS_A_PIECE * static_cast<int>(eLEAST_PIECES);
    while (layout.GetPieces().size() < eLEAST_PIECES && draws-- > 0 &&
           m_deck.DealSmall(random, piece)) {
        layout.Add(m_library, piece, random);
    }
    for (LaidPiece const& laid : layout.GetPieces()) {
        PlacePiece(laid);
    }
}

/// Sets a door or window into the wall behind a room, turned by chance to either side, and returns
/// the hole that it needs; an empty one where there is nothing to set in.
InnerOpening TowerAssembler::PlaceInOpening(double floor, int room, TowerSide side, Random& random)
{
    constexpr double eFROM_CORNER = 0.5;
    InnerOpening opening;
    opening.room = room;
    opening.side = side;
    Rect const area = Plan::GetRoom(room, side);
    LaidPiece laid;
    if (!m_deck.DealForOpening(random, laid.piece)) {
        return opening;
    }
    FurniturePiece const& piece = m_library.pieces[laid.piece];
    double const half = double(piece.width) / 2;
    double const bottom = std::max(double(piece.elevation), 0.0);
    laid.quarters = random.Chance(0.5) ? 1 : 3;
    laid.x = area.maxX + Plan::s_innerWall / 2;
    laid.y = floor + bottom;
    laid.z = random.Between(area.minZ + eFROM_CORNER + half, area.maxZ - eFROM_CORNER - half);
    PlacePiece(laid);
    opening.hole = {laid.z - half, laid.z + half, bottom, bottom + double(piece.height)};
    return opening;
}

void TowerAssembler::PlacePiece(LaidPiece const& laid)
{
    FurniturePiece const& piece = m_library.pieces[laid.piece];
    TqLAffine3f const toWorld = MakeQuarterTurned(laid.quarters, laid.x, laid.y, laid.z);
    for (uint32_t i = 0; i < piece.numMeshes; ++i) {
        m_scene.AddPlacement(piece.firstMesh + i, toWorld, false);
    }
}

// ---- Clearing up --------------------------------------------------------------------------------

/// A small tower does not use every piece; what nothing points to would only be uploaded for
/// nothing.
void TowerAssembler::DropUnusedMeshes()
{
    std::vector<uint32_t> numbers(m_scene.meshes.size(), 0);
    for (Placement const& placement : m_scene.placements) {
        numbers[placement.mesh] = 1;
    }
    uint32_t numUsed = 0;
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (numbers[i] != 0) {
            if (numUsed != i) {
                m_scene.meshes[numUsed] = std::move(m_scene.meshes[i]);
            }
            numbers[i] = numUsed++;
        }
    }
    m_scene.meshes.resize(numUsed);
    for (Placement& placement : m_scene.placements) {
        placement.mesh = numbers[placement.mesh];
    }
}

} // namespace

SceneModel AssembleTower(FurnitureLibrary&& library, TowerOptions const& options,
                         ProgressFn const& progress)
{
    SceneModel scene;
    TowerAssembler(std::move(library), options, scene).Assemble(progress);
    return scene;
}

SceneModel MakeTower(TowerOptions const& options, ProgressFn const& progress)
{
    ProgressFn loading;
    ProgressFn assembling;
    if (progress) {
        loading = [&progress](double share, char const* what) {
            progress(eLOADING_SHARE * share, what);
        };
        assembling = [&progress](double share, char const* what) {
            progress(eLOADING_SHARE + (1.0 - eLOADING_SHARE) * share, what);
        };
    }
    return AssembleTower(LoadFurniture(options.furniture, loading), options, assembling);
}

} // namespace host
