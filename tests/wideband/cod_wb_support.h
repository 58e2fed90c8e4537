#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

#include "wideband/a2lsf.h"
#include "wideband/cod_wb.h"
#include "wideband/frames.h"
#include "wideband/gain_tables16.h"
#include "wideband/lag3.h"
#include "wideband/lsf2a.h"
#include "wideband/pitch_16.h"
#include "wideband/pred_lt16.h"

// Each step between the encoder's quantisers and searches, formulated for itself in double. The
// quantisers and searches have tests of their own; here they must have met the right signals.

namespace quel::test {

using Doubles = std::vector<double>;

inline double& at(Doubles& x, int n) {
  return x[static_cast<std::size_t>(n)];
}
inline double at(const Doubles& x, int n) {
  return x[static_cast<std::size_t>(n)];
}

/// Output of 1/A(z/gamma), appended to its 16 past outputs.
inline Doubles all_pole(const float* a, double gamma, const double* x, int n, const float* past) {
  Doubles y(past, past + 16);
  for (int i = 0; i < n; ++i) {
    double sum = x[i];
    for (int k = 1; k <= 16; ++k) sum -= a[k] * std::pow(gamma, k) * at(y, i + 16 - k);
    y.push_back(sum);
  }
  return y;
}

inline double dot(const Doubles& x, const Doubles& y) {
  double sum = 0;
  for (std::size_t n = 0; n < x.size(); ++n) sum += x[n] * y[n];
  return sum;
}

inline Doubles filtered(const double* x, const Doubles& h, int taps = 80) {
  Doubles y(80);
  for (int n = 0; n < 80; ++n) {
    for (int k = 0; k <= std::min(n, taps - 1); ++k) at(y, n) += at(h, k) * x[n - k];
  }
  return y;
}

template <std::size_t n>
double nearest(double value, double scale, const std::array<float, n>& table) {
  return scale * *std::min_element(table.begin(), table.end(), [&](double a, double b) {
           return std::fabs(value - scale * a) < std::fabs(value - scale * b);
         });
}

/// One frame: the encoder before it (samples in place) and after it, and the words.
class PlainEncoderFrame {
 public:
  PlainEncoderFrame(const WidebandEncoder& before, const WidebandEncoder& after, const Words& words)
      : b_(before), a_(after), words_(words) {}

  void check() {
    spectrum();
    if (testing::Test::HasFatalFailure()) return;
    weighted_speech();
    open_loop();
    exc_.assign(b_.exc.begin(), b_.exc.end());
    target_memory_ = b_.mem_target;
    subframe(0);
    subframe(1);
    for (std::size_t j = 0; j < 16; ++j) {
      EXPECT_NEAR(a_.mem_target[j], target_memory_[j], tolerance_) << j;
    }
  }

  int lags_shorter_than_the_subframe = 0, decided_gains = 0, decided_signs = 0;

 private:
  static constexpr double tolerance_ = 0.05;  // signals near 10000 through a few float filters

  // Autocorrelation, lag window and recursion in double; the coder's conversion and quantiser.
  void spectrum() {
    Doubles y(480), r(17);
    for (int n = 0; n < 480; ++n) {
      const double w = n < 400 ? 0.54 - 0.46 * std::cos(2 * std::numbers::pi * n / 799)
                               : std::cos(2 * std::numbers::pi * (n - 400) / 319);
      at(y, n) = w * a_.prefiltered[static_cast<std::size_t>(n)];
    }
    for (int k = 0; k <= 16; ++k) {
      for (int n = k; n < 480; ++n) at(r, k) += at(y, n) * at(y, n - k);
      at(r, k) *= std::exp(-0.5 * std::pow(2 * std::numbers::pi * 60 * k / 16000, 2));
    }
    r[0] = 1.00003 * std::max(r[0], 1.0);
    Doubles a(17);
    a[0] = 1;
    double err = r[0];
    for (int i = 1; i <= 16; ++i) {
      double s = 0;
      for (int j = 0; j < i; ++j) s += at(a, j) * at(r, i - j);
      const Doubles last = a;
      for (int j = 1; j <= i; ++j) at(a, j) = at(last, j) - s / err * at(last, i - j);
      err -= s * s / err;
    }
    const std::vector<float> filter(a.begin(), a.end());
    std::array<float, 16> lsp;
    a2lsf(filter.data(), lsp.data(), b_.old_lsp.data(), 16);
    LsfQuantizer quantizer = b_.lsf;
    std::array<std::int32_t, 6> indices;
    auto quantised = lsp;
    q_lsp(quantizer, quantised.data(), indices.data());
    // Lines from floats and from doubles may fall to either side of a border between codevectors:
    // the quantised lines then are as good, if not the same.
    double wanted = 0, got = 0;
    for (std::size_t i = 0; i < 16; ++i) {
      const double hz = std::acos(lsp[i]) * 8000 / std::numbers::pi;
      wanted += std::pow(hz - std::acos(quantised[i]) * 8000 / std::numbers::pi, 2);
      got += std::pow(hz - std::acos(a_.old_lsp[i]) * 8000 / std::numbers::pi, 2);
    }
    ASSERT_NEAR(std::sqrt(got), std::sqrt(wanted), 1.0);  // Hz, of some 200
    int_lpc(b_.old_lsp.data(), a_.old_lsp.data(), Aq_.data(), 16);
    for (std::size_t i = 0; i <= 16; ++i) EXPECT_EQ(a_.last_filter[i], Aq_[17 + i]);
  }

  void weighted_speech() {
    res_.assign(a_.res.begin(), a_.res.end());
    Doubles speech(b_.coded.begin(), b_.coded.begin() + 16);
    speech.insert(speech.end(), a_.coded.begin() + 16, a_.coded.end());
    Doubles wsp(b_.decimator.mem.begin(), b_.decimator.mem.end());
    std::vector<float> memory(b_.mem_w.begin(), b_.mem_w.end());
    for (int s = 0; s < 2; ++s) {
      const float* A = Aq_.data() + 17 * s;
      for (int n = 80 * s; n < 80 * s + 80; ++n) {
        double sum = 0;
        for (int i = 0; i <= 16; ++i) sum += A[i] * at(speech, 16 + n - i);
        EXPECT_NEAR(at(res_, n), sum, tolerance_) << n;
      }
      const Doubles y = all_pole(A, 0.85, res_.data() + 80 * s, 80, memory.data());
      wsp.insert(wsp.end(), y.begin() + 16, y.end());
      memory.assign(y.end() - 16, y.end());
    }
    for (std::size_t i = 0; i < 16; ++i) EXPECT_NEAR(a_.mem_w[i], memory[i], tolerance_);
    constexpr double h[] = {0.140008122, 0.226421207, 0.272192061, 0.226421207, 0.140008122};
    for (int n = 0; n < 53; ++n) {
      double sum = 0;
      for (int k = 0; k < 5; ++k) sum += h[k] * at(wsp, 3 * n + k);
      EXPECT_NEAR(a_.wsp[static_cast<std::size_t>(40 + n)], sum, tolerance_) << n;
    }
    EXPECT_TRUE(std::equal(b_.wsp.begin() + 53, b_.wsp.begin() + 93, a_.wsp.begin()));
  }

  void open_loop() {
    std::vector<float> wsp(b_.wsp.begin(), b_.wsp.begin() + 93);
    wsp.insert(wsp.end(), a_.wsp.begin() + 40, a_.wsp.begin() + 93);
    const int T_op = 3 * pitch_ol16(wsp.data() + 93, 10, 93, 53);
    low_ = std::max(T_op - 6, 30);
    high_ = low_ + 12;
    if (high_ > 281) {
      low_ = 269;
      high_ = 281;
    }
  }

  /// Correlation of the target with the excitation at a whole lag, through 40 taps, over the root
  /// of its energy.
  double merit(int T, const Doubles& exc, const Doubles& xn, const Doubles& h) const {
    const Doubles y = filtered(exc.data() + 292 - T, h, 40);
    return dot(xn, y) / std::sqrt(0.01 + dot(y, y));
  }

  void subframe(int s) {
    SCOPED_TRACE(s);
    const float* A = Aq_.data() + 17 * s;
    const std::int32_t* words = words_.data() + 7 + 8 * s;
    const double* res = res_.data() + 80 * s;
    Doubles impulse(80);
    impulse[0] = 1;
    const std::array<float, 16> zeros{};
    Doubles xn = all_pole(A, 0.85, res, 80, target_memory_.data());
    Doubles h = all_pole(A, 0.85, impulse.data(), 80, zeros.data());
    xn.erase(xn.begin(), xn.begin() + 16);
    h.erase(h.begin(), h.begin() + 16);

    // The past as the search meets it, the residual in place of what is not known yet.
    Doubles exc(exc_.begin() + 80 * s, exc_.begin() + 80 * s + 292);
    exc.insert(exc.end(), res, res + 80);
    int frac = 0;
    const int T0 = dec_lag3(lag_, words[0], 30, 281, 80 * s, &frac, 0);
    const int low = s == 0 ? low_ : lag_.T0_min, high = s == 0 ? high_ : lag_.T0_max;
    ASSERT_GE(3 * T0 + frac, 3 * low - 2);
    ASSERT_LE(3 * T0 + frac, 3 * high + 2);
    if (T0 > low && T0 < high) {
      double best = -1e30, chosen = -1e30;
      for (int T = low; T <= high; ++T) {
        const double c = merit(T, exc, xn, h);
        best = std::max(best, c);
        if (std::abs(T - T0) <= 1) chosen = std::max(chosen, c);  // a fraction may lead over
      }
      EXPECT_GE(chosen, best - 1e-4 * std::sqrt(dot(xn, xn)));  // float energies and products
    }
    lags_shorter_than_the_subframe += T0 < 80 ? 1 : 0;

    std::vector<float> buffer(exc16_history - 292);
    buffer.insert(buffer.end(), exc.begin(), exc.end());
    pred_lt16(buffer.data() + exc16_history, T0, frac, 80);
    const Doubles adaptive(buffer.begin() + exc16_history, buffer.end());
    const Doubles y1 = filtered(adaptive.data(), h);
    const double gain_pit = wideband::qua_gain_pitch[static_cast<std::size_t>(words[1])];
    const double wanted = dot(xn, y1) / (0.01 + dot(y1, y1));
    EXPECT_LE(std::fabs(gain_pit - wanted),
              std::fabs(nearest(wanted, 1.0, wideband::qua_gain_pitch) - wanted) + 1e-4);

    Doubles xn2(80), cn(80), dn(80);
    for (int n = 0; n < 80; ++n) {
      at(xn2, n) = at(xn, n) - gain_pit * at(y1, n);
      at(cn, n) = res[n] - gain_pit * at(adaptive, n);
    }
    const double sharpening = std::min(gain_pit, 1.0);
    for (int n = T0; n < 80; ++n) at(h, n) += sharpening * at(h, n - T0);
    for (int n = 0; n < 80; ++n) {
      for (int k = 0; k < 80 - n; ++k) at(dn, n) += at(xn2, n + k) * at(h, k);
    }
    if (s == 1) signs(dn, cn, h);  // the work areas still hold the second subframe's

    Doubles code(80);
    decode_pulses(words + 2, code);
    const Doubles y2 = filtered(code.data(), h);
    for (int n = T0; n < 80; ++n) at(code, n) += sharpening * at(code, n - T0);
    const double p = 19 + 0.8 * energies_[0] + 0.6 * energies_[1] -
                     10 * std::log10((0.01 + dot(code, code)) / 80);
    const double gc0 = std::pow(10, p / 20);
    const double row = wideband::qua_gain_code[static_cast<std::size_t>(words[7])];
    const double gain_code = gc0 * row;
    const double free_gain = dot(xn2, y2) / (0.01 + dot(y2, y2));
    const double limit = std::fabs(nearest(free_gain, gc0, wideband::qua_gain_code) - free_gain);
    EXPECT_LE(std::fabs(gain_code - free_gain), limit + 1e-4 * gain_code);
    decided_gains += limit < 0.1 * gain_code ? 1 : 0;
    energies_ = {20 * std::log10(row), energies_[0]};

    for (int n = 0; n < 80; ++n) {
      const double sum = gain_pit * at(adaptive, n) + gain_code * at(code, n);
      const auto place = static_cast<std::size_t>(292 + 80 * s + n);
      EXPECT_NEAR(a_.exc[place - 160], sum, tolerance_) << n;
      exc_[place] = a_.exc[place - 160];
    }
    for (int j = 0; j < 16; ++j) {
      target_memory_[static_cast<std::size_t>(j)] =
          static_cast<float>(at(xn2, 64 + j) - gain_code * at(y2, 64 + j));
    }
  }

  static void decode_pulses(const std::int32_t* words, Doubles& code) {
    for (int t = 0; t < 5; ++t) {
      const int a = words[t] >> 4 & 15, b = words[t] & 15;
      const double sign = words[t] >> 8 != 0 ? -1 : 1;
      at(code, t + 5 * a) += sign;
      at(code, t + 5 * b) += b < a ? -sign : sign;
    }
  }

  void signs(const Doubles& dn, const Doubles& cn, const Doubles& h) {
    const double k = std::sqrt((1 + dot(dn, dn)) / (1 + dot(cn, cn)));
    const double scale = std::sqrt(dot(dn, dn) / 80);
    for (int n = 0; n < 80; ++n) {
      const auto i = static_cast<std::size_t>(n);
      EXPECT_NEAR(a_.acelp.h_plus[80 + i], at(h, n), 1e-4);  // floats of a few filters
      const double v = k * at(cn, n) + 2 * at(dn, n);
      if (std::fabs(v) < 1e-3 * scale) continue;
      EXPECT_EQ(a_.acelp.sign[i], v < 0 ? -1.0f : 1.0f) << n;
      ++decided_signs;
    }
  }

  const WidebandEncoder& b_;
  const WidebandEncoder& a_;
  const Words& words_;
  std::array<float, 34> Aq_{};
  Doubles res_;
  std::vector<float> exc_;
  std::array<float, 16> target_memory_{};
  std::array<double, 2> energies_{b_.gains.past_qua_en[0], b_.gains.past_qua_en[1]};
  LagDecoder lag_;
  int low_ = 0, high_ = 0;
};

}  // namespace quel::test
