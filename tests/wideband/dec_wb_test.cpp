#include "wideband/dec_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "support/signals.h"
#include "wideband/dec45_85.h"
#include "wideband/frames.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf2a.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

using test::decode;
using test::encode;
using test::Pcm;
using test::Random;
using test::random_words;
using test::speech16;
using test::Words;

constexpr int past = WidebandDecoder::past;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

Pcm decode(WidebandDecoder& decoder, const Words& words, int bad_lsf = 0, int bad_pitch = 0) {
  Pcm out;
  out.fill(12345);
  decod_wb(decoder, words.data(), out.data(), bad_lsf, bad_pitch);
  return out;
}

Words lost(Words words = {}) {
  words[0] = 1;
  return words;
}

bool same_state(const WidebandDecoder& a, const WidebandDecoder& b) {
  return a.exc == b.exc && a.mem_syn == b.mem_syn && a.mem_post == b.mem_post &&
         a.last_filter == b.last_filter && a.last_postfilter == b.last_postfilter &&
         a.old_lsp == b.old_lsp && a.lsf.past_q_target == b.lsf.past_q_target &&
         a.lsf.past_lsf_q == b.lsf.past_lsf_q && a.lsf.k == b.lsf.k &&
         a.lag.old_T0 == b.lag.old_T0 && a.lag.T0_min == b.lag.T0_min &&
         a.lag.T0_max == b.lag.T0_max && a.gains.past_qua_en == b.gains.past_qua_en &&
         a.gains.past_gain_pit == b.gains.past_gain_pit &&
         a.gains.past_gain_code == b.gains.past_gain_code && a.random == b.random;
}

bool finite_state(const WidebandDecoder& d) {
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
void expect_pcm(int sample, double v) {
  const double error = 0.02 + 2e-5 * std::fabs(v);
  EXPECT_GE(sample, float_to_pcm(static_cast<float>(v - error)));
  EXPECT_LE(sample, float_to_pcm(static_cast<float>(v + error)));
}

void expect_like_plain(const WidebandDecoder& before, const Words& words,
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

TEST(DecodWb, FollowsThePlainFormulationOnSpeech) {
  const auto frames = encode(speech16(150, 1));
  WidebandDecoder decoder;
  for (const Words& words : frames) {
    const WidebandDecoder before = decoder;
    const Pcm out = decode(decoder, words);
    expect_like_plain(before, words, decoder, out);
  }
}

TEST(DecodWb, TopPitchGainSharpensWithExactlyOne) {
  Random random(2);
  const auto frames = encode(speech16(100, 2));
  WidebandDecoder decoder;
  decode(decoder, frames);
  for (int trial = 0; trial < 40; ++trial) {
    Words words = random_words(random);
    words[7] = random.integer(0, 100);  // lags 29 to 63: the code is sharpened
    words[8] = words[16] = 15;
    words[14] = words[22] = random.integer(0, 15);
    const WidebandDecoder before = decoder;
    WidebandDecoder after = decoder;
    const Pcm out = decode(after, words);
    expect_like_plain(before, words, after, out);
  }
}

TEST(DecodWb, FrameOfZeroWordsDecodes) {
  WidebandDecoder decoder;
  const WidebandDecoder before = decoder;
  const Pcm out = decode(decoder, Words{});
  EXPECT_EQ(decoder.lag.T0_min, 30);
  EXPECT_EQ(decoder.lag.old_T0, 29);  // second lag: code 0 of a window from 30
  EXPECT_TRUE(finite_state(decoder));
  expect_like_plain(before, Words{}, decoder, out);
}

TEST(DecodWb, LostFirstFrameIsSilentWithNeutralPairsAndLag41) {
  WidebandDecoder decoder;
  init_decod_wb(decoder);
  const Pcm out = decode(decoder, lost());
  EXPECT_EQ(out, Pcm{});
  EXPECT_EQ(decoder.lag.old_T0, 42);  // 41, then 42
  const auto neutral = wideband::neutral_lsp();
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_NEAR(decoder.old_lsp[i], neutral[i], 2e-7);  // by way of frequencies in Hz
  }
}

TEST(DecodWb, OutputRoundsUpByTruncationAndClips) {
  EXPECT_EQ(float_to_pcm(-0.7f), 0);
  EXPECT_EQ(float_to_pcm(32767.6f), 32767);
  EXPECT_EQ(float_to_pcm(-40000.0f), -32768);
  // A decoder driven beyond 16 bits clips: nothing wraps to the other sign.
  WidebandDecoder decoder;
  const auto frames = encode(speech16(60, 3));
  decode(decoder, frames);
  for (float& v : decoder.exc) v *= 1000.0f;
  Words words = frames.back();
  words[8] = words[16] = 11;
  const WidebandDecoder before = decoder;
  const Pcm out = decode(decoder, words);
  expect_like_plain(before, words, decoder, out);
  EXPECT_EQ(*std::max_element(out.begin(), out.end()), 32767);
  EXPECT_EQ(*std::min_element(out.begin(), out.end()), -32768);
}

TEST(DecodWb, IdenticalFiltersMakeTheCrossFadeInvisible) {
  Random random(4);
  for (int trial = 0; trial < 20; ++trial) {
    SCOPED_TRACE(trial);
    const Words first = random_words(random);
    WidebandDecoder decoder;
    for (int k = 0; k < 4; ++k) {
      Words words = random_words(random);
      std::copy_n(first.begin() + 1, 6, words.begin() + 1);
      words[8] = words[16] = 5;
      words[14] = words[22] = 12;
      decode(decoder, words);
    }
    Words words = first;
    words[8] = words[16] = 5;
    words[14] = words[22] = 12;
    WidebandDecoder before = decoder;
    const Pcm out = decode(decoder, words);
    ASSERT_EQ(decoder.last_filter, before.last_filter);
    ASSERT_EQ(decoder.last_postfilter, before.last_postfilter);
    // With a single filter throughout there is nothing to fade, and the samples are the same.
    std::array<float, 160> y;
    syn_filt(decoder.last_filter.data(), 16, decoder.exc.data() + past - 160, y.data(), 160,
             before.mem_syn.data(), 0);
    syn_filt(decoder.last_postfilter.data(), 16, y.data(), y.data(), 160, before.mem_post.data(),
             0);
    for (std::size_t n = 0; n < 160; ++n) EXPECT_EQ(out[n], float_to_pcm(y[n]));
  }
}

TEST(DecodWb, WordsAreCutToTheirFields) {
  Random random(5);
  WidebandDecoder a, b;
  for (int k = 0; k < 100; ++k) {
    Words words = random_words(random), wide = words;
    for (std::size_t i = 0; i < 22; ++i) {
      wide[i + 1] |= static_cast<std::int32_t>(random.bits() << test::word_bits[i]);
    }
    wide[0] = words[0] = k % 5 == 4 ? 1 : 0;
    EXPECT_EQ(decode(a, words), decode(b, wide));
  }
  EXPECT_TRUE(same_state(a, b));
}

TEST(DecodWb, LostFramesReadNoneOfTheirWords) {
  const auto frames = encode(speech16(60, 6));
  Random random(6);
  WidebandDecoder a, b;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    if (k % 7 >= 5) {
      Words zero = lost(), garbage = lost(random_words(random));
      garbage[0] = static_cast<std::int32_t>(random.bits() | 1u);
      EXPECT_EQ(decode(a, zero), decode(b, garbage));
    }
    EXPECT_EQ(decode(a, frames[k]), decode(b, frames[k]));
  }
  EXPECT_TRUE(same_state(a, b));
}

TEST(DecodWb, InnovationOfLostFramesIsTenRandomWordsAFrame) {
  WidebandDecoder decoder;
  std::uint32_t x = 1;
  EXPECT_EQ(decoder.random, x);
  Random random(7);
  decode(decoder, random_words(random));
  EXPECT_EQ(decoder.random, x);  // received frames draw none
  for (int k = 0; k < 5; ++k) {
    decode(decoder, lost());
    for (int i = 0; i < 10; ++i) x = x * 1103515245u + 12345u;
    EXPECT_EQ(decoder.random, x);
  }
  decode(decoder, random_words(random), 1, 1);  // the indicators alone draw none either
  EXPECT_EQ(decoder.random, x);
  init_decod_wb(decoder);
  EXPECT_EQ(decoder.random, x);
}

TEST(DecodWb, LostSubframePlaysTheRandomWordsOnTheDecayedGains) {
  const auto frames = encode(speech16(60, 8));
  WidebandDecoder decoder;
  decode(decoder, frames);
  for (int k = 0; k < 6; ++k) {
    const WidebandDecoder before = decoder;
    decode(decoder, lost());
    std::vector<double> exc(before.exc.begin(), before.exc.end());
    std::uint32_t x = before.random;
    double gain_pit = before.gains.past_gain_pit, gain_code = before.gains.past_gain_code;
    for (int s = 0; s < 2; ++s) {
      std::array<std::int32_t, 5> tracks;
      for (auto& word : tracks) {
        x = x * 1103515245u + 12345u;
        word = static_cast<std::int32_t>((x >> 16) & 511);
      }
      std::array<float, 80> code;
      DEC_ACELP_45_85(tracks.data(), code.data());
      gain_pit *= 0.95;
      gain_code *= 0.8;
      const int T0 = before.lag.old_T0 + 1 + s;
      pit_shrp(code.data(), T0, static_cast<float>(gain_pit), 80);
      std::vector<float> adaptive(exc.begin() + 80 * s, exc.begin() + past + 80 * s);
      adaptive.resize(past + 80);
      pred_lt16(adaptive.data() + past, T0, 0, 80);
      for (std::size_t n = 0; n < 80; ++n) {
        exc[past + 80 * static_cast<std::size_t>(s) + n] =
            gain_pit * adaptive[past + n] + gain_code * code[n];
      }
    }
    double peak = 1.0;
    for (const double v : exc) peak = std::max(peak, std::fabs(v));
    for (std::size_t n = 0; n < 160; ++n) {
      EXPECT_NEAR(decoder.exc[past - 160 + n], exc[past + n], 1e-5 * peak);  // float gains
    }
  }
}

TEST(DecodWb, LongLossDecaysToSilenceAndTheEnergiesReachMinus14) {
  for (unsigned seed = 0; seed < 10; ++seed) {
    SCOPED_TRACE(seed);
    WidebandDecoder decoder;
    auto frames = encode(speech16(40, seed));
    frames.resize(25 + seed);
    decode(decoder, frames);
    for (int k = 0; k < 8; ++k) decode(decoder, lost());  // 16 subframes
    EXPECT_EQ(decoder.gains.past_qua_en, (std::array<float, 2>{-14.0f, -14.0f}));
    for (int k = 0; k < 200; ++k) decode(decoder, lost());
    EXPECT_EQ(decode(decoder, lost()), Pcm{});
  }
}

TEST(DecodWb, FrameAfterLossesIsDecodedFromItsOwnWords) {
  const auto frames = encode(speech16(80, 9));
  WidebandDecoder decoder;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    if (k % 10 == 9) {
      // The driver conceals with the next received frame's words at hand.
      Words words = lost(frames[k]);
      const Words handed = words;
      decode(decoder, words);
      EXPECT_EQ(words, handed);
    }
    const WidebandDecoder before = decoder;
    const Pcm out = decode(decoder, frames[k]);
    expect_like_plain(before, frames[k], decoder, out);
  }
}

TEST(DecodWb, IndicatorsConcealOnlyTheirPart) {
  const auto frames = encode(speech16(60, 10));
  WidebandDecoder start;
  decode(start, std::vector<Words>(frames.begin(), frames.begin() + 50));
  const Words& words = frames[50];

  WidebandDecoder good = start, no_lsf = start, no_lag = start;
  decode(good, words);
  decode(no_lsf, words, 1, 0);
  decode(no_lag, words, 0, 1);
  EXPECT_EQ(no_lsf.lsf.past_lsf_q, start.lsf.past_lsf_q);
  EXPECT_EQ(no_lsf.lag.old_T0, good.lag.old_T0);
  EXPECT_EQ(no_lsf.exc, good.exc);
  EXPECT_EQ(no_lag.lsf.past_lsf_q, good.lsf.past_lsf_q);
  EXPECT_EQ(no_lag.old_lsp, good.old_lsp);
  EXPECT_EQ(no_lag.lag.old_T0, start.lag.old_T0 + 2);
  EXPECT_EQ(no_lag.gains.past_qua_en, good.gains.past_qua_en);
}

TEST(DecodWb, AnyNonzeroIndicatorAndFlagActAlike) {
  const auto frames = encode(speech16(30, 11));
  constexpr int large = std::numeric_limits<int>::max(), low = std::numeric_limits<int>::min();
  WidebandDecoder start;
  decode(start, frames);
  WidebandDecoder lsf = start, lag = start, all = start;
  const Pcm lsf_out = decode(lsf, frames[10], 1, 0);
  const Pcm lag_out = decode(lag, frames[10], 0, 1);
  const Pcm all_out = decode(all, lost(frames[10]));
  for (const int flag : {-1, 2, large, low}) {
    SCOPED_TRACE(flag);
    WidebandDecoder d = start;
    EXPECT_EQ(decode(d, frames[10], flag, 0), lsf_out);
    EXPECT_TRUE(same_state(d, lsf));
    d = start;
    EXPECT_EQ(decode(d, frames[10], 0, flag), lag_out);
    EXPECT_TRUE(same_state(d, lag));
    // A flag of -1 does not cancel the loss of the frame.
    d = start;
    EXPECT_EQ(decode(d, lost(frames[10]), flag, flag), all_out);
    EXPECT_TRUE(same_state(d, all));
    d = start;
    Words words = frames[10];
    words[0] = flag;
    EXPECT_EQ(decode(d, words), all_out);
    EXPECT_TRUE(same_state(d, all));
  }
}

TEST(DecodWb, SecondLagCodes62And63AreTheLastLagPlusOne) {
  const auto frames = encode(speech16(40, 12));
  for (const int code : {62, 63}) {
    WidebandDecoder decoder;
    decode(decoder, frames);
    Words words = frames[20];
    words[7] = 461;  // 231
    words[15] = code;
    decode(decoder, words);
    EXPECT_EQ(decoder.lag.old_T0, 232);
    words[7] = 511;  // 281: the longest
    decode(decoder, words);
    EXPECT_EQ(decoder.lag.old_T0, 282);
  }
}

TEST(DecodWb, LagThatCreptUpForHoursStaysInsideTheHistory) {
  const auto frames = encode(speech16(40, 13));
  for (const int start : {280, 285, 290, 291, 292, 293, 100000, 0x7ffffff0}) {
    SCOPED_TRACE(start);
    WidebandDecoder decoder;
    decode(decoder, frames);
    decoder.lag.old_T0 = start;
    for (const Words& words : frames) decode(decoder, words, 0, 1);
    EXPECT_EQ(decoder.lag.old_T0, start < 0x7fffff00 ? start + 80 : 0x7fffffff);
    EXPECT_TRUE(finite_state(decoder));
    for (int k = 0; k < 20; ++k) decode(decoder, lost());
    Words words = frames[0];
    words[15] = 63;
    decode(decoder, words);
    EXPECT_LE(decoder.lag.old_T0, 283);  // a received frame brings it back
  }
}

TEST(DecodWb, LagOfAnyStateStaysInsideTheHistory) {
  const auto frames = encode(speech16(4, 14));
  for (const int start : {-2147483647, -1000, -1, 0, 10, 27, 28}) {
    WidebandDecoder decoder;
    decode(decoder, frames);
    decoder.lag.old_T0 = start;
    decode(decoder, lost());
    EXPECT_TRUE(finite_state(decoder));
  }
  WidebandDecoder decoder;
  decoder.lag.T0_min = 400;
  decode(decoder, frames[0], 0, 1);
  decoder.lag.T0_min = 272;  // 292 and a third is out of reach
  Words words = frames[0];
  for (int code = 0; code < 64; ++code) {
    words[15] = code;
    decode(decoder, words);
  }
  EXPECT_TRUE(finite_state(decoder));
}

TEST(DecodWb, RandomBitsWithLossesBurstsAndIndicatorsStayFinite) {
  for (unsigned seed = 0; seed < 6; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    WidebandDecoder decoder;
    int burst = 0, bad_lsf = 0, bad_pitch = 0;
    for (int k = 0; k < 1500; ++k) {
      Words words = random_words(random);
      if (burst == 0 && random.integer(0, 29) == 0) burst = random.integer(1, 100);
      if (seed >= 2 && burst > 0) words[0] = 1;
      if (burst > 0) --burst;
      if (seed >= 4 && random.integer(0, 9) == 0) bad_lsf = random.integer(-1, 1);
      if (seed >= 4 && random.integer(0, 9) == 0) bad_pitch = random.integer(-1, 1);
      decode(decoder, words, bad_lsf, bad_pitch);
      ASSERT_TRUE(finite_state(decoder)) << k;
    }
  }
}

TEST(DecodWb, ExcitationThatGrowsWithoutBoundIsClearedAndSilent) {
  // Gains of 1.2 at the shortest lag: more than doubles in each subframe.
  Words words{};
  words[7] = 0;
  words[8] = words[16] = 15;
  words[14] = words[22] = 31;
  for (std::size_t i = 1; i <= 6; ++i) words[i] = 5;
  words[1] = 1;
  WidebandDecoder decoder;
  int cleared = 0;
  for (int k = 0; k < 400; ++k) {
    const Pcm out = decode(decoder, words);
    ASSERT_TRUE(finite_state(decoder)) << k;
    const float* frame = decoder.exc.data() + past - 160;
    const auto silent = [](const auto* x, int n) {
      return std::all_of(x, x + n, [](auto v) { return v == 0; });
    };
    const bool second = silent(decoder.exc.data(), past);
    const bool first = !second && silent(frame, 80);
    if (first) {
      EXPECT_TRUE(silent(out.data(), 80));
      EXPECT_FALSE(silent(frame + 80, 80));
    }
    if (second) {
      EXPECT_TRUE(silent(out.data() + 80, 80));
      EXPECT_FALSE(silent(out.data(), 80));
      EXPECT_EQ(decoder.mem_syn, (std::array<float, 16>{}));
      EXPECT_EQ(decoder.mem_post, (std::array<float, 16>{}));
      EXPECT_EQ(decoder.gains.past_gain_pit, 0.0f);
      EXPECT_EQ(decoder.gains.past_gain_code, 0.0f);
    }
    if (first || second) {
      ++cleared;
      EXPECT_EQ(decoder.lag.old_T0, 29);  // lags and predictors go on
      EXPECT_EQ(decoder.gains.past_qua_en[0], wideband::code_gain_db(31));
    }
  }
  EXPECT_GE(cleared, 2);
}

TEST(DecodWb, BadSubframeClearsEverythingThatFedIt) {
  const auto frames = encode(speech16(60, 15));
  for (const float bad : {nan, inf, -inf, 3e9f, -3e9f}) {
    SCOPED_TRACE(bad);
    WidebandDecoder decoder;
    decode(decoder, std::vector<Words>(frames.begin(), frames.begin() + 40));
    decoder.mem_syn[15] = bad;
    const Pcm out = decode(decoder, frames[40]);
    for (std::size_t n = 0; n < 80; ++n) EXPECT_EQ(out[n], 0);
    for (std::size_t n = 0; n < 80; ++n) EXPECT_EQ(decoder.exc[past - 160 + n], 0.0f);
    EXPECT_TRUE(finite_state(decoder));
    WidebandDecoder clean;
    decode(clean, std::vector<Words>(frames.begin(), frames.begin() + 41));
    EXPECT_EQ(decoder.lsf.past_q_target, clean.lsf.past_q_target);
    EXPECT_EQ(decoder.gains.past_qua_en, clean.gains.past_qua_en);
    EXPECT_EQ(decoder.lag.old_T0, clean.lag.old_T0);
    EXPECT_EQ(decoder.random, clean.random);
  }
}

TEST(DecodWb, BadSecondSubframeLeavesTheFirstOne) {
  const auto frames = encode(speech16(60, 16));
  WidebandDecoder decoder;
  decode(decoder, std::vector<Words>(frames.begin(), frames.begin() + 40));
  Words words = frames[40];
  words[7] = 511;  // lag 281 reads no sample newer than the 192nd last
  words[15] = 2;   // lag 262 reads on, up to the 93rd last
  WidebandDecoder poisoned = decoder;
  poisoned.exc[past - 150] = nan;
  const Pcm good = decode(decoder, words), out = decode(poisoned, words);
  for (std::size_t n = 0; n < 80; ++n) EXPECT_EQ(out[n], good[n]);
  for (std::size_t n = 80; n < 160; ++n) EXPECT_EQ(out[n], 0);
  for (const float v : {poisoned.exc[past - 1], poisoned.exc[past - 100], poisoned.exc[0]}) {
    EXPECT_EQ(v, 0.0f);
  }
  EXPECT_EQ(poisoned.mem_syn, (std::array<float, 16>{}));
  EXPECT_EQ(poisoned.mem_post, (std::array<float, 16>{}));
}

TEST(DecodWb, PoisonedStatesRecover) {
  const auto frames = encode(speech16(300, 17));
  WidebandDecoder clean;
  const std::vector<Words> head(frames.begin(), frames.begin() + 50);
  const std::vector<Words> tail(frames.begin() + 50, frames.end());
  decode(clean, head);
  const WidebandDecoder start = clean;
  const auto reference = decode(clean, tail);
  for (const float bad : {nan, inf, -inf, 1e30f, -1e12f, 1e6f}) {
    for (int where = 0; where < 7; ++where) {
      SCOPED_TRACE(testing::Message() << bad << " at " << where);
      WidebandDecoder d = start;
      if (where == 0) d.exc.fill(bad);
      if (where == 1) d.exc[past - 100] = bad;
      if (where == 2) d.mem_syn.fill(bad);
      if (where == 3) d.mem_post.fill(bad);
      if (where == 4) d.gains.past_gain_code = bad;
      if (where == 5) d.gains.past_gain_pit = bad;
      if (where == 6) d.old_lsp.fill(bad);
      if (where == 4 || where == 5) decode(d, lost());
      const auto y = decode(d, tail);
      EXPECT_TRUE(finite_state(d));
      double signal = 0, error = 0;
      for (std::size_t i = 16000; i < y.size(); ++i) {
        signal += static_cast<double>(reference[i]) * reference[i];
        error += std::pow(reference[i] - y[i], 2);
      }
      EXPECT_GT(10 * std::log10(signal / (error + 1e-9)), 40.0);
    }
  }
}

TEST(InitDecodWb, ResetsTheSignalAndLeavesThePredictors) {
  const auto frames = encode(speech16(60, 18));
  WidebandDecoder used;
  const WidebandDecoder load;
  decode(used, frames);
  decode(used, lost());
  const WidebandDecoder before = used;
  init_decod_wb(used);
  WidebandDecoder expected = load;
  expected.lsf = before.lsf;
  expected.lag = before.lag;
  expected.gains = before.gains;
  expected.random = before.random;
  EXPECT_TRUE(same_state(used, expected));
  EXPECT_FALSE(same_state(used, load));
}

TEST(DecodWb, DecodersDoNotDisturbEachOther) {
  const auto frames = encode(speech16(40, 19)), others = encode(speech16(40, 20));
  WidebandDecoder alone, a, b;
  for (std::size_t k = 0; k < 40; ++k) {
    const Words words = k % 6 == 5 ? lost() : frames[k];
    EXPECT_EQ(decode(alone, words), decode(a, words));
    decode(b, k % 5 == 4 ? lost() : others[k]);
  }
}

TEST(DecodWb, ScratchPeak) {
  const auto frames = encode(speech16(60, 21));
  ScratchArea area;
  constexpr std::byte paint{0xa5};
  std::fill(std::begin(area.bytes), std::end(area.bytes), paint);
  {
    const ScratchSwitch on(area);
    WidebandDecoder decoder;
    decode(decoder, frames);
    for (int k = 0; k < 5; ++k) decode(decoder, lost());
    decode(decoder, frames);
    EXPECT_EQ(i_heap, area.top());
  }
  EXPECT_EQ(test::scratch_used(area, paint), 1668u);
}

}  // namespace
}  // namespace quel
