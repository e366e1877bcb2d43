#include "host/pick/MeshPick.h"

#include "host/pick/ClippedPolygon.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace host
{

namespace
{

constexpr double s_infinity = std::numeric_limits<double>::infinity();

/// Boxes of the tree are tested with this much to spare, in units of the coordinates at play, so
/// that rounding leaves no triangle out that the kernel would hit.
constexpr double s_rounding = 64.0 * DBL_EPSILON;

/// Primitives between two questions whether the search is over.
constexpr unsigned eASK_EVERY = 64;

TqLVec3f GetHalfSize(TqLBox3f const& box)
{
    return box.GetSize() * 0.5;
}

double SumOfSizes(TqLVec3f const& vec)
{
    return std::fabs(vec[0]) + std::fabs(vec[1]) + std::fabs(vec[2]);
}

/// The shares of a triangle's corners in a point of it. Without an area, those of the first edge's.
void FindWeights(TqLPos3f const triangle[3], TqLPos3f const& point, double* weights)
{
    TqLVec3f const ab = triangle[1] - triangle[0];
    TqLVec3f const ac = triangle[2] - triangle[0];
    TqLVec3f const ap = point - triangle[0];
    TqLVec3f const normal = ab.Cross(ac);
    double const whole = normal.Dot(normal);
    double const squaredLength = ab.Dot(ab);
    weights[1] = 0.0;
    weights[2] = 0.0;
    if (whole > 0.0) {
        weights[1] = ap.Cross(ac).Dot(normal) / whole;
        weights[2] = ab.Cross(ap).Dot(normal) / whole;
    } else if (squaredLength > 0.0) {
        weights[1] = ab.Dot(ap) / squaredLength;
    }
    weights[0] = 1.0 - weights[1] - weights[2];
}

/// A world plane asked about boxes of mesh coordinates. Distances stay those of the world.
class LocalPlane
{
public:
    LocalPlane() = default;

    LocalPlane(TqLPlane3f const& plane, TqLAffine3f const& toWorld)
    {
        TqLVec3f const world = plane.GetNormal();
        m_offset = world.Dot(toWorld.GetTranslation()) - plane.GetDistance();
        m_rounding = std::fabs(plane.GetDistance());
        for (int j = 0; j < 3; ++j) {
            m_rounding += std::fabs(world[j] * toWorld[3][j]);
        }
        for (int i = 0; i < 3; ++i) {
            m_normal[i] = world.Dot(toWorld.GetRow(i));
            for (int j = 0; j < 3; ++j) {
                m_sizes[i] += std::fabs(world[j] * toWorld[i][j]);
            }
        }
    }

    bool IsOutside(TqLPos3f const& center, TqLVec3f const& halfSize) const
    {
        return GetMiddle(center) + GetReach(halfSize) < -GetRounding(center, halfSize);
    }

    bool IsInside(TqLPos3f const& center, TqLVec3f const& halfSize) const
    {
        return GetMiddle(center) - GetReach(halfSize) > GetRounding(center, halfSize);
    }

private:
    double GetMiddle(TqLPos3f const& center) const { return m_normal.Dot(center.Vec()) + m_offset; }

    double GetReach(TqLVec3f const& halfSize) const
    {
        return std::fabs(m_normal[0]) * halfSize[0] + std::fabs(m_normal[1]) * halfSize[1] +
               std::fabs(m_normal[2]) * halfSize[2];
    }

    double GetRounding(TqLPos3f const& center, TqLVec3f const& halfSize) const
    {
        double sum = m_rounding;
        for (int i = 0; i < 3; ++i) {
            sum += m_sizes[i] * (std::fabs(center[i]) + halfSize[i]);
        }
        return s_rounding * sum;
    }

    TqLVec3f m_normal;
    double m_offset = 0.0;
    TqLVec3f m_sizes;        ///< by how much a mesh coordinate's size counts in rounding
    double m_rounding = 0.0; ///< what counts beside it
};

/// What the queries of a pick volume share.
class VolumeQuery
{
public:
    VolumeQuery(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings)
        : m_mesh(mesh)
        , m_volume(volume)
        , m_settings(settings)
    {
        for (int i = 0; i < volume.GetNumPlanes(); ++i) {
            m_planes[i] = LocalPlane(volume.GetPlane(i), mesh.GetToWorld());
        }
    }

protected:
    bool IsOutside(TqLBox3f const& box) const
    {
        TqLPos3f const center = box.GetCenter();
        TqLVec3f const halfSize = GetHalfSize(box);
        for (int i = 0; i < m_volume.GetNumPlanes(); ++i) {
            if (m_planes[i].IsOutside(center, halfSize)) {
                return true;
            }
        }
        return false;
    }

    bool IsInsideFrustum(TqLBox3f const& box) const
    {
        TqLPos3f const center = box.GetCenter();
        TqLVec3f const halfSize = GetHalfSize(box);
        for (int i = 0; i < TqLPickFrustum3f::eNUM_PLANES; ++i) {
            if (!m_planes[i].IsInside(center, halfSize)) {
                return false;
            }
        }
        return true;
    }

    bool Hit(std::uint32_t primitive, FrustumHit* hit) const
    {
        TqLPos3f corners[3];
        m_mesh.GetCorners(primitive, corners);
        if (m_mesh.GetMesh().corners == 1) {
            return HitPoint(m_volume, corners[0], hit);
        }
        if (m_mesh.GetMesh().corners == 2) {
            return HitSegment(m_volume, corners, hit);
        }
        return HitTriangle(m_volume, corners, m_settings.m_hits, hit) &&
               (!m_settings.m_frontFacesOnly ||
                m_mesh.GetFront(corners).Dot(m_volume.GetLookAt(hit->m_point)) < 0.0);
    }

    bool IsOver()
    {
        return m_settings.m_isOver && ++m_asked % eASK_EVERY == 0 && m_settings.m_isOver();
    }

    PlacedMesh const& m_mesh;
    PickVolume const& m_volume;

private:
    MeshPickSettings const& m_settings;
    LocalPlane m_planes[PickVolume::eMAX_PLANES];
    unsigned m_asked = 0;
};

class NearestQuery : public VolumeQuery
{
public:
    NearestQuery(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings,
                 double limit)
        : VolumeQuery(mesh, volume, settings)
        , m_limit(limit)
    {}

    double Rank(TqLBox3f const& box) const
    {
        if (IsOutside(box)) {
            return -1.0;
        }
        TqLBox3f const world = m_mesh.GetWorldBox(box);
        double sum = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            double const origin = m_volume.GetOrigin()[axis];
            double const gap =
                std::max({world.GetMin()[axis] - origin, origin - world.GetMax()[axis], 0.0});
            sum += gap * gap;
        }
        return std::sqrt(sum) * (1.0 - s_rounding);
    }

    double GetLimit() const { return m_limit; }

    bool Visit(std::uint32_t primitive)
    {
        FrustumHit hit;
        if (Hit(primitive, &hit) &&
            (hit.m_distance < m_limit ||
             (m_isHit && hit.m_distance == m_limit && primitive < m_hit.m_primitive))) {
            m_isHit = true;
            m_limit = hit.m_distance;
            m_hit.m_primitive = primitive;
            m_hit.m_hit = hit;
        }
        return !IsOver();
    }

    bool IsHit() const { return m_isHit; }

    MeshHit const& GetHit() const { return m_hit; }

private:
    double m_limit;
    bool m_isHit = false;
    MeshHit m_hit;
};

class TouchQuery : public VolumeQuery
{
public:
    using VolumeQuery::VolumeQuery;

    double Rank(TqLBox3f const& box) const { return IsOutside(box) ? -1.0 : 0.0; }

    double GetLimit() const { return s_infinity; }

    bool Visit(std::uint32_t primitive)
    {
        FrustumHit hit;
        m_isHit = Hit(primitive, &hit);
        return !m_isHit && !IsOver();
    }

    bool IsHit() const { return m_isHit; }

private:
    bool m_isHit = false;
};

/// Looks for a corner outside the frustum where boxes are not wholly inside.
class ContainQuery : public VolumeQuery
{
public:
    using VolumeQuery::VolumeQuery;

    double Rank(TqLBox3f const& box) const { return IsInsideFrustum(box) ? -1.0 : 0.0; }

    double GetLimit() const { return s_infinity; }

    bool Visit(std::uint32_t primitive)
    {
        TqLPos3f corners[3];
        m_mesh.GetCorners(primitive, corners);
        for (TqLPos3f const& corner : corners) {
            for (int i = 0; i < TqLPickFrustum3f::eNUM_PLANES; ++i) {
                if (!m_volume.GetPlane(i).IsInHalfspace(corner)) {
                    return false;
                }
            }
        }
        return !IsOver();
    }
};

/// Looks for the first contact of a moving body.
class SweepQuery
{
public:
    SweepQuery(PlacedMesh const& mesh, TqLPickSweep const& sweep, TqLPlane3f const* clipPlanes,
               int numClipPlanes, MeshPickSettings const& settings)
        : m_mesh(mesh)
        , m_sweep(sweep)
        , m_clipPlanes(clipPlanes)
        , m_numClipPlanes(std::min(numClipPlanes, PickVolume::eMAX_CLIP_PLANES))
        , m_settings(settings)
    {}

    /// The share of the sweep at which the box around the body meets a box.
    double Rank(TqLBox3f const& local) const
    {
        TqLBox3f const box = m_mesh.GetWorldBox(local);
        double enter = 0.0;
        double exit = 1.0;
        for (int axis = 0; axis < 3; ++axis) {
            double const center = m_sweep.GetCenter()[axis];
            double const reach = m_sweep.GetHalfSize()[axis];
            double const speed = m_sweep.GetSweep()[axis];
            double const rounding = s_rounding * (std::fabs(center) + reach + std::fabs(speed));
            double const low = box.GetMin()[axis] - center - reach - rounding;
            double const high = box.GetMax()[axis] - center + reach + rounding;
            if (speed == 0.0) {
                if (low > 0.0 || high < 0.0) {
                    return -1.0;
                }
                continue;
            }
            enter = std::max(enter, (speed > 0.0 ? low : high) / speed);
            exit = std::min(exit, (speed > 0.0 ? high : low) / speed);
        }
        return enter <= exit ? enter : -1.0;
    }

    double GetLimit() const { return m_isTouched ? m_contact.m_contact.m_fraction : 1.0; }

    bool Visit(std::uint32_t primitive)
    {
        TqLPos3f corners[3];
        m_mesh.GetCorners(primitive, corners);
        if (IsFacing(corners)) {
            Test(primitive, corners);
        }
        return !(m_settings.m_isOver && ++m_asked % eASK_EVERY == 0 && m_settings.m_isOver());
    }

    bool IsTouched() const { return m_isTouched; }

    MeshContact const& GetContact() const { return m_contact; }

private:
    bool IsFacing(TqLPos3f const triangle[3]) const
    {
        return !m_settings.m_frontFacesOnly || m_sweep.IsPick() ||
               m_mesh.GetFront(triangle).Dot(m_sweep.GetSweep()) < 0.0;
    }

    /// Tests what the clip planes leave of a triangle: a fan of triangles.
    void Test(std::uint32_t primitive, TqLPos3f const triangle[3])
    {
        ClippedPolygon polygon(triangle);
        for (int i = 0; i < m_numClipPlanes && !polygon.IsEmpty(); ++i) {
            double sum = std::fabs(m_clipPlanes[i].GetDistance());
            for (int corner = 0; corner < 3; ++corner) {
                sum += SumOfSizes(triangle[corner].Vec());
            }
            polygon.Cut(m_clipPlanes[i], s_rounding * sum);
        }
        TqLPos3f const* const corners = polygon.GetCorners();
        int const last = polygon.GetNumCorners() - 1;
        // A point or a segment that is left is a triangle with equal corners.
        for (int i = 2; i <= std::max(last, polygon.IsEmpty() ? 0 : 2); ++i) {
            TqLPos3f const piece[3] = {corners[0], corners[std::min(i - 1, last)],
                                       corners[std::min(i, last)]};
            SweepContact contact;
            if (SweepTriangle(m_sweep, piece, &contact)) {
                Offer(primitive, contact);
            }
        }
    }

    void Offer(std::uint32_t primitive, SweepContact const& contact)
    {
        double const best = m_contact.m_contact.m_fraction;
        if (!m_isTouched || contact.m_fraction < best ||
            (contact.m_fraction == best && primitive < m_contact.m_primitive)) {
            m_isTouched = true;
            m_contact.m_primitive = primitive;
            m_contact.m_contact = contact;
        }
    }

    PlacedMesh const& m_mesh;
    TqLPickSweep const& m_sweep;
    TqLPlane3f const* m_clipPlanes;
    int m_numClipPlanes;
    MeshPickSettings const& m_settings;
    unsigned m_asked = 0;
    bool m_isTouched = false;
    MeshContact m_contact;
};

} // namespace

// ---- Placed meshes ------------------------------------------------------------------------------

PlacedMesh::PlacedMesh(Mesh const& mesh, MeshTree const& tree, TqLAffine3f const& toWorld)
    : m_mesh(mesh)
    , m_tree(tree)
    , m_toWorld(toWorld)
    , m_isMirrored(toWorld.GetRow(0).Cross(toWorld.GetRow(1)).Dot(toWorld.GetRow(2)) < 0.0)
{}

std::uint32_t PlacedMesh::GetIndex(std::uint32_t primitive, std::uint32_t corner) const
{
    std::uint32_t const last = m_mesh.corners - 1;
    return m_mesh.indices[std::size_t(m_mesh.corners) * primitive + std::min(corner, last)];
}

void PlacedMesh::GetCorners(std::uint32_t primitive, TqLPos3f* corners) const
{
    for (std::uint32_t i = 0; i < 3; ++i) {
        float const* const position =
            m_mesh.positions.data() + std::size_t(3) * GetIndex(primitive, i);
        corners[i] = TqLPos3f(position[0], position[1], position[2]) * m_toWorld;
    }
}

TqLPos2f PlacedMesh::GetTexCoord(std::uint32_t primitive, TqLPos3f const& point) const
{
    TqLPos3f corners[3];
    GetCorners(primitive, corners);
    double weights[3];
    FindWeights(corners, point, weights);
    TqLPos2f texCoord;
    for (std::uint32_t i = 0; i < 3; ++i) {
        float const* const at = m_mesh.texCoords.data() + std::size_t(2) * GetIndex(primitive, i);
        texCoord += TqLVec2f(weights[i] * at[0], weights[i] * at[1]);
    }
    return texCoord;
}

TqLVec3f PlacedMesh::GetFront(TqLPos3f const triangle[3]) const
{
    TqLVec3f const normal = (triangle[1] - triangle[0]).Cross(triangle[2] - triangle[0]);
    return m_isMirrored ? -normal : normal;
}

TqLBox3f PlacedMesh::GetWorldBox(TqLBox3f const& box) const
{
    TqLPos3f const center = box.GetCenter();
    TqLVec3f const halfSize = GetHalfSize(box);
    TqLPos3f const worldCenter = center * m_toWorld;
    TqLVec3f worldHalf;
    for (int j = 0; j < 3; ++j) {
        double rounding = std::fabs(m_toWorld[3][j]);
        for (int i = 0; i < 3; ++i) {
            double const factor = std::fabs(m_toWorld[i][j]);
            worldHalf[j] += factor * halfSize[i];
            rounding += factor * (std::fabs(center[i]) + halfSize[i]);
        }
        worldHalf[j] += s_rounding * rounding;
    }
    return TqLBox3f(worldCenter - worldHalf, worldCenter + worldHalf);
}

// ---- Picks --------------------------------------------------------------------------------------

bool FindNearestHit(PlacedMesh const& mesh, PickVolume const& volume,
                    MeshPickSettings const& settings, double limit, MeshHit* hit)
{
    NearestQuery query(mesh, volume, settings, limit);
    mesh.GetTree().Walk(query);
    if (query.IsHit()) {
        *hit = query.GetHit();
    }
    return query.IsHit();
}

bool IsTouched(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings)
{
    TouchQuery query(mesh, volume, settings);
    mesh.GetTree().Walk(query);
    return query.IsHit();
}

bool IsContained(PlacedMesh const& mesh, PickVolume const& volume, MeshPickSettings const& settings)
{
    ContainQuery query(mesh, volume, settings);
    return !mesh.GetTree().IsEmpty() && mesh.GetTree().Walk(query);
}

bool FindContact(PlacedMesh const& mesh, TqLPickSweep const& sweep, TqLPlane3f const* clipPlanes,
                 int numClipPlanes, MeshPickSettings const& settings, MeshContact* contact)
{
    SweepQuery query(mesh, sweep, clipPlanes, numClipPlanes, settings);
    mesh.GetTree().Walk(query);
    if (query.IsTouched()) {
        *contact = query.GetContact();
    }
    return query.IsTouched();
}

} // namespace host
