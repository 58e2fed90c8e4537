#include "dsp/add_squares.h"

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

double plain::add_squares(double start, const float* x, int n) {
  double sum = start;
  for (int i = 0; i < n; ++i) sum += static_cast<double>(x[i]) * x[i];
  return sum;
}

double add_squares(double start, const float* x, int n) {
  const double sum = dsp_kernels().squares_added(start, x, n);
  if constexpr (check_kernels) {
    const double wanted = plain::add_squares(start, x, n);
    require_same("add_squares", &sum, &wanted, 1);
  }
  return sum;
}

}  // namespace quel
