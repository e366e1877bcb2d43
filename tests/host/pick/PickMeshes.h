// Meshes and placements for the tests of picks.
#pragma once

#include "host/model/SceneModel.h"

#include "geometry/TqLMatrix.h"
#include "geometry/TqLVec.h"

#include <cstddef>
#include <cstdint>
#include <random>

/// The one generator of the pick tests; a failing test prints its seed.
class PickRandom
{
public:
    explicit PickRandom(unsigned seed) : m_engine(seed) {}

    /// Evenly in [low, high).
    double In(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(m_engine()) / 4294967296.0);
    }

    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(In(0.0, bound)); }

    TqLPos3f Point(double low, double high)
    {
        double const x = In(low, high);
        double const y = In(low, high);
        return TqLPos3f(x, y, In(low, high));
    }

    TqLVec3f Vector(double size) { return Point(-size, size).Vec(); }

private:
    std::mt19937 m_engine;
};

/// A cube from -0.5 to 0.5, corners counter-clockwise as seen from outside.
inline host::Mesh MakePickCube()
{
    host::Mesh mesh;
    for (int corner = 0; corner < 8; ++corner) {
        for (int axis = 0; axis < 3; ++axis) {
            mesh.positions.push_back((corner >> axis & 1) != 0 ? 0.5f : -0.5f);
            mesh.normals.push_back((corner >> axis & 1) != 0 ? 0.577f : -0.577f);
        }
    }
    mesh.indices = {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                    2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5};
    mesh.UpdateBox();
    return mesh;
}

/// Triangles strewn over a cube of the given half size, of sizes between a hundredth and all of it;
/// one in eight is a sliver, a segment or a point.
inline host::Mesh MakePickSoup(std::size_t triangles, double halfSize, PickRandom& random)
{
    host::Mesh mesh;
    for (std::size_t i = 0; i < triangles; ++i) {
        TqLPos3f const middle = random.Point(-halfSize, halfSize);
        double const size = halfSize * (random.Below(4) == 0 ? 1.0 : 0.03);
        TqLPos3f corners[3] = {middle + random.Vector(size), middle + random.Vector(size),
                               middle + random.Vector(size)};
        switch (random.Below(24)) {
        case 0:
            corners[2] = corners[0] + (corners[1] - corners[0]) * 0.37;
            break;
        case 1:
            corners[2] = corners[1];
            break;
        case 2:
            corners[1] = corners[0];
            corners[2] = corners[0];
            break;
        default:
            break;
        }
        for (TqLPos3f const& corner : corners) {
            for (int axis = 0; axis < 3; ++axis) {
                mesh.positions.push_back(static_cast<float>(corner[axis]));
                mesh.normals.push_back(axis == 1 ? 1.0f : 0.0f);
            }
            mesh.indices.push_back(static_cast<std::uint32_t>(mesh.indices.size()));
        }
    }
    mesh.UpdateBox();
    return mesh;
}

/// Slim triangles across the cube from 0 to 1, above each other, each from a point near (1, 0) to
/// one near (0, 1) of x and z. All of them lie about x + z = 1; their boxes fill the cube.
inline host::Mesh MakePickSlats(std::size_t triangles)
{
    host::Mesh mesh;
    for (std::size_t i = 0; i < triangles; ++i) {
        float const y = static_cast<float>(i) / static_cast<float>(triangles);
        for (float const corner : {0.0f, 0.01f, 1.0f}) {
            mesh.positions.insert(mesh.positions.end(), {1.0f - corner, y, corner});
            mesh.normals.insert(mesh.normals.end(), {0.0f, 1.0f, 0.0f});
            mesh.indices.push_back(static_cast<std::uint32_t>(mesh.indices.size()));
        }
        mesh.positions[mesh.positions.size() - 8] += 0.001f; // the middle corner's height
    }
    mesh.UpdateBox();
    return mesh;
}

/// Scaled per axis (a negative factor mirrors), turned about a slanted axis, then moved.
inline TqLAffine3f MakePickPlacement(TqLVec3f const& scale, double angle, TqLVec3f const& offset)
{
    return TqLAffine3f::Scale(scale[0], scale[1], scale[2]) *
           TqLAffine3f::Rotation(TqLUnitVec3f(TqLVec3f(0.3, 1.0, -0.4)), angle) *
           TqLAffine3f::Translation(offset);
}
