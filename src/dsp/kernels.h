#pragma once

#include <cstdint>

#include "dsp/instruction_set.h"

namespace quel {

/// Most samples that a filter's kernel takes at once.
inline constexpr int stretch_max = 80;

/// Most samples and the longest lag of `lag_correlations`.
inline constexpr int correlation_max = 144;
inline constexpr int longest_lag = 143;

/// Taps of `interpolated`, and how many outputs it computes at a time.
inline constexpr int interpolation_taps = 20;
inline constexpr int interpolation_gap = 8;

/// Most rows of a codebook.
inline constexpr int codebook_max = 256;

/// A stretch of an all-pole recursion.
struct Recursion {
  const float* a;  ///< [0..m]
  const float* x;  ///< [0..lg-1]
  float* y;        ///< [0..lg-1]; y may be x
  int lg;          ///< samples, at most `stretch_max`
  float* past;     ///< [0..m-1] outputs before y[0], oldest first; moves on
};

/// What `delayed_products` needs beside the excitation.
struct DelayedExcitation {
  const float* h;   ///< [0..taps-1] response; h[0] is taken as 1
  const float* xn;  ///< [0..L-1] target
  int taps;         ///< 1..L: the response is zero from there on
  int L;            ///< samples, at most `stretch_max`
  double yy_start;  ///< where the sum of squares starts
};

/// The fast forms of this folder's routines, compiled for one instruction set. Each gives the bits
/// of the plain routine, or says that it does not know them; which lengths and orders it takes
/// stands at its definition. Nobody calls them but the routines themselves, tests and benchmarks.
struct DspKernels {
  bool (*synthesize10)(const Recursion& r);
  bool (*synthesize16)(const Recursion& r);
  void (*synthesize_both10)(const Recursion& one, const Recursion& other, bool* proved);
  void (*synthesize_both16)(const Recursion& one, const Recursion& other, bool* proved);
  void (*residual10)(const float* a, const float* x, float* y, int lg);
  void (*residual16)(const float* a, const float* x, float* y, int lg);
  bool (*convolved)(const float* x, const float* h, float* y, int L);
  bool (*filtered_backwards)(const float* x, float* y, const float* h, int L);
  bool (*autocorrelated10)(const float* x, float* r, int L, const float* window);
  bool (*autocorrelated16)(const float* x, float* r, int L, const float* window);
  void (*lag_correlations)(const float* x, int n, int longest, int lags, double* sums);
  void (*delayed_products)(const DelayedExcitation& d, const float* enter, const float* first,
                           int lags, double* xy, double* yy, float* at_cut, float* at_end);
  void (*cut_convolved)(const float* x, const float* h, float* y, int taps, int L);
  int (*nearest_row)(const float* x, const float* columns, int dim, int size, double limit);
  void (*series_values)(const float* x, int count, const float* f, int order, double* y);
  bool (*ranked)(const float* measure, int tracks, int* rank);
  void (*interpolated)(const double* filter, const int* place, const float* x, int known, float* y,
                       int L);
  void (*interpolated_filters)(const float* isp_new, const float* isp_old, const float* weight,
                               int count, float* A);
  double (*squares_added)(double start, const float* x, int n);
  void (*to_pcm)(const float* x, std::int16_t* out, int n);
};

namespace baseline {
extern const DspKernels dsp_kernels;
}
#if defined(__x86_64__)
namespace avx2 {
extern const DspKernels dsp_kernels;
}
namespace avx512 {
extern const DspKernels dsp_kernels;
}
#endif

/// Those of an available set.
const DspKernels& dsp_kernels(InstructionSet set);

/// Those of the set in use.
const DspKernels& dsp_kernels();

}  // namespace quel
