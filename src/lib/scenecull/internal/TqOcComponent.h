// Start-up and shut-down shared by every class family: a counted component record and the list of
// families it switches on with its first user and off, in the same order, with its last.
#pragma once

#include "util/TqUComponent.h"

namespace TqOcInternal
{

/// One family that another depends on.
struct TqOcDependency
{
    void (*initialise)();
    void (*terminate)();
};

/// The dependency on `Family`, whose Initialise and Terminate are static.
template <class Family>
constexpr TqOcDependency DependsOn()
{
    return {[] { Family::Initialise(); }, [] { Family::Terminate(); }};
}

/// Counts one user of `component`; the first one initialises `dependencies` in array order.
template <int count>
void InitialiseComponent(TqUComponent& component, char const* id,
                         TqOcDependency const (&dependencies)[count])
{
    if (component.Initialise(component.GetName(), id) != 0) {
        for (TqOcDependency const& dependency : dependencies) {
            dependency.initialise();
        }
    }
}

/// Takes one user of `component` away; the last one terminates `dependencies` in array order.
template <int count>
void TerminateComponent(TqUComponent& component, TqOcDependency const (&dependencies)[count])
{
    if (component.Terminate() != 0) {
        for (TqOcDependency const& dependency : dependencies) {
            dependency.terminate();
        }
    }
}

} // namespace TqOcInternal
