// One level of transformation in a hierarchy: local to world and back, and the clip planes there.
//
// A traversal makes an identity level when it starts; a node that carries a transform makes a child
// level (TqOcTravState::TransformedCull). A plain value: it lives in the traversal's pool and is
// released with it.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"

#include <cstdint>

/// Transform state of one level. Row vectors: world = local * to-world.
class TQOC_API TqOcTravTransform
{
public:
    /// Most clip planes that a level holds.
    static constexpr int eMAX_CLIP_PLANES = 6;

    /// Switches "TqOcTravTransform" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// Identity, no clip planes.
    TqOcTravTransform() = default;

    /// The root level. An identity leaves the planes bit for bit as they are.
    /// @param clipPlanes  in world coordinates
    /// @param numClipPlanes  0 to 6, unchecked
    TqOcTravTransform(TqLAffine3f const& toWorld, TqLPlane3f const* clipPlanes, int numClipPlanes);

    /// Copies the planes that are there.
    /// @{
    TqOcTravTransform(TqOcTravTransform const& other);
    TqOcTravTransform& operator=(TqOcTravTransform const& other);
    /// @}

    /// Becomes the level below `parent` under a node's transform; an identity gets no short cut.
    void Transform(TqOcTravTransform const& parent, TqLAffine3f const& affine);

    /// This level's coordinates to world coordinates: local * to-world = world.
    TqLAffine3f const& GetToWorld() const { return m_toWorld; }

    /// World coordinates to this level's, the inverse.
    TqLAffine3f const& GetFromWorld() const { return m_fromWorld; }

    /// Clip planes in this level's coordinates; the first GetNumClipPlanes() (0 to 6) count.
    /// @{
    int GetNumClipPlanes() const { return m_numClipPlanes; }

    TqLPlane3f const* GetClipPlanes() const { return m_clipPlanes; }

    /// @}

private:
    void CopyClipPlanes(TqLPlane3f const* planes, int count);
    void TransformClipPlanes(TqLPlane3f const* planes, int count, TqLAffine3f const& affine);

    // Data; the order is part of the binary interface.
    TqLAffine3f m_toWorld;
    TqLAffine3f m_fromWorld;
    std::int32_t m_numClipPlanes = 0;
    TqLPlane3f m_clipPlanes[eMAX_CLIP_PLANES];
};
