#include "scenecull/TqOcTraversal.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcTraversable.h"

#include "util/TqUError.h"

#include <algorithm>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcContext>(),
                                             DependsOn<TqOcTraversable>()};

} // namespace

void TqOcTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcTraversal 1", s_dependencies);
}

void TqOcTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTraversal::TqOcTraversal(TqOcContext* context) : m_context(context) {}

TqOcTraversal::~TqOcTraversal() = default;

bool TqOcTraversal::HasRoot(TqOcTraversable const* root)
{
    if (root == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "A traversal was applied to a null root");
    }
    return root != nullptr;
}

void TqOcTraversal::Apply(TqOcTraversable* root)
{
    AsyncApply(root); // posts a null root
    if (root != nullptr) {
        WaitForCompletion();
    }
}

void TqOcTraversal::AsyncApply(TqOcTraversable* root)
{
    if (HasRoot(root)) {
        root->Update();
        ResetStats();
        StartTraversal(root);
    }
}

void TqOcTraversal::WaitForCompletion()
{
    EndTraversal();
}

void TqOcTraversal::SetClipPlanes(TqLPlane3f const* planes, int count)
{
    int const most = planes != nullptr ? eMAX_CLIP_PLANES : 0;
    int const used = std::clamp(count, 0, most);
    if (used != count) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "%d clip planes given, %d used", count,
                       used);
    }
    m_numClipPlanes = used;
    std::copy_n(planes, used, m_clipPlanes);
}

void TqOcTraversal::CopyConfig(TqOcTraversal const* other)
{
    m_context = other->m_context;
    SetClipPlanes(other->m_clipPlanes, other->m_numClipPlanes);
}
