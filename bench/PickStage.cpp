#include "PickStage.h"

#include "scenes/SceneRandom.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace
{

constexpr std::uint64_t eTHIN_SEED = 21;
constexpr std::uint64_t eBAND_SEED = 22;
constexpr std::uint64_t eSWEEP_SEED = 23;

constexpr std::size_t eTHIN_PICKS = 1000;
constexpr std::size_t eBANDS = 100;
constexpr std::size_t eSWEEPS = 1000;

constexpr double eTHIN_SIZE = 5.0; ///< Pixels.
constexpr double eBAND_LOW = 0.05; ///< Of the window.
constexpr double eBAND_HIGH = 0.4;

constexpr double eRADIUS = 0.3;      ///< Metres.
constexpr double eBODY_REACH = 0.9;  ///< Metres; half of the swept box's height.
constexpr double eSWEEP_SLOPE = 0.1; ///< How far directions leave the level, at most.
constexpr double eSWEEP_START = 2.0; ///< Metres around a box that sweeps begin in.

/// A part of the window's width or height, anywhere in it.
std::pair<double, double> MakeSpan(SceneRandom& random, double whole, double size)
{
    double const low = random.Range(0.0, whole - size);
    return {low, low + size};
}

std::unique_ptr<PickPeer> MakePeer(PeerKind kind, DynamicScene const& scene)
{
    switch (kind) {
    case PeerKind::eFLAT:
        return MakeFlatPeer(scene);
#ifdef SCENECULL_BENCH_BOOST
    case PeerKind::eBOOST_PACK16:
        return MakeBoostPack16Peer(scene);
    case PeerKind::eBOOST_QUAD7:
        return MakeBoostQuad7Peer(scene);
#endif
#ifdef SCENECULL_BENCH_BULLET
    case PeerKind::eBULLET:
        return MakeBulletPeer(scene);
    case PeerKind::eBULLET_GROWN:
        return MakeBulletGrownPeer(scene);
#endif
    default:
        throw std::logic_error("a peer whose library is not there");
    }
}

} // namespace

PickStage& PickStage::Get(DynamicSceneKind kind, std::int64_t count)
{
    static std::unique_ptr<PickStage> s_stage;
    static DynamicSceneKind s_kind;
    if (!s_stage || s_kind != kind ||
        static_cast<std::int64_t>(s_stage->m_scene.GetBoxes().size()) != count) {
        s_stage.reset(); // before the new one takes its memory
        s_stage.reset(new PickStage(kind, count));
        s_kind = kind;
    }
    return *s_stage;
}

PickStage::PickStage(DynamicSceneKind kind, std::int64_t count)
    : m_scene(kind, static_cast<std::size_t>(count))
    , m_views(MakeWalkViews(m_scene.GetBounds()))
{
    for (SceneView const& view : m_views) {
        m_frustums.push_back(MakeViewFrustum(view));
    }
    m_thinPicks = MakePicks(eTHIN_PICKS, 0.0, 0.0, eTHIN_SEED);
    m_bands = MakePicks(eBANDS, eBAND_LOW, eBAND_HIGH, eBAND_SEED);
}

SceneTree& PickStage::GetTree(TreeMaking making)
{
    std::unique_ptr<SceneTree>& tree = m_trees[making];
    if (!tree) {
        tree = std::make_unique<SceneTree>(m_scene, making);
    }
    return *tree;
}

PickPeer& PickStage::GetPeer(PeerKind kind)
{
    std::unique_ptr<PickPeer>& peer = m_peers[kind];
    if (!peer) {
        peer = MakePeer(kind, m_scene);
    }
    return *peer;
}

// Shares of 0 stand for the size of a thin pick.
std::vector<PixelPick> PickStage::MakePicks(std::size_t count, double lowShare, double highShare,
                                            std::uint64_t seed) const
{
    SceneRandom random(seed);
    std::vector<PixelPick> picks;
    for (std::size_t i = 0; i < count; ++i) {
        double width = eTHIN_SIZE;
        double height = eTHIN_SIZE;
        if (highShare > 0.0) {
            width = random.Range(lowShare, highShare) * eWINDOW_WIDTH;
            height = random.Range(lowShare, highShare) * eWINDOW_HEIGHT;
        }
        auto const [left, right] = MakeSpan(random, eWINDOW_WIDTH, width);
        auto const [bottom, top] = MakeSpan(random, eWINDOW_HEIGHT, height);
        picks.push_back(PixelPick{i * m_views.size() / count,
                                  TqLBox2f(TqLPos2f(left, bottom), TqLPos2f(right, top))});
    }
    return picks;
}

std::vector<TqLPickSweep> PickStage::MakeSweeps(TqLPickSweep::Body body, double length) const
{
    SceneRandom random(eSWEEP_SEED);
    std::vector<TqLBox3f> const& boxes = m_scene.GetBoxes();
    std::vector<TqLPickSweep> sweeps;
    while (sweeps.size() < eSWEEPS) {
        TqLPos3f start = boxes[random.Below(static_cast<std::uint32_t>(boxes.size()))].GetCenter();
        for (int axis = 0; axis < 3; ++axis) {
            start[axis] += random.Range(-eSWEEP_START, eSWEEP_START);
        }
        double const x = random.Range(-1.0, 1.0);
        double const y = random.Range(-1.0, 1.0);
        double const level = std::sqrt(x * x + y * y);
        double const z = random.Range(-eSWEEP_SLOPE, eSWEEP_SLOPE) * level;
        if (level < 0.1) {
            continue;
        }
        double const scale = length / std::sqrt(level * level + z * z);
        TqLVec3f const sweep(x * scale, y * scale, z * scale);
        sweeps.push_back(body == TqLPickSweep::eSPHERE
                             ? TqLPickSweep(start, eRADIUS, sweep)
                             : TqLPickSweep(start, TqLVec3f(eRADIUS, eRADIUS, eBODY_REACH), sweep));
    }
    return sweeps;
}
