#include "scenecull/TqOcPickFrustumTraversal.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcShape.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcPickFrustumTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcPickTraversal>()};

constexpr unsigned int s_pickingTimeOut = 200000; // microseconds
constexpr unsigned int s_staleReading = 10000;    // microseconds

} // namespace

// --- Life
// ------------------------------------------------------------------------------------------

void TqOcPickFrustumTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcPickFrustumTraversal 1", s_dependencies);
}

void TqOcPickFrustumTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcPickFrustumTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcPickFrustumTraversal::TqOcPickFrustumTraversal(TqOcContext* context)
    : TqOcPickTraversal(context)
{
    m_viewportBox.MakeEmpty();
}

TqOcPickFrustumTraversal::~TqOcPickFrustumTraversal() = default;

// --- Settings
// --------------------------------------------------------------------------------------

void TqOcPickFrustumTraversal::SetViewportFrustum(TqLFrustum3f const& frustum, int width,
                                                  int height, TqLBox2f const& box)
{
    m_frustum = TqLPickFrustum3f(frustum);
    m_viewportFrustum = frustum;
    m_viewportWidth = width;
    m_viewportHeight = height;
    m_viewportBox = box;
}

// --- A pick
// ----------------------------------------------------------------------------------------

void TqOcPickFrustumTraversal::StartTraversal(TqOcTraversable* root)
{
    m_isTiming = false;
    TqOcPickTraversal::StartTraversal(root);
}

void TqOcPickFrustumTraversal::StartPick(TqOcTraversable* root)
{
    SetCullBits(TqLPickFrustum3f::eALL_PLANES);
    if (!CanCull(root)) {
        m_pickingTimeOut.SetTimeOut(s_pickingTimeOut, s_staleReading);
        m_isTiming = true;
        root->PickFrustum(this);
    }
}

int TqOcPickFrustumTraversal::CanCull(TqOcTraversable* node)
{
    TqLBox3f const& box = node->GetBoundingBox();
    return IsOutside(box) || CanRenderCull(node) || IsBehindPick(box);
}

int TqOcPickFrustumTraversal::CanCull(TqOcShape* shape)
{
    if (CanRenderCull(shape)) {
        return 1;
    }
    TqLBox3f box;
    box.MakeEmpty();
    shape->GetShapeBox(box);
    return IsOutside(box) || IsBehindPick(box);
}

/// Tests a box against the planes that the cull bits name, and narrows these.
bool TqOcPickFrustumTraversal::IsOutside(TqLBox3f const& box)
{
    int planes = GetCullBits();
    int const isOutside = m_frustum.CanCull(box, &planes);
    SetCullBits(planes);
    return isOutside != 0;
}

/// Whether all of a box is farther away than the nearest hit.
bool TqOcPickFrustumTraversal::IsBehindPick(TqLBox3f const& box) const
{
    return GetPickedShape() != nullptr && (GetRequiredPropertyBits() & ePROPERTY_ALL_HITS) == 0 &&
           m_frustum.MinDistance(box) > GetDistance();
}
