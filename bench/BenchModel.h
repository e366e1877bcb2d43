#pragma once

// BenchModel: the models that the benchmarks work on, and the shape that they draw.
//
// A model is a generated plant with one shape per box and a static tree over the shapes. Every
// shape counts as one triangle, so that the builder's threshold is a number of shapes per leaf and
// the triangle counters count shapes. Models are cached one at a time, because the large ones take
// seconds to make and hundreds of megabytes to keep.

#include "scenes/SceneBoxes.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"

#include "geometry/TqLBox.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class TqOcTraversable;

/// What drawn shapes report to: enough to compare results, cheap enough not to be the benchmark.
struct DrawSink
{
    std::uint64_t count = 0;
    std::uint64_t hash = 0; ///< Sum of number times position: depends on the set and on the order.

    void Add(std::uint32_t number) { hash += number * ++count; }
};

/// A shape of 56 bytes besides its box: number and box pointer.
class BenchShape : public TqOcShape
{
public:
    BenchShape(TqLBox3f const* box, std::uint32_t number)
        : TqOcShape(1.0, 1, TqLPrimitiveTypes::eTRIANGLES)
        , m_box(box)
        , m_number(number)
    {
        SetUserOwned(1);
    }

    static DrawSink s_sink;

    std::uint32_t GetNumber() const { return m_number; }

    void GetShapeBox(TqLBox3f& box) override { box = *m_box; }

    void RenderShape(TqOcRenderTraversal*) override { s_sink.Add(m_number); }

    void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                          TqOcRenderTravCullData const&) override
    {
        traversal->IncShapesRendered(1);
        traversal->IncTrisRendered(1);
        s_sink.Add(m_number);
    }

    /// Is listed where all hits are wanted, else hit in the nearest point of its box.
    void PickShape(TqOcPickFrustumTraversal* traversal) override;

    /// Shortens the sweep to the contact with its box where a point is wanted, else is listed.
    void PickSweep(TqOcPickSweepTraversal* traversal) override;

private:
    TqLBox3f const* m_box;
    std::uint32_t m_number;
};

/// The seed of all benchmark scenes.
inline constexpr std::uint64_t eBENCH_SEED = 1;

class BenchModel
{
public:
    /// The model of \p count boxes with leaves of fewer than \p leafSize shapes; made when it is
    /// not the one that was asked for last.
    static BenchModel& Get(std::size_t count, int leafSize);

    /// The boxes alone, without shapes and tree; cached in the same way.
    static std::shared_ptr<std::vector<TqLBox3f> const> GetBoxes(std::size_t count);

    ~BenchModel();

    BenchModel(BenchModel const&) = delete;
    BenchModel& operator=(BenchModel const&) = delete;

    TqOcTraversable* GetRoot() { return m_root; }

    std::vector<BenchShape>& GetShapes() { return m_shapes; }

    TqLBox3f const& GetBounds() const;

    std::size_t GetNumLeaves() const { return m_numLeaves; }

    /// Bytes that containers and child arrays take from TqUMemory.
    std::size_t GetTreeBytes() const { return m_treeBytes; }

    /// Builds a tree over \p shapes, brings it up to date and returns it; delete it.
    static TqOcTraversable* Build(std::vector<BenchShape>& shapes, int leafSize);

private:
    BenchModel(std::size_t count, int leafSize);

    int m_leafSize;
    std::shared_ptr<std::vector<TqLBox3f> const> m_boxes; // the shapes refer to them
    std::vector<BenchShape> m_shapes;
    TqOcTraversable* m_root = nullptr;
    std::size_t m_numLeaves = 0;
    std::size_t m_treeBytes = 0;
};

/// One shape per box, in the order of the boxes.
std::vector<BenchShape> MakeBenchShapes(std::vector<TqLBox3f> const& boxes);
