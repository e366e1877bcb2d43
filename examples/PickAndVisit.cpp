// Picks in a yard of crates: the one under the cursor, those in a rubber band, and the first that a
// moving body runs into; then the most important ones, in order, without drawing.
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <algorithm>
#include <cstdio>
#include <memory>

// --- Shapes that can be picked -------------------------------------------------------------------

class Crate : public TqOcShape
{
public:
    Crate(int number, TqLPos3f const& center)
        : TqOcShape(1.0, 12, TqLPrimitiveTypes::eTRIANGLES)
        , m_number(number)
        , m_box(center - TqLVec3f(1, 1, 1), center + TqLVec3f(1, 1, 1))
    {}

    int GetNumber() const { return m_number; }

    void GetShapeBox(TqLBox3f& box) override { box = m_box; }

    void RenderShape(TqOcRenderTraversal* frame) override
    {
        frame->IncShapesRendered(1);
        frame->IncTrisRendered(GetTris());
    }

    // The walk has found that the crate's box meets the pick frustum, and a crate fills its box.
    void PickShape(TqOcPickFrustumTraversal* pick) override
    {
        pick->PickShape(this); // one more of all that lie in the frustum
        TqLPos3f const& eye = pick->GetFrustum().GetOrigin();
        TqLPos3f nearest;
        for (int axis = 0; axis < 3; ++axis) {
            nearest[axis] = std::clamp(eye[axis], m_box.GetMin()[axis], m_box.GetMax()[axis]);
        }
        double const distance = (nearest - eye).Length();
        if (pick->CanPickPoint(this, nearest, distance)) {
            pick->SetPicked(this, nearest, distance, 0, TqOcPickTraversal::ePICK_OTHER);
        }
    }

    // Where the moving body's box first meets the crate's: the last axis on which they come
    // together.
    void PickSweep(TqOcPickSweepTraversal* pick) override
    {
        TqLPickSweep const& sweep = pick->GetSweep();
        double first = 0.0; // as a share of the sweep
        int face = -1;
        for (int axis = 0; axis < 3; ++axis) {
            double const motion = sweep.GetSweep()[axis];
            double const reach = sweep.GetHalfSize()[axis];
            double const gap = motion > 0.0
                                   ? m_box.GetMin()[axis] - reach - sweep.GetCenter()[axis]
                                   : sweep.GetCenter()[axis] - reach - m_box.GetMax()[axis];
            if (motion != 0.0 && gap / std::abs(motion) > first) {
                first = gap / std::abs(motion);
                face = axis;
            }
        }
        if (face < 0 || first > 1.0) {
            return;
        }
        pick->PickShape(this);
        pick->SetPicked(this, sweep.GetCenter() + sweep.GetSweep() * first,
                        first * sweep.GetSweep().Length(), 0, TqOcPickTraversal::ePICK_OTHER);
        pick->EditSweep().ShortenTo(first); // what lies farther away need not be asked
    }

private:
    int m_number;
    TqLBox3f m_box;
};

// --- A visitor that stops after a few shapes -----------------------------------------------------

class FirstFew : public TqOcPrioritizedVisitor
{
public:
    void VisitShape(TqOcShape* shape) override
    {
        if (m_count < 3) {
            std::printf(" %d", static_cast<Crate*>(shape)->GetNumber());
        }
        if (++m_count >= 3) {
            SetPruned();
        }
    }

private:
    int m_count = 0;
};

int NumberOf(TqOcShape* shape)
{
    return shape != nullptr ? static_cast<Crate*>(shape)->GetNumber() : -1;
}

int Run()
{
    TqOcStaticHierarchyBuilder builder(24); // a crate a leaf: the unit of order
    for (int i = 0; i < 1000; ++i) {        // 40 rows of 25, seen from the middle of the front edge
        builder.Append(new Crate(i, TqLPos3f(4.0 * (i % 25) - 48.0, 0.0, -10.0 - 4.0 * (i / 25))));
    }
    std::unique_ptr<TqOcTraversable> root(builder.End());

    // A frame. Picks follow what it drew.
    TqOcContext context; // a window of 1000 x 1000 pixels
    TqLFrustum3f const view(1.0, 1.0, 1.0, 5000.0);
    TqOcPrioritizedTraversal frame(&context);
    frame.SetViewFrustum(view);
    frame.SetFrameId(1);
    frame.Apply(root.get());

    // Under the cursor: a frustum through 5 x 5 pixels. A pick comes after the frame and before the
    // next frame id.
    TqOcPickFrustumTraversal pick(&context);
    pick.SetRenderTraversal(&frame);
    pick.SetFrustum(TqLPickFrustum3f(view, TqLBox2f({498, 498}, {503, 503}), 1000, 1000));
    pick.Apply(root.get());
    int const underCursor = NumberOf(pick.GetPickedShape());
    std::printf("under the cursor: crate %d at %.1f\n", underCursor, pick.GetDistance());

    // In a rubber band: everything, so nothing is pruned behind the nearest hit.
    pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
    pick.SetFrustum(TqLPickFrustum3f(view, TqLBox2f({400, 400}, {600, 600}), 1000, 1000));
    pick.Apply(root.get());
    int const inBand = pick.GetAllPickedShapes().Size();
    std::printf("in the rubber band: %d crates\n", inBand);

    // A walker 0.6 wide and 1.8 high, 100 straight ahead, between two columns and then across them.
    TqOcPickSweepTraversal walk(&context, 1); // nearest first
    walk.SetSweep(TqLPickSweep(TqLPos3f(2, 0, 0), TqLVec3f(0.3, 0.9, 0.3), TqLVec3f(0, 0, -100)));
    walk.Apply(root.get());
    int const straight = NumberOf(walk.GetPickedShape());
    walk.SetSweep(TqLPickSweep(TqLPos3f(2, 0, 0), TqLVec3f(0.3, 0.9, 0.3), TqLVec3f(5, 0, -100)));
    walk.Apply(root.get());
    int const across = NumberOf(walk.GetPickedShape());
    std::printf("straight ahead: crate %d; across: crate %d after %.1f\n", straight, across,
                walk.GetDistance());

    // The most important ones, as the frame would order them.
    FirstFew first;
    first.ConfigureTraversal()->SetViewFrustum(view);
    std::printf("first of all:");
    first.Apply(root.get());
    std::printf("\n");
    return underCursor == 12 && inBand == 200 && straight == -1 && across > 0 ? 0 : 1;
}

int main()
{
    TqOcShape::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcPickFrustumTraversal::Initialise();
    TqOcPickSweepTraversal::Initialise();
    int const result = Run();
    TqOcPickSweepTraversal::Terminate();
    TqOcPickFrustumTraversal::Terminate();
    TqOcHierarchyBuilder::Terminate();
    TqOcShape::Terminate();
    return result;
}
