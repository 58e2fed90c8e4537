#include "wideband/dec_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/signals.h"
#include "wideband/dec45_85.h"
#include "wideband/dec_wb_support.h"
#include "wideband/frames.h"
#include "wideband/pred_lt16.h"
#include "wideband/start_values.h"

namespace quel {
namespace {

using test::decode;
using test::encode;
using test::expect_like_plain;
using test::lost;
using test::past;
using test::Pcm;
using test::Random;
using test::random_words;
using test::same_state;
using test::speech16;
using test::Words;

TEST(DecodWbLoss, LostFirstFrameIsSilentWithNeutralPairsAndLag41) {
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

TEST(DecodWbLoss, LostFramesReadNoneOfTheirWords) {
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

TEST(DecodWbLoss, InnovationOfLostFramesIsTenRandomWordsAFrame) {
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

TEST(DecodWbLoss, LostSubframePlaysTheRandomWordsOnTheDecayedGains) {
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

TEST(DecodWbLoss, LongLossDecaysToSilenceAndTheEnergiesReachMinus14) {
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

TEST(DecodWbLoss, FrameAfterLossesIsDecodedFromItsOwnWords) {
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

TEST(DecodWbLoss, IndicatorsConcealOnlyTheirPart) {
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

TEST(DecodWbLoss, AnyNonzeroIndicatorAndFlagActAlike) {
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

}  // namespace
}  // namespace quel
