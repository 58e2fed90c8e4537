#pragma once

#include "dsp/across_lanes.h"
#include "dsp/lanes.h"
#include "dsp/search_kernel.h"
#include "dsp/shift_lanes.h"

// Kernels of the algebraic codebooks. Their sums are single precision, so nothing is fused here.
namespace quel::QUEL_SET {

namespace pulses {

constexpr int length = 48;

/// A signal dealt out to its `step` phases, zeros behind, so that what the positions of a track
/// need at one time lies in a row.
template <int step>
struct Phases {
  static constexpr int row = 2 * length / step;
  float value[step * row];

  QUEL_MEMBER explicit Phases(const float* x) {
    for (int r = 0; r < step; ++r) {
      for (int q = 0; q < row / 2; ++q) value[r * row + q] = x[step * q + r];
      for (int q = row / 2; q < row; ++q) value[r * row + q] = 0.0f;
    }
  }
  /// Sample n, n + step, ...
  QUEL_MEMBER const float* from(int n) const { return value + n % step * row + n / step; }
};

}  // namespace pulses

/// cross_block and fold_signs of the first tracks, each with the next one, `blocks` of them, rows
/// in registers. The tracks are 0, 1, 2 with step 3 and 0, 2, 4 with step 6.
///
/// sign  [0..47], or null, which folds nothing
/// rr    [0..blocks*(48/step)^2-1]
template <int step>
void cross_blocks(const float* h, int blocks, const float* sign, float* rr) {
  using namespace pulses;
  constexpr int count = length / step;
  using V = Row<count>;
  constexpr int width = width_of<V>;
  constexpr int parts = count / width;
  float backwards[length];
  for (int k = 0; k < length; ++k) backwards[k] = h[length - 1 - k];
  const Phases<step> response(backwards);
  float signs[3][count];
  for (int b = 0; b < 3; ++b) {
    for (int j = 0; j < count; ++j) {
      signs[b][j] = sign == nullptr ? 1.0f : sign[b * (step / 3) + step * j];
    }
  }
  V rows[3][parts] = {};
  for (int jx = count - 1; jx >= 0; --jx) {
    for (int b = 0; b < blocks; ++b) {
      const int tx = b * (step / 3);
      const int next = b < 2 ? b + 1 : 0;
      const int ty = next * (step / 3);
      V row[parts];
      for (int p = 0; p + 1 < parts; ++p) row[p] = shifted_down(rows[b][p], rows[b][p + 1]);
      row[parts - 1] = shifted_down(rows[b][parts - 1], V{});
      for (int k = step - 1; k >= 0; --k) {
        const V x = splat<V>(response.from(tx + k)[jx]);
        const float* const y = response.from(ty + k);
        for (int p = 0; p < parts; ++p) row[p] += x * load<V>(y + p * width);
      }
      float* const out = rr + (b * count + jx) * count;
      const V sign_x = splat<V>(signs[b][jx]);
      for (int p = 0; p < parts; ++p) {
        rows[b][p] = row[p];
        store(out + p * width, row[p] * (sign_x * load<V>(signs[next] + p * width)));
      }
    }
  }
}

/// cor_h_vec of two tracks, out [0..15] of the first and [16..31] of the second.
static void cor_h_vec_pair(const float* h, const float* y, const int* two, const float* sign,
                           const float* rr_diag, float* out) {
  using namespace pulses;
  constexpr int count = 16;
  using V = Row<count>;
  constexpr int width = width_of<V>;
  constexpr int parts = count / width;
  const Phases<3> phases(y);
  V sum[2][parts] = {};
  const float* from[2][3];
  for (int t = 0; t < 2; ++t) {
    for (int r = 0; r < 3; ++r) from[t][r] = phases.from(two[t] + r);
  }
  for (int q = 0; q < length / 3; ++q) {
    for (int r = 0; r < 3; ++r) {
      const V tap = splat<V>(h[3 * q + r]);
      for (int t = 0; t < 2; ++t) {
        for (int p = 0; p < parts; ++p) {
          sum[t][p] += tap * load<V>(from[t][r] + q + p * width);
        }
      }
    }
  }
  for (int t = 0; t < 2; ++t) {
    float all[count];
    for (int p = 0; p < parts; ++p) store(all + p * width, sum[t][p]);
    for (int j = 0; j < count; ++j) {
      out[count * t + j] = sign[two[t] + 3 * j] * all[j] + rr_diag[count * two[t] + j];
    }
  }
}

/// search_ixiy of tracks of 48 / step positions, on one block of cross-correlations; without `sel`
/// every position is a candidate. False, with nothing written, where the guess is not the pair.
template <int step>
bool best_pair(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
               const float* sel, const float* rr_x, const float* rr_y, const float* block) {
  using namespace pulses;
  constexpr int count = length / step;
  using V = Row<count>;
  constexpr int width = width_of<V>;
  PairSearch<V, float, count, count> search;
  int candidate[count];
  int candidates = 0;
  for (int jx = 0; jx < count; ++jx) {
    candidate[candidates] = jx;
    candidates += static_cast<int>(sel == nullptr || sel[tx + step * jx] < 0.0f);
  }
  float dn_y[count], ps1[count], alp1[count];
  for (int j = 0; j < count; ++j) dn_y[j] = dn[ty + step * j];
  for (int row = 0; row < candidates; ++row) {
    ps1[row] = *ps + dn[tx + step * candidate[row]];
    alp1[row] = *alp + rr_x[candidate[row]];
  }
  const auto of_row = [&](int row, int p, V& num, V& den) __attribute__((always_inline)) {
    const V ps2 = splat<V>(ps1[row]) + load<V>(dn_y + p * width);
    num = ps2 * ps2;
    den = splat<V>(alp1[row]) + load<V>(rr_y + p * width) +
          load<V>(block + candidate[row] * count + p * width);
  };
  if (!search.find(candidates, search_spoiled(), of_row)) return false;
  *ix = tx + step * candidate[search.row];
  *iy = ty + step * search.column;
  *ps = *ps + dn[*ix] + dn[*iy];
  *alp = search.den[search.row][search.column];
  return true;
}

/// The pair of acb_2p10b: tracks 0 and 1, then 1 and 2, of opposite signs.
///
/// rr_diag  [0..47]; rr [0..511] both blocks
static bool best_opposite_pair(const float* dn, const float* rr_diag, const float* rr, int* a,
                               int* b) {
  using namespace pulses;
  constexpr int count = 16;
  using V = Row<count>;
  constexpr int width = width_of<V>;
  float dn_b[2][count];
  for (int j = 0; j < count; ++j) {
    for (int track = 0; track < 2; ++track) dn_b[track][j] = dn[3 * j + track + 1];
  }
  PairSearch<V, float, 2 * count, count> search;
  const auto of_row = [&](int row, int p, V& num, V& den) __attribute__((always_inline)) {
    const int track = row / count, j = row % count;
    const V difference = splat<V>(dn[3 * j + track]) - load<V>(dn_b[track] + p * width);
    num = difference * difference;
    den = splat<V>(rr_diag[row]) + load<V>(rr_diag + count * (track + 1) + p * width) -
          load<V>(rr + count * row + p * width);
  };
  if (!search.find(2 * count, search_spoiled(), of_row)) return false;
  const int track = search.row / count;
  *a = 3 * (search.row % count) + track;
  *b = 3 * search.column + track + 1;
  return true;
}

}  // namespace quel::QUEL_SET
