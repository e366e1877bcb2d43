// The frustum state of a view: conversions to pixels, and narrowing to a sub-window.

#include "scenecull/TqOcTravFrustum.h"

#include "support/Recorders.h"

#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace
{

constexpr double eINFINITY = std::numeric_limits<double>::infinity();

template <class Value>
bool HasSameBits(Value const& a, Value const& b)
{
    return std::memcmp(&a, &b, sizeof(Value)) == 0;
}

bool IsSameMatrix(TqLMatrix4f const& a, TqLMatrix4f const& b)
{
    return std::memcmp(a.Data(), b.Data(), 16 * sizeof(double)) == 0;
}

/// A frustum whose viewpoint lies at the given signed distance from its near plane z = 0, on the
/// side of the scene when positive.
TqLFrustum3f MakeFrustum(TqLFrustum3f::Type type, double width, double height, double eyeDistance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(0.0, 0.0, -1.0);
    TqLPlane3f plane;
    plane.SetValue(normal, TqLPos3f(0.0, 0.0, 0.0));
    return TqLFrustum3f::FromMatrix(type, width, height, TqLMatrix4f(), plane,
                                    TqLPos3f(5.0, 6.0, -eyeDistance));
}

TqOcTravFrustum MakeState(TqLFrustum3f const& frustum, double stress, int width = 1000,
                          int height = 1000)
{
    RecordingContext context;
    context.windowWidth = width;
    context.windowHeight = height;
    return TqOcTravFrustum(frustum, &context, stress);
}

} // namespace

// ---- Root state ---------------------------------------------------------------------------------

TEST(TqOcTravFrustum, HoldsTheFrustumAndItsMatrix)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqOcTravFrustum const state = MakeState(frustum, 1.0);
    EXPECT_EQ(state.GetFrustum().GetWidth(), 4.0);
    EXPECT_EQ(state.GetFrustum().GetHeight(), 2.0);
    EXPECT_EQ(state.GetFrustum().GetFrustumType(), TqLFrustum3f::ePERSPECTIVE);
    EXPECT_EQ(state.GetFrustum().GetNearPlane(), frustum.GetNearPlane());
    EXPECT_EQ(state.GetFrustum().GetViewpoint(), frustum.GetViewpoint());
    EXPECT_TRUE(IsSameMatrix(state.GetViewCullMatrix(), frustum.GetMatrix()));
}

TEST(TqOcTravFrustum, AsksTheContextOnceForTheWindowSize)
{
    EventLog log;
    RecordingContext context(&log);
    TqOcTravFrustum const state(TqLFrustum3f(1.0, 1.0, 1.0, 100.0), &context, 1.0);
    EXPECT_EQ(log.Take(), (Lines{"GetWindowSize"}));
    TqOcTravFrustum narrowed;
    narrowed.Narrow(state, 0.0, 0.5, 0.0, 0.5);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcTravFrustum, TakesAWindowOfThousandByThousandFromAContextThatNamesNone)
{
    TqOcContext context;
    TqOcTravFrustum const state(TqLFrustum3f(1.0, 1.0, 1.0, 1000.0), &context, 1.0);
    EXPECT_EQ(state.GetXToPixelConv(), 500.0);
    EXPECT_EQ(state.GetYToPixelConv(), 500.0);
    EXPECT_EQ(state.GetAreaToPixelConv(), 250000.0);
}

TEST(TqOcTravFrustum, ConvertsToPixelsByWindowAndStress)
{
    struct Case
    {
        int width;
        int height;
        double stress;
        double x;
        double y;
        double area;
    };

    Case const cases[] = {
        {1000, 1000, 1.0, 500.0, 500.0, 250000.0},    {1000, 1000, 2.0, 250.0, 250.0, 62500.0},
        {1920, 1080, 1.0, 960.0, 540.0, 518400.0},    {1920, 1080, 4.0, 240.0, 135.0, 32400.0},
        {1920, 1080, 0.5, 1920.0, 1080.0, 2073600.0}, {1, 3, 1.0, 0.5, 1.5, 0.75},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(testing::Message()
                     << one.width << " x " << one.height << " at stress " << one.stress);
        for (auto type : {TqLFrustum3f::ePERSPECTIVE, TqLFrustum3f::ePARALLEL}) {
            TqOcTravFrustum const state =
                MakeState(MakeFrustum(type, 1.0, 1.0, -1.0), one.stress, one.width, one.height);
            EXPECT_EQ(state.GetXToPixelConv(), one.x);
            EXPECT_EQ(state.GetYToPixelConv(), one.y);
            EXPECT_EQ(state.GetAreaToPixelConv(), one.area);
        }
    }
}

TEST(TqOcTravFrustum, HalvesLinearAndQuartersAreaConversionsAtStressTwo)
{
    TqLFrustum3f const perspective(1.0, 1.0, 1.0, 100.0);
    TqLFrustum3f const parallel = MakeFrustum(TqLFrustum3f::ePARALLEL, 1.0, 1.0, -1.0);
    for (TqLFrustum3f const& frustum : {perspective, parallel}) {
        TqOcTravFrustum const plain = MakeState(frustum, 1.0);
        TqOcTravFrustum const stressed = MakeState(frustum, 2.0);
        EXPECT_EQ(stressed.GetXToPixelConv(), plain.GetXToPixelConv() / 2.0);
        EXPECT_EQ(stressed.GetYToPixelConv(), plain.GetYToPixelConv() / 2.0);
        EXPECT_EQ(stressed.GetAreaToPixelConv(), plain.GetAreaToPixelConv() / 4.0);
    }
}

TEST(TqOcTravFrustum, DoublesTheSizeOfAPixelAtStressTwoOnlyInPerspective)
{
    TqLFrustum3f const perspective(1.0, 1.0, 1.0, 100.0);
    EXPECT_GT(MakeState(perspective, 1.0).GetDistToInvPixelConv(), 0.0);
    EXPECT_EQ(MakeState(perspective, 2.0).GetDistToInvPixelConv(),
              2.0 * MakeState(perspective, 1.0).GetDistToInvPixelConv());
    TqLFrustum3f const parallel = MakeFrustum(TqLFrustum3f::ePARALLEL, 1.0, 1.0, -1.0);
    EXPECT_GT(MakeState(parallel, 1.0).GetDistToInvPixelConv(), 0.0);
    EXPECT_EQ(MakeState(parallel, 2.0).GetDistToInvPixelConv(),
              MakeState(parallel, 1.0).GetDistToInvPixelConv());
}

TEST(TqOcTravFrustum, TakesTheSmallerPixelSize)
{
    struct Case
    {
        double frustumWidth;
        double frustumHeight;
        int width;
        int height;
        double pixelSize;
    };

    Case const cases[] = {
        {4.0, 2.0, 1000, 1000, 2.0 / 1000},
        {2.0, 4.0, 1000, 1000, 2.0 / 1000},
        {4.0, 2.0, 4000, 1000, 4.0 / 4000},
        {4.0, 2.0, 2000, 1000, 4.0 / 2000}, // both sides alike
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.pixelSize);
        TqLFrustum3f const parallel =
            MakeFrustum(TqLFrustum3f::ePARALLEL, one.frustumWidth, one.frustumHeight, -1.0);
        EXPECT_EQ(MakeState(parallel, 1.0, one.width, one.height).GetDistToInvPixelConv(),
                  one.pixelSize);
        TqLFrustum3f const perspective =
            MakeFrustum(TqLFrustum3f::ePERSPECTIVE, one.frustumWidth, one.frustumHeight, -1.0);
        EXPECT_EQ(MakeState(perspective, 1.0, one.width, one.height).GetDistToInvPixelConv(),
                  one.pixelSize);
    }
}

TEST(TqOcTravFrustum, DividesThePixelSizeByTheEyeDistanceInPerspective)
{
    // The viewpoint lies behind the near plane, at 0.25 and 8 units.
    TqLFrustum3f const close = MakeFrustum(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, -0.25);
    TqLFrustum3f const distant = MakeFrustum(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, -8.0);
    EXPECT_EQ(MakeState(close, 3.0).GetDistToInvPixelConv(), 2.0 / 1000 * 3.0 / 0.25);
    EXPECT_EQ(MakeState(distant, 3.0).GetDistToInvPixelConv(), 2.0 / 1000 * 3.0 / 8.0);
    // In a parallel view neither the distance nor the stress counts.
    TqLFrustum3f const parallel = MakeFrustum(TqLFrustum3f::ePARALLEL, 4.0, 2.0, -8.0);
    EXPECT_EQ(MakeState(parallel, 3.0).GetDistToInvPixelConv(), 2.0 / 1000);
}

TEST(TqOcTravFrustum, GivesTheWorldSizeOfAPixelAtADistance)
{
    // 90 degrees wide: the view is 2 d across at the distance d, so a pixel of 1000 is d / 500.
    TqOcTravFrustum const state = MakeState(TqLFrustum3f(2.0, 2.0, 1.0, 1000.0), 1.0);
    EXPECT_DOUBLE_EQ(state.GetDistToInvPixelConv() * 50.0, 0.1);
}

TEST(TqOcTravFrustum, HasNoPixelSizeForAViewpointOnItsNearPlaneOrInFrontOfIt)
{
    for (double eyeDistance : {0.0, 1.0, 100.0}) {
        SCOPED_TRACE(eyeDistance);
        TqLFrustum3f const frustum = MakeFrustum(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, eyeDistance);
        TqOcTravFrustum const state = MakeState(frustum, 1.0);
        EXPECT_EQ(state.GetDistToInvPixelConv(), 0.0);
        EXPECT_EQ(state.GetXToPixelConv(), 500.0);
    }
}

TEST(TqOcTravFrustum, CountsEveryTypeButZeroAsParallel)
{
    auto const other = static_cast<TqLFrustum3f::Type>(7);
    TqOcTravFrustum const state = MakeState(MakeFrustum(other, 4.0, 2.0, 1.0), 5.0);
    EXPECT_EQ(state.GetDistToInvPixelConv(), 2.0 / 1000);
}

TEST(TqOcTravFrustum, LetsDivisionsByAZeroWindowOrStressStand)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqOcTravFrustum const noWindow = MakeState(frustum, 1.0, 0, 0);
    EXPECT_EQ(noWindow.GetXToPixelConv(), 0.0);
    EXPECT_EQ(noWindow.GetYToPixelConv(), 0.0);
    EXPECT_EQ(noWindow.GetAreaToPixelConv(), 0.0);
    EXPECT_EQ(noWindow.GetDistToInvPixelConv(), eINFINITY);
    TqOcTravFrustum const noStress = MakeState(frustum, 0.0);
    EXPECT_EQ(noStress.GetXToPixelConv(), eINFINITY);
    EXPECT_EQ(noStress.GetYToPixelConv(), eINFINITY);
    EXPECT_EQ(noStress.GetAreaToPixelConv(), eINFINITY);
    EXPECT_EQ(noStress.GetDistToInvPixelConv(), 0.0);
}

// ---- Narrowed state -----------------------------------------------------------------------------

TEST(TqOcTravFrustum, ScalesConversionsByTheSharesOfTheSubWindow)
{
    TqOcTravFrustum const parent = MakeState(TqLFrustum3f(4.0, 2.0, 1.0, 100.0), 1.0);
    TqOcTravFrustum state;
    state.Narrow(parent, 0.0, 0.5, 0.0, 0.25);
    EXPECT_EQ(state.GetXToPixelConv(), 250.0);
    EXPECT_EQ(state.GetYToPixelConv(), 125.0);
    EXPECT_EQ(state.GetAreaToPixelConv(), 31250.0);
    EXPECT_EQ(state.GetDistToInvPixelConv(), parent.GetDistToInvPixelConv() / 0.5);
}

TEST(TqOcTravFrustum, DividesThePixelSizeByTheLargerShare)
{
    TqOcTravFrustum const parent = MakeState(TqLFrustum3f(4.0, 2.0, 1.0, 100.0), 1.0);

    struct Case
    {
        double x0;
        double x1;
        double y0;
        double y1;
        double share;
    };

    Case const cases[] = {
        {0.25, 0.5, 0.0, 0.75, 0.75},
        {0.0, 0.75, 0.5, 0.75, 0.75},
        {0.5, 1.0, 0.25, 0.75, 0.5},
        {0.0, 1.0, 0.0, 1.0, 1.0},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(testing::Message()
                     << one.x0 << ' ' << one.x1 << ' ' << one.y0 << ' ' << one.y1);
        TqOcTravFrustum state;
        state.Narrow(parent, one.x0, one.x1, one.y0, one.y1);
        EXPECT_EQ(state.GetDistToInvPixelConv(), parent.GetDistToInvPixelConv() / one.share);
        EXPECT_EQ(state.GetXToPixelConv(), (one.x1 - one.x0) * 500.0);
        EXPECT_EQ(state.GetYToPixelConv(), (one.y1 - one.y0) * 500.0);
        EXPECT_EQ(state.GetAreaToPixelConv(), state.GetXToPixelConv() * state.GetYToPixelConv());
    }
}

TEST(TqOcTravFrustum, TakesFrustumAndMatrixOfTheNarrowedView)
{
    TqLFrustum3f const frustum(4.0, 2.0, 1.0, 100.0);
    TqOcTravFrustum const parent = MakeState(frustum, 1.0);
    TqOcTravFrustum state;
    state.Narrow(parent, 0.25, 0.75, 0.5, 1.0);
    TqLFrustum3f const expected = frustum.NarrowedBy(0.25, 0.75, 0.5, 1.0);
    EXPECT_TRUE(IsSameMatrix(state.GetFrustum().GetMatrix(), expected.GetMatrix()));
    EXPECT_TRUE(IsSameMatrix(state.GetViewCullMatrix(), expected.GetMatrix()));
    EXPECT_FALSE(IsSameMatrix(state.GetViewCullMatrix(), frustum.GetMatrix()));
    EXPECT_EQ(state.GetFrustum().GetWidth(), 2.0);
    EXPECT_EQ(state.GetFrustum().GetHeight(), 1.0);
}

TEST(TqOcTravFrustum, NarrowsANarrowedViewFurther)
{
    TqOcTravFrustum const parent = MakeState(TqLFrustum3f(4.0, 2.0, 1.0, 100.0), 1.0);
    TqOcTravFrustum half;
    half.Narrow(parent, 0.0, 0.5, 0.0, 0.5);
    TqOcTravFrustum quarter;
    quarter.Narrow(half, 0.5, 1.0, 0.5, 1.0);
    EXPECT_EQ(quarter.GetXToPixelConv(), 125.0);
    EXPECT_EQ(quarter.GetAreaToPixelConv(), 15625.0);
    EXPECT_EQ(quarter.GetDistToInvPixelConv(), parent.GetDistToInvPixelConv() * 4.0);
    EXPECT_EQ(quarter.GetFrustum().GetWidth(), 1.0);
}

TEST(TqOcTravFrustum, KeepsTheParentsScaleForTheWholeView)
{
    TqOcTravFrustum const parent = MakeState(TqLFrustum3f(4.0, 2.0, 1.0, 100.0), 3.0, 640, 480);
    TqOcTravFrustum state;
    state.Narrow(parent, 0.0, 1.0, 0.0, 1.0);
    EXPECT_TRUE(IsSameMatrix(state.GetViewCullMatrix(), parent.GetViewCullMatrix()));
    EXPECT_TRUE(HasSameBits(state.GetXToPixelConv(), parent.GetXToPixelConv()));
    EXPECT_TRUE(HasSameBits(state.GetYToPixelConv(), parent.GetYToPixelConv()));
    EXPECT_TRUE(HasSameBits(state.GetAreaToPixelConv(), parent.GetAreaToPixelConv()));
    EXPECT_TRUE(HasSameBits(state.GetDistToInvPixelConv(), parent.GetDistToInvPixelConv()));
}

TEST(TqOcTravFrustum, KeepsNoPixelSizeWhenThereIsNone)
{
    TqOcTravFrustum const parent =
        MakeState(MakeFrustum(TqLFrustum3f::ePERSPECTIVE, 4.0, 2.0, 1.0), 1.0);
    TqOcTravFrustum state;
    state.Narrow(parent, 0.0, 0.5, 0.0, 0.5);
    EXPECT_EQ(state.GetDistToInvPixelConv(), 0.0);
}

// ---- Value --------------------------------------------------------------------------------------

TEST(TqOcTravFrustum, IsAPlainValue)
{
    static_assert(!std::is_polymorphic_v<TqOcTravFrustum>);
    static_assert(std::is_trivially_destructible_v<TqOcTravFrustum>);
    TqOcTravFrustum const state = MakeState(TqLFrustum3f(4.0, 2.0, 1.0, 100.0), 3.0, 640, 480);
    TqOcTravFrustum const copied(state);
    TqOcTravFrustum assigned;
    assigned = state;
    for (TqOcTravFrustum const* copy : {&copied, &std::as_const(assigned)}) {
        EXPECT_EQ(copy->GetFrustum().GetWidth(), 4.0);
        EXPECT_TRUE(IsSameMatrix(copy->GetViewCullMatrix(), state.GetViewCullMatrix()));
        EXPECT_EQ(copy->GetAreaToPixelConv(), state.GetAreaToPixelConv());
        EXPECT_EQ(copy->GetXToPixelConv(), state.GetXToPixelConv());
        EXPECT_EQ(copy->GetYToPixelConv(), state.GetYToPixelConv());
        EXPECT_EQ(copy->GetDistToInvPixelConv(), state.GetDistToInvPixelConv());
    }
}

TEST(TqOcTravFrustum, StartsWithTheDefaultFrustum)
{
    TqOcTravFrustum const state;
    EXPECT_EQ(state.GetFrustum().GetWidth(), TqLFrustum3f().GetWidth());
    EXPECT_TRUE(IsSameMatrix(state.GetFrustum().GetMatrix(), TqLFrustum3f().GetMatrix()));
    EXPECT_TRUE(IsSameMatrix(state.GetViewCullMatrix(), TqLMatrix4f()));
}
