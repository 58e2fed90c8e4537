#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitstream/mode.h"
#include "dsp/a2isp.h"
#include "dsp/autocorr.h"
#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"
#include "dsp/lag_wind.h"
#include "dsp/lev_dur.h"
#include "dsp/pcm.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "narrowband/cod_swt.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/d_gain2.h"
#include "narrowband/d_isp_5.h"
#include "narrowband/find_F.h"
#include "narrowband/ltp.h"
#include "narrowband/random_func.h"
#include "support/signals.h"

namespace quel::test {

using Words = std::array<std::int32_t, 21>;

inline Mode mode_for(int flavor) {
  Mode mode;
  set_mode(mode, flavor);
  return mode;
}

/// Codes whole frames of pcm from a fresh encoder.
inline std::vector<Words> encode(int flavor, const std::vector<std::int16_t>& pcm) {
  const Mode mode = mode_for(flavor);
  NarrowbandEncoder encoder;
  init_cod_swt(encoder);
  std::vector<Words> frames(pcm.size() / static_cast<std::size_t>(mode.len_frame));
  const std::int16_t* in = pcm.data();
  for (Words& prm : frames) {
    prm[0] = flavor;
    cod_swt(encoder, mode, in, prm.data());
    in += mode.len_frame;
  }
  return frames;
}

/// 7200 samples of two tones, `spacing` Hz apart, that swell three times: they want pitch gains
/// above 1, and close ones crowd two frequencies of the LP filter.
inline std::vector<std::int16_t> swelling_tones(double spacing) {
  std::vector<std::int16_t> pcm(7200);
  for (std::size_t n = 0; n < pcm.size(); ++n) {
    const double t = static_cast<double>(n % 2400);
    const double x = std::sin(0.7853981 * t) + std::sin((0.7853981 + spacing * 0.00078539816) * t);
    pcm[n] = static_cast<std::int16_t>(20 * std::exp(t / 400) * x);
  }
  return pcm;
}

/// A frame of random fields of the flavor's widths.
inline Words random_words(int flavor, Random& random) {
  constexpr int isf[] = {6, 7, 7, 7, 5};
  constexpr int tracks[] = {8, 5, 5, 5, 7, 5, 5, 5, 5, 7, 5, 5, 5, 5, 7};
  constexpr int pairs[] = {8, 9, 9, 9, 7, 5, 9, 9, 9, 7, 5, 9, 9, 9, 7};
  constexpr int switched[] = {8, 10, 7, 5, 10, 7, 8, 10, 7, 5, 10, 7, 5, 10, 7};
  const int* fields = flavor == 0 ? tracks : flavor == 1 ? pairs : switched;
  Words prm{flavor};
  for (std::size_t k = 0; k < 5; ++k) prm[1 + k] = random.integer(0, (1 << isf[k]) - 1);
  for (std::size_t k = 0; k < 15; ++k) prm[6 + k] = random.integer(0, (1 << fields[k]) - 1);
  return prm;
}

/// LP front end of the encoder over the whole signal, by plain indexing: the unquantised filters of
/// each frame, from the 240 newest samples, for the frame that ends 120 samples before them.
class PlainAnalysis {
 public:
  /// Takes one frame's samples; returns its filters, one block of 11 per subframe.
  std::vector<float> frame(const Mode& mode, const std::int16_t* in) {
    std::vector<float> fresh(in, in + mode.len_frame);
    hp_2nd(fresh.data(), mode.len_frame, a_200, b_200, memx_, memy_);
    speech.insert(speech.end(), fresh.begin(), fresh.end());
    float r[11], a[11], isp[10];
    autocorr(speech.data() + speech.size() - 240, r, 10, 240, window.data());
    lag_wind(r, 10);
    lev_dur(a, r, 10);
    a2isp(a, isp, isp_old_, 10);
    std::vector<float> filters(static_cast<std::size_t>(11 * mode.num_subfr));
    interpol_lpc(isp, isp_old_, filters.data(), mode.num_subfr);
    std::copy_n(isp, 10, isp_old_);
    return filters;
  }

  std::vector<float> speech = std::vector<float>(240);  ///< high-passed; 240 zeros before the input
  const float* isp() const { return isp_old_; }

 private:
  float memx_[2] = {}, memy_[2] = {};
  float isp_old_[10] = {0.9595f,  0.8413f,  0.6549f,  0.4154f,  0.1423f,
                        -0.1423f, -0.4154f, -0.6549f, -0.8413f, -0.9595f};
};

/// Excitation of a stream, rebuilt from its words. Lags are reckoned in thirds of a sample
/// throughout, nothing is guarded, enhanced or postfiltered.
class PlainDecoder {
 public:
  struct Subframe {
    int thirds;  ///< lag
    float gain_pit, gain_code;
    std::vector<float> code, A;  ///< [48], [11]
  };

  PlainDecoder() {
    init_d_isf_ma(isf);
    init_d_gain2(gains);
  }

  /// Decodes or conceals (bfi as in the decoders) one frame. `shaping` holds the filters of which
  /// the pulses are made; where it is empty, the decoded ones.
  void frame(const Mode& mode, const Words& prm, int bfi, const std::vector<float>& shaping = {}) {
    const bool five = prm[0] == 2;
    const int count = five ? 5 : 3;
    if (bfi == 0) last_mode = prm[0];
    float isp[10];
    std::vector<float> A(static_cast<std::size_t>(11 * count));
    d_isf_ma(isf, prm.data() + 1, isp, bfi);
    interpol_lpc(isp, isp_old, A.data(), count);
    std::copy_n(isp, 10, isp_old);

    for (int s = 0; s < count; ++s) {
      const std::int32_t* word = prm.data() + 6 + s * (five ? 3 : 5);
      const float* a = A.data() + 11 * s;
      const float* f = shaping.empty() ? a : shaping.data() + 11 * s;
      const int thirds = five ? lag_5k(mode, s, word[0], bfi) : lag(s, word[0], bfi);
      int T0 = (thirds + 1) / 3;
      if (five && bfi != 0) T0 = std::min(T0, 143);
      subframe(mode, five, s, bfi, thirds, T0, a, f, word + 1);
    }
  }

  std::vector<float> exc = std::vector<float>(154);       ///< total excitation, 154 zeros in front
  std::vector<float> synthesis = std::vector<float>(10);  ///< of it, 10 zeros in front
  std::vector<Subframe> subframes;
  IsfDequantizer isf;
  GainDequantizer gains;
  float isp_old[10] = {0.9595f,  0.8413f,  0.6549f,  0.4154f,  0.1423f,
                       -0.1423f, -0.4154f, -0.6549f, -0.8413f, -0.9595f};
  float old_gain_pit = 0;
  double old_lag = 180;  ///< thirds; a whole number unless the 5 kbit/s decoder has interpolated
  int last_mode = 1;
  std::int16_t seed = 21845;

 private:
  static int absolute(int index) { return index <= 196 ? index + 58 : 3 * (index - 112); }
  static int base(int thirds) { return std::clamp((thirds + 1) / 3 - 5, 20, 134); }

  int lag(int s, int index, int bfi) {
    int thirds = 0;
    if (bfi == 2) {
      thirds = 3 * std::min(static_cast<int>(old_lag) / 3 + 1, 143);
    } else if (bfi == 1) {
      if (s == 0) {
        start_ = old_lag;
        goal_ = absolute(index);
      }
      thirds = static_cast<int>(start_ + (s + 1) * 0.25 * (goal_ - start_));
    } else {
      thirds = s == 0 ? absolute(index) : 3 * t0_min_ + index - 2;
    }
    if (s == 0) t0_min_ = base(thirds);
    old_lag = thirds;
    return thirds;
  }

  int lag_5k(const Mode& mode, int s, int index, int bfi) {
    if (bfi == 0) {
      const bool whole = s == 0 || s == 2;
      const int thirds = whole ? absolute(index) : 3 * t0_min_ + index - 2;
      if (whole) t0_min_ = base(thirds);
      old_lag = thirds;
      return thirds;
    }
    if (bfi == 2) {
      step_ = 3;
    } else if (s == 0) {
      step_ = static_cast<float>((absolute(index) - old_lag) * mode.fac_inter_var);
    }
    old_lag = static_cast<float>(old_lag + step_);
    return static_cast<int>(old_lag);
  }

  void subframe(const Mode& mode, bool five, int s, int bfi, int thirds, int T0, const float* A,
                const float* shape, const std::int32_t* words) {
    float buffer[154 + 48], F[48], code[48];
    std::copy(exc.end() - 154, exc.end(), buffer);
    pred_lt(buffer + 154, T0, thirds - 3 * T0, 48);
    find_F(mode, shape, T0, F);
    std::int32_t track[3] = {};
    for (int t = 0; t < (five ? 1 : 3); ++t) track[t] = bfi != 0 ? random_func(seed) : words[t];
    if (five) {
      (old_gain_pit >= 0.8f ? dec_acb_2p10b : dec_acb_3p10b)(track[0], F, code);
    } else {
      (last_mode == 0 ? dec_ACB_15 : dec_ACB_27)(track, F, code);
    }
    Subframe sub{thirds, 0, 0, {code, code + 48}, {A, A + 11}};
    d_gain2(gains, words[five ? 1 : 3], code, 48, &sub.gain_pit, &sub.gain_code, bfi, 48 * s,
            mode.fac_inter_var);
    if (five) old_gain_pit = sub.gain_pit;
    find_exc(buffer + 154, code, sub.gain_pit, sub.gain_code, 48);
    exc.insert(exc.end(), buffer + 154, buffer + 202);

    float out[48], mem[10];
    std::copy(synthesis.end() - 10, synthesis.end(), mem);
    syn_filt(A, 10, buffer + 154, out, 48, mem, 0);
    synthesis.insert(synthesis.end(), out, out + 48);
    subframes.push_back(sub);
  }

  int t0_min_ = 20;
  double start_ = 0, goal_ = 0;
  float step_ = 0;
};

/// Second-order high-pass of the decoders in double, then PCM.
inline std::vector<std::int16_t> plain_output(const std::vector<double>& x) {
  std::vector<std::int16_t> out(x.size());
  double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    const double y =
        b_100[0] * x[n] + b_100[1] * x1 + b_100[2] * x2 + a_100[1] * y1 + a_100[2] * y2;
    x2 = x1, x1 = x[n], y2 = y1, y1 = y;
    out[n] = static_cast<std::int16_t>(std::trunc(std::clamp(y + 0.5, -32768.0, 32767.0)));
  }
  return out;
}

/// y[n] = x[n] - sum of a[i] gamma^i y[n-i], in double, over 48 samples of a longer run: x and y
/// end with the subframe and y holds its past in front.
inline void plain_all_pole(const std::vector<float>& a, double gamma, const double* x,
                           std::vector<double>& y) {
  for (int n = 0; n < 48; ++n) {
    double sum = x[n], power = 1;
    for (std::size_t i = 1; i <= 10; ++i) {
      power *= gamma;
      sum -= power * a[i] * y[y.size() - i];
    }
    y.push_back(sum);
  }
}

/// Where a scratch area of painted bytes has been written: bytes from its top down to the lowest
/// changed one, i.e. the deepest use of the stack.
class ScratchGauge {
 public:
  ScratchGauge() : switch_(area_) { std::fill_n(area_.bytes, scratch_bytes, paint); }
  int deepest() const {
    const std::byte* end = area_.bytes + scratch_bytes;
    return static_cast<int>(end -
                            std::find_if(area_.bytes, end, [](std::byte b) { return b != paint; }));
  }

 private:
  static constexpr std::byte paint{0xa5};
  ScratchArea area_;
  ScratchSwitch switch_;
};

}  // namespace quel::test
