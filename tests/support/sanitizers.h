#pragma once

// Which sanitizer a test is compiled with; 0 or 1 each. gcc tells by macros, clang by features.

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
