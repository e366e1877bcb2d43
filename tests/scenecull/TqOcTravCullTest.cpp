// The cull tests of one level: local cull data, the frustum test of a box, and the projection of
// points to a rectangle on the screen.

#include "scenecull/TqOcTravCull.h"

#include "support/Recorders.h"

#include "scenecull/TqOcTraversal.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

constexpr double eINFINITY = std::numeric_limits<double>::infinity();
constexpr double eNAN = std::numeric_limits<double>::quiet_NaN();

/// A traversal that only counts.
class CountingTraversal : public TqOcTraversal
{
public:
    CountingTraversal() : TqOcTraversal(nullptr) { ResetStats(); }

    void StartTraversal(TqOcTraversable*) override {}

    void EndTraversal() override {}
};

TqLPlane3f MakePlane(double x, double y, double z, double distance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(x, y, z);
    return TqLPlane3f(normal, distance);
}

TqLFrustum3f FromElements(TqLFrustum3f::Type type, double const (&elements)[16])
{
    return TqLFrustum3f::FromMatrix(type, 2.0, 2.0, TqLMatrix4f(elements), MakePlane(0, 0, -1, 1.0),
                                    TqLPos3f(0, 0, 0));
}

/// Cull space is the space itself, with the weight 1: a parallel view of -1 to 1 on all axes.
TqLFrustum3f Parallel()
{
    return FromElements(TqLFrustum3f::ePARALLEL,
                        {1, 0, 0, 0, /**/ 0, 1, 0, 0, /**/ 0, 0, 1, 0, /**/ 0, 0, 0, 1});
}

/// The eye in the origin looks along -z, 90 degrees wide and high, near plane at 1, no far plane:
/// c = (x, y, -z - 2), w = -z.
TqLFrustum3f Perspective()
{
    return FromElements(TqLFrustum3f::ePERSPECTIVE,
                        {1, 0, 0, 0, /**/ 0, 1, 0, 0, /**/ 0, 0, -1, -1, /**/ 0, 0, -2, 0});
}

/// Coordinate and weight change together: c_x = 2 x, w = x + 1, c_y = c_z = 0. Inside the x pair is
/// -1/3 <= x <= 1.
TqLFrustum3f Skewed()
{
    return FromElements(TqLFrustum3f::ePERSPECTIVE,
                        {2, 0, 0, 1, /**/ 0, 0, 0, 0, /**/ 0, 0, 0, 0, /**/ 0, 0, 0, 1});
}

/// c_x and c_y as the given axes have them and a weight of its own: c = (x, y, 0), w = z.
TqLFrustum3f Free()
{
    return FromElements(TqLFrustum3f::ePERSPECTIVE,
                        {1, 0, 0, 0, /**/ 0, 1, 0, 0, /**/ 0, 0, 0, 1, /**/ 0, 0, 0, 0});
}

/// A root cull with the states behind it.
struct Level
{
    TqOcContext context;
    TqOcTravFrustum frustum;
    TqOcTravTransform transform;
    TqOcTravCull cull;
    CountingTraversal traversal;

    explicit Level(TqLFrustum3f const& view, TqLAffine3f const& toWorld = TqLAffine3f())
        : frustum(view, &context, 1.0)
        , transform(toWorld, nullptr, 0)
        , cull(&frustum, &transform)
    {}

    Level(Level const&) = delete;
    Level& operator=(Level const&) = delete;

    int IsOutside(TqLBox3f const& box, int* cullBits)
    {
        return cull.IsOutside(&traversal, box, cullBits);
    }
};

struct Outcome
{
    int result;
    int bits;

    bool operator==(Outcome const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Outcome const& outcome)
{
    return out << "result " << outcome.result << " bits " << outcome.bits;
}

Outcome TestBox(Level& level, TqLBox3f const& box, int bits)
{
    int const result = level.IsOutside(box, &bits);
    return {result, bits};
}

/// A projection with everything that it answers; the rectangle starts as one that no case gives.
struct Area
{
    int result;
    int bits;
    double loX;
    double hiX;
    double loY;
    double hiY;

    bool operator==(Area const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Area const& area)
{
    return out << "result " << area.result << " bits " << area.bits << " x " << area.loX << " to "
               << area.hiX << " y " << area.loY << " to " << area.hiY;
}

constexpr double eUNWRITTEN = 77.0;

Area Project(Level& level, std::vector<TqLPos3f> const& points, int bits)
{
    TqLBox2f box(TqLPos2f(eUNWRITTEN, eUNWRITTEN), TqLPos2f(eUNWRITTEN, eUNWRITTEN));
    int const result = level.cull.CalcArea(&level.traversal, points.data(),
                                           static_cast<int>(points.size()), &bits, &box);
    return {result, bits, box.GetMin()[0], box.GetMax()[0], box.GetMin()[1], box.GetMax()[1]};
}

Area Culled(int bits)
{
    return {0, bits, eUNWRITTEN, eUNWRITTEN, eUNWRITTEN, eUNWRITTEN};
}

/// The x side of a projection of points (c, w), all with y = 0 and the y bit clear.
struct Side
{
    int result;
    int bits;
    double lo;
    double hi;

    bool operator==(Side const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Side const& side)
{
    return out << "result " << side.result << " bits " << side.bits << " x " << side.lo << " to "
               << side.hi;
}

struct Weighted
{
    double c;
    double w;
};

Side ProjectX(std::vector<Weighted> const& points, int bits)
{
    Level level(Free());
    std::vector<TqLPos3f> positions;
    for (Weighted const& point : points) {
        positions.emplace_back(point.c, 0.0, point.w);
    }
    Area const area = Project(level, positions, bits);
    return {area.result, area.bits, area.loX, area.hiX};
}

bool IsSameMatrix(TqLMatrix4f const& a, TqLMatrix4f const& b)
{
    return std::memcmp(a.Data(), b.Data(), 16 * sizeof(double)) == 0;
}

} // namespace

// ---- Local cull data ----------------------------------------------------------------------------

TEST(TqOcTravCull, TakesTheFrustumsOwnDataUnderTheIdentity)
{
    Level level(Perspective());
    EXPECT_EQ(level.cull.GetTravFrustum(), &level.frustum);
    EXPECT_EQ(level.cull.GetTravTransform(), &level.transform);
    EXPECT_EQ(std::as_const(level.cull).GetTravFrustum(), &level.frustum);
    EXPECT_EQ(std::as_const(level.cull).GetTravTransform(), &level.transform);
    EXPECT_EQ(level.cull.GetNearCullDistance(), 0.0);
    EXPECT_EQ(level.cull.GetNearPlane(), MakePlane(0, 0, -1, 1.0));
    EXPECT_EQ(level.cull.GetLocalEyePoint(), TqLPos3f(0, 0, 0));
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(level.cull.GetCullMatrix().Data()[i], Perspective().GetMatrix().Data()[i]) << i;
    }
}

TEST(TqOcTravCull, CarriesPlaneEyeAndMatrixIntoLocalSpace)
{
    Level level(Perspective(), TqLAffine3f::Translation(TqLVec3f(10, 20, 30)));
    EXPECT_EQ(level.cull.GetLocalEyePoint(), TqLPos3f(-10, -20, -30));
    EXPECT_EQ(level.cull.GetNearPlane(), MakePlane(0, 0, -1, 31.0));
    // The local point (x, y, z) lies at (x + 10, y + 20, z + 30) in the world.
    double const expected[16] = {1, 0, 0, 0, /**/ 0, 1, 0, 0, 0, 0, -1, -1, /**/ 10, 20, -32, -30};
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(level.cull.GetCullMatrix().Data()[i], expected[i]) << i;
    }
}

TEST(TqOcTravCull, DerivesItsDataAsWrittenForAnyTransform)
{
    TqLAffine3f const toWorld = TqLAffine3f::Scale(2.0, 3.0, 0.5) *
                                TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f(1, 2, 3)), 0.7) *
                                TqLAffine3f::Translation(TqLVec3f(10, 20, 30));
    TqLFrustum3f const view = TqLFrustum3f::Perspective(TqLPos3f(1, 2, 3), TqLVec3f(1, 1, 0),
                                                        TqLVec3f(0, 0, 1), 1.0, 1.5, 0.5, 1000.0);
    Level level(view, toWorld);
    EXPECT_EQ(level.cull.GetNearPlane(), view.GetNearPlane().TransformedByInverse(toWorld));
    EXPECT_TRUE(IsSameMatrix(level.cull.GetCullMatrix(), TqLMatrix4f(toWorld) * view.GetMatrix()));
    EXPECT_EQ(level.cull.GetLocalEyePoint(), view.GetViewpoint() * toWorld.Inverse());
}

TEST(TqOcTravCull, PassesTheValuesOfItsStatesThrough)
{
    TqOcContext context;
    TqLPlane3f const planes[] = {MakePlane(1, 0, 0, 1), MakePlane(0, 1, 0, 2)};
    TqOcTravFrustum frustum(TqLFrustum3f(4, 2, 1, 100), &context, 3.0);
    TqOcTravTransform transform(TqLAffine3f::Translation(TqLVec3f(1, 2, 3)), planes, 2);
    TqOcTravCull const cull(&frustum, &transform);
    EXPECT_EQ(&cull.GetFrustum(), &frustum.GetFrustum());
    EXPECT_EQ(&cull.GetViewCullMatrix(), &frustum.GetViewCullMatrix());
    EXPECT_EQ(cull.GetAreaToPixelConv(), frustum.GetAreaToPixelConv());
    EXPECT_EQ(cull.GetXToPixelConv(), frustum.GetXToPixelConv());
    EXPECT_EQ(cull.GetYToPixelConv(), frustum.GetYToPixelConv());
    EXPECT_EQ(cull.GetDistToInvPixelConv(), frustum.GetDistToInvPixelConv());
    EXPECT_EQ(&cull.GetToWorld(), &transform.GetToWorld());
    EXPECT_EQ(&cull.GetFromWorld(), &transform.GetFromWorld());
    EXPECT_EQ(cull.GetNumClipPlanes(), 2);
    EXPECT_EQ(cull.GetClipPlanes(), transform.GetClipPlanes());
}

TEST(TqOcTravCull, NarrowsWithTheParentsTransformAndANewNearCullDistance)
{
    Level parent(Perspective(), TqLAffine3f::Translation(TqLVec3f(10, 20, 30)));
    TqOcTravFrustum narrowed;
    narrowed.Narrow(parent.frustum, 0.0, 0.5, 0.0, 0.5);
    Level other(Parallel());
    TqOcTravCull cull(other.cull);
    cull.Narrow(parent.cull, &narrowed, 4.5);
    EXPECT_EQ(cull.GetTravFrustum(), &narrowed);
    EXPECT_EQ(cull.GetTravTransform(), &parent.transform);
    EXPECT_EQ(cull.GetNearCullDistance(), 4.5);
    EXPECT_EQ(cull.GetLocalEyePoint(), TqLPos3f(-10, -20, -30));
    EXPECT_TRUE(IsSameMatrix(cull.GetCullMatrix(), TqLMatrix4f(parent.transform.GetToWorld()) *
                                                       narrowed.GetViewCullMatrix()));
    EXPECT_EQ(cull.GetNearPlane(), parent.cull.GetNearPlane());
    EXPECT_EQ(parent.cull.GetNearCullDistance(), 0.0);
}

TEST(TqOcTravCull, TransformsWithTheParentsFrustumAndNearCullDistance)
{
    Level parent(Perspective());
    TqOcTravFrustum narrowed;
    narrowed.Narrow(parent.frustum, 0.0, 0.5, 0.0, 0.5);
    TqOcTravCull middle(parent.cull);
    middle.Narrow(parent.cull, &narrowed, 4.5);
    TqOcTravTransform moved;
    moved.Transform(parent.transform, TqLAffine3f::Translation(TqLVec3f(10, 20, 30)));
    Level other(Parallel());
    TqOcTravCull cull(other.cull);
    cull.Transform(middle, &moved);
    EXPECT_EQ(cull.GetTravFrustum(), &narrowed);
    EXPECT_EQ(cull.GetTravTransform(), &moved);
    EXPECT_EQ(cull.GetNearCullDistance(), 4.5);
    EXPECT_EQ(cull.GetLocalEyePoint(), TqLPos3f(-10, -20, -30));
    EXPECT_EQ(cull.GetNearPlane(), MakePlane(0, 0, -1, 31.0));
    EXPECT_TRUE(IsSameMatrix(cull.GetCullMatrix(),
                             TqLMatrix4f(moved.GetToWorld()) * narrowed.GetViewCullMatrix()));
}

TEST(TqOcTravCull, CopiesThePointersAndNotTheStates)
{
    Level level(Perspective());
    Level other(Parallel());
    TqOcTravCull const copied(level.cull);
    TqOcTravCull assigned(other.cull);
    assigned = level.cull;
    for (TqOcTravCull const* copy : {&copied, &std::as_const(assigned)}) {
        EXPECT_EQ(copy->GetTravFrustum(), &level.frustum);
        EXPECT_EQ(copy->GetTravTransform(), &level.transform);
        EXPECT_TRUE(IsSameMatrix(copy->GetCullMatrix(), level.cull.GetCullMatrix()));
        EXPECT_EQ(copy->GetNearPlane(), level.cull.GetNearPlane());
    }
    static_assert(!std::is_polymorphic_v<TqOcTravCull>);
}

// ---- Frustum test -------------------------------------------------------------------------------

TEST(TqOcTravCull, CountsEveryFrustumTestWhateverItsOutcome)
{
    Level level(Perspective());
    TqLBox3f const boxes[] = {MakeCube(0, 0, -5, 1), MakeCube(0, 0, 5, 1), MakeCube(100, 0, -5, 1),
                              MakeCube(5, 0, -5, 1)};
    unsigned int count = 0;
    for (TqLBox3f const& box : boxes) {
        for (int bits = 0; bits < 8; ++bits) {
            TestBox(level, box, bits);
            EXPECT_EQ(level.traversal.GetNumFrustumCullTests(), ++count);
        }
    }
    EXPECT_EQ(level.traversal.GetNumAreaCullTests(), 0u);
}

TEST(TqOcTravCull, FindsNothingOutsideWhenNoBitIsLeftButCountsTheTest)
{
    Level level(Perspective());
    EXPECT_EQ(TestBox(level, MakeCube(100, 100, -5, 1), 0), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(level, MakeCube(0, 0, 100, 1), 0), (Outcome{0, 0}));
    EXPECT_EQ(level.traversal.GetNumFrustumCullTests(), 2u);
}

TEST(TqOcTravCull, FindsABoxBehindTheEyeOutsideWhicheverBitIsSet)
{
    Level level(Perspective());
    for (int bits = 1; bits < 8; ++bits) {
        SCOPED_TRACE(bits);
        EXPECT_EQ(TestBox(level, MakeBox(-1, -1, 1, 1, 1, 2), bits), (Outcome{1, bits}));
    }
}

TEST(TqOcTravCull, GoesOnWithABoxThatTouchesThePlaneOfTheEye)
{
    Level level(Perspective());
    // Its nearest face has the weight 0, which is not behind; only the z pair rejects it.
    TqLBox3f const box = MakeBox(-0.5, -0.5, 0, 0.5, 0.5, 2);
    EXPECT_EQ(TestBox(level, box, 1), (Outcome{0, 1}));
    EXPECT_EQ(TestBox(level, box, 2), (Outcome{0, 2}));
    EXPECT_EQ(TestBox(level, box, 3), (Outcome{0, 3}));
    EXPECT_EQ(TestBox(level, box, 4), (Outcome{1, 4}));
}

TEST(TqOcTravCull, CountsABoxThatTouchesAPlaneFromInsideAsInside)
{
    Level parallel(Parallel());
    EXPECT_EQ(TestBox(parallel, MakeBox(-1, -1, -1, 1, 1, 1), 7), (Outcome{0, 0}));
    double const above = std::nextafter(1.0, 2.0);
    EXPECT_EQ(TestBox(parallel, MakeBox(-1, -1, -1, above, 1, 1), 7), (Outcome{0, 1}));
    EXPECT_EQ(TestBox(parallel, MakeBox(-1, -above, -1, 1, 1, 1), 7), (Outcome{0, 2}));
    EXPECT_EQ(TestBox(parallel, MakeBox(-1, -1, -1, 1, 1, above), 7), (Outcome{0, 4}));
    Level perspective(Perspective());
    EXPECT_EQ(TestBox(perspective, MakeBox(-2, -2, -3, 2, 2, -2), 7), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(perspective, MakeBox(-1, -1, -3, 1, 1, -1), 7), (Outcome{0, 0}));
}

TEST(TqOcTravCull, KeepsABoxThatTouchesAPlaneFromOutside)
{
    Level level(Parallel());
    double const above = std::nextafter(1.0, 2.0);
    for (int axis = 0; axis < 3; ++axis) {
        for (double sign : {-1.0, 1.0}) {
            SCOPED_TRACE(testing::Message() << "axis " << axis << " sign " << sign);
            TqLPos3f min(-0.5, -0.5, -0.5);
            TqLPos3f max(0.5, 0.5, 0.5);
            int const bit = 1 << axis;
            (sign > 0 ? min : max)[axis] = sign;
            (sign > 0 ? max : min)[axis] = sign * 2;
            EXPECT_EQ(TestBox(level, TqLBox3f(min, max), bit), (Outcome{0, bit}));
            (sign > 0 ? min : max)[axis] = sign * above;
            EXPECT_EQ(TestBox(level, TqLBox3f(min, max), bit), (Outcome{1, bit}));
        }
    }
}

TEST(TqOcTravCull, LeavesBitsClearedThatItClearedBeforeFindingTheBoxOutside)
{
    Level level(Parallel());
    // Inside x, outside y.
    EXPECT_EQ(TestBox(level, MakeBox(-0.5, 2, -0.5, 0.5, 3, 0.5), 7), (Outcome{1, 6}));
    // Inside x and y, outside z.
    EXPECT_EQ(TestBox(level, MakeBox(-0.5, -0.5, 2, 0.5, 0.5, 3), 7), (Outcome{1, 4}));
    // Across x, outside y: the pairs behind are not tested.
    EXPECT_EQ(TestBox(level, MakeBox(-2, 2, -0.5, 0.5, 3, 0.5), 7), (Outcome{1, 7}));
    // Outside x at once.
    EXPECT_EQ(TestBox(level, MakeBox(2, -0.5, -0.5, 3, 0.5, 0.5), 7), (Outcome{1, 7}));
}

TEST(TqOcTravCull, KeepsTheBitOfAPlaneThatTheBoxStraddles)
{
    Level level(Parallel());

    struct Case
    {
        char const* name;
        TqLBox3f box;
        int bits;
    };

    Case const cases[] = {
        {"left", MakeBox(-2, -0.5, -0.5, 0, 0.5, 0.5), 1},
        {"right", MakeBox(0, -0.5, -0.5, 2, 0.5, 0.5), 1},
        {"left and right", MakeBox(-2, -0.5, -0.5, 2, 0.5, 0.5), 1},
        {"bottom", MakeBox(-0.5, -2, -0.5, 0.5, 0, 0.5), 2},
        {"top", MakeBox(-0.5, 0, -0.5, 0.5, 2, 0.5), 2},
        {"near", MakeBox(-0.5, -0.5, -2, 0.5, 0.5, 0), 4},
        {"far", MakeBox(-0.5, -0.5, 0, 0.5, 0.5, 2), 4},
        {"a corner", MakeBox(0, 0, 0, 2, 2, 2), 7},
        {"all", MakeBox(-9, -9, -9, 9, 9, 9), 7},
        {"none", MakeBox(-0.5, -0.5, -0.5, 0.5, 0.5, 0.5), 0},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(TestBox(level, one.box, 7), (Outcome{0, one.bits}));
    }
}

TEST(TqOcTravCull, TestsOnlyThePairsWhoseBitIsSet)
{
    Level level(Parallel());
    TqLBox3f const outsideX = MakeBox(2, -0.5, 0, 3, 0.5, 5);
    EXPECT_EQ(TestBox(level, outsideX, 6), (Outcome{0, 4}));
    EXPECT_EQ(TestBox(level, outsideX, 4), (Outcome{0, 4}));
    EXPECT_EQ(TestBox(level, outsideX, 2), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(level, outsideX, 3), (Outcome{1, 3}));
}

TEST(TqOcTravCull, LeavesBitsAloneThatStandForNoPair)
{
    Level level(Parallel());
    EXPECT_EQ(TestBox(level, MakeCube(0, 0, 0, 0.5), 0xFF), (Outcome{0, 0xF8}));
    EXPECT_EQ(TestBox(level, MakeCube(0, 0, 0, 2), 0xF8), (Outcome{0, 0xF8}));
}

TEST(TqOcTravCull, DecidesByCornersWhereTheIntervalCannot)
{
    Level level(Skewed());
    // c in 4..20, w in 3..11: the ends alone could be inside, but every corner has c > w.
    EXPECT_EQ(TestBox(level, MakeBox(2, 0, 0, 10, 1, 1), 1), (Outcome{1, 1}));
    // c in 0..1.8, w in 1..1.9: the ends alone could be outside, but no corner is.
    EXPECT_EQ(TestBox(level, MakeBox(0, 0, 0, 0.9, 1, 1), 1), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(level, MakeBox(0, 0, 0, 1, 1, 1), 1), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(level, MakeBox(0, 0, 0, 1.25, 1, 1), 1), (Outcome{0, 1}));
    // On the low side: c < -w below -1/3.
    EXPECT_EQ(TestBox(level, MakeBox(-0.9, 0, 0, -0.4, 1, 1), 1), (Outcome{1, 1}));
    EXPECT_EQ(TestBox(level, MakeBox(-0.9, 0, 0, -0.3, 1, 1), 1), (Outcome{0, 1}));
}

TEST(TqOcTravCull, TestsBoxesAcrossThePlaneOfTheEye)
{
    Level level(Perspective());
    // To the right of everything that is seen on either side of the eye.
    EXPECT_EQ(TestBox(level, MakeBox(5, -1, -2, 6, 1, 2), 1), (Outcome{1, 1}));
    EXPECT_EQ(TestBox(level, MakeBox(1, -1, -2, 1.5, 1, 2), 1), (Outcome{0, 1}));
    EXPECT_EQ(TestBox(level, MakeBox(-1, -1, -2, 1, 1, 2), 7), (Outcome{0, 7}));
}

TEST(TqOcTravCull, TestsLocalBoxesUnderATransform)
{
    Level level(Parallel(), TqLAffine3f::Scale(2.0) * TqLAffine3f::Translation(TqLVec3f(10, 0, 0)));
    // Local x of -5.5 to -4.5 is -1 to 1 in the world.
    EXPECT_EQ(TestBox(level, MakeBox(-5.5, -0.5, -0.5, -4.5, 0.5, 0.5), 7), (Outcome{0, 0}));
    EXPECT_EQ(TestBox(level, MakeBox(-5.5, -0.5, -0.5, -4, 0.5, 0.5), 7), (Outcome{0, 1}));
    EXPECT_EQ(TestBox(level, MakeBox(-1, -0.5, -0.5, 1, 0.5, 0.5), 7), (Outcome{1, 7}));
}

TEST(TqOcTravCull, AgreesWithItsEightCornersOnRandomBoxes)
{
    constexpr unsigned int eSEED = 20240611;
    std::mt19937 random(eSEED);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    int numOutside = 0;
    int numCleared = 0;
    for (int round = 0; round < 4000; ++round) {
        TqLAffine3f const toWorld =
            TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f(unit(random), unit(random), 1.0)),
                                  3.0 * unit(random)) *
            TqLAffine3f::Translation(TqLVec3f(unit(random), unit(random), 2.0 * unit(random)));
        Level level(Perspective(), toWorld);
        TqLPos3f const center(4 * unit(random), 4 * unit(random), 4 * unit(random));
        TqLBox3f box(center, center);
        for (int i = 0; i < 3; ++i) {
            double const size = std::abs(unit(random));
            box.ExtendBy(TqLPos3f(center[0] + (i == 0 ? size : 0.0),
                                  center[1] + (i == 1 ? size : 0.0),
                                  center[2] + (i == 2 ? size : 0.0)));
        }
        int expectedBits = 7;
        int expected = 0;
        bool isBehind = true;
        for (int corner = 0; corner < 8; ++corner) {
            TqLPos3f const world = box.GetCorner(corner) * toWorld;
            isBehind = isBehind && -world[2] < 0.0;
        }
        expected = isBehind ? 1 : 0;
        for (int axis = 0; axis < 3 && expected == 0; ++axis) {
            int all = 3;
            int any = 0;
            for (int corner = 0; corner < 8; ++corner) {
                TqLPos3f const world = box.GetCorner(corner) * toWorld;
                double const w = -world[2];
                double const c = axis == 2 ? -world[2] - 2.0 : world[axis];
                int const code = (-w > c ? 1 : 0) | (c > w ? 2 : 0);
                all &= code;
                any |= code;
            }
            expected = all != 0 ? 1 : 0;
            expectedBits &= any == 0 ? ~(1 << axis) : ~0;
        }
        numOutside += expected;
        numCleared += expectedBits != 7 ? 1 : 0;
        ASSERT_EQ(TestBox(level, box, 7), (Outcome{expected, expectedBits}))
            << "seed " << eSEED << " round " << round;
    }
    EXPECT_GT(numOutside, 400); // the boxes are a fair mix
    EXPECT_LT(numOutside, 3800);
    EXPECT_GT(numCleared, 100);
}

TEST(TqOcTravCull, FindsNoBadBoxOutside)
{
    Level parallel(Parallel());
    Level perspective(Perspective());
    for (Level* level : {&parallel, &perspective}) {
        EXPECT_EQ(TestBox(*level, MakeBox(eNAN, eNAN, eNAN, eNAN, eNAN, eNAN), 7).result, 0);
        EXPECT_EQ(
            TestBox(*level,
                    MakeBox(-eINFINITY, -eINFINITY, -eINFINITY, eINFINITY, eINFINITY, eINFINITY), 7)
                .result,
            0);
    }
    EXPECT_EQ(TestBox(perspective, MakeBox(eNAN, -1, -3, eNAN, 1, -2), 7).result, 0);
}

// ---- Projection ---------------------------------------------------------------------------------

TEST(TqOcTravCull, CountsEveryAreaTestWhateverItsOutcome)
{
    Level level(Perspective());
    unsigned int count = 0;
    for (int bits = 0; bits < 8; ++bits) {
        Project(level, {TqLPos3f(0, 0, -1)}, bits);
        EXPECT_EQ(level.traversal.GetNumAreaCullTests(), ++count);
        Project(level, {TqLPos3f(0, 0, 1)}, bits);
        EXPECT_EQ(level.traversal.GetNumAreaCullTests(), ++count);
        Project(level, {TqLPos3f(9, 0, -1)}, bits);
        EXPECT_EQ(level.traversal.GetNumAreaCullTests(), ++count);
        Project(level, {}, bits);
        EXPECT_EQ(level.traversal.GetNumAreaCullTests(), ++count);
    }
    EXPECT_EQ(level.traversal.GetNumFrustumCullTests(), 0u);
}

TEST(TqOcTravCull, CullsPointsBehindTheEyeAndLeavesOnlyTheLowTwoBits)
{
    Level level(Perspective());
    std::vector<TqLPos3f> const behind = {TqLPos3f(0, 0, 1), TqLPos3f(1, 1, 2), TqLPos3f(0, 0, 0)};
    EXPECT_EQ(Project(level, behind, 7), Culled(3));
    EXPECT_EQ(Project(level, behind, 4), Culled(0));
    EXPECT_EQ(Project(level, behind, 5), Culled(1));
    EXPECT_EQ(Project(level, behind, 2), Culled(2));
    EXPECT_EQ(Project(level, behind, 0), Culled(0));
    EXPECT_EQ(Project(level, behind, 0xFF), Culled(3));
}

TEST(TqOcTravCull, CullsPointsOnThePlaneOfTheEye)
{
    Level level(Perspective());
    EXPECT_EQ(Project(level, {TqLPos3f(0.5, 0.5, 0)}, 7), Culled(3));
}

TEST(TqOcTravCull, CullsNoPointsAtAll)
{
    Level level(Parallel());
    EXPECT_EQ(Project(level, {}, 7), Culled(3));
    int bits = 7;
    TqLBox2f box;
    TqLPos3f const point(0, 0, 0);
    EXPECT_EQ(level.cull.CalcArea(&level.traversal, &point, -1, &bits, &box), 0);
    EXPECT_EQ(bits, 3);
}

TEST(TqOcTravCull, ProjectsToARectangleInCullSpace)
{
    Level level(Perspective());
    // Weights 1, 2 and 4.
    std::vector<TqLPos3f> const points = {TqLPos3f(0.5, -0.25, -1), TqLPos3f(-1, 1, -2),
                                          TqLPos3f(1, 3, -4)};
    EXPECT_EQ(Project(level, points, 7), (Area{1, 4, -0.5, 0.5, -0.25, 0.75}));
    EXPECT_EQ(Project(level, points, 0), (Area{1, 0, -0.5, 0.5, -0.25, 0.75}));
}

TEST(TqOcTravCull, UsesTheExactExtentOfAPairWhoseBitIsClear)
{
    Level level(Parallel());
    std::vector<TqLPos3f> const points = {TqLPos3f(0.25, 4, 0), TqLPos3f(-3, -7, 0),
                                          TqLPos3f(5, 0, 0), TqLPos3f(2, 0, 0)};
    EXPECT_EQ(Project(level, points, 0), (Area{1, 0, -3, 5, -7, 4}));
    EXPECT_EQ(Project(level, points, 4), (Area{1, 4, -3, 5, -7, 4}));
    EXPECT_EQ(Project(level, points, 2), (Area{1, 2, -3, 5, -1, 1}));
    EXPECT_EQ(Project(level, points, 1), (Area{1, 1, -1, 1, -7, 4}));
    EXPECT_EQ(Project(level, points, 3), (Area{1, 3, -1, 1, -1, 1}));
    Level perspective(Perspective());
    EXPECT_EQ(Project(perspective, {TqLPos3f(6, 0, -2), TqLPos3f(-10, 0, -4)}, 0),
              (Area{1, 0, -2.5, 3, 0, 0}));
}

TEST(TqOcTravCull, PinsTheRectangleToTheSideThatAPointLiesBeyond)
{
    EXPECT_EQ(ProjectX({{-2, 1}, {0.5, 1}}, 1), (Side{1, 1, -1.0, 0.5}));
    EXPECT_EQ(ProjectX({{0.25, 1}, {3, 1}}, 1), (Side{1, 1, 0.25, 1.0}));
    EXPECT_EQ(ProjectX({{-2, 1}, {3, 1}}, 1), (Side{1, 1, -1.0, 1.0}));
    EXPECT_EQ(ProjectX({{3, 1}, {-0.5, 1}, {-2, 1}}, 1), (Side{1, 1, -1.0, 1.0}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {0.25, 1}, {-8, 4}}, 1), (Side{1, 1, -1.0, 0.5}));
}

TEST(TqOcTravCull, ClearsTheBitOfAPairThatAllPointsLieInside)
{
    EXPECT_EQ(ProjectX({{-0.5, 1}, {0.5, 2}}, 1), (Side{1, 0, -0.5, 0.25}));
    EXPECT_EQ(ProjectX({{0.5, 1}}, 1), (Side{1, 0, 0.5, 0.5}));
    EXPECT_EQ(ProjectX({{0, 3}}, 1), (Side{1, 0, 0.0, 0.0}));
}

TEST(TqOcTravCull, CountsPointsOnAPlaneAsInside)
{
    EXPECT_EQ(ProjectX({{-1, 1}, {1, 1}}, 1), (Side{1, 0, -1.0, 1.0}));
    EXPECT_EQ(ProjectX({{2, 2}}, 1), (Side{1, 0, 1.0, 1.0}));
    EXPECT_EQ(ProjectX({{-2, 2}}, 1), (Side{1, 0, -1.0, -1.0}));
    EXPECT_EQ(ProjectX({{std::nextafter(1.0, 2.0), 1}}, 1), (Side{0, 1, eUNWRITTEN, eUNWRITTEN}));
}

TEST(TqOcTravCull, LeavesYAndTheRectangleUntouchedWhenAllPointsLieToTheRight)
{
    Level level(Perspective());
    std::vector<TqLPos3f> const points = {TqLPos3f(3, 0, -1), TqLPos3f(5, 0.5, -2)};
    EXPECT_EQ(Project(level, points, 7), Culled(7));
    EXPECT_EQ(Project(level, points, 1), Culled(1));
    EXPECT_EQ(Project(level, {TqLPos3f(-3, 0, -1)}, 7), Culled(7));
}

TEST(TqOcTravCull, LeavesTheXBitClearedWhenAllPointsLieAbove)
{
    Level level(Perspective());
    EXPECT_EQ(Project(level, {TqLPos3f(0, 3, -1), TqLPos3f(0.5, 5, -2)}, 7), Culled(6));
    EXPECT_EQ(Project(level, {TqLPos3f(0, -3, -1), TqLPos3f(9, -5, -2)}, 7), Culled(7));
}

TEST(TqOcTravCull, NeverTestsTheZPairInAProjection)
{
    Level level(Parallel());
    EXPECT_EQ(Project(level, {TqLPos3f(0, 0, 50)}, 7), (Area{1, 4, 0, 0, 0, 0}));
    EXPECT_EQ(Project(level, {TqLPos3f(0, 0, -50)}, 7), (Area{1, 4, 0, 0, 0, 0}));
    EXPECT_EQ(Project(level, {TqLPos3f(0, 0, 0)}, 0xF0 | 7), (Area{1, 0xF4, 0, 0, 0, 0}));
}

TEST(TqOcTravCull, StretchesTheRectangleToTheSideToWhichAPointBehindTheEyeWraps)
{
    // Before the eye, only 0.5. A point behind appears at c / w mirrored: left of 0.5 it stretches
    // to the right edge, right of it to the left edge.
    EXPECT_EQ(ProjectX({{0.5, 1}, {0, -1}}, 1), (Side{1, 1, 0.5, 1.0}));
    EXPECT_EQ(ProjectX({{0, -1}, {0.5, 1}}, 1), (Side{1, 1, 0.5, 1.0}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-0.75, -1}}, 1), (Side{1, 1, -1.0, 0.5}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-0.5, -1}}, 1), (Side{1, 1, 0.5, 0.5}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-0.75, -1}, {0, -1}}, 1), (Side{1, 1, -1.0, 1.0}));
    // One that appears between the ends of what lies before the eye wraps to both edges.
    EXPECT_EQ(ProjectX({{-0.5, 1}, {0.5, 1}, {0, -1}}, 1), (Side{1, 1, -1.0, 1.0}));
}

TEST(TqOcTravCull, StretchesTheOneSideThatIsNotPinnedYet)
{
    EXPECT_EQ(ProjectX({{-2, 1}, {0.5, 1}, {0, -1}}, 1), (Side{1, 1, -1.0, 1.0}));
    EXPECT_EQ(ProjectX({{2, 1}, {-0.5, 1}, {0, -1}}, 1), (Side{1, 1, -1.0, 1.0}));
}

TEST(TqOcTravCull, PinsASideByAPointBehindTheEyeThatLiesBeyondOnePlane)
{
    EXPECT_EQ(ProjectX({{0.5, 1}, {5, -1}}, 1), (Side{1, 1, 0.5, 1.0}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-5, -1}}, 1), (Side{1, 1, -1.0, 0.5}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {1, -1}}, 1), (Side{1, 1, 0.5, 1.0}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-1, -1}}, 1), (Side{1, 1, -1.0, 0.5}));
}

TEST(TqOcTravCull, CullsPointsBeyondOnePlaneTogetherWithPointsBehindTheEye)
{
    // A point behind the eye and between the planes is beyond both of them.
    EXPECT_EQ(ProjectX({{-2, 1}, {0, -1}}, 1), (Side{0, 1, eUNWRITTEN, eUNWRITTEN}));
    EXPECT_EQ(ProjectX({{0, -1}, {2, 1}}, 1), (Side{0, 1, eUNWRITTEN, eUNWRITTEN}));
    EXPECT_EQ(ProjectX({{-2, 1}, {0, -1}, {2, 1}}, 1), (Side{1, 1, -1.0, 1.0}));
}

TEST(TqOcTravCull, DoesNotDivideByAZeroWeightOfAPointInsideAPairStillToBeTested)
{
    EXPECT_EQ(ProjectX({{0.5, 1}, {0, 0}}, 1), (Side{1, 0, 0.5, 0.5}));
    EXPECT_EQ(ProjectX({{0, 0}, {0.5, 1}}, 1), (Side{1, 0, 0.5, 0.5}));
}

TEST(TqOcTravCull, StartsFromTheOppositeSidesOfTheWindow)
{
    // The point of weight 0 is inside and moves nothing, so one end is where it started.
    EXPECT_EQ(ProjectX({{0, 0}, {3, 1}}, 1), (Side{1, 1, 1.0, 1.0}));
    EXPECT_EQ(ProjectX({{0, 0}, {-3, 1}}, 1), (Side{1, 1, -1.0, -1.0}));
}

TEST(TqOcTravCull, LetsDivisionsByAZeroWeightStandWhereThePairNeedsNoTest)
{
    EXPECT_EQ(ProjectX({{0.5, 1}, {1, 0}}, 0), (Side{1, 0, 0.5, eINFINITY}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {-1, 0}}, 0), (Side{1, 0, -eINFINITY, 0.5}));
    EXPECT_EQ(ProjectX({{1, 0}, {0.5, 1}}, 0), (Side{1, 0, 0.5, eINFINITY}));
}

TEST(TqOcTravCull, ComparesPointsBehindTheEyeByTheirWeightsWhereThePairNeedsNoTest)
{
    // lo = hi = 0.5; then -1 * 0.5 > -2 sets lo = -2 / -1, as the comparisons stand.
    EXPECT_EQ(ProjectX({{0.5, 1}, {-2, -1}}, 0), (Side{1, 0, 2.0, 0.5}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {0, -1}}, 0), (Side{1, 0, 0.5, -0.0}));
}

TEST(TqOcTravCull, LeavesAnEndThatAPointBehindTheEyeMeetsExactly)
{
    // w lo == c, which moves nothing; then c > w hi moves the high end.
    EXPECT_EQ(ProjectX({{0.25, 1}, {0.5, 1}, {-0.25, -1}}, 0), (Side{1, 0, 0.25, 0.25}));
    EXPECT_EQ(ProjectX({{0.5, 1}, {0, 0}}, 0), (Side{1, 0, 0.5, 0.5}));
}

TEST(TqOcTravCull, ProjectsLocalPointsUnderATransform)
{
    Level level(Parallel(), TqLAffine3f::Scale(2.0) * TqLAffine3f::Translation(TqLVec3f(10, 0, 0)));
    EXPECT_EQ(Project(level, {TqLPos3f(-5.25, 0.125, 0), TqLPos3f(-4.75, 0.25, 0)}, 7),
              (Area{1, 4, -0.5, 0.5, 0.25, 0.5}));
}

TEST(TqOcTravCull, ProjectsAnyNumberOfPoints)
{
    for (int count : {49, 50, 51, 52, 99, 100, 101, 150, 1000}) {
        SCOPED_TRACE(count);
        std::vector<Weighted> points(static_cast<std::size_t>(count), Weighted{0.0, 1.0});
        points.back() = {-0.75, 1.0};
        points[points.size() / 2] = {0.5, 0.5};
        EXPECT_EQ(ProjectX(points, 0), (Side{1, 0, -0.75, 1.0}));
        EXPECT_EQ(ProjectX(points, 1), (Side{1, 0, -0.75, 1.0}));
        points.back() = {-4.0, 1.0};
        EXPECT_EQ(ProjectX(points, 0), (Side{1, 0, -4.0, 1.0}));
        EXPECT_EQ(ProjectX(points, 1), (Side{1, 1, -1.0, 1.0}));
    }
}

TEST(TqOcTravCull, FindsTheOnlyPointBeforeTheEyeAmongMany)
{
    for (int count : {51, 120, 1000}) {
        for (int place : {0, 25, 49, 50, count - 1}) {
            SCOPED_TRACE(testing::Message() << count << " points, at " << place);
            std::vector<Weighted> points(static_cast<std::size_t>(count), Weighted{0.0, -1.0});
            points[static_cast<std::size_t>(place)] = {0.5, 1.0};
            EXPECT_EQ(ProjectX(points, 1), (Side{1, 1, 0.5, 1.0}));
            points.assign(points.size(), Weighted{-0.75, -1.0});
            points[static_cast<std::size_t>(place)] = {0.5, 1.0};
            EXPECT_EQ(ProjectX(points, 1), (Side{1, 1, -1.0, 0.5}));
            // The last one behind the eye alone wraps to the other side.
            points[place == 0 ? points.size() - 1 : 0] = {0.0, -1.0};
            EXPECT_EQ(ProjectX(points, 1), (Side{1, 1, -1.0, 1.0}));
        }
    }
}

TEST(TqOcTravCull, CullsManyPointsLikeFew)
{
    Level level(Perspective());
    std::vector<TqLPos3f> points(200, TqLPos3f(0, 0, 1));
    EXPECT_EQ(Project(level, points, 7), Culled(3));
    points.assign(200, TqLPos3f(5, 0, -1));
    EXPECT_EQ(Project(level, points, 7), Culled(7));
    points.back() = TqLPos3f(0, 0, -1);
    EXPECT_EQ(Project(level, points, 7), (Area{1, 5, 0, 1, 0, 0}));
}

TEST(TqOcTravCull, SurvivesPointsThatAreNotNumbers)
{
    Level level(Perspective());
    EXPECT_EQ(Project(level, {TqLPos3f(eNAN, eNAN, eNAN)}, 7), Culled(3));
    EXPECT_EQ(Project(level, {TqLPos3f(0.5, 0.25, -1), TqLPos3f(0, 0, eNAN)}, 7),
              (Area{1, 4, 0.5, 0.5, 0.25, 0.25}));
}
