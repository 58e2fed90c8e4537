#pragma once

// What a test is compiled for: which sanitizer, 0 or 1 each (gcc tells by macros, clang by
// features), and whether it will run many times slower than users' builds do.

#ifdef __has_feature
#define QUEL_HAS_FEATURE(feature) __has_feature(feature)
#else
#define QUEL_HAS_FEATURE(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || QUEL_HAS_FEATURE(address_sanitizer)
#define QUEL_SANITIZED_ADDRESS 1
#else
#define QUEL_SANITIZED_ADDRESS 0
#endif

#if defined(__SANITIZE_THREAD__) || QUEL_HAS_FEATURE(thread_sanitizer)
#define QUEL_SANITIZED_THREAD 1
#else
#define QUEL_SANITIZED_THREAD 0
#endif

#if QUEL_HAS_FEATURE(memory_sanitizer)
#define QUEL_SANITIZED_MEMORY 1
#else
#define QUEL_SANITIZED_MEMORY 0
#endif

/// Any of those that bring memory or threads of their own.
#define QUEL_SANITIZED (QUEL_SANITIZED_ADDRESS || QUEL_SANITIZED_THREAD || QUEL_SANITIZED_MEMORY)

namespace quel::test {

/// Sanitizers take ten times as long as a plain build, emulators fifty times: the longest tests
/// look at less there. QUEL_EMULATED comes from CMake.
#if QUEL_SANITIZED || defined(QUEL_EMULATED)
inline constexpr bool slow_build = true;
#else
inline constexpr bool slow_build = false;
#endif

}  // namespace quel::test
