// Positions, vectors, unit vectors and colours: the smallest value types of the library.
//
// All of them are trivially copyable rows of doubles, whatever the f at the end of their names
// suggests. A position says where something is, a vector says how far and which way; an affine
// (TqLMatrix.h) moves a position by its translation and leaves a vector's offset alone. The two are
// told apart by type, and a position shows its coordinates as a vector through Vec().
// Everything here is inline but the normalising of a vector. Indices are not checked.
#pragma once

#include "geometry/TqLApi.h"

#include <cmath>
#include <type_traits>

class TqLUnitVec3f;

/// Two doubles x and y: the common part of TqLVec2f and TqLPos2f. Zero after construction.
class TqLBaseVec2f
{
public:
    /// (0, 0).
    constexpr TqLBaseVec2f() = default;

    constexpr TqLBaseVec2f(double x, double y) : m_value{x, y} {}

    /// The coordinate on an axis; index is 0 for x, 1 for y, and is not checked.
    constexpr double Get(int index) const { return m_value[index]; }

    /// Sets the coordinate on an axis; index is 0 or 1 and is not checked.
    constexpr void Set(int index, double value) { m_value[index] = value; }

    constexpr void SetValue(double x, double y)
    {
        m_value[0] = x;
        m_value[1] = y;
    }

    /// Both coordinates become 0.
    constexpr void MakeZero() { SetValue(0.0, 0.0); }

    /// Two contiguous doubles, x first.
    constexpr double const* Data() const { return m_value; }

protected:
    constexpr double const& operator[](int index) const { return m_value[index]; }

    constexpr double& operator[](int index) { return m_value[index]; }

private:
    double m_value[2] = {0.0, 0.0};
};

/// A displacement in two dimensions. Zero after construction.
class TqLVec2f : public TqLBaseVec2f
{
public:
    using TqLBaseVec2f::TqLBaseVec2f;
    using TqLBaseVec2f::operator[];

    /// x * other.x + y * other.y.
    constexpr double Dot(TqLVec2f const& other) const
    {
        return Get(0) * other.Get(0) + Get(1) * other.Get(1);
    }

    constexpr TqLVec2f& operator+=(TqLVec2f const& other)
    {
        SetValue(Get(0) + other.Get(0), Get(1) + other.Get(1));
        return *this;
    }
};

/// A point in two dimensions: window pixels, cull-space x and y, or texture coordinates, as its
/// user says. The origin after construction.
///
/// A position is built on a vector that it keeps private, so that Vec() can hand out a reference
/// to it while no position turns into a vector by accident.
class TqLPos2f : private TqLVec2f
{
public:
    using TqLBaseVec2f::Data;
    using TqLBaseVec2f::Get;
    using TqLBaseVec2f::MakeZero;
    using TqLBaseVec2f::Set;
    using TqLBaseVec2f::SetValue;
    using TqLVec2f::TqLVec2f;
    using TqLVec2f::operator[];

    /// (0, 0).
    constexpr TqLPos2f() = default;

    /// Both coordinates become 0.
    constexpr void MakeOrigin() { MakeZero(); }

    /// The same two numbers as a vector from the origin; a view that lives as long as the position.
    constexpr TqLVec2f const& Vec() const { return *this; }

    constexpr TqLPos2f& operator+=(TqLVec2f const& offset)
    {
        TqLVec2f::operator+=(offset);
        return *this;
    }
};

/// Three doubles x, y and z: the common part of TqLVec3f and TqLPos3f. Zero after construction.
class TqLBaseVec3f
{
public:
    /// (0, 0, 0).
    constexpr TqLBaseVec3f() = default;

    constexpr TqLBaseVec3f(double x, double y, double z) : m_value{x, y, z} {}

    /// The coordinate on an axis; index is 0 for x, 1 for y, 2 for z, and is not checked.
    constexpr double Get(int index) const { return m_value[index]; }

    /// Sets the coordinate on an axis; index is 0, 1 or 2 and is not checked.
    constexpr void Set(int index, double value) { m_value[index] = value; }

    constexpr void SetValue(double x, double y, double z)
    {
        m_value[0] = x;
        m_value[1] = y;
        m_value[2] = z;
    }

    /// All three coordinates become 0.
    constexpr void MakeZero() { SetValue(0.0, 0.0, 0.0); }

    /// Three contiguous doubles, x first.
    constexpr double const* Data() const { return m_value; }

protected:
    constexpr double const& operator[](int index) const { return m_value[index]; }

    constexpr double& operator[](int index) { return m_value[index]; }

private:
    double m_value[3] = {0.0, 0.0, 0.0};
};

/// A displacement or direction in three dimensions, of any length. Zero after construction.
class TqLVec3f : public TqLBaseVec3f
{
public:
    using TqLBaseVec3f::TqLBaseVec3f;
    using TqLBaseVec3f::operator[];

    /// (x * other.x + y * other.y) + z * other.z, added in this order.
    constexpr double Dot(TqLVec3f const& other) const
    {
        return Get(0) * other.Get(0) + Get(1) * other.Get(1) + Get(2) * other.Get(2);
    }

    /// The right-handed cross product: x cross y is z.
    constexpr TqLVec3f Cross(TqLVec3f const& other) const
    {
        return TqLVec3f(Get(1) * other.Get(2) - Get(2) * other.Get(1),
                        Get(2) * other.Get(0) - Get(0) * other.Get(2),
                        Get(0) * other.Get(1) - Get(1) * other.Get(0));
    }

    /// The square root of Dot with itself. Overflows to infinity for components beyond about 1e154
    /// and underflows to 0 below about 1e-162; TqLUnitVec3f normalises such vectors all the same.
    double Length() const { return std::sqrt(Dot(*this)); }

    constexpr TqLVec3f& operator+=(TqLVec3f const& other)
    {
        SetValue(Get(0) + other.Get(0), Get(1) + other.Get(1), Get(2) + other.Get(2));
        return *this;
    }

    constexpr TqLVec3f& operator-=(TqLVec3f const& other)
    {
        SetValue(Get(0) - other.Get(0), Get(1) - other.Get(1), Get(2) - other.Get(2));
        return *this;
    }

    constexpr TqLVec3f& operator*=(double factor)
    {
        SetValue(Get(0) * factor, Get(1) * factor, Get(2) * factor);
        return *this;
    }
};

/// A point in three dimensions, in the space that its user says. The origin after construction.
///
/// A position is built on a vector that it keeps private, so that Vec() can hand out a reference
/// to it while no position turns into a vector by accident.
class TqLPos3f : private TqLVec3f
{
public:
    using TqLBaseVec3f::Data;
    using TqLBaseVec3f::Get;
    using TqLBaseVec3f::MakeZero;
    using TqLBaseVec3f::Set;
    using TqLBaseVec3f::SetValue;
    using TqLVec3f::Dot;
    using TqLVec3f::TqLVec3f;
    using TqLVec3f::operator[];

    /// (0, 0, 0).
    constexpr TqLPos3f() = default;

    /// The point at a vector's end when it starts in the origin.
    explicit constexpr TqLPos3f(TqLVec3f const& fromOrigin) : TqLVec3f(fromOrigin) {}

    /// All three coordinates become 0.
    constexpr void MakeOrigin() { MakeZero(); }

    /// The same three numbers as a vector from the origin; a view that lives as long as the
    /// position.
    constexpr TqLVec3f const& Vec() const { return *this; }

    constexpr TqLPos3f& operator+=(TqLVec3f const& offset)
    {
        TqLVec3f::operator+=(offset);
        return *this;
    }

    constexpr TqLPos3f& operator-=(TqLVec3f const& offset)
    {
        TqLVec3f::operator-=(offset);
        return *this;
    }
};

/// A vector of length 1, up to rounding. (0, 0, 1) after construction.
///
/// A vector without a direction has no unit vector: a zero vector, or one with a component that is
/// infinite or NaN, becomes the zero vector, and nothing is posted. Whoever cannot go on with a
/// zero normal asks IsZero.
class TqLUnitVec3f
{
public:
    /// (0, 0, 1).
    constexpr TqLUnitVec3f() : m_vec(0.0, 0.0, 1.0) {}

    /// Normalises a vector: each component is divided by the length. Components of any finite size
    /// are handled, without overflow or underflow in between.
    TQL_API explicit TqLUnitVec3f(TqLVec3f const& vec);

    /// Takes components whose squares already add up to 1; they are stored as they stand.
    constexpr void SetUnitValue(double x, double y, double z) { m_vec.SetValue(x, y, z); }

    /// The component on an axis; index is 0, 1 or 2 and is not checked.
    constexpr double Get(int index) const { return m_vec[index]; }

    constexpr double const& operator[](int index) const { return m_vec[index]; }

    /// (x * other.x + y * other.y) + z * other.z, added in this order.
    constexpr double Dot(TqLVec3f const& other) const { return m_vec.Dot(other); }

    /// Whether the vector that this was made from had no direction.
    constexpr bool IsZero() const { return m_vec[0] == 0.0 && m_vec[1] == 0.0 && m_vec[2] == 0.0; }

    /// A view as a plain vector; it lives as long as the unit vector.
    constexpr operator TqLVec3f const&() const { return m_vec; }

    /// The same view by name.
    constexpr TqLVec3f const& Vec() const { return m_vec; }

    /// The opposite direction.
    constexpr TqLUnitVec3f operator-() const
    {
        TqLUnitVec3f result;
        result.SetUnitValue(-m_vec[0], -m_vec[1], -m_vec[2]);
        return result;
    }

private:
    TqLVec3f m_vec;
};

/// A colour as red, green and blue; 0 is dark and 1 is full, and values beyond are kept. Black
/// after construction.
class TqLColor3f
{
public:
    /// (0, 0, 0).
    constexpr TqLColor3f() = default;

    constexpr TqLColor3f(double red, double green, double blue) : m_value{red, green, blue} {}

    constexpr void SetValue(double red, double green, double blue)
    {
        m_value[0] = red;
        m_value[1] = green;
        m_value[2] = blue;
    }

    /// The share of red (0), green (1) or blue (2); the index is not checked.
    constexpr double const& operator[](int index) const { return m_value[index]; }

    constexpr double& operator[](int index) { return m_value[index]; }

private:
    double m_value[3] = {0.0, 0.0, 0.0};
};

// ---- Comparing: component by component, exact; NaN differs from everything, -0.0 equals 0.0 ----

constexpr bool operator==(TqLVec2f const& a, TqLVec2f const& b)
{
    return a[0] == b[0] && a[1] == b[1];
}

constexpr bool operator!=(TqLVec2f const& a, TqLVec2f const& b)
{
    return !(a == b);
}

constexpr bool operator==(TqLPos2f const& a, TqLPos2f const& b)
{
    return a.Vec() == b.Vec();
}

constexpr bool operator!=(TqLPos2f const& a, TqLPos2f const& b)
{
    return !(a == b);
}

constexpr bool operator==(TqLVec3f const& a, TqLVec3f const& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

constexpr bool operator!=(TqLVec3f const& a, TqLVec3f const& b)
{
    return !(a == b);
}

constexpr bool operator==(TqLPos3f const& a, TqLPos3f const& b)
{
    return a.Vec() == b.Vec();
}

constexpr bool operator!=(TqLPos3f const& a, TqLPos3f const& b)
{
    return !(a == b);
}

constexpr bool operator==(TqLUnitVec3f const& a, TqLUnitVec3f const& b)
{
    return a.Vec() == b.Vec();
}

constexpr bool operator!=(TqLUnitVec3f const& a, TqLUnitVec3f const& b)
{
    return !(a == b);
}

constexpr bool operator==(TqLColor3f const& a, TqLColor3f const& b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

constexpr bool operator!=(TqLColor3f const& a, TqLColor3f const& b)
{
    return !(a == b);
}

// ---- Arithmetic: position and vector algebra, component by component ----------------------------

constexpr TqLVec3f operator-(TqLVec3f const& a)
{
    return TqLVec3f(-a[0], -a[1], -a[2]);
}

constexpr TqLVec3f operator+(TqLVec3f const& a, TqLVec3f const& b)
{
    return TqLVec3f(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
}

constexpr TqLVec3f operator-(TqLVec3f const& a, TqLVec3f const& b)
{
    return TqLVec3f(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

constexpr TqLVec3f operator*(TqLVec3f const& a, double factor)
{
    return TqLVec3f(a[0] * factor, a[1] * factor, a[2] * factor);
}

constexpr TqLVec3f operator*(double factor, TqLVec3f const& a)
{
    return a * factor;
}

constexpr TqLPos3f operator+(TqLPos3f const& point, TqLVec3f const& offset)
{
    return TqLPos3f(point[0] + offset[0], point[1] + offset[1], point[2] + offset[2]);
}

constexpr TqLPos3f operator-(TqLPos3f const& point, TqLVec3f const& offset)
{
    return TqLPos3f(point[0] - offset[0], point[1] - offset[1], point[2] - offset[2]);
}

/// The vector that leads from b to a.
constexpr TqLVec3f operator-(TqLPos3f const& a, TqLPos3f const& b)
{
    return a.Vec() - b.Vec();
}

static_assert(sizeof(TqLVec2f) == 16 && sizeof(TqLPos2f) == 16, "two doubles without padding");
static_assert(sizeof(TqLVec3f) == 24 && sizeof(TqLPos3f) == 24, "three doubles without padding");
static_assert(sizeof(TqLUnitVec3f) == 24 && sizeof(TqLColor3f) == 24, "three doubles, no padding");
static_assert(std::is_trivially_copyable<TqLVec2f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLPos2f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLVec3f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLPos3f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLUnitVec3f>::value, "plain value");
static_assert(std::is_trivially_copyable<TqLColor3f>::value, "plain value");
