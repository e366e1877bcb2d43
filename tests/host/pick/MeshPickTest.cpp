#include "host/pick/MeshPick.h"

#include "host/pick/PickMeshes.h"

#include "geometry/TqLFrustum3f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace
{

using namespace host;

constexpr double s_infinity = std::numeric_limits<double>::infinity();

/// The answers of asking the kernels about every triangle.
class BruteForce
{
public:
    BruteForce(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings)
    {
        std::uint32_t const kind = mesh.GetMesh().corners;
        m_isContained = mesh.GetMesh().GetNumPrimitives() > 0;
        for (std::uint32_t i = 0; i < mesh.GetMesh().GetNumPrimitives(); ++i) {
            TqLPos3f corners[3];
            mesh.GetCorners(i, corners);
            FrustumHit hit;
            bool isHit = kind == 1   ? HitPoint(volume, corners[0], &hit)
                         : kind == 2 ? HitSegment(volume, corners, &hit)
                                     : HitTriangle(volume, corners, settings.m_hits, &hit);
            if (settings.m_frontFacesOnly) {
                isHit = isHit && mesh.GetFront(corners).Dot(volume.GetLookAt(hit.m_point)) < 0.0;
            }
            if (isHit && (!m_isHit || hit.m_distance < m_hit.m_hit.m_distance)) {
                m_isHit = true;
                m_hit.m_primitive = i;
                m_hit.m_hit = hit;
            }
            for (TqLPos3f const& corner : corners) {
                for (int plane = 0; plane < TqLPickFrustum3f::eNUM_PLANES; ++plane) {
                    m_isContained = m_isContained && volume.GetPlane(plane).IsInHalfspace(corner);
                }
            }
        }
    }

    bool m_isHit = false;
    bool m_isContained = false;
    MeshHit m_hit;
};

/// Placements of every kind, around a middle.
std::vector<TqLAffine3f> MakePlacements()
{
    return {TqLAffine3f(),
            MakePickPlacement(TqLVec3f(1.0, 1.0, 1.0), 0.7, TqLVec3f(1.0, 2.0, 3.0)),
            MakePickPlacement(TqLVec3f(-2.0, 0.3, 1.0), 2.0, TqLVec3f(-4.0, 0.0, 1.0)),
            MakePickPlacement(TqLVec3f(1.0, 1e-3, 50.0), 1.0, TqLVec3f(0.0, 0.0, 0.0)),
            MakePickPlacement(TqLVec3f(1.0, 0.0, 1.0), 0.3, TqLVec3f(0.0, 1.0, 0.0)),
            MakePickPlacement(TqLVec3f(1.0, -1.0, 1.0), 0.3, TqLVec3f(1e6, -1e6, 1e6))};
}

TqLPickFrustum3f MakeRandomPick(PickRandom& random, TqLBox3f const& target)
{
    TqLVec3f const size = target.GetSize();
    double const length = size.Length();
    TqLPos3f const eye = target.GetCenter() + random.Vector(length);
    TqLVec3f const to = target.GetCenter() + random.Vector(0.3 * length) - eye;
    double const angles[3] = {1e-3, 0.1, 2.5};
    double const angle = angles[random.Below(3)];
    TqLVec3f const up(0.1, 1.0, 0.2);
    if (random.Below(4) == 0) {
        return TqLPickFrustum3f(TqLFrustum3f::Parallel(eye, to, up, angle * length,
                                                       0.5 * angle * length, -length, length));
    }
    return TqLPickFrustum3f(
        TqLFrustum3f::Perspective(eye, to, up, angle, 1.5, 0.01 * length, 3.0 * length));
}

} // namespace

TEST(MeshPick, AnswersAsAskingEveryTriangle)
{
    constexpr unsigned eSEED = 41;
    PickRandom random(eSEED);
    Mesh const mesh = MakePickSoup(700, 1.0, random);
    MeshTree const tree(mesh);
    int numHits = 0;
    int numContained = 0;
    for (TqLAffine3f const& toWorld : MakePlacements()) {
        PlacedMesh const placed(mesh, tree, toWorld);
        for (int round = 0; round < 150; ++round) {
            SCOPED_TRACE(testing::Message() << "seed " << eSEED << ", round " << round);
            TqLPlane3f const clip(TqLUnitVec3f(random.Vector(1.0)),
                                  TqLPos3f(toWorld.GetTranslation()));
            PickVolume const volume(MakeRandomPick(random, TransformBox(mesh.box, toWorld)), &clip,
                                    static_cast<int>(random.Below(2)));
            MeshPickSettings settings;
            settings.m_frontFacesOnly = random.Below(2) == 0;
            settings.m_hits =
                random.Below(3) == 0 ? TriangleHits::eLINE_OF_SIGHT : TriangleHits::eANYWHERE;
            BruteForce const brute(placed, volume, settings);
            numHits += brute.m_isHit ? 1 : 0;
            numContained += brute.m_isContained ? 1 : 0;
            MeshHit hit;
            ASSERT_EQ(FindNearestHit(placed, volume, settings, s_infinity, &hit), brute.m_isHit);
            ASSERT_EQ(IsTouched(placed, volume, settings), brute.m_isHit);
            ASSERT_EQ(IsContained(placed, volume, settings), brute.m_isContained);
            if (brute.m_isHit) {
                ASSERT_EQ(hit.m_primitive, brute.m_hit.m_primitive);
                ASSERT_EQ(hit.m_hit.m_point, brute.m_hit.m_hit.m_point);
                double const distance = hit.m_hit.m_distance;
                ASSERT_EQ(distance, brute.m_hit.m_hit.m_distance);
                // Only what is strictly nearer than the limit counts.
                ASSERT_FALSE(FindNearestHit(placed, volume, settings, distance, &hit));
                ASSERT_TRUE(
                    FindNearestHit(placed, volume, settings, distance * (1.0 + 1e-12), &hit));
            }
        }
    }
    EXPECT_GT(numHits, 200);
    EXPECT_GT(numContained, 10);
}

TEST(MeshPick, FindsTheContactThatAskingEveryTriangleFinds)
{
    constexpr unsigned eSEED = 42;
    PickRandom random(eSEED);
    Mesh const mesh = MakePickSoup(400, 1.0, random);
    MeshTree const tree(mesh);
    int numTouched = 0;
    int numLate = 0;
    for (TqLAffine3f const& toWorld : MakePlacements()) {
        PlacedMesh const placed(mesh, tree, toWorld);
        TqLBox3f const box = TransformBox(mesh.box, toWorld);
        double const length = box.GetSize().Length();
        for (int round = 0; round < 100; ++round) {
            SCOPED_TRACE(testing::Message() << "seed " << eSEED << ", round " << round);
            TqLPos3f const start = box.GetCenter() + random.Vector(0.8 * length);
            TqLVec3f const motion = box.GetCenter() + random.Vector(0.3 * length) - start;
            double const size = random.In(0.0, 0.05) * length;
            TqLPickSweep const sweep = random.Below(2) == 0
                                           ? TqLPickSweep(start, size, motion)
                                           : TqLPickSweep(start, TqLVec3f(size, 0.1, size), motion);
            MeshPickSettings settings;
            settings.m_frontFacesOnly = random.Below(2) == 0;
            bool isTouched = false;
            MeshContact first;
            for (std::uint32_t i = 0; i < mesh.GetNumTriangles(); ++i) {
                TqLPos3f corners[3];
                placed.GetCorners(i, corners);
                bool const isFacing =
                    !settings.m_frontFacesOnly || placed.GetFront(corners).Dot(motion) < 0.0;
                SweepContact contact;
                if (isFacing && SweepTriangle(sweep, corners, &contact) &&
                    (!isTouched || contact.m_fraction < first.m_contact.m_fraction)) {
                    isTouched = true;
                    first.m_primitive = i;
                    first.m_contact = contact;
                }
            }
            MeshContact found;
            ASSERT_EQ(FindContact(placed, sweep, nullptr, 0, settings, &found), isTouched);
            if (isTouched) {
                ++numTouched;
                numLate += first.m_contact.m_fraction > 0.0 ? 1 : 0;
                ASSERT_EQ(found.m_primitive, first.m_primitive);
                ASSERT_EQ(found.m_contact.m_fraction, first.m_contact.m_fraction);
                ASSERT_EQ(found.m_contact.m_point, first.m_contact.m_point);
            }
        }
    }
    EXPECT_GT(numTouched, 200);
    EXPECT_GT(numLate, 100);
}

TEST(MeshPick, AnswersAsAskingEveryLineAndPoint)
{
    constexpr unsigned eSEED = 45;
    PickRandom random(eSEED);
    for (std::uint32_t const corners : {1u, 2u}) {
        Mesh mesh = MakePickSoup(400, 1.0, random);
        mesh.corners = corners;
        MeshTree const tree(mesh);
        int numHits = 0;
        for (TqLAffine3f const& toWorld : MakePlacements()) {
            PlacedMesh const placed(mesh, tree, toWorld);
            for (int round = 0; round < 50; ++round) {
                SCOPED_TRACE(testing::Message() << "seed " << eSEED << ", round " << round);
                PickVolume const volume(MakeRandomPick(random, TransformBox(mesh.box, toWorld)),
                                        nullptr, 0);
                MeshPickSettings const settings;
                BruteForce const brute(placed, volume, settings);
                numHits += brute.m_isHit ? 1 : 0;
                MeshHit hit;
                ASSERT_EQ(FindNearestHit(placed, volume, settings, s_infinity, &hit),
                          brute.m_isHit);
                ASSERT_EQ(IsTouched(placed, volume, settings), brute.m_isHit);
                ASSERT_EQ(IsContained(placed, volume, settings), brute.m_isContained);
                if (brute.m_isHit) {
                    ASSERT_EQ(hit.m_primitive, brute.m_hit.m_primitive);
                    ASSERT_EQ(hit.m_hit.m_point, brute.m_hit.m_hit.m_point);
                }
            }
        }
        EXPECT_GT(numHits, 30);
    }
}

TEST(MeshPick, LosesNoTouchToTheRoundingOfItsBoxes)
{
    // Planes and bodies are put where they touch a corner, up to rounding: whether the kernel finds
    // a touch is a matter of luck, and the tree must have the same luck.
    constexpr unsigned eSEED = 46;
    PickRandom random(eSEED);
    int numHits = 0;
    int numContacts = 0;
    for (int round = 0; round < 6000; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << eSEED << ", round " << round);
        Mesh const mesh = MakePickSoup(1, 1.0, random);
        MeshTree const tree(mesh);
        double const far = random.Below(2) == 0 ? 10.0 : 1e6;
        TqLAffine3f const toWorld = MakePickPlacement(TqLVec3f(random.In(0.1, 3.0), 1.0, -0.5),
                                                      random.In(0.0, 6.0), random.Vector(far));
        PlacedMesh const placed(mesh, tree, toWorld);
        TqLPos3f corners[3];
        placed.GetCorners(0, corners);
        // A view of which an edge runs along the corner that is farthest out.
        TqLVec3f const into = random.Vector(1.0);
        TqLUnitVec3f const right(into.Cross(TqLVec3f(0.0, 1.0, 0.0)));
        TqLPos3f const* const last =
            std::min_element(corners, corners + 3, [&](TqLPos3f const& a, TqLPos3f const& b) {
                return right.Dot(a - corners[0]) < right.Dot(b - corners[0]);
            });
        TqLPickFrustum3f const beside(TqLFrustum3f::Parallel(
            *last - right.Vec() * 4.0, into, TqLVec3f(0.0, 1.0, 0.0), 8.0, 20.0, -20.0, 20.0));
        PickVolume const volume(beside, nullptr, 0);
        MeshPickSettings const settings;
        BruteForce const brute(placed, volume, settings);
        numHits += brute.m_isHit ? 1 : 0;
        ASSERT_EQ(IsTouched(placed, volume, settings), brute.m_isHit);
        // A box that slides past the topmost corner.
        TqLPos3f const* const top = std::max_element(
            corners, corners + 3, [](TqLPos3f const& a, TqLPos3f const& b) { return a[1] < b[1]; });
        double const halfHeight = random.In(0.0, 1.0);
        TqLPos3f const start(top->Get(0) - 5.0, top->Get(1) + halfHeight, top->Get(2));
        TqLPickSweep const sweep(start, TqLVec3f(0.5, halfHeight, 0.5), TqLVec3f(10.0, 0.0, 0.0));
        SweepContact alone;
        MeshContact contact;
        bool const touches = SweepTriangle(sweep, corners, &alone);
        numContacts += touches ? 1 : 0;
        ASSERT_EQ(FindContact(placed, sweep, nullptr, 0, settings, &contact), touches);
    }
    EXPECT_GT(numHits, 500);
    EXPECT_LT(numHits, 5500);
    EXPECT_GT(numContacts, 500);
    EXPECT_LT(numContacts, 6000);
}

TEST(MeshPick, LetsABodyThroughWhereClipPlanesCutAway)
{
    Mesh const cube = MakePickCube();
    MeshTree const tree(cube);
    TqLAffine3f const toWorld = TqLAffine3f::Translation(TqLVec3f(10.0, 0.0, 0.0));
    PlacedMesh const placed(cube, tree, toWorld);
    TqLPickSweep const sweep(TqLPos3f(), 0.25, TqLVec3f(20.0, 0.0, 0.0));
    MeshContact contact;
    ASSERT_TRUE(FindContact(placed, sweep, nullptr, 0, MeshPickSettings(), &contact));
    EXPECT_DOUBLE_EQ(contact.m_contact.m_fraction, 9.25 / 20.0);
    // What is left of x = 10.2 is gone: the sphere meets the far face from within.
    TqLPlane3f const half(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 10.2);
    ASSERT_TRUE(FindContact(placed, sweep, &half, 1, MeshPickSettings(), &contact));
    EXPECT_DOUBLE_EQ(contact.m_contact.m_fraction, 10.25 / 20.0);
    TqLPlane3f const all(TqLUnitVec3f(TqLVec3f(1.0, 0.0, 0.0)), 11.0);
    EXPECT_FALSE(FindContact(placed, sweep, &all, 1, MeshPickSettings(), &contact));
}

TEST(MeshPick, SeesTheFrontOfAMirroredMeshFromOutside)
{
    Mesh const cube = MakePickCube();
    MeshTree const tree(cube);
    MeshPickSettings settings;
    settings.m_frontFacesOnly = true;
    TqLFrustum3f const view =
        TqLFrustum3f::Perspective(TqLPos3f(0.2, 0.1, 10.0), TqLVec3f(0.0, 0.0, -1.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1e-3, 1.0, 0.1, 100.0);
    PickVolume const volume((TqLPickFrustum3f(view)), nullptr, 0);
    for (double const x : {1.0, -1.0}) {
        TqLAffine3f const toWorld = TqLAffine3f::Scale(x, 1.0, 1.0);
        PlacedMesh const placed(cube, tree, toWorld);
        MeshHit hit;
        ASSERT_TRUE(FindNearestHit(placed, volume, settings, s_infinity, &hit));
        EXPECT_NEAR(hit.m_hit.m_distance, 9.5, 1e-6) << x;
    }
    // From within, every face shows its back.
    TqLFrustum3f const inner = TqLFrustum3f::Perspective(
        TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0), TqLVec3f(0.0, 1.0, 0.0), 1.0, 1.0, 0.01, 100.0);
    PickVolume const innerVolume((TqLPickFrustum3f(inner)), nullptr, 0);
    TqLAffine3f const toWorld;
    PlacedMesh const placed(cube, tree, toWorld);
    MeshHit hit;
    EXPECT_FALSE(FindNearestHit(placed, innerVolume, settings, s_infinity, &hit));
    settings.m_frontFacesOnly = false;
    EXPECT_TRUE(FindNearestHit(placed, innerVolume, settings, s_infinity, &hit));
}

TEST(MeshPick, TakesTheLowestNumberOfTrianglesAtOneDistance)
{
    // The same triangle many times over.
    Mesh mesh;
    mesh.positions = {-1.0f, -1.0f, 0.0f, 1.0f, -1.0f, 0.0f, 0.0f, 1.0f, 0.0f};
    mesh.normals.resize(9);
    for (int i = 0; i < 40; ++i) {
        mesh.indices.insert(mesh.indices.end(), {0, 1, 2});
    }
    mesh.UpdateBox();
    MeshTree const tree(mesh);
    TqLAffine3f const toWorld;
    PlacedMesh const placed(mesh, tree, toWorld);
    TqLFrustum3f const view =
        TqLFrustum3f::Perspective(TqLPos3f(0.0, 0.0, 10.0), TqLVec3f(0.0, 0.0, -1.0),
                                  TqLVec3f(0.0, 1.0, 0.0), 1e-3, 1.0, 0.1, 100.0);
    MeshHit hit;
    PickVolume const volume((TqLPickFrustum3f(view)), nullptr, 0);
    ASSERT_TRUE(FindNearestHit(placed, volume, MeshPickSettings(), s_infinity, &hit));
    EXPECT_EQ(hit.m_primitive, 0u);
    MeshContact contact;
    TqLPickSweep const sweep(TqLPos3f(0.0, 0.0, 5.0), 1.0, TqLVec3f(0.0, 0.0, -9.0));
    ASSERT_TRUE(FindContact(placed, sweep, nullptr, 0, MeshPickSettings(), &contact));
    EXPECT_EQ(contact.m_primitive, 0u);
    TqLPickSweep const touching(TqLPos3f(0.0, 0.0, 1.0), 1.0, TqLVec3f(0.0, 0.0, -9.0));
    ASSERT_TRUE(FindContact(placed, touching, nullptr, 0, MeshPickSettings(), &contact));
    EXPECT_EQ(contact.m_contact.m_fraction, 0.0);
    EXPECT_EQ(contact.m_primitive, 0u);
}

TEST(MeshPick, AsksFewOfManyTriangles)
{
    // A floor of 64 x 64 squares, one unit each.
    constexpr std::uint32_t eSIDE = 64;
    Mesh mesh;
    for (std::uint32_t z = 0; z <= eSIDE; ++z) {
        for (std::uint32_t x = 0; x <= eSIDE; ++x) {
            mesh.positions.insert(mesh.positions.end(),
                                  {static_cast<float>(x), 0.0f, static_cast<float>(z)});
            std::uint32_t const at = z * (eSIDE + 1) + x;
            if (x < eSIDE && z < eSIDE) {
                mesh.indices.insert(mesh.indices.end(), {at, at + eSIDE + 1, at + 1, at + 1,
                                                         at + eSIDE + 1, at + eSIDE + 2});
            }
        }
    }
    mesh.normals.resize(mesh.positions.size());
    mesh.UpdateBox();
    MeshTree const tree(mesh);
    TqLAffine3f const toWorld;
    PlacedMesh const placed(mesh, tree, toWorld);
    // Asked once in 64 triangles, so that a search which looks at fewer never asks.
    int asked = 0;
    MeshPickSettings settings;
    settings.m_isOver = [&asked] {
        ++asked;
        return false;
    };
    PickVolume const volume(TqLPickFrustum3f(TqLFrustum3f::Perspective(
                                TqLPos3f(9.3, 5.0, 40.4), TqLVec3f(0.1, -1.0, 0.2),
                                TqLVec3f(0.0, 0.0, 1.0), 1e-3, 1.0, 0.1, 100.0)),
                            nullptr, 0);
    MeshHit hit;
    EXPECT_TRUE(FindNearestHit(placed, volume, settings, s_infinity, &hit));
    EXPECT_TRUE(IsTouched(placed, volume, settings));
    EXPECT_FALSE(IsContained(placed, volume, settings));
    // Falls, slides above the floor, and falls askew past its rim.
    MeshContact contact;
    TqLPos3f const start(9.3, 5.0, 40.4);
    EXPECT_TRUE(FindContact(placed, TqLPickSweep(start, 0.4, TqLVec3f(0.0, -9.0, 0.0)), nullptr, 0,
                            settings, &contact));
    EXPECT_FALSE(FindContact(placed, TqLPickSweep(start, 0.4, TqLVec3f(50.0, 0.0, 0.0)), nullptr, 0,
                             settings, &contact));
    EXPECT_FALSE(FindContact(placed, TqLPickSweep(start, 0.4, TqLVec3f(-40.0, -9.0, 0.0)), nullptr,
                             0, settings, &contact));
    EXPECT_EQ(asked, 0);
}

TEST(MeshPick, GivesUpWhenToldAndKeepsWhatItFound)
{
    constexpr unsigned eSEED = 43;
    PickRandom random(eSEED);
    Mesh const mesh = MakePickSoup(2000, 1.0, random);
    MeshTree const tree(mesh);
    TqLAffine3f const toWorld;
    PlacedMesh const placed(mesh, tree, toWorld);
    PickVolume const volume(
        TqLPickFrustum3f(TqLFrustum3f::Parallel(TqLPos3f(), TqLVec3f(0.0, 0.0, -1.0),
                                                TqLVec3f(0.0, 1.0, 0.0), 9.0, 9.0, -9.0, 9.0)),
        nullptr, 0);
    MeshPickSettings settings;
    MeshHit hit;
    ASSERT_TRUE(IsContained(placed, volume, settings));
    int asked = 0;
    settings.m_isOver = [&asked] { return ++asked > 0; };
    EXPECT_TRUE(FindNearestHit(placed, volume, settings, s_infinity, &hit));
    EXPECT_EQ(asked, 1);
}

TEST(MeshPick, LooksNoFurtherWhenTold)
{
    Mesh const mesh = MakePickSlats(1000);
    MeshTree const tree(mesh);
    TqLAffine3f const toWorld;
    PlacedMesh const placed(mesh, tree, toWorld);
    // Both look down. One has a side just beyond all triangles and through their boxes; the other
    // stands in the half of their boxes that no triangle reaches.
    TqLVec3f const down(0.0, -1.0, 0.0);
    auto const look = [&down](TqLPos3f const& from, TqLVec3f const& up, double size) {
        return PickVolume(
            TqLPickFrustum3f(TqLFrustum3f::Parallel(from, down, up, size, size, 0.0, 10.0)),
            nullptr, 0);
    };
    PickVolume const around = look(TqLPos3f(0.0, 5.0, 0.0), TqLVec3f(1.0, 0.0, 1.0), 1.5);
    PickVolume const beside = look(TqLPos3f(0.9, 5.0, 0.9), TqLVec3f(0.0, 0.0, 1.0), 0.1);
    MeshPickSettings settings;
    EXPECT_TRUE(IsContained(placed, around, settings));
    EXPECT_FALSE(IsTouched(placed, beside, settings));
    int asked = 0;
    settings.m_isOver = [&asked] {
        ++asked;
        return false;
    };
    EXPECT_TRUE(IsContained(placed, around, settings));
    EXPECT_GT(asked, 1);
    asked = 0;
    EXPECT_FALSE(IsTouched(placed, beside, settings));
    EXPECT_GT(asked, 1);
    asked = 0;
    TqLPickSweep const besideAll(TqLPos3f(0.9, -1.0, 0.9), 0.05, TqLVec3f(0.0, 3.0, 0.0));
    MeshContact contact;
    EXPECT_FALSE(FindContact(placed, besideAll, nullptr, 0, settings, &contact));
    EXPECT_GT(asked, 1);

    settings.m_isOver = [&asked] {
        ++asked;
        return true;
    };
    asked = 0;
    EXPECT_FALSE(IsContained(placed, around, settings)) << "not all of it was seen to be";
    EXPECT_EQ(asked, 1);
    asked = 0;
    EXPECT_FALSE(IsTouched(placed, beside, settings));
    EXPECT_EQ(asked, 1);
    asked = 0;
    EXPECT_FALSE(FindContact(placed, besideAll, nullptr, 0, settings, &contact));
    EXPECT_EQ(asked, 1);
}

TEST(MeshTree, HoldsEveryPrimitiveOnce)
{
    struct AskAll
    {
        double Rank(TqLBox3f const&) const { return 0.0; }

        double GetLimit() const { return 0.0; }

        bool Visit(std::uint32_t primitive)
        {
            m_seen.insert(primitive);
            return true;
        }

        std::multiset<std::uint32_t> m_seen;
    };

    constexpr unsigned eSEED = 44;
    PickRandom random(eSEED);
    for (std::size_t const count : {0u, 1u, 4u, 5u, 9u, 1000u}) {
        Mesh const mesh = MakePickSoup(count, 1.0, random);
        MeshTree const tree(mesh);
        AskAll query;
        EXPECT_TRUE(tree.Walk(query));
        EXPECT_EQ(query.m_seen.size(), count);
        EXPECT_EQ(std::set<std::uint32_t>(query.m_seen.begin(), query.m_seen.end()).size(), count);
        EXPECT_EQ(tree.IsEmpty(), count == 0);
    }
}

TEST(MeshTree, IsEmptyForAMeshWithIndicesOutsideItsVertices)
{
    Mesh mesh = MakePickCube();
    mesh.indices[5] = 8;
    EXPECT_TRUE(MeshTree(mesh).IsEmpty());
}

TEST(MeshTrees, BuildATreeAtItsFirstUse)
{
    SceneModel model;
    model.meshes = {MakePickCube(), MakePickCube()};
    MeshTrees trees(model);
    EXPECT_EQ(trees.GetNumBytes(), 0u);
    MeshTree const& tree = trees.GetTree(1);
    EXPECT_GT(trees.GetNumBytes(), 0u);
    EXPECT_EQ(&trees.GetTree(1), &tree);
    EXPECT_EQ(trees.GetNumBytes(), tree.GetNumBytes());
}
