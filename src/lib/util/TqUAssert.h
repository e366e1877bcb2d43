#pragma once

// Assertions for what only the library itself can break. What a caller can cause is not asserted
// but answered as documented and posted through TqUError. Assertions are active in Debug builds
// (NDEBUG not defined) and wherever TQU_CHECKED is defined; otherwise the condition is compiled
// but never evaluated, so it must not have side effects. Cost when active: one test.

#include "util/TqUApi.h"

/// What happens when an active assertion does not hold.
class TQU_API TqUAssert
{
public:
    /// Called for an assertion that does not hold. If it returns, the program goes on behind the
    /// assertion; a test's handler may throw instead.
    /// @param condition  source text of the condition
    /// @param file, line  where it stands
    /// @param userData  as given to SetHandler
    using Handler = void (*)(char const* condition, char const* file, int line, void* userData);

    /// Replaces the handler for the whole process. Null restores the default, which writes one
    /// line on stderr and aborts. Call it while no other thread can assert.
    static void SetHandler(Handler handler, void* userData);

    /// Reports an assertion that does not hold. Called by TQU_ASSERT; present in every build, so
    /// that a checked program can use an unchecked library.
    static void Fail(char const* condition, char const* file, int line);
};

#if !defined(NDEBUG) || defined(TQU_CHECKED)
/// 1 where TQU_ASSERT evaluates its condition in this translation unit, otherwise 0.
#define TQU_ASSERTS_ACTIVE 1
/// Reports to TqUAssert::Fail when the condition does not hold.
#define TQU_ASSERT(condition)                                                                      \
    ((condition) ? static_cast<void>(0) : TqUAssert::Fail(#condition, __FILE__, __LINE__))
#else
#define TQU_ASSERTS_ACTIVE 0
#define TQU_ASSERT(condition) static_cast<void>(sizeof((condition) ? 1 : 0))
#endif
