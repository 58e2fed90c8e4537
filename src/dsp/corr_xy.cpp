#include "dsp/corr_xy.h"

namespace quel {
namespace {

constexpr double bias = 0.01f;

double dot(const float* x, const float* y, int lg, double start) {
  double sum = start;
  for (int n = 0; n < lg; ++n) sum += static_cast<double>(x[n]) * y[n];
  return sum;
}

}  // namespace

double corr_xy1(const float* xn, const float* y1, float* g, int lg) {
  const double xy = dot(xn, y1, lg, 0.0);
  const double yy = dot(y1, y1, lg, bias);
  g[0] = static_cast<float>(yy);
  g[1] = static_cast<float>(-2.0 * xy + bias);
  return xy / yy;
}

void corr_xy2(const float* xn, const float* y1, const float* y2, float* g, int lg) {
  g[2] = static_cast<float>(dot(y2, y2, lg, bias));
  g[3] = static_cast<float>(-2.0 * dot(xn, y2, lg, bias));
  g[4] = static_cast<float>(2.0 * dot(y1, y2, lg, bias));
}

}  // namespace quel
