#pragma once

// OracleVisit: the order of a prioritized visit, worked out by plain recursion.
//
// A VisitScript is what a visitor answers and the list of all that it was told. The library's
// visitor (ScriptedVisitor) and the recursive form (OracleVisit) each run one of their own, made
// alike; then the two lists are compared.

#include "support/OracleWalk.h"

#include "scenecull/TqOcVisitor.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

class OracleTree;

/// Answers of a visitor, which follow from a seed and the number of the node, and what it was told.
class VisitScript
{
public:
    /// Numbers the containers of the tree; shapes have numbers of their own.
    explicit VisitScript(OracleTree const& tree);

    std::uint64_t seed = 0;
    double pruned = 0.0; ///< Share of containers at which BeginVisit prunes.
    double culled = 0.0; ///< Share of containers that CalcCullPriority drops besides.
    std::size_t endAfter = static_cast<std::size_t>(-1); ///< Events until the walk is ended.
    int initialCullBits = 7;

    /// "score 12 bits 7", "begin 12", "end 12", "shape 31" in order.
    std::vector<std::string> const& GetEvents() const { return m_events; }

    std::vector<int> const& GetShapes() const { return m_shapes; }

    void Clear();

    bool IsOver() const { return m_events.size() >= endAfter; }

    /// @return whether the node is kept
    bool Score(TqOcTraversable const* node, int bits);
    /// @return whether the node is entered
    bool Begin(TqOcTraversable const* node);
    void End(TqOcTraversable const* node);
    void Shape(TqOcShape const* shape);

private:
    int NumberOf(TqOcTraversable const* node) const { return m_numbers.at(node); }

    bool Draw(TqOcTraversable const* node, std::uint64_t purpose, double share) const;

    std::map<TqOcTraversable const*, int> m_numbers;
    std::vector<std::string> m_events;
    std::vector<int> m_shapes;
};

/// The library's visitor under a script.
class ScriptedVisitor : public TqOcPrioritizedVisitor
{
public:
    /// @param script  not owned
    explicit ScriptedVisitor(VisitScript& script) : m_script(script) {}

    int windowWidth = 1000;
    int windowHeight = 1000;

    Action BeginVisit(TqOcTraversable* node) override;
    Action EndVisit(TqOcTraversable* node) override;
    void VisitShape(TqOcShape* shape) override;
    int CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                         TqOcRenderTravCullData* data) override;
    void GetWindowSize(int* width, int* height) override;

private:
    void EndWhenOver();

    VisitScript& m_script;
};

/// The recursive form of a visit.
class OracleVisit : public OracleBestFirst
{
public:
    /// @param traversal  configured like the visitor's and never applied; its counters are written.
    /// @param context  asked for the window size.
    OracleVisit(TqOcPrioritizedTraversal& traversal, TqOcContext& context, VisitScript& script)
        : OracleBestFirst(traversal, context)
        , m_script(script)
    {}

protected:
    bool TakeTurn(Record& record) override;
    int Judge(Record& record, int bits) override;

    int GetFirstBits() const override { return m_script.initialCullBits; }

    bool Admits(TqOcBaseTraversable const& child) override;

private:
    void VisitShapes(TqOcTraversable* leaf);

    VisitScript& m_script;
};
