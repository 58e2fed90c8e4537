#include "narrowband/lag_code.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace quel {
namespace {

void expect_range(LagRange range, int t0_min, int t0_max) {
  EXPECT_EQ(range.t0_min, t0_min);
  EXPECT_EQ(range.t0_max, t0_max);
}

void expect_lag(Lag lag, int T0, int frac) {
  EXPECT_EQ(lag.T0, T0);
  EXPECT_EQ(lag.frac, frac);
}

int absolute(int T0, int frac) {
  return encode_absolute_lag(T0, &frac);
}

TEST(LagCode, OpenLoopRangeAtBothEnds) {
  expect_range(range_around_open_loop(141), 137, 143);
  expect_range(range_around_open_loop(21), 20, 26);
  expect_range(range_around_open_loop(20), 20, 26);
  expect_range(range_around_open_loop(23), 20, 26);
  expect_range(range_around_open_loop(24), 21, 27);
  expect_range(range_around_open_loop(140), 137, 143);
  expect_range(range_around_open_loop(139), 136, 142);
  expect_range(range_around_open_loop(143), 137, 143);
}

TEST(LagCode, OpenLoopRangeHoldsSevenLagsAndTheOpenLoopLag) {
  for (int T = 20; T <= 143; ++T) {
    SCOPED_TRACE(T);
    const auto range = range_around_open_loop(T);
    EXPECT_EQ(range.t0_max - range.t0_min, 6);
    EXPECT_GE(range.t0_min, 20);
    EXPECT_LE(range.t0_max, 143);
    EXPECT_LE(range.t0_min, T);
    EXPECT_GE(range.t0_max, T);
  }
}

TEST(LagCode, RangeAroundACodedLagAtBothEnds) {
  expect_range(range_around_lag(24), 20, 29);
  expect_range(range_around_lag(25), 20, 29);
  expect_range(range_around_lag(26), 21, 30);
  expect_range(range_around_lag(19), 20, 29);
  expect_range(range_around_lag(138), 133, 142);
  expect_range(range_around_lag(139), 134, 143);
  expect_range(range_around_lag(140), 134, 143);
  expect_range(range_around_lag(144), 134, 143);
}

TEST(LagCode, RangeAroundACodedLagHoldsTenLags) {
  for (int T = 19; T <= 144; ++T) {
    SCOPED_TRACE(T);
    const auto range = range_around_lag(T);
    int t0_min = std::max(T - 5, 20);
    if (t0_min + 9 > 143) t0_min = 134;
    expect_range(range, t0_min, t0_min + 9);
  }
}

TEST(LagCode, AbsoluteLagsInNumbers) {
  EXPECT_EQ(absolute(19, 1), 0);
  EXPECT_EQ(absolute(84, -1), 193);
  EXPECT_EQ(absolute(85, -1), 196);
  EXPECT_EQ(absolute(85, 0), 197);
  EXPECT_EQ(absolute(86, 0), 198);
  EXPECT_EQ(absolute(90, 0), 202);
  EXPECT_EQ(absolute(143, 0), 255);
  expect_lag(decode_absolute_lag(0), 19, 1);
  expect_lag(decode_absolute_lag(196), 85, -1);
  expect_lag(decode_absolute_lag(197), 85, 0);
  expect_lag(decode_absolute_lag(198), 86, 0);
  expect_lag(decode_absolute_lag(255), 143, 0);
}

TEST(LagCode, LongLagsLoseTheirFraction) {
  int frac = 1;
  EXPECT_EQ(encode_absolute_lag(90, &frac), 202);
  EXPECT_EQ(frac, 0);
  frac = -1;
  EXPECT_EQ(encode_absolute_lag(86, &frac), 198);
  EXPECT_EQ(frac, 0);
  frac = 1;
  EXPECT_EQ(encode_absolute_lag(85, &frac), 197);
  EXPECT_EQ(frac, 0);
  frac = -1;
  EXPECT_EQ(encode_absolute_lag(85, &frac), 196);
  EXPECT_EQ(frac, -1);
  frac = 1;
  EXPECT_EQ(encode_absolute_lag(84, &frac), 195);
  EXPECT_EQ(frac, 1);
}

TEST(LagCode, EveryAbsoluteIndexComesBack) {
  int previous = 0;
  for (int index = 0; index < 256; ++index) {
    SCOPED_TRACE(index);
    Lag lag = decode_absolute_lag(index);
    EXPECT_GE(lag.frac, -1);
    EXPECT_LE(lag.frac, 1);
    EXPECT_GT(3 * lag.T0 + lag.frac, previous);  // longer with every index
    previous = 3 * lag.T0 + lag.frac;
    EXPECT_EQ(encode_absolute_lag(lag.T0, &lag.frac), index);
  }
  EXPECT_EQ(previous, 3 * 143);
}

TEST(LagCode, EveryAbsoluteLagComesBackAsTheEncoderUsesIt) {
  for (int thirds = 3 * 19 + 1; thirds <= 3 * 143; ++thirds) {
    SCOPED_TRACE(thirds);
    const int T0 = (thirds + 1) / 3;
    int frac = thirds - 3 * T0;
    const int index = encode_absolute_lag(T0, &frac);
    EXPECT_GE(index, 0);
    EXPECT_LE(index, 255);
    expect_lag(decode_absolute_lag(index), T0, frac);
  }
}

TEST(LagCode, RelativeIndexSpansTheRangeAndTwoThirdsMore) {
  for (int t0_min = 20; t0_min <= 134; ++t0_min) {
    SCOPED_TRACE(t0_min);
    expect_lag(decode_relative_lag(0, t0_min), t0_min - 1, 1);
    expect_lag(decode_relative_lag(2, t0_min), t0_min, 0);
    expect_lag(decode_relative_lag(31, t0_min), t0_min + 10, -1);
    for (int index = 0; index < 32; ++index) {
      const Lag lag = decode_relative_lag(index, t0_min);
      EXPECT_EQ(3 * (lag.T0 - t0_min) + lag.frac, index - 2);
      EXPECT_LE(lag.frac * lag.frac, 1);
      EXPECT_EQ(encode_relative_lag(lag.T0, lag.frac, t0_min), index);
    }
  }
}

TEST(LagCode, OnlyTheFieldCounts) {
  for (const int above : {256, -256, 1 << 20, -(1 << 30)}) {
    expect_lag(decode_absolute_lag(196 + above), 85, -1);
    expect_lag(decode_relative_lag(31 + above, 50), 60, -1);
  }
}

}  // namespace
}  // namespace quel
