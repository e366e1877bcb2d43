// The shape: its construction, its part in the plain walks, and the hand-over to the application.

#include "scenecull/TqOcShape.h"

#include "support/Recorders.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcRenderTraversal.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <utility>

namespace
{

/// A shape that overrides only what it must; logs what the application is asked to do.
class PlainShape : public TqOcShape
{
public:
    PlainShape() = default;

    PlainShape(double scale, unsigned int tris, TqLPrimitiveTypes::Enum primitives)
        : TqOcShape(scale, tris, primitives)
    {}

    EventLog* log = nullptr;
    TqOcRenderTraversal* seenTraversal = nullptr;
    TqOcPickFrustumTraversal* seenPick = nullptr;
    unsigned int trisWhenDrawn = 0;
    unsigned int shapesWhenDrawn = 0;

    void GetShapeBox(TqLBox3f& box) override { box = MakeCube(0, 0, 0, 1); }

    void RenderShape(TqOcRenderTraversal* traversal) override
    {
        seenTraversal = traversal;
        if (traversal != nullptr) {
            trisWhenDrawn = traversal->GetTrisRendered();
            shapesWhenDrawn = traversal->GetShapesRendered();
        }
        if (log != nullptr) {
            log->Add("RenderShape");
        }
    }

    void PickShape(TqOcPickFrustumTraversal* traversal) override
    {
        seenPick = traversal;
        if (log != nullptr) {
            log->Add("PickShape");
        }
    }
};

/// A shape that sees its notifications.
class NotifiedShape : public PlainShape
{
public:
    void Notify(unsigned int mask) override
    {
        log->Add("Notify shape " + Hex(mask));
        TqOcShape::Notify(mask);
    }
};

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TEST(TqOcShape, IsALeafAndAShapeWithDefaultsFromItsDefaultConstructor)
{
    PlainShape const shape;
    EXPECT_TRUE(shape.IsLeaf());
    EXPECT_TRUE(shape.IsShape());
    EXPECT_EQ(shape.GetScale(), 1.0);
    EXPECT_EQ(shape.GetTris(), 0u);
    EXPECT_EQ(static_cast<unsigned int>(shape.GetPrimitives()), 0u);
    EXPECT_EQ(shape.GetModified(), 0u);
    EXPECT_EQ(shape.GetFrameId(), 0u);
    EXPECT_FALSE(shape.IsHideRender());
    EXPECT_FALSE(shape.IsForceRender());
    EXPECT_FALSE(shape.IsUserOwned());
    EXPECT_FALSE(shape.IsTraversed());
    EXPECT_FALSE(shape.HasParent());
    EXPECT_FALSE(shape.IsOwned());
}

TEST(TqOcShape, TakesScaleTrisAndPrimitivesFromItsConstructor)
{
    PlainShape const shape(0.5, 1234u, TqLPrimitiveTypes::eLINES);
    EXPECT_TRUE(shape.IsLeaf());
    EXPECT_TRUE(shape.IsShape());
    EXPECT_EQ(shape.GetScale(), 0.5);
    EXPECT_EQ(shape.GetTris(), 1234u);
    EXPECT_EQ(shape.GetPrimitives(), TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(shape.GetModified(), 0u);
}

TEST(TqOcShape, CopiesTheBaseFieldsMemberwise)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    PlainShape shape(0.5, 1234u, TqLPrimitiveTypes::ePOINTS);
    shape.AddParent(&parent);
    shape.SetFrameId(8);
    shape.SetUserOwned(1);
    shape.UpdateIgnorePick(1);
    shape.SetModified(0x22);
    PlainShape const copied(shape);
    PlainShape assigned;
    assigned = shape;
    PlainShape source(shape);
    PlainShape moveAssigned;
    moveAssigned = std::move(source);
    for (PlainShape const* copy :
         {&copied, &std::as_const(assigned), &std::as_const(moveAssigned)}) {
        EXPECT_EQ(copy->GetScale(), 0.5);
        EXPECT_EQ(copy->GetTris(), 1234u);
        EXPECT_EQ(copy->GetPrimitives(), TqLPrimitiveTypes::ePOINTS);
        EXPECT_EQ(copy->GetSingleParent(), &parent);
        EXPECT_EQ(copy->GetFrameId(), 8u);
        EXPECT_TRUE(copy->IsUserOwned());
        EXPECT_TRUE(copy->IsIgnorePick());
        EXPECT_TRUE(copy->IsLeaf());
        EXPECT_TRUE(copy->IsShape());
        EXPECT_EQ(copy->GetModified(), 0x22u);
    }
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcShape, IsDeletedCompletelyThroughItsBase)
{
    EventLog log;
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    TqOcBaseTraversable* const shape = new RecordingShape(&log, "shape", MakeCube(0, 0, 0, 1));
    delete shape;
    EXPECT_EQ(log.Take(), (Lines{"Delete shape"}));
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
}

// ---- Change -------------------------------------------------------------------------------------

TEST(TqOcShape, NotifiesItsParentWhenAnAttributeIsSet)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    PlainShape shape;
    shape.AddParent(&parent);
    shape.SetTris(12);
    shape.SetHideRender(1);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x4", "Notify parent 0xc"}));
}

TEST(TqOcShape, CallsAnOverriddenNotify)
{
    EventLog log;
    NotifiedShape shape;
    shape.log = &log;
    shape.SetScale(2.0);
    EXPECT_EQ(log.Take(), (Lines{"Notify shape 0x2"}));
    EXPECT_EQ(Hex(shape.GetModified()), "0x2");
}

TEST(TqOcShape, OnlyClearsItsModifiedMaskInAnUpdate)
{
    EventLog log;
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1), 7, 0.5);
    shape.SetLogsBoxes(true);
    shape.SetHideRender(1);
    shape.SetFrameId(3);
    shape.SetModified(0xFFFF);
    shape.Update();
    EXPECT_EQ(shape.GetModified(), 0u);
    EXPECT_EQ(shape.GetTris(), 7u);
    EXPECT_EQ(shape.GetScale(), 0.5);
    EXPECT_EQ(shape.GetFrameId(), 3u);
    EXPECT_TRUE(shape.IsHideRender());
    EXPECT_TRUE(shape.IsLeaf());
    EXPECT_TRUE(shape.IsShape());
    EXPECT_EQ(log.Take(), Lines{});
}

// ---- Walks --------------------------------------------------------------------------------------

TEST(TqOcShape, CountsItselfAndItsTrianglesBeforeItIsDrawn)
{
    TqOcPrioritizedTraversal traversal(nullptr);
    traversal.ResetStats();
    traversal.IncTrisRendered(100);
    PlainShape shape(1.0, 42u, TqLPrimitiveTypes::eTRIANGLES);
    shape.Render(&traversal);
    EXPECT_EQ(shape.seenTraversal, &traversal);
    EXPECT_EQ(shape.shapesWhenDrawn, 1u);
    EXPECT_EQ(shape.trisWhenDrawn, 142u);
    shape.Render(&traversal);
    EXPECT_EQ(traversal.GetShapesRendered(), 2u);
    EXPECT_EQ(traversal.GetTrisRendered(), 184u);
    EXPECT_EQ(traversal.GetLeavesRendered(), 0u);
}

TEST(TqOcShape, IsDrawnByRenderEvenWhenHiddenOrAlreadyStamped)
{
    EventLog log;
    TqOcPrioritizedTraversal traversal(nullptr);
    traversal.ResetStats();
    traversal.SetFrameId(5);
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1), 3);
    shape.UpdateHideRender(1);
    shape.SetFrameId(5);
    shape.Render(&traversal);
    EXPECT_EQ(log.Take(), (Lines{"RenderShape shape"}));
    EXPECT_EQ(traversal.GetTrisRendered(), 3u);
}

TEST(TqOcShape, DrawsThroughRenderShapeInItsDefaultPrioritizedShape)
{
    TqOcPrioritizedTraversal traversal(nullptr);
    traversal.ResetStats();
    PlainShape shape(1.0, 42u, TqLPrimitiveTypes::eTRIANGLES);
    TqOcRenderTravCullData const data{};
    shape.PrioritizedShape(&traversal, data);
    EXPECT_EQ(shape.seenTraversal, &traversal);
    EXPECT_EQ(traversal.GetShapesRendered(), 0u); // counting is the application's here
    EXPECT_EQ(traversal.GetTrisRendered(), 0u);
}

TEST(TqOcShape, HandsAFrustumPickToTheApplication)
{
    EventLog log;
    PlainShape shape;
    shape.log = &log;
    int marker = 0;
    auto* const pick = reinterpret_cast<TqOcPickFrustumTraversal*>(&marker); // only passed through
    shape.PickFrustum(pick);
    EXPECT_EQ(log.Take(), (Lines{"PickShape"}));
    EXPECT_EQ(shape.seenPick, pick);
}

TEST(TqOcShape, TakesNoPartInASweepPick)
{
    EventLog log;
    NotifiedShape shape;
    shape.log = &log;
    shape.PickSweep(nullptr);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(shape.GetModified(), 0u);
    EXPECT_EQ(shape.GetFrameId(), 0u);
}

TEST(TqOcShape, IsReportedToAVisitorWithoutBeginAndEnd)
{
    EventLog log;
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    RecordingVisitor visitor(&log);
    shape.Visit(&visitor);
    EXPECT_EQ(log.Take(), (Lines{"VisitShape shape"}));
}
