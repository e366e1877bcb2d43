#pragma once

// A stage for prioritized visits: named nodes in front of the default view, and the list of what a
// visit did, in order: "Begin name", "End name", "Shape name" and, when asked for, "Score name".
//
// Shapes are small cubes on the view's axis, so that their priority is their distance from the near
// plane; area culling is off. The stage owns the root. A leaf bears the name of its first shape.

#include "support/Recorders.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcStaticTraversable.h"
#include "scenecull/TqOcVisitor.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// Writes what it is asked, and acts as the test says.
class StageVisitor : public TqOcPrioritizedVisitor
{
public:
    explicit StageVisitor(EventLog* log) : m_log(log) {}

    bool logsScores = false;
    std::set<std::string> pruned;             ///< Names at which BeginVisit answers ePRUNE.
    std::set<std::string> endPruned;          ///< The same of EndVisit.
    std::set<std::string> culled;             ///< Names that CalcCullPriority drops.
    std::map<std::string, double> priorities; ///< Set in place of the computed ones.
    std::map<std::string, int> bits;          ///< Cull bits with which a name was scored last.
    int windowWidth = 1000;
    int windowHeight = 1000;

    /// Runs after each callback wrote its line, which it gets; may throw.
    std::function<void(std::string const&)> onEvent;

    Action BeginVisit(TqOcTraversable* node) override
    {
        std::string const name = Tell("Begin", node, true);
        return pruned.count(name) != 0 ? ePRUNE : eCONTINUE;
    }

    Action EndVisit(TqOcTraversable* node) override
    {
        std::string const name = Tell("End", node, true);
        return endPruned.count(name) != 0 ? ePRUNE : eCONTINUE;
    }

    void VisitShape(TqOcShape* shape) override { Tell("Shape", shape, true); }

    int CalcCullPriority(TqOcRenderTravCull* cull, TqOcTraversable* node, int cullBits,
                         TqOcRenderTravCullData* data) override
    {
        int const kept = TqOcPrioritizedVisitor::CalcCullPriority(cull, node, cullBits, data);
        std::string const name = Tell("Score", node, logsScores);
        bits[name] = cullBits;
        auto const priority = priorities.find(name);
        if (priority != priorities.end()) {
            data->priority = priority->second;
        }
        return culled.count(name) != 0 ? 0 : kept;
    }

    // What a host is asked in a frame. Only the window size belongs to a visit.
    void GetWindowSize(int* width, int* height) override
    {
        if (onEvent) {
            onEvent("GetWindowSize");
        }
        *width = windowWidth;
        *height = windowHeight;
    }

    void StartRender() override { m_log->Add("Host StartRender"); }

    TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const&, unsigned int) override
    {
        m_log->Add("Host BeginOcclusionQuery");
        return nullptr;
    }

    void ShowRender() override { m_log->Add("Host ShowRender"); }

    void CompletedRenderTraversal() override { m_log->Add("Host CompletedRenderTraversal"); }

    double EndRender() override
    {
        m_log->Add("Host EndRender");
        return 1.0;
    }

    int IsAutoInteractive() override
    {
        m_log->Add("Host IsAutoInteractive");
        return 0;
    }

    int IsInteractionPending() override
    {
        m_log->Add("Host IsInteractionPending");
        return 1;
    }

    void PostRedrawRequest(TqOcContext::RedrawType) override
    {
        m_log->Add("Host PostRedrawRequest");
    }

private:
    std::string Tell(char const* call, TqOcBaseTraversable* node, bool logs)
    {
        std::string name = m_log->GetName(node);
        std::string const line = std::string(call) + " " + name;
        if (logs) {
            m_log->Add(line);
        }
        if (onEvent) {
            onEvent(line);
        }
        return name;
    }

    EventLog* m_log;
};

/// A static group that can act in its turn instead of appending its children.
class ActingVisitGroup : public TqOcStaticGroup
{
public:
    std::function<TraversalStatus(TqOcPrioritizedVisitor*, TqOcTravState*)> onTurn;

    TraversalStatus PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state) override
    {
        return onTurn ? onTurn(visitor, state) : TqOcStaticGroup::PrioritizedVisit(visitor, state);
    }
};

class VisitStage
{
public:
    static constexpr double s_half = 0.25; ///< half size of the shapes

    using Children = std::initializer_list<TqOcTraversable*>;

    VisitStage() : visitor(&log) { SetUp(visitor); }

    static void SetUp(TqOcPrioritizedVisitor& visitor)
    {
        visitor.ConfigureTraversal()->SetCullArea(0.0);
        visitor.ConfigureTraversal()->SetCullExtent(0.0);
    }

    TqOcPrioritizedTraversal& Settings() { return *visitor.ConfigureTraversal(); }

    /// A shape whose nearest face lies `distance` in front of the near plane.
    RecordingShape* Shape(std::string const& name, double distance, unsigned int tris = 1)
    {
        double const z = -1.0 - distance - s_half;
        return new RecordingShape(&log, name, MakeCube(0.0, 0.0, z, s_half), tris);
    }

    /// A single leaf over a new shape.
    TqOcSingleLeaf* Leaf(std::string const& name, double distance, unsigned int tris = 1)
    {
        return Named(name, new TqOcSingleLeaf(Shape(name, distance, tris)));
    }

    /// The same over a cube anywhere.
    TqOcSingleLeaf* LeafAt(std::string const& name, double x, double y, double z,
                           double half = s_half)
    {
        return Named(name,
                     new TqOcSingleLeaf(new RecordingShape(&log, name, MakeCube(x, y, z, half))));
    }

    TqOcStaticLeaf* ShapesLeaf(std::string const& name, std::initializer_list<TqOcShape*> shapes)
    {
        auto* const leaf = new TqOcStaticLeaf;
        for (TqOcShape* const shape : shapes) {
            leaf->AddChild(shape);
        }
        return Named(name, leaf);
    }

    ActingVisitGroup* Group(std::string const& name, Children children)
    {
        auto* const group = new ActingVisitGroup;
        for (TqOcTraversable* const child : children) {
            group->AddChild(child);
        }
        return Named(name, group);
    }

    /// A dynamic group whose own update leaves the structure alone: it has at most seven leaves.
    TqOcDynamicGroup* DynamicGroup(std::string const& name, Children children)
    {
        auto* const group = new TqOcDynamicGroup;
        for (TqOcTraversable* const child : children) {
            group->AddChild(child);
        }
        return Named(name, group);
    }

    /// Makes a static group of these the root, named "root".
    void SetRoot(Children children) { root.reset(Group("root", children)); }

    ActingVisitGroup* Root() { return static_cast<ActingVisitGroup*>(root.get()); }

    /// Runs one visit; returns what it did.
    Lines Visit()
    {
        log.Clear();
        visitor.Apply(root.get());
        return log.Take();
    }

    /// Runs one visit; returns the names of the shapes visited, in order.
    Lines VisitShapes()
    {
        static std::string const prefix = "Shape ";
        log.Clear();
        visitor.Apply(root.get());
        Lines names;
        for (std::string const& line : log.Take(prefix)) {
            names.push_back(line.substr(prefix.size()));
        }
        return names;
    }

    /// Calls `act` for each node under the root, the root and shapes included.
    template <class Act>
    void ForEachNode(Act const& act)
    {
        ForEachNode(root.get(), act);
    }

    /// Whether any node under the root carries the traversed mark.
    bool IsAnyMarked()
    {
        bool any = false;
        ForEachNode([&](TqOcBaseTraversable* node) { any = any || node->IsTraversed() != 0; });
        return any;
    }

    template <class Node>
    Node* Named(std::string const& name, Node* node)
    {
        log.SetName(static_cast<TqOcBaseTraversable*>(node), name);
        return node;
    }

    EventLog log;
    StageVisitor visitor;
    std::unique_ptr<TqOcTraversable> root;

private:
    template <class Act>
    static void ForEachNode(TqOcBaseTraversable* node, Act const& act)
    {
        act(node);
        if (node->IsShape()) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            ForEachNode(children[i], act);
        }
    }
};
