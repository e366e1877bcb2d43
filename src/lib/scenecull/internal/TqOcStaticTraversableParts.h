// What the sources of the static containers share.
#pragma once

#include "util/TqUComponent.h"

namespace TqOcInternal
{

/// The component "TqOcStaticBase" of all static containers; their errors are posted against it.
TqUComponent& GetStaticComponent();

} // namespace TqOcInternal
