#include "scenecull/TqOcPickTraversal.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"

#include "util/TqUError.h"

#include <cmath>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcPickTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcTraversal>()};

/// Whether a point lies on the negative side of any of the planes.
bool IsClipped(TqOcTraversal const& traversal, TqLPos3f const& point)
{
    TqLPlane3f const* const planes = traversal.GetClipPlanes();
    for (int i = 0; i < traversal.GetNumClipPlanes(); ++i) {
        if (planes[i].DistanceFromPlane(point) < 0.0) {
            return true;
        }
    }
    return false;
}

} // namespace

// --- Life
// ------------------------------------------------------------------------------------------

void TqOcPickTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcPickTraversal 1", s_dependencies);
}

void TqOcPickTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcPickTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcPickTraversal::TqOcPickTraversal(TqOcContext* context) : TqOcTraversal(context) {}

TqOcPickTraversal::~TqOcPickTraversal() = default;

// --- A pick
// ----------------------------------------------------------------------------------------

void TqOcPickTraversal::AsyncApply(TqOcTraversable* root)
{
    if (root != nullptr) {
        TqOcTraversal::AsyncApply(root);
    } else {
        ResetStats();
        StartTraversal(nullptr); // posts, and forgets the results of the pick before
    }
}

void TqOcPickTraversal::StartTraversal(TqOcTraversable* root)
{
    TqOcPickTraversal::EndTraversal(); // a pick may have been left without its end
    m_pickedShape = nullptr;
    m_allPickedShapes.Clear();
    if (!HasRoot(root) || (m_renderTraversal != nullptr && !MakeRenderCull())) {
        return;
    }
    try {
        StartPick(root);
    } catch (...) {
        EndTraversal();
        throw;
    }
}

/// Makes the cull object of the render traversal's view; false when that has no context.
bool TqOcPickTraversal::MakeRenderCull()
{
    TqOcPrioritizedTraversal& render = *m_renderTraversal;
    if (render.GetContext() == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "A pick follows a render traversal that has no context");
        return false;
    }
    m_travFrustum.emplace(render.GetViewFrustum(), render.GetContext(), render.GetStress());
    m_travTransform.emplace(TqLAffine3f(), render.GetClipPlanes(), render.GetNumClipPlanes());
    m_renderCull.emplace(&*m_travFrustum, &*m_travTransform);
    return true;
}

void TqOcPickTraversal::EndTraversal()
{
    m_renderCull.reset();
    m_travFrustum.reset();
    m_travTransform.reset();
}

// --- What was drawn
// --------------------------------------------------------------------------------

/// Whether a node or shape is left out of picks, whatever was drawn.
bool TqOcPickTraversal::IsUnpickable(TqOcBaseTraversable const* node) const
{
    return node->IsIgnorePick() || (node->IsHideRender() && !m_pickHidden);
}

int TqOcPickTraversal::CanRenderCull(TqOcTraversable* node)
{
    if (IsUnpickable(node)) {
        return 1;
    }
    return m_renderTraversal != nullptr ? IsRenderCulled(node) : 0;
}

int TqOcPickTraversal::IsRenderCulled(TqOcTraversable* node)
{
    TqOcPrioritizedTraversal& render = *m_renderTraversal;
    if (m_pickLastRendered || render.IsInteractive()) {
        return node->GetFrameId() != render.GetFrameId();
    }
    if ((node->GetPrimitives() & render.GetPrimitiveBits()) == 0) {
        return 1;
    }
    TqOcRenderTravCullData data = {}; // as in a frame: not all of it is computed for every node
    return m_renderCull &&
           !m_renderCull->CalcPriority(&render, 0, node, TqOcTravCull::eCULL_ALL, &data);
}

int TqOcPickTraversal::CanRenderCull(TqOcShape* shape) const
{
    if (IsUnpickable(shape)) {
        return 1;
    }
    return m_renderTraversal != nullptr &&
           (shape->GetPrimitives() & m_renderTraversal->GetPrimitiveBits()) == 0;
}

// --- Hits
// ------------------------------------------------------------------------------------------

void TqOcPickTraversal::SetPicked(TqOcShape* shape, TqLPos3f const& point, double distance,
                                  unsigned int subObjectId, PickType type)
{
    m_pickedShape = shape;
    m_pickedPoint = point;
    m_pickType = type;
    m_distance = distance;
    m_subObjectId = subObjectId;
    m_propertyBits = 0;
}

int TqOcPickTraversal::CanPickPoint(TqOcShape* shape, TqLPos3f const& point, double distance) const
{
    if (std::isnan(distance) || (m_pickedShape != nullptr && !(m_distance > distance))) {
        return 0;
    }
    if (shape->IsIgnoreClip()) {
        return 1;
    }
    // The cast is to the base that holds the planes; a render traversal's take precedence.
    TqOcTraversal const* const clipping =
        m_renderTraversal != nullptr ? static_cast<TqOcTraversal const*>(m_renderTraversal) : this;
    return !IsClipped(*clipping, point);
}
