#include "wideband/q_lsp.h"

#include <algorithm>
#include <cstddef>

#include "dsp/elementary.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using Vector = std::array<float, lsf_order>;

// A codebook and the same column by column, for the search.
template <std::size_t rows, std::size_t dim>
struct Codebook {
  const float (&row)[rows][dim];
  std::array<float, rows * dim> columns{};

  constexpr explicit Codebook(const float (&dico)[rows][dim]) : row(dico) {
    for (std::size_t r = 0; r < rows; ++r) {
      for (std::size_t t = 0; t < dim; ++t) columns[t * rows + r] = dico[r][t];
    }
  }
};

constexpr Codebook codebook1(dico1_lsf);
constexpr Codebook codebook2(dico2_lsf);
constexpr Codebook codebook3(dico3_lsf);
constexpr Codebook codebook4(dico4_lsf);
constexpr Codebook codebook5(dico5_lsf);

constexpr double no_distance = 1e30;

// VQ of a whole codebook.
template <std::size_t rows, std::size_t dim>
int search(float* x, const Codebook<rows, dim>& codebook) {
  static_assert(rows % 16 == 0 && rows <= codebook_max);
  constexpr int size = static_cast<int>(rows);
  constexpr int n = static_cast<int>(dim);
  const int index = dsp_kernels().nearest_row(x, codebook.columns.data(), n, size, no_distance);
  if constexpr (check_kernels) {
    std::array<float, dim> copy;
    std::copy_n(x, dim, copy.begin());
    const int wanted = VQ(copy.data(), codebook.row[0], n, size);
    require_same("VQ", &index, &wanted, 1);
  }
  std::copy_n(codebook.row[index], dim, x);
  return index;
}

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
             search(t, codebook1),
             search(t + 3, codebook2),
             search(t + 6, codebook3),
             search(t + 9, codebook4),
             search(t + 12, codebook5)};
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
  double best = no_distance;
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
