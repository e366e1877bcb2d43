#include "geometry/TqLMatrix.h"

#include "GeometryRandom.h"
#include "support/PostedErrors.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double quarterTurn = 1.57079632679489661923;

void ExpectNear(TqLPos3f const& a, TqLPos3f const& b, double tolerance)
{
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(a[axis], b[axis], tolerance) << "axis " << axis;
    }
}

void ExpectNear(TqLAffine3f const& a, TqLAffine3f const& b, double tolerance)
{
    for (int index = 0; index < 12; ++index) {
        EXPECT_NEAR(a.Data()[index], b.Data()[index], tolerance) << "element " << index;
    }
}

void ExpectNear(TqLMatrix4f const& a, TqLMatrix4f const& b, double tolerance)
{
    for (int index = 0; index < 16; ++index) {
        EXPECT_NEAR(a.Data()[index], b.Data()[index], tolerance) << "element " << index;
    }
}

TqLMatrix4f RandomMatrix(SceneRandom* random, double size)
{
    TqLMatrix4f matrix;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            matrix[row][column] = random->Range(-size, size);
        }
    }
    return matrix;
}

// One post of severity 1 against the matrix component, and the identity.
template <class T>
void ExpectRefusedInverse(T const& value)
{
    PostedErrors posted;
    EXPECT_TRUE(value.Inverse().IsIdentity());
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqLMatrix");
}

} // namespace

// ---- The component ------------------------------------------------------------------------------

TEST(TqLMatrix, CountsItsUsers)
{
    int const before = TqLMatrix::IsInitialised();
    TqLMatrix::Initialise();
    TqLMatrix::Initialise();
    EXPECT_NE(TqLMatrix::IsInitialised(), 0);
    TqLMatrix::Terminate();
    EXPECT_NE(TqLMatrix::IsInitialised(), 0);
    TqLMatrix::Terminate();
    EXPECT_EQ(TqLMatrix::IsInitialised(), before);
}

// ---- TqLAffine3f: identity and makers -----------------------------------------------------------

TEST(TqLAffine3f, IsTheIdentityAfterConstructionAndMadeItAgain)
{
    TqLAffine3f affine;
    EXPECT_TRUE(affine.IsIdentity());
    EXPECT_EQ(TqLPos3f(1.0, 2.0, 3.0) * affine, TqLPos3f(1.0, 2.0, 3.0));
    affine[3][1] = 5.0;
    EXPECT_FALSE(affine.IsIdentity());
    affine.MakeIdentity();
    EXPECT_TRUE(affine.IsIdentity());
}

TEST(TqLAffine3f, IsIdentityOnlyWithAllTwelveElementsExact)
{
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            TqLAffine3f affine;
            affine[row][column] += DBL_EPSILON;
            EXPECT_FALSE(affine.IsIdentity()) << row << ' ' << column;
            affine[row][column] = notANumber;
            EXPECT_FALSE(affine.IsIdentity()) << row << ' ' << column;
        }
    }
    TqLAffine3f negativeZero;
    negativeZero[3][0] = -0.0;
    EXPECT_TRUE(negativeZero.IsIdentity());
}

TEST(TqLAffine3f, StoresTheImagesOfTheAxesThenTheTranslation)
{
    TqLAffine3f const affine(TqLVec3f(1.0, 2.0, 3.0), TqLVec3f(4.0, 5.0, 6.0),
                             TqLVec3f(7.0, 8.0, 9.0), TqLVec3f(10.0, 11.0, 12.0));
    for (int index = 0; index < 12; ++index) {
        EXPECT_EQ(affine.Data()[index], index + 1.0);
    }
    EXPECT_EQ(affine[1][2], 6.0);
    EXPECT_EQ(affine.GetRow(2), TqLVec3f(7.0, 8.0, 9.0));
    EXPECT_EQ(affine.GetTranslation(), TqLVec3f(10.0, 11.0, 12.0));
    EXPECT_EQ(TqLVec3f(1.0, 0.0, 0.0) * affine, TqLVec3f(1.0, 2.0, 3.0));
    EXPECT_EQ(TqLPos3f() * affine, TqLPos3f(10.0, 11.0, 12.0));
}

TEST(TqLAffine3f, TransformsAPointAsARowVector)
{
    TqLAffine3f const affine(TqLVec3f(1.0, 2.0, 3.0), TqLVec3f(4.0, 5.0, 6.0),
                             TqLVec3f(7.0, 8.0, 9.0), TqLVec3f(10.0, 11.0, 12.0));
    EXPECT_EQ(TqLPos3f(1.0, 10.0, 100.0) * affine, TqLPos3f(751.0, 863.0, 975.0));
    EXPECT_EQ(TqLVec3f(1.0, 10.0, 100.0) * affine, TqLVec3f(741.0, 852.0, 963.0));
}

TEST(TqLAffine3f, AddsTheTranslationLast)
{
    TqLAffine3f affine;
    affine[1][0] = 1.0;
    affine[3][0] = -1e16;
    // (1e16 + 1) - 1e16: the one is rounded away.
    EXPECT_EQ((TqLPos3f(1e16, 1.0, 0.0) * affine)[0], 0.0);
}

TEST(TqLAffine3f, TranslatesPointsButNotVectors)
{
    TqLAffine3f const affine = TqLAffine3f::Translation(TqLVec3f(1.0, 2.0, 3.0));
    EXPECT_EQ(TqLPos3f(10.0, 10.0, 10.0) * affine, TqLPos3f(11.0, 12.0, 13.0));
    EXPECT_EQ(TqLVec3f(10.0, 10.0, 10.0) * affine, TqLVec3f(10.0, 10.0, 10.0));
}

TEST(TqLAffine3f, ScalesPerAxisAndByOneFactor)
{
    EXPECT_EQ(TqLPos3f(1.0, 1.0, 1.0) * TqLAffine3f::Scale(2.0, -3.0, 4.0),
              TqLPos3f(2.0, -3.0, 4.0));
    EXPECT_EQ(TqLPos3f(1.0, 2.0, 3.0) * TqLAffine3f::Scale(2.0), TqLPos3f(2.0, 4.0, 6.0));
}

TEST(TqLAffine3f, RotatesCounterClockwiseAboutAnAxisThatPointsAtTheViewer)
{
    TqLUnitVec3f const x(TqLVec3f(1.0, 0.0, 0.0));
    TqLUnitVec3f const y(TqLVec3f(0.0, 1.0, 0.0));
    TqLUnitVec3f const z(TqLVec3f(0.0, 0.0, 1.0));
    double const tolerance = 1e-15;
    ExpectNear(TqLPos3f(1.0, 0.0, 0.0) * TqLAffine3f::Rotation(z, quarterTurn),
               TqLPos3f(0.0, 1.0, 0.0), tolerance);
    ExpectNear(TqLPos3f(0.0, 1.0, 0.0) * TqLAffine3f::Rotation(x, quarterTurn),
               TqLPos3f(0.0, 0.0, 1.0), tolerance);
    ExpectNear(TqLPos3f(0.0, 0.0, 1.0) * TqLAffine3f::Rotation(y, quarterTurn),
               TqLPos3f(1.0, 0.0, 0.0), tolerance);
    EXPECT_TRUE(TqLAffine3f::Rotation(z, 0.0).IsIdentity());
    EXPECT_TRUE(TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f()), 1.0).IsIdentity());
}

TEST(TqLAffine3f, RotatesAboutACentreThatStays)
{
    TqLPos3f const center(5.0, 6.0, 7.0);
    TqLUnitVec3f const z(TqLVec3f(0.0, 0.0, 1.0));
    TqLAffine3f const affine = TqLAffine3f::Rotation(center, z, quarterTurn);
    ExpectNear(center * affine, center, 1e-14);
    ExpectNear(TqLPos3f(6.0, 6.0, 7.0) * affine, TqLPos3f(5.0, 7.0, 7.0), 1e-14);
}

TEST(TqLAffine3f, RandomRotationsKeepLengthsAnglesAndHandedness)
{
    SceneRandom random(31);
    for (int run = 0; run < 500; ++run) {
        SCOPED_TRACE(run);
        TqLUnitVec3f const axis(RandomDirection(&random));
        double const angle = random.Range(-10.0, 10.0);
        TqLAffine3f const turn = TqLAffine3f::Rotation(axis, angle);
        TqLVec3f const vec = RandomVec(&random, 1.0);
        TqLVec3f const image = vec * turn;
        ASSERT_NEAR(image.Length(), vec.Length(), 1e-14);
        ASSERT_NEAR(axis.Dot(image), axis.Dot(vec), 1e-14);
        // The part across the axis turns by the angle, and in its sense.
        TqLVec3f const across = vec - axis.Vec() * axis.Dot(vec);
        TqLVec3f const turned = image - axis.Vec() * axis.Dot(image);
        double const square = across.Dot(across);
        ASSERT_NEAR(across.Dot(turned), square * std::cos(angle), 1e-14);
        ASSERT_NEAR(axis.Dot(across.Cross(turned)), square * std::sin(angle), 1e-14);
    }
}

// ---- TqLAffine3f: products ----------------------------------------------------------------------

TEST(TqLAffine3f, AppliesTheLeftFactorOfAProductFirst)
{
    TqLAffine3f const scale = TqLAffine3f::Scale(2.0);
    TqLAffine3f const move = TqLAffine3f::Translation(TqLVec3f(1.0, 0.0, 0.0));
    EXPECT_EQ(TqLPos3f(1.0, 1.0, 1.0) * (scale * move), TqLPos3f(3.0, 2.0, 2.0));
    EXPECT_EQ(TqLPos3f(1.0, 1.0, 1.0) * (move * scale), TqLPos3f(4.0, 2.0, 2.0));
}

TEST(TqLAffine3f, ProductsAgreeWithTransformingOneAfterTheOther)
{
    SceneRandom random(32);
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLAffine3f const first = RandomAffine(&random, 10.0);
        TqLAffine3f const second = RandomAffine(&random, 10.0);
        TqLPos3f const point = RandomPos(&random, 10.0);
        LongVec const expected = LongTransform(LongTransform(LongVec(point), first), second);
        ExpectNear(point * (first * second), ToPos(expected), 1e-11);
        ExpectNear(TqLPos3f(TqLVec3f(point.Vec()) * first),
                   ToPos(LongTransform(LongVec(point), first) - LongVec(first.GetTranslation())),
                   1e-12);
    }
}

// ---- TqLAffine3f: inverse -----------------------------------------------------------------------

TEST(TqLAffine3f, InverseOfTheIdentityIsTheIdentity)
{
    EXPECT_TRUE(TqLAffine3f().Inverse().IsIdentity());
}

TEST(TqLAffine3f, InverseOfATranslationAndOfAPowerOfTwoScaleIsExact)
{
    TqLAffine3f const moved = TqLAffine3f::Translation(TqLVec3f(1.1, -2.2, 1e7)).Inverse();
    EXPECT_EQ(moved.GetTranslation(), TqLVec3f(-1.1, 2.2, -1e7));
    EXPECT_TRUE((TqLAffine3f::Translation(TqLVec3f(1.1, -2.2, 1e7)) * moved).IsIdentity());
    TqLAffine3f const scaled = TqLAffine3f::Scale(2.0, -0.25, 1024.0).Inverse();
    EXPECT_EQ(scaled[0][0], 0.5);
    EXPECT_EQ(scaled[1][1], -4.0);
    EXPECT_EQ(scaled[2][2], 1.0 / 1024.0);
}

TEST(TqLAffine3f, InverseUndoesARandomAffineOnBothSides)
{
    SceneRandom random(33);
    for (int run = 0; run < 2000; ++run) {
        SCOPED_TRACE(run);
        double const offset = random.Chance(0.3) ? 1e7 : 10.0;
        TqLAffine3f const affine = RandomAffine(&random, offset);
        TqLAffine3f const inverse = affine.Inverse();
        // The linear parts undo each other to rounding times the condition, at most e^4.
        for (int row = 0; row < 3; ++row) {
            TqLVec3f const image = affine.GetRow(row) * inverse;
            for (int column = 0; column < 3; ++column) {
                ASSERT_NEAR(image[column], row == column ? 1.0 : 0.0, 1e-13);
            }
        }
        TqLPos3f const point = RandomPos(&random, 10.0);
        LongVec const there = LongTransform(LongVec(point), affine);
        LongVec const back = LongTransform(there, inverse);
        ExpectNear(ToPos(back), point, 1e-14 * (offset + 100.0) * 60.0);
    }
}

TEST(TqLAffine3f, InvertsAnySizeOfScale)
{
    for (double const scale : {1e-150, 1e-100, 1e100, 1e150, 1e300}) {
        PostedErrors posted;
        TqLAffine3f const turn = TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f(1.0, 2.0, 3.0)), 0.7);
        TqLAffine3f const product =
            turn * TqLAffine3f::Scale(scale) * (turn * TqLAffine3f::Scale(scale)).Inverse();
        ExpectNear(product, TqLAffine3f(), 1e-14);
        EXPECT_TRUE(posted.Empty()) << scale;
    }
    PostedErrors posted;
    TqLAffine3f const uneven = TqLAffine3f::Scale(1e-100, 1.0, 1e100);
    ExpectNear(uneven * uneven.Inverse(), TqLAffine3f(), 1e-14);
    TqLAffine3f shear;
    shear[0][1] = 1e10;
    EXPECT_EQ(shear.Inverse()[0][1], -1e10);
    EXPECT_TRUE(posted.Empty());
}

TEST(TqLAffine3f, InverseOfASingularAffinePostsAndIsTheIdentity)
{
    ExpectRefusedInverse(TqLAffine3f::Scale(1.0, 0.0, 1.0));
    ExpectRefusedInverse(TqLAffine3f::Scale(0.0));
    // Rank 2 up to rounding: the third row is the sum of the others.
    SceneRandom random(34);
    for (int run = 0; run < 200; ++run) {
        SCOPED_TRACE(run);
        TqLVec3f const a = RandomDirection(&random);
        TqLVec3f const b = RandomDirection(&random);
        ExpectRefusedInverse(TqLAffine3f(a, b, a + b, TqLVec3f()));
        ExpectRefusedInverse(TqLAffine3f(a, a * 3.0, b, TqLVec3f()));
    }
}

TEST(TqLAffine3f, InverseOfANonFiniteAffinePostsAndIsTheIdentity)
{
    for (double const bad : {notANumber, infinity, -infinity}) {
        for (int row = 0; row < 4; ++row) {
            TqLAffine3f affine;
            affine[row][1] = bad;
            ExpectRefusedInverse(affine);
        }
    }
    // Regular, but with an inverse beyond the range of a double.
    ExpectRefusedInverse(TqLAffine3f::Scale(DBL_TRUE_MIN));
}

// ---- TqLAffine3f: boxes -------------------------------------------------------------------------

TEST(TqLAffine3f, TransformedBoxEnclosesTheEightTransformedCorners)
{
    SceneRandom random(35);
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLAffine3f const affine = RandomAffine(&random, 10.0);
        TqLBox3f const box = RandomBox(&random, 10.0, 10.0);
        TqLBox3f expected;
        for (int corner = 0; corner < 8; ++corner) {
            expected.ExtendBy(box.GetCorner(corner) * affine);
        }
        ASSERT_EQ(affine.TransformedBox(box), expected);
    }
}

TEST(TqLAffine3f, TransformedBoxKeepsEmptyBoxesEmptyAndInfiniteOnesFreeOfNaN)
{
    TqLAffine3f const turn = TqLAffine3f::Rotation(TqLUnitVec3f(), 0.5);
    EXPECT_EQ(turn.TransformedBox(TqLBox3f()), TqLBox3f());
    EXPECT_EQ(turn.TransformedBox(TqLBox3f(TqLPos3f(0.0, 0.0, 3.0), TqLPos3f(1.0, 1.0, 2.0))),
              TqLBox3f());
    TqLBox3f const slab(TqLPos3f(-infinity, -infinity, 1.0), TqLPos3f(infinity, infinity, 2.0));
    EXPECT_EQ(turn.TransformedBox(slab), slab);
}

// ---- TqLMatrix4f --------------------------------------------------------------------------------

TEST(TqLMatrix4f, IsTheIdentityAfterConstructionAndMadeItAgain)
{
    TqLMatrix4f matrix;
    EXPECT_TRUE(matrix.IsIdentity());
    for (int index = 0; index < 16; ++index) {
        TqLMatrix4f other;
        other[index / 4][index % 4] += DBL_EPSILON;
        EXPECT_FALSE(other.IsIdentity()) << index;
        other.MakeIdentity();
        EXPECT_TRUE(other.IsIdentity()) << index;
    }
}

TEST(TqLMatrix4f, IsRowMajorAndContiguous)
{
    double elements[16];
    for (int index = 0; index < 16; ++index) {
        elements[index] = index;
    }
    TqLMatrix4f const matrix(elements);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            EXPECT_EQ(matrix[row][column], 4 * row + column);
            EXPECT_EQ(matrix.Data()[4 * row + column], 4 * row + column);
        }
    }
}

TEST(TqLMatrix4f, DoesTheSameAsTheAffineItIsMadeFrom)
{
    SceneRandom random(36);
    TqLAffine3f const affine = RandomAffine(&random, 10.0);
    TqLMatrix4f const matrix(affine);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            EXPECT_EQ(matrix[row][column], affine[row][column]);
        }
        EXPECT_EQ(matrix[row][3], row == 3 ? 1.0 : 0.0);
    }
    TqLAffine3f const other = RandomAffine(&random, 10.0);
    ExpectNear(TqLMatrix4f(affine) * TqLMatrix4f(other), TqLMatrix4f(affine * other), 1e-12);
}

TEST(TqLMatrix4f, ProductsAddTheirTermsInOrder)
{
    SceneRandom random(37);
    for (int run = 0; run < 200; ++run) {
        SCOPED_TRACE(run);
        TqLMatrix4f const a = RandomMatrix(&random, 10.0);
        TqLMatrix4f const b = RandomMatrix(&random, 10.0);
        TqLMatrix4f const product = a * b;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k) {
                    double const term = a[row][k] * b[k][column];
                    sum = k == 0 ? term : sum + term;
                }
                ASSERT_EQ(product[row][column], sum);
            }
        }
    }
}

TEST(TqLMatrix4f, InverseUndoesARandomMatrixOnBothSides)
{
    SceneRandom random(38);
    int tested = 0;
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLMatrix4f const matrix = RandomMatrix(&random, 1.0);
        TqLMatrix4f const inverse = matrix.Inverse();
        double largest = 0.0;
        for (int index = 0; index < 16; ++index) {
            largest = std::max(largest, std::fabs(inverse.Data()[index]));
        }
        if (largest > 1e3) {
            continue; // badly conditioned: the bound below would say nothing
        }
        ++tested;
        ExpectNear(matrix * inverse, TqLMatrix4f(), 1e-14 * (1.0 + largest));
        ExpectNear(inverse * matrix, TqLMatrix4f(), 1e-14 * (1.0 + largest));
    }
    EXPECT_GT(tested, 900);
}

TEST(TqLMatrix4f, InverseOfASingularOrNonFiniteMatrixPostsAndIsTheIdentity)
{
    TqLMatrix4f matrix;
    matrix[2][2] = 0.0;
    ExpectRefusedInverse(matrix);
    for (double const bad : {notANumber, infinity}) {
        for (int index = 0; index < 16; ++index) {
            TqLMatrix4f other;
            other[index / 4][index % 4] = bad;
            ExpectRefusedInverse(other);
        }
    }
    TqLMatrix4f tiny;
    tiny[0][0] = DBL_TRUE_MIN;
    ExpectRefusedInverse(tiny);
}
