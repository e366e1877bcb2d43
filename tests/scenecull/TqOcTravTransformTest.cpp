// The transform state of one level: world to local and back, and the clip planes in local space.

#include "scenecull/TqOcTravTransform.h"

#include "support/PostedErrors.h"

#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace
{

bool IsSameAffine(TqLAffine3f const& a, TqLAffine3f const& b)
{
    return std::memcmp(a.Data(), b.Data(), 12 * sizeof(double)) == 0;
}

bool IsSamePlane(TqLPlane3f const& a, TqLPlane3f const& b)
{
    for (int i = 0; i < 3; ++i) {
        double const x = a.GetNormal()[i];
        double const y = b.GetNormal()[i];
        if (std::memcmp(&x, &y, sizeof(double)) != 0) {
            return false;
        }
    }
    double const x = a.GetDistance();
    double const y = b.GetDistance();
    return std::memcmp(&x, &y, sizeof(double)) == 0;
}

TqLPlane3f MakePlane(double x, double y, double z, double distance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(x, y, z);
    return TqLPlane3f(normal, distance);
}

std::array<TqLPlane3f, 6> MakeSixPlanes()
{
    return {MakePlane(1, 0, 0, 12), MakePlane(0, 1, 0, -5),    MakePlane(0, 0, 1, 0.125),
            MakePlane(-1, 0, 0, 3), MakePlane(0, 0.6, 0.8, 7), MakePlane(0.8, 0, -0.6, 1)};
}

TqLAffine3f MakeTranslation(double x, double y, double z)
{
    return TqLAffine3f::Translation(TqLVec3f(x, y, z));
}

/// Turns, scales unevenly and moves.
TqLAffine3f MakeGeneral()
{
    TqLUnitVec3f const axis(TqLVec3f(1.0, 2.0, 3.0));
    return TqLAffine3f::Scale(2.0, 3.0, 0.5) * TqLAffine3f::Rotation(axis, 0.7) *
           MakeTranslation(10.0, -20.0, 5.0);
}

} // namespace

// ---- Root level ---------------------------------------------------------------------------------

TEST(TqOcTravTransform, StartsWithTheIdentity)
{
    TqOcTravTransform const state;
    EXPECT_TRUE(IsSameAffine(state.GetToWorld(), TqLAffine3f()));
    EXPECT_TRUE(IsSameAffine(state.GetFromWorld(), TqLAffine3f()));
    EXPECT_NE(state.GetClipPlanes(), nullptr);
}

TEST(TqOcTravTransform, LeavesClipPlanesBitForBitUnderTheIdentity)
{
    std::array<TqLPlane3f, 6> planes = MakeSixPlanes();
    planes[1] = MakePlane(-0.0, 2.0, 0.0, -0.0); // neither normalised nor without its signs
    planes[2] = MakePlane(0.0, 0.0, 1.0, std::numeric_limits<double>::quiet_NaN());
    planes[3] = MakePlane(0.0, 0.0, 0.0, std::numeric_limits<double>::infinity());
    for (int count = 0; count <= 6; ++count) {
        SCOPED_TRACE(count);
        TqOcTravTransform const state(TqLAffine3f(), planes.data(), count);
        EXPECT_EQ(state.GetNumClipPlanes(), count);
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(IsSamePlane(state.GetClipPlanes()[i], planes[static_cast<std::size_t>(i)]))
                << i;
        }
        EXPECT_TRUE(IsSameAffine(state.GetToWorld(), TqLAffine3f()));
        EXPECT_TRUE(IsSameAffine(state.GetFromWorld(), TqLAffine3f()));
    }
}

TEST(TqOcTravTransform, MovesClipPlanesByTheInverseOfATranslation)
{
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqOcTravTransform const state(MakeTranslation(10.0, 20.0, 30.0), planes.data(), 6);
    double const distances[] = {
        12 - 10, -5 - 20, 0.125 - 30, 3 + 10, 7 - (0.6 * 20 + 0.8 * 30), 1 - (0.8 * 10 - 0.6 * 30)};
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(state.GetClipPlanes()[i].GetNormal(),
                  planes[static_cast<std::size_t>(i)].GetNormal());
        EXPECT_DOUBLE_EQ(state.GetClipPlanes()[i].GetDistance(), distances[i]);
    }
    EXPECT_EQ(TqLPos3f(1, 2, 3) * state.GetToWorld(), TqLPos3f(11, 22, 33));
    EXPECT_EQ(TqLPos3f(11, 22, 33) * state.GetFromWorld(), TqLPos3f(1, 2, 3));
}

TEST(TqOcTravTransform, TakesInverseAndPlanesOfTheGeometryForAnyOtherTransform)
{
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqLAffine3f const toWorld = MakeGeneral();
    TqOcTravTransform const state(toWorld, planes.data(), 5);
    EXPECT_TRUE(IsSameAffine(state.GetToWorld(), toWorld));
    EXPECT_TRUE(IsSameAffine(state.GetFromWorld(), toWorld.Inverse()));
    EXPECT_EQ(state.GetNumClipPlanes(), 5);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(IsSamePlane(state.GetClipPlanes()[i], planes[i].TransformedByInverse(toWorld)))
            << i;
    }
}

TEST(TqOcTravTransform, KeepsTheSideOfEveryPoint)
{
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqOcTravTransform const state(MakeGeneral(), planes.data(), 6);
    for (int i = 0; i < 6; ++i) {
        for (int k = 0; k < 50; ++k) {
            TqLPos3f const local(std::sin(k * 1.1) * 9, std::sin(k * 2.3) * 9, std::cos(k) * 9);
            TqLPos3f const world = local * state.GetToWorld();
            EXPECT_EQ(state.GetClipPlanes()[i].IsInHalfspace(local),
                      planes[static_cast<std::size_t>(i)].IsInHalfspace(world))
                << "plane " << i << " point " << k;
        }
    }
}

TEST(TqOcTravTransform, TouchesNoPlaneWhenThereIsNone)
{
    TqLPlane3f const untouched = TqOcTravTransform().GetClipPlanes()[0];
    for (TqLAffine3f const& affine : {TqLAffine3f(), MakeGeneral()}) {
        TqOcTravTransform const none(affine, nullptr, 0);
        EXPECT_EQ(none.GetNumClipPlanes(), 0);
        EXPECT_TRUE(IsSamePlane(none.GetClipPlanes()[0], untouched));
        TqOcTravTransform const negative(affine, nullptr, -3);
        EXPECT_LT(negative.GetNumClipPlanes(), 1);
        EXPECT_TRUE(IsSamePlane(negative.GetClipPlanes()[0], untouched));
        TqOcTravTransform child;
        child.Transform(negative, MakeGeneral());
        EXPECT_LT(child.GetNumClipPlanes(), 1);
    }
}

// ---- Child level --------------------------------------------------------------------------------

TEST(TqOcTravTransform, PutsTheNodesTransformOnTheLeft)
{
    TqLPlane3f const plane = MakePlane(1, 0, 0, 12); // x >= 12 in the world
    TqOcTravTransform const parent(MakeTranslation(10.0, 0.0, 0.0), &plane, 1);
    TqOcTravTransform child;
    child.Transform(parent, TqLAffine3f::Scale(2.0));
    // First the node's own scale, then the parent's translation.
    EXPECT_EQ(TqLPos3f(3, 4, 5) * child.GetToWorld(), TqLPos3f(16, 8, 10));
    EXPECT_EQ(TqLPos3f(16, 8, 10) * child.GetFromWorld(), TqLPos3f(3, 4, 5));
    ASSERT_EQ(child.GetNumClipPlanes(), 1);
    EXPECT_DOUBLE_EQ(child.GetClipPlanes()[0].DistanceFromPlane(TqLPos3f(1, 0, 0)), 0.0);
    EXPECT_DOUBLE_EQ(child.GetClipPlanes()[0].DistanceFromPlane(TqLPos3f(2, 0, 0)), 1.0);
}

TEST(TqOcTravTransform, MultipliesAndInvertsAsWritten)
{
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqOcTravTransform const parent(MakeGeneral(), planes.data(), 6);
    TqLAffine3f const affine = TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f(0, 1, 1)), 1.1) *
                               MakeTranslation(1.0, 2.0, 3.0);
    TqOcTravTransform child;
    child.Transform(parent, affine);
    EXPECT_TRUE(IsSameAffine(child.GetToWorld(), affine * parent.GetToWorld()));
    EXPECT_TRUE(IsSameAffine(child.GetFromWorld(), parent.GetFromWorld() * affine.Inverse()));
    EXPECT_EQ(child.GetNumClipPlanes(), 6);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(IsSamePlane(child.GetClipPlanes()[i],
                                parent.GetClipPlanes()[i].TransformedByInverse(affine)))
            << i;
    }
}

TEST(TqOcTravTransform, TakesNoShortCutForAnIdentityNode)
{
    // A product turns the sign of a zero, which a copy would keep.
    TqLAffine3f toWorld = TqLAffine3f::Scale(2.0);
    toWorld[3][0] = -0.0;
    TqLPlane3f const plane = MakePlane(1, 0, 0, 12);
    TqOcTravTransform const parent(toWorld, &plane, 1);
    ASSERT_TRUE(std::signbit(parent.GetToWorld()[3][0]));
    TqOcTravTransform child;
    child.Transform(parent, TqLAffine3f());
    EXPECT_FALSE(std::signbit(child.GetToWorld()[3][0]));
    EXPECT_TRUE(IsSameAffine(child.GetToWorld(), TqLAffine3f() * parent.GetToWorld()));
    EXPECT_TRUE(
        IsSameAffine(child.GetFromWorld(), parent.GetFromWorld() * TqLAffine3f().Inverse()));
    EXPECT_TRUE(IsSamePlane(child.GetClipPlanes()[0],
                            parent.GetClipPlanes()[0].TransformedByInverse(TqLAffine3f())));
}

TEST(TqOcTravTransform, LeavesClipPlanesBitForBitUnderAnIdentityNode)
{
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqOcTravTransform const parent(TqLAffine3f(), planes.data(), 6);
    TqOcTravTransform child;
    child.Transform(parent, TqLAffine3f());
    EXPECT_TRUE(child.GetToWorld().IsIdentity());
    EXPECT_TRUE(child.GetFromWorld().IsIdentity());
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(child.GetClipPlanes()[i], planes[i]) << i;
    }
}

TEST(TqOcTravTransform, StaysUsableUnderATransformThatCannotBeInverted)
{
    PostedErrors posted;
    TqLPlane3f const plane = MakePlane(1, 0, 0, 12);
    TqOcTravTransform const parent(MakeTranslation(10.0, 0.0, 0.0), &plane, 1);
    TqOcTravTransform child;
    child.Transform(parent, TqLAffine3f::Scale(0.0));
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].component, "TqLMatrix");
    EXPECT_TRUE(IsSameAffine(child.GetFromWorld(), parent.GetFromWorld()));
    EXPECT_EQ(TqLPos3f(3, 4, 5) * child.GetToWorld(), TqLPos3f(10, 0, 0));
}

// ---- Value --------------------------------------------------------------------------------------

TEST(TqOcTravTransform, IsAPlainValue)
{
    static_assert(!std::is_polymorphic_v<TqOcTravTransform>);
    static_assert(std::is_trivially_destructible_v<TqOcTravTransform>);
    std::array<TqLPlane3f, 6> const planes = MakeSixPlanes();
    TqOcTravTransform const state(MakeGeneral(), planes.data(), 4);
    TqOcTravTransform const copied(state);
    TqOcTravTransform assigned(TqLAffine3f(), planes.data(), 6);
    assigned = state;
    TqOcTravTransform const& itself = assigned;
    assigned = itself;
    for (TqOcTravTransform const* copy : {&copied, &std::as_const(assigned)}) {
        EXPECT_TRUE(IsSameAffine(copy->GetToWorld(), state.GetToWorld()));
        EXPECT_TRUE(IsSameAffine(copy->GetFromWorld(), state.GetFromWorld()));
        EXPECT_EQ(copy->GetNumClipPlanes(), 4);
        for (int i = 0; i < 4; ++i) {
            EXPECT_TRUE(IsSamePlane(copy->GetClipPlanes()[i], state.GetClipPlanes()[i])) << i;
        }
    }
}
