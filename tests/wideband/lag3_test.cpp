#include "wideband/lag3.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/signals.h"

namespace quel {
namespace {

constexpr int pit_min = 30, pit_max = 281;

struct Lag {
  int T0, frac;
  bool operator==(const Lag&) const = default;
};

int encode(Lag lag, int i_subfr, int* T0_min, int* T0_max) {
  return enc_lag3(lag.T0, lag.frac, T0_min, T0_max, pit_min, pit_max, i_subfr);
}

Lag decode(LagDecoder& state, int index, int i_subfr, int bfi = 0) {
  Lag lag{};
  lag.T0 = dec_lag3(state, index, pit_min, pit_max, i_subfr, &lag.frac, bfi);
  return lag;
}

TEST(Lag3, ThirdsEndAtOneHundredAndFiftyNine) {
  int T0_min = 0, T0_max = 0;
  EXPECT_EQ(encode({159, 0}, 0, &T0_min, &T0_max), 389);
  EXPECT_EQ(encode({160, 0}, 0, &T0_min, &T0_max), 390);
  EXPECT_EQ(encode({281, 0}, 0, &T0_min, &T0_max), 511);
  EXPECT_EQ(encode({29, 1}, 0, &T0_min, &T0_max), 0);
  EXPECT_EQ(encode({99, 1}, 0, &T0_min, &T0_max), 3 * 99 + 1 - 88);
  LagDecoder state;
  EXPECT_EQ(decode(state, 389, 0), (Lag{159, 0}));
  EXPECT_EQ(decode(state, 390, 0), (Lag{160, 0}));
  EXPECT_EQ(decode(state, 511, 0), (Lag{281, 0}));
  EXPECT_EQ(decode(state, 0, 0), (Lag{29, 1}));
}

TEST(Lag3, EveryIndexOfTheFirstSubframeComesBack) {
  for (int index = 0; index <= 511; ++index) {
    LagDecoder state;
    const Lag lag = decode(state, index, 0);
    EXPECT_GE(lag.T0, 29);
    EXPECT_LE(lag.T0, 281);
    EXPECT_GE(lag.frac, -1);
    EXPECT_LE(lag.frac, 1);
    EXPECT_EQ(state.old_T0, lag.T0);
    int T0_min = 0, T0_max = 0;
    EXPECT_EQ(encode(lag, 0, &T0_min, &T0_max), index);
    EXPECT_EQ(T0_min, state.T0_min);
    EXPECT_EQ(T0_max, state.T0_max);
  }
}

TEST(Lag3, EveryLagOfTheFirstSubframeComesBack) {
  for (int thirds = 88; thirds <= 3 * 159; ++thirds) {  // 29 1/3 .. 159
    const int T0 = (thirds + 1) / 3;
    const Lag lag{T0, thirds - 3 * T0};
    int T0_min = 0, T0_max = 0;
    LagDecoder state;
    EXPECT_EQ(decode(state, encode(lag, 0, &T0_min, &T0_max), 0), lag);
  }
  for (int T0 = 160; T0 <= 281; ++T0) {
    int T0_min = 0, T0_max = 0;
    LagDecoder state;
    EXPECT_EQ(decode(state, encode({T0, 0}, 0, &T0_min, &T0_max), 0), (Lag{T0, 0}));
  }
}

TEST(Lag3, WindowOfTheSecondSubframeHoldsTwentyLagsWithinTheLimits) {
  for (int T0 = 29; T0 <= 281; ++T0) {
    int T0_min = 0, T0_max = 0;
    encode({T0, T0 == 29 ? 1 : 0}, 0, &T0_min, &T0_max);
    EXPECT_EQ(T0_max, T0_min + 19);
    EXPECT_GE(T0_min, 30);
    EXPECT_LE(T0_max, 281);
    const int wanted = T0 - 10 < 30 ? 30 : T0 - 10 > 262 ? 262 : T0 - 10;
    EXPECT_EQ(T0_min, wanted);
  }
}

TEST(Lag3, EveryIndexAndLagOfTheSecondSubframeComesBack) {
  for (int first = 0; first <= 511; ++first) {
    LagDecoder state;
    const Lag opened = decode(state, first, 0);
    int T0_min = 0, T0_max = 0;
    encode(opened, 0, &T0_min, &T0_max);
    const LagDecoder window = state;
    for (int index = 0; index <= 61; ++index) {
      const Lag lag = decode(state, index, 80);
      EXPECT_EQ(state.old_T0, lag.T0);
      // From a third above the lag below the window to a third below the lag above it.
      EXPECT_EQ(3 * lag.T0 + lag.frac, 3 * T0_min - 2 + index);
      EXPECT_GE(lag.frac, -1);
      EXPECT_LE(lag.frac, 1);
      EXPECT_EQ(encode(lag, 80, &T0_min, &T0_max), index);
      EXPECT_EQ(T0_min, window.T0_min);
      EXPECT_EQ(T0_max, window.T0_max);
      EXPECT_EQ(state.T0_min, window.T0_min);
      EXPECT_EQ(state.T0_max, window.T0_max);
    }
  }
}

TEST(Lag3, CodesSixtyTwoAndSixtyThreeAreTheLastLagAndOne) {
  for (const int index : {62, 63}) {
    LagDecoder state;
    decode(state, 200, 0);
    const int last = state.old_T0;
    EXPECT_EQ(decode(state, index, 80), (Lag{last + 1, 0}));
    EXPECT_EQ(state.old_T0, last + 1);
  }
}

TEST(Lag3, LostFirstFrameStartsFromForty) {
  LagDecoder state;
  EXPECT_EQ(decode(state, 500, 0, 1), (Lag{41, 0}));
  EXPECT_EQ(decode(state, 500, 80, 1), (Lag{42, 0}));
}

TEST(Lag3, LossesCountUpAndLeaveTheWindow) {
  LagDecoder state;
  decode(state, 100, 0);
  const LagDecoder before = state;
  for (int n = 1; n <= 400; ++n) {
    EXPECT_EQ(decode(state, 0, n % 2 == 0 ? 80 : 0, n % 3 + 1), (Lag{before.old_T0 + n, 0}));
    EXPECT_EQ(state.T0_min, before.T0_min);
    EXPECT_EQ(state.T0_max, before.T0_max);
  }
  EXPECT_EQ(decode(state, 0, 80).T0, before.T0_min - 1);
}

TEST(Lag3, LagSaturatesInsteadOfOverflowing) {
  constexpr int most = std::numeric_limits<int>::max();
  LagDecoder state;
  state.old_T0 = most - 1;
  EXPECT_EQ(decode(state, 0, 0, 1).T0, most);
  EXPECT_EQ(decode(state, 0, 0, 1).T0, most);
  EXPECT_EQ(decode(state, 63, 80, 0).T0, most);
}

TEST(Lag3, BitsBeyondTheFieldAreIgnored) {
  test::Random random(1);
  for (int trial = 0; trial < 500; ++trial) {
    const auto word = static_cast<int>(random.bits());
    LagDecoder state, masked;
    EXPECT_EQ(decode(state, word, 0), decode(masked, word & 511, 0));
    EXPECT_EQ(decode(state, word, 80), decode(masked, word & 63, 80));
    EXPECT_EQ(state.old_T0, masked.old_T0);
  }
}

TEST(Lag3, SecondSubframeBeforeAnyFirstStaysAtAUsableLag) {
  for (int index = 0; index < 64; ++index) {
    LagDecoder state;
    EXPECT_GE(decode(state, index, 80).T0, 29);
  }
}

}  // namespace
}  // namespace quel
