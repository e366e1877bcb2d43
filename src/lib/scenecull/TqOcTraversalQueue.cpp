#include "scenecull/TqOcTraversalQueue.h"

#include "scenecull/internal/TqOcComponent.h"

#include "util/TqUError.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTraversalQueue");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>()};

} // namespace

void TqOcTraversalQueue::Initialise()
{
    InitialiseComponent(s_component, "TqOcTraversalQueue 1", s_dependencies);
}

void TqOcTraversalQueue::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTraversalQueue::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTraversalQueue::~TqOcTraversalQueue() = default;
