#include "scenecull/TqOcTravPools.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace
{

static_assert(std::is_trivially_destructible<TqOcTravState>::value, "pools drop it wholesale");
static_assert(std::is_trivially_destructible<TqOcTravFrustum>::value, "pools drop it wholesale");
static_assert(std::is_trivially_destructible<TqOcTravTransform>::value, "pools drop it wholesale");

constexpr std::size_t s_reservedLevels = 50;

/// A T from a pool, or null.
template <class T, class... Arguments>
T* NewIn(TqUFastArena& pool, Arguments&&... arguments)
{
    void* const block = pool.Alloc();
    return block != nullptr ? ::new (block) T(std::forward<Arguments>(arguments)...) : nullptr;
}

} // namespace

TqOcTravPools::TqOcTravPools()
    : m_transforms(sizeof(TqOcTravTransform))
    , m_frustums(sizeof(TqOcTravFrustum))
    , m_culls(sizeof(TqOcRenderTravCull))
    , m_states(sizeof(TqOcTravState))
{
    m_levels.reserve(s_reservedLevels);
}

TqOcTravPools::~TqOcTravPools() = default;

TqOcTravState* TqOcTravPools::NewRootState(TqOcTraversable* root,
                                           TqOcRenderTraversal const& traversal,
                                           TqOcContext* context)
{
    auto* const frustum = NewIn<TqOcTravFrustum>(m_frustums, traversal.GetViewFrustum(), context,
                                                 traversal.GetStress());
    auto* const transform = NewIn<TqOcTravTransform>(
        m_transforms, TqLAffine3f(), traversal.GetClipPlanes(), traversal.GetNumClipPlanes());
    if (frustum == nullptr || transform == nullptr) {
        return nullptr;
    }
    auto* const cull = NewIn<TqOcRenderTravCull>(m_culls, frustum, transform);
    return cull != nullptr ? NewState(root, cull) : nullptr;
}

TqOcRenderTravCull* TqOcTravPools::NewTransformedCull(TqOcRenderTravCull& parent,
                                                      TqLAffine3f const& affine)
{
    auto* const transform = NewIn<TqOcTravTransform>(m_transforms);
    if (transform == nullptr) {
        return nullptr;
    }
    transform->Transform(*parent.GetTravTransform(), affine);
    auto* const cull = NewIn<TqOcRenderTravCull>(m_culls, parent);
    if (cull != nullptr) {
        cull->Transform(parent, transform);
    }
    return cull;
}

TqOcRenderTravCull* TqOcTravPools::NewNarrowedCull(TqOcRenderTravCull& parent, double x0, double x1,
                                                   double y0, double y1)
{
    auto* const frustum = NewIn<TqOcTravFrustum>(m_frustums);
    if (frustum == nullptr) {
        return nullptr;
    }
    frustum->Narrow(*parent.GetTravFrustum(), x0, x1, y0, y1);
    auto* const cull = NewIn<TqOcRenderTravCull>(m_culls, parent);
    if (cull != nullptr) {
        cull->Narrow(parent, frustum, parent.GetNearCullDistance());
    }
    return cull;
}

void TqOcTravPools::Release()
{
    m_states.DeallocAll();
    m_culls.DeallocAll();
    m_frustums.DeallocAll();
    m_transforms.DeallocAll();
}
