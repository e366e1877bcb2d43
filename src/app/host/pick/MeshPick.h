// Picks of one placed mesh: the frustum and sweep kernels applied through the mesh's tree.
//
// The tree lies in mesh coordinates, and so do the planes that its boxes are tested against.
// Triangles are taken to the world before they are tested, so that distances, points and normals
// are world ones whatever the placement: turned, mirrored, scaled unevenly or flattened. The
// answers are those of testing every primitive in turn.
#pragma once

#include "host/model/SceneModel.h"
#include "host/pick/FrustumHit.h"
#include "host/pick/MeshTree.h"
#include "host/pick/PickVolume.h"
#include "host/pick/SweepContact.h"

#include "geometry/TqLMatrix.h"
#include "geometry/TqLPickSweep.h"

#include <cstdint>
#include <functional>

namespace host
{

/// A mesh in its place. Refers to its parts, which must outlive it.
class PlacedMesh
{
public:
    PlacedMesh(Mesh const& mesh, MeshTree const& tree, TqLAffine3f const& toWorld);

    Mesh const& GetMesh() const { return m_mesh; }

    MeshTree const& GetTree() const { return m_tree; }

    TqLAffine3f const& GetToWorld() const { return m_toWorld; }

    /// World positions of a primitive's three corners; a line's or point's last one is repeated.
    void GetCorners(std::uint32_t primitive, TqLPos3f* corners) const;

    /// The texture coordinate at a world point of a primitive, between those of its corners. The
    /// mesh must have some.
    TqLPos2f GetTexCoord(std::uint32_t primitive, TqLPos3f const& point) const;

    /// World normal of a triangle on its front side, of any length; zero without area. The front is
    /// where the corners run counter-clockwise in mesh coordinates: a mirrored placement shows its
    /// mesh from outside, too.
    TqLVec3f GetFront(TqLPos3f const triangle[3]) const;

    /// The box in the world of a box of mesh coordinates, a rounding larger than it is.
    TqLBox3f GetWorldBox(TqLBox3f const& box) const;

private:
    std::uint32_t GetIndex(std::uint32_t primitive, std::uint32_t corner) const;

    Mesh const& m_mesh;
    MeshTree const& m_tree;
    TqLAffine3f const& m_toWorld;
    bool m_isMirrored;
};

/// How a mesh is picked.
struct MeshPickSettings
{
    /// Triangles seen from behind are passed over.
    bool m_frontFacesOnly = false;
    TriangleHits m_hits = TriangleHits::eANYWHERE;
    /// Asked now and then; true ends the search. May be empty.
    std::function<bool()> m_isOver;
};

/// The nearest hit of a mesh.
struct MeshHit
{
    std::uint32_t m_primitive = 0;
    FrustumHit m_hit;
};

/// The first contact of a mesh.
struct MeshContact
{
    std::uint32_t m_primitive = 0;
    SweepContact m_contact;
};

/// Finds the hit nearest to the volume's origin, nearer than `limit`. Of hits at exactly one
/// distance the primitive with the lowest number counts. A search that was ended answers with what
/// it has found so far.
bool FindNearestHit(PlacedMesh const& mesh, PickVolume const& volume,
                    MeshPickSettings const& settings, double limit, MeshHit* hit);

/// Whether any primitive is hit. False when the search was ended before one was found.
bool IsTouched(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings);

/// Whether all of the mesh lies inside the frustum; clip planes and facing have no say. False for a
/// mesh without primitives, and when the search was ended.
bool IsContained(PlacedMesh const& mesh, PickVolume const& volume,
                 MeshPickSettings const& settings);

/// Finds where the moving body first touches the mesh. Of contacts at exactly one moment the
/// triangle with the lowest number counts. What clip planes of the world cut away is not touched.
/// With m_frontFacesOnly, triangles that do not face the motion are passed over.
bool FindContact(PlacedMesh const& mesh, TqLPickSweep const& sweep, TqLPlane3f const* clipPlanes,
                 int numClipPlanes, MeshPickSettings const& settings, MeshContact* contact);

} // namespace host
