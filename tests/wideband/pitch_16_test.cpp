#include "wideband/pitch_16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

constexpr int past = 93, present = 53;

// A signal with history: at(-93)..at(52).
struct Signal {
  std::vector<float> samples = std::vector<float>(past + present, 0.0f);
  float* x() { return samples.data() + past; }
  float& at(int i) { return samples[static_cast<std::size_t>(past + i)]; }
};

int open_loop(Signal& s) {
  return pitch_ol16(s.x(), 10, 93, present);
}

TEST(LagMax, EqualsAPlainSearch) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Signal s;
    s.samples = test::speech_like(past + present, seed, 16000.0 / 3);
    double best = -1e300, energy = 0.01;
    int lag = 0;
    for (int T = 40; T <= 79; ++T) {
      double r = 0;
      for (int i = 0; i < present; ++i) r += static_cast<double>(s.at(i)) * s.at(i - T);
      if (r >= best) {
        best = r;
        lag = T;
      }
    }
    for (int i = 0; i < present; ++i) energy += std::pow(s.at(i - lag), 2);
    float cor_max = 0;
    EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), lag);
    // The energy, its root and the result are rounded to float.
    EXPECT_NEAR(cor_max, best / std::sqrt(energy), 2e-7 * std::abs(best / std::sqrt(energy)));
  }
}

TEST(LagMax, LargerOfEqualLagsStays) {
  Signal s;
  s.at(0) = 1.0f;
  s.at(-45) = s.at(-52) = s.at(-60) = 3.0f;
  float cor_max = 0;
  EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), 60);
  EXPECT_EQ(lag_max(s.x(), present, 59, 40, &cor_max), 52);
  s.at(-45) = 3.5f;
  EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), 45);
}

TEST(LagMax, SilenceAndNanGiveTheLongestLag) {
  Signal s;
  float cor_max = 7;
  EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), 79);
  EXPECT_EQ(cor_max, 0.0f);
  s.samples.assign(s.samples.size(), std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), 79);
}

TEST(LagMax, NegativeCorrelationStillWins) {
  Signal s;
  s.at(0) = 1.0f;
  for (int T = 40; T <= 79; ++T) s.at(-T) = T == 50 ? -1.0f : -2.0f;
  float cor_max = 0;
  EXPECT_EQ(lag_max(s.x(), present, 79, 40, &cor_max), 50);
  EXPECT_LT(cor_max, 0.0f);
}

TEST(PitchOl16, SilenceKeepsTheFirstSection) {
  Signal s;
  EXPECT_EQ(open_loop(s), 93);
}

// x[0] = 20 correlates with 1000 at lag 93, alone in its window: max1 is 20 exactly. At lag 40 it
// meets `pulse`, and samples too recent to be lags bring that window's energy to 2000^2, so that
// max2 is pulse/100: 17 = 0.85 * 20 to the last bit for a pulse of 1700.
int two_sections(float pulse) {
  Signal s;
  s.at(0) = 20.0f;
  s.at(-93) = 1000.0f;
  s.at(-40) = pulse;
  // 2000^2 - 1700^2 - 20^2 as a sum of squares.
  const float fill[] = {1053.0f, 28.0f, 2.0f, 1.0f, 1.0f, 1.0f};
  for (int i = 0; i < 6; ++i) s.at(-9 + i) = fill[i];
  return open_loop(s);
}

TEST(PitchOl16, PreferenceForShorterLagsIsStrict) {
  EXPECT_EQ(two_sections(1700.0f), 93);
  EXPECT_EQ(two_sections(1700.25f), 40);
  EXPECT_EQ(two_sections(1699.75f), 93);
}

TEST(PitchOl16, EachShorterSectionMeetsTheLastOneTaken) {
  int taken[4] = {}, chained = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Signal s;
    s.samples = seed % 2 == 0 ? test::noise(past + present, seed)
                              : test::speech_like(past + present, seed, 16000.0 / 3);
    const int top[] = {93, 79, 39, 19}, bottom[] = {80, 40, 20, 10};
    int lag = 0, section = 0, changes = 0;
    float max = 0, cor = 0;
    for (int k = 0; k < 4; ++k) {
      const int T = lag_max(s.x(), present, top[k], bottom[k], &cor);
      if (k > 0 && !(cor > 0.85 * max)) continue;
      changes += k > 0 ? 1 : 0;
      lag = T;
      max = cor;
      section = k;
    }
    EXPECT_EQ(open_loop(s), lag);
    ++taken[section];
    chained += changes > 1 ? 1 : 0;
  }
  for (const int count : taken) EXPECT_GT(count, 5);
  EXPECT_GT(chained, 5);
}

TEST(PitchOl16, SectionsMeetWithoutGapOrOverlap) {
  // One past sample is the only one to correlate: its distance is the lag, in whatever section.
  for (int T = 10; T <= 93; ++T) {
    Signal s;
    s.at(0) = 1000.0f;
    s.at(-T) = 1000.0f;
    EXPECT_EQ(open_loop(s), T);
  }
}

TEST(PitchOl16, ShortestGoodPeriodWinsOverItsMultiples) {
  // Not at a section's edge, where the next section's nearest lag is preferred.
  for (const int period : {12, 14, 16, 23, 27, 33, 36, 44, 50}) {
    Signal s;
    for (int i = -past; i < present; ++i) {
      const double phase = 2 * std::numbers::pi * i / period;
      s.at(i) = static_cast<float>(
          1000 * (std::cos(phase) + 0.7 * std::cos(2 * phase + 1) + 0.5 * std::cos(3 * phase + 2)));
    }
    EXPECT_EQ(open_loop(s), period);
  }
}

TEST(PitchOl16, StaysInRangeForAnySignal) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Signal s;
    s.samples = test::noise(past + present, seed);
    const int T = open_loop(s);
    EXPECT_GE(T, 10);
    EXPECT_LE(T, 93);
  }
}

TEST(LagMax, TheRootOfTheEnergyIsRoundedToFloat) {
  int unrounded_differ = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Signal s;
    s.samples = test::noise(past + present, seed);
    float cor_max = 0;
    const int lag = lag_max(s.x(), present, 79, 40, &cor_max);
    double r = 0, energy = 0.01;
    for (int i = 0; i < present; ++i) {
      r += static_cast<double>(s.at(i)) * s.at(i - lag);
      energy += static_cast<double>(s.at(i - lag)) * s.at(i - lag);
    }
    const auto root = std::sqrt(static_cast<float>(energy));
    EXPECT_EQ(cor_max, static_cast<float>(r * (1.0 / static_cast<double>(root))));
    unrounded_differ += cor_max != static_cast<float>(r * (1.0 / std::sqrt(energy))) ? 1 : 0;
  }
  EXPECT_GT(unrounded_differ, 20);  // so the test does see the rounding
}

}  // namespace
}  // namespace quel
