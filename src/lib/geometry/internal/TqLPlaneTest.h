// The test of a box against the planes of a pick frustum, the inner loop of frustum picks.
//
// The scalar form, plane after plane, is the rule. The SSE2 form takes two planes at a time and
// makes the same sums in the same order, so it gives the same bits. It tests the four sides without
// a branch between them: which of them has a box outside cannot be foreseen, and a wrong guess
// costs more than the planes that it saves. Every x86-64 processor has SSE2, so the choice is made
// when compiling.
#pragma once

#include "geometry/TqLBox.h"

#include <cfloat>
#include <cmath>

#if defined(__SSE2__) || defined(_M_X64)
#define TQL_PLANE_TEST_SSE2 1
#include <emmintrin.h>
#else
#define TQL_PLANE_TEST_SSE2 0
#endif

namespace TqLInternal
{

/// Bounds, in units of the largest coordinates at play, how far the computed distance of a corner
/// from a plane may be from the true one: the rounding of the frustum's matrix, of the plane taken
/// from it, and of centre, reach and dot product.
constexpr double s_planeRounding = 20.0 * DBL_EPSILON;

constexpr int s_numTestPlanes = 6;

/// What the rows of TqLPlaneRows hold of each plane.
enum TqLPlaneRow
{
    eROW_X,
    eROW_Y,
    eROW_Z,
    eROW_SIZE_X, ///< x of the normal without its sign
    eROW_SIZE_Y,
    eROW_SIZE_Z,
    eROW_DISTANCE,
    eROW_MARGIN, ///< the plane's own part of the rounding bound
    eNUM_PLANE_ROWS
};

/// The planes, one row for each number, so that one load takes that number of two neighbouring
/// planes. The object must be aligned to 16 bytes.
using TqLPlaneRows = double[eNUM_PLANE_ROWS][s_numTestPlanes];

/// What the rounding bound of a test is made of, beside the planes' own part.
struct TqLPlaneMargin
{
    double fixed; ///< that part that neither plane nor box has a say in
    double box;   ///< times the sum of the corners' coordinates, without their signs
};

/// The test in plain form.
///
/// A box reaches half its sizes, each times the normal's component, to both sides of its centre's
/// distance from a plane. Corners are halved one by one: their sum could overflow. A NaN fails
/// every compare, so that the box is neither outside a plane nor inside.
struct TqLScalarPlaneTest
{
    /// Whether a box lies beyond a plane of the mask by more than the rounding bound.
    /// @param mask  bit i stands for plane i, at least one of them. Loses the planes, up to the
    ///        first that has the box outside, that it lies inside of by the bound or more.
    static bool IsOutside(TqLPlaneRows const& rows, TqLPlaneMargin const& margin,
                          TqLBox3f const& box, int* mask)
    {
        TqLPos3f const& min = box.GetMin();
        TqLPos3f const& max = box.GetMax();
        double const halfX = max[0] * 0.5 - min[0] * 0.5;
        double const halfY = max[1] * 0.5 - min[1] * 0.5;
        double const halfZ = max[2] * 0.5 - min[2] * 0.5;
        double const centerX = min[0] + halfX;
        double const centerY = min[1] + halfY;
        double const centerZ = min[2] + halfZ;
        double const size = (std::fabs(min[0]) + std::fabs(min[1]) + std::fabs(min[2])) +
                            (std::fabs(max[0]) + std::fabs(max[1]) + std::fabs(max[2]));
        double const rounding = margin.fixed + margin.box * size;
        for (int i = 0; i < s_numTestPlanes; ++i) {
            if ((*mask >> i & 1) == 0) {
                continue;
            }
            double const reach = rows[eROW_SIZE_X][i] * halfX + rows[eROW_SIZE_Y][i] * halfY +
                                 rows[eROW_SIZE_Z][i] * halfZ;
            double const along =
                rows[eROW_X][i] * centerX + rows[eROW_Y][i] * centerY + rows[eROW_Z][i] * centerZ;
            double const distance = along - rows[eROW_DISTANCE][i];
            double const bound = rounding + rows[eROW_MARGIN][i];
            if (distance + reach < -bound) {
                return true;
            }
            if (distance - reach >= bound) {
                *mask &= ~(1 << i);
            }
        }
        return false;
    }
};

#if TQL_PLANE_TEST_SSE2

/// The same for two planes at a time.
struct TqLSse2PlaneTest
{
    /// @copydoc TqLScalarPlaneTest::IsOutside
    static bool IsOutside(TqLPlaneRows const& rows, TqLPlaneMargin const& margin,
                          TqLBox3f const& box, int* mask)
    {
        BoxLanes const lanes = MakeLanes(margin, box);
        Sides sides = TestPair<0>(rows, lanes) | TestPair<2>(rows, lanes);
        if ((sides.outside & *mask) == 0) {
            sides = sides | TestPair<4>(rows, lanes);
        }
        int const outside = sides.outside & *mask;
        int const before = (outside & -outside) - 1; // the planes before the first; all without one
        *mask &= ~(sides.inside & before);
        return outside != 0;
    }

private:
    /// The box's numbers, each twice.
    struct BoxLanes
    {
        __m128d centerX, centerY, centerZ;
        __m128d halfX, halfY, halfZ;
        __m128d rounding;
    };

    /// Where a box lies; bit i of a word stands for plane i.
    struct Sides
    {
        int outside;
        int inside;

        friend Sides operator|(Sides a, Sides b)
        {
            return {a.outside | b.outside, a.inside | b.inside};
        }
    };

    static BoxLanes MakeLanes(TqLPlaneMargin const& margin, TqLBox3f const& box)
    {
        // One load for each number: a shape may have stored its box in pieces of any size just now,
        // and a load that spans two of them would wait until both are through.
        __m128d const minX = _mm_set1_pd(box.GetMin()[0]);
        __m128d const minY = _mm_set1_pd(box.GetMin()[1]);
        __m128d const minZ = _mm_set1_pd(box.GetMin()[2]);
        __m128d const maxX = _mm_set1_pd(box.GetMax()[0]);
        __m128d const maxY = _mm_set1_pd(box.GetMax()[1]);
        __m128d const maxZ = _mm_set1_pd(box.GetMax()[2]);
        __m128d const size =
            _mm_add_pd(Sum(Abs(minX), Abs(minY), Abs(minZ)), Sum(Abs(maxX), Abs(maxY), Abs(maxZ)));
        BoxLanes lanes;
        lanes.halfX = HalfSize(minX, maxX);
        lanes.halfY = HalfSize(minY, maxY);
        lanes.halfZ = HalfSize(minZ, maxZ);
        lanes.centerX = _mm_add_pd(minX, lanes.halfX);
        lanes.centerY = _mm_add_pd(minY, lanes.halfY);
        lanes.centerZ = _mm_add_pd(minZ, lanes.halfZ);
        lanes.rounding =
            _mm_add_pd(_mm_set1_pd(margin.fixed), _mm_mul_pd(_mm_set1_pd(margin.box), size));
        return lanes;
    }

    template <int First>
    static Sides TestPair(TqLPlaneRows const& rows, BoxLanes const& box)
    {
        __m128d const reach = Sum(_mm_mul_pd(Load<First>(rows, eROW_SIZE_X), box.halfX),
                                  _mm_mul_pd(Load<First>(rows, eROW_SIZE_Y), box.halfY),
                                  _mm_mul_pd(Load<First>(rows, eROW_SIZE_Z), box.halfZ));
        __m128d const along = Sum(_mm_mul_pd(Load<First>(rows, eROW_X), box.centerX),
                                  _mm_mul_pd(Load<First>(rows, eROW_Y), box.centerY),
                                  _mm_mul_pd(Load<First>(rows, eROW_Z), box.centerZ));
        __m128d const distance = _mm_sub_pd(along, Load<First>(rows, eROW_DISTANCE));
        __m128d const bound = _mm_add_pd(box.rounding, Load<First>(rows, eROW_MARGIN));
        __m128d const isOutside =
            _mm_cmplt_pd(_mm_add_pd(distance, reach), _mm_xor_pd(bound, _mm_set1_pd(-0.0)));
        __m128d const isInside = _mm_cmpge_pd(_mm_sub_pd(distance, reach), bound);
        return {_mm_movemask_pd(isOutside) << First, _mm_movemask_pd(isInside) << First};
    }

    static __m128d HalfSize(__m128d min, __m128d max)
    {
        __m128d const half = _mm_set1_pd(0.5);
        return _mm_sub_pd(_mm_mul_pd(max, half), _mm_mul_pd(min, half));
    }

    template <int First>
    static __m128d Load(TqLPlaneRows const& rows, TqLPlaneRow row)
    {
        return _mm_load_pd(&rows[row][First]);
    }

    static __m128d Abs(__m128d lanes) { return _mm_andnot_pd(_mm_set1_pd(-0.0), lanes); }

    static __m128d Sum(__m128d a, __m128d b, __m128d c) { return _mm_add_pd(_mm_add_pd(a, b), c); }
};

using TqLPlaneTest = TqLSse2PlaneTest;

#else

using TqLPlaneTest = TqLScalarPlaneTest;

#endif

} // namespace TqLInternal
