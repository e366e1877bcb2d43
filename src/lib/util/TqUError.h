#pragma once

// Where the library reports what a caller did wrong: errors are posted against the component of the
// class that found them, and processing goes on. Nothing is thrown and nothing is allocated. The
// application sees each post through one handler.

#include "util/TqUApi.h"

class TqUComponent;

/// Marks a function as taking a printf format and its arguments (positions count from 1).
#if defined(__GNUC__)
#define TQU_PRINTF_FORMAT(at, arguments) __attribute__((format(printf, at, arguments)))
#else
#define TQU_PRINTF_FORMAT(at, arguments)
#endif

/// How bad a posted error is.
struct TqUSysError
{
    enum Severity
    {
        eWARNING = 0, ///< a value was refused or corrected; the call had no other effect
        eERROR = 1,   ///< a result is not what was asked for
        eFATAL = 2    ///< nothing sensible can be done from here on
    };
};

/// Error posting.
class TQU_API TqUError
{
public:
    /// Length of the longest text that is posted whole, with its terminating zero, in bytes. Longer
    /// texts are cut and end in "...".
    static constexpr int s_textSize = 1024;

    /// Receives every post, on the thread that posts. It may post itself, but must not throw.
    /// @param component  name of the posting component, "unknown" without one; never null
    /// @param text  the formatted text, without a line end; valid during the call only
    /// @param userData  as given to SetHandler
    using Handler = void (*)(TqUSysError::Severity severity, char const* component,
                             char const* text, void* userData);

    /// Reports an error and returns whatever its severity.
    /// @param component  the posting class's component, initialised or not; may be null
    /// @param format  as printf's, with its arguments; null gives an empty text
    static void Post(TqUSysError::Severity severity, TqUComponent const* component,
                     char const* format, ...) TQU_PRINTF_FORMAT(3, 4);

    /// Sends posts to `handler` from now on. Null restores the default, which writes one line on
    /// stderr: "scenecull warning: TqOcRenderTraversal: text". Call it while no other thread posts.
    static void SetHandler(Handler handler, void* userData);

    /// Component "TqUError"; reference counted. Posting works without it.
    static void Initialise();
    /// @copydoc Initialise
    static void Terminate();
    /// Non-zero between Initialise and its Terminate.
    static int IsInitialised();
};
