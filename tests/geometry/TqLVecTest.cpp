#include "geometry/TqLVec.h"

#include "geometry/TqLLine3f.h"
#include "geometry/TqLPrimitiveTypes.h"
#include "geometry/TqLViewCriteria.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Whether the type shows operator[] to everybody.
template <class T, class = void>
struct HasIndex : std::false_type
{};

template <class T>
struct HasIndex<T, std::void_t<decltype(std::declval<T const&>()[0])>> : std::true_type
{};

} // namespace

// ---- TqLBaseVec2f, TqLVec2f, TqLPos2f -----------------------------------------------------------

TEST(TqLVec2f, IsZeroAfterConstructionAndMadeZeroAgain)
{
    TqLVec2f vec;
    EXPECT_EQ(vec, TqLVec2f(0.0, 0.0));
    vec.SetValue(1.5, -2.5);
    EXPECT_EQ(vec[0], 1.5);
    EXPECT_EQ(vec[1], -2.5);
    vec.MakeZero();
    EXPECT_EQ(vec, TqLVec2f());
}

TEST(TqLVec2f, AddsAndMultiplies)
{
    TqLVec2f vec(1.0, 2.0);
    vec += TqLVec2f(10.0, 20.0);
    EXPECT_EQ(vec, TqLVec2f(11.0, 22.0));
    EXPECT_EQ(vec.Dot(TqLVec2f(2.0, 3.0)), 88.0);
}

TEST(TqLPos2f, SetsReadsAndMovesItsCoordinates)
{
    TqLPos2f pos;
    EXPECT_EQ(pos, TqLPos2f(0.0, 0.0));
    pos.SetValue(3.0, 4.0);
    pos.Set(1, 5.0);
    EXPECT_EQ(pos.Get(0), 3.0);
    EXPECT_EQ(pos.Get(1), 5.0);
    pos[0] = 7.0;
    pos += TqLVec2f(1.0, 1.0);
    EXPECT_EQ(pos, TqLPos2f(8.0, 6.0));
    pos.MakeOrigin();
    EXPECT_EQ(pos, TqLPos2f());
}

TEST(TqLPos2f, ViewsItselfAsVectorWithoutCopy)
{
    TqLPos2f pos(1.0, 2.0);
    TqLVec2f const& view = pos.Vec();
    pos.Set(0, 9.0);
    EXPECT_EQ(view[0], 9.0);
    EXPECT_EQ(view[1], 2.0);
    EXPECT_EQ(view.Data(), pos.Data());
}

// ---- TqLBaseVec3f, TqLVec3f, TqLPos3f -----------------------------------------------------------

TEST(TqLBaseVec3f, KeepsIndexingForItsDerivedTypes)
{
    EXPECT_FALSE(HasIndex<TqLBaseVec2f>::value);
    EXPECT_FALSE(HasIndex<TqLBaseVec3f>::value);
    EXPECT_TRUE(HasIndex<TqLVec3f>::value);
    EXPECT_TRUE(HasIndex<TqLPos3f>::value);

    TqLBaseVec3f base(1.0, 2.0, 3.0);
    base.Set(1, 5.0);
    EXPECT_EQ(base.Get(0), 1.0);
    EXPECT_EQ(base.Get(1), 5.0);
    EXPECT_EQ(base.Get(2), 3.0);
    base.SetValue(7.0, 8.0, 9.0);
    EXPECT_EQ(base.Data()[2], 9.0);
}

TEST(TqLVec3f, DotAddsInTheOrderXyz)
{
    // With any other order of the additions the small term survives or the sum differs.
    TqLVec3f const a(1.0, 1e16, -1e16);
    TqLVec3f const ones(1.0, 1.0, 1.0);
    EXPECT_EQ(a.Dot(ones), 0.0);
    TqLVec3f const b(1e16, -1e16, 1.0);
    EXPECT_EQ(b.Dot(ones), 1.0);
}

TEST(TqLVec3f, AddsSubtractsScalesAndCrosses)
{
    TqLVec3f vec(1.0, 2.0, 3.0);
    vec += TqLVec3f(1.0, 1.0, 1.0);
    EXPECT_EQ(vec, TqLVec3f(2.0, 3.0, 4.0));
    vec -= TqLVec3f(2.0, 2.0, 2.0);
    EXPECT_EQ(vec, TqLVec3f(0.0, 1.0, 2.0));
    vec *= 3.0;
    EXPECT_EQ(vec, TqLVec3f(0.0, 3.0, 6.0));
    EXPECT_EQ(-vec, TqLVec3f(0.0, -3.0, -6.0));
    EXPECT_EQ(2.0 * vec, vec + vec);
    EXPECT_EQ(vec - vec, TqLVec3f());
    EXPECT_EQ(TqLVec3f(1.0, 0.0, 0.0).Cross(TqLVec3f(0.0, 1.0, 0.0)), TqLVec3f(0.0, 0.0, 1.0));
    EXPECT_EQ(TqLVec3f(2.0, 3.0, 6.0).Length(), 7.0);
    vec.MakeZero();
    EXPECT_EQ(vec, TqLVec3f(0.0, 0.0, 0.0));
}

TEST(TqLPos3f, ViewsItselfAsVectorWithoutCopy)
{
    TqLPos3f pos(1.0, 2.0, 3.0);
    TqLVec3f const& view = pos.Vec();
    EXPECT_EQ(view.Dot(TqLVec3f(1.0, 10.0, 100.0)), 321.0);
    pos[2] = 4.0;
    EXPECT_EQ(view[2], 4.0);
    EXPECT_EQ(view.Data(), pos.Data());
}

TEST(TqLPos3f, DoesNotTurnIntoAVectorByItself)
{
    EXPECT_FALSE((std::is_convertible<TqLPos3f, TqLVec3f>::value));
    EXPECT_FALSE((std::is_convertible<TqLVec3f, TqLPos3f>::value));
    EXPECT_EQ(TqLPos3f(TqLVec3f(1.0, 2.0, 3.0)), TqLPos3f(1.0, 2.0, 3.0));
}

TEST(TqLPos3f, MovesByVectorsAndSubtractsToOne)
{
    TqLPos3f pos(1.0, 2.0, 3.0);
    pos += TqLVec3f(1.0, 1.0, 1.0);
    pos -= TqLVec3f(0.0, 0.0, 4.0);
    EXPECT_EQ(pos, TqLPos3f(2.0, 3.0, 0.0));
    EXPECT_EQ(pos + TqLVec3f(1.0, 0.0, 0.0), TqLPos3f(3.0, 3.0, 0.0));
    EXPECT_EQ(pos - TqLVec3f(1.0, 0.0, 0.0), TqLPos3f(1.0, 3.0, 0.0));
    EXPECT_EQ(pos - TqLPos3f(1.0, 1.0, 1.0), TqLVec3f(1.0, 2.0, -1.0));
    EXPECT_EQ(pos.Dot(TqLVec3f(1.0, 2.0, 3.0)), 8.0);
    pos.Set(0, 5.0);
    EXPECT_EQ(pos.Get(0), 5.0);
    pos.MakeOrigin();
    EXPECT_EQ(pos, TqLPos3f());
    pos.SetValue(1.0, 1.0, 1.0);
    pos.MakeZero();
    EXPECT_EQ(pos, TqLPos3f());
}

TEST(TqLPos3f, ComparesEveryCoordinateAndNotNaN)
{
    EXPECT_NE(TqLPos3f(1.0, 2.0, 3.0), TqLPos3f(0.0, 2.0, 3.0));
    EXPECT_NE(TqLPos3f(1.0, 2.0, 3.0), TqLPos3f(1.0, 0.0, 3.0));
    EXPECT_NE(TqLPos3f(1.0, 2.0, 3.0), TqLPos3f(1.0, 2.0, 0.0));
    TqLPos3f const nan(0.0, notANumber, 0.0);
    EXPECT_NE(nan, nan);
}

// ---- TqLUnitVec3f -------------------------------------------------------------------------------

TEST(TqLUnitVec3f, NormalisesTheVectorItIsBuiltFrom)
{
    TqLUnitVec3f const unit(TqLVec3f(2.0, -3.0, 6.0));
    EXPECT_EQ(unit[0], 2.0 / 7.0);
    EXPECT_EQ(unit[1], -3.0 / 7.0);
    EXPECT_EQ(unit[2], 6.0 / 7.0);
    EXPECT_EQ(unit.Get(2), unit[2]);
    EXPECT_EQ(unit.Dot(TqLVec3f(7.0, 0.0, 7.0)), 2.0 + 6.0);
}

TEST(TqLUnitVec3f, ConvertsToAVectorReferenceWithoutCopy)
{
    TqLUnitVec3f unit(TqLVec3f(0.0, 5.0, 0.0));
    TqLVec3f const& view = unit;
    EXPECT_EQ(view, TqLVec3f(0.0, 1.0, 0.0));
    unit.SetUnitValue(0.6, 0.0, 0.8);
    EXPECT_EQ(view, TqLVec3f(0.6, 0.0, 0.8));
    EXPECT_EQ(&unit.Vec(), &view);
    EXPECT_EQ((-unit).Vec(), TqLVec3f(-0.6, 0.0, -0.8));
}

TEST(TqLUnitVec3f, PointsAlongZAfterConstruction)
{
    EXPECT_EQ(TqLUnitVec3f().Vec(), TqLVec3f(0.0, 0.0, 1.0));
    EXPECT_FALSE(TqLUnitVec3f().IsZero());
}

TEST(TqLUnitVec3f, IsZeroForAVectorWithoutDirection)
{
    EXPECT_TRUE(TqLUnitVec3f(TqLVec3f()).IsZero());
    EXPECT_TRUE(TqLUnitVec3f(TqLVec3f(notANumber, 1.0, 0.0)).IsZero());
    EXPECT_TRUE(TqLUnitVec3f(TqLVec3f(1.0, 0.0, notANumber)).IsZero());
    EXPECT_TRUE(TqLUnitVec3f(TqLVec3f(1.0, infinity, 0.0)).IsZero());
    EXPECT_TRUE(TqLUnitVec3f(TqLVec3f(1.0, notANumber, -infinity)).IsZero());
}

TEST(TqLUnitVec3f, NormalisesVectorsOfAnySize)
{
    double const third = 1.0 / std::sqrt(3.0);
    for (double const size : {DBL_MAX, 1e200, 1e130, 1e-130, 1e-200, DBL_MIN, DBL_TRUE_MIN}) {
        TqLUnitVec3f const unit(TqLVec3f(size, -size, size));
        EXPECT_DOUBLE_EQ(unit[0], third) << size;
        EXPECT_DOUBLE_EQ(unit[1], -third) << size;
        EXPECT_DOUBLE_EQ(unit[2], third) << size;
    }
    EXPECT_EQ(TqLUnitVec3f(TqLVec3f(0.0, DBL_TRUE_MIN, 0.0)).Vec(), TqLVec3f(0.0, 1.0, 0.0));
}

// ---- The small types ----------------------------------------------------------------------------

TEST(TqLColor3f, ReadsAndWritesItsParts)
{
    TqLColor3f color;
    EXPECT_EQ(color, TqLColor3f(0.0, 0.0, 0.0));
    color.SetValue(0.25, 0.5, 0.75);
    color[1] = 1.0;
    EXPECT_EQ(color, TqLColor3f(0.25, 1.0, 0.75));
    EXPECT_NE(color, TqLColor3f(0.25, 1.0, 0.5));
}

TEST(TqLLine3f, SetsAndAssigns)
{
    TqLLine3f line;
    EXPECT_EQ(line.GetDirection().Vec(), TqLVec3f(0.0, 0.0, 1.0));
    line.SetValue(TqLPos3f(1.0, 2.0, 3.0), TqLUnitVec3f(TqLVec3f(0.0, 2.0, 0.0)));
    TqLLine3f other;
    other.SetValue(line);
    EXPECT_EQ(other.GetPoint(), TqLPos3f(1.0, 2.0, 3.0));
    EXPECT_EQ(other.GetDirection().Vec(), TqLVec3f(0.0, 1.0, 0.0));
    other = TqLLine3f();
    EXPECT_EQ(other.GetPoint(), TqLPos3f());
}

TEST(TqLPrimitiveTypes, HasTheFiveBitsAndCombinesThem)
{
    EXPECT_EQ(TqLPrimitiveTypes::eNONE, 0U);
    EXPECT_EQ(TqLPrimitiveTypes::eTRIANGLES, 1U);
    EXPECT_EQ(TqLPrimitiveTypes::eLINES, 2U);
    EXPECT_EQ(TqLPrimitiveTypes::ePOINTS, 4U);
    EXPECT_EQ(TqLPrimitiveTypes::eTEXT, 8U);
    EXPECT_EQ(TqLPrimitiveTypes::eOTHER, 16U);
    TqLPrimitiveTypes::Enum types = TqLPrimitiveTypes::eTRIANGLES | TqLPrimitiveTypes::eTEXT;
    EXPECT_EQ(types, 9U);
    types |= TqLPrimitiveTypes::eLINES;
    EXPECT_EQ(types & TqLPrimitiveTypes::eLINES, TqLPrimitiveTypes::eLINES);
    EXPECT_EQ(types & TqLPrimitiveTypes::eOTHER, TqLPrimitiveTypes::eNONE);
    EXPECT_EQ(TqLPrimitiveTypes::eALL, 31U);
}
