#pragma once

#include <cstdint>

#include "dsp/lanes.h"
#include "dsp/search_kernel.h"
#include "dsp/shift_lanes.h"
#include "wideband/kernels.h"

namespace quel::QUEL_SET {

namespace pulses16 {

constexpr int length = 80;
constexpr int tracks = 5;
constexpr int positions = 16;
constexpr int candidates = 8;             // preselected positions of a track
constexpr int parts = positions / lanes;  // registers for the positions of a track

constexpr int row = 2 * positions;  // of a signal by phases
constexpr int signal = tracks * row;

/// A signal of 80 samples dealt out to its five phases, zeros behind, so that what the positions of
/// a track need at one time lies in a row.
struct Phases {
  double value[signal];

  QUEL_MEMBER explicit Phases(const float* x) {
    for (int r = 0; r < tracks; ++r) {
      for (int q = 0; q < positions; ++q) value[r * row + q] = x[tracks * q + r];
      for (int q = positions; q < row; q += lanes) store(value + r * row + q, Double{});
    }
  }
  /// Sample n, n + 5, ...
  QUEL_MEMBER const double* from(int n) const { return value + n % tracks * row + n / tracks; }
};

/// A way through the tracks.
struct Rotation {
  double* y;  // [0..159] pulses through the response, as Phases, in the caller's memory
  float ps, alp;
  float cor[2][positions];  // of the tracks that get the next pair
};

/// What does not change while rotations run.
struct Work {
  const PulseTracks16& in;
  double* h;                    // [0..79], in the caller's memory
  double* room;                 // for two rotations
  float response[tracks][row];  // zeros, then every fifth tap
  double dn[tracks][positions];
  float sign[tracks][positions];
  int candidate[tracks][candidates];
  bool usable;  // as many candidates as there should be, and no response that is not finite

  QUEL_MEMBER explicit Work(const PulseTracks16& tracks_in)
      : in(tracks_in), h(in.room), room(h + length) {
    widen(h, in.h, length, length);
    usable = all_finite(h, length);
    for (int t = 0; t < tracks; ++t) {
      for (int j = 0; j < positions; ++j) response[t][j] = 0.0f;
      unsigned marked = 0;
      for (int j = 0; j < positions; ++j) {
        const int n = tracks * j + t;
        response[t][positions + j] = in.h[n];
        dn[t][j] = in.dn[n];
        sign[t][j] = in.sign[n];
        marked |= static_cast<unsigned>(in.dn2[n] < 0.0f) << j;
      }
      for (int i = 0; i < candidates; ++i) {
        usable = usable && marked != 0;
        candidate[t][i] = __builtin_ctz(marked | 1u << (positions - 1));
        marked &= marked - 1;
      }
      usable = usable && marked == 0;
    }
  }
};

/// The response shifted to the pulse. The sum of two floats, rounded to a double and then to a
/// float, is what it is rounded at once.
QUEL_INLINE void add_pulse(const Work& w, int sample, double* y) {
  const int track = sample % tracks, j = sample / tracks;
  const Double sign = splat<Double>(static_cast<double>(w.sign[track][j]));
  for (int t = 0; t < tracks; ++t) {
    const int before = static_cast<int>(t < track);
    const float* h = w.response[t - track + before * tracks] + positions - j - before;
    for (int p = 0; p < parts; ++p) {
      double* const at = y + t * row + p * lanes;
      store(at, rounded(load<Double>(at) + sign * widen(load<Half>(h + p * lanes))));
    }
  }
}

/// The sums of cor_h_vec of `count` tracks of running vectors side by side, from [0..4] the rows at
/// which each track starts. The last positions' sums end before the others, in front of the zeros
/// behind the subframe; so there are fewer and fewer.
template <int part, int count>
QUEL_INLINE void add_sums(const double* h, const double* const (*from)[tracks],
                          Double (&sum)[count][parts]) {
  for (int q = part * lanes; q < (part + 1) * lanes; ++q) {
    for (int r = 0; r < tracks; ++r) {
      const Double tap = splat<Double>(h[tracks * q + r]);
      for (int u = 0; u < count; ++u) {
        for (int p = 0; p < parts - part; ++p) {
          sum[u][p] = add_exact(sum[u][p], tap, load<Double>(from[u][r] + q + p * lanes));
        }
      }
    }
  }
  if constexpr (part + 1 < parts) add_sums<part + 1>(h, from, sum);
}

/// cor_h_vec of the two tracks that each rotation comes to next. Apart, for the stack's sake.
template <int ways>
static __attribute__((noinline)) void correlate(const Work& w, Rotation (&rotation)[ways],
                                                const int (*two)[2]) {
  // Eight registers of sums, which is what two units that wait four cycles want.
  constexpr int wanted = 8 / parts;
  constexpr int at_once = wanted < 2 * ways ? wanted : 2 * ways;
  const double* from[2 * ways][tracks];
  for (int u = 0; u < 2 * ways; ++u) {
    for (int r = 0; r < tracks; ++r) {
      const int n = two[u / 2][u % 2] + r;
      from[u][r] = rotation[u / 2].y + n % tracks * row + n / tracks;
    }
  }
  for (int first = 0; first < 2 * ways; first += at_once) {
    Double sum[at_once][parts] = {};
    add_sums<0>(w.h, from + first, sum);
    for (int v = 0; v < at_once; ++v) {
      const int u = first + v, track = two[u / 2][u % 2];
      for (int p = 0; p < parts; ++p) {
        const Double sign = widen(load<Half>(w.sign[track] + p * lanes));
        const Double own = widen(load<Half>(w.in.rrixix + positions * track + p * lanes));
        store(rotation[u / 2].cor[u % 2] + p * lanes, narrow(sign * sum[v][p] + own));
      }
    }
  }
}

/// search_ixiy of one rotation, of the tracks two [0] and two [1], into pair [0..1]. False where
/// its guess is not the pair. Apart, so that two rotations' tables do not lie on the stack at once.
static __attribute__((noinline)) bool place_pair(const Work& w, const int* two, Rotation& now,
                                                 std::int32_t* pair, bool spoil) {
  const int tx = two[0], ty = two[1];
  double alp_y[positions], ps1[candidates], alp1[candidates];
  const float* cross[candidates];
  widen(alp_y, now.cor[1], positions, positions);
  for (int row = 0; row < candidates; ++row) {
    const int j = w.candidate[tx][row];
    ps1[row] = static_cast<double>(now.ps) + w.dn[tx][j];
    alp1[row] = now.alp + now.cor[0][j];
    cross[row] = w.in.rrixiy + (tx * positions + j) * positions;
  }
  PairSearch<Double, double, candidates, positions> search;
  const auto of_row = [&](int r, int p, Double& num, Double& den) __attribute__((always_inline)) {
    const Double ps2 = splat<Double>(ps1[r]) + load<Double>(w.dn[ty] + p * lanes);
    num = ps2 * ps2;
    den = splat<Double>(alp1[r]) + load<Double>(alp_y + p * lanes) +
          widen(load<Half>(cross[r] + p * lanes));
  };
  if (!search.find(candidates, spoil, of_row)) return false;
  const int x = w.candidate[tx][search.row], y = search.column;
  pair[0] = tracks * x + tx;
  pair[1] = tracks * y + ty;
  now.ps = static_cast<float>(static_cast<double>(now.ps) + w.dn[tx][x] + w.dn[ty][y]);
  now.alp = static_cast<float>(search.den[search.row][y]);
  return true;
}

/// Two rotations side by side, the first from track `start` on, whose first two pulses and their
/// scores are placed. Takes the kernels' longest frame of stack; so there is one of it.
static __attribute__((noinline)) bool place_pulses(const Work& w, int start,
                                                   PlacedPulses16* placed) {
  constexpr int ways = 2;
  const bool spoil = search_spoiled();
  Rotation rotation[ways];
  for (int i = 0; i < ways; ++i) {
    Rotation& now = rotation[i];
    now.y = w.room + i * signal;
    now.ps = placed[i].ps;
    now.alp = placed[i].alp;
    for (int t = 0; t < tracks; ++t) {
      for (int p = 0; p < parts; ++p) {
        const Double sign = widen(load<Half>(w.sign[t] + p * lanes));
        store(now.y + t * row + p * lanes, w.in.from_signs ? -sign : Double{});
        store(now.y + t * row + positions + p * lanes, Double{});
      }
    }
  }
  for (int k = 2; k < 10; k += 2) {
    int two[ways][2];
    for (int i = 0; i < ways; ++i) {
      for (int t = 0; t < 2; ++t) two[i][t] = (start + i + k + t) % tracks;
      add_pulse(w, placed[i].position[k - 2], rotation[i].y);
      add_pulse(w, placed[i].position[k - 1], rotation[i].y);
    }
    correlate<ways>(w, rotation, two);
    bool proved = true;
    for (int i = 0; i < ways; ++i) {
      proved =
          place_pair(w, two[i], rotation[i], placed[i].position + k, spoil && k == 6) && proved;
    }
    if (!proved) return false;
  }
  for (int i = 0; i < ways; ++i) {
    placed[i].ps = rotation[i].ps;
    placed[i].alp = rotation[i].alp;
  }
  return true;
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

  const auto blocks = [&](int begin, auto count) __attribute__((always_inline)) {
    constexpr int at_once = decltype(count)::value;
    Double row[at_once][parts] = {};
    for (int jx = positions - 1; jx >= 0; --jx) {
      for (int b = 0; b < at_once; ++b) {
        const int x = begin + b, y = x + 1 < tracks ? x + 1 : 0;
        Double r[parts];
        r[parts - 1] = shifted_down(row[b][parts - 1], Double{});
        for (int p = 0; p + 1 < parts; ++p) r[p] = shifted_down(row[b][p], row[b][p + 1]);
        for (int k = tracks - 1; k >= 0; --k) {
          const Double factor = splat<Double>(from[x + k][jx]);
          for (int p = 0; p < parts; ++p) {
            r[p] = add_exact(r[p], factor, load<Double>(from[y + k] + p * lanes));
          }
        }
        const Half sign_x = splat<Half>(signs[x][jx]);
        float* const out = rrixiy + (x * positions + jx) * positions;
        for (int p = 0; p < parts; ++p) {
          row[b][p] = r[p];
          store(out + p * lanes, narrow(r[p]) * sign_x * load<Half>(signs[y] + p * lanes));
        }
      }
    }
  };
  // As many at a time as there are registers for.
  if constexpr (lanes == 8) {
    blocks(0, Constant<tracks>{});
  } else if constexpr (lanes == 4) {
    for (int x = 0; x + 1 < tracks; x += 2) blocks(x, Constant<2>{});
    blocks(tracks - 1, Constant<1>{});
  } else {
    for (int x = 0; x < tracks; ++x) blocks(x, Constant<1>{});
  }
  return true;
}

/// The pairs of ACELP_45_85 that follow the first two pulses of each of `ways` rotations, from
/// track `start` on. False, with `placed` undefined, where a guess does not prove right or the
/// input is none of its kind.
static bool place_ten(const PulseTracks16& in, int start, int ways, PlacedPulses16* placed) {
  using namespace pulses16;
  const Work w(in);
  if (!w.usable) return false;
  for (int i = 0; i < ways; i += 2) {
    // A last one without another runs beside itself, shifted by a track, which nobody wants.
    PlacedPulses16 two[2] = {placed[i], placed[i + 1 < ways ? i + 1 : i]};
    if (!place_pulses(w, start + i, two)) return false;
    placed[i] = two[0];
    if (i + 1 < ways) placed[i + 1] = two[1];
  }
  return true;
}

}  // namespace quel::QUEL_SET
