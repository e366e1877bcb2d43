// UniformScene: evenly spread boxes, the scenes without any structure, and the broken ones.

#include "scenes/SceneBoxSink.h"
#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace
{

constexpr double eSIDE = 1000.0;

// The smallest whole number whose cube is at least count: how many boxes stand along one edge.
double BoxesAnEdge(std::size_t count)
{
    std::size_t edge = 1;
    while (edge * edge * edge < count) {
        ++edge;
    }
    return static_cast<double>(edge);
}

// An ordinary box somewhere in the cube, up to one grid step long along each edge.
SceneBox MakeOrdinary(double step, SceneRandom& random)
{
    double low[3];
    double high[3];
    for (int axis = 0; axis < 3; ++axis) {
        double const size = step * random.Range(0.1, 0.6);
        low[axis] = random.Unit() * (eSIDE - size);
        high[axis] = low[axis] + size;
    }
    unsigned const tris = 12 + random.Below(500);
    return SceneBox{MakeSceneBox(low[0], low[1], low[2], high[0], high[1], high[2]), tris, 1.0,
                    TqLPrimitiveTypes::eTRIANGLES};
}

void FlattenAxis(double const low[3], double high[3], int axis)
{
    high[axis] = low[axis];
}

// Spoils one box in the way that kind names; index is its place in the scene.
TqLBox3f Spoil(DegenerateKind kind, TqLBox3f const& box, std::size_t index, std::size_t count,
               SceneRandom& random)
{
    double low[3];
    double high[3];
    for (int axis = 0; axis < 3; ++axis) {
        low[axis] = box.GetMin()[axis];
        high[axis] = box.GetMax()[axis];
    }
    int const axis = static_cast<int>(index % 3);
    int const other = static_cast<int>((index + 1) % 3);
    switch (kind) {
    case DegenerateKind::eIDENTICAL:
        return MakeSceneBox(10.0, 20.0, 30.0, 11.0, 22.0, 33.0);
    case DegenerateKind::eNESTED: {
        double const inset = 0.49 * eSIDE * static_cast<double>(index) / static_cast<double>(count);
        return MakeSceneBox(inset, inset, inset, eSIDE - inset, eSIDE - inset, eSIDE - inset);
    }
    case DegenerateKind::eFLAT:
        FlattenAxis(low, high, axis);
        break;
    case DegenerateKind::eLINES:
        FlattenAxis(low, high, axis);
        FlattenAxis(low, high, other);
        break;
    case DegenerateKind::ePOINTS:
        for (int i = 0; i < 3; ++i) {
            FlattenAxis(low, high, i);
        }
        break;
    case DegenerateKind::eEMPTY:
        if (index % 2 == 1) {
            TqLBox3f empty;
            empty.MakeEmpty();
            return empty;
        }
        break;
    case DegenerateKind::eINVERTED:
        if (index % 2 == 1) {
            double const kept = low[axis];
            low[axis] = high[axis];
            high[axis] = kept;
        }
        break;
    case DegenerateKind::eNAN:
        if (index % 4 == 3) {
            (random.Below(2) == 0 ? low : high)[axis] = std::numeric_limits<double>::quiet_NaN();
        }
        break;
    case DegenerateKind::eINFINITE:
        if (index % 4 == 3) {
            if (random.Below(2) == 0) {
                low[axis] = -std::numeric_limits<double>::infinity();
            } else {
                high[axis] = std::numeric_limits<double>::infinity();
            }
        }
        break;
    case DegenerateKind::eHUGE_AMONG_TINY: {
        double const factor = index % 50 == 7 ? 1000.0 : 0.001;
        for (int i = 0; i < 3; ++i) {
            high[i] = low[i] + factor * (high[i] - low[i]);
        }
        break;
    }
    }
    return MakeSceneBox(low[0], low[1], low[2], high[0], high[1], high[2]);
}

} // namespace

char const* GetDegenerateName(DegenerateKind kind)
{
    switch (kind) {
    case DegenerateKind::eIDENTICAL:
        return "identical";
    case DegenerateKind::eNESTED:
        return "nested";
    case DegenerateKind::eFLAT:
        return "flat";
    case DegenerateKind::eLINES:
        return "lines";
    case DegenerateKind::ePOINTS:
        return "points";
    case DegenerateKind::eEMPTY:
        return "empty";
    case DegenerateKind::eINVERTED:
        return "inverted";
    case DegenerateKind::eNAN:
        return "NaN";
    case DegenerateKind::eINFINITE:
        return "infinite";
    case DegenerateKind::eHUGE_AMONG_TINY:
        return "huge among tiny";
    }
    return "unknown";
}

std::vector<SceneBox> MakeUniform(std::size_t count, std::uint64_t seed)
{
    std::vector<SceneBox> boxes;
    boxes.reserve(count);
    double const step = eSIDE / BoxesAnEdge(count);
    SceneRandom random(seed);
    for (std::size_t i = 0; i < count; ++i) {
        boxes.push_back(MakeOrdinary(step, random));
    }
    return boxes;
}

std::vector<SceneBox> MakeDegenerate(DegenerateKind kind, std::size_t count, std::uint64_t seed)
{
    std::vector<SceneBox> boxes = MakeUniform(count, seed);
    SceneRandom random(SceneRandom::SeedFor(seed, 1));
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        boxes[i].box = Spoil(kind, boxes[i].box, i, count, random);
    }
    return boxes;
}

TqLBox3f GetSceneBounds(std::vector<SceneBox> const& boxes)
{
    TqLBox3f bounds;
    bounds.MakeEmpty();
    for (SceneBox const& item : boxes) {
        bool usable = true;
        for (int axis = 0; axis < 3; ++axis) {
            double const low = item.box.GetMin()[axis];
            double const high = item.box.GetMax()[axis];
            usable = usable && std::isfinite(low) && std::isfinite(high) && low <= high;
        }
        if (usable) {
            bounds.ExtendBy(item.box);
        }
    }
    return bounds;
}
