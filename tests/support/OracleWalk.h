#pragma once

// OracleWalk: the order of a best-first walk, worked out by plain recursion.
//
// Where the engine keeps lists, a stack and pools, this keeps vectors and calls itself. It checks
// the order only: culls and priorities come from the library's own CalcPriority, so that equal
// numbers stay equal to the last bit, and an error in that routine shows in both walks alike.
// OracleCull holds that routine against numbers of its own. It marks and stamps the nodes just as a
// walk does, so give it a tree of its own (made from the same seed).
//
// OracleBestFirst is what all such walks have in common; OracleWalk is a frame's, and OracleVisit
// (in a file of its own) a visitor's.

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

/// One recursive walk; what a node does in its turn is its kind's.
class OracleBestFirst
{
public:
    virtual ~OracleBestFirst() = default;

    void Run(TqOcTraversable* root);

protected:
    struct Record
    {
        TqOcTraversable* node = nullptr;
        TqOcRenderTravCull* cull = nullptr;
        TqOcRenderTravCullData data = TqOcRenderTravCullData();
        std::vector<Record> children; // in the order in which they were appended, but for swaps
        bool expanded = false;
        TqOcOcclusionQuery* query = nullptr;
    };

    /// @param traversal  configured like the engine's and never applied; its counters are written.
    /// @param context  asked for the window size.
    OracleBestFirst(TqOcPrioritizedTraversal& traversal, TqOcContext& context);

    /// A node's own turn. Returns whether it appended its children.
    virtual bool TakeTurn(Record& record) = 0;
    /// Culls (0) or scores the record's node.
    virtual int Judge(Record& record, int bits) = 0;

    /// Bits for children of another view than their parent's.
    virtual int GetFirstBits() const { return 7; }

    /// Whether a node can be offered at all; counts it where that is called for.
    virtual bool Admits(TqOcBaseTraversable const& child) = 0;

    virtual void Finish(TqOcTraversable*) {}

    /// The node had nothing to hand on.
    virtual void EndTurn(Record const&) {}

    virtual void LookAhead(Record&) {}

    virtual bool IsOccluded(Record&) { return false; }

    virtual void EndRun(Record&) {}

    void AppendChildren(Record& record);
    bool IsVisible(TqOcBaseTraversable const& node) const;

    TqOcPrioritizedTraversal& m_traversal;
    bool m_clipped = false;

private:
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
    TqOcRenderTravCull* GetCullBelow(Record& record);
    void Score(Record& record);
    Outcome Visit(Record& record, double bound);
    void PutBestSecond(Record& record);

    TqOcContext& m_context;
    std::deque<Level> m_levels;
};

/// The walk of a frame.
class OracleWalk : public OracleBestFirst
{
public:
    /// @param host  records what happens.
    OracleWalk(TqOcPrioritizedTraversal& traversal, OracleHost& host);

protected:
    bool TakeTurn(Record& record) override;
    int Judge(Record& record, int bits) override;
    bool Admits(TqOcBaseTraversable const& child) override;
    void Finish(TqOcTraversable* node) override;
    void EndTurn(Record const& record) override;
    void LookAhead(Record& record) override;
    bool IsOccluded(Record& record) override;
    void EndRun(Record& record) override;

private:
    void DrawLeaf(TqOcTraversable* leaf);

    OracleHost& m_host;
};
