#include "wideband/window16.h"

#include <cmath>

namespace quel {
namespace {

constexpr float two_pi = 6.2831855f;

std::array<float, 480> analysis_window() {
  std::array<float, 480> w{};
  hamm_cos(w.data(), 400, 80);
  return w;
}

}  // namespace

const std::array<float, 480> window16 = analysis_window();

void hamm_cos(float* w, int L1, int L2) {
  const float rise = two_pi / static_cast<float>(2 * L1 - 1);
  float angle = 0.0f;
  for (int i = 0; i < L1; ++i) {
    w[i] = static_cast<float>(0.54 - 0.46 * std::cos(static_cast<double>(angle)));
    angle += rise;
  }
  const float fall = two_pi / static_cast<float>(4 * L2 - 1);
  angle = 0.0f;
  for (int i = 0; i < L2; ++i) {
    w[L1 + i] = static_cast<float>(std::cos(static_cast<double>(angle)));
    angle += fall;
  }
}

}  // namespace quel
