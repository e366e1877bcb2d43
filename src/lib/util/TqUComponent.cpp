#include "util/TqUComponent.h"

#include "util/TqUError.h"

int TqUComponent::Initialise(char const* name, char const* id)
{
    ++m_users;
    if (m_users != 1) {
        return 0;
    }
    if (name != nullptr) {
        m_name = name;
    }
    if (id != nullptr) {
        m_id = id;
    }
    return 1;
}

int TqUComponent::Terminate()
{
    if (m_users == 0) {
        TqUError::Post(TqUSysError::eERROR, this, "Terminate without Initialise");
        return 0;
    }
    --m_users;
    return m_users == 0;
}

char const* TqUComponent::GetName() const
{
    return m_name != nullptr ? m_name : "unknown";
}

char const* TqUComponent::GetId() const
{
    return m_id != nullptr ? m_id : "";
}
