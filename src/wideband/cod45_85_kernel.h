#pragma once

#include <cstdint>

#include "dsp/lanes.h"
#include "dsp/search_kernel.h"
#include "dsp/shift_lanes.h"

namespace quel::QUEL_SET {

namespace pulses16 {

constexpr int length = 80;
constexpr int tracks = 5;
constexpr int positions = 16;
constexpr int parts = positions / lanes;  // registers for the positions of a track

/// A signal of 80 samples dealt out to its five phases, zeros behind, so that what the positions of
/// a track need at one time lies in a row.
struct Phases {
  static constexpr int row = 2 * positions;
  double value[tracks * row];

  __attribute__((always_inline)) explicit Phases(const float* x) {
    for (int r = 0; r < tracks; ++r) {
      for (int q = 0; q < positions; ++q) value[r * row + q] = x[tracks * q + r];
      for (int q = positions; q < row; q += lanes) store(value + r * row + q, Double{});
    }
  }
  /// Sample n, n + 5, ...
  __attribute__((always_inline)) const double* from(int n) const {
    return value + n % tracks * row + n / tracks;
  }
};

// Twenty products more for both tracks.
template <int quarter>
QUEL_INLINE void add_quarter(const double* h, const double* const (&from)[2][tracks],
                             Double (&sum)[2][parts]) {
  // A position's sum ends with the subframe: after each quarter four positions have theirs.
  constexpr int unfinished = parts - quarter * 4 / lanes;
  for (int q = 4 * quarter; q < 4 * quarter + 4; ++q) {
    for (int r = 0; r < tracks; ++r) {
      const Double tap = splat<Double>(h[tracks * q + r]);
      for (int t = 0; t < 2; ++t) {
        for (int p = 0; p < unfinished; ++p) {
          sum[t][p] = add_exact(sum[t][p], tap, load<Double>(from[t][r] + q + p * lanes));
        }
      }
    }
  }
}

}  // namespace pulses16

/// The cross-correlations of ACELP_45_85, every track's with the next, signs folded in: rows in
/// registers. A row is the one below, one place to the right, with five products more. False where
/// h is not finite: before it lie zeros, with which it would make NaNs.
static bool pulse_matrices(const float* h, const float* sign, float* rrixiy) {
  using namespace pulses16;
  float backwards[length];
  float sum = 0.0f;
  for (int k = 0; k < length; ++k) {
    backwards[k] = h[length - 1 - k];
    sum += backwards[k] - backwards[k];
  }
  if (sum != 0.0f) return false;
  const Phases response(backwards);
  const double* from[2 * tracks - 1];
  for (int k = 0; k < 2 * tracks - 1; ++k) from[k] = response.from(k);
  float signs[tracks][positions];
  for (int n = 0; n < length; ++n) signs[n % tracks][n / tracks] = sign[n];

  Double row[tracks][parts] = {};
  for (int jx = positions - 1; jx >= 0; --jx) {
    for (int x = 0; x < tracks; ++x) {
      const int y = x + 1 < tracks ? x + 1 : 0;
      Double r[parts];
      r[parts - 1] = shifted_down(row[x][parts - 1], Double{});
      for (int p = 0; p + 1 < parts; ++p) r[p] = shifted_down(row[x][p], row[x][p + 1]);
      for (int k = tracks - 1; k >= 0; --k) {
        const Double factor = splat<Double>(from[x + k][jx]);
        for (int p = 0; p < parts; ++p) {
          r[p] = add_exact(r[p], factor, load<Double>(from[y + k] + p * lanes));
        }
      }
      const Half sign_x = splat<Half>(signs[x][jx]);
      float* const out = rrixiy + (x * positions + jx) * positions;
      for (int p = 0; p < parts; ++p) {
        row[x][p] = r[p];
        store(out + p * lanes, narrow(r[p]) * sign_x * load<Half>(signs[y] + p * lanes));
      }
    }
  }
  return true;
}

/// cor_h_vec of two tracks, cor [0..15] of the first and [16..31] of the second; rrixix [0..79] of
/// all. False where h is not finite.
static bool pulse_correlations(const float* h, const float* vec, const int* two, const float* sign,
                               const float* rrixix, float* cor) {
  using namespace pulses16;
  double wide[length];
  widen(wide, h, length, length);
  if (!all_finite(wide, length)) return false;
  const Phases phases(vec);
  const double* from[2][tracks];
  for (int t = 0; t < 2; ++t) {
    for (int r = 0; r < tracks; ++r) from[t][r] = phases.from(two[t] + r);
  }
  Double sum[2][parts] = {};
  add_quarter<0>(wide, from, sum);
  add_quarter<1>(wide, from, sum);
  add_quarter<2>(wide, from, sum);
  add_quarter<3>(wide, from, sum);
  for (int t = 0; t < 2; ++t) {
    double all[positions];
    for (int p = 0; p < parts; ++p) store(all + p * lanes, sum[t][p]);
    for (int p = 0; p < positions; ++p) {
      const double signed_sum = sign[two[t] + tracks * p] * all[p];
      cor[positions * t + p] = static_cast<float>(signed_sum + rrixix[positions * two[t] + p]);
    }
  }
  return true;
}

/// search_ixiy of the wideband coder. False, with nothing written, where its guess is not the pair.
static bool best_pair(int track_x, int track_y, float* ps, float* alp, std::int32_t* ix,
                      std::int32_t* iy, const float* dn, const float* dn2, const float* cor_x,
                      const float* cor_y, const float* rrixiy) {
  using namespace pulses16;
  PairSearch<Double, double, positions, positions> search;
  int candidate[positions];
  int candidates = 0;
  for (int j = 0; j < positions; ++j) {
    candidate[candidates] = j;
    candidates += static_cast<int>(dn2[track_x + tracks * j] < 0.0f);
  }
  double dn_y[positions];
  for (int j = 0; j < positions; ++j) dn_y[j] = dn[track_y + tracks * j];
  double alp_y[positions];
  widen(alp_y, cor_y, positions, positions);
  for (; search.rows < candidates; ++search.rows) {
    const int j = candidate[search.rows];
    const Double ps1 = splat<Double>(static_cast<double>(*ps) + dn[track_x + tracks * j]);
    const Double alp1 = splat<Double>(static_cast<double>(*alp + cor_x[j]));
    for (int p = 0; p < parts; ++p) {
      const Double ps2 = ps1 + load<Double>(dn_y + p * lanes);
      const Double cross = widen(load<Half>(rrixiy + j * positions + p * lanes));
      search.put(p, ps2 * ps2, alp1 + load<Double>(alp_y + p * lanes) + cross);
    }
  }
  if (!search.find()) return false;
  *ix = track_x + tracks * candidate[search.row];
  *iy = track_y + tracks * search.column;
  *ps = static_cast<float>(static_cast<double>(*ps) + dn[*ix] + dn[*iy]);
  *alp = static_cast<float>(search.den[search.row][search.column]);
  return true;
}

}  // namespace quel::QUEL_SET
