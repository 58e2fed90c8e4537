#include "wideband/q_lsp.h"

#include <algorithm>

#include "dsp/elementary.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using Vector = std::array<float, lsf_order>;

// One selector's complete search.
struct Candidate {
  Vector target;                      // quantised residual, Hz
  Vector lsf_q;                       // quantised frequencies, Hz
  std::array<std::int32_t, 6> index;  // selector and five codebook indices
  double err;                         // Hz^2
};

Candidate quantise(const Vector& lsf, const Vector& past, std::int32_t selector) {
  const double rho = qu[selector];
  Candidate c{};
  for (std::size_t i = 0; i < lsf_order; ++i) {
    const double rest = static_cast<double>(lsf[i]) - mean_lsf[i] - rho * past[i];
    c.target[i] = static_cast<float>(rest / (1.0 - rho));
  }
  float* t = c.target.data();
  c.index = {selector,
             VQ(t, dico1_lsf[0], 3, 128),
             VQ(t + 3, dico2_lsf[0], 3, 256),
             VQ(t + 6, dico3_lsf[0], 3, 128),
             VQ(t + 9, dico4_lsf[0], 3, 128),
             VQ(t + 12, dico5_lsf[0], 4, 128)};
  for (std::size_t i = 0; i < lsf_order; ++i) {
    const double coded = (1.0 - rho) * c.target[i] + rho * past[i] + mean_lsf[i];
    c.lsf_q[i] = static_cast<float>(coded);
  }
  reorder_lsf(c.lsf_q.data(), lsf_min_dist, static_cast<int>(lsf_order));
  for (std::size_t i = 0; i < lsf_order; ++i) {
    const double d = static_cast<double>(lsf[i]) - c.lsf_q[i];
    c.err += d * d;
  }
  return c;
}

}  // namespace

int VQ(float* x, const float* dico, int dim, int size) {
  double best = 1e30;
  int index = 0;
  const float* row = dico;
  for (int j = 0; j < size; ++j, row += dim) {
    double d = 0.0;
    for (int t = 0; t < dim; ++t) {
      const double e = static_cast<double>(x[t]) - row[t];
      d += e * e;
    }
    if (d < best) {
      best = d;
      index = j;
    }
  }
  std::copy_n(dico + index * dim, dim, x);
  return index;
}

void reorder_lsf(float* lsf, float min_dist, int n) {
  float lsf_min = min_dist;
  for (int i = 0; i < n; ++i) {
    if (lsf[i] < lsf_min) lsf[i] = lsf_min;
    lsf_min = lsf[i] + min_dist;
  }
}

void q_lsp(LsfQuantizer& state, float* lsp, std::int32_t* prm) {
  Vector lsf;
  for (std::size_t i = 0; i < lsf_order; ++i) {
    const double x = std::clamp(static_cast<double>(lsp[i]), -1.0, 1.0);
    lsf[i] = static_cast<float>(arc_cosine(x) * lsp_to_hz);
  }
  // Selector 0 stands unless 1 is better, also where NaN makes the errors incomparable.
  Candidate best = quantise(lsf, state.past_q_target, 0);
  const Candidate other = quantise(lsf, state.past_q_target, 1);
  if (other.err < best.err) best = other;

  state.past_q_target = best.target;
  std::copy(best.index.begin(), best.index.end(), prm);
  for (std::size_t i = 0; i < lsf_order; ++i) {
    lsp[i] = static_cast<float>(cosine(best.lsf_q[i] * hz_to_lsp));
  }
}

}  // namespace quel
