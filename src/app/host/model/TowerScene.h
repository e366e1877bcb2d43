// The furnished tower: storeys of rooms on both sides of a corridor, with walls, slabs, doors,
// windows and a stair well, and 30 to 60 pieces of furniture in every room.
//
// MakeTower() is what an application calls. It loads furniture (cache, catalogues or generator)
// and hands it to AssembleTower(), which is pure: the same library and options give the same scene
// on every machine. Meshes are shared by all placements of a piece. Assembling takes well under a
// second per 100,000 placements.
#pragma once

#include "host/model/FurnitureStore.h"
#include "host/model/SceneModel.h"

#include <cstdint>

namespace host
{

/// How the tower is made.
struct TowerOptions
{
    int storeys = 0; ///< 1 to 400; 0: as many as both minima below need. Others are clamped.
    uint64_t minPlacements = 100000;   ///< only read when storeys is 0
    uint64_t minTriangles = 100000000; ///< placed triangles; only read when storeys is 0
    uint64_t seed = 1;                 ///< decides which piece stands where
    FurnitureOptions furniture;        ///< read by MakeTower() only
};

/// Loads furniture and builds the tower with it. Always returns a usable scene; where the furniture
/// package is missing, SceneModel::generated is true and SceneModel::note says so.
SceneModel MakeTower(TowerOptions const& options, ProgressFn const& progress);

/// Builds the tower from a given library, which is used up. Deterministic in library and options.
SceneModel AssembleTower(FurnitureLibrary&& library, TowerOptions const& options,
                         ProgressFn const& progress);

} // namespace host
