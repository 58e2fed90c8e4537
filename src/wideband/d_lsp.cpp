#include "wideband/d_lsp.h"

#include <algorithm>

#include "dsp/elementary.h"
#include "dsp/spread.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using Vector = std::array<float, lsf_order>;

template <std::size_t rows, std::size_t dim>
float* copy_row(const float (&dico)[rows][dim], std::int32_t index, float* out) {
  static_assert((rows & (rows - 1)) == 0, "an index is held by masking");
  const std::size_t row = static_cast<std::uint32_t>(index) & (rows - 1);
  return std::copy_n(dico[row], dim, out);
}

struct Range {
  float least, most;
};

template <std::size_t rows, std::size_t width>
constexpr Range range_of(const float (&dico)[rows][width], std::size_t column) {
  Range range{dico[0][column], dico[0][column]};
  for (const auto& row : dico) {
    range.least = std::min(range.least, row[column]);
    range.most = std::max(range.most, row[column]);
  }
  return range;
}

constexpr auto residual_ranges = [] {
  std::array<Range, lsf_order> ranges{};
  for (std::size_t i = 0; i < 3; ++i) {
    ranges[i] = range_of(dico1_lsf, i);
    ranges[3 + i] = range_of(dico2_lsf, i);
    ranges[6 + i] = range_of(dico3_lsf, i);
    ranges[9 + i] = range_of(dico4_lsf, i);
  }
  for (std::size_t i = 0; i < 4; ++i) ranges[12 + i] = range_of(dico5_lsf, i);
  return ranges;
}();

Vector residual(const std::int32_t* prm) {
  Vector target;
  float* t = copy_row(dico1_lsf, prm[1], target.data());
  t = copy_row(dico2_lsf, prm[2], t);
  t = copy_row(dico3_lsf, prm[3], t);
  t = copy_row(dico4_lsf, prm[4], t);
  copy_row(dico5_lsf, prm[5], t);
  return target;
}

}  // namespace

void d_reorder_lsf(float* lsf, float min_dist, int n) {
  float lsf_min = min_dist;
  for (int i = 0; i < n; ++i) {
    if (lsf[i] < lsf_min) lsf[i] = lsf_min;
    lsf_min = lsf[i] + min_dist;
  }
}

void d_lsp(LsfDequantizer& state, const std::int32_t* prm, float* lsp, int bfi) {
  const Vector& past = state.past_q_target;
  Vector lsf, target;
  if (bfi == 0) {
    state.k = prm[0] & 1;
    const double rho = qu[state.k];
    target = residual(prm);
    for (std::size_t i = 0; i < lsf_order; ++i) {
      lsf[i] = static_cast<float>((1.0 - rho) * target[i] + rho * past[i] + mean_lsf[i]);
    }
  } else {
    const double rho = qu[state.k & 1];
    lsf = state.past_lsf_q;
    for (std::size_t i = 0; i < lsf_order; ++i) {
      const double rest = static_cast<double>(lsf[i]) - mean_lsf[i] - rho * past[i];
      target[i] = static_cast<float>(rest / (1.0 - rho));
    }
  }
  d_reorder_lsf(lsf.data(), lsf_min_dist, static_cast<int>(lsf_order));
  state.past_q_target = target;
  state.past_lsf_q = lsf;
  for (std::size_t i = 0; i < lsf_order; ++i) {
    lsp[i] = static_cast<float>(cosine(lsf[i] * hz_to_lsp));
  }
}

void lsf_residual(const std::int32_t* prm, float* out) {
  const Vector target = residual(prm);
  std::copy(target.begin(), target.end(), out);
}

void hold_lsf_residual(float* residual) {
  for (std::size_t i = 0; i < lsf_order; ++i) {
    residual[i] = std::clamp(residual[i], residual_ranges[i].least, residual_ranges[i].most);
  }
}

void lsf_to_lsp(const float* lsf, float distance, float* lsp) {
  Vector apart;
  std::copy_n(lsf, lsf_order, apart.begin());
  spread(apart.data(), static_cast<int>(lsf_order), distance, 8000.0f);
  for (std::size_t i = 0; i < lsf_order; ++i) {
    lsp[i] = static_cast<float>(cosine(apart[i] * hz_to_lsp));
  }
}

}  // namespace quel
