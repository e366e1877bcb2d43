// Export macro of the scenecull library, for ELF and PE.
// TQOC_BUILD is defined while the library itself is compiled, TQOC_STATIC for a static library and
// for whoever links one.
#pragma once

#if defined(TQOC_STATIC)
#define TQOC_API
#elif defined(_WIN32)
#if defined(TQOC_BUILD)
#define TQOC_API __declspec(dllexport)
#else
#define TQOC_API __declspec(dllimport)
#endif
#else
#define TQOC_API __attribute__((visibility("default")))
#endif
