#pragma once

namespace quel {

/// Whether every kernel's result is compared with the plain routine's on the spot (the option
/// QUELCODEC_CHECK_KERNELS).
#if defined(QUEL_CHECK_KERNELS)
inline constexpr bool check_kernels = true;
#else
inline constexpr bool check_kernels = false;
#endif

/// Stops the program where two results differ in a bit and are not both NaN, saying where.
///
/// got, wanted  [0..n-1]
void require_same(const char* routine, const float* got, const float* wanted, int n);
void require_same(const char* routine, const double* got, const double* wanted, int n);
void require_same(const char* routine, const int* got, const int* wanted, int n);

/// Whether a kernel is to spoil its guess, so that the way out of a wrong one is walked: every
/// 256th call of a thread. Only builds with the option QUELCODEC_SPOIL_GUESSES call it.
bool spoil_guess();

/// Likewise for a search: every fourth call of a thread.
bool spoil_search();

}  // namespace quel
