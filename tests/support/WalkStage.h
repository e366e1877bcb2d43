#pragma once

// A stage for frames of the prioritized walk: named shapes in front of the default view, hand-made
// groups, and the list of what a frame drew.
//
// Shapes are small cubes on the view's axis, so that their priority is their distance from the near
// plane; area culling is off. Everything hangs under one root group, which the stage owns.

#include "support/Recorders.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

/// A shape that can be told what to do in its turn.
class ActingShape : public RecordingShape
{
public:
    using RecordingShape::RecordingShape;

    /// Runs after the shape was logged and counted; may throw.
    std::function<void(TqOcPrioritizedTraversal*)> onTurn;

    void PrioritizedShape(TqOcPrioritizedTraversal* traversal,
                          TqOcRenderTravCullData const& data) override
    {
        RecordingShape::PrioritizedShape(traversal, data);
        lastData = data;
        if (onTurn) {
            onTurn(traversal);
        }
    }

    TqOcRenderTravCullData lastData = {}; ///< as it came in the last turn
};

/// A static group that can act in its turn instead of appending its children.
class ActingGroup : public TqOcStaticGroup
{
public:
    std::function<TraversalStatus(TqOcPrioritizedTraversal*, TqOcTravState*)> onTurn;

    TraversalStatus Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state) override
    {
        return onTurn ? onTurn(traversal, state) : TqOcStaticGroup::Prioritized(traversal, state);
    }
};

class WalkStage
{
public:
    static constexpr double s_half = 0.25; ///< half size of the shapes

    WalkStage() : context(&log), walk(&context)
    {
        walk.SetCullArea(0.0);
        walk.SetCullExtent(0.0);
    }

    /// A shape whose nearest face lies `distance` in front of the near plane.
    ActingShape* Shape(std::string const& name, double distance, unsigned int tris = 1)
    {
        double const z = -1.0 - distance - s_half;
        return new ActingShape(&log, name, MakeCube(0.0, 0.0, z, s_half), tris);
    }

    /// A single leaf over a new shape.
    TqOcSingleLeaf* Leaf(std::string const& name, double distance, unsigned int tris = 1)
    {
        return new TqOcSingleLeaf(Shape(name, distance, tris));
    }

    static ActingShape* ShapeOf(TqOcSingleLeaf* leaf)
    {
        return static_cast<ActingShape*>(leaf->GetShape());
    }

    static ActingGroup* Group(std::initializer_list<TqOcTraversable*> children)
    {
        auto* const group = new ActingGroup;
        for (TqOcTraversable* const child : children) {
            group->AddChild(child);
        }
        return group;
    }

    /// Makes a group of these the root.
    void SetRoot(std::initializer_list<TqOcTraversable*> children) { root.reset(Group(children)); }

    /// Runs one frame under a new frame id; returns the names of the shapes drawn, in order.
    Lines Frame()
    {
        static std::string const prefix = "PrioritizedShape ";
        log.Clear();
        walk.SetFrameId(++frameId);
        walk.Apply(root.get());
        Lines names;
        for (std::string const& line : log.Filtered(prefix)) {
            names.push_back(line.substr(prefix.size()));
        }
        return names;
    }

    /// Whether any node under the root carries the traversed mark.
    bool IsAnyMarked() const { return IsAnyMarked(root.get()); }

    EventLog log;
    RecordingContext context;
    TqOcPrioritizedTraversal walk;
    std::unique_ptr<TqOcTraversable> root;
    unsigned int frameId = 0;

private:
    static bool IsAnyMarked(TqOcBaseTraversable* node)
    {
        if (node->IsTraversed()) {
            return true;
        }
        if (node->IsShape()) {
            return false;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = static_cast<TqOcTraversable*>(node)->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            if (IsAnyMarked(children[i])) {
                return true;
            }
        }
        return false;
    }
};
