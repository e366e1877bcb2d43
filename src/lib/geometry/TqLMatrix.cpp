#include "geometry/TqLMatrix.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace
{

TqUComponent s_component("TqLMatrix");

bool AreFinite(double const* values, int count)
{
    for (int index = 0; index < count; ++index) {
        if (!std::isfinite(values[index])) {
            return false;
        }
    }
    return true;
}

bool AreEqual(double const* a, double const* b, int count)
{
    for (int index = 0; index < count; ++index) {
        if (!(a[index] == b[index])) {
            return false;
        }
    }
    return true;
}

// ---- Inversion ----------------------------------------------------------------------------------
//
// Gauss-Jordan elimination with full pivoting, on a matrix whose rows and columns have first been
// scaled by powers of two so that the largest element of each is near 1. The scaling is exact and
// takes units out of the question: whether a matrix is singular does not depend on its entries
// being millimetres or light years, nor on one axis being scaled far more than another. After it, a
// pivot of a few roundings' size means that no digit of the inverse would be right.
//
// With rows scaled by r and columns by c, a'[i][j] = r[i] * a[i][j] * c[j], and the inverse wanted
// is b[i][j] = c[i] * b'[i][j] * r[j].

template <int N>
struct Scaling
{
    int rows[N] = {};
    int columns[N] = {};
};

// frexp and ldexp as their fast cases: an inverse takes dozens of them.

int ExponentOf(double positive)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &positive, sizeof(bits));
    int const biased = static_cast<int>(bits >> 52);
    if (biased != 0) {
        return biased - 1022;
    }
    int exponent = 0;
    std::frexp(positive, &exponent); // subnormal
    return exponent;
}

double TimesPowerOfTwo(double value, int exponent)
{
    if (exponent < -1022 || exponent > 1023) {
        return std::ldexp(value, exponent);
    }
    std::uint64_t const bits = static_cast<std::uint64_t>(exponent + 1023) << 52;
    double power = 0.0;
    std::memcpy(&power, &bits, sizeof(power));
    return value * power;
}

// The exponent by which the largest of N numbers, stride apart, comes to lie in [0.5, 1); false
// when all are 0.
template <int N>
bool FindExponent(double const* values, int stride, int* exponent)
{
    double greatest = 0.0;
    for (int index = 0; index < N; ++index) {
        greatest = std::max(greatest, std::fabs(values[index * stride]));
    }
    *exponent = greatest == 0.0 ? 0 : -ExponentOf(greatest);
    return greatest != 0.0;
}

template <int N>
bool Equilibrate(double (&m)[N][N], Scaling<N>* scaling)
{
    for (int row = 0; row < N; ++row) {
        if (!FindExponent<N>(&m[row][0], 1, &scaling->rows[row])) {
            return false;
        }
        for (int column = 0; column < N; ++column) {
            m[row][column] = TimesPowerOfTwo(m[row][column], scaling->rows[row]);
        }
    }
    for (int column = 0; column < N; ++column) {
        if (!FindExponent<N>(&m[0][column], N, &scaling->columns[column])) {
            return false;
        }
        for (int row = 0; row < N; ++row) {
            m[row][column] = TimesPowerOfTwo(m[row][column], scaling->columns[column]);
        }
    }
    return true;
}

// Exchanges the largest element of the block from (step, step) on to (step, step).
template <int N>
double BringPivot(double (&m)[N][N], int step, int* rowSwaps, int* columnSwaps)
{
    int pivotRow = step;
    int pivotColumn = step;
    for (int row = step; row < N; ++row) {
        for (int column = step; column < N; ++column) {
            if (std::fabs(m[row][column]) > std::fabs(m[pivotRow][pivotColumn])) {
                pivotRow = row;
                pivotColumn = column;
            }
        }
    }
    rowSwaps[step] = pivotRow;
    columnSwaps[step] = pivotColumn;
    for (int index = 0; index < N; ++index) {
        std::swap(m[step][index], m[pivotRow][index]);
    }
    for (int index = 0; index < N; ++index) {
        std::swap(m[index][step], m[index][pivotColumn]);
    }
    return m[step][step];
}

// One step in place: the pivot's column makes room for that of the inverse.
template <int N>
void Eliminate(double (&m)[N][N], int step)
{
    double const pivot = m[step][step];
    m[step][step] = 1.0;
    for (int column = 0; column < N; ++column) {
        m[step][column] /= pivot;
    }
    for (int row = 0; row < N; ++row) {
        double const factor = m[row][step];
        if (row == step || factor == 0.0) {
            continue;
        }
        m[row][step] = 0.0;
        for (int column = 0; column < N; ++column) {
            m[row][column] -= factor * m[step][column];
        }
    }
}

// Inverts m in place; false where it is singular up to rounding, and m is then spoilt.
template <int N>
bool Invert(double (&m)[N][N])
{
    constexpr double smallestPivot = 8.0 * DBL_EPSILON;

    Scaling<N> scaling;
    if (!Equilibrate(m, &scaling)) {
        return false;
    }
    int rowSwaps[N];
    int columnSwaps[N];
    for (int step = 0; step < N; ++step) {
        if (!(std::fabs(BringPivot(m, step, rowSwaps, columnSwaps)) > smallestPivot)) {
            return false;
        }
        Eliminate(m, step);
    }
    // What was exchanged among the rows comes back among the columns of the inverse.
    for (int step = N - 1; step >= 0; --step) {
        for (int index = 0; index < N; ++index) {
            std::swap(m[index][step], m[index][rowSwaps[step]]);
        }
        for (int index = 0; index < N; ++index) {
            std::swap(m[step][index], m[columnSwaps[step]][index]);
        }
    }
    for (int row = 0; row < N; ++row) {
        for (int column = 0; column < N; ++column) {
            m[row][column] =
                TimesPowerOfTwo(m[row][column], scaling.columns[row] + scaling.rows[column]);
        }
    }
    return true;
}

} // namespace

// ---- TqLMatrix ----------------------------------------------------------------------------------

void TqLMatrix::Initialise()
{
    s_component.Initialise("TqLMatrix", "geometry/TqLMatrix.cpp 1");
}

void TqLMatrix::Terminate()
{
    s_component.Terminate();
}

int TqLMatrix::IsInitialised()
{
    return s_component.IsInitialised();
}

// ---- TqLAffine3f --------------------------------------------------------------------------------

TqLAffine3f TqLAffine3f::Translation(TqLVec3f const& offset)
{
    return TqLAffine3f(TqLVec3f(1.0, 0.0, 0.0), TqLVec3f(0.0, 1.0, 0.0), TqLVec3f(0.0, 0.0, 1.0),
                       offset);
}

TqLAffine3f TqLAffine3f::Rotation(TqLUnitVec3f const& axis, double angle)
{
    if (axis.IsZero()) {
        return TqLAffine3f();
    }
    // Rodrigues' formula; the rows are the images of the axes.
    double const c = std::cos(angle);
    double const s = std::sin(angle);
    double const t = 1.0 - c;
    double const x = axis[0];
    double const y = axis[1];
    double const z = axis[2];
    return TqLAffine3f(TqLVec3f(t * x * x + c, t * x * y + s * z, t * x * z - s * y),
                       TqLVec3f(t * x * y - s * z, t * y * y + c, t * y * z + s * x),
                       TqLVec3f(t * x * z + s * y, t * y * z - s * x, t * z * z + c), TqLVec3f());
}

TqLAffine3f TqLAffine3f::Rotation(TqLPos3f const& center, TqLUnitVec3f const& axis, double angle)
{
    TqLAffine3f const turn = Rotation(axis, angle);
    TqLVec3f const offset = center.Vec() - center.Vec() * turn;
    return TqLAffine3f(turn.GetRow(0), turn.GetRow(1), turn.GetRow(2), offset);
}

TqLAffine3f TqLAffine3f::Scale(double x, double y, double z)
{
    return TqLAffine3f(TqLVec3f(x, 0.0, 0.0), TqLVec3f(0.0, y, 0.0), TqLVec3f(0.0, 0.0, z),
                       TqLVec3f());
}

bool TqLAffine3f::IsIdentity() const
{
    return AreEqual(m_element, TqLAffine3f().m_element, 12);
}

TqLAffine3f TqLAffine3f::Inverse() const
{
    if (!AreFinite(m_element, 12)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Cannot invert an affine with an infinite or NaN element; "
                       "the identity is used.");
        return TqLAffine3f();
    }
    double m[3][3];
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            m[row][column] = m_element[3 * row + column];
        }
    }
    TqLAffine3f result;
    bool const isRegular = Invert(m);
    if (isRegular) {
        TqLAffine3f const linear(TqLVec3f(m[0][0], m[0][1], m[0][2]),
                                 TqLVec3f(m[1][0], m[1][1], m[1][2]),
                                 TqLVec3f(m[2][0], m[2][1], m[2][2]), TqLVec3f());
        // Subtracted from zero, so that a zero does not come out as -0.
        TqLVec3f const offset = TqLVec3f() - GetTranslation() * linear;
        result = TqLAffine3f(linear.GetRow(0), linear.GetRow(1), linear.GetRow(2), offset);
    }
    if (!isRegular || !AreFinite(result.m_element, 12)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Cannot invert a singular affine; the identity is used.");
        return TqLAffine3f();
    }
    return result;
}

TqLBox3f TqLAffine3f::TransformedBox(TqLBox3f const& box) const
{
    if (box.IsEmpty()) {
        return TqLBox3f();
    }
    // Every image coordinate is a sum of one term per axis, so its extremes take the smaller or the
    // larger term each time, in the order in which a point is transformed.
    TqLPos3f min;
    TqLPos3f max;
    for (int column = 0; column < 3; ++column) {
        double lower = 0.0;
        double upper = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            double const coefficient = m_element[3 * axis + column];
            if (coefficient == 0.0) {
                continue; // an infinite corner must not turn it into NaN
            }
            double const a = box.GetMin()[axis] * coefficient;
            double const b = box.GetMax()[axis] * coefficient;
            lower += coefficient > 0.0 ? a : b;
            upper += coefficient > 0.0 ? b : a;
        }
        min[column] = lower + m_element[9 + column];
        max[column] = upper + m_element[9 + column];
    }
    return TqLBox3f(min, max);
}

// ---- TqLMatrix4f --------------------------------------------------------------------------------

bool TqLMatrix4f::IsIdentity() const
{
    return AreEqual(m_element, TqLMatrix4f().m_element, 16);
}

TqLMatrix4f TqLMatrix4f::Inverse() const
{
    if (!AreFinite(m_element, 16)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Cannot invert a matrix with an infinite or NaN element; "
                       "the identity is used.");
        return TqLMatrix4f();
    }
    double m[4][4];
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            m[row][column] = m_element[4 * row + column];
        }
    }
    TqLMatrix4f result;
    bool const isRegular = Invert(m);
    if (isRegular) {
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                result[row][column] = m[row][column];
            }
        }
    }
    if (!isRegular || !AreFinite(result.m_element, 16)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Cannot invert a singular matrix; the identity is used.");
        return TqLMatrix4f();
    }
    return result;
}
