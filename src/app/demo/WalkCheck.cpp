#include "demo/WalkCheck.h"

#include "geometry/TqLBox.h"

#include <algorithm>
#include <cmath>

namespace demo
{

namespace
{

/// Rounding of distances and volumes, in units of the coordinates at play.
constexpr double eROUNDING = 1e-12;

/// A straight piece of a step.
struct Leg
{
    std::size_t m_step;
    TqLPos3f m_from;
    TqLPos3f m_to;
    TqLBox3f m_box;
};

struct Triangle
{
    TqLPos3f m_corners[3];
};

std::vector<Leg> MakeLegs(std::vector<WalkStep> const& steps)
{
    std::vector<Leg> legs;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        std::vector<TqLPos3f> places = steps[i].m_turns;
        places.push_back(steps[i].m_position);
        for (std::size_t j = 1; j < places.size(); ++j) {
            TqLBox3f box;
            box.MakeEmpty();
            box.ExtendBy(places[j - 1]);
            box.ExtendBy(places[j]);
            legs.push_back({i, places[j - 1], places[j], box});
        }
    }
    return legs;
}

bool DoMeet(TqLBox3f const& a, TqLBox3f const& b)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (a.GetMin()[axis] > b.GetMax()[axis] || b.GetMin()[axis] > a.GetMax()[axis]) {
            return false;
        }
    }
    return true;
}

/// The world triangles of a placement; none of lines and points.
std::vector<Triangle> MakeTriangles(host::SceneModel const& model, host::Placement const& placement)
{
    host::Mesh const& mesh = model.meshes[placement.mesh];
    std::vector<Triangle> triangles(mesh.GetNumTriangles());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        for (std::size_t corner = 0; corner < 3; ++corner) {
            float const* const at = &mesh.positions[std::size_t(3) * mesh.indices[3 * i + corner]];
            triangles[i].m_corners[corner] = TqLPos3f(at[0], at[1], at[2]) * placement.toWorld;
        }
    }
    return triangles;
}

bool CrossesAny(Leg const& leg, std::vector<Triangle> const& triangles)
{
    return std::any_of(triangles.begin(), triangles.end(), [&leg](Triangle const& triangle) {
        return CrossesTriangle(leg.m_from, leg.m_to, triangle.m_corners);
    });
}

} // namespace

bool CrossesTriangle(TqLPos3f const& from, TqLPos3f const& to, TqLPos3f const triangle[3])
{
    // As seen from `from`, so that what follows is free of how far off the origin all this is.
    TqLVec3f const a = triangle[0] - from;
    TqLVec3f const b = triangle[1] - from;
    TqLVec3f const c = triangle[2] - from;
    TqLVec3f const way = to - from;
    TqLVec3f const normal = (b - a).Cross(c - a);
    double const scale = a.Length() + b.Length() + c.Length() + way.Length();
    double const height = -normal.Dot(a);
    double const farHeight = height + normal.Dot(way);
    double const level = eROUNDING * scale * normal.Length();
    bool const isBeside =
        std::min(height, farHeight) > level || std::max(height, farHeight) < -level;
    bool const isWithin = std::max(std::fabs(height), std::fabs(farHeight)) <= level;
    if (isBeside || isWithin) {
        return false;
    }
    // The line passes the triangle's three edges on one side of all of them.
    double const volumes[3] = {way.Dot(a.Cross(b)), way.Dot(b.Cross(c)), way.Dot(c.Cross(a))};
    double const least = eROUNDING * scale * scale * way.Length();
    return *std::min_element(volumes, volumes + 3) >= -least ||
           *std::max_element(volumes, volumes + 3) <= least;
}

std::size_t CountCrossingSteps(host::SceneModel const& model, std::vector<WalkStep> const& steps)
{
    std::vector<Leg> const legs = MakeLegs(steps);
    std::vector<char> crosses(steps.size(), 0);
    // Placements without, legs within: those are the few, and each placement is moved once.
    for (host::Placement const& placement : model.placements) {
        std::vector<Triangle> triangles;
        for (Leg const& leg : legs) {
            if (crosses[leg.m_step] != 0 || !DoMeet(leg.m_box, placement.box)) {
                continue;
            }
            if (triangles.empty()) {
                triangles = MakeTriangles(model, placement);
            }
            crosses[leg.m_step] = CrossesAny(leg, triangles) ? 1 : 0;
        }
    }
    return static_cast<std::size_t>(std::count(crosses.begin(), crosses.end(), 1));
}

} // namespace demo
