#include "dsp/kernel_checks.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace quel {
namespace {

thread_local unsigned guesses = 0;
thread_local unsigned searches = 0;

template <typename T>
void compare(const char* routine, const T* got, const T* wanted, int n) {
  for (int i = 0; i < n; ++i) {
    const bool both_nan = got[i] != got[i] && wanted[i] != wanted[i];
    if (both_nan || std::memcmp(&got[i], &wanted[i], sizeof got[i]) == 0) continue;
    std::fprintf(stderr, "%s: [%d] is %a by the kernel, %a by the plain routine\n", routine, i,
                 static_cast<double>(got[i]), static_cast<double>(wanted[i]));
    std::abort();
  }
}

}  // namespace

void require_same(const char* routine, const float* got, const float* wanted, int n) {
  compare(routine, got, wanted, n);
}

void require_same(const char* routine, const double* got, const double* wanted, int n) {
  compare(routine, got, wanted, n);
}

void require_same(const char* routine, const int* got, const int* wanted, int n) {
  compare(routine, got, wanted, n);
}

bool spoil_guess() {
  return ++guesses % 256 == 0;
}

bool spoil_search() {
  return ++searches % 4 == 0;
}

}  // namespace quel
