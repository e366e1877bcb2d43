#include "support/OracleVisit.h"

#include "support/OracleTrees.h"

// ---- Script -------------------------------------------------------------------------------------

VisitScript::VisitScript(OracleTree const& tree)
{
    for (TqOcTraversable const* node : tree.GetContainers()) {
        int const number = static_cast<int>(m_numbers.size());
        m_numbers[node] = number;
    }
}

void VisitScript::Clear()
{
    m_events.clear();
    m_shapes.clear();
}

bool VisitScript::Draw(TqOcTraversable const* node, std::uint64_t purpose, double share) const
{
    SceneRandom random(
        SceneRandom::SeedFor(seed + purpose, static_cast<std::uint64_t>(NumberOf(node))));
    return random.Chance(share);
}

bool VisitScript::Score(TqOcTraversable const* node, int bits)
{
    m_events.push_back("score " + std::to_string(NumberOf(node)) + " bits " + std::to_string(bits));
    return !Draw(node, 1, culled);
}

bool VisitScript::Begin(TqOcTraversable const* node)
{
    m_events.push_back("begin " + std::to_string(NumberOf(node)));
    return !Draw(node, 2, pruned);
}

void VisitScript::End(TqOcTraversable const* node)
{
    m_events.push_back("end " + std::to_string(NumberOf(node)));
}

void VisitScript::Shape(TqOcShape const* shape)
{
    m_shapes.push_back(static_cast<OracleShape const*>(shape)->GetNumber());
    m_events.push_back("shape " + std::to_string(m_shapes.back()));
}

// ---- Visitor ------------------------------------------------------------------------------------

void ScriptedVisitor::EndWhenOver()
{
    if (m_script.IsOver()) {
        SetPruned();
    }
}

TqOcVisitor::Action ScriptedVisitor::BeginVisit(TqOcTraversable* node)
{
    bool const entered = m_script.Begin(node);
    EndWhenOver();
    return entered ? eCONTINUE : ePRUNE;
}

TqOcVisitor::Action ScriptedVisitor::EndVisit(TqOcTraversable* node)
{
    m_script.End(node);
    EndWhenOver();
    return eCONTINUE;
}

void ScriptedVisitor::VisitShape(TqOcShape* shape)
{
    m_script.Shape(shape);
    EndWhenOver();
}

int ScriptedVisitor::CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                                      TqOcRenderTravCullData* data)
{
    bool const kept = m_script.Score(node, cullBits);
    EndWhenOver();
    int const answer = TqOcPrioritizedVisitor::CalcCullPriority(cull, node, cullBits, data);
    return kept ? answer : 0;
}

void ScriptedVisitor::GetWindowSize(int* width, int* height)
{
    *width = windowWidth;
    *height = windowHeight;
}

// ---- Oracle -------------------------------------------------------------------------------------

bool OracleVisit::TakeTurn(Record& record)
{
    if (!m_script.Begin(record.node)) {
        m_clipped |= m_script.IsOver();
        return false;
    }
    bool const isLeaf = record.node->IsLeaf() != 0;
    if (isLeaf) {
        VisitShapes(record.node);
    } else {
        AppendChildren(record);
    }
    m_script.End(record.node);
    m_clipped |= m_script.IsOver();
    return !isLeaf;
}

void OracleVisit::VisitShapes(TqOcTraversable* leaf)
{
    TqOcBaseTraversable* const* children = nullptr;
    int const count = leaf->GetChildren(&children);
    for (int i = 0; i < count; ++i) {
        if (IsVisible(*children[i])) {
            m_script.Shape(static_cast<TqOcShape*>(children[i]));
        }
    }
}

int OracleVisit::Judge(Record& record, int bits)
{
    bool const kept = m_script.Score(record.node, bits);
    m_clipped |= m_script.IsOver();
    int const answer = record.cull->CalcPriority(&m_traversal, 0, record.node, bits, &record.data);
    return kept ? answer : 0;
}

// Nothing that is left out is counted, and what is done with may be offered again.
bool OracleVisit::Admits(TqOcBaseTraversable const& child)
{
    return child.IsTraversed() == 0 && IsVisible(child);
}
