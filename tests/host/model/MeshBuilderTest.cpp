#include "host/model/MeshBuilder.h"

#include "host/model/ShapeMaker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace host;

namespace
{

using Vec = MeshBuilder::Vec;

constexpr float s_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float s_infinity = std::numeric_limits<float>::infinity();

Mesh Finish(MeshBuilder& builder)
{
    Mesh mesh;
    builder.Finish(mesh);
    return mesh;
}

/// Every solid must be closed and face outwards: by the divergence theorem, the sum over its faces
/// is then its volume.
double GetVolume(Mesh const& mesh)
{
    double volume = 0.0;
    for (size_t i = 0; i < mesh.indices.size(); i += 3) {
        double p[3][3];
        for (size_t k = 0; k < 3; ++k) {
            for (size_t axis = 0; axis < 3; ++axis) {
                p[k][axis] = double(mesh.positions[mesh.indices[i + k] * 3 + axis]);
            }
        }
        volume += p[0][0] * (p[1][1] * p[2][2] - p[1][2] * p[2][1]) +
                  p[0][1] * (p[1][2] * p[2][0] - p[1][0] * p[2][2]) +
                  p[0][2] * (p[1][0] * p[2][1] - p[1][1] * p[2][0]);
    }
    return volume / 6.0;
}

void ExpectUnitNormals(Mesh const& mesh)
{
    for (size_t i = 0; i < mesh.normals.size(); i += 3) {
        double const length = std::hypot(mesh.normals[i], mesh.normals[i + 1], mesh.normals[i + 2]);
        ASSERT_NEAR(length, 1.0, 1e-5) << i;
    }
}

} // namespace

TEST(MeshBuilder, SharesEqualCorners)
{
    MeshBuilder builder;
    Vec const up = {0, 1, 0};
    Vec const normals[3] = {up, up, up};
    Vec const first[3] = {{0, 0, 0}, {0, 0, 1}, {1, 0, 0}};
    Vec const second[3] = {{1, 0, 0}, {0, 0, 1}, {1, 0, 1}};
    builder.Add(first, normals);
    builder.Add(second, normals);
    Mesh const mesh = Finish(builder);
    EXPECT_EQ(mesh.GetNumVertices(), 4u);
    EXPECT_EQ(mesh.GetNumTriangles(), 2u);
    EXPECT_EQ(mesh.box.GetMax()[0], 1.0);
    EXPECT_TRUE(builder.IsEmpty());
}

TEST(MeshBuilder, RefusesAndCountsTrianglesThatAreNotFinite)
{
    MeshBuilder builder;
    for (float const bad : {s_nan, s_infinity, -s_infinity}) {
        Vec const corners[3] = {{0, 0, 0}, {1, bad, 0}, {0, 0, 1}};
        builder.Add(corners, nullptr);
    }
    EXPECT_EQ(builder.GetNumRefused(), 3u);
    EXPECT_TRUE(builder.IsEmpty());
    Mesh const mesh = Finish(builder);
    EXPECT_TRUE(mesh.box.IsEmpty());
    EXPECT_EQ(mesh.GetNumTriangles(), 0u);
}

TEST(MeshBuilder, LeavesOutTrianglesThatAreALine)
{
    MeshBuilder builder;
    Vec const corners[3] = {{1, 2, 3}, {4, 5, 6}, {1, 2, 3}};
    builder.Add(corners, nullptr);
    EXPECT_TRUE(builder.IsEmpty());
    EXPECT_EQ(builder.GetNumRefused(), 0u);
}

TEST(MeshBuilder, ReplacesUnusableNormalsByTheFacesDirection)
{
    MeshBuilder builder;
    Vec const corners[3] = {{0, 0, 0}, {0, 0, 1}, {1, 0, 0}};
    Vec const normals[3] = {{0, 0, 0}, {s_nan, 0, 0}, {0, 5, 0}};
    builder.Add(corners, normals);
    Mesh const mesh = Finish(builder);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(mesh.normals[i * 3 + 1], 1.0f);
    }
}

TEST(MeshBuilder, TreatsBothZerosAsOnePlace)
{
    MeshBuilder builder;
    Vec const first[3] = {{0.0f, 0, 0}, {0, 0, 1}, {1, 0, 0}};
    Vec const second[3] = {{-0.0f, -0.0f, -0.0f}, {1, 0, 0}, {0, 0, -1}};
    builder.Add(first, nullptr);
    builder.Add(second, nullptr);
    EXPECT_EQ(Finish(builder).GetNumVertices(), 4u);
}

TEST(MeshBuilder, KeepsTheEdgesOfABoxSharpAndABallSmooth)
{
    MeshBuilder solid;
    AddBox(solid, {0, 0, 0}, {1, 2, 3});
    Mesh const box = Finish(solid);
    AddEllipsoid(solid, {0, 0, 0}, {1, 1, 1}, 24, 32);
    Mesh const ball = Finish(solid);

    auto const rebuild = [](Mesh const& mesh) {
        MeshBuilder builder;
        for (size_t i = 0; i < mesh.indices.size(); i += 3) {
            Vec corners[3];
            for (size_t k = 0; k < 3; ++k) {
                size_t const at = mesh.indices[i + k] * 3;
                corners[k] = {mesh.positions[at], mesh.positions[at + 1], mesh.positions[at + 2]};
            }
            builder.Add(corners, nullptr);
        }
        Mesh result;
        builder.Finish(result);
        return result;
    };
    EXPECT_EQ(rebuild(box).GetNumVertices(), 24u);
    Mesh const smooth = rebuild(ball);
    EXPECT_EQ(smooth.GetNumVertices(), ball.GetNumVertices());
    for (size_t i = 0; i < smooth.normals.size(); i += 3) {
        double dot = 0.0;
        for (size_t k = 0; k < 3; ++k) {
            dot += double(smooth.normals[i + k]) * double(smooth.positions[i + k]);
        }
        ASSERT_GT(dot, 0.99);
    }
}

TEST(ShapeMaker, SolidsAreClosedFaceOutwardsAndHaveUnitNormals)
{
    double const pi = 3.14159265358979;
    MeshBuilder builder;
    AddBox(builder, {1, 2, 3}, {2, 4, 6});
    Mesh mesh = Finish(builder);
    EXPECT_EQ(mesh.GetNumTriangles(), 12u);
    EXPECT_NEAR(GetVolume(mesh), 6.0, 1e-5);
    ExpectUnitNormals(mesh);

    AddCylinder(builder, {1, 2, 3}, 0.5, 0.5, 2.0, 256);
    mesh = Finish(builder);
    EXPECT_EQ(mesh.GetNumTriangles(), 4u * 256);
    EXPECT_NEAR(GetVolume(mesh), pi * 0.25 * 2.0, 1e-3);
    ExpectUnitNormals(mesh);

    AddCylinder(builder, {0, 0, 0}, 1.0, 0.0, 3.0, 256);
    mesh = Finish(builder);
    EXPECT_EQ(mesh.GetNumTriangles(), 2u * 256);
    EXPECT_NEAR(GetVolume(mesh), pi, 1e-2);

    AddEllipsoid(builder, {1, 1, 1}, {1, 2, 3}, 128, 256);
    mesh = Finish(builder);
    EXPECT_NEAR(GetVolume(mesh), 4.0 / 3.0 * pi * 6.0, 0.02);
    ExpectUnitNormals(mesh);

    AddTorus(builder, {0, 5, 0}, 2.0, 0.5, 256, 128);
    mesh = Finish(builder);
    EXPECT_NEAR(GetVolume(mesh), 2.0 * pi * pi * 2.0 * 0.25, 0.02);
    ExpectUnitNormals(mesh);

    AddCushion(builder, {0, 0, 0}, {2, 1, 3}, 64, 96);
    mesh = Finish(builder);
    EXPECT_GT(GetVolume(mesh), 0.75 * 6.0);
    EXPECT_LT(GetVolume(mesh), 6.0);
    EXPECT_NEAR(mesh.box.GetMax()[0], 2.0, 1e-5);
    EXPECT_NEAR(mesh.box.GetMin()[2], 0.0, 1e-5);
    ExpectUnitNormals(mesh);
}

TEST(MeshBuilder, WeldsLinesAndPoints)
{
    MeshBuilder lines(2);
    Vec const polyline[3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
    Vec const still[2] = {{1, 1, 0}, {1, 1, 0}};
    Vec const broken[2] = {{1, 1, 0}, {1, s_nan, 0}};
    lines.AddSimple(polyline);
    lines.AddSimple(polyline + 1);
    lines.AddSimple(still);
    lines.AddSimple(broken);
    EXPECT_EQ(lines.GetNumRefused(), 1u);
    Mesh const mesh = Finish(lines);
    EXPECT_EQ(mesh.corners, 2u);
    EXPECT_EQ(mesh.GetNumPrimitives(), 2u);
    EXPECT_EQ(mesh.GetNumTriangles(), 0u);
    EXPECT_EQ(mesh.GetNumVertices(), 3u);
    EXPECT_EQ(mesh.indices, (std::vector<uint32_t>{0, 1, 1, 2}));
    ExpectUnitNormals(mesh);

    MeshBuilder points(1);
    points.AddSimple(polyline);
    points.AddSimple(polyline + 2);
    Mesh const dots = Finish(points);
    EXPECT_EQ(dots.corners, 1u);
    EXPECT_EQ(dots.GetNumPrimitives(), 2u);
}

TEST(MeshBuilder, KeepsCornersWithOtherTextureCoordinatesApart)
{
    MeshBuilder builder;
    Vec const corners[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    MeshBuilder::TexCoord const first[3] = {{0, 0}, {1, 0}, {0, 1}};
    MeshBuilder::TexCoord const second[3] = {{0, 0}, {1, s_nan}, {0, 0.5f}};
    for (MeshBuilder::TexCoord const* texCoords : {first, second}) {
        builder.Add(corners, nullptr, texCoords);
    }
    Mesh const mesh = Finish(builder);
    // The first corner is shared; what is not finite has become (0, 0).
    EXPECT_EQ(mesh.GetNumVertices(), 5u);
    EXPECT_EQ(mesh.texCoords, (std::vector<float>{0, 0, 1, 0, 0, 1, 0, 0, 0, 0.5f}));
    builder.Add(corners, nullptr);
    EXPECT_TRUE(Finish(builder).texCoords.empty());
}
