// Cull data of one level of a hierarchy, and the two basic cull tests made on it.
//
// TqOcTravCull binds one frustum state and one transform state and derives from them what tests of
// local boxes need. A traversal makes one for its root, nodes make transformed or narrowed ones;
// all live in the traversal's pools. TqOcRenderTravCull adds the tests of the render walk.
//
// Cull bits: an int handed down the hierarchy. Bit 0 stands for the x pair of frustum planes, bit 1
// for y, bit 2 for z (near and far). A set bit is still to be tested; a clear one was found inside
// by an ancestor. Walks start with all three (7).
#pragma once

#include "scenecull/TqOcApi.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"

#include "geometry/TqLBox.h"

class TqOcTraversal;

/// Local cull data and tests. A plain value; copying copies the two pointers, not the states.
class TQOC_API TqOcTravCull
{
public:
    static constexpr int eCULL_X = 1;   ///< Cull bit of the left and right plane.
    static constexpr int eCULL_Y = 2;   ///< Of the bottom and top plane.
    static constexpr int eCULL_Z = 4;   ///< Of the near and far plane.
    static constexpr int eCULL_ALL = 7; ///< Of all three pairs; a walk starts with it.

    /// Switches "TqOcTravCull" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// Both states must outlive the object and are not owned. Near-cull distance 0.
    TqOcTravCull(TqOcTravFrustum* frustum, TqOcTravTransform* transform);

    /// Becomes `parent` under another frustum state. @param nearCullDistance  see
    /// GetNearCullDistance
    void Narrow(TqOcTravCull const& parent, TqOcTravFrustum* frustum, double nearCullDistance);

    /// Becomes `parent` under another transform state.
    void Transform(TqOcTravCull const& parent, TqOcTravTransform* transform);

    /// Tests a local box against the frustum; counts one frustum cull test.
    /// @param cullBits  pairs still to be tested; those that the box lies inside of are cleared,
    /// also when a later pair then says outside
    /// @return 1 when the box lies wholly outside one pair, or behind the eye, else 0. Touching a
    /// plane from inside is inside; a coordinate that is not a number is outside nothing.
    int IsOutside(TqOcTraversal* traversal, TqLBox3f const& box, int* cullBits) const;

    /// Projects local points to a rectangle in cull space (-1 to 1 across the window), clipped at
    /// the sides; counts one area cull test.
    /// @param numPoints  any number; points past the 50th cost a little more
    /// @param cullBits  as in IsOutside, for the x and y pairs; when all points lie behind the eye,
    /// all but these two are cleared
    /// @param screenBox  written only when 1 is returned
    /// @return 0 when all points lie behind the eye or beyond one plane, else 1
    int CalcArea(TqOcTraversal* traversal, TqLPos3f const* points, int numPoints, int* cullBits,
                 TqLBox2f* screenBox) const;

    /// The states behind the object, as given; not owned.
    /// @{
    TqOcTravFrustum* GetTravFrustum() { return m_frustum; }

    TqOcTravFrustum const* GetTravFrustum() const { return m_frustum; }

    TqOcTravTransform* GetTravTransform() { return m_transform; }

    TqOcTravTransform const* GetTravTransform() const { return m_transform; }

    /// @}

    /// The frustum's near plane in local coordinates; its normal points into the scene.
    TqLPlane3f const& GetNearPlane() const { return m_nearPlane; }

    /// Nodes wholly nearer to the near plane than this, in world units, are not drawn. 0 at the
    /// root.
    double GetNearCullDistance() const { return m_nearCullDistance; }

    /// Local coordinates to cull space.
    TqLMatrix4f const& GetCullMatrix() const { return m_cullMatrix; }

    /// The viewpoint in local coordinates.
    TqLPos3f const& GetLocalEyePoint() const { return m_localEyePoint; }

    // --- The states' values ---------------------------------------------------------------------

    /// The view's frustum, world space.
    TqLFrustum3f const& GetFrustum() const { return m_frustum->GetFrustum(); }

    /// World coordinates to cull space.
    TqLMatrix4f const& GetViewCullMatrix() const { return m_frustum->GetViewCullMatrix(); }

    /// Pixels per unit of cull-space area, divided by stress squared.
    double GetAreaToPixelConv() const { return m_frustum->GetAreaToPixelConv(); }

    /// Pixels per unit of cull-space x, and y, divided by stress.
    /// @{
    double GetXToPixelConv() const { return m_frustum->GetXToPixelConv(); }

    double GetYToPixelConv() const { return m_frustum->GetYToPixelConv(); }

    /// @}

    /// World size of a pixel per unit of eye distance; see TqOcTravFrustum::GetDistToInvPixelConv.
    double GetDistToInvPixelConv() const { return m_frustum->GetDistToInvPixelConv(); }

    /// Local to world coordinates, and back.
    /// @{
    TqLAffine3f const& GetToWorld() const { return m_transform->GetToWorld(); }

    TqLAffine3f const& GetFromWorld() const { return m_transform->GetFromWorld(); }

    /// @}

    /// Clip planes in local coordinates; the first GetNumClipPlanes() (0 to 6) count.
    /// @{
    int GetNumClipPlanes() const { return m_transform->GetNumClipPlanes(); }

    TqLPlane3f const* GetClipPlanes() const { return m_transform->GetClipPlanes(); }

    /// @}

private:
    void Init();

    // Data; the order is part of the binary interface.
    TqOcTravFrustum* m_frustum;
    TqOcTravTransform* m_transform;
    TqLPlane3f m_nearPlane;
    double m_nearCullDistance = 0.0;
    TqLMatrix4f m_cullMatrix;
    TqLPos3f m_localEyePoint;
};
