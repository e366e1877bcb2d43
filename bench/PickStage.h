#pragma once

// PickStage: what the benchmarks of picks, sweeps and visits are made on: a scene, the library's
// trees and the peers' over it, each made when it is first asked for, and the queries.
//
// The stage that was asked for last is kept with all its trees, so that benchmarks over it can be
// interleaved; with a million shapes that takes some gigabytes.

#include "DynamicScene.h"
#include "PickPeers.h"
#include "SceneTree.h"

#include "scenes/SceneViews.h"

#include "geometry/TqLPickFrustum3f.h"
#include "geometry/TqLPickSweep.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// A rectangle of one view.
struct PixelPick
{
    std::size_t view;
    TqLBox2f pixels;
};

/// A kind of peer's tree.
enum class PeerKind
{
    eFLAT,
    eBOOST_PACK16,
    eBOOST_QUAD7,
    eBULLET,
    eBULLET_GROWN
};

class PickStage
{
public:
    /// The window that pixels are counted in.
    static constexpr int eWINDOW_WIDTH = 1600;
    static constexpr int eWINDOW_HEIGHT = 1200;

    static PickStage& Get(DynamicSceneKind kind, std::int64_t count);

    DynamicScene const& GetScene() const { return m_scene; }

    SceneTree& GetTree(TreeMaking making);

    /// Not for PeerKinds whose library is not there.
    PickPeer& GetPeer(PeerKind kind);

    /// The frustums and view data of the walk-through.
    /// @{
    std::vector<TqLFrustum3f> const& GetFrustums() const { return m_frustums; }

    std::vector<SceneView> const& GetViews() const { return m_views; }

    /// @}

    /// 1,000 squares of 5 x 5 pixels, evenly over the views, in the views' order.
    std::vector<PixelPick> const& GetThinPicks() const { return m_thinPicks; }

    /// 100 rectangles of a twentieth to two fifths of the window on either side.
    std::vector<PixelPick> const& GetBands() const { return m_bands; }

    TqLPickFrustum3f MakePickFrustum(PixelPick const& pick) const
    {
        return TqLPickFrustum3f(m_frustums[pick.view], pick.pixels, eWINDOW_WIDTH, eWINDOW_HEIGHT);
    }

    /// 1,000 motions in random directions, level or nearly so, that begin near boxes.
    /// @param body  what moves: a sphere of 0.3 m, or a box of 0.6 x 0.6 x 1.8 m
    std::vector<TqLPickSweep> MakeSweeps(TqLPickSweep::Body body, double length) const;

private:
    PickStage(DynamicSceneKind kind, std::int64_t count);

    std::vector<PixelPick> MakePicks(std::size_t count, double lowShare, double highShare,
                                     std::uint64_t seed) const;

    DynamicScene m_scene;
    std::vector<SceneView> m_views;
    std::vector<TqLFrustum3f> m_frustums;
    std::vector<PixelPick> m_thinPicks;
    std::vector<PixelPick> m_bands;
    std::map<TreeMaking, std::unique_ptr<SceneTree>> m_trees;
    std::map<PeerKind, std::unique_ptr<PickPeer>> m_peers;
};
