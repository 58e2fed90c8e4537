#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "wideband/dec45_85.h"
#include "wideband/dec_wb.h"
#include "wideband/frames.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf2a.h"
#include "wideband/pred_lt16.h"

namespace quel::test {

inline constexpr int past = WidebandDecoder::past;

inline Pcm decode(WidebandDecoder& decoder, const Words& words, int bad_lsf = 0,
                  int bad_pitch = 0) {
  Pcm out;
  out.fill(12345);
  decod_wb(decoder, words.data(), out.data(), bad_lsf, bad_pitch);
  return out;
}

inline Words lost(Words words = {}) {
  words[0] = 1;
  return words;
}

inline bool same_state(const WidebandDecoder& a, const WidebandDecoder& b) {
  return a.exc == b.exc && a.mem_syn == b.mem_syn && a.mem_post == b.mem_post &&
         a.last_filter == b.last_filter && a.last_postfilter == b.last_postfilter &&
         a.old_lsp == b.old_lsp && a.lsf.past_q_target == b.lsf.past_q_target &&
         a.lsf.past_lsf_q == b.lsf.past_lsf_q && a.lsf.k == b.lsf.k &&
         a.lag.old_T0 == b.lag.old_T0 && a.lag.T0_min == b.lag.T0_min &&
         a.lag.T0_max == b.lag.T0_max && a.gains.past_qua_en == b.gains.past_qua_en &&
         a.gains.past_gain_pit == b.gains.past_gain_pit &&
         a.gains.past_gain_code == b.gains.past_gain_code && a.random == b.random;
}

inline bool finite_state(const WidebandDecoder& d) {
  return is_sane(d.exc.data(), past + 160) && is_sane(d.mem_syn.data(), 16) &&
         is_sane(d.mem_post.data(), 16) && is_sane(d.last_filter.data(), 17) &&
         is_sane(d.last_postfilter.data(), 17) && is_sane(d.old_lsp.data(), 16) &&
         is_sane(d.lsf.past_q_target.data(), 16) && is_sane(d.gains.past_qua_en.data(), 2);
}

/// One received frame from the decoder's state, formulated for itself in double: excitation by
/// direct interpolation, synthesis and postfilter sample by sample.
class PlainFrame {
 public:
  PlainFrame(const WidebandDecoder& state, const Words& words) : d_(state) {
    const auto old_lsp = d_.old_lsp;
    std::array<float, 16> lsp;
    std::array<float, 34> filters;
    d_lsp(d_.lsf, words.data() + 1, lsp.data(), 0);
    int_lpc(old_lsp.data(), lsp.data(), filters.data(), 16);
    exc.assign(d_.exc.begin(), d_.exc.end());
    std::vector<double> synth(d_.mem_syn.begin(), d_.mem_syn.end());
    for (std::size_t k = 0; k < 2; ++k) {
      excite(words.data() + 7 + 8 * k, static_cast<int>(k));
      all_pole(&filters[17 * k], 1.0, exc.data() + past + 80 * k, 80, synth);
    }
    post(synth);
  }

  std::vector<double> exc;  // history and frame
  std::vector<double> out;

 private:
  void excite(const std::int32_t* words, int k) {
    int frac = 0;
    const int T0 = dec_lag3(d_.lag, words[0], 30, 281, 80 * k, &frac, 0);
    const double gain_pit = wideband::qua_gain_pitch[static_cast<std::size_t>(words[1])];
    const double sharpening = gain_pit > 1.0 ? 1.0 : gain_pit;
    std::array<float, 80> pulses;
    DEC_ACELP_45_85(words + 2, pulses.data());
    std::vector<double> code(pulses.begin(), pulses.end());
    for (int n = T0; n < 80; ++n) at(code, n) += sharpening * at(code, n - T0);
    double energy = 0.01;
    for (const double c : code) energy += c * c;
    const auto& en = d_.gains.past_qua_en;
    const double p = 19 + 0.8 * en[0] + 0.6 * en[1] - 10 * std::log10(energy / 80);
    const double row = wideband::qua_gain_code[static_cast<std::size_t>(words[7])];
    d_.gains.past_qua_en = {static_cast<float>(20 * std::log10(row)), en[0]};
    const double gain_code = std::pow(10, p / 20) * row;
    // A delay of T0 + frac/3 samples: the interpolation filter is sampled at thirds, and its tap
    // at distance d thirds from the wanted instant is inter3_2[|d|].
    std::vector<double> adaptive(80);
    for (int n = 0; n < 80; ++n) {
      for (int m = n - T0 - 11; m <= n - T0 + 11; ++m) {
        const int thirds = std::abs(3 * (n - T0 - m) - frac);
        if (thirds > 30) continue;
        const double x = m < 0 ? at(exc, past + 80 * k + m) : at(adaptive, m);
        at(adaptive, n) += wideband::inter3_2[static_cast<std::size_t>(thirds)] * x;
      }
    }
    for (int n = 0; n < 80; ++n) {
      at(exc, past + 80 * k + n) = gain_pit * at(adaptive, n) + gain_code * at(code, n);
    }
  }

  static double& at(std::vector<double>& x, int n) { return x[static_cast<std::size_t>(n)]; }

  /// Appends to y, which opens with 16 past outputs, the output of 1/A(z/gamma).
  static void all_pole(const float* a, double gamma, const double* x, int n,
                       std::vector<double>& y) {
    for (int i = 0; i < n; ++i) {
      double sum = x[i];
      for (std::size_t k = 1; k <= 16; ++k) {
        sum -= a[k] * std::pow(gamma, static_cast<double>(k)) * y[y.size() - k];
      }
      y.push_back(sum);
    }
  }

  void post(const std::vector<double>& synth) {
    std::vector<double> old(d_.mem_post.begin(), d_.mem_post.end()), now = old;
    all_pole(d_.last_postfilter.data(), 1.0, synth.data() + 16, 30, old);
    all_pole(d_.last_filter.data(), 0.5, synth.data() + 16, 160, now);
    for (std::size_t n = 0; n < 160; ++n) {
      const double fac = n < 30 ? 1.0 - static_cast<double>(n) / 30 : 0.0;
      out.push_back(fac * (n < 30 ? old[16 + n] : 0.0) + (1 - fac) * now[16 + n]);
    }
  }

  WidebandDecoder d_;
};

/// The sample is v, rounded as PCM is, but for float errors of a few parts in a million of v and of
/// the larger samples that filtered into it.
inline void expect_pcm(int sample, double v) {
  const double error = 0.02 + 2e-5 * std::fabs(v);
  EXPECT_GE(sample, float_to_pcm(static_cast<float>(v - error)));
  EXPECT_LE(sample, float_to_pcm(static_cast<float>(v + error)));
}

inline void expect_like_plain(const WidebandDecoder& before, const Words& words,
                              const WidebandDecoder& after, const Pcm& out) {
  const PlainFrame plain(before, words);
  double peak = 1.0;
  for (const double v : plain.exc) peak = std::max(peak, std::fabs(v));
  for (std::size_t n = 0; n < 160; ++n) {
    // Floats against doubles: some ten roundings per sample, which the filters keep or damp.
    ASSERT_NEAR(after.exc[past - 160 + n], plain.exc[past + n], 2e-5 * peak);
    expect_pcm(out[n], plain.out[n]);
  }
}

}  // namespace quel::test
