#pragma once

#include "dsp/across_lanes.h"
#include "dsp/lanes.h"
#include "dsp/search_kernel.h"
#include "narrowband/kernels.h"

// The searches over three tracks, their three rotations side by side: while one waits for a sum or
// a comparison, the others go on. Sums of products are in float, so nothing is fused.
namespace quel::QUEL_SET {

namespace rotations {

constexpr int length = 48;
constexpr int tracks = 3;  // as many as rotations; rotation k starts on track k
constexpr int positions = 16;
constexpr int candidates = 6;  // preselected positions of a track
using V = Row<positions>;
constexpr int width = width_of<V>;
constexpr int parts = positions / width;

/// A signal by tracks: sample 3 * j + t at [t][j].
struct ByTrack {
  float of[tracks][positions];

  QUEL_MEMBER explicit ByTrack(const float* x) {
    QUEL_NO_UNROLLING
    for (int j = 0; j < positions; ++j) {
      for (int t = 0; t < tracks; ++t) of[t][j] = x[tracks * j + t];
    }
  }
};

/// Pulses through the response, by tracks, zeros behind: what the positions of a track need at one
/// time then lies in a row.
struct Filtered {
  float of[tracks][2 * positions];
};

struct Rotation {
  Filtered y;
  float ps, alp;
  float cor[2][positions];  // of the tracks that get the next pair
};

/// What does not change while the rotations run.
struct Work {
  const PulseTracks& in;
  ByTrack dn, sign;
  float response[tracks][2 * positions];  // zeros, then every third tap
  int candidate[tracks][candidates];
  bool usable;  // as many candidates as there should be, and no response that is not finite

  QUEL_MEMBER explicit Work(const PulseTracks& tracks_in)
      : in(tracks_in), dn(in.dn), sign(in.sign) {
    const ByTrack h(in.h), sel(in.sel);
    usable = true;
    V sum{};
    for (int t = 0; t < tracks; ++t) {
      unsigned marked = 0;
      for (int p = 0; p < parts; ++p) {
        const V taps = load<V>(h.of[t] + p * width);
        sum += taps - taps;
        store(response[t] + p * width, V{});
        store(response[t] + positions + p * width, taps);
        marked |= greater(V{}, load<V>(sel.of[t] + p * width)) << (p * width);
      }
      for (int i = 0; i < candidates; ++i) {
        usable = usable && marked != 0;
        candidate[t][i] = __builtin_ctz(marked | 1u << (positions - 1));
        marked &= marked - 1;
      }
      usable = usable && marked == 0;
    }
    for (int l = 0; l < width; ++l) usable = usable && sum[l] == 0.0f;
  }
};

QUEL_INLINE void clear(Filtered& y) {
  for (int t = 0; t < tracks; ++t) {
    for (int j = 0; j < 2 * positions; j += width) store(y.of[t] + j, V{});
  }
}

/// The response shifted to the pulse: zeros come in front, which change nothing, as a sample that
/// starts at +0 never is -0.
QUEL_INLINE void add_pulse(const Work& w, int position, Filtered& y) {
  const int track = position % tracks, j = position / tracks;
  const V sign = splat<V>(w.sign.of[track][j]);
  for (int t = 0; t < tracks; ++t) {
    const int before = static_cast<int>(t < track);
    const float* h = w.response[t - track + before * tracks] + positions - j - before;
    for (int p = 0; p < parts; ++p) {
      float* const at = y.of[t] + p * width;
      store(at, load<V>(at) + sign * load<V>(h + p * width));
    }
  }
}

/// The sums of cor_h_vec of `count` tracks side by side, the first of them number `begin` of the
/// tracks k + first, k + first + 1 of rotation 0, of rotation 1 and so on. The last positions' sums
/// end before the others, in front of the zeros behind the subframe.
template <int part, int first, int begin, int count>
QUEL_INLINE void add_sums(const float* h, const Rotation (&rotation)[tracks],
                          V (&sum)[count][parts]) {
  QUEL_NO_UNROLLING
  for (int q = part * width; q < (part + 1) * width; ++q) {
    for (int r = 0; r < tracks; ++r) {
      const V tap = splat<V>(h[tracks * q + r]);
      for (int u = 0; u < count; ++u) {
        const int k = (begin + u) / 2;
        const int n = (k + first + (begin + u) % 2) % tracks + r;
        const float* y = rotation[k].y.of[n % tracks] + n / tracks + q;
        for (int p = 0; p < parts - part; ++p) sum[u][p] += tap * load<V>(y + p * width);
      }
    }
  }
  if constexpr (part + 1 < parts) add_sums<part + 1, first, begin>(h, rotation, sum);
}

/// cor_h_vec of the tracks k + first and k + first + 1 of every rotation k, as many at a time as
/// there are registers for. Apart, so that its registers do not lie on the stack under a search.
template <int first, int begin = 0>
static __attribute__((noinline)) void correlate(const Work& w, Rotation (&rotation)[tracks]) {
  constexpr int all = 2 * tracks;
  constexpr int at_once = parts <= 2 ? all : 2;
  V sum[at_once][parts] = {};
  add_sums<0, first, begin>(w.in.h, rotation, sum);
  for (int u = 0; u < at_once; ++u) {
    const int k = (begin + u) / 2;
    const int track = (k + first + (begin + u) % 2) % tracks;
    for (int p = 0; p < parts; ++p) {
      store(rotation[k].cor[(begin + u) % 2] + p * width,
            load<V>(w.sign.of[track] + p * width) * sum[u][p] +
                load<V>(w.in.rr_diag + positions * track + p * width));
    }
  }
  if constexpr (begin + at_once < all) correlate<first, begin + at_once>(w, rotation);
}

/// search_ixiy of every rotation, of the tracks k + first and k + first + 1, into
/// placed [k * stride].position [first..first+1]. False where a guess is not the pair. Compiled
/// once: it is long.
static __attribute__((noinline)) bool place_pairs(const Work& w, int first,
                                                  Rotation (&rotation)[tracks],
                                                  PlacedPulses* placed, int stride, bool spoil) {
  PairSearch<V, float, candidates, positions> search[tracks];
  for (int k = 0; k < tracks; ++k) {
    const Rotation& now = rotation[k];
    const int tx = (k + first) % tracks, ty = (k + first + 1) % tracks;
    float ps1[candidates], alp1[candidates];
    const float* cross[candidates];
    for (int row = 0; row < candidates; ++row) {
      const int j = w.candidate[tx][row];
      ps1[row] = now.ps + w.dn.of[tx][j];
      alp1[row] = now.alp + now.cor[0][j];
      cross[row] = w.in.rr + (tx * positions + j) * positions;
    }
    search[k].list(
        candidates, [&](int row, int p, V& num, V& den) __attribute__((always_inline)) {
          const V ps2 = splat<V>(ps1[row]) + load<V>(w.dn.of[ty] + p * width);
          num = ps2 * ps2;
          den = splat<V>(alp1[row]) + load<V>(now.cor[1] + p * width) +
                load<V>(cross[row] + p * width);
        });
  }
  for (int k = 0; k < tracks; ++k) search[k].guess(spoil && k == 1);
  bool proved = true;
  for (int k = 0; k < tracks; ++k) {
    proved = search[k].prove(candidates) && proved;
    Rotation& now = rotation[k];
    const int tx = (k + first) % tracks, ty = (k + first + 1) % tracks;
    const int x = w.candidate[tx][search[k].row], y = search[k].column;
    int* const pair = placed[k * stride].position + first;
    pair[0] = tracks * x + tx;
    pair[1] = tracks * y + ty;
    now.ps = now.ps + w.dn.of[tx][x] + w.dn.of[ty][y];
    now.alp = search[k].den[search[k].row][y];
  }
  return proved;
}

}  // namespace rotations

/// The pairs of ACB_27, rotation by rotation. False, with `placed` undefined, where a guess does
/// not prove right or the input is none of its kind.
static bool place_six(const PulseTracks& in, PlacedPulses* placed) {
  using namespace rotations;
  const Work w(in);
  if (!w.usable) return false;
  Rotation rotation[tracks];
  for (int k = 0; k < tracks; ++k) {
    clear(rotation[k].y);
    rotation[k].ps = rotation[k].alp = 0.0f;
    for (int t = 0; t < 2; ++t) {
      copy(rotation[k].cor[t], in.rr_diag + (k + t) % tracks * positions, positions);
    }
  }
  if (!place_pairs(w, 0, rotation, placed, 1, search_spoiled())) return false;
  const auto next_pairs = [&](auto first) __attribute__((always_inline)) {
    constexpr int done = decltype(first)::value;
    for (int k = 0; k < tracks; ++k) {
      add_pulse(w, placed[k].position[done - 2], rotation[k].y);
      add_pulse(w, placed[k].position[done - 1], rotation[k].y);
    }
    correlate<done>(w, rotation);
    return place_pairs(w, done, rotation, placed, 1, false);
  };
  if (!next_pairs(Constant<2>{}) || !next_pairs(Constant<4>{})) return false;
  for (int k = 0; k < tracks; ++k) {
    placed[k].ps = rotation[k].ps;
    placed[k].alp = rotation[k].alp;
  }
  return true;
}

/// The pairs of ACB_15 beside each of the three first pulses of a track, likewise: placed [3 k + i]
/// for the pulse first [k][i].
static bool place_three(const PulseTracks& in, const int (*first)[3], PlacedPulses* placed) {
  using namespace rotations;
  const Work w(in);
  if (!w.usable) return false;
  const bool spoil = search_spoiled();
  for (int i = 0; i < 3; ++i) {
    Rotation rotation[tracks];
    for (int k = 0; k < tracks; ++k) {
      const int pulse = placed[3 * k + i].position[0] = first[k][i];
      rotation[k].ps = w.dn.of[k][pulse / tracks];
      rotation[k].alp = in.rr_diag[positions * k + pulse / tracks];
      clear(rotation[k].y);
      add_pulse(w, pulse, rotation[k].y);
    }
    correlate<1>(w, rotation);
    if (!place_pairs(w, 1, rotation, placed + i, 3, spoil && i == 1)) return false;
    for (int k = 0; k < tracks; ++k) {
      placed[3 * k + i].ps = rotation[k].ps;
      placed[3 * k + i].alp = rotation[k].alp;
    }
  }
  return true;
}

}  // namespace quel::QUEL_SET
