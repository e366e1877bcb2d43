// TQL_API marks what the geometry library exports. Everything else stays hidden, because the
// library is built with hidden visibility. Value types are mostly inline, so the macro stands on
// the single members that have a body in a source file rather than on classes. TQL_BUILD is defined
// while the library itself is compiled, TQL_STATIC wherever it is built or used as a static
// library.
#pragma once

#if defined(TQL_STATIC)
#define TQL_API
#elif defined(_WIN32) && defined(TQL_BUILD)
#define TQL_API __declspec(dllexport)
#elif defined(_WIN32)
#define TQL_API __declspec(dllimport)
#else
#define TQL_API __attribute__((visibility("default")))
#endif
