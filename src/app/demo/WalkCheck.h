// Whether a walk went through anything, found without hierarchy, trees and picks.
//
// The centre of a solid body keeps its distance from all surfaces, so the line that it follows
// crosses none; a body that got through a surface unnoticed has crossed it. Each step's line is
// held against every triangle of each placement whose box it comes near. What this cannot tell is
// whether a walk began inside something closed and stayed there.
#pragma once

#include "demo/SweptWalk.h"
#include "host/model/SceneModel.h"

#include "geometry/TqLVec.h"

#include <cstddef>
#include <vector>

namespace demo
{

/// Whether the segment between two points meets a triangle. What runs within the triangle's plane
/// meets nothing, and nothing meets a triangle without area.
bool CrossesTriangle(TqLPos3f const& from, TqLPos3f const& to, TqLPos3f const triangle[3]);

/// How many steps led the body's centre through a triangle of the model. Box tests: straight pieces
/// times placements. Each piece is then held against all triangles of the placements that it meets.
std::size_t CountCrossingSteps(host::SceneModel const& model, std::vector<WalkStep> const& steps);

} // namespace demo
