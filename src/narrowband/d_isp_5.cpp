#include "narrowband/d_isp_5.h"

#include <algorithm>
#include <iterator>

#include "narrowband/reorder_isf.h"

namespace quel {
namespace {

constexpr float dico1_isf[][2] = {
#include "narrowband/dico1_isf.inc"
};
constexpr float dico2_isf[][2] = {
#include "narrowband/dico2_isf.inc"
};
constexpr float dico3_isf[][2] = {
#include "narrowband/dico3_isf.inc"
};
constexpr float dico4_isf[][2] = {
#include "narrowband/dico4_isf.inc"
};
constexpr float dico5_isf[][2] = {
#include "narrowband/dico5_isf.inc"
};
static_assert(std::size(dico1_isf) == taille_dic1);
static_assert(std::size(dico2_isf) == taille_dic2);
static_assert(std::size(dico3_isf) == taille_dic3);
static_assert(std::size(dico4_isf) == taille_dic4);
static_assert(std::size(dico5_isf) == taille_dic5);

using Isf = std::array<float, 10>;

struct Range {
  float least, most;
};

template <std::size_t rows>
constexpr Range range_of(const float (&dico)[rows][2], std::size_t column) {
  Range range{dico[0][column], dico[0][column]};
  for (const auto& row : dico) {
    range.least = std::min(range.least, row[column]);
    range.most = std::max(range.most, row[column]);
  }
  return range;
}

constexpr Range residual_ranges[10] = {
    range_of(dico1_isf, 0), range_of(dico1_isf, 1), range_of(dico2_isf, 0), range_of(dico2_isf, 1),
    range_of(dico3_isf, 0), range_of(dico3_isf, 1), range_of(dico4_isf, 0), range_of(dico4_isf, 1),
    range_of(dico5_isf, 0), range_of(dico5_isf, 1)};

Isf addressed_rows(const std::int32_t* indices) {
  const float* row1 = dico1_isf[indices[0] & (taille_dic1 - 1)];
  const float* row2 = dico2_isf[indices[1] & (taille_dic2 - 1)];
  const float* row3 = dico3_isf[indices[2] & (taille_dic3 - 1)];
  const float* row4 = dico4_isf[indices[3] & (taille_dic4 - 1)];
  const float* row5 = dico5_isf[indices[4] & (taille_dic5 - 1)];
  return {row1[0], row1[1], row2[0], row2[1], row3[0], row3[1], row4[0], row4[1], row5[0], row5[1]};
}

Isf decode(IsfDequantizer& state, const std::int32_t* indices) {
  const Isf rq = addressed_rows(indices);
  Isf isf;
  for (std::size_t i = 0; i < 10; ++i) {
    isf[i] = static_cast<float>(static_cast<double>(isf_prediction) * state.past_r[i] + rq[i] +
                                mean_isf[i]);
  }
  reorder_isf(isf.data(), isf_min_dist, 10, last_isf_scale);
  state.past_r = rq;
  return isf;
}

Isf interpolate(IsfDequantizer& state, const std::int32_t* indices) {
  constexpr double prediction_twice = 0.1089f;   // 0.33^2: the residual's share two frames on
  constexpr double inverse_weight = 0.5988024f;  // 1 / (1 + 1 - 0.33)
  const Isf rq = addressed_rows(indices);
  Isf isf;
  for (std::size_t i = 0; i < 10; ++i) {
    const double mean = mean_isf[i];
    const double both = state.past_isf[i] - mean + rq[i] - prediction_twice * state.past_r[i];
    isf[i] = static_cast<float>(mean + both * inverse_weight);
    state.past_r[i] =
        static_cast<float>(isf[i] - static_cast<double>(isf_prediction) * state.past_r[i] - mean);
  }
  reorder_isf(isf.data(), isf_min_dist, 10, last_isf_scale);
  return isf;
}

Isf fade(IsfDequantizer& state) {
  Isf isf;
  for (std::size_t i = 0; i < 10; ++i) {
    isf[i] = static_cast<float>(static_cast<double>(0.9f) * state.past_isf[i] +
                                static_cast<double>(0.1f) * mean_isf[i]);
  }
  state.past_r.fill(0.0f);
  return isf;
}

}  // namespace

void init_d_isf_ma(IsfDequantizer& state) {
  state.past_r.fill(0.0f);
  state.past_isf = mean_isf;
}

void d_isf_ma(IsfDequantizer& state, const std::int32_t* indices, float* isp_q, int mode) {
  switch (mode) {
    case 0:
      state.past_isf = decode(state, indices);
      break;
    case 1:
      state.past_isf = interpolate(state, indices);
      break;
    default:
      state.past_isf = fade(state);
      break;
  }
  isf_to_isp(state.past_isf.data(), isp_q);
}

void isf_residual(const std::int32_t* indices, float* residual) {
  const Isf rows = addressed_rows(indices);
  std::copy(rows.begin(), rows.end(), residual);
}

void hold_residual(float* residual) {
  for (std::size_t i = 0; i < 10; ++i) {
    residual[i] = std::clamp(residual[i], residual_ranges[i].least, residual_ranges[i].most);
  }
}

}  // namespace quel
