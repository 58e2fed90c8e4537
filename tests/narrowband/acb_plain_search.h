#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "acb_subframe.h"

namespace quel::test {

/// ACB_27 and ACB_15 written out in double: every candidate's filtered vector is built and measured
/// against the target itself; no correlations, no recursion, nothing halved. Results are the pulses
/// with their signs.
class PlainSearch {
 public:
  explicit PlainSearch(const AcbSubframe& s) : s_(s) {}

  std::vector<float> acb_27() {
    double e_res = 0, e_dn = 0;
    for (int n = 0; n < 48; ++n) {
      e_res += static_cast<double>(s_.res[n]) * s_.res[n];
      e_dn += static_cast<double>(s_.dn[n]) * s_.dn[n];
    }
    for (int n = 0; n < 48; ++n) sel_[n] = 2.0 * s_.dn[n] + s_.res[n] * std::sqrt(e_dn / e_res);
    prepare();
    for (int k = 0; k < 3; ++k) {
      std::vector<int> placed;
      for (int i = 0; i < 6; i += 2) add_pair(placed, (k + i) % 3, (k + i + 1) % 3);
      keep(placed);
    }
    return code();
  }

  std::vector<float> acb_15() {
    std::copy_n(s_.dn, 48, sel_);
    prepare();
    for (int k = 0; k < 3; ++k) {
      for (int i = 0; i < 3; ++i) {
        std::vector<int> placed = {candidates_[k][static_cast<std::size_t>(i)]};
        add_pair(placed, (k + 1) % 3, (k + 2) % 3);
        keep(placed);
      }
    }
    return code();
  }

 private:
  struct Merit {
    double num = -1, den = 1;
    bool better_than(const Merit& other) const { return num * other.den > other.num * den; }
  };

  // Signs, filtered pulses and the six strongest positions of each track, strongest first.
  void prepare() {
    for (int p = 0; p < 48; ++p) {
      sign_[p] = sel_[p] < 0 ? -1 : 1;
      for (int n = p; n < 48; ++n) pulse_[p][n] = sign_[p] * static_cast<double>(s_.h[n - p]);
    }
    for (int track = 0; track < 3; ++track) {
      std::vector<int>& order = candidates_[track];
      for (int p = track; p < 48; p += 3) order.push_back(p);
      std::stable_sort(order.begin(), order.end(),
                       [&](int p, int q) { return std::abs(sel_[p]) > std::abs(sel_[q]); });
      order.resize(6);
    }
  }

  Merit measure(const double* y, const double* p, const double* q) const {
    double xy = 0, yy = 0;
    for (int n = 0; n < 48; ++n) {
      const double v = y[n] + p[n] + q[n];
      xy += s_.x2[n] * v;
      yy += v * v;
    }
    return {xy * xy, yy};
  }

  void sum_of(const std::vector<int>& placed, double* y) const {
    std::fill_n(y, 48, 0.0);
    for (const int p : placed) {
      for (int n = 0; n < 48; ++n) y[n] += pulse_[p][n];
    }
  }

  void add_pair(std::vector<int>& placed, int tx, int ty) const {
    double y[48];
    sum_of(placed, y);
    std::vector<int> first = candidates_[tx];
    std::sort(first.begin(), first.end());
    Merit best;
    int best_p = -1, best_q = -1;
    for (const int p : first) {
      for (int q = ty; q < 48; q += 3) {
        const Merit merit = measure(y, pulse_[p], pulse_[q]);
        if (!merit.better_than(best)) continue;
        best = merit;
        best_p = p;
        best_q = q;
      }
    }
    placed.push_back(best_p);
    placed.push_back(best_q);
  }

  void keep(const std::vector<int>& placed) {
    const double none[48] = {};
    double y[48];
    sum_of(placed, y);
    const Merit merit = measure(y, none, none);
    if (!merit.better_than(best_)) return;
    best_ = merit;
    kept_ = placed;
  }

  std::vector<float> code() const {
    std::vector<float> out(48);
    for (const int p : kept_) out[static_cast<std::size_t>(p)] += static_cast<float>(sign_[p]);
    return out;
  }

  const AcbSubframe& s_;
  double sel_[48] = {};
  int sign_[48] = {};
  double pulse_[48][48] = {};
  std::vector<int> candidates_[3];
  Merit best_;
  std::vector<int> kept_;
};

/// The best merit of all 2^15 words of ACB_15.
inline double exhaustive_15(const AcbSubframe& s) {
  double rr[48][48];
  for (int p = 0; p < 48; ++p) {
    for (int q = p; q < 48; ++q) {
      double sum = 0;
      for (int n = q; n < 48; ++n) sum += static_cast<double>(s.h[n - p]) * s.h[n - q];
      rr[p][q] = rr[q][p] = sum;
    }
  }
  double best = 0;
  for (int p = 0; p < 48; p += 3) {
    for (int q = 1; q < 48; q += 3) {
      for (int r = 2; r < 48; r += 3) {
        for (int signs = 0; signs < 4; ++signs) {  // all three reversed have the same merit
          const double b = (signs & 1) != 0 ? -1 : 1, c = (signs & 2) != 0 ? -1 : 1;
          const double xy = s.dn[p] + b * s.dn[q] + c * s.dn[r];
          const double yy =
              rr[p][p] + rr[q][q] + rr[r][r] + 2 * (b * rr[p][q] + c * rr[p][r] + b * c * rr[q][r]);
          best = std::max(best, xy * xy / yy);
        }
      }
    }
  }
  return best;
}

}  // namespace quel::test
