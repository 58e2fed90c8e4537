#include "narrowband/pitch_ol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

constexpr int history = 143;

// A signal with its history; at(i) for i from -143 on. The vector ends where the signal does, so
// that a sanitizer sees every read outside.
struct Signal {
  std::vector<float> x;
  explicit Signal(std::vector<float> samples) : x(std::move(samples)) {}
  explicit Signal(int L) : x(static_cast<std::size_t>(history + L)) {}
  float* start() { return x.data() + history; }
  float& at(int i) { return x[static_cast<std::size_t>(history + i)]; }
};

double correlation(Signal& s, int L, int lag) {
  double sum = 0.0;
  for (int i = 0; i < L; ++i) sum += static_cast<double>(s.at(i)) * s.at(i - lag);
  return sum;
}

struct Maximum {
  int lag;
  float value;
};

Maximum search(Signal& s, int L, int lag_max, int lag_min) {
  Maximum m{};
  m.lag = lagmax(s.start(), L, lag_max, lag_min, &m.value);
  return m;
}

TEST(Lagmax, FindsTheLargestCorrelation) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    Signal s(test::speech_like(history + 144, seed));
    for (const auto& [hi, lo] : {std::pair{143, 80}, std::pair{79, 40}, std::pair{39, 20}}) {
      const auto m = search(s, 144, hi, lo);
      EXPECT_GE(m.lag, lo);
      EXPECT_LE(m.lag, hi);
      const double c = correlation(s, 144, m.lag);
      for (int lag = lo; lag <= hi; ++lag) {
        // Correlations are compared as floats: equal ones can differ by a rounding.
        EXPECT_LE(correlation(s, 144, lag), c + std::abs(c) * 1e-7);
      }
      double energy = 0.01;
      for (int i = 0; i < 144; ++i) energy += std::pow(s.at(i - m.lag), 2);
      // The square root's iteration is good to about 1e-6.
      EXPECT_NEAR(m.value, c / std::sqrt(energy), 1e-5 * std::abs(c / std::sqrt(energy)));
    }
  }
}

TEST(Lagmax, EqualCorrelationsKeepTheHigherLag) {
  Signal s(20);
  for (float& x : s.x) x = 1.0f;
  EXPECT_EQ(search(s, 20, 143, 80).lag, 143);
  EXPECT_EQ(search(s, 20, 39, 20).lag, 39);
  s.at(-143) = 0.0f;  // lag 143 now reads one sample less
  EXPECT_EQ(search(s, 20, 143, 80).lag, 142);
}

TEST(Lagmax, AllNegativeCorrelationsStillHaveALargest) {
  Signal s(20);
  for (int i = -history; i < 20; ++i) s.at(i) = i < 0 ? -1.0f : 1.0f;
  s.at(-60) = -0.5f;  // read by lags 60..79
  const auto m = search(s, 20, 79, 40);
  EXPECT_EQ(m.lag, 79);
  EXPECT_NEAR(m.value, -19.5 / std::sqrt(0.01 + 19.25), 1e-5);  // as above
}

TEST(Lagmax, SilenceGivesTheHighestLagAndZero) {
  Signal s(48);
  const auto m = search(s, 48, 143, 80);
  EXPECT_EQ(m.lag, 143);
  EXPECT_EQ(m.value, 0.0f);
}

TEST(PitchOl, SilenceGives143) {
  Signal s(144);
  EXPECT_EQ(pitch_ol(s.start(), 144), 143);
}

TEST(PitchOl, FindsEveryPeriodAndNoMultipleOfIt) {
  for (const int L : {96, 144, 240}) {
    for (int period = 20; period <= 143; ++period) {
      SCOPED_TRACE(period);
      const auto cycle = test::noise(period, static_cast<unsigned>(period));
      Signal s(L);
      for (std::size_t i = 0; i < s.x.size(); ++i) {
        s.x[i] = cycle[i % static_cast<std::size_t>(period)];
      }
      EXPECT_EQ(pitch_ol(s.start(), L), period);
    }
  }
}

TEST(PitchOl, ChoosesAmongTheSectionsByTheirNormalisedMaxima) {
  int shorter = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Signal s(test::speech_like(history + 96, seed));
    const auto m1 = search(s, 96, 143, 80), m2 = search(s, 96, 79, 40), m3 = search(s, 96, 39, 20);
    Maximum best = m1;
    if (m2.value > 0.85 * best.value) best = m2;
    if (m3.value > 0.85 * best.value) best = m3;
    EXPECT_EQ(pitch_ol(s.start(), 96), best.lag);
    shorter += best.lag < 80;
  }
  EXPECT_GT(shorter, 20);
  EXPECT_LT(shorter, 180);
}

// Two samples, of which the second is 0: lag k correlates with the one sample k back, and what
// stands after that one only lowers the norm. So each section's maximum can be set at will.
class SetMaxima : public ::testing::Test {
 protected:
  Signal s{2};

  SetMaxima() { s.at(0) = 1.0f; }

  void set(int lag, float cosine) {
    s.at(-lag) = 1000.0f;
    // Negative, so that the next lag does not correlate better.
    float& dilution = s.at(1 - lag);
    dilution = -1000.0f * static_cast<float>(std::sqrt(1.0 / (cosine * cosine) - 1.0));
    // From well above the value down to it, a unit in the last place at a time.
    for (int i = 0; i < 200; ++i) dilution = std::nextafter(dilution, 0.0f);
    for (int i = 0; i < 400 && value(lag) > cosine; ++i) {
      dilution = std::nextafter(dilution, -1e9f);
    }
    ASSERT_EQ(value(lag), cosine);
  }

  float value(int lag) {
    const int lo = lag >= 80 ? 80 : lag >= 40 ? 40 : 20;
    const int hi = lag >= 80 ? 143 : lag >= 40 ? 79 : 39;
    const auto m = search(s, 2, hi, lo);
    EXPECT_EQ(m.lag, lag);
    return m.value;
  }
};

TEST_F(SetMaxima, MediumLagAtExactly85PercentKeepsTheLongLag) {
  // Half of the single-precision 0.85 is exact, so the two sides of the comparison are equal.
  set(100, 0.5f);
  set(60, 0.5f * 0.85f);
  EXPECT_EQ(pitch_ol(s.start(), 2), 100);
  set(60, std::nextafter(0.5f * 0.85f, 1.0f));
  EXPECT_EQ(pitch_ol(s.start(), 2), 60);
}

TEST_F(SetMaxima, ShortLagAtExactly85PercentKeepsTheLongLag) {
  set(100, 0.5f);
  set(30, 0.5f * 0.85f);
  EXPECT_EQ(pitch_ol(s.start(), 2), 100);
  set(30, std::nextafter(0.5f * 0.85f, 1.0f));
  EXPECT_EQ(pitch_ol(s.start(), 2), 30);
}

TEST_F(SetMaxima, ShortLagIsComparedWithTheMediumLagWhereThatWon) {
  set(100, 0.5f);
  set(60, 0.45f);
  set(30, 0.4f);  // above 85% of 0.45, not of 0.5
  EXPECT_EQ(pitch_ol(s.start(), 2), 30);
  set(60, 0.42f);  // no longer wins, so 0.4 must pass 85% of 0.5
  EXPECT_EQ(pitch_ol(s.start(), 2), 100);
}

}  // namespace
}  // namespace quel
