#include "geometry/TqLPickSweep.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

// The body swept along a vector is the body's Minkowski sum with a segment. It touches a box
// exactly when the segment, as a set of centres, comes near enough to the box: within the half
// sizes on each axis for a box, within the radius for a sphere. Both tests below work on that
// segment.
//
//  - Swept box: it touches unless one of these axes separates the segment from the box grown by the
//    half sizes: the three axes of space, and the three cross products of these with the sweep.
//    They are all the axes that convex bodies with these faces and edges can be separated by.
//  - Swept sphere: the squared distance of the point center + t * sweep from the box is convex in t
//    and a parabola between the times at which the point crosses the plane of a face. Its least
//    value over 0 <= t <= 1 is found exactly, and compared with the square of the radius.
//
// The sphere's test works with those times alone. On each axis, the point lies beyond the box by
// its speed times how long ago it left the box, or how long it takes until it enters. A time is
// computed once, with a small relative error, and so is the exact time for a face that lies a few
// roundings elsewhere. For that face the excess is right to its last digits at every t, and exactly
// 0 at the face's own time: no rounding of a fast axis can outweigh the share of a slow one. So the
// test answers for a box whose faces were moved by less than the rounding that it allows for.
//
// Directions are relative to the sweep's largest component, and squared lengths to the radius: no
// product that matters leaves the range of a double, whatever the sizes.
//
// The first three axes, faces of the box around the whole sweep, are the plane mask's.

namespace
{

TqUComponent s_component("TqLPickSweep");

// Bounds, in units of the coordinates at play, how far a computed distance may be off.
constexpr double s_rounding = 16.0 * DBL_EPSILON;

// Bounds what is lost below the range of a double.
constexpr double s_underflow = DBL_MIN;

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

// The mask of those two faces of an axis for which something holds.
int FacesOf(int axis, bool lower, bool upper)
{
    return (static_cast<int>(lower) | static_cast<int>(upper) << 1) << (2 * axis);
}

// The box around all places of a body.
TqLBox3f SweptBox(TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep)
{
    TqLPos3f const end = center + sweep;
    TqLBox3f box(center - halfSize, center + halfSize);
    box.ExtendBy(TqLBox3f(end - halfSize, end + halfSize));
    return box;
}

// Where a moving point is by the box, axis by axis. On axes that it moves along it is between the
// faces from `enter` to `leave`; on others always, but for the constant `gap` beyond them.
struct Passage
{
    double enter[3];
    double leave[3];
    double gap[3];

    // How long after leaving, or as a negative number before entering, t is; 0 between.
    double Lag(int axis, double t) const
    {
        if (t < enter[axis]) {
            return t - enter[axis];
        }
        return t > leave[axis] ? t - leave[axis] : 0.0;
    }

    // The derivative, by t, of the squared distance of the point from the box, up to a factor.
    double Slope(TqLVec3f const& direction, double t) const
    {
        double slope = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            slope += direction[axis] * direction[axis] * Lag(axis, t);
        }
        return slope;
    }
};

Passage FindPassage(TqLBox3f const& box, TqLPos3f const& center, TqLVec3f const& sweep,
                    double rounding)
{
    constexpr double never = std::numeric_limits<double>::infinity();
    Passage passage;
    for (int axis = 0; axis < 3; ++axis) {
        double const toMin = box.GetMin()[axis] - center[axis];
        double const toMax = box.GetMax()[axis] - center[axis];
        // A motion below one rounding of the sum of all coordinates is none: times stay in range.
        if (std::fabs(sweep[axis]) <= rounding * (DBL_EPSILON / s_rounding)) {
            passage.enter[axis] = -never;
            passage.leave[axis] = never;
            passage.gap[axis] = std::max({toMin, -toMax, 0.0});
        } else {
            bool const isForward = sweep[axis] > 0.0;
            passage.enter[axis] = (isForward ? toMin : toMax) / sweep[axis];
            passage.leave[axis] = (isForward ? toMax : toMin) / sweep[axis];
            passage.gap[axis] = 0.0;
        }
    }
    return passage;
}

// The t in 0 to 1 at which the point is nearest to the box.
double FindNearest(Passage const& passage, TqLVec3f const& direction)
{
    double lower = 0.0;
    double upper = 1.0;
    double lowerSlope = passage.Slope(direction, lower);
    double upperSlope = passage.Slope(direction, upper);
    if (lowerSlope >= 0.0) {
        return lower;
    }
    if (upperSlope <= 0.0) {
        return upper;
    }
    // The slope never falls, and is linear between the crossings of face planes. Taking each
    // crossing for a bound leaves a span without any.
    for (int axis = 0; axis < 3; ++axis) {
        for (double const t : {passage.enter[axis], passage.leave[axis]}) {
            if (!(t > lower && t < upper)) {
                continue;
            }
            double const slope = passage.Slope(direction, t);
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
    // With twice the sum of sizes in range, the sum stays in range for every shortened sweep. The
    // tests then overflow for boxes whose own sum is out of range, which makes the rounding
    // infinite and keeps them, and for gaps that are as large, which culls them.
    bool const isInRange = std::isfinite(2.0 * SumOfSizes(SweptBox(center, halfSize, sweep)));
    if (!isBody || !isInRange || !IsFinite(center.Vec()) || !IsFinite(sweep)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Impossible center, size or sweep vector; the sweep has no body.");
        return;
    }
    m_body = body;
    m_center = center;
    m_halfSize = halfSize;
    m_sweep = sweep;
    UpdateWay();
}

void TqLPickSweep::UpdateWay()
{
    m_sweptBox = SweptBox(m_center, m_halfSize, m_sweep);
    m_rounding = s_rounding * SumOfSizes(m_sweptBox) + s_underflow;
    double const largest =
        std::max({std::fabs(m_sweep[0]), std::fabs(m_sweep[1]), std::fabs(m_sweep[2])});
    for (int axis = 0; axis < 3; ++axis) {
        m_direction[axis] = largest > 0.0 ? m_sweep[axis] / largest : 0.0;
    }
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
        UpdateWay();
    }
}

// ---- Tests --------------------------------------------------------------------------------------

int TqLPickSweep::CanCull(TqLBox3f const& box, int* planes) const
{
    if (m_body == eNOTHING || box.IsEmpty()) {
        return 1;
    }
    double const rounding = m_rounding + s_rounding * SumOfSizes(box);
    // Without a branch between the faces: which of them has a box outside cannot be foreseen.
    int outside = 0;
    int inside = 0;
    for (int axis = 0; axis < 3; ++axis) {
        double const min = box.GetMin()[axis];
        double const max = box.GetMax()[axis];
        double const lower = m_sweptBox.GetMin()[axis];
        double const upper = m_sweptBox.GetMax()[axis];
        bool const isBelow = max < lower - rounding;
        bool const isAbove = min > upper + rounding;
        outside |= FacesOf(axis, isBelow, isAbove);
        inside |= FacesOf(axis, min >= lower, max <= upper);
    }
    // A mask that was narrowed before the sweep was shortened tells of faces further out.
    int const faces = m_isShortened ? static_cast<int>(eALL_PLANES) : *planes;
    *planes &= ~inside;
    if ((outside & faces) != 0) {
        return 1;
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
        double const sizeA = std::fabs(m_direction[a]);
        double const sizeB = std::fabs(m_direction[b]);
        // The corner sums are halved one by one: their sum could overflow.
        double const middleA = box.GetMin()[a] * 0.5 + box.GetMax()[a] * 0.5;
        double const middleB = box.GetMin()[b] * 0.5 + box.GetMax()[b] * 0.5;
        double const extentA = box.GetMax()[a] * 0.5 - box.GetMin()[a] * 0.5 + m_halfSize[a];
        double const extentB = box.GetMax()[b] * 0.5 - box.GetMin()[b] * 0.5 + m_halfSize[b];
        double const offset =
            (m_center[a] - middleA) * m_direction[b] - (m_center[b] - middleB) * m_direction[a];
        double const reach = extentA * sizeB + extentB * sizeA + rounding * (sizeA + sizeB);
        if (std::fabs(offset) > reach) {
            return true;
        }
    }
    return false;
}

bool TqLPickSweep::IsSphereBeside(TqLBox3f const& box, double rounding) const
{
    Passage const passage = FindPassage(box, m_center, m_sweep, rounding);
    double const t = FindNearest(passage, m_direction);
    double const reach = m_halfSize[0] + rounding;
    double square = 0.0; // of the distance, relative to the reach
    for (int axis = 0; axis < 3; ++axis) {
        double const excess = passage.gap[axis] + m_sweep[axis] * passage.Lag(axis, t);
        square += (excess / reach) * (excess / reach);
    }
    return square > 1.0;
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
