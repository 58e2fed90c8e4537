#include "narrowband/q_isp_5.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <limits>

#include "dsp/elementary.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "narrowband/isf_tables.h"
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

constexpr float largest = std::numeric_limits<float>::max();

// A codebook and the same column by column, for the search.
template <std::size_t rows>
struct Codebook {
  const float (&row)[rows][2];
  std::array<float, 2 * rows> columns{};

  constexpr explicit Codebook(const float (&dico)[rows][2]) : row(dico) {
    for (std::size_t r = 0; r < rows; ++r) {
      columns[r] = dico[r][0];
      columns[rows + r] = dico[r][1];
    }
  }
};

constexpr Codebook codebook1(dico1_isf);
constexpr Codebook codebook2(dico2_isf);
constexpr Codebook codebook3(dico3_isf);
constexpr Codebook codebook4(dico4_isf);
constexpr Codebook codebook5(dico5_isf);

// nearest_row of a whole codebook.
template <std::size_t rows>
std::int32_t search(const Codebook<rows>& codebook, const float* r, float* rq) {
  static_assert(rows % 16 == 0 && rows <= codebook_max);
  constexpr int size = static_cast<int>(rows);
  const int index = dsp_kernels().nearest_row(r, codebook.columns.data(), 2, size, largest);
  if constexpr (check_kernels) {
    const int wanted = nearest_row(codebook.row, size, r, rq);
    require_same("nearest_row", &index, &wanted, 1);
  }
  std::copy_n(codebook.row[index], 2, rq);
  return index;
}

void isp_to_isf(const float* isp, float* isf) {
  for (int i = 0; i < 9; ++i) {
    // A root interpolated at the end of the grid can lie a rounding beyond 1, where acos is NaN.
    double x = isp[i];
    if (x > 1.0) x = 1.0;
    if (x < -1.0) x = -1.0;
    isf[i] = static_cast<float>(arc_cosine(x) * 1273.2395445689122);
  }
  isf[9] = last_isf_scale * isp[9];
}

std::int32_t crowded(const float* isf) {
  float dmin = largest;
  for (int i = 0; i < 8; ++i) {
    const float distance = isf[i + 1] - isf[i];
    if (distance < dmin) dmin = distance;
  }
  return 60.0f > dmin ? 1 : 0;
}

}  // namespace

void init_q_isf_ma(IsfQuantizer& state) {
  state.past_r.fill(0.0f);
}

std::int32_t nearest_row(const float (*dico)[2], std::int32_t taille, const float* r, float* rq) {
  double best = largest;
  std::int32_t index = 0;
  for (std::int32_t row = 0; row < taille; ++row) {
    const double e0 = static_cast<double>(r[0]) - dico[row][0];
    const double e1 = static_cast<double>(r[1]) - dico[row][1];
    const double distance = e0 * e0 + e1 * e1;
    if (distance < best) {
      best = distance;
      index = row;
    }
  }
  rq[0] = dico[index][0];
  rq[1] = dico[index][1];
  return index;
}

void q_isf_ma(IsfQuantizer& state, const float* isp, float* isp_q, std::int32_t* indices,
              std::int32_t* flag) {
  std::array<float, 10> isf, r, rq;
  isp_to_isf(isp, isf.data());
  *flag = crowded(isf.data());

  for (std::size_t i = 0; i < 10; ++i) {
    r[i] = static_cast<float>(static_cast<double>(isf[i]) - mean_isf[i] -
                              static_cast<double>(isf_prediction) * state.past_r[i]);
  }
  indices[0] = search(codebook1, &r[0], &rq[0]);
  indices[1] = search(codebook2, &r[2], &rq[2]);
  indices[2] = search(codebook3, &r[4], &rq[4]);
  indices[3] = search(codebook4, &r[6], &rq[6]);
  indices[4] = search(codebook5, &r[8], &rq[8]);

  for (std::size_t i = 0; i < 10; ++i) {
    isf[i] = static_cast<float>(static_cast<double>(isf_prediction) * state.past_r[i] +
                                mean_isf[i] + rq[i]);
  }
  reorder_isf(isf.data(), isf_min_dist, 10, last_isf_scale);
  state.past_r = rq;
  isf_to_isp(isf.data(), isp_q);
}

}  // namespace quel
