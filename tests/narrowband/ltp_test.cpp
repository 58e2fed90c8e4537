#include "narrowband/ltp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include "dsp/convolve.h"
#include "narrowband/lag_code.h"
#include "support/signals.h"

namespace quel {
namespace {

using narrowband::inter3_1;
using narrowband::inter3_2;
using narrowband::norm_corr;

constexpr int past = 154;

using Floats = std::vector<float>;

// 154 past samples and a subframe; nothing beyond, so that a sanitizer sees every read outside.
struct Excitation {
  Floats x;
  explicit Excitation(Floats samples) : x(std::move(samples)) {}
  float* start() { return x.data() + past; }
};

// Noise without much at high frequencies, where thirds of a sample are hard to tell.
Floats smooth_noise(int n, unsigned seed) {
  const Floats white = test::noise(n + 4, seed);
  Floats x(static_cast<std::size_t>(n));
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = 0.25f * (white[i] + white[i + 4]) + 0.7f * (white[i + 1] + white[i + 3]) + white[i + 2];
  }
  return x;
}

Floats impulse_response(unsigned seed) {
  Floats h = test::noise(48, seed, 0.3);
  h[0] = 1.0f;
  float decay = 1.0f;
  for (float& v : h) {
    v *= decay;
    decay *= 0.85f;
  }
  return h;
}

// The interpolation by its definition: the table holds three phases of one symmetric filter.
double plain_interpolation(const Floats& x, int at, const float* tab, int half, int frac) {
  double sum = 0.0;
  for (int k = 0; k < 2 * half; ++k) {
    const int i = frac < 0 ? at - half + k : at + 1 - half + k;
    const int j = frac < 0 ? 4 * half - 1 - 2 * k : (frac > 0 ? 1 : 0) + 2 * k;
    sum += static_cast<double>(x.at(static_cast<std::size_t>(i))) * tab[j];
  }
  return sum;
}

TEST(Ltp, WholeSamplePhasesAreSymmetric) {
  for (int k = 0; k <= 12; k += 2) EXPECT_EQ(inter3_1[k], inter3_1[12 - k]);
  EXPECT_EQ(inter3_1[14], 0.0f);
  for (int k = 0; k <= 36; k += 2) EXPECT_EQ(inter3_2[k], inter3_2[36 - k]);
  EXPECT_EQ(inter3_2[38], 0.0f);
  EXPECT_TRUE(std::signbit(inter3_2[13]));
}

TEST(Ltp, EveryPhasePassesSlowSignals) {
  for (int phase = 0; phase < 2; ++phase) {
    double short_sum = 0.0, long_sum = 0.0;
    for (int k = phase; k < 16; k += 2) short_sum += inter3_1[k];
    for (int k = phase; k < 40; k += 2) long_sum += inter3_2[k];
    EXPECT_NEAR(short_sum, 1.0, 0.01);  // the ripple of so short a filter
    EXPECT_NEAR(long_sum, 1.0, 0.01);
  }
}

TEST(Interpol, IsTheSumOfItsTapsRoundedOnce) {
  const Floats x = test::noise(80, 1);
  for (const int half : {4, 10}) {
    const float* tab = half == 4 ? inter3_1 : inter3_2;
    for (int frac = -1; frac <= 1; ++frac) {
      Floats y(40);
      interpol(x.data() + 15, y.data(), tab, half, frac, 40);
      for (int j = 0; j < 40; ++j) {
        EXPECT_EQ(y[static_cast<std::size_t>(j)],
                  static_cast<float>(plain_interpolation(x, 15 + j, tab, half, frac)));
      }
    }
  }
}

TEST(Interpol, ShiftsSlowSinesByThirds) {
  for (int frac = -1; frac <= 1; ++frac) {
    Floats x(100), y(60);
    const double w = 2.0 * std::numbers::pi * 400.0 / 8000.0;
    for (int i = 0; i < 100; ++i)
      x[static_cast<std::size_t>(i)] = static_cast<float>(std::sin(w * i));
    interpol(x.data() + 20, y.data(), inter3_2, 10, frac, 60);
    for (int j = 0; j < 60; ++j) {
      // A third of a sample is 0.1 of this sine's amplitude; the filter's ripple is below 0.01.
      EXPECT_NEAR(y[static_cast<std::size_t>(j)], std::sin(w * (20 + j + frac / 3.0)), 0.015);
    }
  }
}

TEST(Interpol, OnlyTheSignOfTheFractionCounts) {
  const Floats x = test::noise(60, 2);
  Floats y(20), wanted(20);
  for (const int frac : {2, 5, std::numeric_limits<int>::max()}) {
    interpol(x.data() + 20, wanted.data(), inter3_2, 10, 1, 20);
    interpol(x.data() + 20, y.data(), inter3_2, 10, frac, 20);
    EXPECT_EQ(y, wanted);
    interpol(x.data() + 20, wanted.data(), inter3_2, 10, -1, 20);
    interpol(x.data() + 20, y.data(), inter3_2, 10, -frac, 20);
    EXPECT_EQ(y, wanted);
  }
}

TEST(NormCorr, RecursionEqualsFilteringEveryDelay) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    Excitation exc(smooth_noise(past + 48, seed));
    const Floats xn = test::noise(48, seed + 100), h = impulse_response(seed);
    const int t_min = 16 + static_cast<int>(6 * seed), t_max = t_min + 17;
    Floats corr(150, -7.0f);
    norm_corr(exc.start(), xn.data(), h.data(), t_min, t_max, corr.data());
    for (int k = 0; k < 150; ++k) {
      const float value = corr[static_cast<std::size_t>(k)];
      if (k < t_min || k > t_max) {
        EXPECT_EQ(value, -7.0f);  // not written
        continue;
      }
      double xy = 0.0, yy = 0.01;
      for (int j = 0; j < 48; ++j) {
        double filtered = 0.0;
        for (int i = 0; i <= j; ++i) {
          filtered += static_cast<double>(exc.start()[i - k]) * h[static_cast<std::size_t>(j - i)];
        }
        xy += filtered * xn[static_cast<std::size_t>(j)];
        yy += filtered * filtered;
      }
      // At most 18 roundings of 6e-8 on top of each other, against the target's norm.
      EXPECT_NEAR(value, xy / std::sqrt(yy), 2e-6 * std::sqrt(test::dot(xn, xn)));
    }
  }
}

TEST(NormCorr, SilentPastGivesZero) {
  Excitation exc(Floats(past + 48));
  const Floats xn = test::noise(48, 1), h = impulse_response(1);
  Floats corr(50, 1.0f);
  norm_corr(exc.start(), xn.data(), h.data(), 20, 49, corr.data());
  for (std::size_t k = 20; k < 50; ++k) EXPECT_EQ(corr[k], 0.0f);
}

TEST(NormCorr, EnergyOfTheDelayedVectorHasABiasOfAHundredth) {
  Excitation exc(Floats(past + 48));
  Floats xn(48), h(48), corr(50);
  xn[0] = h[0] = 1.0f;
  exc.start()[-30] = 0.1f;
  norm_corr(exc.start(), xn.data(), h.data(), 20, 49, corr.data());
  // Float roundings of a value below 1, and of its two constants.
  EXPECT_NEAR(corr[30], 0.1 / std::sqrt(0.01 + 0.01), 2e-7);
}

struct Found {
  int T0, frac;
};

// What the search says of a target that is the excitation delayed by exactly T0 + frac/3.
Found search(unsigned seed, Lag lag, LagRange range, int i_subfr) {
  Excitation exc(smooth_noise(past + 48, seed));
  pred_lt(exc.start(), lag.T0, lag.frac, 48);
  const Floats h = impulse_response(seed);
  Floats xn(48);
  convolve(exc.start(), h.data(), xn.data(), 48);
  Found found{};
  found.T0 =
      pitch_fr(exc.start(), xn.data(), h.data(), range.t0_min, range.t0_max, i_subfr, &found.frac);
  return found;
}

TEST(PitchFr, FindsTheLagInThirds) {
  int all = 0, hits = 0;
  for (int T0 = 20; T0 <= 143; ++T0) {
    for (int frac = -1; frac <= 1; ++frac) {
      const auto range = range_around_lag(T0);
      const auto found = search(static_cast<unsigned>(3 * T0 + frac), {T0, frac}, range, 48);
      ++all;
      hits += found.T0 == T0 && found.frac == frac;
      // Interpolated correlations are approximate, but never more than a third off.
      EXPECT_LE(std::abs(3 * found.T0 + found.frac - 3 * T0 - frac), 1) << T0 << ' ' << frac;
    }
  }
  EXPECT_GE(hits, all * 99 / 100);
}

TEST(PitchFr, TwoThirdsBelowTheRangeIsRelativeIndex0) {
  for (const int t0_min : {20, 60, 100, 134}) {
    const auto found = search(1, {t0_min - 1, 1}, {t0_min, t0_min + 9}, 48);
    EXPECT_EQ(found.T0, t0_min - 1);
    EXPECT_EQ(found.frac, 1);
    EXPECT_EQ(encode_relative_lag(found.T0, found.frac, t0_min), 0);
  }
}

TEST(PitchFr, TwoThirdsAboveTheRangeIsRelativeIndex31) {
  for (const int t0_min : {20, 60, 100, 134}) {
    const auto found = search(2, {t0_min + 10, -1}, {t0_min, t0_min + 9}, 48);
    EXPECT_EQ(found.T0, t0_min + 10);
    EXPECT_EQ(found.frac, -1);
    EXPECT_EQ(encode_relative_lag(found.T0, found.frac, t0_min), 31);
  }
}

TEST(PitchFr, AbsolutelyCodedLagsFrom85OnStayWhole) {
  const auto fraction = [](int T0, int i_subfr) {
    return search(5, {T0, 1}, {T0 - 3, T0 + 3}, i_subfr).frac;
  };
  for (const int T0 : {85, 100, 130}) {
    EXPECT_EQ(fraction(T0, 0), 0) << T0;
    EXPECT_EQ(fraction(T0, 48), 1) << T0;
  }
  EXPECT_EQ(fraction(84, 0), 1);
}

TEST(PitchFr, EqualCorrelationsKeepTheLowestLagAndItsWholeSample) {
  Excitation silent(Floats(past + 48)), constant(Floats(past + 48, 1.0f));
  Floats xn(48, 1.0f), h(48);
  h[0] = 1.0f;
  int frac = 7;
  EXPECT_EQ(pitch_fr(silent.start(), xn.data(), h.data(), 40, 49, 48, &frac), 40);
  EXPECT_EQ(frac, 0);
  // Every lag reads the same ones; the whole-sample phase has the larger sum.
  EXPECT_EQ(pitch_fr(constant.start(), xn.data(), h.data(), 40, 49, 48, &frac), 40);
  EXPECT_EQ(frac, 0);
}

// Correlations that fall off alike on both sides of lag 60: peak, one, two and three lags away. All
// delayed vectors hold the same few samples, so they have one norm and the two sides tie exactly.
Found search_symmetric(const std::array<float, 4>& side) {
  Excitation exc(Floats(past + 48));
  for (int d = -3; d <= 3; ++d) {
    exc.start()[-40 - d] = side[static_cast<std::size_t>(std::abs(d))];
  }
  Floats xn(48), h(48), corr(71);
  xn[20] = h[0] = 1.0f;
  norm_corr(exc.start(), xn.data(), h.data(), 53, 70, corr.data());
  for (std::size_t d = 0; d < 8; ++d) EXPECT_EQ(corr[60 - d], corr[60 + d]);
  float before = 0.0f, after = 0.0f;
  for (const auto& [step, phase] : {std::pair{0, -1}, std::pair{-1, 1}}) {
    interpol(&corr[static_cast<std::size_t>(60 + step)], &before, inter3_1, 4, phase, 1);
    interpol(&corr[static_cast<std::size_t>(60 - step)], &after, inter3_1, 4, -phase, 1);
    EXPECT_EQ(before, after);
  }
  Found found{};
  found.T0 = pitch_fr(exc.start(), xn.data(), h.data(), 57, 66, 48, &found.frac);
  return found;
}

TEST(PitchFr, EqualThirdsKeepTheShorterLag) {
  const Found third = search_symmetric({100.0f, 99.0f, -100.0f, 0.0f});
  EXPECT_EQ(third.T0, 60);
  EXPECT_EQ(third.frac, -1);
  const Found two_thirds = search_symmetric({100.0f, 99.0f, 95.0f, 0.0f});
  EXPECT_EQ(two_thirds.T0, 59);
  EXPECT_EQ(two_thirds.frac, 1);
}

TEST(PredLt, IsTheExcitationInterpolatedAtItsDelay) {
  for (int T0 = 19; T0 <= 144; ++T0) {
    for (int frac = -1; frac <= 1; ++frac) {
      if ((T0 == 19 && frac < 1) || (T0 == 144 && frac > -1)) continue;
      Excitation exc(test::noise(past + 48, static_cast<unsigned>(T0)));
      Floats wanted = exc.x;
      for (int n = 0; n < 48; ++n) {
        wanted[static_cast<std::size_t>(past + n)] =
            static_cast<float>(plain_interpolation(wanted, past + n - T0, inter3_2, 10, -frac));
      }
      pred_lt(exc.start(), T0, frac, 48);
      EXPECT_EQ(exc.x, wanted) << T0 << ' ' << frac;
    }
  }
}

TEST(PredLt, ShortLagRepeatsItsOwnOutput) {
  // A slow tone of period 20 in the past goes on as such, and what stood in the subframe is not
  // read.
  Excitation exc(Floats(past + 48, std::numeric_limits<float>::quiet_NaN()));
  const auto tone = [](int n) { return std::sin(2.0 * std::numbers::pi * n / 20.0); };
  for (int n = -past; n < 0; ++n) exc.start()[n] = static_cast<float>(tone(n));
  pred_lt(exc.start(), 20, 0, 48);
  for (int n = 0; n < 48; ++n) {
    EXPECT_NEAR(exc.start()[n], tone(n), 0.03);  // the filter's ripple, up to three times
  }
  // The second period is computed from the first, not from the past.
  Excitation altered(exc.x);
  std::fill(altered.x.begin(), altered.x.begin() + past - 31, 0.0f);
  pred_lt(altered.start(), 20, 0, 48);
  EXPECT_EQ(altered.x.back(), exc.x.back());
}

TEST(PredLt, LegalLagsReadAtMost153BackAndNothingUnwritten) {
  for (int thirds = 3 * 19 + 1; thirds <= 3 * 143 + 2; ++thirds) {
    const int T0 = (thirds + 1) / 3;
    Excitation exc(test::noise(past + 48, 3));
    exc.x[0] = std::numeric_limits<float>::quiet_NaN();  // 154 back
    std::fill(exc.x.begin() + past, exc.x.end(), std::numeric_limits<float>::quiet_NaN());
    pred_lt(exc.start(), T0, thirds - 3 * T0, 48);
    for (int n = 0; n < 48; ++n) ASSERT_FALSE(std::isnan(exc.start()[n])) << thirds;
  }
}

TEST(PredLt, LagsBeyondTheHistoryAreHeldInside) {
  const auto vector = [](int T0, int frac) {
    Excitation exc(test::noise(past + 48, 4));
    pred_lt(exc.start(), T0, frac, 48);
    return exc.x;
  };
  constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
  for (int frac = -1; frac <= 1; ++frac) {
    EXPECT_EQ(vector(145, frac), vector(144, frac));
    EXPECT_EQ(vector(most, frac), vector(144, frac));
    EXPECT_EQ(vector(10, frac), vector(11, frac));
    EXPECT_EQ(vector(0, frac), vector(11, frac));
    EXPECT_EQ(vector(least, frac), vector(11, frac));
  }
  EXPECT_EQ(vector(60, 2), vector(60, 1));
  EXPECT_EQ(vector(60, -2), vector(60, -1));
}

// The delayed vector goes on from lag to lag in floats, so its bits depend on where it starts. With
// a response of ones, lag 96 adds up loud - loud - 1 at once, which leaves -1; a lag earlier the
// sum -loud - 1 would have lost the 1 to rounding.
TEST(PitchFr, DelayedVectorStartsFourLagsBelowTheSearch) {
  constexpr float loud = 0x1p30f;
  Excitation exc(Floats(past + 48));
  exc.start()[-96] = loud;
  exc.start()[-95] = -loud;
  exc.start()[-94] = -1.0f;
  const Floats h(48, 1.0f);
  Floats xn(48);
  xn[6] = 1.0f;  // meets the -1 at lag 100, and nothing at lag 101
  int frac = 7;
  EXPECT_EQ(pitch_fr(exc.start(), xn.data(), h.data(), 100, 101, 0, &frac), 101);
  EXPECT_EQ(frac, 0);
}

}  // namespace
}  // namespace quel
