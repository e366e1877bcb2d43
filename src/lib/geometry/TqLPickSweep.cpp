#include "geometry/TqLPickSweep.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <cfloat>
#include <cmath>

// The body swept along a vector is the body's Minkowski sum with a segment. It touches a box
// exactly when the segment, as a set of centres, comes near enough to the box: within the half
// sizes on each axis for a box, within the radius for a sphere. Both tests below work on that
// segment.
//
//  - Swept box: it touches unless one of these axes separates the segment from the box grown by the
//    half sizes: the three axes of space, and the three cross products of these with the sweep.
//    They are all the axes that convex bodies with these faces and edges can be separated by.
//  - Swept sphere: the squared distance of the point center + t * sweep from the box is convex in t
//    and a parabola between the places where the point crosses the plane of a face. Its least value
//    over 0 <= t <= 1 is found exactly, and its root compared with the radius.
//
// The first three axes, faces of the box around the whole sweep, are the plane mask's.

namespace
{

TqUComponent s_component("TqLPickSweep");

// Bounds, in units of the coordinates at play, how far a computed distance may be off.
constexpr double s_rounding = 16.0 * DBL_EPSILON;

bool IsFinite(TqLVec3f const& vec)
{
    return std::isfinite(vec[0]) && std::isfinite(vec[1]) && std::isfinite(vec[2]);
}

// Bounds the coordinates of a box. NaN for a box with a NaN, which then fails every compare, and so
// is never found to be beside the sweep.
double SumOfSizes(TqLBox3f const& box)
{
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        sum += std::fabs(box.GetMin()[axis]) + std::fabs(box.GetMax()[axis]);
    }
    return sum;
}

// How far a coordinate lies beyond the box on an axis: negative below the minimum, positive above
// the maximum, 0 between.
double Excess(TqLBox3f const& box, int axis, double coordinate)
{
    double const min = box.GetMin()[axis];
    double const max = box.GetMax()[axis];
    if (coordinate < min) {
        return coordinate - min;
    }
    return coordinate > max ? coordinate - max : 0.0;
}

// Half the derivative, by t, of the squared distance of center + t * sweep from the box.
double Slope(TqLBox3f const& box, TqLPos3f const& center, TqLVec3f const& sweep, double t)
{
    double slope = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        slope += sweep[axis] * Excess(box, axis, center[axis] + t * sweep[axis]);
    }
    return slope;
}

// The t in 0 to 1 at which center + t * sweep is nearest to the box.
double FindNearest(TqLBox3f const& box, TqLPos3f const& center, TqLVec3f const& sweep)
{
    double lower = 0.0;
    double upper = 1.0;
    double lowerSlope = Slope(box, center, sweep, lower);
    double upperSlope = Slope(box, center, sweep, upper);
    if (lowerSlope >= 0.0) {
        return lower;
    }
    if (upperSlope <= 0.0) {
        return upper;
    }
    // The slope never falls, and is linear between the crossings of face planes. Taking each
    // crossing for a bound leaves a span without any.
    for (int axis = 0; axis < 3; ++axis) {
        if (sweep[axis] == 0.0) {
            continue;
        }
        double const faces[2] = {box.GetMin()[axis], box.GetMax()[axis]};
        for (double const face : faces) {
            double const t = (face - center[axis]) / sweep[axis];
            if (!(t > lower && t < upper)) {
                continue;
            }
            double const slope = Slope(box, center, sweep, t);
            if (slope < 0.0) {
                lower = t;
                lowerSlope = slope;
            } else {
                upper = t;
                upperSlope = slope;
            }
        }
    }
    return lower + (upper - lower) * (lowerSlope / (lowerSlope - upperSlope));
}

} // namespace

// ---- Life ---------------------------------------------------------------------------------------

TqLPickSweep::TqLPickSweep(TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep)
{
    SetBox(center, halfSize, sweep);
}

TqLPickSweep::TqLPickSweep(TqLPos3f const& center, double radius, TqLVec3f const& sweep)
{
    SetSphere(center, radius, sweep);
}

void TqLPickSweep::SetBox(TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep)
{
    Set(eBOX, center, halfSize, sweep);
}

void TqLPickSweep::SetSphere(TqLPos3f const& center, double radius, TqLVec3f const& sweep)
{
    Set(eSPHERE, center, TqLVec3f(radius, radius, radius), sweep);
}

void TqLPickSweep::Set(Body body, TqLPos3f const& center, TqLVec3f const& halfSize,
                       TqLVec3f const& sweep)
{
    *this = TqLPickSweep();
    bool const isBody = halfSize[0] >= 0.0 && halfSize[1] >= 0.0 && halfSize[2] >= 0.0;
    TqLVec3f const end = center.Vec() + sweep;
    TqLVec3f const reach = halfSize + halfSize;
    // With twice the size in range, no sum of the tests can overflow from the body's side.
    if (!isBody || !IsFinite(center.Vec()) || !IsFinite(sweep) || !IsFinite(end + reach) ||
        !IsFinite(end - reach) || !IsFinite(center.Vec() + reach) ||
        !IsFinite(center.Vec() - reach)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Impossible center, size or sweep vector; the sweep has no body.");
        return;
    }
    m_body = body;
    m_center = center;
    m_halfSize = halfSize;
    m_sweep = sweep;
    UpdateSweptBox();
}

void TqLPickSweep::UpdateSweptBox()
{
    TqLPos3f const end = m_center + m_sweep;
    m_sweptBox.SetValue(m_center - m_halfSize, m_center + m_halfSize);
    m_sweptBox.ExtendBy(TqLBox3f(end - m_halfSize, end + m_halfSize));
    m_rounding = s_rounding * SumOfSizes(m_sweptBox);
}

void TqLPickSweep::ShortenTo(double fraction)
{
    if (!(fraction >= 0.0 && fraction <= 1.0)) {
        TqUError::Post(TqUSysError::eWARNING, &s_component,
                       "Cannot shorten a sweep to %g of its length; it is left as it was.",
                       fraction);
        return;
    }
    m_sweep *= fraction;
    m_isShortened = true;
    if (m_body != eNOTHING) {
        UpdateSweptBox();
    }
}

// ---- Tests --------------------------------------------------------------------------------------

int TqLPickSweep::CanCull(TqLBox3f const& box, int* planes) const
{
    if (m_body == eNOTHING || box.IsEmpty()) {
        return 1;
    }
    double const rounding = m_rounding + s_rounding * SumOfSizes(box);
    // A mask that was narrowed before the sweep was shortened tells of faces further out.
    int const faces = m_isShortened ? static_cast<int>(eALL_PLANES) : *planes;
    for (int axis = 0; axis < 3; ++axis) {
        int const lowerBit = 1 << (2 * axis);
        int const upperBit = 2 << (2 * axis);
        double const min = box.GetMin()[axis];
        double const max = box.GetMax()[axis];
        double const lower = m_sweptBox.GetMin()[axis];
        double const upper = m_sweptBox.GetMax()[axis];
        if ((faces & lowerBit) != 0 && max < lower - rounding) {
            return 1;
        }
        if ((faces & upperBit) != 0 && min > upper + rounding) {
            return 1;
        }
        if (min >= lower) {
            *planes &= ~lowerBit;
        }
        if (max <= upper) {
            *planes &= ~upperBit;
        }
    }
    if (m_body == eSPHERE) {
        return IsSphereBeside(box, rounding) ? 1 : 0;
    }
    return IsBoxBeside(box, rounding) ? 1 : 0;
}

int TqLPickSweep::CanCullRepeat(TqLBox3f const& box) const
{
    int planes = eALL_PLANES;
    return CanCull(box, &planes);
}

bool TqLPickSweep::IsBoxBeside(TqLBox3f const& box, double rounding) const
{
    for (int axis = 0; axis < 3; ++axis) {
        // The separating axis is that of space number `axis`, crossed with the sweep.
        int const a = (axis + 1) % 3;
        int const b = (axis + 2) % 3;
        double const sizeA = std::fabs(m_sweep[a]);
        double const sizeB = std::fabs(m_sweep[b]);
        // The corner sums are halved one by one: their sum could overflow.
        double const middleA = box.GetMin()[a] * 0.5 + box.GetMax()[a] * 0.5;
        double const middleB = box.GetMin()[b] * 0.5 + box.GetMax()[b] * 0.5;
        double const extentA = box.GetMax()[a] * 0.5 - box.GetMin()[a] * 0.5 + m_halfSize[a];
        double const extentB = box.GetMax()[b] * 0.5 - box.GetMin()[b] * 0.5 + m_halfSize[b];
        double const offset =
            (m_center[a] - middleA) * m_sweep[b] - (m_center[b] - middleB) * m_sweep[a];
        double const reach = extentA * sizeB + extentB * sizeA + rounding * (sizeA + sizeB);
        if (std::fabs(offset) > reach) {
            return true;
        }
    }
    return false;
}

bool TqLPickSweep::IsSphereBeside(TqLBox3f const& box, double rounding) const
{
    double const t = FindNearest(box, m_center, m_sweep);
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        double const excess = Excess(box, axis, m_center[axis] + t * m_sweep[axis]);
        sum += excess * excess;
    }
    return std::sqrt(sum) > m_halfSize[0] + rounding;
}

// ---- Component ----------------------------------------------------------------------------------

void TqLPickSweep::Initialise()
{
    s_component.Initialise("TqLPickSweep", "geometry/TqLPickSweep.cpp 1");
}

void TqLPickSweep::Terminate()
{
    s_component.Terminate();
}

int TqLPickSweep::IsInitialised()
{
    return s_component.IsInitialised();
}
