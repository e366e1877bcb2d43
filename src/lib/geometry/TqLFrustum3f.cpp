#include "geometry/TqLFrustum3f.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <cfloat>
#include <cmath>

namespace
{

TqUComponent s_component("TqLFrustum3f");

// ---- What is possible ---------------------------------------------------------------------------

bool IsPositive(double value)
{
    return value > 0.0 && value <= DBL_MAX;
}

bool IsFinite(TqLVec3f const& vec)
{
    return std::isfinite(vec[0]) && std::isfinite(vec[1]) && std::isfinite(vec[2]);
}

bool IsFinite(TqLMatrix4f const& matrix)
{
    for (int index = 0; index < 16; ++index) {
        if (!std::isfinite(matrix.Data()[index])) {
            return false;
        }
    }
    return true;
}

bool IsUsable(TqLPlane3f const& plane)
{
    constexpr double tolerance = 1e-6; // of the squared length of a unit normal
    TqLVec3f const& normal = plane.GetNormal();
    return std::fabs(normal.Dot(normal) - 1.0) <= tolerance && std::isfinite(plane.GetDistance());
}

void PostImpossible(char const* what)
{
    TqUError::Post(TqUSysError::eERROR, &s_component, "Impossible %s; the default frustum is used.",
                   what);
}

// ---- Planes -------------------------------------------------------------------------------------

// A plane that cuts nothing off.
TqLPlane3f MakeNoPlane()
{
    TqLUnitVec3f zero;
    zero.SetUnitValue(0.0, 0.0, 0.0);
    return TqLPlane3f(zero, -1.0);
}

// The plane on whose positive side w + sign * c_k >= 0 holds.
TqLPlane3f MakePlane(TqLMatrix4f const& matrix, int axis, double sign)
{
    // Coefficients that cancel down to this share are rounding: the plane lies at infinity.
    constexpr double noise = 16.0 * DBL_EPSILON;

    TqLVec3f coefficients;
    double largest = 0.0;
    for (int row = 0; row < 3; ++row) {
        double const c = sign * matrix[row][axis];
        double const w = matrix[row][3];
        coefficients[row] = w + c;
        largest = std::fmax(largest, std::fmax(std::fabs(c), std::fabs(w)));
    }
    double const offset = matrix[3][3] + sign * matrix[3][axis];
    TqLUnitVec3f const normal(coefficients);
    double const length = normal.Dot(coefficients);
    if (!(length > noise * largest)) {
        return MakeNoPlane();
    }
    return TqLPlane3f(normal, 0.0 - offset / length);
}

bool IsPossibleDepth(double nearDistance, double farDistance)
{
    return IsPositive(nearDistance) && farDistance > nearDistance;
}

} // namespace

// ---- Cameras ------------------------------------------------------------------------------------

struct TqLFrustum3f::Camera
{
    /// At the origin, looking along -z, with y up.
    Camera();

    /// Looks from a point along a direction.
    /// @return false when the arguments do not make a camera
    bool Set(TqLPos3f const& from, TqLVec3f const& along, TqLVec3f const& upVector);

    /// Fills a column so that it yields scale * (axis * (p - viewpoint)) + offset for a point p.
    void SetColumn(TqLMatrix4f* matrix, int column, TqLUnitVec3f const& axis, double scale,
                   double offset) const;

    /// x and y span the near rectangle at the near depth, and w is the depth.
    TqLMatrix4f MakePerspectiveMatrix(double width, double height, double nearDistance,
                                      double farDistance) const;

    /// w is 1, and x and y span the view.
    TqLMatrix4f MakeParallelMatrix(double width, double height, double nearDistance,
                                   double farDistance) const;

    TqLPos3f viewpoint;
    TqLUnitVec3f right;
    TqLUnitVec3f up;
    TqLUnitVec3f direction;
};

TqLFrustum3f::Camera::Camera()
{
    right.SetUnitValue(1.0, 0.0, 0.0);
    up.SetUnitValue(0.0, 1.0, 0.0);
    direction.SetUnitValue(0.0, 0.0, -1.0);
}

bool TqLFrustum3f::Camera::Set(TqLPos3f const& from, TqLVec3f const& along,
                               TqLVec3f const& upVector)
{
    // The sine of the angle below which an up vector no longer says where up is.
    constexpr double smallestSine = 1e-10;

    viewpoint = from;
    direction = TqLUnitVec3f(along);
    TqLVec3f const across = direction.Vec().Cross(TqLUnitVec3f(upVector));
    // Without a direction or an up vector the product is zero.
    if (!IsFinite(viewpoint.Vec()) || !(across.Length() > smallestSine)) {
        return false;
    }
    right = TqLUnitVec3f(across);
    up = TqLUnitVec3f(right.Vec().Cross(direction));
    return true;
}

void TqLFrustum3f::Camera::SetColumn(TqLMatrix4f* matrix, int column, TqLUnitVec3f const& axis,
                                     double scale, double offset) const
{
    TqLVec3f const coefficients = axis.Vec() * scale;
    for (int row = 0; row < 3; ++row) {
        (*matrix)[row][column] = coefficients[row];
    }
    (*matrix)[3][column] = offset - coefficients.Dot(viewpoint.Vec());
}

TqLMatrix4f TqLFrustum3f::Camera::MakePerspectiveMatrix(double width, double height,
                                                        double nearDistance,
                                                        double farDistance) const
{
    // c_z is a * depth - b, with a and b such that it is -w at near and w at far.
    bool const isInfinite = std::isinf(farDistance);
    double const range = farDistance - nearDistance;
    double const a = isInfinite ? 1.0 : (farDistance + nearDistance) / range;
    double const b = 2.0 * nearDistance * (isInfinite ? 1.0 : farDistance / range);
    TqLMatrix4f matrix;
    SetColumn(&matrix, 0, right, 2.0 * nearDistance / width, 0.0);
    SetColumn(&matrix, 1, up, 2.0 * nearDistance / height, 0.0);
    SetColumn(&matrix, 2, direction, a, -b);
    SetColumn(&matrix, 3, direction, 1.0, 0.0);
    return matrix;
}

TqLMatrix4f TqLFrustum3f::Camera::MakeParallelMatrix(double width, double height,
                                                     double nearDistance, double farDistance) const
{
    // c_z goes from -1 at near to 1 at far.
    double const range = farDistance - nearDistance;
    TqLMatrix4f matrix;
    SetColumn(&matrix, 0, right, 2.0 / width, 0.0);
    SetColumn(&matrix, 1, up, 2.0 / height, 0.0);
    SetColumn(&matrix, 2, direction, 2.0 / range, -(farDistance + nearDistance) / range);
    return matrix;
}

bool TqLFrustum3f::Build(Type type, Camera const& camera, double width, double height,
                         double nearDistance, double farDistance)
{
    double const depth = camera.direction.Dot(camera.viewpoint.Vec());
    m_type = type;
    m_width = width;
    m_height = height;
    m_viewpoint = camera.viewpoint;
    m_matrix = type == ePERSPECTIVE
                   ? camera.MakePerspectiveMatrix(width, height, nearDistance, farDistance)
                   : camera.MakeParallelMatrix(width, height, nearDistance, farDistance);
    m_nearPlane.SetValue(camera.direction, depth + nearDistance);
    m_farPlane = std::isinf(farDistance) ? MakeNoPlane()
                                         : TqLPlane3f(-camera.direction, -(depth + farDistance));
    return IsFinite(m_matrix) && IsUsable(m_nearPlane);
}

// ---- Life ---------------------------------------------------------------------------------------

TqLFrustum3f::TqLFrustum3f()
{
    constexpr double size = 1.0;
    constexpr double nearDistance = 1.0;
    constexpr double farDistance = 1000.0;

    Build(ePERSPECTIVE, Camera(), size, size, nearDistance, farDistance);
}

TqLFrustum3f::TqLFrustum3f(double width, double height, double nearDistance, double farDistance)
{
    if (!IsPositive(width) || !IsPositive(height) || !IsPossibleDepth(nearDistance, farDistance) ||
        !Build(ePERSPECTIVE, Camera(), width, height, nearDistance, farDistance)) {
        PostImpossible("width, height, near or far distance");
        *this = TqLFrustum3f();
    }
}

TqLFrustum3f TqLFrustum3f::Perspective(TqLPos3f const& viewpoint, TqLVec3f const& direction,
                                       TqLVec3f const& up, double verticalAngle, double aspect,
                                       double nearDistance, double farDistance)
{
    constexpr double pi = 3.14159265358979323846;

    Camera camera;
    if (!camera.Set(viewpoint, direction, up)) {
        PostImpossible("viewpoint, direction or up vector");
        return TqLFrustum3f();
    }
    double const height = 2.0 * nearDistance * std::tan(0.5 * verticalAngle);
    double const width = height * aspect;
    TqLFrustum3f result;
    if (!(verticalAngle > 0.0 && verticalAngle < pi) || !IsPositive(aspect) ||
        !IsPositive(height) || !IsPositive(width) || !IsPossibleDepth(nearDistance, farDistance) ||
        !result.Build(ePERSPECTIVE, camera, width, height, nearDistance, farDistance)) {
        PostImpossible("angle, aspect, near or far distance");
        return TqLFrustum3f();
    }
    return result;
}

TqLFrustum3f TqLFrustum3f::Parallel(TqLPos3f const& viewpoint, TqLVec3f const& direction,
                                    TqLVec3f const& up, double width, double height,
                                    double nearDistance, double farDistance)
{
    Camera camera;
    if (!camera.Set(viewpoint, direction, up)) {
        PostImpossible("viewpoint, direction or up vector");
        return TqLFrustum3f();
    }
    TqLFrustum3f result;
    if (!IsPositive(width) || !IsPositive(height) || !std::isfinite(nearDistance) ||
        !std::isfinite(farDistance) || !(farDistance > nearDistance) ||
        !result.Build(ePARALLEL, camera, width, height, nearDistance, farDistance)) {
        PostImpossible("width, height, near or far distance");
        return TqLFrustum3f();
    }
    return result;
}

TqLFrustum3f TqLFrustum3f::FromMatrix(Type type, double width, double height,
                                      TqLMatrix4f const& matrix, TqLPlane3f const& nearPlane,
                                      TqLPos3f const& viewpoint)
{
    TqLFrustum3f result;
    if (!IsPositive(width) || !IsPositive(height) || !IsFinite(matrix) || !IsUsable(nearPlane) ||
        !IsFinite(viewpoint.Vec())) {
        PostImpossible("width, height, matrix, near plane or viewpoint");
        return result;
    }
    result.m_type = type;
    result.m_width = width;
    result.m_height = height;
    result.m_viewpoint = viewpoint;
    result.m_matrix = matrix;
    result.m_nearPlane = nearPlane;
    result.m_farPlane = MakePlane(matrix, 2, -1.0);
    return result;
}

// ---- Work ---------------------------------------------------------------------------------------

void TqLFrustum3f::GetPlanes(TqLPlane3f* planes) const
{
    planes[0] = MakePlane(m_matrix, 0, 1.0);
    planes[1] = MakePlane(m_matrix, 0, -1.0);
    planes[2] = MakePlane(m_matrix, 1, 1.0);
    planes[3] = MakePlane(m_matrix, 1, -1.0);
    planes[4] = m_nearPlane;
    planes[5] = m_farPlane;
}

TqLFrustum3f TqLFrustum3f::NarrowedBy(double x0, double x1, double y0, double y1) const
{
    TqLFrustum3f result(*this);
    result.Narrow(x0, x1, y0, y1);
    return result;
}

bool TqLFrustum3f::Narrow(double x0, double x1, double y0, double y1)
{
    double const lower[2] = {x0, y0};
    double const upper[2] = {x1, y1};
    TqLFrustum3f result(*this);
    for (int axis = 0; axis < 2; ++axis) {
        if (lower[axis] == 0.0 && upper[axis] == 1.0) {
            continue; // the whole stays bit for bit
        }
        // In units of w, the shares span middle - half to middle + half of the range -1 to 1; that
        // span becomes the range.
        double const middle = lower[axis] + upper[axis] - 1.0;
        double const half = upper[axis] - lower[axis];
        for (int row = 0; row < 4; ++row) {
            result.m_matrix[row][axis] = (m_matrix[row][axis] - middle * m_matrix[row][3]) / half;
        }
    }
    result.m_width = m_width * (x1 - x0);
    result.m_height = m_height * (y1 - y0);
    if (!(x0 < x1 && y0 < y1) || !IsPositive(result.m_width) || !IsPositive(result.m_height) ||
        !IsFinite(result.m_matrix)) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Cannot narrow to x %g to %g and y %g to %g; the view stays as it was.", x0,
                       x1, y0, y1);
        return false;
    }
    *this = result;
    return true;
}
