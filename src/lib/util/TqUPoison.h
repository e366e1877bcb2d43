#pragma once

// Marks memory that nobody may touch (free pool blocks, block headers) for the address sanitizer.
// Without that sanitizer both macros compile to nothing.

#if defined(__SANITIZE_ADDRESS__)
#define TQU_POISON_ACTIVE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TQU_POISON_ACTIVE 1
#endif
#endif

#if !defined(TQU_POISON_ACTIVE)
/// 1 in translation units compiled with the address sanitizer, otherwise 0.
#define TQU_POISON_ACTIVE 0
#endif

#if TQU_POISON_ACTIVE
#include <sanitizer/asan_interface.h>
/// Any access to these bytes is reported from now on. The start should be 8-byte aligned.
#define TQU_POISON(address, bytes) ASAN_POISON_MEMORY_REGION(address, bytes)
/// These bytes may be accessed again.
#define TQU_UNPOISON(address, bytes) ASAN_UNPOISON_MEMORY_REGION(address, bytes)
#else
#define TQU_POISON(address, bytes) (static_cast<void>(address), static_cast<void>(bytes))
#define TQU_UNPOISON(address, bytes) (static_cast<void>(address), static_cast<void>(bytes))
#endif
