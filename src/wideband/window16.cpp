#include "wideband/window16.h"

#include "dsp/elementary.h"

namespace quel {
namespace {

constexpr float two_pi = 6.2831855f;

constexpr void fill_window(float* w, int L1, int L2) {
  const float rise = two_pi / static_cast<float>(2 * L1 - 1);
  float angle = 0.0f;
  for (int i = 0; i < L1; ++i) {
    w[i] = static_cast<float>(0.54 - 0.46 * cosine(static_cast<double>(angle)));
    angle += rise;
  }
  const float fall = two_pi / static_cast<float>(4 * L2 - 1);
  angle = 0.0f;
  for (int i = 0; i < L2; ++i) {
    w[L1 + i] = static_cast<float>(cosine(static_cast<double>(angle)));
    angle += fall;
  }
}

constexpr std::array<float, 480> analysis_window() {
  std::array<float, 480> w{};
  fill_window(w.data(), 400, 80);
  return w;
}

}  // namespace

constexpr std::array<float, 480> window16 = analysis_window();

void hamm_cos(float* w, int L1, int L2) {
  fill_window(w, L1, L2);
}

}  // namespace quel
