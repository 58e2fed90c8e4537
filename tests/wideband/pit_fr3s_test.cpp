#include "wideband/pit_fr3s.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "dsp/convolve.h"
#include "dsp/scratch.h"
#include "support/signals.h"

namespace quel {
namespace {

constexpr int L = 80, past = 301;

struct Signals {
  explicit Signals(unsigned seed)
      : buffer(test::noise(past + L, seed)), xn(test::noise(L, seed + 1000)), h(L) {
    // A decaying response like that of 1/A(z/0.85).
    const auto shape = test::noise(L, seed + 2000, 1.0);
    h[0] = 1.0f;
    for (std::size_t i = 1; i < L; ++i) {
      h[i] = shape[i] * static_cast<float>(std::pow(0.85, static_cast<double>(i)));
    }
  }
  const float* exc() const { return buffer.data() + past; }
  std::vector<float> buffer, xn, h;
};

// The excitation delayed by T through the first 40 taps, in double.
std::vector<double> filtered(const Signals& s, int T) {
  std::vector<double> y(L);
  for (int k = 0; k < L; ++k) {
    for (int j = 0; j <= std::min(k, 39); ++j) {
      const double tap = j == 0 ? 1.0 : s.h[static_cast<std::size_t>(j)];
      y[static_cast<std::size_t>(k)] += tap * s.exc()[k - j - T];
    }
  }
  return y;
}

std::vector<float> correlations(const Signals& s, int t_min, int t_max) {
  std::vector<float> corr(static_cast<std::size_t>(t_max - t_min + 10), -77.0f);
  wideband::norm_corr(s.exc(), s.xn.data(), s.h.data(), t_min, t_max, corr.data(), L);
  EXPECT_EQ(corr.back(), -77.0f);
  corr.pop_back();
  return corr;
}

TEST(NormCorr, RecursionEqualsTheDirectConvolution) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const Signals s(seed);
    for (const auto& [t_min, t_max] : {std::pair{30, 42}, {100, 119}, {262, 281}, {269, 281}}) {
      const auto corr = correlations(s, t_min, t_max);
      for (int T = t_min - 4; T <= t_max + 4; ++T) {
        double sum = 0, energy = 0.01, size = 0;
        const auto y = filtered(s, T);
        for (std::size_t k = 0; k < L; ++k) {
          sum += s.xn[k] * y[k];
          size += s.xn[k] * s.xn[k];
          energy += y[k] * y[k];
        }
        // The filtered excitation is a float at each of up to 28 lags: 28 roundings of each
        // sample, 6e-8 of the sample or of the larger ones that it came from.
        const double tolerance = 28 * 6e-8 * 4 * std::sqrt(size);
        EXPECT_NEAR(corr[static_cast<std::size_t>(T - t_min + 4)], sum / std::sqrt(energy),
                    tolerance)
            << T;
      }
    }
  }
}

TEST(NormCorr, TapsBeyondTheFortiethAndTheFirstDoNotCount) {
  Signals s(1);
  const auto corr = correlations(s, 60, 72);
  for (std::size_t i = 40; i < L; ++i) s.h[i] = 5.0f;
  s.h[0] = 3.0f;
  EXPECT_EQ(correlations(s, 60, 72), corr);
  s.h[39] += 1.0f;
  EXPECT_NE(correlations(s, 60, 72), corr);
}

TEST(NormCorr, SilentPastGivesZero) {
  Signals s(2);
  std::fill(s.buffer.begin(), s.buffer.end(), 0.0f);
  EXPECT_THAT(correlations(s, 30, 49), testing::Each(0.0f));
}

TEST(NormCorr, TailEnergyThatRunsNegativeStaysFinite) {
  // Loud samples leave the subframe's end and only faint ones follow.
  for (unsigned seed = 0; seed < 20; ++seed) {
    Signals s(seed);
    test::Random random(seed);
    for (float& v : s.buffer) v = static_cast<float>(random.gauss() * 1e-20);
    for (int i = -40; i < 0; ++i) s.buffer[static_cast<std::size_t>(past + i)] = 1e9f;
    for (const float v : correlations(s, 30, 140)) EXPECT_TRUE(std::isfinite(v));
  }
}

// A silent past through a response of one tap, met by a target of ones.
Signals single_tap() {
  Signals s(3);
  std::fill(s.buffer.begin(), s.buffer.end(), 0.0f);
  std::fill(s.h.begin(), s.h.end(), 0.0f);
  s.h[0] = 1.0f;
  std::fill(s.xn.begin(), s.xn.end(), 1.0f);
  return s;
}

TEST(NormCorr, BiasKeepsFaintExcitationBounded) {
  Signals s = single_tap();
  s.buffer[past - 50] = 0.1f;
  const auto corr = correlations(s, 60, 60);
  for (const float v : corr) EXPECT_NEAR(v, 0.1 / std::sqrt(0.01 + 0.01), 1e-6);
}

TEST(NormCorr, EnergyThatVanishesBecomesAHundredth) {
  // Beside 1e18 the bias of 0.01 is lost: when the loud sample has left, nothing remains.
  Signals s = single_tap();
  s.buffer[past - 1] = 1e9f;
  const auto corr = correlations(s, 30, 100);
  EXPECT_EQ(corr.back(), 0.0f);
  EXPECT_EQ(corr.front(), 1.0f);
}

TEST(NormCorr, TailEnergyIsHeldAtZero) {
  // 60 is lost beside 1e18, and is taken off all the same once the loud sample has left: were the
  // tail allowed to be negative, it would eat into the energy of the sample in front.
  Signals s = single_tap();
  s.buffer[past - 1] = 1e9f;
  s.buffer[past - 2] = std::sqrt(60.0f);
  s.buffer[past - 60] = 10.0f;
  const auto corr = correlations(s, 30, 90);
  EXPECT_NEAR(corr[static_cast<std::size_t>(85 - 26)], 1.0, 1e-6);
}

TEST(NormCorr, DeepestReadStaysWithinTheHistory) {
  std::vector<float> exact(286 + 1, 1.0f);  // lag 286 of 282 + 4; the front of the subframe unread
  std::vector<float> xn(L, 1.0f), h(L), corr(9);
  h[0] = 1.0f;
  exact.resize(286);
  wideband::norm_corr(exact.data() + 286, xn.data(), h.data(), 282, 282, corr.data(), L);
  for (const float v : corr) EXPECT_NEAR(v, std::sqrt(80.0), 1e-3);  // float energy and root
}

TEST(NormCorr, GivesItsScratchBack) {
  ScratchArea area;
  const ScratchSwitch on(area);
  correlations(Signals(1), 30, 49);
  EXPECT_EQ(i_heap, area.top());
}

TEST(Interpolation, WeighsFourNeighboursASideByTheEvenFilter) {
  test::Random random(1);
  std::vector<float> c(9);
  for (int trial = 0; trial < 100; ++trial) {
    for (float& v : c) v = static_cast<float>(random.uniform(-1, 1));
    for (int frac = -2; frac <= 2; ++frac) {
      double sum = 0;
      for (int k = -4; k <= 4; ++k) {
        const int thirds = std::abs(3 * k - frac);
        if (thirds < 12) {
          sum += static_cast<double>(c[static_cast<std::size_t>(k + 4)]) *
                 wideband::inter3_1[static_cast<std::size_t>(thirds)];
        }
      }
      EXPECT_NEAR(interpolation(c.data() + 4, frac), sum, 2e-7);  // one rounding, |sum| < 3
    }
  }
}

TEST(Interpolation, ReadsFourNeighboursOnTheSideOfTheFraction) {
  // Eight numbers between two that are none.
  std::vector<float> c(10, 1.0f);
  c.front() = c.back() = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isfinite(interpolation(c.data() + 4, 0)));
  EXPECT_TRUE(std::isfinite(interpolation(c.data() + 4, 2)));
  EXPECT_TRUE(std::isfinite(interpolation(c.data() + 5, -2)));
}

// Periodic excitation of period T + frac/3, sampled from a sum of harmonics below a quarter of the
// sampling rate; the target is its continuation through h.
Signals periodic(int T, int frac, unsigned seed) {
  Signals s(seed);
  const double period = T + frac / 3.0;
  test::Random random(seed);
  const int harmonics = static_cast<int>(period / 4);
  std::vector<double> amplitude, phase;
  for (int k = 0; k < harmonics; ++k) {
    amplitude.push_back(random.uniform(100, 300));
    phase.push_back(random.uniform(0, 6.28));
  }
  for (int i = -past; i < L; ++i) {
    double v = 0;
    for (int k = 0; k < harmonics; ++k) {
      const auto n = static_cast<std::size_t>(k);
      v += amplitude[n] * std::cos(2 * std::numbers::pi * (k + 1) * i / period + phase[n]);
    }
    s.buffer[static_cast<std::size_t>(past + i)] = static_cast<float>(v);
  }
  convolve16(s.exc(), s.h.data(), s.xn.data(), L);
  return s;
}

int search(const Signals& s, int t0_min, int t0_max, int* frac, int i_subfr) {
  return pitchfr3(s.exc(), s.xn.data(), s.h.data(), t0_min, t0_max, frac, i_subfr, L);
}

TEST(Pitchfr3, FindsTheFractionalPeriodOfAPeriodicSignal) {
  int wrong = 0, all = 0;
  for (int T = 34; T <= 277; T += 3) {
    for (const int frac : {-1, 0, 1}) {
      const Signals s = periodic(T, frac, static_cast<unsigned>(T));
      int found = 7;
      const int T0 = search(s, T - 6, T + 6, &found, 80);
      EXPECT_NEAR(3 * T0 + found, 3 * T + frac, 1) << T << ' ' << frac;
      wrong += 3 * T0 + found != 3 * T + frac;
      ++all;
    }
  }
  EXPECT_EQ(wrong, 0) << "of " << all;
}

TEST(Pitchfr3, MinusTwoThirdsAtOneHundredIsNinetyNineAndAThird) {
  const Signals s = periodic(99, 1, 3);
  int frac = 7;
  EXPECT_EQ(search(s, 100, 100, &frac, 0), 99);
  EXPECT_EQ(frac, 1);
}

TEST(Pitchfr3, PlusTwoThirdsGoesToTheNextLag) {
  const Signals s = periodic(101, -1, 3);
  int frac = 7;
  EXPECT_EQ(search(s, 100, 100, &frac, 0), 101);
  EXPECT_EQ(frac, -1);
}

TEST(Pitchfr3, FirstSubframeTakesWholeLagsFromOneHundredAndFiftyNineOn) {
  int frac = 7;
  EXPECT_EQ(search(periodic(159, 1, 4), 159, 159, &frac, 0), 159);
  EXPECT_EQ(frac, 0);
  EXPECT_EQ(search(periodic(159, 1, 4), 159, 159, &frac, 80), 159);
  EXPECT_EQ(frac, 1);
  EXPECT_EQ(search(periodic(158, 1, 4), 158, 158, &frac, 0), 158);
  EXPECT_EQ(frac, 1);
  EXPECT_EQ(search(periodic(200, -1, 4), 194, 206, &frac, 0), 200);
  EXPECT_EQ(frac, 0);
}

TEST(Pitchfr3, TakesTheFirstMaximumOfLagsThenOfFractions) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const Signals s(seed);
    test::Random random(seed);
    const int t_min = random.integer(30, 262), t_max = t_min + random.integer(0, 19);
    const auto corr = correlations(s, t_min, t_max);
    const auto at = [&](int T) { return corr.data() + (T - t_min + 4); };
    int T0 = t_min;
    for (int T = t_min; T <= t_max; ++T) {
      if (*at(T) > *at(T0)) T0 = T;
    }
    int thirds = 3 * T0 - 2;
    for (int f = -1; f <= 2; ++f) {
      if (interpolation(at(T0), f) > interpolation(at(T0), thirds - 3 * T0)) thirds = 3 * T0 + f;
    }
    int frac = 7;
    const int found = search(s, t_min, t_max, &frac, 80);
    EXPECT_EQ(3 * found + frac, thirds);
    EXPECT_LE(std::abs(frac), 1);
  }
}

TEST(Pitchfr3, SilenceGivesTheShortestLagAndTheLowestFraction) {
  Signals s(5);
  std::fill(s.buffer.begin(), s.buffer.end(), 0.0f);
  int frac = 7;
  EXPECT_EQ(search(s, 50, 62, &frac, 0), 49);
  EXPECT_EQ(frac, 1);
}

TEST(Pitchfr3, GivesItsScratchBack) {
  ScratchArea area;
  const ScratchSwitch on(area);
  int frac = 7;
  search(Signals(1), 30, 42, &frac, 0);
  EXPECT_EQ(i_heap, area.top());
}

}  // namespace
}  // namespace quel
