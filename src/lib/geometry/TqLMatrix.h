// Affine transforms and 4 x 4 matrices, for row vectors.
//
// A point is a row and stands on the left: point * affine. So in a product the left factor acts
// first, and local-to-world of a child is child * parent. Products and element access are inline;
// inverting and building rotations live in the source file. No operation allocates.
// TqLMatrix is the component that these types belong to, and that their errors are posted against.
#pragma once

#include "geometry/TqLApi.h"
#include "geometry/TqLBox.h"
#include "geometry/TqLVec.h"

#include <type_traits>

/// Switches the matrix component on and off, counted; there is nothing else to it. No component is
/// pulled in by it. Not thread-safe: call at start and end of the program.
class TqLMatrix
{
public:
    TqLMatrix() = delete;

    TQL_API static void Initialise();

    TQL_API static void Terminate();

    /// Non-zero while there have been more calls of Initialise than of Terminate.
    TQL_API static int IsInitialised();
};

/// An affine transform: p' = p * L + t, with a 3 x 3 linear part L and a translation t. The
/// identity after construction.
///
/// Stored as four rows of three doubles: the images of the x, y and z axes, then the translation.
class TqLAffine3f
{
public:
    /// The identity.
    constexpr TqLAffine3f() = default;

    /// From the images of the three axes and of the origin.
    constexpr TqLAffine3f(TqLVec3f const& xAxis, TqLVec3f const& yAxis, TqLVec3f const& zAxis,
                          TqLVec3f const& translation)
        : m_element{xAxis[0], xAxis[1], xAxis[2], yAxis[0],       yAxis[1],       yAxis[2],
                    zAxis[0], zAxis[1], zAxis[2], translation[0], translation[1], translation[2]}
    {}

    /// Moves every point by an offset.
    TQL_API static TqLAffine3f Translation(TqLVec3f const& offset);

    /// Turns about an axis through the origin, by an angle in radians, counter-clockwise when the
    /// axis points at the viewer: a quarter turn about z takes +x to +y. The identity for a zero
    /// axis.
    TQL_API static TqLAffine3f Rotation(TqLUnitVec3f const& axis, double angle);

    /// The same about an axis through a point.
    TQL_API static TqLAffine3f Rotation(TqLPos3f const& center, TqLUnitVec3f const& axis,
                                        double angle);

    /// Scales about the origin, per axis; a negative factor mirrors.
    TQL_API static TqLAffine3f Scale(double x, double y, double z);

    /// Scales about the origin by one factor.
    static TqLAffine3f Scale(double factor) { return Scale(factor, factor, factor); }

    /// Becomes the identity.
    constexpr void MakeIdentity() { *this = TqLAffine3f(); }

    /// Whether all twelve elements are exactly those of the identity.
    TQL_API bool IsIdentity() const;

    /// A row of three doubles: rows 0 to 2 are the images of the axes, row 3 is the translation.
    /// The index is not checked.
    constexpr double const* operator[](int row) const { return m_element + 3 * row; }

    constexpr double* operator[](int row) { return m_element + 3 * row; }

    /// Twelve contiguous doubles, row after row.
    constexpr double const* Data() const { return m_element; }

    /// A row of the linear part (0 to 2), or the translation (3), as a vector.
    constexpr TqLVec3f GetRow(int row) const
    {
        return TqLVec3f(m_element[3 * row], m_element[3 * row + 1], m_element[3 * row + 2]);
    }

    constexpr TqLVec3f GetTranslation() const { return GetRow(3); }

    /// The affine that undoes this one, on whichever side it is multiplied. Takes some 200 ns.
    /// A linear part that is singular up to rounding, or an element that is infinite or NaN, or an
    /// inverse beyond the range of a double: posts severity 1 against "TqLMatrix" and returns the
    /// identity.
    TQL_API TqLAffine3f Inverse() const;

    /// The box along the axes that encloses the box's eight transformed corners. An empty box stays
    /// empty (as MakeEmpty leaves it). An infinite corner reaches only where its coefficient is not
    /// zero.
    TQL_API TqLBox3f TransformedBox(TqLBox3f const& box) const;

private:
    double m_element[12] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};
};

/// A 4 x 4 matrix for homogeneous row vectors (x, y, z, 1): c_k = m[k] * x + m[4 + k] * y
/// + m[8 + k] * z + m[12 + k], with k = 3 for the weight w. The identity after construction.
class TqLMatrix4f
{
public:
    /// The identity.
    constexpr TqLMatrix4f() = default;

    /// The matrix that does the same as an affine; the last column is (0, 0, 0, 1).
    explicit constexpr TqLMatrix4f(TqLAffine3f const& affine)
        : m_element{affine[0][0], affine[0][1], affine[0][2], 0.0,
                    affine[1][0], affine[1][1], affine[1][2], 0.0,
                    affine[2][0], affine[2][1], affine[2][2], 0.0,
                    affine[3][0], affine[3][1], affine[3][2], 1.0}
    {}

    /// Copies 16 doubles, row after row. This is the storage order of a column-major matrix for
    /// column vectors, so a view-projection matrix as OpenGL takes it can be handed in unchanged.
    explicit constexpr TqLMatrix4f(double const* elements)
    {
        for (int index = 0; index < 16; ++index) {
            m_element[index] = elements[index];
        }
    }

    /// Becomes the identity.
    constexpr void MakeIdentity() { *this = TqLMatrix4f(); }

    /// Whether all sixteen elements are exactly those of the identity.
    TQL_API bool IsIdentity() const;

    /// A row of four doubles; the index, 0 to 3, is not checked.
    constexpr double const* operator[](int row) const { return m_element + 4 * row; }

    constexpr double* operator[](int row) { return m_element + 4 * row; }

    /// Sixteen contiguous doubles, row after row.
    constexpr double const* Data() const { return m_element; }

    /// The matrix that undoes this one. Singular up to rounding, with an element that is infinite
    /// or NaN, or with an inverse beyond the range of a double: posts severity 1 against
    /// "TqLMatrix" and returns the identity.
    TQL_API TqLMatrix4f Inverse() const;

private:
    double m_element[16] = {1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0,
                            0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0};
};

/// Transforms a point: ((x * m[0][j] + y * m[1][j]) + z * m[2][j]) + m[3][j], in this order.
constexpr TqLPos3f operator*(TqLPos3f const& point, TqLAffine3f const& affine)
{
    double const* m = affine.Data();
    return TqLPos3f(point[0] * m[0] + point[1] * m[3] + point[2] * m[6] + m[9],
                    point[0] * m[1] + point[1] * m[4] + point[2] * m[7] + m[10],
                    point[0] * m[2] + point[1] * m[5] + point[2] * m[8] + m[11]);
}

/// Transforms a displacement: the linear part only.
constexpr TqLVec3f operator*(TqLVec3f const& vec, TqLAffine3f const& affine)
{
    double const* m = affine.Data();
    return TqLVec3f(vec[0] * m[0] + vec[1] * m[3] + vec[2] * m[6],
                    vec[0] * m[1] + vec[1] * m[4] + vec[2] * m[7],
                    vec[0] * m[2] + vec[1] * m[5] + vec[2] * m[8]);
}

/// First `first`, then `second`: p * (first * second) is (p * first) * second up to rounding.
constexpr TqLAffine3f operator*(TqLAffine3f const& first, TqLAffine3f const& second)
{
    TqLPos3f const origin = TqLPos3f(first.GetTranslation()) * second;
    return TqLAffine3f(first.GetRow(0) * second, first.GetRow(1) * second, first.GetRow(2) * second,
                       origin.Vec());
}

/// First `first`, then `second`. Element (i, j) is the sum over k = 0, 1, 2, 3, added in this
/// order, of first[i][k] * second[k][j].
constexpr TqLMatrix4f operator*(TqLMatrix4f const& first, TqLMatrix4f const& second)
{
    TqLMatrix4f result;
    for (int row = 0; row < 4; ++row) {
        double const* a = first[row];
        for (int column = 0; column < 4; ++column) {
            result[row][column] = a[0] * second[0][column] + a[1] * second[1][column] +
                                  a[2] * second[2][column] + a[3] * second[3][column];
        }
    }
    return result;
}

static_assert(sizeof(TqLAffine3f) == 96, "twelve doubles without padding");
static_assert(sizeof(TqLMatrix4f) == 128, "sixteen doubles without padding");
static_assert(std::is_trivially_copyable<TqLAffine3f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLMatrix4f>::value, "plain value");
