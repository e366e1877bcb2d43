#pragma once

// SceneBoxSink: where the scene generators put their boxes, and the counting that they share.
//
// A generator works in self-contained lots (a plant unit, a storey) of a fixed number of boxes.
// ForEachLot cuts a wanted total into lots; the last one is generated whole and then thinned out,
// so that even ten boxes of a plant hold a slab, a pipe and some bolts rather than ten slabs.
// Used by the generators' sources only.

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The box between two corners, given as coordinates.
inline TqLBox3f MakeSceneBox(double x0, double y0, double z0, double x1, double y1, double z1)
{
    return TqLBox3f(TqLPos3f(x0, y0, z0), TqLPos3f(x1, y1, z1));
}

/// Collects at most \p limit boxes of one lot; what is added beyond that is dropped.
class SceneBoxSink
{
public:
    explicit SceneBoxSink(std::size_t limit) : m_limit(limit) { m_boxes.reserve(limit); }

    bool IsFull() const { return m_boxes.size() >= m_limit; }

    std::vector<SceneBox> const& GetBoxes() const { return m_boxes; }

    void Add(TqLBox3f const& box, unsigned tris,
             TqLPrimitiveTypes::Enum primitives = TqLPrimitiveTypes::eTRIANGLES, double scale = 1.0)
    {
        if (!IsFull()) {
            m_boxes.push_back(SceneBox{box, tris, scale, primitives});
        }
    }

    /// Adds the box with the given middle and half extents.
    void AddCentred(double const middle[3], double const half[3], unsigned tris,
                    TqLPrimitiveTypes::Enum primitives = TqLPrimitiveTypes::eTRIANGLES,
                    double scale = 1.0)
    {
        Add(MakeSceneBox(middle[0] - half[0], middle[1] - half[1], middle[2] - half[2],
                         middle[0] + half[0], middle[1] + half[1], middle[2] + half[2]),
            tris, primitives, scale);
    }

private:
    std::size_t m_limit;
    std::vector<SceneBox> m_boxes;
};

/// Appends \p wanted boxes of \p lot to \p out, evenly chosen and in their order (selection
/// sampling: each box is taken with the share of the still wanted among the remaining).
inline void AppendThinned(std::vector<SceneBox> const& lot, std::size_t wanted, SceneRandom& random,
                          std::vector<SceneBox>& out)
{
    std::size_t needed = std::min(wanted, lot.size());
    for (std::size_t i = 0; i < lot.size() && needed > 0; ++i) {
        auto const remaining = static_cast<std::uint32_t>(lot.size() - i);
        if (random.Below(remaining) < needed) {
            out.push_back(lot[i]);
            --needed;
        }
    }
}

/// Calls makeLot(lot index, random, sink) until \p count boxes stand in the result. Each lot must
/// fill its sink of \p lotSize boxes.
template <typename MakeLot>
std::vector<SceneBox> ForEachLot(std::size_t count, std::size_t lotSize, std::uint64_t seed,
                                 MakeLot const& makeLot)
{
    std::vector<SceneBox> boxes;
    boxes.reserve(count);
    for (std::size_t index = 0; boxes.size() < count; ++index) {
        SceneRandom random(SceneRandom::SeedFor(seed, index));
        SceneBoxSink sink(lotSize);
        makeLot(index, random, sink);
        AppendThinned(sink.GetBoxes(), count - boxes.size(), random, boxes);
    }
    return boxes;
}
