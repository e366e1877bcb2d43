#include "support/Recorders.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

// ---- Context ------------------------------------------------------------------------------------

int RecordingContext::GetNumOpenQueries() const
{
    int count = 0;
    for (Query const& query : m_queries) {
        count += query.open ? 1 : 0;
    }
    return count;
}

void RecordingContext::GetWindowSize(int* width, int* height)
{
    Log("GetWindowSize");
    *width = windowWidth;
    *height = windowHeight;
}

void RecordingContext::StartRender()
{
    Log("StartRender");
    if (onStartRender) {
        onStartRender();
    }
}

TqOcOcclusionQuery* RecordingContext::BeginOcclusionQuery(TqLBox3f const& box, unsigned int value)
{
    bool const starts = onBeginQuery ? onBeginQuery(box, value) : startsQueries;
    if (!starts) {
        Log("BeginOcclusionQuery none");
        return nullptr;
    }
    int const number = GetNumQueries() + 1;
    m_queries.push_back({number, true});
    Log("BeginOcclusionQuery " + std::to_string(number));
    return reinterpret_cast<TqOcOcclusionQuery*>(&m_queries.back());
}

int RecordingContext::CheckOcclusionQueryReady(TqOcOcclusionQuery* query)
{
    int const number = Find(query)->number;
    Log("CheckOcclusionQueryReady " + std::to_string(number));
    return onCheckQuery ? onCheckQuery(number) : queryReady;
}

unsigned int RecordingContext::EndOcclusionQuery(TqOcOcclusionQuery* query)
{
    int const number = Close("EndOcclusionQuery", query);
    return onEndQuery ? onEndQuery(number) : querySamples;
}

void RecordingContext::AbortOcclusionQuery(TqOcOcclusionQuery* query)
{
    Close("AbortOcclusionQuery", query);
}

void RecordingContext::ShowRender()
{
    Log("ShowRender");
}

void RecordingContext::CompletedRenderTraversal()
{
    Log("CompletedRenderTraversal");
}

double RecordingContext::EndRender()
{
    Log("EndRender");
    if (onEndRender) {
        onEndRender();
    }
    return endRenderSeconds;
}

int RecordingContext::IsAutoInteractive()
{
    Log("IsAutoInteractive");
    return autoInteractive;
}

int RecordingContext::IsInteractionPending()
{
    Log("IsInteractionPending");
    return onInteractionPending ? onInteractionPending() : interactionPending;
}

void RecordingContext::PostRedrawRequest(TqOcContext::RedrawType type)
{
    Log("PostRedrawRequest " + std::to_string(static_cast<int>(type)));
}

void RecordingContext::Log(std::string line)
{
    if (m_log != nullptr) {
        m_log->Add(std::move(line));
    }
}

RecordingContext::Query* RecordingContext::Find(TqOcOcclusionQuery* query)
{
    return reinterpret_cast<Query*>(query);
}

int RecordingContext::Close(char const* call, TqOcOcclusionQuery* query)
{
    Query* const record = Find(query);
    Log(std::string(call) + (record->open ? " " : " closed query ") +
        std::to_string(record->number));
    record->open = false;
    return record->number;
}

// ---- Shape --------------------------------------------------------------------------------------

RecordingShape::RecordingShape(EventLog* log, std::string name, TqLBox3f const& box,
                               unsigned int tris, double scale, TqLPrimitiveTypes::Enum primitives)
    : TqOcShape(scale, tris, primitives)
    , m_log(log)
    , m_name(std::move(name))
    , m_box(box)
{
    if (m_log != nullptr) {
        m_log->SetName(static_cast<TqOcBaseTraversable*>(this), m_name);
    }
}

RecordingShape::~RecordingShape()
{
    Log("Delete");
}

void RecordingShape::GetShapeBox(TqLBox3f& box)
{
    ++m_numBoxCalls;
    m_gotOnlyEmptyBoxes = m_gotOnlyEmptyBoxes && box.GetMin()[0] > box.GetMax()[0];
    if (m_logsBoxes) {
        Log("GetShapeBox");
    }
    box = m_box;
}

void RecordingShape::RenderShape(TqOcRenderTraversal*)
{
    ++m_numRenderCalls;
    Log("RenderShape");
}

void RecordingShape::PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                                      TqOcRenderTravCullData const&)
{
    ++m_numPrioritizedCalls;
    if (traversal != nullptr) {
        traversal->IncShapesRendered(1);
        traversal->IncTrisRendered(GetTris());
    }
    Log("PrioritizedShape");
}

void RecordingShape::PickShape(TqOcPickFrustumTraversal*)
{
    Log("PickShape");
}

void RecordingShape::Log(char const* call)
{
    if (m_log != nullptr) {
        m_log->Add(std::string(call) + " " + m_name);
    }
}

// ---- Visitor ------------------------------------------------------------------------------------

TqOcVisitor::Action RecordingVisitor::BeginVisit(TqOcTraversable* node)
{
    std::string const name = m_log->GetName(static_cast<TqOcBaseTraversable*>(node));
    m_log->Add("BeginVisit " + name);
    bool const pruned = !prunedName.empty() && name == prunedName;
    return pruned ? TqOcVisitor::ePRUNE : TqOcVisitor::eCONTINUE;
}

TqOcVisitor::Action RecordingVisitor::EndVisit(TqOcTraversable* node)
{
    m_log->Add("EndVisit " + m_log->GetName(static_cast<TqOcBaseTraversable*>(node)));
    return endAction;
}

void RecordingVisitor::VisitShape(TqOcShape* shape)
{
    m_log->Add("VisitShape " + m_log->GetName(static_cast<TqOcBaseTraversable*>(shape)));
}
