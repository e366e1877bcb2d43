#pragma once

// Hand-made dynamic trees, shape by shape and group by group, and readers for tests of single
// steps.

#include "support/Components.h"
#include "support/DynamicTreeChecker.h"
#include "support/DynamicTreePlay.h"
#include "support/DynamicTreeProbe.h"
#include "support/Recorders.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <string>
#include <utility>
#include <vector>

using Probe = TqOcDynamicGroupProbe;
using Nodes = std::vector<TqOcTraversable*>;

/// A dynamic group that logs its notices, updates and its end.
using RecordingDynamicGroup = RecordingNode<TqOcDynamicGroup>;

/// A single leaf over a new shape, up to date.
inline TqOcSingleLeaf* NewLeaf(int number, TqLBox3f const& box)
{
    auto* const leaf = new TqOcSingleLeaf(new PlayShape(number, box));
    leaf->Update();
    return leaf;
}

/// The same with a unit cube whose lower corner is at x.
inline TqOcSingleLeaf* NewLeafAt(int number, double x)
{
    return NewLeaf(number, MakeBox(x, 0.0, 0.0, x + 1.0, 1.0, 1.0));
}

/// A static leaf over new shapes numbered from `first`, unit cubes at these places, up to date.
inline TqOcStaticLeaf* NewStaticLeaf(int first, std::vector<double> const& places)
{
    std::vector<TqOcShape*> shapes;
    for (double const x : places) {
        int const number = first + static_cast<int>(shapes.size());
        shapes.push_back(new PlayShape(number, MakeBox(x, 0.0, 0.0, x + 1.0, 1.0, 1.0)));
    }
    auto* const leaf = new TqOcStaticLeaf(shapes.data(), static_cast<int>(shapes.size()));
    leaf->Update();
    return leaf;
}

/// The shape of a single leaf.
inline PlayShape* ShapeOf(TqOcTraversable* leaf)
{
    return static_cast<PlayShape*>(static_cast<TqOcSingleLeaf*>(leaf)->GetShape());
}

/// A group of these, up to date, of a class whose constructor takes children.
inline TqOcDynamicGroup* NewGroup(Nodes children)
{
    auto* const group = new TqOcDynamicGroup(children.data(), static_cast<int>(children.size()));
    Probe::UpdateKeepStructure(*group);
    return group;
}

/// A group of `count` unit leaves in a row from x on, two apart, numbered from `first`.
inline TqOcDynamicGroup* NewRow(int first, int count, double x)
{
    Nodes leaves;
    for (int i = 0; i < count; ++i) {
        leaves.push_back(NewLeafAt(first + i, x + 2.0 * i));
    }
    return NewGroup(leaves);
}

inline TqOcDynamicGroup* GroupAt(TqOcDynamicGroup& group, int i)
{
    return static_cast<TqOcDynamicGroup*>(group.GetChild(i));
}

/// All shapes below, in child order.
inline std::vector<TqOcShape*> ShapesOf(TqOcDynamicGroup& root)
{
    std::vector<TqOcShape*> shapes;
    for (TqOcTraversable* const leaf : LeavesOf(root)) {
        TqOcBaseTraversable* const* children = nullptr;
        int const count = leaf->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            shapes.push_back(static_cast<TqOcShape*>(children[i]));
        }
    }
    return shapes;
}

inline PlayShape* FindShape(TqOcDynamicGroup& root, int number)
{
    for (TqOcShape* const shape : ShapesOf(root)) {
        if (static_cast<PlayShape*>(shape)->GetNumber() == number) {
            return static_cast<PlayShape*>(shape);
        }
    }
    return nullptr;
}

inline bool HasEmptyBox(TqOcTraversable const& node)
{
    return node.GetBoundingBox() == TqLBox3f();
}

inline bool IsOnlyParent(TqOcBaseTraversable const& child, TqOcTraversable const* parent)
{
    return !child.HasMultipleParents() && child.GetSingleParent() == parent;
}

/// Whether exactly one error of severity 1 was posted against the dynamic group; forgets it.
inline bool WasPostedOnce(PostedErrors& posts)
{
    bool const was = posts.Size() == 1 && posts.Get()[0].severity == 1 &&
                     posts.Get()[0].component == "TqOcDynamicGroup" && !posts.Get()[0].text.empty();
    posts.Clear();
    return was;
}
