#pragma once

// OracleWalk: the order of a best-first walk, worked out by plain recursion.
//
// Where the engine keeps lists, a stack and pools, this keeps vectors and calls itself. It checks
// the order only: culls and priorities come from the library's own CalcPriority, so that equal
// numbers stay equal to the last bit, and an error in that routine shows in both walks alike.
// OracleCull holds that routine against numbers of its own. It marks and stamps the nodes just as a
// walk does, so give it a tree of its own (made from the same seed).

#include "support/OracleTrees.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"

#include "geometry/TqLBox.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

class TqOcTraversable;

/// The host of both walks: answers occlusion queries by a hash of the queried box, asks for an end
/// after so many shapes, and lists all that happens, drawn shapes included.
class OracleHost : public TqOcContext
{
public:
    /// @param seed  decides which boxes get queries and what these answer.
    explicit OracleHost(std::uint64_t seed) : m_seed(seed) {}

    bool hasQueries = false; ///< Whether queries are begun at all.
    int endAfterShapes = 0x7FFFFFFF;

    /// Called by a drawn shape.
    void AddDraw(int number);

    /// "draw 12", "begin 1 31 tris", "wait 1", "end 1", "abort 1" in order.
    std::vector<std::string> const& GetEvents() const { return m_events; }

    int GetNumDraws() const { return m_draws; }

    int GetNumQueries() const { return static_cast<int>(m_queries.size()); }

    void Clear();

    TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const& box, unsigned int tris) override;
    int CheckOcclusionQueryReady(TqOcOcclusionQuery* query) override;
    unsigned int EndOcclusionQuery(TqOcOcclusionQuery* query) override;
    void AbortOcclusionQuery(TqOcOcclusionQuery* query) override;
    int IsInteractionPending() override;

private:
    struct Query
    {
        int number;
        std::uint64_t hash;
    };

    Query& Find(TqOcOcclusionQuery* query);

    std::uint64_t m_seed;
    int m_draws = 0;
    std::deque<Query> m_queries; // handles are addresses of its elements
    std::vector<std::string> m_events;
};

/// One recursive walk.
class OracleWalk
{
public:
    /// @param traversal  configured like the engine's and never applied; its counters are written.
    /// @param host  records what happens.
    OracleWalk(TqOcPrioritizedTraversal& traversal, OracleHost& host);

    void Run(TqOcTraversable* root);

private:
    struct Record
    {
        TqOcTraversable* node = nullptr;
        TqOcRenderTravCull* cull = nullptr;
        TqOcRenderTravCullData data = TqOcRenderTravCullData();
        std::vector<Record> children; // in the order in which they were appended, but for swaps
        bool expanded = false;
        TqOcOcclusionQuery* query = nullptr;
    };

    // A cull object with the states that it points at.
    struct Level
    {
        TqOcTravFrustum frustum;
        TqOcTravTransform transform;
        TqOcRenderTravCull cull;
    };

    enum Outcome
    {
        eDONE,
        ePUT_OFF
    };

    bool Expand(Record& record);
    bool TakeTurn(Record& record);
    void Append(Record& record, TqOcBaseTraversable* child, TqOcRenderTravCull* cull);
    TqOcRenderTravCull* GetCullBelow(Record& record);
    void DrawLeaf(TqOcTraversable* leaf);
    void Score(Record& record);
    void CheckExpired(Record const& record);
    Outcome Visit(Record& record, double bound);
    void PutBestSecond(Record& record);
    void BeginQuery(Record& record);
    bool IsOccluded(Record& record);
    void AbortQueries(Record& record);
    bool IsVisible(TqOcBaseTraversable const& node) const;

    TqOcPrioritizedTraversal& m_traversal;
    OracleHost& m_host;
    std::deque<Level> m_levels;
    bool m_clipped = false;
};
