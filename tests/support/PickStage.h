#pragma once

// A stage for picks by frustum: shapes that can be told what to do in their turn, a host whose
// picks are written down, and a frustum that is easy to reckon with.
//
// The frustum is a box: x and y from -10 to 10, z from 0 (near) to -100 (far), and the distances
// count from the origin. So a cube on the axis lies as far from the origin as its nearest face.

#include "support/Recorders.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLFrustum3f.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

/// Bits of a pick's plane mask.
enum PickPlane
{
    ePLANE_LEFT = 1,
    ePLANE_RIGHT = 2,
    ePLANE_BOTTOM = 4,
    ePLANE_TOP = 8,
    ePLANE_NEAR = 16,
    ePLANE_FAR = 32,
    ePLANES_ALL = 63
};

/// A shape that can be told what to do when it is picked.
class PickingShape : public RecordingShape
{
public:
    using RecordingShape::RecordingShape;

    /// Runs after the shape's turn was logged; may throw.
    std::function<void(TqOcPickFrustumTraversal*)> onPick;

    void PickShape(TqOcPickFrustumTraversal* traversal) override
    {
        lastCullBits = traversal->GetCullBits();
        RecordingShape::PickShape(traversal);
        if (onPick) {
            onPick(traversal);
        }
    }

    /// Makes the shape report a hit at this distance, as an application's geometry test would.
    PickingShape* HitAt(double distance)
    {
        onPick = [this, distance](TqOcPickFrustumTraversal* traversal) {
            traversal->PickShape(this);
            TqLPos3f const point(0.0, 0.0, -distance);
            if (traversal->CanPickPoint(this, point, distance)) {
                traversal->SetPicked(this, point, distance, 0, TqOcPickTraversal::ePICK_TRIANGLE);
            }
        };
        return this;
    }

    int lastCullBits = -1; ///< of the pick in the shape's last turn
};

class PickStage
{
public:
    PickStage() : context(&log), pick(&context)
    {
        pick.SetFrustum(TqLPickFrustum3f(MakeFrustum()));
    }

    static TqLFrustum3f MakeFrustum()
    {
        return TqLFrustum3f::Parallel(TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0),
                                      20.0, 20.0, 0.0, 100.0);
    }

    PickingShape* ShapeIn(std::string const& name, TqLBox3f const& box)
    {
        return new PickingShape(&log, name, box);
    }

    /// A small cube wholly inside the frustum, whose nearest point is `distance` away.
    PickingShape* Shape(std::string const& name, double distance)
    {
        return ShapeIn(name, MakeCube(0.0, 0.0, -distance - 0.5, 0.5));
    }

    /// Runs one pick; returns the names of the shapes that were asked, in order.
    Lines Pick(TqOcTraversable* root)
    {
        log.Clear();
        pick.Apply(root);
        return TakeAsked();
    }

    /// The same for the turn of one node, without a pick around it. The mask is that of the pick.
    Lines TakeTurn(TqOcBaseTraversable* node)
    {
        log.Clear();
        node->PickFrustum(&pick);
        return TakeAsked();
    }

    Lines TakeAsked()
    {
        static std::string const prefix = "PickShape ";
        Lines names;
        for (std::string const& line : log.Take(prefix)) {
            names.push_back(line.substr(prefix.size()));
        }
        return names;
    }

    EventLog log;
    RecordingContext context;
    TqOcPickFrustumTraversal pick;
};

/// A static group of these children.
inline TqOcStaticGroup* MakeStaticGroup(std::initializer_list<TqOcTraversable*> children)
{
    auto* const group = new TqOcStaticGroup;
    for (TqOcTraversable* const child : children) {
        group->AddChild(child);
    }
    return group;
}

/// A dynamic group of these leaves, at most seven.
inline TqOcDynamicGroup* MakeDynamicGroup(std::initializer_list<TqOcTraversable*> leaves)
{
    auto* const group = new TqOcDynamicGroup;
    for (TqOcTraversable* const leaf : leaves) {
        group->AddChild(leaf);
    }
    return group;
}

/// A static leaf of these shapes.
inline TqOcStaticLeaf* MakeStaticLeaf(std::initializer_list<TqOcShape*> shapes)
{
    auto* const leaf = new TqOcStaticLeaf;
    for (TqOcShape* const shape : shapes) {
        leaf->AddChild(shape);
    }
    return leaf;
}
