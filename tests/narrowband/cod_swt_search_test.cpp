// The encoder's decisions, subframe by subframe, against a target and an impulse response that are
// worked out in double from the signals themselves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/convolve.h"
#include "dsp/corr_xy.h"
#include "dsp/residu.h"
#include "narrowband/Acb2_10.h"
#include "narrowband/Acb3_10.h"
#include "narrowband/acb27_15.h"
#include "narrowband/cod_swt.h"
#include "narrowband/lag_code.h"
#include "narrowband/pitch_ol.h"
#include "narrowband/plain_narrowband.h"
#include "narrowband/q_gain2.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::mode_for;
using test::PlainAnalysis;
using test::PlainDecoder;
using test::speech_like_pcm;
using test::swelling_tones;
using test::Words;

using Signal = std::vector<double>;

// The next output of A(z/0.9)/A(z/0.6); x is at the new input, y at the last output.
double weigh(const float* A, const double* x, const double* y) {
  double sum = x[0], p1 = 1, p2 = 1;
  for (int i = 1; i <= 10; ++i) {
    p1 *= 0.9;
    p2 *= 0.6;
    sum += A[i] * (p1 * x[-i] - p2 * y[1 - i]);
  }
  return sum;
}

// What 1/A(z) adds to its next input; y is at the last output.
double ring(const float* A, const double* y) {
  double sum = 0;
  for (int i = 1; i <= 10; ++i) sum -= A[i] * y[1 - i];
  return sum;
}

// Follows one encoder and repeats its searches, each from the encoder's own past.
class Searcher {
 public:
  explicit Searcher(int flavor)
      : flavor_(flavor), count_(flavor == 2 ? 5 : 3), stride_(flavor == 2 ? 3 : 5) {
    init_d_gain2(gains_);
  }

  // The frame that was coded as `coded`, with the words of this search in the place of the lags,
  // code words and gains.
  Words frame(const std::int16_t* in, const Words& coded) {
    const auto A = analysis_.frame(mode_for(flavor_), in);
    rebuilt_.frame(mode_for(flavor_), coded, 0, A);
    for (int n = 0; n < 48 * count_; ++n) {
      speech_.push_back(analysis_.speech[speech_.size() - 10 + 120]);
      weighted_.push_back(
          weigh(&A[static_cast<std::size_t>(n / 48 * 11)], &speech_.back(), &weighted_.back()));
    }
    open_loop();
    Words found = coded;
    for (int s = 0; s < count_; ++s, ++subframe_) {
      search(s, &A[static_cast<std::size_t>(11 * s)], coded, &found[first_word(s)]);
      move_on(&A[static_cast<std::size_t>(11 * s)], coded[first_word(s) + stride_ - 1]);
    }
    return found;
  }

 private:
  std::size_t first_word(int s) const { return 6 + static_cast<std::size_t>(s) * stride_; }

  void open_loop() {
    const std::vector<float> wsp(weighted_.end() - 143 - 48 * count_, weighted_.end());
    range_ = range_around_open_loop(pitch_ol(&wsp[143], flavor_ == 2 ? 96 : 144));
    if (flavor_ == 2) second_lag_ = pitch_ol(&wsp[143 + 96], 144);
    crowded_ = false;
    for (int i = 0; i < 8; ++i) {
      const double low = std::acos(static_cast<double>(analysis_.isp()[i]));
      const double high = std::acos(static_cast<double>(analysis_.isp()[i + 1]));
      crowded_ = crowded_ || (high - low) * 1273.2395445689122 < 60;
    }
  }

  // Target and impulse response of the subframe.
  void target(const float* A, float* xn, float* h) const {
    const float* Aq = rebuilt_.subframes[subframe_].A.data();
    const std::size_t at = 10 + 48 * subframe_;
    Signal silent(10), lacking = error_, wanted = weighted_error_;
    Signal pulse(10), response(10);
    for (std::size_t i = 0; i < 10; ++i) silent[i] = rebuilt_.synthesis[at - 10 + i];
    for (std::size_t n = 0; n < 48; ++n) {
      silent.push_back(ring(Aq, &silent.back()));
      lacking.push_back(speech_[at + n] - silent.back());
      wanted.push_back(weigh(A, &lacking.back(), &wanted.back()));
      xn[n] = static_cast<float>(wanted.back());
      pulse.push_back((n == 0 ? 1.0 : 0.0) + ring(Aq, &pulse.back()));
      response.push_back(weigh(A, &pulse.back(), &response.back()));
      h[n] = static_cast<float>(response.back());
    }
  }

  int pitch(int s, float* exc, const float* xn, const float* h, const Words& coded,
            std::int32_t* word) {
    const bool whole = s == 0 || (flavor_ == 2 && s == 2);
    if (whole && s != 0) range_ = range_around_open_loop(second_lag_);
    int frac = 0;
    const int T0 = pitch_fr(exc, xn, h, range_.t0_min, range_.t0_max, whole ? 0 : 1, &frac);
    *word = whole ? encode_absolute_lag(T0, &frac) : encode_relative_lag(T0, frac, range_.t0_min);
    if (whole) range_ = range_around_lag(decode_absolute_lag(coded[first_word(s)]).T0);
    pred_lt(exc, T0, frac, 48);
    return T0;
  }

  void search(int s, const float* A, const Words& coded, std::int32_t* word) {
    float xn[48], h[48], past[58], res[48], exc[202];
    target(A, xn, h);
    const std::size_t at = 48 * subframe_;
    for (std::size_t n = 0; n < 58; ++n) past[n] = static_cast<float>(speech_[at + n]);
    residu(rebuilt_.subframes[subframe_].A.data(), 10, past + 10, res, 48);
    std::copy_n(&rebuilt_.exc[at], 154, exc);
    std::copy_n(res, 48, exc + 154);
    const float* adaptive = exc + 154;
    const int T0 = pitch(s, exc + 154, xn, h, coded, word);

    float y1[48], y2[48], x2[48], F[48], h2[48], dn[48], code[48], g[5];
    convolve(adaptive, h, y1, 48);
    const double limit = crowded_ ? 0.95 : 1.2;
    auto gain_pit = static_cast<float>(std::clamp(corr_xy1(xn, y1, g, 48), 0.0, limit));
    for (int n = 0; n < 48; ++n) x2[n] = xn[n] - gain_pit * y1[n];
    find_F(mode_for(flavor_), A, T0, F);
    convolve(F, h, h2, 48);
    backfil2(x2, dn, h2, 48);
    if (flavor_ == 2) {
      const bool two = subframe_ > 0 && rebuilt_.subframes[subframe_ - 1].gain_pit >= 0.8f;
      two ? acb_2p10b(dn, h2, word + 1) : acb_3p10b(dn, h2, word + 1);
      (two ? dec_acb_2p10b : dec_acb_3p10b)(word[1], F, code);
      (two ? dec_acb_2p10b : dec_acb_3p10b)(word[1], h2, y2);
    } else {
      for (int n = 0; n < 48 && flavor_ == 1; ++n) res[n] -= gain_pit * adaptive[n];
      (flavor_ == 1 ? ACB_27 : ACB_15)(dn, res, h2, word + 1);
      (flavor_ == 1 ? dec_ACB_27 : dec_ACB_15)(word + 1, F, code);
      (flavor_ == 1 ? dec_ACB_27 : dec_ACB_15)(word + 1, h2, y2);
    }
    corr_xy2(xn, y1, y2, g, 48);
    GainQuantizer quantizer{gains_.past_qua_en};
    float gain_code = 0;
    word[stride_ - 1] = q_gain2(quantizer, code, 48, &gain_pit, &gain_code, g, crowded_ ? 1 : 0);
  }

  void move_on(const float* A, std::int32_t gain_index) {
    for (std::size_t n = 48 * subframe_; n < 48 * subframe_ + 48; ++n) {
      error_.push_back(speech_[10 + n] - rebuilt_.synthesis[10 + n]);
      weighted_error_.push_back(weigh(A, &error_.back(), &weighted_error_.back()));
    }
    float gain_pit = 0, gain_code = 0;
    d_gain2(gains_, gain_index, rebuilt_.subframes[subframe_].code.data(), 48, &gain_pit,
            &gain_code, 0, 48, 0);
  }

  int flavor_, count_;
  std::size_t stride_, subframe_ = 0;
  PlainAnalysis analysis_;
  PlainDecoder rebuilt_;
  GainDequantizer gains_;
  Signal speech_ = Signal(10), weighted_ = Signal(143), error_ = Signal(10),
         weighted_error_ = Signal(10);
  LagRange range_{};
  int second_lag_ = 0;
  bool crowded_ = false;
};

class CodSwtSearch : public ::testing::TestWithParam<int> {
 protected:
  // Subframes coded, and of them those where a word differs.
  void follow(const std::vector<std::int16_t>& pcm) {
    const auto frames = test::encode(GetParam(), pcm);
    Searcher searcher(GetParam());
    const std::int16_t* in = pcm.data();
    const std::size_t stride = GetParam() == 2 ? 3 : 5;
    for (const Words& coded : frames) {
      const Words found = searcher.frame(in, coded);
      in += GetParam() == 2 ? 240 : 144;
      for (std::size_t word = 6; word < 21; word += stride) {
        ++subframes;
        differ += std::equal(&found[word], &found[word] + stride, &coded[word]) ? 0 : 1;
      }
    }
  }
  int subframes = 0, differ = 0;
};
INSTANTIATE_TEST_SUITE_P(Flavor, CodSwtSearch, ::testing::Values(0, 1, 2));

// The encoder's float target differs from this one in its last bits, so a near-tie of a search may
// fall the other way: none does in these signals, and two in some hundred subframes are let pass. A
// limit, gain, residual or range of lags taken wrongly changes several in a hundred.
TEST_P(CodSwtSearch, SpeechGetsTheWordsThatItsSignalsAskFor) {
  for (unsigned seed = 1; seed < 4; ++seed) follow(speech_like_pcm(7200, seed));
  EXPECT_EQ(subframes, 450);
  EXPECT_LE(differ, 2);
}

TEST_P(CodSwtSearch, GrowingTonesMeetBothLimitsOfThePitchGain) {
  follow(swelling_tones(900));
  follow(swelling_tones(45));
  EXPECT_EQ(subframes, 300);
  EXPECT_LE(differ, 2);
}

}  // namespace
}  // namespace quel
