#include "host/model/ShapeMaker.h"

#include <cmath>
#include <vector>

namespace host
{
namespace
{

using Vec = MeshBuilder::Vec;

constexpr double eTURN = 6.283185307179586;
constexpr double eCUSHION_POWER = 0.25; ///< 1 is an ellipsoid, towards 0 a box

struct Corner
{
    Vec position;
    Vec normal;
};

Vec ToVec(Triple const& v)
{
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

void AddTriangle(MeshBuilder& builder, Corner const& a, Corner const& b, Corner const& c)
{
    Vec const corners[3] = {a.position, b.position, c.position};
    Vec const normals[3] = {a.normal, b.normal, c.normal};
    builder.Add(corners, normals);
}

/// Corners counter-clockwise seen from outside. Triangles that shrink to a line are left out by
/// the builder, so that poles need no care.
void AddQuad(MeshBuilder& builder, Corner const& a, Corner const& b, Corner const& c,
             Corner const& d)
{
    AddTriangle(builder, a, b, c);
    AddTriangle(builder, a, c, d);
}

/// Angles taken so that the last step meets the first bit for bit.
double GetAngle(int step, int steps)
{
    return eTURN * (step % steps) / steps;
}

double PowSigned(double value, double power)
{
    return std::copysign(std::pow(std::abs(value), power), value);
}

/// Joins a grid of corners, `columns` in each row, to a surface. The last column joins the first;
/// the last row joins the first where `closed` says so.
void AddGrid(MeshBuilder& builder, std::vector<Corner> const& corners, size_t columns, bool closed)
{
    size_t const rows = corners.size() / columns;
    for (size_t row = 0; row + (closed ? 0 : 1) < rows; ++row) {
        Corner const* lower = &corners[row * columns];
        Corner const* upper = &corners[(row + 1) % rows * columns];
        for (size_t i = 0; i < columns; ++i) {
            size_t const next = (i + 1) % columns;
            AddQuad(builder, lower[i], lower[next], upper[next], upper[i]);
        }
    }
}

/// A surface over rings from the lower to the upper pole and segments around the upright axis.
/// `makeCorner(sine and cosine of the latitude, sine and cosine of the longitude)`.
template <class MakeCorner>
void AddGlobe(MeshBuilder& builder, int rings, int segments, MakeCorner makeCorner)
{
    std::vector<Corner> corners;
    corners.reserve(static_cast<size_t>(rings + 1) * static_cast<size_t>(segments));
    for (int ring = 0; ring <= rings; ++ring) {
        double const latitude = eTURN / 2 * ring / rings - eTURN / 4;
        bool const pole = ring == 0 || ring == rings;
        double const up = pole ? (ring == 0 ? -1.0 : 1.0) : std::sin(latitude);
        double const out = pole ? 0.0 : std::cos(latitude);
        for (int segment = 0; segment < segments; ++segment) {
            double const longitude = eTURN * segment / segments;
            corners.push_back(makeCorner(up, out, std::sin(longitude), std::cos(longitude)));
        }
    }
    AddGrid(builder, corners, static_cast<size_t>(segments), false);
}

} // namespace

void AddBox(MeshBuilder& builder, Triple const& min, Triple const& max)
{
    for (size_t axis = 0; axis < 3; ++axis) {
        size_t const u = (axis + 1) % 3;
        size_t const v = (axis + 2) % 3;
        for (int side = 0; side < 2; ++side) {
            Corner corners[4];
            for (int i = 0; i < 4; ++i) {
                bool const alongU = i == 1 || i == 2;
                bool const alongV = i == 2 || i == 3;
                Triple position = min;
                Triple normal = {0.0, 0.0, 0.0};
                position[axis] = side == 0 ? min[axis] : max[axis];
                position[u] = alongU ? max[u] : min[u];
                position[v] = alongV ? max[v] : min[v];
                normal[axis] = side == 0 ? -1.0 : 1.0;
                // The far side is counter-clockwise as numbered, the near side the other way.
                corners[side == 1 ? i : 3 - i] = {ToVec(position), ToVec(normal)};
            }
            AddQuad(builder, corners[0], corners[1], corners[2], corners[3]);
        }
    }
}

void AddCylinder(MeshBuilder& builder, Triple const& base, double bottomRadius, double topRadius,
                 double height, int segments)
{
    double const slope = (bottomRadius - topRadius) / height;
    auto const cornerAt = [&](int segment, bool top) {
        double const angle = GetAngle(segment, segments);
        double const radius = top ? topRadius : bottomRadius;
        Triple const position = {base[0] + radius * std::sin(angle), base[1] + (top ? height : 0.0),
                                 base[2] + radius * std::cos(angle)};
        return Corner{ToVec(position), ToVec({std::sin(angle), slope, std::cos(angle)})};
    };
    Corner const bottomMiddle = {ToVec(base), {0.0f, -1.0f, 0.0f}};
    Corner const topMiddle = {ToVec({base[0], base[1] + height, base[2]}), {0.0f, 1.0f, 0.0f}};
    for (int i = 0; i < segments; ++i) {
        Corner const a = cornerAt(i, false);
        Corner const b = cornerAt(i + 1, false);
        Corner const c = cornerAt(i + 1, true);
        Corner const d = cornerAt(i, true);
        AddQuad(builder, a, b, c, d);
        AddTriangle(builder, bottomMiddle, {b.position, bottomMiddle.normal},
                    {a.position, bottomMiddle.normal});
        AddTriangle(builder, topMiddle, {d.position, topMiddle.normal},
                    {c.position, topMiddle.normal});
    }
}

void AddEllipsoid(MeshBuilder& builder, Triple const& center, Triple const& radii, int rings,
                  int segments)
{
    AddGlobe(builder, rings, segments, [&](double up, double out, double sine, double cosine) {
        Triple const unit = {out * sine, up, out * cosine};
        Triple position;
        Triple normal;
        for (size_t k = 0; k < 3; ++k) {
            position[k] = center[k] + radii[k] * unit[k];
            normal[k] = unit[k] / radii[k];
        }
        return Corner{ToVec(position), ToVec(normal)};
    });
}

void AddCushion(MeshBuilder& builder, Triple const& min, Triple const& max, int rings, int segments)
{
    AddGlobe(builder, rings, segments, [&](double up, double out, double sine, double cosine) {
        double const ring = PowSigned(out, eCUSHION_POWER);
        double const ringNormal = PowSigned(out, 2.0 - eCUSHION_POWER);
        Triple const unit = {ring * PowSigned(sine, eCUSHION_POWER), PowSigned(up, eCUSHION_POWER),
                             ring * PowSigned(cosine, eCUSHION_POWER)};
        Triple const direction = {ringNormal * PowSigned(sine, 2.0 - eCUSHION_POWER),
                                  PowSigned(up, 2.0 - eCUSHION_POWER),
                                  ringNormal * PowSigned(cosine, 2.0 - eCUSHION_POWER)};
        Triple position;
        Triple normal;
        for (size_t k = 0; k < 3; ++k) {
            double const radius = (max[k] - min[k]) / 2;
            position[k] = (min[k] + max[k]) / 2 + radius * unit[k];
            normal[k] = direction[k] / radius;
        }
        return Corner{ToVec(position), ToVec(normal)};
    });
}

void AddTorus(MeshBuilder& builder, Triple const& center, double ringRadius, double tubeRadius,
              int around, int across)
{
    std::vector<Corner> corners;
    corners.reserve(static_cast<size_t>(around) * static_cast<size_t>(across));
    for (int j = 0; j < across; ++j) {
        double const latitude = eTURN * j / across;
        double const up = std::sin(latitude);
        double const out = std::cos(latitude);
        for (int i = 0; i < around; ++i) {
            double const sine = std::sin(eTURN * i / around);
            double const cosine = std::cos(eTURN * i / around);
            double const radius = ringRadius + tubeRadius * out;
            corners.push_back({ToVec({center[0] + radius * sine, center[1] + tubeRadius * up,
                                      center[2] + radius * cosine}),
                               ToVec({out * sine, up, out * cosine})});
        }
    }
    AddGrid(builder, corners, static_cast<size_t>(around), true);
}

} // namespace host
