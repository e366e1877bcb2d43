#pragma once

// One static record per class family: whether the family is switched on, and by how many users.
// The family's static Initialise and Terminate forward to the record and, when it reports the first
// or the last user, do the same for the families it depends on. Errors are posted against the
// record, which gives them the family's name. Start-up and shut-down run on one thread; no lock is
// taken.

#include "util/TqUApi.h"

/// A reference-counted component. Constant-initialised and never destroyed, so that it can be used
/// before and after the dynamic initialisation of any other static.
class TQU_API TqUComponent
{
public:
    /// Uninitialised and without a name.
    constexpr TqUComponent() noexcept = default;

    /// Uninitialised. The name lets posts made before Initialise say where they come from.
    /// @param name  must live as long as the component; normally a literal
    explicit constexpr TqUComponent(char const* name) noexcept : m_name(name) {}

    TqUComponent(TqUComponent const&) = delete;
    TqUComponent& operator=(TqUComponent const&) = delete;

    /// Adds a user. Name and identification are kept from the call that switches the component on.
    /// @param name  the component's name
    /// @param id  text identifying its source; both must live as long as the component, and null
    /// keeps what it had
    /// @return non-zero only when this call took the component from uninitialised to initialised
    int Initialise(char const* name, char const* id);

    /// Removes a user. The name stays known.
    /// @return non-zero only when this call took the component back to uninitialised. Without a
    /// user: posts severity 1 against this component, changes nothing and returns 0.
    int Terminate();

    /// Non-zero while the component has users.
    int IsInitialised() const { return m_users != 0; }

    /// The name; "unknown" for a component that never had one. Never null.
    char const* GetName() const;

    /// The identification text; empty before the first Initialise. Never null.
    char const* GetId() const;

private:
    char const* m_name = nullptr;
    char const* m_id = nullptr;
    int m_users = 0;
};
