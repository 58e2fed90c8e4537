#pragma once

#include "dsp/lanes.h"
#include "wideband/pulse_limits.h"
#include "wideband/pulses16.h"

namespace quel::QUEL_SET {

namespace descent {

using namespace wideband::pulse_limits;
using wideband::PulseQuestion;
using wideband::Pulses;

constexpr int width = 2 * lanes;
constexpr int parts = positions / width;  // registers for the places of a track

QUEL_INLINE float left(float energy, float along) {
  const float rest = energy - along * along;
  const float least = least_left * energy;
  return rest > least ? rest : least;
}

QUEL_INLINE Float left(Float energy, Float along) {
  const Float rest = energy - along * along;
  const Float least = splat<Float>(least_left) * energy;
  return rest > least ? rest : least;
}

/// plain::find_pulses' code in the making, a track at a time.
struct Code {
  const PulseQuestion& question;
  const float* matrix;
  int place[pulses];
  float sign[pulses];
  float c[places];
  float ps, en, ws;

  __attribute__((always_inline)) Code(const PulseQuestion& q, const float* phi)
      : question(q), matrix(phi) {}

  __attribute__((always_inline)) const float* row(int p) const { return matrix + places * p; }
  __attribute__((always_inline)) float diagonal(int p) const { return row(p)[p]; }

  __attribute__((always_inline)) void begin() {
    for (int j = 0; j < places; j += width) store(c + j, Float{});
    ps = en = ws = 0.0f;
  }

  __attribute__((always_inline)) void add(int k, int p, float s) {
    place[k] = p;
    sign[k] = s;
    ps += s * question.dn[p];
    ws += s * question.wn[p];
    en = (en + diagonal(p)) + 2.0f * (s * c[p]);
    const Float factor = splat<Float>(s);
    for (int j = 0; j < places; j += width) {
      store(c + j, load<Float>(c + j) + factor * load<Float>(row(p) + j));
    }
  }

  __attribute__((always_inline)) void add_pair(int k, int x, int y, const float* diagonals) {
    const int at_y = positions * y;
    Float sgn[parts], dn[parts], wn[parts], en_y[parts];
    for (int i = 0; i < parts; ++i) {
      const int q = at_y + i * width;
      sgn[i] = load<Float>(question.sign + q);
      dn[i] = sgn[i] * load<Float>(question.dn + q);
      wn[i] = sgn[i] * load<Float>(question.wn + q);
      en_y[i] = load<Float>(diagonals + q) + splat<Float>(2.0f) * (sgn[i] * load<Float>(c + q));
    }
    Float best[parts], best_row[parts];
    for (int i = 0; i < parts; ++i) {
      best[i] = splat<Float>(no_merit);
      best_row[i] = Float{};
    }
    for (int r = 0; r < candidates; ++r) {
      const int p = question.candidate[candidates * x + r];
      const float s = question.sign[p];
      const Float ps1 = splat<Float>(ps + s * question.dn[p]);
      const Float ws1 = splat<Float>(ws + s * question.wn[p]);
      const Float en1 = splat<Float>((en + diagonals[p]) + 2.0f * (s * c[p]));
      const Float twice = splat<Float>(2.0f * s);
      const float* phi = row(p) + at_y;
      for (int i = 0; i < parts; ++i) {
        const Float energy = (en1 + en_y[i]) + twice * (sgn[i] * load<Float>(phi + i * width));
        const Float product = ps1 + dn[i];
        const Float merit = product * product / left(energy, ws1 + wn[i]);
        const auto taken = merit > best[i];
        best[i] = taken ? merit : best[i];
        best_row[i] = taken ? splat<Float>(static_cast<float>(r)) : best_row[i];
      }
    }
    // Of equal merits the first row's counts, then the first column's.
    float merits[positions], rows[positions];
    for (int i = 0; i < parts; ++i) {
      store(merits + i * width, best[i]);
      store(rows + i * width, best_row[i]);
    }
    int column = 0;
    for (int j = 1; j < positions; ++j) {
      const bool better =
          (merits[j] > merits[column]) | ((merits[j] == merits[column]) & (rows[j] < rows[column]));
      column = better ? j : column;
    }
    const int best_x = question.candidate[candidates * x + static_cast<int>(rows[column])];
    const int best_y = at_y + column;
    add(k, best_x, question.sign[best_x]);
    add(k + 1, best_y, question.sign[best_y]);
  }

  __attribute__((always_inline)) float merit() const {
    return ps > 0.0f ? ps * ps / left(en, ws) : 0.0f;
  }

  __attribute__((always_inline)) float move(int k, float limit, const float* diagonals) {
    const int old = place[k], other = (k + tracks) % pulses;
    const int track = old / positions * positions;
    const float s = sign[k];
    const float ps0 = ps - s * question.dn[old];
    const float ws0 = ws - s * question.wn[old];
    const float en0 = (en + diagonals[old]) - 2.0f * (s * c[old]);
    const float* from = row(old);
    float square[2 * positions], rest[2 * positions];
    FloatMask passing{};
    for (int i = 0; i < parts; ++i) {
      const int p = track + i * width;
      const Float dn = load<Float>(question.dn + p);
      const Float wn = load<Float>(question.wn + p);
      const Float alone = splat<Float>(en0) + load<Float>(diagonals + p);
      const Float cross =
          splat<Float>(2.0f) * (load<Float>(c + p) - splat<Float>(s) * load<Float>(from + p));
      const Float plus = splat<Float>(ps0) + dn, minus = splat<Float>(ps0) - dn;
      const Float rest_plus = left(alone + cross, splat<Float>(ws0) + wn);
      const Float rest_minus = left(alone - cross, splat<Float>(ws0) - wn);
      const Float square_plus = plus > Float{} ? plus * plus : splat<Float>(no_merit);
      const Float square_minus = minus > Float{} ? minus * minus : splat<Float>(no_merit);
      passing |= (square_plus > splat<Float>(limit) * rest_plus) |
                 (square_minus > splat<Float>(limit) * rest_minus);
      store(square + i * width, square_plus);
      store(square + positions + i * width, square_minus);
      store(rest + i * width, rest_plus);
      store(rest + positions + i * width, rest_minus);
    }
    if (!any(passing)) return 0.0f;
    const int forbidden = place[other] - track + (sign[other] > 0.0f ? positions : 0);
    const int itself = old - track + (s > 0.0f ? 0 : positions);
    float best = no_merit;
    int best_at = -1;
    for (int j = 0; j < 2 * positions; ++j) {
      if (j == forbidden || j == itself) continue;
      if (!(square[j] > 0.0f && square[j] > limit * rest[j])) continue;
      if (!(square[j] / rest[j] > best)) continue;
      best = square[j] / rest[j];
      best_at = j;
    }
    if (best_at < 0) return 0.0f;
    ps = ps0;
    ws = ws0;
    en = en0;
    const Float factor = splat<Float>(s);
    for (int j = 0; j < places; j += width) {
      store(c + j, load<Float>(c + j) - factor * load<Float>(from + j));
    }
    add(k, track + best_at % positions, best_at < positions ? 1.0f : -1.0f);
    return best;
  }

  __attribute__((always_inline)) float descend(const float* diagonals) {
    float now = merit();
    for (int step = 0, unmoved = 0; step < turns * pulses && unmoved < pulses; ++step) {
      const float moved = move(step % pulses, least_gain * now, diagonals);
      unmoved = moved > 0.0f ? 0 : unmoved + 1;
      now = moved > 0.0f ? moved : now;
    }
    return now;
  }
};

}  // namespace descent

/// plain::find_pulses, lanes across the places of a track.
static void find_pulses(const wideband::PulseQuestion& question, const float* phi,
                        wideband::Pulses& result) {
  using namespace descent;
  float diagonals[places];
  for (int p = 0; p < places; ++p) diagonals[p] = phi[places * p + p];
  Code code(question, phi);
  float best = no_merit;
  for (int start = 0; start < question.rotations; ++start) {
    code.begin();
    for (int k = 0; k < 2; ++k) {
      const int p = question.first[(start + k) % tracks];
      code.add(k, p, question.sign[p]);
    }
    for (int k = 2; k < pulses; k += 2) {
      code.add_pair(k, (start + k) % tracks, (start + k + 1) % tracks, diagonals);
    }
    const float merit = code.descend(diagonals);
    if (start > 0 && !(merit > best)) continue;
    best = merit;
    for (int k = 0; k < pulses; ++k) {
      const int slot = code.place[k] / positions + k / tracks * tracks;
      result.place[slot] = code.place[k];
      result.sign[slot] = code.sign[k];
    }
  }
}

}  // namespace quel::QUEL_SET
