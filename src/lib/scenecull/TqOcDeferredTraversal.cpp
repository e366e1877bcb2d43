#include "scenecull/TqOcDeferredTraversal.h"

#include "scenecull/internal/TqOcComponent.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcDeferredTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcTraversal>()};

} // namespace

void TqOcDeferredTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcDeferredTraversal 1", s_dependencies);
}

void TqOcDeferredTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcDeferredTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcDeferredTraversal::TqOcDeferredTraversal() : TqOcTraversal(nullptr) {}

TqOcDeferredTraversal::TqOcDeferredTraversal(TqOcTraversal const& configured)
    : TqOcTraversal(configured)
{}

TqOcDeferredTraversal::~TqOcDeferredTraversal() = default;
