#pragma once

// Recorders: host-side classes that write what the library asks of them into an `EventLog`.
//
// RecordingContext answers like the base context until it is told otherwise. RecordingShape is an
// application's shape, RecordingVisitor an application's visitor, and RecordingNode<Node> makes a
// recording form of any container class. The test owns logs and contexts; shapes and nodes follow
// the library's ownership rule and write "Delete name" when they go, so a log outlives them all.

#include "support/Components.h"
#include "support/EventLog.h"
#include "support/FakeClock.h"
#include "support/PostedErrors.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"
#include "scenecull/TqOcTraversable.h"
#include "scenecull/TqOcVisitor.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"
#include "geometry/TqLVec.h"

#include <deque>
#include <functional>
#include <string>
#include <utility>

struct TqOcRenderTravCullData;

/// The box between two corners; nothing is reordered, so inverted and empty boxes can be made.
inline TqLBox3f MakeBox(double x0, double y0, double z0, double x1, double y1, double z1)
{
    return TqLBox3f(TqLPos3f(x0, y0, z0), TqLPos3f(x1, y1, z1));
}

/// The box with the given centre and equal half sizes.
inline TqLBox3f MakeCube(double x, double y, double z, double half)
{
    return MakeBox(x - half, y - half, z - half, x + half, y + half, z + half);
}

// ---- Context ------------------------------------------------------------------------------------

/// Host callbacks: each call is logged, and answered from the public fields.
///
/// Occlusion queries are numbered from 1 in the order in which they begin. An open query that is
/// neither ended nor aborted shows in `GetNumOpenQueries`; ending or aborting one that is not open
/// is logged as "... closed query N".
class RecordingContext : public TqOcContext
{
public:
    explicit RecordingContext(EventLog* log = nullptr) : m_log(log) {}

    int windowWidth = 1000;
    int windowHeight = 1000;
    bool startsQueries = false;       ///< false: BeginOcclusionQuery answers null
    int queryReady = 1;               ///< answer of CheckOcclusionQueryReady
    unsigned int querySamples = 1000; ///< answer of EndOcclusionQuery
    double endRenderSeconds = 1.0;    ///< answer of EndRender
    int autoInteractive = 0;
    int interactionPending = 0;

    /// Where set, asked in place of the field: query number to answer.
    std::function<int(int)> onCheckQuery;
    std::function<unsigned int(int)> onEndQuery;
    /// Where set, asked whether to start a query on this box (second: the library's number).
    std::function<bool(TqLBox3f const&, unsigned int)> onBeginQuery;
    /// Where set, called at the start of the callback of the same name; may throw.
    std::function<void()> onStartRender;
    std::function<void()> onEndRender;
    std::function<int()> onInteractionPending;

    [[nodiscard]] int GetNumQueries() const { return static_cast<int>(m_queries.size()); }

    [[nodiscard]] int GetNumOpenQueries() const;

    void GetWindowSize(int* width, int* height) override;
    void StartRender() override;
    TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const& box, unsigned int value) override;
    int CheckOcclusionQueryReady(TqOcOcclusionQuery* query) override;
    unsigned int EndOcclusionQuery(TqOcOcclusionQuery* query) override;
    void AbortOcclusionQuery(TqOcOcclusionQuery* query) override;
    void ShowRender() override;
    void CompletedRenderTraversal() override;
    double EndRender() override;
    int IsAutoInteractive() override;
    int IsInteractionPending() override;
    void PostRedrawRequest(TqOcContext::RedrawType type) override;

private:
    struct Query
    {
        int number;
        bool open;
    };

    void Log(std::string line);
    Query* Find(TqOcOcclusionQuery* query);
    int Close(char const* call, TqOcOcclusionQuery* query);

    EventLog* m_log;
    std::deque<Query> m_queries; // a deque: handles are addresses of its elements
};

// ---- Shape --------------------------------------------------------------------------------------

/// A shape with a fixed box that logs "RenderShape name", "PrioritizedShape name",
/// "PickShape name", "Delete name" and, when asked to, "GetShapeBox name".
///
/// It counts itself as drawn where the library leaves that to the application: in
/// `PrioritizedShape`. The plain walk counts in `TqOcShape::Render`.
class RecordingShape : public TqOcShape
{
public:
    /// @param log  may be null: nothing is logged.
    RecordingShape(EventLog* log, std::string name, TqLBox3f const& box, unsigned int tris = 1,
                   double scale = 1.0,
                   TqLPrimitiveTypes::Enum primitives = TqLPrimitiveTypes::eTRIANGLES);
    ~RecordingShape() override;

    RecordingShape(RecordingShape const&) = delete;
    RecordingShape& operator=(RecordingShape const&) = delete;

    void SetBox(TqLBox3f const& box) { m_box = box; }

    void SetLogsBoxes(bool logs) { m_logsBoxes = logs; }

    [[nodiscard]] std::string const& GetName() const { return m_name; }

    [[nodiscard]] int GetNumBoxCalls() const { return m_numBoxCalls; }

    [[nodiscard]] int GetNumRenderCalls() const { return m_numRenderCalls; }

    [[nodiscard]] int GetNumPrioritizedCalls() const { return m_numPrioritizedCalls; }

    /// True when every box handed to GetShapeBox so far came in empty.
    [[nodiscard]] bool GotOnlyEmptyBoxes() const { return m_gotOnlyEmptyBoxes; }

    void GetShapeBox(TqLBox3f& box) override;
    void RenderShape(TqOcRenderTraversal* traversal) override;
    void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                          TqOcRenderTravCullData const& data) override;
    void PickShape(TqOcPickFrustumTraversal* traversal) override;

    using TqOcShape::DoUpdate;

private:
    void Log(char const* call);

    EventLog* m_log;
    std::string m_name;
    TqLBox3f m_box;
    bool m_logsBoxes = false;
    bool m_gotOnlyEmptyBoxes = true;
    int m_numBoxCalls = 0;
    int m_numRenderCalls = 0;
    int m_numPrioritizedCalls = 0;
};

// ---- Visitor ------------------------------------------------------------------------------------

/// Logs "BeginVisit name", "EndVisit name", "VisitShape name" by the names in its log.
class RecordingVisitor : public TqOcVisitor
{
public:
    explicit RecordingVisitor(EventLog* log) : m_log(log) {}

    /// Containers at which BeginVisit answers ePRUNE, by name; "" prunes nowhere.
    std::string prunedName;
    TqOcVisitor::Action endAction = TqOcVisitor::eCONTINUE; ///< answer of every EndVisit

    TqOcVisitor::Action BeginVisit(TqOcTraversable* node) override;
    TqOcVisitor::Action EndVisit(TqOcTraversable* node) override;
    void VisitShape(TqOcShape* shape) override;

private:
    EventLog* m_log;
};

// ---- Nodes --------------------------------------------------------------------------------------

/// The smallest concrete bounded node: no children; its update only clears the modified mask.
class PlainTraversable : public TqOcTraversable
{
public:
    using TqOcTraversable::TqOcTraversable;

protected:
    void DoUpdate() override { SetModified(0); }
};

/// A node class that logs "Notify name 0x..", "DoUpdate name" and "Delete name", and opens the
/// protected box operations.
template <class Node>
class RecordingNode : public Node
{
public:
    /// @param arguments  handed to the constructor of `Node`.
    template <class... Arguments>
    RecordingNode(EventLog* log, std::string const& name, Arguments&&... arguments)
        : Node(std::forward<Arguments>(arguments)...)
        , m_log(log)
    {
        m_log->SetName(static_cast<TqOcBaseTraversable*>(this), name);
    }

    ~RecordingNode() override { Log("Delete"); }

    RecordingNode(RecordingNode const&) = delete;
    RecordingNode& operator=(RecordingNode const&) = delete;

    void Notify(unsigned int mask) override
    {
        m_log->Add("Notify " + Name() + " " + Hex(mask));
        Node::Notify(mask);
    }

    void DoUpdate() override
    {
        Log("DoUpdate");
        Node::DoUpdate();
    }

    using Node::ClearBoundingBox;
    using Node::EditBoundingBox;
    using Node::ExtendBoundingBox;
    using Node::UpdateBoundingBox;

private:
    [[nodiscard]] std::string Name() const
    {
        return m_log->GetName(static_cast<TqOcBaseTraversable const*>(this));
    }

    void Log(char const* call) { m_log->Add(std::string(call) + " " + Name()); }

    EventLog* m_log;
};

using RecordingTraversable = RecordingNode<PlainTraversable>;
using RecordingGroup = RecordingNode<TqOcStaticGroup>;
using RecordingLeaf = RecordingNode<TqOcStaticLeaf>;
using RecordingSingleLeaf = RecordingNode<TqOcSingleLeaf>;
