#include "wideband/pulses16.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/response_matrix.h"
#include "wideband/cod45_85.h"
#include "wideband/kernels.h"
#include "wideband/pulse_limits.h"

namespace quel::wideband {
namespace {

using namespace pulse_limits;

int place_of(int sample) {
  return sample % tracks * positions + sample / tracks;
}

/// A code in the making.
struct Code {
  const PulseQuestion& question;
  const float* phi;
  int place[pulses];
  float sign[pulses];
  float c[places];  ///< correlations of the filtered code with the response to each pulse
  float ps = 0.0f, en = 0.0f, ws = 0.0f;

  Code(const PulseQuestion& q, const float* matrix) : question(q), phi(matrix) {
    std::fill_n(c, places, 0.0f);
  }

  const float* row(int p) const { return phi + places * p; }
  float diagonal(int p) const { return row(p)[p]; }

  /// Merit's denominator. Rounding may leave little or nothing where the code is all but v.
  static float left(float energy, float along) {
    const float rest = energy - along * along;
    const float least = least_left * energy;
    return rest > least ? rest : least;
  }

  void add(int k, int p, float s) {
    place[k] = p;
    sign[k] = s;
    ps += s * question.dn[p];
    ws += s * question.wn[p];
    en = (en + diagonal(p)) + 2.0f * (s * c[p]);
    for (int j = 0; j < places; ++j) c[j] += s * row(p)[j];
  }

  /// Pulses k and k + 1 on tracks x and y.
  void add_pair(int k, int x, int y) {
    const float* sgn = question.sign;
    int best_x = question.candidate[candidates * x], best_y = positions * y;
    float best = no_merit;
    for (int r = 0; r < candidates; ++r) {
      const int p = question.candidate[candidates * x + r];
      const float ps1 = ps + sgn[p] * question.dn[p];
      const float ws1 = ws + sgn[p] * question.wn[p];
      const float en1 = (en + diagonal(p)) + 2.0f * (sgn[p] * c[p]);
      for (int q = positions * y; q < positions * (y + 1); ++q) {
        const float along = ws1 + sgn[q] * question.wn[q];
        const float energy =
            (en1 + (diagonal(q) + 2.0f * (sgn[q] * c[q]))) + 2.0f * sgn[p] * (sgn[q] * row(p)[q]);
        const float product = ps1 + sgn[q] * question.dn[q];
        const float merit = product * product / left(energy, along);
        if (merit > best) {
          best = merit;
          best_x = p;
          best_y = q;
        }
      }
    }
    add(k, best_x, sgn[best_x]);
    add(k + 1, best_y, sgn[best_y]);
  }

  float merit() const { return ps > 0.0f ? ps * ps / left(en, ws) : 0.0f; }

  /// Moves pulse k to where the merit is largest, if that is more than `limit`. Returns what it is
  /// then, or 0 where it stays.
  float move(int k, float limit) {
    const int old = place[k], other = (k + tracks) % pulses;
    const float s = sign[k];
    const float ps0 = ps - s * question.dn[old];
    const float ws0 = ws - s * question.wn[old];
    const float en0 = (en + diagonal(old)) - 2.0f * (s * c[old]);
    float best = no_merit, best_sign = s;
    int best_place = old;
    for (const float g : {1.0f, -1.0f}) {
      for (int j = 0; j < positions; ++j) {
        const int p = old / positions * positions + j;
        if (p == old && g == s) continue;
        if (p == place[other] && g != sign[other]) continue;
        const float product = ps0 + g * question.dn[p];
        const float along = ws0 + g * question.wn[p];
        const float energy = (en0 + diagonal(p)) + 2.0f * (g * (c[p] - s * row(old)[p]));
        const float rest = left(energy, along);
        const float square = product > 0.0f ? product * product : no_merit;
        if (square > 0.0f && square > limit * rest && square / rest > best) {
          best = square / rest;
          best_place = p;
          best_sign = g;
        }
      }
    }
    if (best == no_merit) return 0.0f;
    ps = ps0;
    ws = ws0;
    en = en0;
    for (int j = 0; j < places; ++j) c[j] -= s * row(old)[j];
    add(k, best_place, best_sign);
    return best;
  }

  /// Returns the merit at the end.
  float descend() {
    float now = merit();
    for (int step = 0, unmoved = 0; step < turns * pulses && unmoved < pulses; ++step) {
      const float moved = move(step % pulses, least_gain * now);
      unmoved = moved > 0.0f ? 0 : unmoved + 1;
      if (moved > 0.0f) now = moved;
    }
    return now;
  }
};

}  // namespace

void plain::response_matrix(const float* h, float* phi) {
  quel::plain::response_matrix<tracks>(h, phi);
}

void plain::find_pulses(const PulseQuestion& question, const float* phi, Pulses& result) {
  float best = no_merit;
  for (int start = 0; start < question.rotations; ++start) {
    Code code(question, phi);
    for (int k = 0; k < 2; ++k) {
      const int p = question.first[(start + k) % tracks];
      code.add(k, p, question.sign[p]);
    }
    for (int k = 2; k < pulses; k += 2) {
      code.add_pair(k, (start + k) % tracks, (start + k + 1) % tracks);
    }
    const float merit = code.descend();
    if (start > 0 && !(merit > best)) continue;
    best = merit;
    for (int k = 0; k < pulses; ++k) {
      const int slot = code.place[k] / positions + k / tracks * tracks;
      result.place[slot] = code.place[k];
      result.sign[slot] = code.sign[k];
    }
  }
}

void response_matrix(const float* h, float* phi) {
  wideband_kernels().response_matrix(h, phi);
  if constexpr (check_kernels) {
    std::vector<float> wanted(places * places);
    plain::response_matrix(h, wanted.data());
    require_same("response_matrix", phi, wanted.data(), places * places);
  }
}

void find_pulses(const PulseQuestion& question, const float* phi, Pulses& found) {
  wideband_kernels().find_pulses(question, phi, found);
  if constexpr (check_kernels) {
    Pulses wanted;
    plain::find_pulses(question, phi, wanted);
    require_same("find_pulses", found.place, wanted.place, pulses);
    require_same("find_pulses", found.sign, wanted.sign, pulses);
  }
}

void ask_for_pulses(AcelpWork& work, const float* dn, const float* wn, const float* cn,
                    PulseQuestion& question) {
  float positive[places];
  std::copy_n(dn, places, positive);
  preselect(work, positive, cn);
  for (int t = 0; t < tracks; ++t) {
    int* const candidate = question.candidate + candidates * t;
    int found = 0;
    for (int j = 0; j < positions; ++j) {
      const int n = t + tracks * j, p = positions * t + j;
      question.dn[p] = dn[n];
      question.wn[p] = wn[n];
      question.sign[p] = work.sign[static_cast<std::size_t>(n)];
      if (work.dn2[static_cast<std::size_t>(n)] < 0.0f) candidate[found++] = p;
    }
    // Fewer are marked where measures are no numbers.
    std::fill(candidate + found, candidate + candidates, positions * t);
    question.first[t] = place_of(work.pos_max[static_cast<std::size_t>(t)]);
  }
}

void build_code(const Pulses& pulses, const float* h, float* code, float* y) {
  std::fill_n(code, places, 0.0f);
  std::fill_n(y, places, 0.0f);
  for (int k = 0; k < pulse_limits::pulses; ++k) {
    const int sample = pulses.place[k] % positions * tracks + pulses.place[k] / positions;
    const float sign = pulses.sign[k];
    code[sample] += sign;
    for (int n = sample; n < places; ++n) y[n] += sign * h[n - sample];
  }
}

void pulse_words(const Pulses& pulses, std::int32_t* words) {
  for (int t = 0; t < tracks; ++t) {
    // The first pulse's sign is sent; the second has it too, unless it lies before the first.
    int a = t, b = t + tracks;
    const bool agree = pulses.sign[a] == pulses.sign[b];
    if (agree ? pulses.place[b] < pulses.place[a] : pulses.place[a] < pulses.place[b]) {
      std::swap(a, b);
    }
    words[t] = (pulses.sign[a] < 0.0f ? 256 : 0) + 16 * (pulses.place[a] % positions) +
               pulses.place[b] % positions;
  }
}

}  // namespace quel::wideband
