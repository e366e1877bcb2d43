#pragma once

// Random geometry for the tests of this folder, and the long double arithmetic that checks it.
//
// Everything comes from SceneRandom, so a seed gives the same case with every compiler; tests name
// the seed with SCOPED_TRACE. Nothing here calls the library's own arithmetic.

#include "scenes/SceneRandom.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLVec.h"

#include <algorithm>
#include <array>
#include <cmath>

/// A vector in long double, for oracles.
struct LongVec
{
    long double x = 0.0L;
    long double y = 0.0L;
    long double z = 0.0L;

    LongVec() = default;

    LongVec(long double ax, long double ay, long double az) : x(ax), y(ay), z(az) {}

    explicit LongVec(TqLVec3f const& vec) : x(vec[0]), y(vec[1]), z(vec[2]) {}

    explicit LongVec(TqLPos3f const& pos) : x(pos[0]), y(pos[1]), z(pos[2]) {}

    [[nodiscard]] long double Get(int axis) const { return axis == 0 ? x : (axis == 1 ? y : z); }
};

inline LongVec operator+(LongVec const& a, LongVec const& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline LongVec operator-(LongVec const& a, LongVec const& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline LongVec operator*(LongVec const& a, long double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

inline long double LongDot(LongVec const& a, LongVec const& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline LongVec LongCross(LongVec const& a, LongVec const& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline long double LongLength(LongVec const& a)
{
    return std::sqrt(LongDot(a, a));
}

inline LongVec LongUnit(LongVec const& a)
{
    return a * (1.0L / LongLength(a));
}

/// p * affine in long double.
inline LongVec LongTransform(LongVec const& p, TqLAffine3f const& affine)
{
    return LongVec(affine.GetRow(0)) * p.x + LongVec(affine.GetRow(1)) * p.y +
           LongVec(affine.GetRow(2)) * p.z + LongVec(affine.GetTranslation());
}

inline std::array<LongVec, 8> LongCorners(TqLBox3f const& box)
{
    std::array<LongVec, 8> corners;
    for (int index = 0; index < 8; ++index) {
        corners[static_cast<std::size_t>(index)] =
            LongVec((index & 4) != 0 ? box.GetMax()[0] : box.GetMin()[0],
                    (index & 2) != 0 ? box.GetMax()[1] : box.GetMin()[1],
                    (index & 1) != 0 ? box.GetMax()[2] : box.GetMin()[2]);
    }
    return corners;
}

inline TqLPos3f ToPos(LongVec const& a)
{
    return TqLPos3f(static_cast<double>(a.x), static_cast<double>(a.y), static_cast<double>(a.z));
}

// ---- Random values ------------------------------------------------------------------------------

inline TqLVec3f RandomVec(SceneRandom* random, double size)
{
    double const x = random->Range(-size, size);
    double const y = random->Range(-size, size);
    double const z = random->Range(-size, size);
    return TqLVec3f(x, y, z);
}

inline TqLPos3f RandomPos(SceneRandom* random, double size)
{
    return TqLPos3f(RandomVec(random, size));
}

/// A vector that is long enough to have a direction.
inline TqLVec3f RandomDirection(SceneRandom* random)
{
    for (;;) {
        TqLVec3f const vec = RandomVec(random, 1.0);
        if (vec.Dot(vec) > 0.01) {
            return vec;
        }
    }
}

/// A box with its centre within a distance per axis and sides up to a size; a side is sometimes 0.
inline TqLBox3f RandomBox(SceneRandom* random, double within, double size)
{
    TqLPos3f const center = RandomPos(random, within);
    TqLPos3f min(center);
    TqLPos3f max(center);
    for (int axis = 0; axis < 3; ++axis) {
        if (!random->Chance(0.1)) {
            double const half = 0.5 * random->Range(0.0, size);
            min[axis] -= half;
            max[axis] += half;
        }
    }
    return TqLBox3f(min, max);
}

inline TqLAffine3f RandomRotation(SceneRandom* random)
{
    TqLUnitVec3f const axis(RandomDirection(random));
    return TqLAffine3f::Rotation(axis, random->Range(-3.2, 3.2));
}

/// A rotation, unequal scales of either sign (so half of them mirror), a rotation, a translation.
inline TqLAffine3f RandomAffine(SceneRandom* random, double offset)
{
    double scales[3];
    for (double& scale : scales) {
        scale = std::exp(random->Range(-2.0, 2.0)) * (random->Chance(0.5) ? 1.0 : -1.0);
    }
    TqLAffine3f const first = RandomRotation(random);
    TqLAffine3f const second = RandomRotation(random);
    return first * TqLAffine3f::Scale(scales[0], scales[1], scales[2]) * second *
           TqLAffine3f::Translation(RandomVec(random, offset));
}
