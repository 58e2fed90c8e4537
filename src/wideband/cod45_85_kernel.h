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

// A signal dealt out to its five phases, zeros behind, so that what the positions of a track need
// at one time lies in a row.
struct Phases {
  static constexpr int row = 2 * positions;
  double value[tracks * row];

  // Of x [0..79], by steps of `step` from x.
  QUEL_INLINE void zero(Phases& p) {
    for (int i = 0; i < tracks * row; i += lanes) store(p.value + i, Double{});
  }
  QUEL_INLINE const double* from(const Phases& p, int n) {
    return p.value + n % tracks * row + n / tracks;
  }
};

}  // namespace pulses16

/// The cross-correlations of ACELP_45_85, every track's with the next, signs folded in: rows in
/// registers. A row is the one below, one place to the right, with five products more. False where
/// h is not finite: before it lie zeros, with which it would make NaNs.
static bool pulse_matrices(const float* h, const float* sign, float* rrixiy) {
  using namespace pulses16;
  // The response backwards: [k] is h[79 - k].
  Phases response;
  Phases::zero(response);
  float sum = 0.0f;
  for (int k = 0; k < length; ++k) {
    const float tap = h[length - 1 - k];
    sum += tap - tap;
    response.value[k % tracks * Phases::row + k / tracks] = tap;
  }
  if (sum != 0.0f) return false;
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
        const Double factor = splat<Double>(Phases::from(response, x + k)[jx]);
        const double* const other = Phases::from(response, y + k);
        for (int p = 0; p < parts; ++p) {
          r[p] = add_exact(r[p], factor, load<Double>(other + p * lanes));
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
  constexpr int quarter = length / 4;
  double wide[length];
  widen(wide, h, length, length);
  if (!all_finite(wide, length)) return false;
  Phases v;
  Phases::zero(v);
  for (int n = 0; n < length; ++n) v.value[n % tracks * Phases::row + n / tracks] = vec[n];
  Double sum[2][parts] = {};
  // A position's sum ends with the subframe: after each quarter four positions have theirs.
  for (int q = 0; q < 4; ++q) {
    for (int n = q * quarter; n < (q + 1) * quarter; ++n) {
      const Double tap = splat<Double>(wide[n]);
      for (int t = 0; t < 2; ++t) {
        const double* const from = Phases::from(v, two[t] + n);
        for (int p = 0; p < parts - q * 4 / lanes; ++p) {
          sum[t][p] = add_exact(sum[t][p], tap, load<Double>(from + p * lanes));
        }
      }
    }
  }
  for (int t = 0; t < 2; ++t) {
    double all[positions];
    for (int p = 0; p < parts; ++p) store(all + p * lanes, sum[t][p]);
    for (int p = 0; p < positions; ++p) {
      const double signed_sum = sign[two[t] + tracks * p] * all[p];
      cor[positions * t + p] =
          static_cast<float>(signed_sum + rrixix[positions * two[t] + p]);
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
  int sample[positions];
  double dn_y[positions];
  for (int j = 0; j < positions; ++j) dn_y[j] = dn[track_y + tracks * j];
  double alp_y[positions];
  widen(alp_y, cor_y, positions, positions);
  for (int j = 0; j < positions; ++j) {
    const int x = track_x + tracks * j;
    if (!(dn2[x] < 0.0f)) continue;
    const Double ps1 = splat<Double>(static_cast<double>(*ps) + dn[x]);
    const Double alp1 = splat<Double>(static_cast<double>(*alp + cor_x[j]));
    for (int p = 0; p < parts; ++p) {
      const Double ps2 = ps1 + load<Double>(dn_y + p * lanes);
      const Double cross = widen(load<Half>(rrixiy + j * positions + p * lanes));
      search.put(p, ps2 * ps2, alp1 + load<Double>(alp_y + p * lanes) + cross);
    }
    sample[search.rows++] = x;
  }
  if (!search.find()) return false;
  *ix = sample[search.row];
  *iy = track_y + tracks * search.column;
  *ps = static_cast<float>(static_cast<double>(*ps) + dn[*ix] + dn[*iy]);
  *alp = static_cast<float>(search.den[search.row][search.column]);
  return true;
}

}  // namespace quel::QUEL_SET
