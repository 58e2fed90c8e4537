#include "narrowband/pulse_search.h"

#include <algorithm>
#include <cstddef>

#include "dsp/response_matrix.h"
#include "dsp/scratch.h"
#include "narrowband/Acb2_10.h"
#include "narrowband/Acb3_10.h"
#include "narrowband/acb27_15.h"
#include "narrowband/acb_common.h"
#include "narrowband/kernels.h"

namespace quel::narrowband {
namespace {

constexpr int per_track = 16;

// Half energies and blocks of cross-correlations, as cross_blocks lays them out, less their part
// along y1.
void free_blocks(const PulseTarget& target, int step, int blocks, const float* sign, float* rr_diag,
                 float* rr) {
  const int apart = step / 3;
  const int count = acb_len / step;
  half_energies_of_all(target.h, apart, step, rr_diag);
  cross_blocks(target.h, step, blocks, sign, rr);
  const auto along = [&](int track, int j) {
    const int p = apart * track + step * j;
    return sign == nullptr ? target.dn1[p] : sign[p] * target.dn1[p];
  };
  float part[3][per_track];
  for (int track = 0; track < 3; ++track) {
    for (int j = 0; j < count; ++j) {
      part[track][j] = along(track, j);
      rr_diag[track * count + j] -= 0.5f * target.weight * part[track][j] * part[track][j];
    }
  }
  for (int b = 0; b < blocks; ++b) {
    const float* y = part[(b + 1) % 3];
    for (int jx = 0; jx < count; ++jx) {
      const float x = target.weight * part[b][jx];
      float* row = rr + (b * count + jx) * count;
      for (int jy = 0; jy < count; ++jy) row[jy] -= x * y[jy];
    }
  }
}

// Two pulses a track, pulse k on track k / 2.
struct SixPulses {
  int place[six_pulse_count] = {};
  float sign[six_pulse_count] = {};  // 0 of those that are not there
  float ps = 0.0f;                   // <dn, pulses>
  float alp = 0.0f;                  // their energy

  float merit() const { return alp > 0.0f ? ps * ps / alp : 0.0f; }
};

class SixPulseSearch {
 public:
  SixPulseSearch(const PulseTarget& target, PulseCorrelations& phi) : phi_(phi.data()) {
    float dn1[acb_len];
    for (int place = 0; place < acb_len; ++place) {
      const int position = 3 * (place % per_track) + place / per_track;
      dn_[place] = target.dn[position];
      dn1[place] = target.dn1[position];
    }
    correlate_pulses(target.h, phi_);
    if (target.weight > 0.0f) free_pitch_gain(dn1, target.weight, phi_);
    for (int place = 0; place < acb_len; ++place) energy_[place] = phi_[place * acb_len + place];
  }

  // Pulse after pulse to the best place that is left.
  SixPulses greedy() const {
    SixPulses found;
    for (int count = 0; count < six_pulse_count; ++count) {
      Move best;
      for (int track = 0; track < 3; ++track) {
        const int pulse = 2 * track + (found.sign[2 * track] != 0.0f ? 1 : 0);
        if (found.sign[pulse] != 0.0f) continue;
        const Move move = best_move(found, pulse, -1);
        if (best.pulse < 0 || move.merit > best.merit) best = move;
      }
      make(found, best);
    }
    return found;
  }

  // Moves one pulse at a time until none gains by it; `first` is the first to be tried.
  void descend(SixPulses& pulses, int first) const {
    constexpr int rounds = 4;
    int still = 0;
    for (int k = 0; k < rounds * six_pulse_count && still < six_pulse_count; ++k) {
      const int pulse = (first + k) % six_pulse_count;
      SixPulses rest = pulses;
      remove(rest, pulse);
      const Move move = best_move(rest, pulse, -1);
      const bool gains = move.merit > pulses.merit();
      if (gains) {
        make(rest, move);
        pulses = rest;
      }
      still = gains ? 0 : still + 1;
    }
  }

  // Forces a pulse to another place.
  void kick(SixPulses& pulses, int pulse) const {
    const int barred = pulses.place[pulse] % per_track;
    remove(pulses, pulse);
    make(pulses, best_move(pulses, pulse, barred));
  }

 private:
  struct Move {
    int pulse = -1;
    int place = 0;
    float sign = 1.0f;
    float merit = 0.0f;
  };

  // The best place for a pulse that is not there, but for `barred` of its track.
  Move best_move(const SixPulses& pulses, int pulse, int barred) const {
    // Two pulses of a track at one place have one sign.
    const int twin = pulse ^ 1;
    const int opposite = pulses.place[twin] % per_track + (pulses.sign[twin] > 0.0f ? 16 : 0);
    const int bars[max_barred] = {pulses.sign[twin] != 0.0f ? opposite : -1, barred,
                                  barred < 0 ? -1 : barred + 16};
    Move move;
    move.pulse = pulse;
    const int best = best_pulse({dn_, phi_, energy_, pulses.ps, pulses.alp}, pulses.place,
                                pulses.sign, pulse / 2, bars, &move.merit);
    move.place = per_track * (pulse / 2) + best % per_track;
    move.sign = best < per_track ? 1.0f : -1.0f;
    return move;
  }

  // <response to a pulse at `place`, pulses>
  float cross(const SixPulses& pulses, int place) const {
    float sum = 0.0f;
    for (int k = 0; k < six_pulse_count; ++k) {
      sum += pulses.sign[k] * phi_[pulses.place[k] * acb_len + place];
    }
    return sum;
  }

  void remove(SixPulses& pulses, int pulse) const {
    const int place = pulses.place[pulse];
    const float sign = pulses.sign[pulse];
    pulses.sign[pulse] = 0.0f;
    pulses.ps -= sign * dn_[place];
    pulses.alp -= energy_[place] + 2.0f * sign * cross(pulses, place);
  }

  void make(SixPulses& pulses, const Move& move) const {
    pulses.ps += move.sign * dn_[move.place];
    pulses.alp += energy_[move.place] + 2.0f * move.sign * cross(pulses, move.place);
    pulses.place[move.pulse] = move.place;
    pulses.sign[move.pulse] = move.sign;
  }

  float* phi_;
  float dn_[acb_len];
  float energy_[acb_len];
};

// The order of the two pulses says whether the second has the first's sign.
std::int32_t pair_word(int first, float first_sign, int second, float second_sign) {
  const bool same = first_sign == second_sign;
  if (same ? second < first : second > first) {
    std::swap(first, second);
    std::swap(first_sign, second_sign);
  }
  return (first_sign < 0.0f ? 256 : 0) + 16 * first + second;
}

}  // namespace

void search_three_pulses(const PulseTarget& target, std::int32_t* index) {
  Scratch sign(acb_len), dn(acb_len), rr_diag(acb_len), rr(3 * 256);
  for (int n = 0; n < acb_len; ++n) {
    sign[n] = target.dn[n] < 0.0f ? -1.0f : 1.0f;
    dn[n] = target.dn[n] * sign[n];
  }
  free_blocks(target, 3, 3, sign.data(), rr_diag.data(), rr.data());
  float sq = -1.0f;
  float alpha = 1.0f;
  int best[3] = {0, 1, 2};
  for (int j = 0; j < per_track; ++j) {
    float ps = dn[3 * j];
    float alp = rr_diag[j];
    float rr_x[per_track], rr_y[per_track];
    for (int k = 0; k < per_track; ++k) {
      rr_x[k] = rr_diag[16 + k] + rr[16 * j + k];
      rr_y[k] = rr_diag[32 + k] + rr[512 + 16 * k + j];
    }
    int x = 0, y = 0;
    search_ixiy(1, 2, &ps, &alp, &x, &y, dn.data(), nullptr, rr_x, rr_y, rr.data());
    if (alpha * (ps * ps) - sq * alp > 0.0f) {
      sq = ps * ps;
      alpha = alp;
      best[0] = 3 * j;
      best[1] = x;
      best[2] = y;
    }
  }
  for (const int p : best) index[p % 3] = p / 3 + (sign[p] < 0.0f ? 16 : 0);
}

void search_six_pulses(const PulseTarget& target, int kicks, PulseCorrelations& phi,
                       std::int32_t* index) {
  const SixPulseSearch search(target, phi);
  SixPulses best = search.greedy();
  search.descend(best, 0);
  for (int k = 0; k < kicks; ++k) {
    SixPulses other = best;
    const int second = k + 1 + k / six_pulse_count;
    search.kick(other, k % six_pulse_count);
    search.kick(other, second % six_pulse_count);
    search.descend(other, (second + 1) % six_pulse_count);
    if (other.merit() > best.merit()) best = other;
  }
  for (int track = 0; track < 3; ++track) {
    const int a = 2 * track, b = a + 1;
    index[track] =
        pair_word(best.place[a] % per_track, best.sign[a], best.place[b] % per_track, best.sign[b]);
  }
}

void search_opposite_pair(const PulseTarget& target, std::int32_t* index) {
  Scratch rr_diag(acb_len), rr(2 * 256);
  free_blocks(target, 3, 2, nullptr, rr_diag.data(), rr.data());
  acb_2p10b(target.dn, rr_diag.data(), rr.data(), index);
}

void search_sparse_triple(const PulseTarget& target, std::int32_t* index) {
  Scratch sign(acb_len), dn(acb_len), rr_diag(3 * 8), rr(3 * 64);
  std::copy_n(target.dn, acb_len, dn.data());
  fold_triple_signs(dn.data(), sign.data());
  free_blocks(target, 6, 3, sign.data(), rr_diag.data(), rr.data());
  acb_3p10b(dn.data(), rr_diag.data(), rr.data(), index);
}

void correlate_pulses(const float* h, float* phi) {
  narrowband_kernels().correlate_pulses(h, phi);
}

void free_pitch_gain(const float* dn1, float weight, float* phi) {
  narrowband_kernels().free_pitch_gain(dn1, weight, phi);
}

int best_pulse(const SixPulseTarget& target, const int* place, const float* sign, int track,
               const int* barred, float* merit) {
  return narrowband_kernels().best_pulse(target, place, sign, track, barred, merit);
}

namespace plain {

void correlate_pulses(const float* h, float* phi) {
  quel::plain::response_matrix<3>(h, phi);
}

void free_pitch_gain(const float* dn1, float weight, float* phi) {
  for (int i = 0; i < acb_len; ++i) {
    const float x = weight * dn1[i];
    for (int j = 0; j < acb_len; ++j) phi[i * acb_len + j] -= x * dn1[j];
  }
}

int best_pulse(const SixPulseTarget& target, const int* place, const float* sign, int track,
               const int* barred, float* merit) {
  int best = 0;
  *merit = -1.0f;
  for (int result = 0; result < 2 * per_track; ++result) {
    if (std::find(barred, barred + max_barred, result) != barred + max_barred) continue;
    const int at = per_track * track + result % per_track;
    const float sign_now = result < per_track ? 1.0f : -1.0f;
    float cross = 0.0f;
    for (int k = 0; k < six_pulse_count; ++k)
      cross += sign[k] * target.phi[place[k] * acb_len + at];
    const float c = target.ps + sign_now * target.dn[at];
    const float e = target.alp + target.energy[at] + sign_now * (cross + cross);
    const float value = c * c / e;
    if (c > 0.0f && e > 0.0f && value > *merit) {
      *merit = value;
      best = result;
    }
  }
  return best;
}

}  // namespace plain
}  // namespace quel::narrowband
