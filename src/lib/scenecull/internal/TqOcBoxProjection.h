// Projection of boxes and points into cull space, shared by all cull tests.
//
// A homogeneous coordinate of a point is a linear form of it (TqOcLinearForm). On one axis the
// coordinate c is inside when -w <= c <= w, and c / w is where the point is seen. All sums are made
// in one fixed order, so that every test of a corner sees the same bits. Nothing allocates.
#pragma once

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"

namespace TqOcInternal
{

/// x * X + y * Y + z * Z + t, summed from left to right.
struct TqOcLinearForm
{
    double x;
    double y;
    double z;
    double t;

    double At(TqLPos3f const& p) const { return x * p[0] + y * p[1] + z * p[2] + t; }

    /// Largest and smallest value over a box, at the corners that the signs of the coefficients
    /// name.
    double Max(TqLBox3f const& box) const { return AtPicked(box.GetMax(), box.GetMin()); }

    double Min(TqLBox3f const& box) const { return AtPicked(box.GetMin(), box.GetMax()); }

private:
    double AtPicked(TqLPos3f const& wherePositive, TqLPos3f const& elsewhere) const
    {
        return x * (x > 0.0 ? wherePositive[0] : elsewhere[0]) +
               y * (y > 0.0 ? wherePositive[1] : elsewhere[1]) +
               z * (z > 0.0 ? wherePositive[2] : elsewhere[2]) + t;
    }
};

/// The form that a matrix gives for coordinate 0, 1, 2 (x, y, z) or 3 (the weight w).
inline TqOcLinearForm FormOf(TqLMatrix4f const& matrix, int coordinate)
{
    double const* const m = matrix.Data() + coordinate;
    return {m[0], m[4], m[8], m[12]};
}

/// A form at the eight corners of a box, in the order of TqLBox3f::GetCorner (z changes fastest).
struct TqOcCornerValues
{
    static constexpr int eCOUNT = 8;

    TqOcCornerValues() = default;

    TqOcCornerValues(TqOcLinearForm const& form, TqLBox3f const& box) { Set(form, box); }

    void Set(TqOcLinearForm const& form, TqLBox3f const& box)
    {
        // The same sums as At, with the shared ones made once.
        double const xs[2] = {form.x * box.GetMin()[0], form.x * box.GetMax()[0]};
        double const ys[2] = {form.y * box.GetMin()[1], form.y * box.GetMax()[1]};
        double const zs[2] = {form.z * box.GetMin()[2], form.z * box.GetMax()[2]};
        for (int corner = 0; corner < eCOUNT; corner += 2) {
            double const xy = xs[corner >> 2] + ys[(corner >> 1) & 1];
            value[corner] = xy + zs[0] + form.t;
            value[corner + 1] = xy + zs[1] + form.t;
        }
    }

    double operator()(int corner) const { return value[corner]; }

    double value[eCOUNT];
};

/// Bit 0: beyond the low plane; bit 1: beyond the high one. On a plane is inside. Both bits are set
/// only for points behind the eye.
inline int Outcode(double c, double w)
{
    return (-w > c ? 1 : 0) | (c > w ? 2 : 0);
}

constexpr int eOUTCODE_INSIDE = 0;
constexpr int eOUTCODE_LOW = 1;
constexpr int eOUTCODE_HIGH = 2;
constexpr int eOUTCODE_BEHIND = 3;

/// What a test of all points of a box against one pair of planes says.
struct TqOcPairTest
{
    int allBits = eOUTCODE_BEHIND; ///< AND of the outcodes: not 0 when all lie beyond one plane.
    int anyBits = eOUTCODE_INSIDE; ///< OR of the outcodes: 0 when all lie inside.

    void Add(int outcode)
    {
        allBits &= outcode;
        anyBits |= outcode;
    }

    bool IsOutside() const { return allBits != 0; }

    bool IsInside() const { return anyBits == 0; }

    bool IsStraddling() const { return allBits == 0 && anyBits != 0; }
};

/// Tests the extremes of c and w over a box: cheap, and conservative where it says straddling.
inline TqOcPairTest TestInterval(TqOcLinearForm const& form, TqLBox3f const& box, double wMin,
                                 double wMax)
{
    double const cMin = form.Min(box);
    double const cMax = form.Max(box);
    TqOcPairTest test;
    test.Add(Outcode(cMin, wMin));
    test.Add(Outcode(cMin, wMax));
    test.Add(Outcode(cMax, wMin));
    test.Add(Outcode(cMax, wMax));
    return test;
}

/// An extent in cull space.
struct TqOcRange
{
    double low;
    double high;
};

/// The exact extent of c / w over points that all lie inside the pair.
/// @param c, w  callable with the index of a point, 0 <= index < count; count is 1 or more
template <class Coordinate, class Weight>
TqOcRange ProjectInside(Coordinate const& c, Weight const& w, int count)
{
    double const first = c(0) / w(0);
    TqOcRange range = {first, first};
    for (int i = 1; i < count; ++i) {
        double const ci = c(i);
        double const wi = w(i);
        if (wi * range.low > ci) {
            range.low = ci / wi;
        } else if (ci > wi * range.high) {
            range.high = ci / wi;
        }
    }
    return range;
}

/// The extent of points that may lie on either side of the pair's planes: points beyond a plane pin
/// that end to the plane, and points behind the eye stretch it to the sides to which they wrap.
/// @param test  gets the outcodes of all points; when it says outside, the extent means nothing
template <class Coordinate, class Weight>
TqOcRange ProjectClipped(Coordinate const& c, Weight const& w, int count, TqOcPairTest* test)
{
    TqOcRange range = {1.0, -1.0};
    bool anyBehind = false;
    for (int i = 0; i < count; ++i) {
        double const ci = c(i);
        double const wi = w(i);
        int const outcode = Outcode(ci, wi);
        test->Add(outcode);
        if (outcode == eOUTCODE_INSIDE) {
            if (wi * range.low > ci) {
                range.low = ci / wi;
            }
            if (ci > wi * range.high) {
                range.high = ci / wi;
            }
        } else if (outcode == eOUTCODE_LOW) {
            range.low = -1.0;
        } else if (outcode == eOUTCODE_HIGH) {
            range.high = 1.0;
        } else {
            anyBehind = true;
        }
    }
    if (!anyBehind || test->IsOutside() || (range.low == -1.0 && range.high == 1.0)) {
        return range;
    }
    // A point pins an end, once moved, or leaves it; so the order of the points does not matter.
    for (int i = count - 1; i >= 0; --i) {
        double const ci = c(i);
        double const wi = w(i);
        if (Outcode(ci, wi) == eOUTCODE_BEHIND) {
            if (wi * range.low > ci) {
                range.low = -1.0;
            }
            if (ci > wi * range.high) {
                range.high = 1.0;
            }
        }
    }
    return range;
}

} // namespace TqOcInternal
