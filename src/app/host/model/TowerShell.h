// The tower without its furniture: slabs, walls with their openings, doors, windows, stairs, roof
// and ground. Walls and slabs are scaled copies of one cube for each material; windows, rails,
// stairs and door handles are meshes of their own.
//
// TowerScene calls AddStorey() from the ground up, then AddRoof() and AddGround(). The scene must
// outlive the shell.
#pragma once

#include "host/model/SceneModel.h"
#include "host/model/ShapeMaker.h"
#include "host/model/TowerPlan.h"

#include <vector>

namespace host
{

/// A hole in a wall, in the wall's own measures: along it, and above the floor.
struct WallOpening
{
    double from = 0.0;
    double to = 0.0;
    double bottom = 0.0;
    double top = 0.0;
};

/// An opening in the wall between room `room` and room `room + 1`, to be filled with a door or
/// window.
struct InnerOpening
{
    int room = 0;
    TowerSide side = eSOUTH;
    WallOpening hole; ///< along z
};

/// Builds the shell into a scene.
class TowerShell
{
public:
    /// Adds the shell's meshes and materials to the scene.
    explicit TowerShell(SceneModel& scene);

    /// Adds one storey. `openings` are those of its inner walls, at most one each.
    void AddStorey(int storey, std::vector<InnerOpening> const& openings);

    /// Adds the roof of a tower of so many storeys.
    void AddRoof(int storeys);

    /// Adds ground out to `halfExtent` from the middle in x and z, in tiles.
    void AddGround(double halfExtent);

private:
    /// What wall pieces are made of: one cube mesh each.
    enum Stuff
    {
        ePLASTER,
        eFACADE,
        eCONCRETE,
        ePARQUET,
        eTILE,
        eLEAF,
        eLAMP,
        eGRASS,
        eNUM_STUFFS
    };

    /// A wall's extent across it.
    struct Thickness
    {
        double from;
        double to;
    };

    uint32_t AddMaterial(char const* name, float red, float green, float blue, float opacity);
    uint32_t AddMesh(char const* name, uint32_t material, MeshBuilder& builder);
    void MakeMeshes();

    void AddBlock(Stuff stuff, Triple const& min, Triple const& max);
    void AddThin(Stuff stuff, Triple const& min, Triple const& max);
    void AddWallX(Stuff stuff, double floor, WallOpening const& extent, Thickness const& z,
                  std::vector<WallOpening> const& openings);
    void AddWallZ(Stuff stuff, double floor, WallOpening const& extent, Thickness const& x,
                  std::vector<WallOpening> const& openings);
    void AddSlabs(double top, bool withStairsHole);
    static WallOpening GetRoomLength(int room);
    void AddRoom(int storey, int room, TowerSide side);
    void AddWindows(double floor, int room, TowerSide side);
    void AddInnerWalls(double floor, TowerSide side, std::vector<InnerOpening> const& openings);
    void AddEnds(double floor);
    void AddStairWell(int storey);

    SceneModel& m_scene;
    uint32_t m_cubes[eNUM_STUFFS] = {};
    uint32_t m_windowFrame = 0;
    uint32_t m_windowPane = 0;
    uint32_t m_balconyRail = 0;
    uint32_t m_doorFrame = 0;
    uint32_t m_doorHandle = 0;
    uint32_t m_stairs = 0;
    uint32_t m_stairsRail = 0;
};

} // namespace host
