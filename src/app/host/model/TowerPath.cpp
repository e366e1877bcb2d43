#include "host/model/TowerPath.h"

#include "host/model/TowerPlan.h"

#include <algorithm>
#include <cmath>

namespace host
{
namespace
{

using Plan = TowerPlan;

constexpr int eENTRY_STOREY = 2; ///< where the tower is high enough
constexpr double eABOVE_TREES = 14.0;
constexpr double eTURN = 6.283185307179586;

TqLVec3f Normalised(TqLVec3f const& v)
{
    double const length = v.Length();
    return length > 0.0 ? v * (1.0 / length) : TqLVec3f(0.0, 0.0, -1.0);
}

/// Collects keys. Directions are given by a point to look at or by a compass direction.
class PathMaker
{
public:
    void LookAt(TqLPos3f const& from, TqLPos3f const& at)
    {
        m_keys.push_back({from, Normalised(at - from)});
    }

    void Look(TqLPos3f const& from, double x, double y, double z)
    {
        m_keys.push_back({from, Normalised(TqLVec3f(x, y, z))});
    }

    std::vector<CameraKey> Take() { return std::move(m_keys); }

private:
    std::vector<CameraKey> m_keys;
};

/// Three quarters of a circle around the tower, sinking, from the north-west to the south.
void CircleTower(PathMaker& path, int storeys)
{
    constexpr int eKEYS = 7;
    double const height = Plan::GetFloor(storeys);
    double const radius = Plan::s_halfLength + 30.0 + 0.3 * height;
    TqLPos3f const middle(0.0, height * 0.45, 0.0);
    for (int i = 0; i < eKEYS; ++i) {
        double const share = double(i) / (eKEYS - 1);
        double const angle = -0.65 * eTURN * (1.0 - share);
        double const y = std::max(height * (1.0 - 0.7 * share), eABOVE_TREES);
        path.LookAt(TqLPos3f(radius * std::sin(angle), y, radius * std::cos(angle)), middle);
    }
}

/// Down to the entry room's balcony, through the room and into the corridor.
void EnterThroughRoom(PathMaker& path, double eye)
{
    double const x = Plan::GetRoomCenterX(TowerPathRooms::s_entry);
    double const outside = Plan::s_halfDepth;
    double const middle = Plan::GetRoom(TowerPathRooms::s_entry, eSOUTH).GetCenterZ();
    TqLPos3f const door(x, eye, outside);
    path.LookAt(TqLPos3f(x, std::max(eye, eABOVE_TREES), outside + 30.0), door);
    path.LookAt(TqLPos3f(x, eye + 0.5, outside + 6.0), door);
    path.Look(TqLPos3f(x, eye, outside + 0.6), 0.0, 0.0, -1.0);
    path.Look(TqLPos3f(x, eye, middle + 1.5), 0.0, -0.1, -1.0);
    path.Look(TqLPos3f(x, eye, middle), -1.0, -0.15, -0.4);
    path.Look(TqLPos3f(x, eye, middle), 1.0, -0.15, -0.4);
    path.Look(TqLPos3f(x, eye, middle - 1.5), 0.2, 0.0, -1.0);
    path.Look(TqLPos3f(x, eye, Plan::s_corridorHalf), 0.0, 0.0, -1.0);
    path.Look(TqLPos3f(x, eye, 0.0), 1.0, 0.0, -0.6);
}

/// Along the corridor into a room on the north side, a look around, and back.
void VisitRoom(PathMaker& path, double eye)
{
    double const x = Plan::GetRoomCenterX(TowerPathRooms::s_visit);
    double const middle = Plan::GetRoom(TowerPathRooms::s_visit, eNORTH).GetCenterZ();
    double const start = Plan::GetRoomCenterX(TowerPathRooms::s_entry);
    path.Look(TqLPos3f(start + (x - start) / 3, eye, 0.0), 1.0, 0.0, 0.0);
    path.Look(TqLPos3f(start + (x - start) * 2 / 3, eye, 0.0), 1.0, 0.0, 0.0);
    path.Look(TqLPos3f(x, eye, 0.0), 0.5, 0.0, -1.0);
    path.Look(TqLPos3f(x, eye, -Plan::s_corridorHalf - 0.4), 0.0, 0.0, -1.0);
    path.Look(TqLPos3f(x, eye, middle), -0.8, -0.1, -1.0);
    path.Look(TqLPos3f(x, eye, middle - 1.0), 1.0, -0.15, -0.2);
    path.Look(TqLPos3f(x, eye, middle), 0.6, -0.1, 1.0);
    path.Look(TqLPos3f(x, eye, -Plan::s_corridorHalf), 0.0, 0.0, 1.0);
    path.Look(TqLPos3f(x, eye, 0.0), 1.0, 0.0, 0.3);
}

/// From the corridor up one flight and back into the corridor above.
void ClimbStairs(PathMaker& path, double eye)
{
    double const start = Plan::s_halfLength;
    double const landing = start + Plan::s_stairsLength;
    double const turn = landing + Plan::s_landingLength / 2;
    double const above = eye + Plan::s_storeyHeight;
    double const flight = -0.6;
    path.Look(TqLPos3f(start - 0.6, eye, flight), 1.0, 0.2, 0.0);
    path.Look(TqLPos3f((start + landing) / 2, (eye + above) / 2 + 0.2, flight), 1.0, 0.3, 0.0);
    path.Look(TqLPos3f(landing, above, flight), 1.0, 0.0, 0.4);
    path.Look(TqLPos3f(turn, above, flight), 0.3, 0.0, 1.0);
    path.Look(TqLPos3f(turn, above, -flight), -1.0, 0.0, 0.2);
    path.Look(TqLPos3f((start + landing) / 2, above, -flight), -1.0, 0.0, 0.0);
    path.Look(TqLPos3f(start - 0.6, above, -flight), -1.0, 0.0, 0.0);
}

/// Out through the exit room's balcony, then back to see the whole.
void LeaveThroughRoom(PathMaker& path, double eye, int storeys)
{
    double const x = Plan::GetRoomCenterX(TowerPathRooms::s_exit);
    double const middle = Plan::GetRoom(TowerPathRooms::s_exit, eSOUTH).GetCenterZ();
    double const outside = Plan::s_halfDepth;
    double const height = Plan::GetFloor(storeys);
    TqLPos3f const tower(0.0, height * 0.45, 0.0);
    path.Look(TqLPos3f(x, eye, 0.0), -0.5, 0.0, 1.0);
    path.Look(TqLPos3f(x, eye, Plan::s_corridorHalf), 0.0, 0.0, 1.0);
    path.Look(TqLPos3f(x, eye, middle - 1.0), -1.0, -0.15, 0.4);
    path.Look(TqLPos3f(x, eye, middle + 1.0), 0.4, -0.1, 1.0);
    path.Look(TqLPos3f(x, eye, outside + 0.6), 0.0, 0.0, 1.0);
    path.Look(TqLPos3f(x, std::max(eye + 2.0, 6.0), outside + 8.0), -0.5, 0.2, 0.6);
    path.LookAt(TqLPos3f(x, std::max(eye + 8.0, eABOVE_TREES), outside + 30.0), tower);
    path.LookAt(TqLPos3f(x + 30.0, std::max(height * 0.7, eABOVE_TREES), outside + 60.0), tower);
}

} // namespace

std::vector<CameraKey> MakeTowerPath(int storeys)
{
    int const entry = std::clamp(storeys - 2, 0, eENTRY_STOREY);
    bool const climbs = entry + 1 < storeys;
    double const eye = Plan::GetFloor(entry) + Plan::s_eyeHeight;
    PathMaker path;
    CircleTower(path, storeys);
    EnterThroughRoom(path, eye);
    VisitRoom(path, eye);
    if (climbs) {
        ClimbStairs(path, eye);
    }
    LeaveThroughRoom(path, eye + (climbs ? Plan::s_storeyHeight : 0.0), storeys);
    return path.Take();
}

} // namespace host
