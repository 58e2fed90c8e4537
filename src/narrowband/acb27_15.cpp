#include "narrowband/acb27_15.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "dsp/invsqrt.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "dsp/scratch.h"
#include "narrowband/acb_common.h"
#include "narrowband/kernels.h"

namespace quel {

namespace narrowband {
namespace {

// The search of both overloads; sel == nullptr makes every position of tx a candidate.
template <int step>
void plain_pair(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                const float* sel, const float* rr_x, const float* rr_y, const float* block) {
  constexpr int count = acb_len / step;
  float dn_y[count];
  float num[count];
  float den[count];
  for (int j = 0; j < count; ++j) dn_y[j] = dn[ty + step * j];

  float sq = -1.0f;
  float alpha = 1.0f;
  int best_x = -1;
  int best_y = 0;
  int first = -1;
  for (int jx = 0; jx < count; ++jx) {
    const int position = tx + step * jx;
    if (sel != nullptr && !(sel[position] < 0.0f)) continue;
    if (first < 0) first = jx;
    const float ps1 = *ps + dn[position];
    const float alp1 = *alp + rr_x[jx];
    const float* row = block + jx * count;
    for (int j = 0; j < count; ++j) {
      const float ps2 = ps1 + dn_y[j];
      num[j] = ps2 * ps2;
      den[j] = alp1 + rr_y[j] + row[j];
    }
    for (int j = 0; j < count; ++j) {
      if (alpha * num[j] - sq * den[j] > 0.0f) {
        sq = num[j];
        alpha = den[j];
        best_x = jx;
        best_y = j;
      }
    }
  }
  if (best_x < 0) best_x = std::max(first, 0);
  *ix = tx + step * best_x;
  *iy = ty + step * best_y;
  *ps = *ps + dn[*ix] + dn[*iy];
  *alp = alpha;
}

template <int step>
void search_pair(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                 const float* sel, const float* rr_x, const float* rr_y, const float* block) {
  const NarrowbandKernels& kernels = narrowband_kernels();
  const auto best_pair = step == 3 ? kernels.best_pair3 : kernels.best_pair6;
  const float before[] = {*ps, *alp};
  if (!best_pair(tx, ty, ps, alp, ix, iy, dn, sel, rr_x, rr_y, block)) {
    plain_pair<step>(tx, ty, ps, alp, ix, iy, dn, sel, rr_x, rr_y, block);
  } else if constexpr (check_kernels) {
    float wanted[] = {before[0], before[1]};
    int pair[2];
    plain_pair<step>(tx, ty, &wanted[0], &wanted[1], &pair[0], &pair[1], dn, sel, rr_x, rr_y,
                     block);
    require_same("search_ixiy", ps, &wanted[0], 1);
    require_same("search_ixiy", alp, &wanted[1], 1);
    require_same("search_ixiy", ix, &pair[0], 1);
    require_same("search_ixiy", iy, &pair[1], 1);
  }
}

}  // namespace

// Sums up the sixteen positions side by side, each still in rising k. For that, y is dealt out to
// its three phases, zeros behind, so that what the positions need at one k lies in a row.
void cor_h_vec(const float* h, const float* y, int track, const float* sign, const float* rr_diag,
               float* out) {
  constexpr int stride = 32;
  float phases[3 * stride] = {};
  for (int n = 0; n < acb_len; ++n) phases[n % 3 * stride + n / 3] = y[n];
  const auto from = [&](int n) { return &phases[n % 3 * stride + n / 3]; };
  const float* y0 = from(track);
  const float* y1 = from(track + 1);
  const float* y2 = from(track + 2);

  float sum[16] = {};
  for (int k = 0; k < acb_len; k += 3, ++y0, ++y1, ++y2) {
    for (int j = 0; j < 16; ++j) {
      sum[j] = sum[j] + h[k] * y0[j] + h[k + 1] * y1[j] + h[k + 2] * y2[j];
    }
  }
  for (int j = 0; j < 16; ++j) out[j] = sign[track + 3 * j] * sum[j] + rr_diag[16 * track + j];
}

void search_ixiy(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                 const float* sel, const float* rr_x, const float* rr_y, const float* rr) {
  search_pair<3>(tx, ty, ps, alp, ix, iy, dn, sel, rr_x, rr_y, rr + 256 * tx);
}

void search_ixiy(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                 const float* rr_x, const float* rr_y, const float* rr) {
  search_pair<6>(tx, ty, ps, alp, ix, iy, dn, nullptr, rr_x, rr_y, rr + 64 * (tx / 2));
}

}  // namespace narrowband

namespace {

using namespace narrowband;

// Cyclic track order: a search that starts at entry k visits the tracks from there on.
constexpr std::int32_t ipos[8] = {0, 1, 2, 0, 1, 2, 0, 1};

// One search over the three tracks: what does not change while it runs, and the vectors that the
// pulses placed so far leave.
struct TrackSearch {
  const float* dn;
  const float* sel;
  const float* h;
  const float* sign;
  Scratch<> rr_diag{3 * 16};
  Scratch<> rr{3 * 256};
  Scratch<> y{acb_len};
  Scratch<> rr_xy{2 * 16};

  TrackSearch(const float* dn_, const float* sel_, const float* h_, const float* sign_)
      : dn(dn_), sel(sel_), h(h_), sign(sign_) {
    half_energies_of_all(h, 1, 3, rr_diag.data());
    cross_blocks(h, 3, 3, sign, rr.data());
  }

  PulseTracks tracks() { return {dn, sel, h, sign, rr_diag.data(), rr.data()}; }

  void clear_y() { std::fill_n(y.data(), acb_len, 0.0f); }
  void add_to_y(int position) { add_pulse(y.data(), h, position, sign[position]); }

  // Places a pair on tracks whose pulses stand alone.
  void first_pair(int tx, int ty, float* ps, float* alp, int* pair) {
    search_ixiy(tx, ty, ps, alp, &pair[0], &pair[1], dn, sel, &rr_diag[16 * tx], &rr_diag[16 * ty],
                rr.data());
  }

  // Places a pair beside the pulses in y.
  void next_pair(int tx, int ty, float* ps, float* alp, int* pair) {
    const int tracks[] = {tx, ty};
    float* rr_x = rr_xy.data();
    float* rr_y = rr_x + 16;
    narrowband_kernels().cor_h_vec_pair(h, y.data(), tracks, sign, rr_diag.data(), rr_x);
    if constexpr (check_kernels) {
      std::array<float, 16> wanted;
      cor_h_vec(h, y.data(), tx, sign, rr_diag.data(), wanted.data());
      require_same("cor_h_vec", rr_x, wanted.data(), 16);
      cor_h_vec(h, y.data(), ty, sign, rr_diag.data(), wanted.data());
      require_same("cor_h_vec", rr_y, wanted.data(), 16);
    }
    search_ixiy(tx, ty, ps, alp, &pair[0], &pair[1], dn, sel, rr_x, rr_y, rr.data());
  }
};

// ACB_27's three rotations, a step after the other.
void plain_six(TrackSearch& search, PlacedPulses* placed) {
  for (int k = 0; k < 3; ++k) {
    auto& [ps, alp, p] = placed[k];
    ps = alp = 0.0f;
    search.first_pair(ipos[k], ipos[k + 1], &ps, &alp, &p[0]);
    search.clear_y();
    search.add_to_y(p[0]);
    search.add_to_y(p[1]);
    search.next_pair(ipos[k + 2], ipos[k + 3], &ps, &alp, &p[2]);
    search.add_to_y(p[2]);
    search.add_to_y(p[3]);
    search.next_pair(ipos[k + 4], ipos[k + 5], &ps, &alp, &p[4]);
  }
}

// ACB_15's nine ways, three from the first pulses of each track.
void plain_three(TrackSearch& search, const int (*first)[3], PlacedPulses* placed) {
  for (int k = 0; k < 3; ++k) {
    for (int i = 0; i < 3; ++i) {
      auto& [ps, alp, p] = placed[3 * k + i];
      const int c = p[0] = first[k][i];
      ps = search.dn[c];
      alp = search.rr_diag[16 * k + c / 3];
      search.clear_y();
      search.add_to_y(c);
      search.next_pair(ipos[k + 1], ipos[k + 2], &ps, &alp, &p[1]);
    }
  }
}

// All `ways` through the tracks: by the kernel, or else by the plain search.
template <typename Kernel, typename Plain>
void place(int ways, int pulses, PlacedPulses* placed, Kernel kernel, Plain plain) {
  if (!kernel(placed)) return plain(placed);
  if constexpr (check_kernels) {
    std::vector<PlacedPulses> wanted(placed, placed + ways);
    plain(wanted.data());
    for (int k = 0; k < ways; ++k) {
      const PlacedPulses& w = wanted[static_cast<std::size_t>(k)];
      require_same("pulses", placed[k].position, w.position, pulses);
      require_same("pulses' correlation", &placed[k].ps, &w.ps, 1);
      require_same("pulses' energy", &placed[k].alp, &w.alp, 1);
    }
  }
}

// The way of the largest ps^2 / alp, the first of equals; `best` where none is above nothing.
PlacedPulses best_of(const PlacedPulses* placed, int ways, PlacedPulses best) {
  float psk = -1.0f;
  float alpk = 1.0f;
  for (int k = 0; k < ways; ++k) {
    const auto& [ps, alp, position] = placed[k];
    if (alpk * (ps * ps) - psk * alp > 0.0f) {
      psk = ps * ps;
      alpk = alp;
      best = placed[k];
    }
  }
  return best;
}

// Marks the largest measure of a track with -1 and returns its position, the lowest of equals.
int mark_largest(float* sel, int track) {
  int best = track;
  for (int p = track + 3; p < acb_len; p += 3) {
    if (sel[p] > sel[best]) best = p;
  }
  sel[best] = -1.0f;
  return best;
}

constexpr int marked = 6;  // of each track

void plain_preselect(float* sel, int (&first)[3][3]) {
  for (int track = 0; track < 3; ++track) {
    for (int& p : first[track]) p = mark_largest(sel, track);
    for (int i = 3; i < marked; ++i) mark_largest(sel, track);
  }
}

// Marks the six largest measures of each track, and gives the first three of each in falling order.
void preselect(float* sel, int (&first)[3][3]) {
  int rank[acb_len];
  if (!dsp_kernels().ranked(sel, 3, rank)) return plain_preselect(sel, first);
  std::array<float, acb_len> wanted;
  if constexpr (check_kernels) std::copy_n(sel, acb_len, wanted.begin());
  int by_rank[3][16];
  for (int j = 0; j < 16; ++j) {
    for (int track = 0; track < 3; ++track) by_rank[track][rank[3 * j + track]] = 3 * j + track;
  }
  for (int track = 0; track < 3; ++track) std::copy_n(by_rank[track], 3, first[track]);
  for (int n = 0; n < acb_len; ++n) sel[n] = rank[n] < marked ? -1.0f : sel[n];
  if constexpr (check_kernels) {
    int wanted_first[3][3];
    plain_preselect(wanted.data(), wanted_first);
    require_same("preselection", sel, wanted.data(), acb_len);
    for (int t = 0; t < 3; ++t) require_same("preselection", first[t], wanted_first[t], 3);
  }
}

// What brings res to the level of dn; 0 where there is no such factor (silence).
float residual_weight(const float* dn, const float* res) {
  float e_res = 0.0f;
  float e_dn = 0.0f;
  for (int n = 0; n < acb_len; ++n) {
    e_res += res[n] * res[n];
    e_dn += dn[n] * dn[n];
  }
  const float ratio = e_res / e_dn;
  if (!(ratio > 0.0f) || !std::isfinite(ratio)) return 0.0f;
  return static_cast<float>(invsqrt(ratio));
}

// Position index with the sign in bit 4.
std::int32_t pulse_word(int position, const float* sign) {
  return position / 3 + (sign[position] < 0.0f ? 16 : 0);
}

// The order of the two pulses says whether the second has the first's sign.
std::int32_t pair_word(std::int32_t first, std::int32_t second) {
  const bool second_larger = (second & 15) >= (first & 15);
  const std::int32_t larger = second_larger ? second : first;
  const std::int32_t smaller = second_larger ? first : second;
  if (((first ^ second) & 16) == 0) return smaller * 16 + (larger & 15);
  return larger * 16 + (smaller & 15);
}

}  // namespace

void ACB_27(float* dn, float* res, const float* h, std::int32_t* index) {
  Scratch sign(acb_len);
  float* sel = res;
  const float k_res = residual_weight(dn, res);
  for (int n = 0; n < acb_len; ++n) {
    const float v = 2.0f * dn[n] + k_res * res[n];
    sign[n] = v < 0.0f ? -1.0f : 1.0f;
    dn[n] *= sign[n];
    sel[n] = v * sign[n];
  }
  int first_pulses[3][3];
  preselect(sel, first_pulses);

  TrackSearch search(dn, sel, h, sign.data());
  PlacedPulses placed[3];
  place(
      3, 6, placed,
      [&](PlacedPulses* out) { return narrowband_kernels().place_six(search.tracks(), out); },
      [&](PlacedPulses* out) { plain_six(search, out); });
  const PlacedPulses best = best_of(placed, 3, {0.0f, 0.0f, {0, 1, 2, 0, 1, 2}});

  std::fill_n(index, 3, -1);
  for (const int p : best.position) {
    std::int32_t& word = index[p % 3];
    const std::int32_t pulse = pulse_word(p, sign.data());
    word = word < 0 ? pulse : pair_word(word, pulse);
  }
}

void ACB_15(float* dn, float* work, const float* h, std::int32_t* index) {
  Scratch sign(acb_len);
  float* sel = work;
  for (int n = 0; n < acb_len; ++n) {
    sign[n] = dn[n] < 0.0f ? -1.0f : 1.0f;
    dn[n] *= sign[n];
    sel[n] = dn[n];
  }
  int first_pulses[3][3];
  preselect(sel, first_pulses);

  TrackSearch search(dn, sel, h, sign.data());
  PlacedPulses placed[9];
  place(
      9, 3, placed,
      [&](PlacedPulses* out) {
        return narrowband_kernels().place_three(search.tracks(), first_pulses, out);
      },
      [&](PlacedPulses* out) { plain_three(search, first_pulses, out); });
  const PlacedPulses best = best_of(placed, 9, {0.0f, 0.0f, {0, 1, 2}});
  for (int i = 0; i < 3; ++i) {
    const int p = best.position[i];
    index[p % 3] = pulse_word(p, sign.data());
  }
}

}  // namespace quel
