#include "dsp/corr_xy.h"

namespace quel {
namespace {

constexpr double bias = 0.01f;

}  // namespace

// Sums that do not depend on each other go side by side: each waits for its own additions.
double corr_xy1(const float* xn, const float* y1, float* g, int lg) {
  double xy = 0.0, yy = bias;
  for (int n = 0; n < lg; ++n) {
    const double y = y1[n];
    xy += xn[n] * y;
    yy += y * y;
  }
  g[0] = static_cast<float>(yy);
  g[1] = static_cast<float>(-2.0 * xy + bias);
  return xy / yy;
}

void corr_xy2(const float* xn, const float* y1, const float* y2, float* g, int lg) {
  double yy = bias, xy = bias, y12 = bias;
  for (int n = 0; n < lg; ++n) {
    const double y = y2[n];
    yy += y * y;
    xy += xn[n] * y;
    y12 += y1[n] * y;
  }
  g[2] = static_cast<float>(yy);
  g[3] = static_cast<float>(-2.0 * xy);
  g[4] = static_cast<float>(2.0 * y12);
}

}  // namespace quel
