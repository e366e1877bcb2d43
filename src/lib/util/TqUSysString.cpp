#include "util/TqUSysString.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"

#include <cstring>

namespace
{

TqUComponent s_component("TqUSysString");

} // namespace

std::size_t TqUSysString::Memcpy(void* destination, std::size_t destinationSize, void const* source,
                                 std::size_t count)
{
    if (count == 0) {
        return 0;
    }
    if (destination == nullptr || source == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "Memcpy of %zu bytes %s null", count,
                       destination == nullptr ? "to" : "from");
        return 0;
    }
    if (count > destinationSize) {
        TqUError::Post(TqUSysError::eERROR, &s_component,
                       "Memcpy of %zu bytes into a destination of %zu", count, destinationSize);
        count = destinationSize;
    }
    std::memmove(destination, source, count);
    return count;
}
