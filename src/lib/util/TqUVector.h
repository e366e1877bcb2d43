#pragma once

// The vectors (TqUVoidPtrVector, TqUPtrVector<T>, TqUInt32Vector) as a component.

#include "util/TqUApi.h"

/// The vectors as a component. They can be used without it.
class TQU_API TqUVector
{
public:
    /// Component "TqUVector"; reference counted.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};
