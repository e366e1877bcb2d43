// CalcPriority, the work that a walk does for every node it looks at, by what becomes of the node.

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"
#include "scenecull/TqOcTraversable.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace
{

constexpr std::size_t eNODES = 4096;

enum NodePlace
{
    eINSIDE,     ///< Wholly inside the frustum's sides.
    eSTRADDLING, ///< Cut by a side.
    eOUTSIDE,    ///< Beyond a side, in front of the eye.
    eBEHIND      ///< Behind the eye.
};

/// A node with nothing but a box.
class BoxNode : public TqOcTraversable
{
public:
    explicit BoxNode(TqLBox3f const& box)
        : TqOcTraversable(box, 1.0, 1, TqLPrimitiveTypes::eTRIANGLES)
    {}

protected:
    void DoUpdate() override { SetModified(0); }
};

/// Everything that CalcPriority needs, looking from the middle of a cube of 1,000 along -z.
class CullRig
{
public:
    CullRig()
        : m_traversal(&m_context)
        , m_frustum(TqLFrustum3f::Perspective(TqLPos3f(500.0, 500.0, 500.0),
                                              TqLVec3f(0.1, 0.2, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                              1.2, 1.33, 0.1, 2000.0),
                    &m_context, 1.0)
        , m_transform(TqLAffine3f(), nullptr, 0)
        , m_cull(&m_frustum, &m_transform)
    {
        m_traversal.SetCullArea(0.0);
        m_traversal.SetFrameId(1);
    }

    TqOcPrioritizedTraversal& GetTraversal() { return m_traversal; }

    TqOcRenderTravCull const& GetCull() const { return m_cull; }

    NodePlace Find(BoxNode& node)
    {
        TqOcRenderTravCullData data = {};
        unsigned const areaTests = m_traversal.GetNumAreaCullTests();
        if (m_cull.CalcPriority(&m_traversal, 0, &node, 7, &data) != 0) {
            return (data.cullBits & 3) == 0 ? eINSIDE : eSTRADDLING;
        }
        return m_traversal.GetNumAreaCullTests() == areaTests ? eBEHIND : eOUTSIDE;
    }

private:
    TqOcContext m_context;
    TqOcPrioritizedTraversal m_traversal;
    TqOcTravFrustum m_frustum;
    TqOcTravTransform m_transform;
    TqOcRenderTravCull m_cull;
};

std::vector<std::unique_ptr<BoxNode>> MakeNodes(CullRig& rig, NodePlace place)
{
    std::vector<std::unique_ptr<BoxNode>> nodes;
    // 400 boxes are large enough for many to be cut by a side.
    for (std::uint64_t seed = 1; nodes.size() < eNODES; ++seed) {
        for (SceneBox const& item : MakeUniform(400, seed)) {
            auto node = std::make_unique<BoxNode>(item.box);
            if (nodes.size() < eNODES && rig.Find(*node) == place) {
                nodes.push_back(std::move(node));
            }
        }
    }
    return nodes;
}

void CalcPriority(benchmark::State& state, NodePlace place, int primary)
{
    CullRig rig;
    rig.GetTraversal().SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
    std::vector<std::unique_ptr<BoxNode>> const nodes = MakeNodes(rig, place);
    TqOcRenderTravCullData data = {};
    int kept = 0;
    for (auto _ : state) {
        for (std::unique_ptr<BoxNode> const& node : nodes) {
            kept += rig.GetCull().CalcPriority(&rig.GetTraversal(), 0, node.get(), 7, &data);
            benchmark::DoNotOptimize(data);
        }
    }
    benchmark::DoNotOptimize(kept);
    auto const tested = static_cast<double>(state.iterations()) * static_cast<double>(eNODES);
    state.SetItemsProcessed(static_cast<std::int64_t>(tested));
    state.counters["per_node"] =
        benchmark::Counter(tested, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK_CAPTURE(CalcPriority, Inside, eINSIDE, 1);
BENCHMARK_CAPTURE(CalcPriority, Straddling, eSTRADDLING, 1);
BENCHMARK_CAPTURE(CalcPriority, Outside, eOUTSIDE, 1);
BENCHMARK_CAPTURE(CalcPriority, Behind, eBEHIND, 1);
BENCHMARK_CAPTURE(CalcPriority, InsideByArea, eINSIDE, 0);

} // namespace
