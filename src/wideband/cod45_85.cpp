#include "wideband/cod45_85.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "wideband/kernels.h"

namespace quel {
namespace {

constexpr int length = 80;
constexpr int tracks = 5;
constexpr int positions = 16;  // per track
constexpr int pulses = 10;
constexpr int candidates = 8;  // preselected positions per track

// Track order of every rotation: entry j of the one that starts at s is ipos[s + j].
constexpr int ipos[25] = {0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1, 2,
                          3, 4, 0, 1, 2, 3, 4, 0, 1, 2, 3, 4};

/// First sample of the track with the largest value above -1; where there is none, the track's
/// first sample.
int largest_of_track(const float* value, int track) {
  int best = track;
  float max = -1.0f;
  for (int i = track; i < length; i += tracks) {
    if (value[i] > max) {
      max = value[i];
      best = i;
    }
  }
  return best;
}

/// Fixes the amplitude at each sample, makes dn sign-free and measures each for the preselection.
void choose_signs(AcelpWork& work, float* dn, const float* cn) {
  double energy_dn = 1.0, energy_cn = 1.0;  // side by side: each sum waits for itself
  for (int n = 0; n < length; ++n) {
    energy_dn += static_cast<double>(dn[n]) * dn[n];
    energy_cn += static_cast<double>(cn[n]) * cn[n];
  }
  const double k_cn = std::sqrt(energy_dn / energy_cn);
  constexpr double k_dn = 2.0;
  float* const signs = work.sign.data();
  float* const dn2 = work.dn2.data();
  for (int n = 0; n < length; ++n) {
    // Without a branch, which would go either way at random.
    const double v = k_cn * cn[n] + k_dn * dn[n];
    const float sign = v < 0.0 ? -1.0f : 1.0f;
    signs[n] = sign;
    dn[n] *= sign;
    dn2[n] = static_cast<float>(v * sign);
  }
}

/// The sample of each track's largest measure, and the eight largest marked with -1.
void plain_preselect(float* measure, int* largest) {
  for (int t = 0; t < tracks; ++t) {
    largest[t] = largest_of_track(measure, t);
    for (int k = 0; k < candidates; ++k) measure[largest_of_track(measure, t)] = -1.0f;
  }
}

void preselect(float* measure, int* largest) {
  int rank[length];
  if (!dsp_kernels().ranked(measure, tracks, rank)) return plain_preselect(measure, largest);
  std::array<float, length> wanted;
  if constexpr (check_kernels) std::copy_n(measure, length, wanted.begin());
  for (int t = 0; t < tracks; ++t) {
    for (int n = t; n < length; n += tracks) largest[t] = rank[n] == 0 ? n : largest[t];
  }
  for (int n = 0; n < length; ++n) measure[n] = rank[n] < candidates ? -1.0f : measure[n];
  if constexpr (check_kernels) {
    int wanted_largest[tracks];
    plain_preselect(wanted.data(), wanted_largest);
    require_same("preselection", measure, wanted.data(), length);
    require_same("preselection", largest, wanted_largest, tracks);
  }
}

void build_energies(AcelpWork& work, const float* h) {
  for (std::size_t n = 0; n < length; ++n) {
    work.h_plus[length + n] = h[n];
  }
  std::array<float, length> from;  // half the energy of a response that starts there
  double energy = 0.0;
  for (std::size_t n = 0; n < length; ++n) {
    energy += static_cast<double>(h[n]) * h[n];
    from[length - 1 - n] = static_cast<float>(0.5 * energy);
  }
  float* out = work.rrixix.data();
  for (std::size_t t = 0; t < tracks; ++t) {
    for (std::size_t i = t; i < length; i += tracks) *out++ = from[i];
  }
}

void plain_matrices(const float* h, const float* sign, float* rrixiy) {
  // Each lag's running sum meets its pairs of samples from the subframe's end to its start. Only
  // lags that lead from a track to the next one count: 1, 6, 11... upwards, 4, 9, 14... downwards.
  for (int lag = 1; lag < length; ++lag) {
    if (lag % tracks != 1 && lag % tracks != 4) continue;
    double sum = 0.0;
    for (int n = 0; n + lag < length; ++n) {
      sum += static_cast<double>(h[n]) * h[n + lag];
      const int later = length - 1 - n;
      const int earlier = later - lag;
      const int i = lag % tracks == 1 ? earlier : later;
      const int j = lag % tracks == 1 ? later : earlier;
      const int place = (i % tracks * positions + i / tracks) * positions + j / tracks;
      rrixiy[place] = static_cast<float>(sum) * sign[i] * sign[j];
    }
  }
}

void build_matrices(AcelpWork& work, const float* h) {
  const float* sign = work.sign.data();
  float* rrixiy = work.rrixiy.data();
  if (!wideband_kernels().pulse_matrices(h, sign, rrixiy)) return plain_matrices(h, sign, rrixiy);
  if constexpr (check_kernels) {
    std::array<float, tracks * positions * positions> wanted;
    plain_matrices(h, sign, wanted.data());
    require_same("rrixiy", rrixiy, wanted.data(), static_cast<int>(wanted.size()));
  }
}

int best_start(const AcelpWork& work, const float* dn) {
  int best = 0;
  float max = dn[work.pos_max[0]] + dn[work.pos_max[1]];
  for (int t = 1; t < tracks; ++t) {
    const float sum = dn[work.pos_max[static_cast<std::size_t>(t)]] +
                      dn[work.pos_max[static_cast<std::size_t>((t + 1) % tracks)]];
    if (sum > max) {
      max = sum;
      best = t;
    }
  }
  return best;
}

/// y [0..79] += the filtered pulse at this sample. The zeros before the response make the shift
/// need no bounds.
void add_pulse(const AcelpWork& work, int sample, float* y) {
  const float sign = work.sign[static_cast<std::size_t>(sample)];
  const float* h = work.h_plus.data() + length - sample;
  for (int n = 0; n < length; ++n) y[n] += sign * h[n];
}

/// The first two pulses of a rotation, and where the search for the others starts.
PlacedPulses16 first_pulses(const AcelpWork& work, const float* dn, const int* order) {
  PlacedPulses16 placed;
  for (std::size_t k = 0; k < pulses; ++k) {
    placed.position[k] = work.pos_max[static_cast<std::size_t>(order[k])];
  }
  const float* rrixix = work.rrixix.data();
  const int p0 = placed.position[0] / tracks;
  const int p1 = placed.position[1] / tracks;
  placed.ps = dn[placed.position[0]] + dn[placed.position[1]];
  placed.alp = static_cast<float>(
      static_cast<double>(rrixix[order[0] * positions + p0]) + rrixix[order[1] * positions + p1] +
      work.rrixiy[static_cast<std::size_t>((order[0] * positions + p0) * positions + p1)]);
  return placed;
}

/// Places the others.
void plain_place(AcelpWork& work, bool from_signs, const float* dn, const float* h,
                 const int* order, PlacedPulses16& placed) {
  float* vec = work.vec.data();
  for (int n = 0; n < length; ++n) {
    vec[n] = from_signs ? -work.sign[static_cast<std::size_t>(n)] : 0.0f;
  }
  for (std::size_t k = 2; k < pulses; k += 2) {
    add_pulse(work, placed.position[k - 2], vec);
    add_pulse(work, placed.position[k - 1], vec);
    float cor[2][positions];
    for (std::size_t t = 0; t < 2; ++t) {
      wideband::cor_h_vec(h, vec, order[k + t], work.sign.data(), work.rrixix.data(), cor[t]);
    }
    wideband::search_ixiy(work, order[k], order[k + 1], &placed.ps, &placed.alp,
                          &placed.position[k], &placed.position[k + 1], dn, cor[0], cor[1],
                          work.rrixiy.data());
  }
}

/// All rotations from track `start` on.
void place_pulses(AcelpWork& work, bool from_signs, const float* dn, const float* h, int start,
                  int rotations, PlacedPulses16* placed) {
  std::array<PlacedPulses16, tracks> begun;
  for (int i = 0; i < rotations; ++i) {
    placed[i] = begun[static_cast<std::size_t>(i)] = first_pulses(work, dn, ipos + start + i);
  }
  const auto by_definition = [&](PlacedPulses16* out) {
    for (int i = 0; i < rotations; ++i) {
      out[i] = begun[static_cast<std::size_t>(i)];
      plain_place(work, from_signs, dn, h, ipos + start + i, out[i]);
    }
  };
  const PulseTracks16 in = {
      dn,         work.dn2.data(), h, work.sign.data(), work.rrixix.data(), work.rrixiy.data(),
      from_signs, work.room.data()};
  if (!wideband_kernels().place_ten(in, start, rotations, placed)) return by_definition(placed);
  if constexpr (check_kernels) {
    std::array<PlacedPulses16, tracks> wanted;
    by_definition(wanted.data());
    for (int i = 0; i < rotations; ++i) {
      const PlacedPulses16& w = wanted[static_cast<std::size_t>(i)];
      require_same("ACELP_45_85", placed[i].position, w.position, pulses);
      require_same("ACELP_45_85's correlation", &placed[i].ps, &w.ps, 1);
      require_same("ACELP_45_85's energy", &placed[i].alp, &w.alp, 1);
    }
  }
}

/// 9-bit index of a track from its two pulse words, sign * 16 + position number. The order of the
/// two carries the second one's sign.
std::int32_t track_index(std::int32_t a, std::int32_t b) {
  const std::int32_t pos_a = a & 15;
  const std::int32_t pos_b = b & 15;
  const bool signs_differ = (a & 16) != (b & 16);
  const bool a_first = signs_differ ? pos_a > pos_b : a <= b;
  return a_first ? a * 16 + pos_b : b * 16 + pos_a;
}

void build_code(AcelpWork& work, float* code, float* y, std::int32_t* indices) {
  std::fill_n(code, length, 0.0f);
  std::fill_n(y, length, 0.0f);
  work.slot.fill(-1);
  for (const std::int32_t i : work.best_position) {
    const float sign = work.sign[static_cast<std::size_t>(i)];
    code[i] += sign;
    add_pulse(work, i, y);
    std::int32_t* slot = work.slot.data() + i % tracks * 4;
    while (*slot >= 0) ++slot;
    *slot = i / tracks + (sign > 0.0f ? 0 : 16);
  }
  for (int t = 0; t < tracks; ++t) {
    const std::int32_t* slot = work.slot.data() + t * 4;
    indices[t] = track_index(slot[0], slot[1]);
  }
}

}  // namespace

namespace wideband {

void preselect(AcelpWork& work, float* dn, const float* cn) {
  choose_signs(work, dn, cn);
  quel::preselect(work.dn2.data(), work.pos_max.data());
}

void cor_h_vec(const float* h, const float* vec, int track, const float* sign, const float* rrixix,
               float* cor) {
  for (int p = 0; p < positions; ++p) {
    const int i = track + tracks * p;
    double sum = 0.0;
    for (int n = 0; n < length - i; ++n) sum += static_cast<double>(h[n]) * vec[i + n];
    cor[p] = static_cast<float>(sign[i] * sum + rrixix[track * positions + p]);
  }
}

void search_ixiy(const AcelpWork& work, int track_x, int track_y, float* ps, float* alp,
                 std::int32_t* ix, std::int32_t* iy, const float* dn, const float* cor_x,
                 const float* cor_y, const float* rrixiy) {
  double sq_best = -1.0;
  double alp_best = 1.0;
  for (int x = track_x; x < length; x += tracks) {
    if (!(work.dn2[static_cast<std::size_t>(x)] < 0.0f)) continue;
    const double ps1 = static_cast<double>(*ps) + dn[x];
    const float alp1 = *alp + cor_x[x / tracks];
    const float* cross = rrixiy + (track_x * positions + x / tracks) * positions;
    for (int y = track_y; y < length; y += tracks) {
      const double ps2 = ps1 + dn[y];
      const double alp2 = static_cast<double>(alp1) + cor_y[y / tracks] + cross[y / tracks];
      const double sq = ps2 * ps2;
      if (alp_best * sq - sq_best * alp2 > 0.0) {
        sq_best = sq;
        alp_best = alp2;
        *ix = x;
        *iy = y;
      }
    }
  }
  *ps = static_cast<float>(static_cast<double>(*ps) + dn[*ix] + dn[*iy]);
  *alp = static_cast<float>(alp_best);
}

}  // namespace wideband

void ACELP_45_85(AcelpWork& work, const AcelpSettings& settings, float* dn, const float* cn,
                 const float* h, float* code, float* y, std::int32_t* indices) {
  wideband::preselect(work, dn, cn);
  build_energies(work, h);
  build_matrices(work, h);
  const int start = best_start(work, dn);
  const int iterations = std::clamp<std::int32_t>(settings.nb_iter_selected, 1, 5);

  // Two pulses on every track, in case no rotation is better than nothing.
  for (std::size_t k = 0; k < pulses; ++k) work.best_position[k] = work.pos_max[k % tracks];
  work.best_score = {};
  double psk = -1.0;
  double alp_best = 1.0;
  std::array<PlacedPulses16, tracks> placed;
  place_pulses(work, settings.running_vector_from_signs != 0, dn, h, start, iterations,
               placed.data());
  for (int it = 0; it < iterations; ++it) {
    const auto& [ps, alp, position] = placed[static_cast<std::size_t>(it)];
    const double sq = static_cast<double>(ps) * ps;
    if (alp_best * sq - psk * alp > 0.0) {
      std::copy_n(position, pulses, work.best_position.begin());
      work.best_score = {ps, alp};
      psk = sq;
      alp_best = alp;
    }
  }
  build_code(work, code, y, indices);
}

}  // namespace quel
