#pragma once

// TQU_API marks what the utility library exports. Everything else stays hidden, because the
// library is built with hidden visibility. TQU_BUILD is defined while the library itself is
// compiled, TQU_STATIC wherever it is built or used as a static library.

#if defined(TQU_STATIC)
#define TQU_API
#elif defined(_WIN32) && defined(TQU_BUILD)
#define TQU_API __declspec(dllexport)
#elif defined(_WIN32)
#define TQU_API __declspec(dllimport)
#else
#define TQU_API __attribute__((visibility("default")))
#endif
