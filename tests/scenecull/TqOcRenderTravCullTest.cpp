// Culling and scoring of one node: clip planes, the eye plane, the frustum's sides, area and
// extent, the two distances, and the priority with its factors.
//
// The window is 2,048 pixels square, so that a length of 2^-10 in cull space is one pixel and the
// pixel counts below are exact.

#include "scenecull/TqOcRenderTravCull.h"

#include "support/Recorders.h"

#include "scenecull/TqOcRenderTraversal.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

constexpr double eINFINITY = std::numeric_limits<double>::infinity();
constexpr double eNAN = std::numeric_limits<double>::quiet_NaN();
constexpr double ePIXEL = 1.0 / 1024.0; ///< edge of a pixel in cull space
constexpr double eAREA_TO_PIXEL = 1024.0 * 1024.0;
constexpr double eUNWRITTEN = 12345.0; ///< what the data record holds before a call
constexpr unsigned int eFRAME = 77;
constexpr unsigned int eTRIS = 10;

TqLPlane3f MakePlane(double x, double y, double z, double distance)
{
    TqLUnitVec3f normal;
    normal.SetUnitValue(x, y, z);
    return TqLPlane3f(normal, distance);
}

TqLFrustum3f FromElements(TqLFrustum3f::Type type, double const (&elements)[16],
                          double nearDistance)
{
    return TqLFrustum3f::FromMatrix(type, 2.0, 2.0, TqLMatrix4f(elements),
                                    MakePlane(0, 0, -1, nearDistance), TqLPos3f(0, 0, 0));
}

/// Cull space is the space itself, with the weight 1; the distance of a point is -z.
TqLFrustum3f Parallel()
{
    return FromElements(TqLFrustum3f::ePARALLEL,
                        {1, 0, 0, 0, /**/ 0, 1, 0, 0, /**/ 0, 0, 1, 0, /**/ 0, 0, 0, 1}, 0.0);
}

/// The eye in the origin looks along -z, 90 degrees wide and high: c = (x, y, -z - 2), w = -z. The
/// near plane is at 1, so the distance of a point is -z - 1.
TqLFrustum3f Perspective()
{
    return FromElements(TqLFrustum3f::ePERSPECTIVE,
                        {1, 0, 0, 0, /**/ 0, 1, 0, 0, /**/ 0, 0, -1, -1, /**/ 0, 0, -2, 0}, 1.0);
}

/// Coordinate and weight change together: c_x = 2 x, c_y = y, w = x + 1. Inside the x pair is
/// -1/3 <= x <= 1.
TqLFrustum3f Skewed()
{
    return FromElements(TqLFrustum3f::ePERSPECTIVE,
                        {2, 0, 0, 1, /**/ 0, 1, 0, 0, /**/ 0, 0, 0, 0, /**/ 0, 0, 0, 1}, 0.0);
}

class SquareWindow : public RecordingContext
{
public:
    SquareWindow()
    {
        windowWidth = 2048;
        windowHeight = 2048;
    }
};

/// A render traversal that holds settings and counts, and walks nothing.
class ScoringTraversal : public TqOcRenderTraversal
{
public:
    explicit ScoringTraversal(TqOcContext* context) : TqOcRenderTraversal(context)
    {
        SetFrameId(eFRAME);
    }

protected:
    void StartRender(TqOcTraversable*) override {}

    int EndRender() override { return 1; }
};

/// Result of one call, and what it counted.
struct Score
{
    int result;
    TqOcRenderTravCullData data;
    unsigned int frustumTests;
    unsigned int areaTests;
    unsigned int frustumTris;
    unsigned int areaTris;
};

/// A root cull with everything that scoring reads.
struct View
{
    SquareWindow context;
    TqOcTravFrustum frustum;
    TqOcTravTransform transform;
    TqOcRenderTravCull cull;
    ScoringTraversal traversal;

    explicit View(TqLFrustum3f const& view, std::vector<TqLPlane3f> const& clipPlanes = {},
                  TqLAffine3f const& toWorld = TqLAffine3f(), double stress = 1.0)
        : frustum(view, &context, stress)
        , transform(toWorld, clipPlanes.data(), static_cast<int>(clipPlanes.size()))
        , cull(&frustum, &transform)
        , traversal(&context)
    {}

    View(View const&) = delete;
    View& operator=(View const&) = delete;

    /// Nodes wholly nearer to the near plane than this are culled.
    void SetNearCullDistance(double distance)
    {
        TqOcRenderTravCull const parent(cull);
        cull.Narrow(parent, &frustum, distance);
    }

    Score CalcPriority(TqOcTraversable& node, int cullBits = 7, int markCulled = 0)
    {
        traversal.ResetStats();
        Score score;
        score.data.cullBits = -1;
        score.data.priority = eUNWRITTEN;
        score.data.distance = eUNWRITTEN;
        score.data.screenBox =
            TqLBox2f(TqLPos2f(eUNWRITTEN, eUNWRITTEN), TqLPos2f(eUNWRITTEN, eUNWRITTEN));
        score.result = cull.CalcPriority(&traversal, markCulled, &node, cullBits, &score.data);
        score.frustumTests = traversal.GetNumFrustumCullTests();
        score.areaTests = traversal.GetNumAreaCullTests();
        score.frustumTris = traversal.GetTrisFrustumCulled();
        score.areaTris = traversal.GetTrisAreaCulled();
        return score;
    }
};

PlainTraversable MakeNode(TqLBox3f const& box,
                          TqLPrimitiveTypes::Enum primitives = TqLPrimitiveTypes::eTRIANGLES,
                          double scale = 1.0)
{
    return PlainTraversable(box, scale, eTRIS, primitives);
}

/// A rectangle of the given size in pixels, at the distance 3 to 4 of the parallel view.
PlainTraversable MakePixels(double width, double height,
                            TqLPrimitiveTypes::Enum primitives = TqLPrimitiveTypes::eTRIANGLES)
{
    return MakeNode(MakeBox(0, 0, -4, width * ePIXEL, height * ePIXEL, -3), primitives);
}

/// A visible box of the parallel view: 1 wide, 1/2 high, 3 to 4 away.
TqLBox3f VisibleBox()
{
    return MakeBox(-0.5, -0.25, -4, 0.5, 0.25, -3);
}

void ExpectRectangle(TqOcRenderTravCullData const& data, double x0, double y0, double x1, double y1)
{
    EXPECT_EQ(data.screenBox.GetMin()[0], x0);
    EXPECT_EQ(data.screenBox.GetMin()[1], y0);
    EXPECT_EQ(data.screenBox.GetMax()[0], x1);
    EXPECT_EQ(data.screenBox.GetMax()[1], y1);
}

/// Culled, and counted as culled by the frustum.
void ExpectFrustumCulled(Score const& score, int cullBits)
{
    EXPECT_EQ(score.result, 0);
    EXPECT_EQ(score.data.cullBits, cullBits);
    EXPECT_EQ(score.frustumTris, eTRIS);
    EXPECT_EQ(score.areaTris, 0U);
}

/// Culled without a counter of triangles.
void ExpectCulledUncounted(Score const& score)
{
    EXPECT_EQ(score.result, 0);
    EXPECT_EQ(score.frustumTris, 0U);
    EXPECT_EQ(score.areaTris, 0U);
}

// ---- The record ---------------------------------------------------------------------------------

TEST(TqOcRenderTravCullData, HoldsBitsPriorityDistanceAndRectangleInThisOrder)
{
    using Data = TqOcRenderTravCullData;
    static_assert(std::is_same_v<decltype(Data::cullBits), int>);
    static_assert(std::is_same_v<decltype(Data::priority), double>);
    static_assert(std::is_same_v<decltype(Data::distance), double>);
    static_assert(std::is_same_v<decltype(Data::screenBox), TqLBox2f>);
    EXPECT_EQ(offsetof(Data, cullBits), 0U);
    EXPECT_LT(offsetof(Data, cullBits), offsetof(Data, priority));
    EXPECT_LT(offsetof(Data, priority), offsetof(Data, distance));
    EXPECT_LT(offsetof(Data, distance), offsetof(Data, screenBox));
}

TEST(TqOcRenderTravCullData, IsCopiedAndAssignedMemberByMember)
{
    TqOcRenderTravCullData const source = {5, 1.5, 2.5,
                                           TqLBox2f(TqLPos2f(-1.0, -0.5), TqLPos2f(0.5, 1.0))};
    TqOcRenderTravCullData const copy(source);
    TqOcRenderTravCullData assigned = {};
    assigned = source;
    for (TqOcRenderTravCullData const* data : {&copy, static_cast<decltype(&copy)>(&assigned)}) {
        EXPECT_EQ(data->cullBits, 5);
        EXPECT_EQ(data->priority, 1.5);
        EXPECT_EQ(data->distance, 2.5);
        ExpectRectangle(*data, -1.0, -0.5, 0.5, 1.0);
    }
}

TEST(TqOcRenderTravCull, AddsNothingToItsBase)
{
    EXPECT_EQ(sizeof(TqOcRenderTravCull), sizeof(TqOcTravCull));
    EXPECT_FALSE(std::is_polymorphic_v<TqOcRenderTravCull>);
    EXPECT_TRUE((std::is_base_of_v<TqOcTravCull, TqOcRenderTravCull>));
}

TEST(TqOcRenderTravCull, CopiesPointAtTheSameStates)
{
    View view(Perspective());
    view.SetNearCullDistance(2.5);
    TqOcRenderTravCull const copy(view.cull);
    TqOcRenderTravCull assigned(&view.frustum, &view.transform);
    assigned = view.cull;
    for (TqOcRenderTravCull const* cull : {&copy, static_cast<decltype(&copy)>(&assigned)}) {
        EXPECT_EQ(cull->GetTravFrustum(), &view.frustum);
        EXPECT_EQ(cull->GetTravTransform(), &view.transform);
        EXPECT_EQ(cull->GetNearCullDistance(), 2.5);
    }
}

// ---- Clip planes --------------------------------------------------------------------------------

struct PlaneCase
{
    char const* name;
    std::vector<TqLPlane3f> planes;
    int culled;      ///< wholly on the negative side of one
    int intersected; ///< in part on the negative side of one
};

/// The box of these cases reaches from 1 to 2 on each axis.
std::vector<PlaneCase> PlaneCases()
{
    TqLPlane3f const before = MakePlane(1, 0, 0, 0.5);
    TqLPlane3f const across = MakePlane(1, 0, 0, 1.5);
    TqLPlane3f const behind = MakePlane(1, 0, 0, 2.5);
    return {
        {"no planes", {}, 0, 0},
        {"on the positive side", {before}, 0, 0},
        {"touching from the positive side", {MakePlane(1, 0, 0, 1.0)}, 0, 0},
        {"across", {across}, 0, 1},
        {"touching from the negative side", {MakePlane(1, 0, 0, 2.0)}, 0, 1},
        {"on the negative side", {behind}, 1, 1},
        {"negative normal, positive side", {MakePlane(-1, 0, 0, -2.5)}, 0, 0},
        {"negative normal, across", {MakePlane(0, -1, 0, -1.5)}, 0, 1},
        {"negative normal, negative side", {MakePlane(0, 0, -1, -0.5)}, 1, 1},
        {"the second plane culls", {before, behind}, 1, 1},
        {"the second plane cuts", {before, across}, 0, 1},
        {"cut by each and culled by none", {across, MakePlane(-1, 0, 0, -1.5)}, 0, 1},
        {"the last of six culls", {before, before, before, before, before, behind}, 1, 1},
    };
}

TEST(TqOcRenderTravCull, ClipPlaneCullTellsBoxesWhollyOnTheNegativeSide)
{
    for (PlaneCase const& plane : PlaneCases()) {
        SCOPED_TRACE(plane.name);
        View view(Parallel(), plane.planes);
        EXPECT_EQ(view.cull.ClipPlaneCull(MakeBox(1, 1, 1, 2, 2, 2)), plane.culled);
    }
}

TEST(TqOcRenderTravCull, ClipPlaneIntersectTellsBoxesThatReachTheNegativeSide)
{
    for (PlaneCase const& plane : PlaneCases()) {
        SCOPED_TRACE(plane.name);
        View view(Parallel(), plane.planes);
        TqLBox3f const box = MakeBox(1, 1, 1, 2, 2, 2);
        EXPECT_EQ(view.cull.ClipPlaneIntersect(box), plane.intersected);
        EXPECT_EQ(TqOcRenderTravCull::ClipPlaneIntersect(
                      plane.planes.data(), static_cast<int>(plane.planes.size()), box),
                  plane.intersected);
    }
}

TEST(TqOcRenderTravCull, ClipPlaneIntersectOfNoPlanesIsZero)
{
    TqLPlane3f const behind = MakePlane(1, 0, 0, 100.0);
    TqLBox3f const box = MakeBox(1, 1, 1, 2, 2, 2);
    EXPECT_EQ(TqOcRenderTravCull::ClipPlaneIntersect(nullptr, 0, box), 0);
    EXPECT_EQ(TqOcRenderTravCull::ClipPlaneIntersect(&behind, 0, box), 0);
    EXPECT_EQ(TqOcRenderTravCull::ClipPlaneIntersect(&behind, -1, box), 0);
    EXPECT_EQ(TqOcRenderTravCull::ClipPlaneIntersect(&behind, 1, box), 1);
}

TEST(TqOcRenderTravCull, ClipPlaneTestsPickTheExtremeCornersForEverySignOfTheNormal)
{
    double const corners[2][3] = {{1, 3, -7}, {2, 5, -4}};
    TqLBox3f const box = MakeBox(1, 3, -7, 2, 5, -4);
    for (int signs = 0; signs < 27; ++signs) {
        double const n[3] = {0.6 * (signs % 3 - 1), 0.48 * (signs / 3 % 3 - 1),
                             0.64 * (signs / 9 - 1)};
        double smallest = eINFINITY;
        double largest = -eINFINITY;
        for (int corner = 0; corner < 8; ++corner) {
            double const distance = n[0] * corners[corner & 1][0] +
                                    n[1] * corners[corner >> 1 & 1][1] +
                                    n[2] * corners[corner >> 2 & 1][2];
            smallest = std::min(smallest, distance);
            largest = std::max(largest, distance);
        }
        SCOPED_TRACE("normal " + std::to_string(n[0]) + " " + std::to_string(n[1]) + " " +
                     std::to_string(n[2]));
        View beyondAll(Parallel(), {MakePlane(n[0], n[1], n[2], largest + 0.01)});
        EXPECT_EQ(beyondAll.cull.ClipPlaneCull(box), 1);
        View beforeLast(Parallel(), {MakePlane(n[0], n[1], n[2], largest - 0.01)});
        EXPECT_EQ(beforeLast.cull.ClipPlaneCull(box), 0);
        View beyondFirst(Parallel(), {MakePlane(n[0], n[1], n[2], smallest + 0.01)});
        EXPECT_EQ(beyondFirst.cull.ClipPlaneIntersect(box), 1);
        View beforeAll(Parallel(), {MakePlane(n[0], n[1], n[2], smallest - 0.01)});
        EXPECT_EQ(beforeAll.cull.ClipPlaneIntersect(box), 0);
    }
}

TEST(TqOcRenderTravCull, ClipPlaneTestsTakeBoxesInLocalCoordinates)
{
    View view(Parallel(), {MakePlane(1, 0, 0, 10.0)}, TqLAffine3f::Translation(TqLVec3f(8, 0, 0)));
    EXPECT_EQ(view.cull.ClipPlaneCull(MakeBox(1, 0, 0, 1.5, 1, 1)), 1);
    EXPECT_EQ(view.cull.ClipPlaneCull(MakeBox(1, 0, 0, 3, 1, 1)), 0);
    EXPECT_EQ(view.cull.ClipPlaneIntersect(MakeBox(1, 0, 0, 3, 1, 1)), 1);
    EXPECT_EQ(view.cull.ClipPlaneIntersect(MakeBox(2.5, 0, 0, 3, 1, 1)), 0);
}

// ---- Counting and the first culls ---------------------------------------------------------------

TEST(TqOcRenderTravCull, KeepsAVisibleNodeAndTellsWhereItIs)
{
    View view(Perspective());
    PlainTraversable node = MakeNode(MakeBox(-1, -0.5, -4, 1, 0.5, -2));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.cullBits, 0);
    EXPECT_EQ(score.data.distance, 1.0);
    ExpectRectangle(score.data, -0.5, -0.25, 0.5, 0.25);
    EXPECT_EQ(score.frustumTests, 1U);
    EXPECT_EQ(score.areaTests, 1U);
    EXPECT_EQ(score.frustumTris, 0U);
    EXPECT_EQ(score.areaTris, 0U);
}

TEST(TqOcRenderTravCull, CountsAFrustumTestForEachNodeAndAnAreaTestOnlyInFrontOfTheEye)
{
    View view(Perspective(), {MakePlane(1, 0, 0, -5.0)});

    struct Case
    {
        char const* name;
        TqLBox3f box;
        unsigned int areaTests;
    };

    Case const cases[] = {
        {"visible", MakeBox(-1, -1, -4, 1, 1, -2), 1},
        {"clipped", MakeBox(-8, -1, -9, -6, 1, -8), 0},
        {"behind the eye", MakeBox(-1, -1, 1, 1, 1, 2), 0},
        {"left of the view", MakeBox(-4, -1, -2, -3, 1, -1.5), 1},
        {"too small", MakeBox(0, 0, -4, 0, 0, -4), 1},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        PlainTraversable node = MakeNode(test.box);
        Score const score = view.CalcPriority(node);
        EXPECT_EQ(score.frustumTests, 1U);
        EXPECT_EQ(score.areaTests, test.areaTests);
    }
}

TEST(TqOcRenderTravCull, CullsByClipPlanesAndStampsTheNodeWhenAskedTo)
{
    View view(Parallel(), {MakePlane(1, 0, 0, 0.75)});
    for (int const mark : {0, 1}) {
        for (int const bits : {7, 5, 0}) {
            SCOPED_TRACE("mark " + std::to_string(mark) + " bits " + std::to_string(bits));
            PlainTraversable node = MakeNode(VisibleBox());
            node.SetFrameId(3);
            Score const score = view.CalcPriority(node, bits, mark);
            ExpectFrustumCulled(score, bits);
            EXPECT_EQ(node.GetFrameId(), mark != 0 ? eFRAME : 3U);
        }
    }
}

TEST(TqOcRenderTravCull, NeverClipsANodeThatIgnoresClipPlanes)
{
    View view(Parallel(), {MakePlane(1, 0, 0, 0.75)});
    PlainTraversable node = MakeNode(VisibleBox());
    node.SetIgnoreClip(1);
    Score const score = view.CalcPriority(node, 7, 1);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.frustumTris, 0U);
    EXPECT_EQ(node.GetFrameId(), 0U);
}

TEST(TqOcRenderTravCull, KeepsANodeThatOnlyReachesBehindAClipPlane)
{
    View view(Parallel(), {MakePlane(1, 0, 0, 0.25)});
    PlainTraversable node = MakeNode(VisibleBox());
    EXPECT_EQ(view.CalcPriority(node).result, 1);
}

TEST(TqOcRenderTravCull, CullsBehindTheEyeAndStampsTheNodeWhenAskedTo)
{
    View view(Perspective());
    for (int const mark : {0, 1}) {
        for (int const bits : {7, 4, 0}) {
            SCOPED_TRACE("mark " + std::to_string(mark) + " bits " + std::to_string(bits));
            PlainTraversable node = MakeNode(MakeBox(-1, -1, 1, 1, 1, 2));
            node.SetFrameId(3);
            Score const score = view.CalcPriority(node, bits, mark);
            ExpectFrustumCulled(score, bits);
            EXPECT_EQ(node.GetFrameId(), mark != 0 ? eFRAME : 3U);
        }
    }
}

TEST(TqOcRenderTravCull, ANodeThatTouchesTheEyePlaneFromBehindIsNotBehindIt)
{
    View view(Perspective());
    PlainTraversable node = MakeNode(MakeBox(-1, -1, 0, 1, 1, 5));
    Score const score = view.CalcPriority(node, 7, 1);
    EXPECT_EQ(score.areaTests, 1U);
    ExpectCulledUncounted(score); // wholly nearer than the near-cull distance of 0
    EXPECT_EQ(node.GetFrameId(), 0U);
}

TEST(TqOcRenderTravCull, StampsBehindTheEyeButNotLeftOfTheView)
{
    View view(Perspective());
    PlainTraversable behind = MakeNode(MakeBox(-1, -1, 1, 1, 1, 2));
    PlainTraversable left = MakeNode(MakeBox(-9, -1, -3, -8, 1, -2));
    EXPECT_EQ(view.CalcPriority(behind, 7, 1).frustumTris, eTRIS);
    EXPECT_EQ(view.CalcPriority(left, 7, 1).frustumTris, eTRIS);
    EXPECT_EQ(behind.GetFrameId(), eFRAME);
    EXPECT_EQ(left.GetFrameId(), 0U);
}

// ---- Cull bits and the rectangle ----------------------------------------------------------------

TEST(TqOcRenderTravCull, ClearsBitTwoOnlyWhenTheWholeBoxIsInFrontOfTheEye)
{
    View view(Perspective());
    view.traversal.SetCullArea(0.0);
    PlainTraversable inFront = MakeNode(MakeBox(-0.5, -0.5, -4, 0.5, 0.5, -1));
    PlainTraversable touching = MakeNode(MakeBox(-0.5, -0.5, -4, 0.5, 0.5, 0));
    PlainTraversable across = MakeNode(MakeBox(-0.5, -0.5, -4, 0.5, 0.5, 1));
    EXPECT_EQ(view.CalcPriority(inFront, 7).data.cullBits & 4, 0);
    EXPECT_EQ(view.CalcPriority(touching, 7).data.cullBits & 4, 4);
    EXPECT_EQ(view.CalcPriority(across, 7).data.cullBits & 4, 4);
    EXPECT_EQ(view.CalcPriority(across, 3).data.cullBits & 4, 0) << "bits are only ever cleared";
}

struct SideCase
{
    char const* name;
    TqLBox3f box;
    int bitsIn;
    int result;
    int bitsOut;
    double rectangle[4]; ///< x0, y0, x1, y1; of a culled node not looked at
};

TEST(TqOcRenderTravCull, TestsTheSidesAndProjectsInTheParallelView)
{
    View view(Parallel());
    SideCase const cases[] = {
        {"inside", MakeBox(-0.5, -0.25, -4, 0.5, 0.25, -3), 7, 1, 0, {-0.5, -0.25, 0.5, 0.25}},
        {"touching all sides", MakeBox(-1, -1, -4, 1, 1, -3), 7, 1, 0, {-1, -1, 1, 1}},
        {"across left", MakeBox(-2, -0.5, -4, 0, 0.5, -3), 7, 1, 1, {-1, -0.5, 0, 0.5}},
        {"across right", MakeBox(0.5, -0.5, -4, 3, 0.5, -3), 7, 1, 1, {0.5, -0.5, 1, 0.5}},
        {"across bottom", MakeBox(-0.5, -2, -4, 0.5, 0, -3), 7, 1, 2, {-0.5, -1, 0.5, 0}},
        {"across top", MakeBox(-0.5, 0.25, -4, 0.5, 3, -3), 7, 1, 2, {-0.5, 0.25, 0.5, 1}},
        {"around", MakeBox(-5, -5, -4, 5, 5, -3), 7, 1, 3, {-1, -1, 1, 1}},
        {"left", MakeBox(-3, -0.5, -4, -2, 0.5, -3), 7, 0, 3, {}},
        {"right", MakeBox(2, -0.5, -4, 3, 0.5, -3), 7, 0, 3, {}},
        {"below, inside in x", MakeBox(-0.5, -3, -4, 0.5, -2, -3), 7, 0, 2, {}},
        {"above, across in x", MakeBox(-2, 2, -4, 0.5, 3, -3), 7, 0, 3, {}},
        {"across left, x known", MakeBox(-2, -0.5, -4, 0, 0.5, -3), 6, 1, 0, {-2, -0.5, 0, 0.5}},
        {"across top, y known", MakeBox(-0.5, 0.25, -4, 0.5, 3, -3), 5, 1, 0, {-0.5, 0.25, 0.5, 3}},
        {"outside, all known", MakeBox(2, 4, -4, 3, 5, -3), 0, 1, 0, {2, 4, 3, 5}},
        {"outside in y, only x tested", MakeBox(0, 4, -4, 3, 5, -3), 1, 1, 1, {0, 4, 1, 5}},
    };
    for (SideCase const& test : cases) {
        SCOPED_TRACE(test.name);
        PlainTraversable node = MakeNode(test.box);
        Score const score = view.CalcPriority(node, test.bitsIn, 1);
        if (test.result == 0) {
            ExpectFrustumCulled(score, test.bitsOut);
        } else {
            EXPECT_EQ(score.result, 1);
            EXPECT_EQ(score.data.cullBits, test.bitsOut);
            ExpectRectangle(score.data, test.rectangle[0], test.rectangle[1], test.rectangle[2],
                            test.rectangle[3]);
        }
        EXPECT_EQ(node.GetFrameId(), 0U) << "the sides stamp nothing";
    }
}

TEST(TqOcRenderTravCull, TestsTheCornersWhereTheIntervalsCannotDecide)
{
    // In this view the x pair's weights go with x, so that the interval test overestimates.
    View view(Skewed());
    view.SetNearCullDistance(-100.0);
    SideCase const cases[] = {
        {"inside after all", MakeBox(0, -0.5, 0, 1, 0.5, 1), 7, 1, 0, {0, -0.5, 1, 0.5}},
        {"across right", MakeBox(0, -0.5, 0, 3, 0.5, 1), 7, 1, 1, {0, -0.5, 1, 0.5}},
        {"right after all", MakeBox(1.5, -0.5, 0, 3, 0.5, 1), 7, 0, 3, {}},
    };
    for (SideCase const& test : cases) {
        SCOPED_TRACE(test.name);
        PlainTraversable node = MakeNode(test.box);
        Score const score = view.CalcPriority(node, test.bitsIn);
        if (test.result == 0) {
            ExpectFrustumCulled(score, test.bitsOut);
        } else {
            EXPECT_EQ(score.result, 1);
            EXPECT_EQ(score.data.cullBits, test.bitsOut);
            ExpectRectangle(score.data, test.rectangle[0], test.rectangle[1], test.rectangle[2],
                            test.rectangle[3]);
        }
    }
}

TEST(TqOcRenderTravCull, ABoxThatCrossesASideOnlyAtItsNearEndIsPinnedThere)
{
    View view(Perspective());
    PlainTraversable left = MakeNode(MakeBox(-1, -0.25, -2, 0, 0.25, -0.5));
    Score const leftScore = view.CalcPriority(left);
    EXPECT_EQ(leftScore.data.cullBits, 1);
    ExpectRectangle(leftScore.data, -1, -0.5, 0, 0.5);
    PlainTraversable top = MakeNode(MakeBox(-0.25, 0, -2, 0.25, 1, -0.5));
    Score const topScore = view.CalcPriority(top);
    EXPECT_EQ(topScore.data.cullBits, 2);
    ExpectRectangle(topScore.data, -0.5, 0, 0.5, 1);
}

TEST(TqOcRenderTravCull, CornersBehindTheEyeStretchTheRectangleToTheEdges)
{
    View view(Perspective());
    // x: the far corners lie at 1/4 and 1/2; behind the eye one corner is beyond the right plane
    // and one wraps to the right. y: both corners behind the eye wrap, to the top and to the
    // bottom.
    PlainTraversable node = MakeNode(MakeBox(1, -0.5, -4, 2, 0.5, 2));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.cullBits, 7);
    ExpectRectangle(score.data, 0.25, -1, 1, 1);
}

TEST(TqOcRenderTravCull, ABoxThatReachesTheEyePlaneIsPinnedToTheEdges)
{
    View view(Perspective());
    PlainTraversable node = MakeNode(MakeBox(-1, 0, -4, 1, 1, 0));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.cullBits, 7);
    ExpectRectangle(score.data, -1, 0, 1, 1);
}

TEST(TqOcRenderTravCull, TakesTheBoxInItsLocalCoordinates)
{
    View view(Perspective(), {}, TqLAffine3f::Translation(TqLVec3f(0, 0, -10)));
    PlainTraversable node = MakeNode(MakeBox(-4, -2, -6, 4, 2, 2));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.distance, 7.0);
    ExpectRectangle(score.data, -0.5, -0.25, 0.5, 0.25);
}

// ---- Area and extent ----------------------------------------------------------------------------

void ExpectAreaCulled(Score const& score)
{
    EXPECT_EQ(score.result, 0);
    EXPECT_EQ(score.frustumTris, 0U);
    EXPECT_EQ(score.areaTris, eTRIS);
    EXPECT_EQ(score.data.cullBits, 0) << "written before the area is looked at";
}

struct AreaCase
{
    double width; ///< pixels
    double height;
    double limit; ///< cull area or cull extent
    bool kept;
};

TEST(TqOcRenderTravCull, CullsTrianglesBelowTheCullArea)
{
    View view(Parallel());
    AreaCase const cases[] = {
        {2, 2, 4, true},     {3, 1, 4, false},     {1, 1, 1, true}, {1, 0.5, 1, false},
        {100, 0, 1, false},  {0, 0, 0, true},      {0, 5, 0, true}, {0, 0, -1, true},
        {16, 16, 256, true}, {16, 15, 256, false},
    };
    for (AreaCase const& test : cases) {
        SCOPED_TRACE(std::to_string(test.width) + " x " + std::to_string(test.height) +
                     " against " + std::to_string(test.limit));
        view.traversal.SetCullArea(test.limit);
        PlainTraversable node = MakePixels(test.width, test.height);
        Score const score = view.CalcPriority(node, 7, 1);
        if (test.kept) {
            EXPECT_EQ(score.result, 1);
            EXPECT_EQ(score.areaTris, 0U);
        } else {
            ExpectAreaCulled(score);
        }
        EXPECT_EQ(node.GetFrameId(), 0U);
    }
}

TEST(TqOcRenderTravCull, KeepsANodeWhosePixelAreaEqualsTheCullAreaAndCullsOnePixelLess)
{
    View view(Parallel());
    view.traversal.SetCullArea(64.0);
    PlainTraversable equal = MakePixels(8, 8);
    PlainTraversable less = MakePixels(63, 1);
    EXPECT_EQ(view.CalcPriority(equal).result, 1);
    ExpectAreaCulled(view.CalcPriority(less));
}

TEST(TqOcRenderTravCull, CullsLinesOnlyWhenBothExtentsAreBelowTheCullExtent)
{
    View view(Parallel());
    AreaCase const cases[] = {
        {1, 1, 1, true},   {0.5, 0.5, 1, false}, {1, 0.5, 1, true},
        {0.5, 1, 1, true}, {100, 0, 1, true},    {0, 0, 1, false},
        {0, 0, 0, true},   {7.5, 7.5, 8, false}, {7.5, 8, 8, true},
    };
    for (unsigned int const primitives : {2U, 3U, 18U, 19U}) {
        for (AreaCase const& test : cases) {
            SCOPED_TRACE(std::to_string(test.width) + " x " + std::to_string(test.height) +
                         " against " + std::to_string(test.limit) + " with primitives " +
                         std::to_string(primitives));
            view.traversal.SetCullExtent(test.limit);
            PlainTraversable node = MakePixels(test.width, test.height,
                                               static_cast<TqLPrimitiveTypes::Enum>(primitives));
            Score const score = view.CalcPriority(node);
            if (test.kept) {
                EXPECT_EQ(score.result, 1);
            } else {
                ExpectAreaCulled(score);
            }
        }
    }
}

TEST(TqOcRenderTravCull, EverySetOfPrimitivesFollowsItsRule)
{
    View view(Parallel());
    for (unsigned int set = 0; set < 32; ++set) {
        SCOPED_TRACE("primitives " + std::to_string(set));
        auto const primitives = static_cast<TqLPrimitiveTypes::Enum>(set);
        bool const never = (set & (4U | 8U)) != 0;
        bool const byExtent = !never && (set & 2U) != 0;
        PlainTraversable dot = MakePixels(0.5, 0.5, primitives);
        PlainTraversable thread = MakePixels(64, 0, primitives);
        PlainTraversable patch = MakePixels(64, 64, primitives);
        EXPECT_EQ(view.CalcPriority(dot).result, never ? 1 : 0);
        EXPECT_EQ(view.CalcPriority(thread).result, never || byExtent ? 1 : 0);
        EXPECT_EQ(view.CalcPriority(patch).result, 1);
    }
}

TEST(TqOcRenderTravCull, NeverAreaCullsPointsAndText)
{
    View view(Parallel());
    view.traversal.SetCullArea(DBL_MAX);
    view.traversal.SetCullExtent(DBL_MAX);
    for (unsigned int const primitives : {4U, 8U, 12U, 31U}) {
        PlainTraversable node = MakePixels(0, 0, static_cast<TqLPrimitiveTypes::Enum>(primitives));
        EXPECT_EQ(view.CalcPriority(node).result, 1) << primitives;
    }
}

TEST(TqOcRenderTravCull, StressMakesNodesCountAsFewerPixels)
{
    View view(Parallel(), {}, TqLAffine3f(), 2.0);
    PlainTraversable kept = MakePixels(2, 2);
    PlainTraversable culled = MakePixels(2, 1.5);
    EXPECT_EQ(view.CalcPriority(kept).result, 1);
    ExpectAreaCulled(view.CalcPriority(culled));
    PlainTraversable line = MakePixels(2, 0, TqLPrimitiveTypes::eLINES);
    PlainTraversable shortLine = MakePixels(1.5, 0, TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(view.CalcPriority(line).result, 1);
    ExpectAreaCulled(view.CalcPriority(shortLine));
}

TEST(TqOcRenderTravCull, TheAreaIsThatOfThePinnedRectangle)
{
    View view(Parallel());
    view.traversal.SetCullArea(4.0 * 2048.0);
    PlainTraversable node =
        MakeNode(MakeBox(1.0 - 4.0 * ePIXEL, -8, -4, 8, 8, -3)); // 4 x 2048 pixels are seen
    EXPECT_EQ(view.CalcPriority(node).result, 1);
    view.traversal.SetCullArea(4.0 * 2048.0 + 1.0);
    EXPECT_EQ(view.CalcPriority(node).result, 0);
}

// ---- Distances ----------------------------------------------------------------------------------

TEST(TqOcRenderTravCull, CullsBeyondTheCullDistanceWithoutCounting)
{
    View view(Parallel());
    PlainTraversable node = MakeNode(VisibleBox()); // 3 to 4 away
    view.traversal.SetCullDistance(3.0);
    EXPECT_EQ(view.CalcPriority(node).result, 1);
    view.traversal.SetCullDistance(3.5);
    EXPECT_EQ(view.CalcPriority(node).result, 1);
    view.traversal.SetCullDistance(2.5);
    Score const score = view.CalcPriority(node, 7, 1);
    ExpectCulledUncounted(score);
    EXPECT_EQ(score.data.cullBits, 0);
    EXPECT_EQ(node.GetFrameId(), 0U);
}

TEST(TqOcRenderTravCull, MeasuresFromTheLocalNearPlane)
{
    View view(Perspective(), {}, TqLAffine3f::Translation(TqLVec3f(0, 0, -10)));
    PlainTraversable node = MakeNode(MakeCube(0, 0, 0, 1)); // 8 to 10 before the near plane
    view.traversal.SetCullDistance(7.75);
    EXPECT_EQ(view.CalcPriority(node).result, 0);
    view.traversal.SetCullDistance(8.0);
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.distance, 8.0);
}

struct NearCase
{
    double nearCull;
    bool kept;
    double byDistance; ///< priority with the distance as base
};

TEST(TqOcRenderTravCull, CullsOrFavoursWhatLiesWithinTheNearCullDistance)
{
    NearCase const cases[] = {
        {0.0, true, 3.0},         {3.0, true, 3.0},  {3.5, true, 3.0 * 1e-10},
        {4.0, true, 3.0 * 1e-10}, {4.5, false, 0.0},
    };
    for (NearCase const& test : cases) {
        SCOPED_TRACE("near-cull distance " + std::to_string(test.nearCull));
        View view(Parallel());
        view.SetNearCullDistance(test.nearCull);
        PlainTraversable node = MakeNode(VisibleBox()); // 3 to 4 away, area 1/2
        view.traversal.SetPrimary(TqOcRenderTraversal::ePRIORITY_DISTANCE);
        Score const byDistance = view.CalcPriority(node, 7, 1);
        view.traversal.SetPrimary(TqOcRenderTraversal::ePRIORITY_AREA);
        Score const byArea = view.CalcPriority(node, 7, 1);
        if (test.kept) {
            EXPECT_EQ(byDistance.result, 1);
            EXPECT_EQ(byDistance.data.priority, test.byDistance);
            EXPECT_EQ(byArea.data.priority, 2.0) << "the area gets no factor";
        } else {
            ExpectCulledUncounted(byDistance);
            ExpectCulledUncounted(byArea);
        }
        EXPECT_EQ(node.GetFrameId(), 0U);
    }
}

TEST(TqOcRenderTravCull, ABoxAcrossTheNearPlaneGetsTheNearFactorAtTheRootToo)
{
    View view(Perspective());
    PlainTraversable node = MakeNode(MakeBox(-0.25, -0.25, -4, 0.25, 0.25, -0.5));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.distance, -0.5);
    EXPECT_EQ(score.data.priority, -0.5 * 1e-10);
}

TEST(TqOcRenderTravCull, ABoxBetweenEyeAndNearPlaneIsCulledUncounted)
{
    View view(Perspective());
    PlainTraversable node = MakeNode(MakeBox(-0.25, -0.25, -0.75, 0.25, 0.25, -0.5));
    Score const score = view.CalcPriority(node, 7, 1);
    ExpectCulledUncounted(score);
    EXPECT_EQ(score.areaTests, 1U);
    EXPECT_EQ(node.GetFrameId(), 0U);
}

TEST(TqOcRenderTravCull, HasNoFarPlane)
{
    View view(Parallel());
    PlainTraversable node = MakeNode(MakeBox(-0.5, -0.5, -1e9, 0.5, 0.5, -1e8));
    Score const score = view.CalcPriority(node);
    EXPECT_EQ(score.result, 1);
    EXPECT_EQ(score.data.distance, 1e8);
}

// ---- Priority -----------------------------------------------------------------------------------

TEST(TqOcRenderTravCull, IsDistanceTimesScaleByDefault)
{
    View view(Parallel());
    PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 2.5);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 7.5);
}

TEST(TqOcRenderTravCull, TheDistanceIsThePriorityWithPrimaryOneAndNoFactors)
{
    View view(Parallel());
    view.traversal.SetPrimary(TqOcRenderTraversal::ePRIORITY_DISTANCE);
    view.traversal.SetSecondary(0);
    PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 2.5);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
    view.SetNearCullDistance(3.5);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0 * 1e-10);
}

TEST(TqOcRenderTravCull, AnyOtherPrimaryTakesOneOverTheArea)
{
    View view(Parallel());
    view.traversal.SetSecondary(0);
    for (unsigned int const primary : {0U, 2U, 77U}) {
        view.traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
        PlainTraversable node = MakeNode(VisibleBox());
        EXPECT_EQ(view.CalcPriority(node).data.priority, 2.0) << primary;
    }
}

TEST(TqOcRenderTravCull, AnEmptyRectangleRanksBehindWhateverIsSeen)
{
    View view(Parallel());
    view.traversal.SetPrimary(TqOcRenderTraversal::ePRIORITY_AREA);
    for (double const cullArea : {0.0, -1.0}) {
        view.traversal.SetCullArea(cullArea);
        PlainTraversable node = MakePixels(0, 64);
        Score const score = view.CalcPriority(node);
        EXPECT_EQ(score.result, 1);
        EXPECT_EQ(score.data.priority, eAREA_TO_PIXEL);
    }
}

TEST(TqOcRenderTravCull, WritesTheDistanceWhateverThePriorityIsMadeOf)
{
    View view(Parallel());
    for (unsigned int const secondary : {0U, 1U, 2U, 4U, 8U, 15U}) {
        for (unsigned int const primary : {0U, 1U}) {
            view.traversal.SetSecondary(secondary);
            view.traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
            PlainTraversable node = MakeNode(VisibleBox());
            EXPECT_EQ(view.CalcPriority(node).data.distance, 3.0);
        }
    }
}

struct TableCase
{
    char const* name;
    std::vector<double> thresholds;
    std::vector<double> scales;
    double factor;
};

TEST(TqOcRenderTravCull, TheFirstDistanceThresholdBeyondTheDistanceGivesTheFactor)
{
    TableCase const cases[] = {
        {"empty", {}, {}, 1.0},
        {"first", {4, 8}, {2, 3}, 2.0},
        {"second", {1, 8}, {2, 3}, 3.0},
        {"equal does not count", {3, 8}, {2, 3}, 3.0},
        {"none", {1, 2, 3}, {2, 3, 4}, 1.0},
        {"in the order of the table", {9, 5, 4}, {2, 3, 4}, 2.0},
        {"last of five", {1, 1, 1, 1, 4}, {2, 3, 4, 5, 6}, 6.0},
        {"zero factor", {4}, {0}, 0.0},
    };
    for (TableCase const& test : cases) {
        SCOPED_TRACE(test.name);
        View view(Parallel());
        view.traversal.SetDistanceScales(test.thresholds.data(), test.scales.data(),
                                         static_cast<int>(test.scales.size()));
        PlainTraversable node = MakeNode(VisibleBox()); // distance 3
        view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_DISTANCE);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0 * test.factor);
        view.traversal.SetPrimary(TqOcRenderTraversal::ePRIORITY_AREA);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 2.0 * test.factor);
        view.traversal.SetSecondary(0);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 2.0);
    }
}

TEST(TqOcRenderTravCull, TheFirstAreaThresholdBeyondThePixelAreaGivesTheFactor)
{
    TableCase const cases[] = {
        {"empty", {}, {}, 1.0},
        {"first", {65, 80}, {2, 3}, 2.0},
        {"second", {63, 80}, {2, 3}, 3.0},
        {"equal does not count", {64, 80}, {2, 3}, 3.0},
        {"none", {1, 2, 64}, {2, 3, 4}, 1.0},
        {"in the order of the table", {90, 70, 65}, {2, 3, 4}, 2.0},
        {"last of five", {1, 1, 1, 1, 65}, {2, 3, 4, 5, 6}, 6.0},
    };
    for (TableCase const& test : cases) {
        SCOPED_TRACE(test.name);
        View view(Parallel());
        view.traversal.SetAreaScales(test.thresholds.data(), test.scales.data(),
                                     static_cast<int>(test.scales.size()));
        PlainTraversable node = MakePixels(8, 8); // 64 pixels, distance 3
        view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_AREA);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0 * test.factor);
        view.traversal.SetSecondary(0);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
    }
}

TEST(TqOcRenderTravCull, TheScaleCountsOnlyWithItsBit)
{
    View view(Parallel());
    PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 0.5);
    view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_SCALE);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 1.5);
    view.traversal.SetSecondary(~static_cast<unsigned int>(TqOcRenderTraversal::eSECONDARY_SCALE));
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
}

struct AgeCase
{
    char const* name;
    unsigned int frame;
    unsigned int hysteresisId;
    double factor;
};

TEST(TqOcRenderTravCull, TheHysteresisScaleGoesByAge)
{
    AgeCase const cases[] = {
        {"last frame", 100, 99, 0.25},
        {"the frame before", 100, 98, 0.5},
        {"three frames old", 100, 97, 0.75},
        {"too old", 100, 96, 1.0},
        {"never", 100, 0, 1.0},
        {"this frame", 100, 100, 0.25},
        {"a frame to come", 100, 105, 0.25},
        {"across the wrap of the frame number", 1, 0xFFFFFFFFU, 0.5},
        {"last frame before the wrap", 0, 0xFFFFFFFFU, 0.25},
        {"an age beyond the range of a signed number", 0x80000005U, 0, 0.25},
        {"the largest signed age", 0x80000000U, 0, 1.0},
    };
    View view(Parallel());
    double const scales[] = {0.25, 0.5, 0.75};
    view.traversal.SetHysteresisScales(scales, 3);
    for (AgeCase const& test : cases) {
        SCOPED_TRACE(test.name);
        view.traversal.SetFrameId(test.frame);
        PlainTraversable node = MakeNode(VisibleBox());
        node.SetHysteresisId(test.hysteresisId);
        view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_HYSTERESIS);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0 * test.factor);
        EXPECT_EQ(node.GetHysteresisId(), test.hysteresisId);
        view.traversal.SetSecondary(0);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
    }
}

TEST(TqOcRenderTravCull, OnlyNodesOfTheTablesAgeGetAHysteresisFactor)
{
    View view(Parallel());
    double const scales[] = {1.0, 0.5};
    view.traversal.SetHysteresisScales(scales, 2);
    view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_HYSTERESIS);
    PlainTraversable node = MakeNode(VisibleBox());
    node.SetHysteresisId(eFRAME - 1);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
    node.SetHysteresisId(eFRAME - 2);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 1.5);
    node.SetHysteresisId(eFRAME - 3);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0);
}

TEST(TqOcRenderTravCull, AnEmptyHysteresisTableChangesNothing)
{
    View view(Parallel());
    double const scales[] = {0.25, 0.5};
    view.traversal.SetHysteresisScales(scales, 2);
    view.traversal.SetHysteresisScales(nullptr, 0);
    view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_HYSTERESIS);
    for (unsigned int const id : {0U, eFRAME - 1, eFRAME, eFRAME + 1}) {
        PlainTraversable node = MakeNode(VisibleBox());
        node.SetHysteresisId(id);
        EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0) << id;
    }
}

TEST(TqOcRenderTravCull, MultipliesDistanceAreaScaleAndHysteresisInThisOrder)
{
    unsigned int const seed = 20240117;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> uniform(0.1, 3.0);
    View view(Parallel());
    view.traversal.SetSecondary(15);
    double const beyondAll[] = {DBL_MAX};
    int otherOrderDiffers[24] = {};
    for (int round = 0; round < 300; ++round) {
        double const base = uniform(random);
        std::array<double, 4> factor;
        for (double& value : factor) {
            value = uniform(random);
        }
        view.traversal.SetDistanceScales(beyondAll, &factor[0], 1);
        view.traversal.SetAreaScales(beyondAll, &factor[1], 1);
        view.traversal.SetHysteresisScales(&factor[3], 1);
        PlainTraversable node = MakeNode(MakeBox(-0.5, -0.5, -base - 1.0, 0.5, 0.5, -base),
                                         TqLPrimitiveTypes::eTRIANGLES, factor[2]);
        node.SetHysteresisId(eFRAME - 1);
        double const expected = base * factor[0] * factor[1] * factor[2] * factor[3];
        ASSERT_EQ(view.CalcPriority(node).data.priority, expected) << "round " << round;

        std::array<int, 4> order = {0, 1, 2, 3};
        int index = 0;
        do {
            auto const at = [&](int place) {
                return factor[static_cast<std::size_t>(order[static_cast<std::size_t>(place)])];
            };
            double const other = base * at(0) * at(1) * at(2) * at(3);
            otherOrderDiffers[index++] += other != expected ? 1 : 0;
        } while (std::next_permutation(order.begin(), order.end()));
    }
    for (int order = 1; order < 24; ++order) {
        EXPECT_GT(otherOrderDiffers[order], 0) << "order " << order << " would go unnoticed";
    }
}

TEST(TqOcRenderTravCull, TheNearFactorComesBeforeTheOthers)
{
    // The product overflows when the near factor does not come first.
    View view(Parallel());
    view.SetNearCullDistance(3.5);
    view.traversal.SetSecondary(TqOcRenderTraversal::eSECONDARY_SCALE);
    PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 1e308);
    EXPECT_EQ(view.CalcPriority(node).data.priority, 3.0 * 1e-10 * 1e308);
}

// ---- Force render -------------------------------------------------------------------------------

TEST(TqOcRenderTravCull, AForceRenderNodeComesFirstAndKeepsItsDistanceUnwritten)
{
    View view(Parallel());
    for (unsigned int const primary : {0U, 1U}) {
        view.traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
        view.traversal.SetSecondary(15);
        PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 2.5);
        node.SetForceRender(1);
        Score const score = view.CalcPriority(node);
        EXPECT_EQ(score.result, 1);
        EXPECT_EQ(score.data.priority, -2.0);
        EXPECT_EQ(score.data.distance, eUNWRITTEN);
        EXPECT_EQ(score.data.cullBits, 0);
        ExpectRectangle(score.data, -0.5, -0.25, 0.5, 0.25);
    }
}

TEST(TqOcRenderTravCull, AForceRenderNodeIsCulledLikeAnyOther)
{
    View view(Perspective(), {MakePlane(1, 0, 0, -50.0)});
    view.SetNearCullDistance(1.5);
    view.traversal.SetCullDistance(20.0);

    struct Case
    {
        char const* name;
        TqLBox3f box;
        unsigned int frustumTris;
        unsigned int areaTris;
    };

    Case const cases[] = {
        {"clip planes", MakeBox(-60, -1, -80, -55, 1, -70), eTRIS, 0},
        {"behind the eye", MakeBox(-1, -1, 1, 1, 1, 2), eTRIS, 0},
        {"left of the view", MakeBox(-9, -1, -4, -8, 1, -3), eTRIS, 0},
        {"area", MakeBox(0, 0, -4, 0, 0, -3), 0, eTRIS},
        {"distance", MakeBox(-1, -1, -40, 1, 1, -30), 0, 0},
        {"near-cull distance", MakeBox(-1, -1, -2.25, 1, 1, -2), 0, 0},
    };
    for (Case const& test : cases) {
        SCOPED_TRACE(test.name);
        PlainTraversable node = MakeNode(test.box);
        node.SetForceRender(1);
        Score const score = view.CalcPriority(node);
        EXPECT_EQ(score.result, 0);
        EXPECT_EQ(score.frustumTris, test.frustumTris);
        EXPECT_EQ(score.areaTris, test.areaTris);
    }
}

// ---- Dynamic priority callback ------------------------------------------------------------------

/// What a callback saw, and what it is to answer.
struct Callback
{
    int answer = 1;
    double newPriority = 0.0;
    bool changesPriority = false;
    int numCalls = 0;
    TqOcTraversable const* node = nullptr;
    TqOcRenderTravCullData* data = nullptr;
    TqOcRenderTravCullData seen = {};

    static int Call(TqOcTraversable const* node, TqOcRenderTravCullData* data, void* userData)
    {
        auto* self = static_cast<Callback*>(userData);
        ++self->numCalls;
        self->node = node;
        self->data = data;
        self->seen = *data;
        if (self->changesPriority) {
            data->priority = self->newPriority;
        }
        return self->answer;
    }
};

TEST(TqOcRenderTravCull, TheCallbackGetsTheFinishedRecordAndDecides)
{
    View view(Parallel());
    PlainTraversable node = MakeNode(VisibleBox(), TqLPrimitiveTypes::eTRIANGLES, 2.5);
    for (int const answer : {0, 1, 7, -1}) {
        SCOPED_TRACE("answer " + std::to_string(answer));
        Callback callback;
        callback.answer = answer;
        view.traversal.SetDynamicPriorityCallback(&Callback::Call, &callback);
        TqOcRenderTravCullData data = {};
        EXPECT_EQ(view.cull.CalcPriority(&view.traversal, 1, &node, 7, &data), answer);
        EXPECT_EQ(callback.numCalls, 1);
        EXPECT_EQ(callback.node, &node);
        EXPECT_EQ(callback.data, &data);
        EXPECT_EQ(callback.seen.priority, 7.5);
        EXPECT_EQ(callback.seen.distance, 3.0);
        EXPECT_EQ(callback.seen.cullBits, 0);
        ExpectRectangle(callback.seen, -0.5, -0.25, 0.5, 0.25);
        EXPECT_EQ(node.GetFrameId(), 0U);
    }
}

TEST(TqOcRenderTravCull, TheCallbackMayChangeThePriority)
{
    View view(Parallel());
    Callback callback;
    callback.changesPriority = true;
    callback.newPriority = -17.5;
    view.traversal.SetDynamicPriorityCallback(&Callback::Call, &callback);
    PlainTraversable node = MakeNode(VisibleBox());
    EXPECT_EQ(view.CalcPriority(node).data.priority, -17.5);
}

TEST(TqOcRenderTravCull, TheCallbackCullsWithoutACounter)
{
    View view(Parallel());
    Callback callback;
    callback.answer = 0;
    view.traversal.SetDynamicPriorityCallback(&Callback::Call, &callback);
    PlainTraversable node = MakeNode(VisibleBox());
    ExpectCulledUncounted(view.CalcPriority(node));
}

TEST(TqOcRenderTravCull, TheCallbackIsAskedAboutForceRenderNodes)
{
    View view(Parallel());
    Callback callback;
    callback.answer = 0;
    view.traversal.SetDynamicPriorityCallback(&Callback::Call, &callback);
    PlainTraversable node = MakeNode(VisibleBox());
    node.SetForceRender(1);
    EXPECT_EQ(view.CalcPriority(node).result, 0);
    EXPECT_EQ(callback.numCalls, 1);
    EXPECT_EQ(callback.seen.priority, -2.0);
}

TEST(TqOcRenderTravCull, TheCallbackIsNotAskedAboutCulledNodes)
{
    View view(Perspective(), {MakePlane(1, 0, 0, -50.0)});
    view.SetNearCullDistance(1.5);
    view.traversal.SetCullDistance(20.0);
    Callback callback;
    view.traversal.SetDynamicPriorityCallback(&Callback::Call, &callback);
    for (TqLBox3f const& box :
         {MakeBox(-60, -1, -80, -55, 1, -70), MakeBox(-1, -1, 1, 1, 1, 2),
          MakeBox(-9, -1, -4, -8, 1, -3), MakeBox(0, 0, -4, 0, 0, -3),
          MakeBox(-1, -1, -40, 1, 1, -30), MakeBox(-1, -1, -2.25, 1, 1, -2)}) {
        PlainTraversable node = MakeNode(box);
        EXPECT_EQ(view.CalcPriority(node).result, 0);
    }
    EXPECT_EQ(callback.numCalls, 0);
}

// ---- What it leaves alone -----------------------------------------------------------------------

TEST(TqOcRenderTravCull, TouchesNoOtherCounterAndNotTheVisibilityScale)
{
    View view(Perspective());
    view.traversal.SetVisibilityScale(1000.0);
    PlainTraversable visible = MakeNode(MakeBox(-1, -1, -4, 1, 1, -2));
    PlainTraversable behind = MakeNode(MakeBox(-1, -1, 1, 1, 1, 2));
    PlainTraversable left = MakeNode(MakeBox(-9, -1, -3, -8, 1, -2));
    PlainTraversable small = MakeNode(MakeBox(0, 0, -4, 0, 0, -4));
    visible.SetHideRender(1); // looked at elsewhere
    TqOcRenderTravCullData data = {};
    for (PlainTraversable* node : {&visible, &behind, &left, &small}) {
        view.cull.CalcPriority(&view.traversal, 1, node, 7, &data);
    }
    EXPECT_EQ(view.traversal.GetTrisFrustumCulled(), 2 * eTRIS);
    EXPECT_EQ(view.traversal.GetTrisAreaCulled(), eTRIS);
    EXPECT_EQ(view.traversal.GetNumFrustumCullTests(), 4U);
    EXPECT_EQ(view.traversal.GetNumAreaCullTests(), 3U);
    EXPECT_EQ(view.traversal.GetTrisVisibilityCulled(), 0U);
    EXPECT_EQ(view.traversal.GetTrisTraversedCulled(), 0U);
    EXPECT_EQ(view.traversal.GetTrisOcclusionCulled(), 0U);
    EXPECT_EQ(view.traversal.GetTrisRendered(), 0U);
    EXPECT_EQ(view.traversal.GetShapesRendered(), 0U);
    EXPECT_EQ(view.traversal.GetLeavesRendered(), 0U);
    EXPECT_EQ(view.CalcPriority(visible).result, 1);
    EXPECT_EQ(view.CalcPriority(visible).data.priority, 1.0);
}

// ---- Boxes that are no boxes --------------------------------------------------------------------

TEST(TqOcRenderTravCull, CullsANodeWhoseBoxHoldsANan)
{
    for (TqLFrustum3f const& frustum : {Parallel(), Perspective()}) {
        View view(frustum);
        for (unsigned int const primary : {0U, 1U}) {
            view.traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
            for (int coordinate = 0; coordinate < 6; ++coordinate) {
                for (int const bits : {7, 0}) {
                    double c[6] = {-0.5, -0.5, -4, 0.5, 0.5, -3};
                    c[coordinate] = eNAN;
                    PlainTraversable node = MakeNode(MakeBox(c[0], c[1], c[2], c[3], c[4], c[5]));
                    EXPECT_EQ(view.CalcPriority(node, bits).result, 0)
                        << "coordinate " << coordinate << " bits " << bits;
                }
            }
        }
    }
}

TEST(TqOcRenderTravCull, GivesNoPriorityThatIsNotANumber)
{
    double const values[] = {-eINFINITY, -DBL_MAX, -2.0, 0.5, DBL_MAX, eINFINITY, eNAN};
    int numKept = 0;
    for (TqLFrustum3f const& frustum : {Parallel(), Perspective()}) {
        View view(frustum);
        view.traversal.SetCullArea(0.0);
        for (unsigned int const primary : {0U, 1U}) {
            view.traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(primary));
            for (int code = 0; code < 7 * 7 * 7 * 7 * 7 * 7; ++code) {
                double c[6];
                int rest = code;
                for (double& coordinate : c) {
                    coordinate = values[rest % 7];
                    rest /= 7;
                }
                PlainTraversable node = MakeNode(MakeBox(c[0], c[1], c[2], c[3], c[4], c[5]));
                TqOcRenderTravCullData data = {};
                if (view.cull.CalcPriority(&view.traversal, 0, &node, 7, &data) != 0) {
                    ++numKept;
                    ASSERT_FALSE(std::isnan(data.priority) || std::isnan(data.distance))
                        << c[0] << " " << c[1] << " " << c[2] << " to " << c[3] << " " << c[4]
                        << " " << c[5] << " primary " << primary;
                }
            }
        }
    }
    EXPECT_GT(numKept, 0);
}

} // namespace
