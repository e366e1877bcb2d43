#pragma once

// SceneBoxes: deterministic generated models, as plain boxes with what a shape reports of itself.
//
// Tests, benchmarks, examples and the applications make their shapes from these boxes (BoxShape.h
// is the minimal shape over one). A scene has exactly as many boxes as asked for, from 10 to
// 4,000,000, and the same (count, seed) gives the same bits everywhere. Units: metres, z up.
// Cost: linear in the count, 72 bytes a box, nothing kept between calls.

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// One drawable thing of a generated scene.
struct SceneBox
{
    TqLBox3f box;                       ///< World space, metres.
    unsigned tris;                      ///< Triangles, lines or points that drawing it costs.
    double scale;                       ///< Scale factor of the node; 1.0 for most.
    TqLPrimitiveTypes::Enum primitives; ///< What it is made of; eTRIANGLES for most.
};

/// What is wrong, or merely extreme, in a degenerate scene.
enum class DegenerateKind
{
    eIDENTICAL,      ///< All boxes the same.
    eNESTED,         ///< Every box strictly inside the one before it, like an onion.
    eFLAT,           ///< No extent along one axis, which changes from box to box.
    eLINES,          ///< Extent along one axis only.
    ePOINTS,         ///< No extent at all.
    eEMPTY,          ///< Every second box is empty (MakeEmpty).
    eINVERTED,       ///< Every second box has minimum and maximum exchanged on one axis.
    eNAN,            ///< Every fourth box has a NaN in one corner coordinate.
    eINFINITE,       ///< Every fourth box has an infinite corner coordinate.
    eHUGE_AMONG_TINY ///< One box in 50 is a million times as large as the others.
};

/// How many values DegenerateKind has; they count up from 0.
inline constexpr int eDEGENERATE_KIND_COUNT = 10;

/// A readable name of \p kind, for test messages.
char const* GetDegenerateName(DegenerateKind kind);

/// A process plant: units of 2,500 boxes (plates, steel, rails, vessels, long pipes whose flanges
/// are ringed by bolts, racks of long pipes that run on into the neighbouring units), set out in
/// growing square rings, so that unit i stands at the same place in a plant of any size. Box sizes
/// span nearly three orders of magnitude. The last unit is thinned out evenly to meet the count.
std::vector<SceneBox> MakePlant(std::size_t count, std::uint64_t seed);

/// Blocks of up to 20 storeys: slabs, outer and inner walls with door and window pieces, furniture
/// and the small things on it. The last storey is thinned out evenly to meet the count.
std::vector<SceneBox> MakeBuilding(std::size_t count, std::uint64_t seed);

/// Boxes of similar size spread evenly through a cube of 1,000 m; together they fill about a
/// twentieth of it at any count.
std::vector<SceneBox> MakeUniform(std::size_t count, std::uint64_t seed);

/// Boxes that are extreme or broken in the way that \p kind names.
std::vector<SceneBox> MakeDegenerate(DegenerateKind kind, std::size_t count, std::uint64_t seed);

/// The box around all finite, non-empty boxes of \p boxes; empty when there is none.
TqLBox3f GetSceneBounds(std::vector<SceneBox> const& boxes);
