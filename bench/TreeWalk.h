#pragma once

// TreeWalk: whole frames over a tree along a camera path, as a benchmark.

#include "scenes/SceneViews.h"

#include "geometry/TqLBox.h"

#include <benchmark/benchmark.h>

#include <vector>

class TqOcTraversable;

/// The camera paths.
enum class WalkPath
{
    eINSIDE,  ///< The walk-through, with the default limit of one pixel.
    eOUTSIDE, ///< Around the scene, with the default limit of one pixel.
    eVIEW,    ///< The walk-through, nothing too small.
    e40M      ///< The walk-through with a far plane at 40 m, nothing too small.
};

std::vector<SceneView> MakeWalkPath(WalkPath path, TqLBox3f const& bounds);

/// Draws one frame an iteration, without a time limit, every frame complete.
void RunTreeWalk(benchmark::State& state, TqOcTraversable& root, TqLBox3f const& bounds,
                 WalkPath path);
