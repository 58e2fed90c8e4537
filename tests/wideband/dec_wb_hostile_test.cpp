#include "wideband/dec_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/signals.h"
#include "wideband/dec_wb_support.h"
#include "wideband/frames.h"
#include "wideband/gain_tables16.h"

namespace quel {
namespace {

using test::decode;
using test::encode;
using test::finite_state;
using test::lost;
using test::past;
using test::Pcm;
using test::Random;
using test::random_words;
using test::speech16;
using test::Words;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

TEST(DecodWbHostile, SecondLagCodes62And63AreTheLastLagPlusOne) {
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

TEST(DecodWbHostile, LagThatCreptUpForHoursStaysInsideTheHistory) {
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

TEST(DecodWbHostile, LagOfAnyStateStaysInsideTheHistory) {
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

TEST(DecodWbHostile, RandomBitsWithLossesBurstsAndIndicatorsStayFinite) {
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

TEST(DecodWbHostile, ExcitationThatGrowsWithoutBoundIsClearedAndSilent) {
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

TEST(DecodWbHostile, BadSubframeClearsEverythingThatFedIt) {
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

TEST(DecodWbHostile, BadSecondSubframeLeavesTheFirstOne) {
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

TEST(DecodWbHostile, PoisonedStatesRecover) {
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

}  // namespace
}  // namespace quel
