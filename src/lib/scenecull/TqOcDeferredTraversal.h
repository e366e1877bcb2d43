// The base for traversals that run later, or elsewhere.
//
// Adds nothing to TqOcTraversal but the way in which it is made: by copying one that is configured,
// not from a context. That copies the clip planes and the pointers to context and view criteria;
// both must outlive the traversal, and the context's callbacks then run on the worker. An object
// of a derived class goes to the thread that will run it (TqOcTraversalFIFO); the class supplies
// StartTraversal and EndTraversal, and one that hands itself over in AsyncApply waits for its end
// in WaitForCompletion.
#pragma once

#include "scenecull/TqOcTraversal.h"

/// A traversal that is configured by copying.
class TQOC_API TqOcDeferredTraversal : public TqOcTraversal
{
public:
    /// Switches "TqOcDeferredTraversal" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// Takes over what any traversal is configured with: every field of TqOcTraversal, context
    /// pointer and counters included. CopyConfig brings it up to date later.
    explicit TqOcDeferredTraversal(TqOcTraversal const& configured);

    /// The same from another one.
    /// @{
    TqOcDeferredTraversal(TqOcDeferredTraversal const& other) = default;
    TqOcDeferredTraversal(TqOcDeferredTraversal&& other) = default;
    TqOcDeferredTraversal& operator=(TqOcDeferredTraversal const& other) = default;
    TqOcDeferredTraversal& operator=(TqOcDeferredTraversal&& other) = default;
    /// @}

    // --- Virtual operations ---------------------------------------------------------------------

    /// It must not wait in a queue, nor run.
    ~TqOcDeferredTraversal() override;

private:
    TqOcDeferredTraversal(); ///< No context, no clip planes, no view criteria.
};
