#pragma once

// Start-up and shut-down of the library's components in test programs.
//
// Including this header from any source of a test program makes the program start every component
// before its first test and stop them after its last, as an application does. Tests of the
// components themselves step outside with `WithoutComponents`.

/// Initialises one or more component classes for its lifetime.
template <class... Component>
class ComponentGuard
{
public:
    ComponentGuard() { (Component::Initialise(), ...); }

    ~ComponentGuard() { (Component::Terminate(), ...); }

    ComponentGuard(ComponentGuard const&) = delete;
    ComponentGuard& operator=(ComponentGuard const&) = delete;
};

/// Takes the program's components down for its lifetime and starts them again afterwards.
class WithoutComponents
{
public:
    WithoutComponents();
    ~WithoutComponents();

    WithoutComponents(WithoutComponents const&) = delete;
    WithoutComponents& operator=(WithoutComponents const&) = delete;
};

/// Registers the start-up with GoogleTest, once. Returns true.
bool RegisterComponentsForTests();

namespace
{
[[maybe_unused]] bool const s_componentsAreRegistered = RegisterComponentsForTests();
} // namespace
