#include "geometry/TqLBox.h"

#include "GeometryRandom.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <limits>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TqLBox3f MakeBox(double x0, double y0, double z0, double x1, double y1, double z1)
{
    return TqLBox3f(TqLPos3f(x0, y0, z0), TqLPos3f(x1, y1, z1));
}

TqLBox3f EmptyBox()
{
    TqLBox3f box = MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
    box.MakeEmpty();
    return box;
}

} // namespace

// ---- Two dimensions -----------------------------------------------------------------------------

TEST(TqLBox2f, IsEmptyAfterConstructionAndMadeEmptyAgain)
{
    TqLBox2f box;
    EXPECT_TRUE(box.IsEmpty());
    box.SetValue(TqLPos2f(-1.0, -2.0), TqLPos2f(3.0, 4.0));
    EXPECT_FALSE(box.IsEmpty());
    EXPECT_EQ(box.GetMin(), TqLPos2f(-1.0, -2.0));
    EXPECT_EQ(box.GetMax(), TqLPos2f(3.0, 4.0));
    box.MakeEmpty();
    EXPECT_GT(box.GetMin()[0], box.GetMax()[0]);
    EXPECT_GT(box.GetMin()[1], box.GetMax()[1]);
}

TEST(TqLBox2f, CopiesBothCornersFromABox)
{
    TqLBox2f const source(TqLPos2f(1.0, 2.0), TqLPos2f(3.0, 4.0));
    TqLBox2f box;
    EXPECT_NE(box, source);
    box.SetValue(source);
    EXPECT_EQ(box, source);
}

// ---- Emptiness ----------------------------------------------------------------------------------

TEST(TqLBox3f, IsEmptyAfterConstruction)
{
    EXPECT_EQ(TqLBox3f(), EmptyBox());
}

TEST(TqLBox3f, MakesEmptyWithTheMinimumGreaterThanTheMaximumAndFinite)
{
    TqLBox3f const box = EmptyBox();
    EXPECT_TRUE(box.IsEmpty());
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(box.GetMin()[axis], DBL_MAX);
        EXPECT_EQ(box.GetMax()[axis], -DBL_MAX);
    }
}

TEST(TqLBox3f, IsEmptyWhenTheMinimumExceedsTheMaximumOnAnyAxis)
{
    EXPECT_TRUE(MakeBox(1.0, 0.0, 0.0, 0.0, 1.0, 1.0).IsEmpty());
    EXPECT_TRUE(MakeBox(0.0, 1.0, 0.0, 1.0, 0.0, 1.0).IsEmpty());
    EXPECT_TRUE(MakeBox(0.0, 0.0, 1.0, 1.0, 1.0, 0.0).IsEmpty());
    EXPECT_FALSE(MakeBox(0.0, 0.0, 0.0, 0.0, 0.0, 0.0).IsEmpty());
    EXPECT_FALSE(MakeBox(notANumber, 0.0, 0.0, 0.0, 0.0, 0.0).IsEmpty());
}

TEST(TqLBox3f, TwoEmptyBoxesAreEqualOnlyWhenAllSixComponentsAre)
{
    EXPECT_EQ(EmptyBox(), EmptyBox());
    for (int component = 0; component < 6; ++component) {
        TqLPos3f min = EmptyBox().GetMin();
        TqLPos3f max = EmptyBox().GetMax();
        (component < 3 ? min : max)[component % 3] = component < 3 ? 5.0 : -5.0;
        TqLBox3f const other(min, max);
        EXPECT_TRUE(other.IsEmpty()) << component;
        EXPECT_FALSE(other == EmptyBox()) << component;
        EXPECT_TRUE(other != EmptyBox()) << component;
    }
}

// ---- Growing ------------------------------------------------------------------------------------

TEST(TqLBox3f, EmptyBoxExtendedByABoxEqualsThatBox)
{
    TqLBox3f const box = MakeBox(-1.0, 2.0, -3.0, 4.0, 5.0, -2.0);
    TqLBox3f grown = EmptyBox();
    grown.ExtendBy(box);
    EXPECT_EQ(grown, box);

    TqLBox3f point = EmptyBox();
    point.ExtendBy(MakeBox(7.0, 7.0, 7.0, 7.0, 7.0, 7.0));
    EXPECT_EQ(point, MakeBox(7.0, 7.0, 7.0, 7.0, 7.0, 7.0));
}

TEST(TqLBox3f, ExtendedByAnEmptyBoxStaysAsItIs)
{
    TqLBox3f const box = MakeBox(-1.0, 2.0, -3.0, 4.0, 5.0, -2.0);
    TqLBox3f grown = box;
    grown.ExtendBy(EmptyBox());
    EXPECT_EQ(grown, box);
    TqLBox3f empty = EmptyBox();
    empty.ExtendBy(EmptyBox());
    EXPECT_EQ(empty, EmptyBox());
}

TEST(TqLBox3f, GrowsToEncloseABox)
{
    TqLBox3f box = MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
    box.ExtendBy(MakeBox(-1.0, 0.5, 2.0, 0.5, 3.0, 4.0));
    EXPECT_EQ(box, MakeBox(-1.0, 0.0, 0.0, 1.0, 3.0, 4.0));
}

TEST(TqLBox3f, GrowsToEncloseAPoint)
{
    TqLBox3f box;
    box.ExtendBy(TqLPos3f(1.0, 2.0, 3.0));
    EXPECT_EQ(box, MakeBox(1.0, 2.0, 3.0, 1.0, 2.0, 3.0));
    box.ExtendBy(TqLPos3f(0.0, 5.0, 3.0));
    EXPECT_EQ(box, MakeBox(0.0, 2.0, 3.0, 1.0, 5.0, 3.0));
    box.ExtendBy(TqLPos3f(notANumber, 6.0, notANumber));
    EXPECT_EQ(box, MakeBox(0.0, 2.0, 3.0, 1.0, 6.0, 3.0));
}

TEST(TqLBox3f, NaNNeverEntersAnExtendedBox)
{
    TqLBox3f const nan = MakeBox(notANumber, 0.0, notANumber, 1.0, notANumber, notANumber);
    TqLBox3f box = MakeBox(0.0, 0.5, 0.0, 0.5, 1.0, 1.0);
    box.ExtendBy(nan);
    EXPECT_EQ(box, MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0));

    TqLBox3f empty;
    empty.ExtendBy(nan);
    EXPECT_EQ(empty.GetMin(), TqLPos3f(DBL_MAX, 0.0, DBL_MAX));
    EXPECT_EQ(empty.GetMax(), TqLPos3f(1.0, -DBL_MAX, -DBL_MAX));
}

TEST(TqLBox3f, ExtendsByAnInfiniteBox)
{
    TqLBox3f box = MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
    box.ExtendBy(MakeBox(-infinity, 0.0, 0.0, infinity, 1.0, 1.0));
    EXPECT_EQ(box, MakeBox(-infinity, 0.0, 0.0, infinity, 1.0, 1.0));
}

TEST(TqLBox3f, UnionEnclosesBothAndChangesNeither)
{
    TqLBox3f const a = MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
    TqLBox3f const b = MakeBox(2.0, -1.0, 0.25, 3.0, 0.5, 0.5);
    EXPECT_EQ(a.Union(b), MakeBox(0.0, -1.0, 0.0, 3.0, 1.0, 1.0));
    EXPECT_EQ(b.Union(a), a.Union(b));
    EXPECT_EQ(a, MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0));
    EXPECT_EQ(a.Union(TqLBox3f()), a);
    EXPECT_EQ(TqLBox3f().Union(a), a);
}

TEST(TqLBox3f, RandomUnionsAreTheSmallestEnclosingBoxes)
{
    SceneRandom random(11);
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLBox3f const a = RandomBox(&random, 10.0, 5.0);
        TqLBox3f const b = RandomBox(&random, 10.0, 5.0);
        TqLBox3f const both = a.Union(b);
        ASSERT_TRUE(both.Contains(a) && both.Contains(b));
        for (int axis = 0; axis < 3; ++axis) {
            ASSERT_TRUE(both.GetMin()[axis] == a.GetMin()[axis] ||
                        both.GetMin()[axis] == b.GetMin()[axis]);
            ASSERT_TRUE(both.GetMax()[axis] == a.GetMax()[axis] ||
                        both.GetMax()[axis] == b.GetMax()[axis]);
        }
    }
}

// ---- Containing ---------------------------------------------------------------------------------

TEST(TqLBox3f, ContainsWhatLiesWhollyInsideFacesIncluded)
{
    TqLBox3f const box = MakeBox(0.0, 0.0, 0.0, 4.0, 4.0, 4.0);
    EXPECT_TRUE(box.Contains(MakeBox(1.0, 1.0, 1.0, 2.0, 2.0, 2.0)));
    EXPECT_TRUE(box.Contains(box));
    for (int axis = 0; axis < 3; ++axis) {
        TqLPos3f min(1.0, 1.0, 1.0);
        TqLPos3f max(2.0, 2.0, 2.0);
        min[axis] = -0.5;
        EXPECT_FALSE(box.Contains(TqLBox3f(min, max))) << axis;
        min[axis] = 1.0;
        max[axis] = 4.5;
        EXPECT_FALSE(box.Contains(TqLBox3f(min, max))) << axis;
    }
    EXPECT_FALSE(MakeBox(1.0, 1.0, 1.0, 2.0, 2.0, 2.0).Contains(box));
}

TEST(TqLBox3f, ContainsEmptyBoxesButNoNaN)
{
    TqLBox3f const box = MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0);
    EXPECT_TRUE(box.Contains(EmptyBox()));
    EXPECT_FALSE(EmptyBox().Contains(box));
    EXPECT_FALSE(box.Contains(MakeBox(0.0, notANumber, 0.0, 1.0, 1.0, 1.0)));
    EXPECT_FALSE(box.Contains(MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, notANumber)));
}

TEST(TqLBox3f, ContainsPointsUpToItsFaces)
{
    TqLBox3f const box = MakeBox(0.0, 0.0, 0.0, 1.0, 2.0, 3.0);
    EXPECT_TRUE(box.Contains(TqLPos3f(0.0, 2.0, 1.5)));
    EXPECT_FALSE(box.Contains(TqLPos3f(-0.1, 1.0, 1.0)));
    EXPECT_FALSE(box.Contains(TqLPos3f(0.5, 2.1, 1.0)));
    EXPECT_FALSE(box.Contains(TqLPos3f(0.5, 1.0, 3.1)));
    EXPECT_FALSE(box.Contains(TqLPos3f(0.5, notANumber, 1.0)));
}

// ---- Measures -----------------------------------------------------------------------------------

TEST(TqLBox3f, MeasuresCenterSizeAndVolume)
{
    TqLBox3f const box = MakeBox(-1.0, 2.0, 10.0, 3.0, 5.0, 20.0);
    EXPECT_EQ(box.GetCenter(), TqLPos3f(1.0, 3.5, 15.0));
    EXPECT_EQ(box.GetSize(), TqLVec3f(4.0, 3.0, 10.0));
    EXPECT_EQ(box.Volume(), 120.0);
    EXPECT_EQ(MakeBox(1.0, 1.0, 1.0, 1.0, 9.0, 9.0).Volume(), 0.0);
}

TEST(TqLBox3f, CenterHasTheBitsOfTheSumDividedByTwo)
{
    SceneRandom random(12);
    for (int run = 0; run < 1000; ++run) {
        SCOPED_TRACE(run);
        TqLBox3f const box = RandomBox(&random, 1000.0, 10.0);
        for (int axis = 0; axis < 3; ++axis) {
            double const expected = (box.GetMin()[axis] + box.GetMax()[axis]) / 2.0;
            ASSERT_EQ(box.GetCenter()[axis], expected);
        }
    }
    double const tiny = DBL_TRUE_MIN;
    EXPECT_EQ(MakeBox(0.0, 0.0, 0.0, 3.0 * tiny, tiny, 0.0).GetCenter(),
              TqLPos3f(3.0 * tiny / 2.0, tiny / 2.0, 0.0));
}

TEST(TqLBox3f, VolumeMultipliesXAndYFirst)
{
    // x times y overflows, although the product in another order would be 1e100.
    EXPECT_EQ(MakeBox(0.0, 0.0, 0.0, 1e200, 1e200, 1e-300).Volume(), infinity);
}

TEST(TqLBox3f, SizeOfAnEmptyBoxIsNegative)
{
    EXPECT_EQ(EmptyBox().GetSize(), TqLVec3f(-infinity, -infinity, -infinity));
}

TEST(TqLBox3f, NumbersItsCornersXFirst)
{
    TqLBox3f const box = MakeBox(0.0, 10.0, 20.0, 1.0, 11.0, 21.0);
    TqLPos3f const expected[8] = {TqLPos3f(0.0, 10.0, 20.0), TqLPos3f(0.0, 10.0, 21.0),
                                  TqLPos3f(0.0, 11.0, 20.0), TqLPos3f(0.0, 11.0, 21.0),
                                  TqLPos3f(1.0, 10.0, 20.0), TqLPos3f(1.0, 10.0, 21.0),
                                  TqLPos3f(1.0, 11.0, 20.0), TqLPos3f(1.0, 11.0, 21.0)};
    for (int index = 0; index < 8; ++index) {
        EXPECT_EQ(box.GetCorner(index), expected[index]) << index;
    }
}

// ---- Values -------------------------------------------------------------------------------------

TEST(TqLBox3f, SetsCopiesAndComparesBothCorners)
{
    TqLBox3f const source = MakeBox(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
    TqLBox3f box;
    box.SetValue(source);
    EXPECT_EQ(box, source);
    box.SetValue(TqLPos3f(0.0, 0.0, 0.0), TqLPos3f(1.0, 1.0, 1.0));
    EXPECT_EQ(box, MakeBox(0.0, 0.0, 0.0, 1.0, 1.0, 1.0));
    TqLBox3f const copy(box);
    EXPECT_EQ(copy, box);
    box = source;
    EXPECT_EQ(box.GetMin(), TqLPos3f(1.0, 2.0, 3.0));
    EXPECT_EQ(box.GetMax(), TqLPos3f(4.0, 5.0, 6.0));
    for (int component = 0; component < 6; ++component) {
        TqLPos3f min = source.GetMin();
        TqLPos3f max = source.GetMax();
        (component < 3 ? min : max)[component % 3] += 0.5;
        EXPECT_NE(TqLBox3f(min, max), source) << component;
    }
}

TEST(TqLBox3f, LiesInMemoryAsMinimumThenMaximum)
{
    TqLBox3f const box = MakeBox(1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
    double numbers[6];
    static_assert(sizeof(numbers) == sizeof(box));
    std::memcpy(numbers, &box, sizeof(box));
    for (int index = 0; index < 6; ++index) {
        EXPECT_EQ(numbers[index], index + 1.0);
    }
}
