// The memory of a best-first walk.
//
// A walk makes one record per node that it considers, and now and then a cull object with the
// frustum and transform state behind it. All of them come from four fixed-size pools, which are
// emptied at once when the walk is over; after the first walk nothing is taken from the heap. The
// prioritized traversal and the prioritized visitor hold one of these each.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLMatrix.h"

#include "util/TqUArena.h"

#include <vector>

class TqOcContext;
class TqOcRenderTravCull;
class TqOcRenderTraversal;
class TqOcTraversable;
class TqOcTravState;

/// One level of a walk in progress: the node whose children are worked through.
struct TqOcTravLevel
{
    double slackBound;    ///< Best priority that waits further up, without the slack.
    TqOcTravState* state; ///< The node's record.
};

/// Pools and stack of one walk. Each of the New functions answers null when there is no memory.
class TQOC_API TqOcTravPools
{
public:
    TqOcTravPools();
    ~TqOcTravPools();
    TqOcTravPools(TqOcTravPools const&) = delete;
    TqOcTravPools& operator=(TqOcTravPools const&) = delete;

    TqOcTravState* NewState(TqOcTraversable* node, TqOcRenderTravCull* cull);

    /// Gives one record back before the walk is over.
    void FreeState(TqOcTravState* state);

    /// The record of a walk's root, with cull objects for a traversal's view frustum, stress and
    /// clip planes. @param context  asked for the window size
    TqOcTravState* NewRootState(TqOcTraversable* root, TqOcRenderTraversal const& traversal,
                                TqOcContext* context);

    /// A cull object like `parent` for what lives under `affine`, or is seen in a part of the view.
    /// @{
    TqOcRenderTravCull* NewTransformedCull(TqOcRenderTravCull& parent, TqLAffine3f const& affine);
    TqOcRenderTravCull* NewNarrowedCull(TqOcRenderTravCull& parent, double x0, double x1, double y0,
                                        double y1);
    /// @}

    /// Empties all pools; nothing that came from them may be used any more.
    void Release();

    /// The stack of the running walk; kept for its capacity.
    std::vector<TqOcTravLevel>& GetLevels() { return m_levels; }

private:
    // Data; the order is part of the binary interface.
    TqUFastArena m_transforms;
    TqUFastArena m_frustums;
    TqUFastArena m_culls;
    TqUFastArena m_states;
    std::vector<TqOcTravLevel> m_levels;
};
