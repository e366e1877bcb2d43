// Picks in a yard of crates: the one under the cursor, those in a rubber band, and the first that a
// moving body runs into; then the most important ones, in order, without drawing.
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

// --- Where a pick frustum points -----------------------------------------------------------------

constexpr int eLEFT = 0, eRIGHT = 1, eBOTTOM = 2, eTOP = 3, eNEAR = 4; // its planes, facing inwards

/// The direction from the eye of a perspective view through the middle of a pick frustum; of length
/// 1. It lies in the two planes that halve the frustum.
TqLVec3f MiddleOf(TqLPickFrustum3f const& frustum)
{
    auto const normal = [&](int plane) { return frustum.GetPlane(plane).GetNormal().Vec(); };
    TqLVec3f const across = normal(eLEFT) - normal(eRIGHT);
    TqLVec3f const upwards = normal(eBOTTOM) - normal(eTOP);
    TqLVec3f const middle = across.Cross(upwards);
    double const sign = middle.Dot(normal(eNEAR)) < 0.0 ? -1.0 : 1.0; // into the scene
    return middle * (sign / middle.Length());
}

/// Where a ray of length 1 from the eye comes to what the frustum sees.
double DistanceToNearPlane(TqLPickFrustum3f const& frustum, TqLVec3f const& ray)
{
    TqLPlane3f const& nearPlane = frustum.GetPlane(eNEAR);
    return -nearPlane.DistanceFromPlane(frustum.GetOrigin()) / nearPlane.GetNormal().Dot(ray);
}

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

    // The walk has found that the crate's box meets the pick frustum. A crate fills its box, so it
    // is hit where the ray through the frustum's middle enters the box.
    void PickShape(TqOcPickFrustumTraversal* pick) override
    {
        pick->PickShape(this); // one more of all that lie in the frustum
        TqLPos3f const& eye = pick->GetFrustum().GetOrigin();
        TqLVec3f const ray = MiddleOf(pick->GetFrustum());
        double enter = DistanceToNearPlane(pick->GetFrustum(), ray); // from the eye
        double leave = std::numeric_limits<double>::infinity();
        for (int axis = 0; axis < 3; ++axis) {
            double const toMin = m_box.GetMin()[axis] - eye[axis];
            double const toMax = m_box.GetMax()[axis] - eye[axis];
            if (ray[axis] != 0.0) {
                enter = std::max(enter, std::min(toMin / ray[axis], toMax / ray[axis]));
                leave = std::min(leave, std::max(toMin / ray[axis], toMax / ray[axis]));
            } else if (toMin > 0.0 || toMax < 0.0) {
                return;
            }
        }
        TqLPos3f const point = eye + ray * enter;
        if (enter <= leave && pick->CanPickPoint(this, point, enter)) {
            pick->SetPicked(this, point, enter, 0, TqOcPickTraversal::ePICK_OTHER);
        }
    }

    // The walk has found that the moving body touches the crate's box, so all that is left to find
    // is when: at the last axis on which they come together, or at once. A sphere is taken as its
    // box.
    void PickSweep(TqOcPickSweepTraversal* pick) override
    {
        pick->PickShape(this); // one more of all that are touched
        TqLPickSweep const& sweep = pick->GetSweep();
        double first = 0.0; // as a share of the sweep
        for (int axis = 0; axis < 3; ++axis) {
            double const motion = sweep.GetSweep()[axis];
            double const reach = sweep.GetHalfSize()[axis];
            double const gap = motion > 0.0
                                   ? m_box.GetMin()[axis] - reach - sweep.GetCenter()[axis]
                                   : sweep.GetCenter()[axis] - reach - m_box.GetMax()[axis];
            if (motion != 0.0) {
                first = std::max(first, gap / std::abs(motion));
            }
        }
        first = std::min(first, 1.0); // rounding may lead past the end
        double const distance = first * sweep.GetSweep().Length();
        TqLPos3f const point = NearestPoint(sweep.GetCenter() + sweep.GetSweep() * first);
        if (pick->CanPickPoint(this, point, distance)) {
            pick->SetPicked(this, point, distance, 0, TqOcPickTraversal::ePICK_OTHER);
            pick->EditSweep().ShortenTo(first); // what lies farther away need not be asked
        }
    }

private:
    // The point of the crate that is nearest to another one.
    TqLPos3f NearestPoint(TqLPos3f point) const
    {
        for (int axis = 0; axis < 3; ++axis) {
            point[axis] = std::clamp(point[axis], m_box.GetMin()[axis], m_box.GetMax()[axis]);
        }
        return point;
    }

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

// --- The host ------------------------------------------------------------------------------------

int NumberOf(TqOcShape* shape)
{
    return shape != nullptr ? static_cast<Crate*>(shape)->GetNumber() : -1;
}

/// Whether a picked point is seen through the pick frustum, up to rounding.
bool IsSeen(TqLPos3f const& point, TqLPickFrustum3f const& frustum)
{
    for (int plane = 0; plane < TqLPickFrustum3f::eNUM_PLANES; ++plane) {
        if (frustum.GetPlane(plane).DistanceFromPlane(point) < -1e-9) {
            return false;
        }
    }
    return true;
}

/// Picks what a frame has drawn, through parts of its window; returns whether the results are
/// right.
bool PickPixels(TqOcTraversable* root, TqOcPrioritizedTraversal* frame, TqLFrustum3f const& view)
{
    // Under the cursor: a frustum through 5 x 5 pixels. A pick comes after the frame and before the
    // next frame id.
    TqOcPickFrustumTraversal pick(frame->GetContext());
    pick.SetRenderTraversal(frame);
    pick.SetFrustum(TqLPickFrustum3f(view, TqLBox2f({498, 498}, {503, 503}), 1000, 1000));
    pick.Apply(root);
    int const underCursor = NumberOf(pick.GetPickedShape());
    std::printf("under the cursor: crate %d at %.1f\n", underCursor, pick.GetDistance());

    // The cursor goes from left to right.
    int numHits = 0;
    int numSeen = 0;
    for (double x = 0; x < 1000; x += 5) {
        pick.SetFrustum(TqLPickFrustum3f(view, TqLBox2f({x, 498}, {x + 5, 503}), 1000, 1000));
        pick.Apply(root);
        if (pick.GetPickedShape() != nullptr) {
            ++numHits;
            numSeen += IsSeen(pick.GetPickedPoint(), pick.GetFrustum()) ? 1 : 0;
        }
    }
    std::printf("from left to right: a crate at %d of 200 places\n", numHits);

    // In a rubber band: everything, so nothing is pruned behind the nearest hit.
    pick.SetRequiredPropertyBits(TqOcPickTraversal::ePROPERTY_ALL_HITS);
    pick.SetFrustum(TqLPickFrustum3f(view, TqLBox2f({400, 400}, {600, 600}), 1000, 1000));
    pick.Apply(root);
    int const inBand = pick.GetAllPickedShapes().Size();
    std::printf("in the rubber band: %d crates\n", inBand);
    return underCursor == 12 && numHits == 200 && numSeen == numHits && inBand == 200;
}

/// Whether a point lies in the box of a shape; of none if that is null.
bool LiesIn(TqLPos3f const& point, TqOcShape* shape)
{
    TqLBox3f box;
    box.MakeEmpty();
    if (shape != nullptr) {
        shape->GetShapeBox(box);
    }
    return box.Contains(point);
}

/// Sends a walker through the yard; returns whether it meets what it must.
bool Walk(TqOcTraversable* root, TqOcContext* context)
{
    // A walker 0.6 wide and 1.8 high, 100 straight ahead, between two columns and then across them.
    TqLVec3f const halfSize(0.3, 0.9, 0.3);
    TqOcPickSweepTraversal walk(context, 1); // nearest first
    walk.SetSweep(TqLPickSweep(TqLPos3f(2, 0, 0), halfSize, TqLVec3f(0, 0, -100)));
    walk.Apply(root);
    int const straight = NumberOf(walk.GetPickedShape());
    walk.SetSweep(TqLPickSweep(TqLPos3f(2, 0, 0), halfSize, TqLVec3f(5, 0, -100)));
    walk.Apply(root);
    int const across = NumberOf(walk.GetPickedShape());
    TqLPos3f const contact = walk.GetPickedPoint();
    bool const isOnCrate = LiesIn(contact, walk.GetPickedShape());
    std::printf("straight ahead: crate %d; across: crate %d after %.1f, at (%.1f, %.1f, %.1f)\n",
                straight, across, walk.GetDistance(), contact[0], contact[1], contact[2]);

    // Where it stands, without going anywhere, and from there on: what touches counts at once.
    int numAtOnce = 0;
    for (double length : {0.0, 100.0}) {
        walk.SetSweep(TqLPickSweep(TqLPos3f(0, 0, -10), halfSize, TqLVec3f(0, 0, -length)));
        walk.Apply(root);
        bool const isAtOnce = walk.GetDistance() == 0.0 && walk.GetAllPickedShapes().Size() == 1;
        numAtOnce += NumberOf(walk.GetPickedShape()) == 12 && isAtOnce ? 1 : 0;
    }
    std::printf("within crate 12: touched at once %d times of 2\n", numAtOnce);
    return straight == -1 && across > 0 && isOnCrate && numAtOnce == 2;
}

bool Run()
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
    bool const isRight = PickPixels(root.get(), &frame, view) && Walk(root.get(), &context);

    // The most important ones, as the frame would order them.
    FirstFew first;
    first.ConfigureTraversal()->SetViewFrustum(view);
    std::printf("first of all:");
    first.Apply(root.get());
    std::printf("\n");
    return isRight;
}

int main()
{
    TqOcShape::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcPickFrustumTraversal::Initialise();
    TqOcPickSweepTraversal::Initialise();
    bool const isRight = Run();
    TqOcPickSweepTraversal::Terminate();
    TqOcPickFrustumTraversal::Terminate();
    TqOcHierarchyBuilder::Terminate();
    TqOcShape::Terminate();
    return isRight ? 0 : 1;
}
