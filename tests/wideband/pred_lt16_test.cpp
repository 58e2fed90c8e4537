#include "wideband/pred_lt16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

constexpr int L = 80;
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// Excitation with the history that the coders keep; nothing of the subframe is written yet.
struct Excitation {
  explicit Excitation(unsigned seed) : buffer(test::noise(exc16_history + L, seed)) {
    std::fill(buffer.begin() + exc16_history, buffer.end(), nan);
  }
  std::vector<float> buffer;
  float* exc() { return buffer.data() + exc16_history; }
};

// The filter is even and sampled in thirds: tap k of a lag T0 + frac/3 stands at k + frac/3.
double delayed(const float* exc, int j, int T0, int frac, double* size) {
  double sum = 0;
  *size = 0;
  for (int k = -10; k <= 10; ++k) {
    const int thirds = std::abs(3 * k + frac);
    if (thirds >= 30) continue;
    const double term =
        static_cast<double>(exc[j - T0 + k]) * wideband::inter3_2[static_cast<std::size_t>(thirds)];
    sum += term;
    *size += std::abs(term);
  }
  return sum;
}

TEST(PredLt16, DelaysByTheLagInOrder) {
  for (int T0 = 29; T0 <= exc16_max_lag; ++T0) {
    for (const int frac : {-1, 0, 1}) {
      if (T0 == exc16_max_lag && frac != 0) continue;
      Excitation e(static_cast<unsigned>(T0));
      pred_lt16(e.exc(), T0, frac, L);
      for (int j = 0; j < L; ++j) {
        double size = 0;
        const double expected = delayed(e.exc(), j, T0, frac, &size);
        // One rounding to float; NaN, so a sample read before it was written, fails too.
        ASSERT_NEAR(e.exc()[j], expected, 6e-8 * std::abs(expected) + 1e-12 * size)
            << T0 << ' ' << frac << ' ' << j;
      }
    }
  }
}

TEST(PredLt16, LagThirtyReadsItsOwnOutputFromSampleTwentyOn) {
  Excitation e(1);
  pred_lt16(e.exc(), 30, 0, 20);
  e.exc()[0] = nan;  // the sample 20 before output 20
  Excitation intact(1);
  pred_lt16(intact.exc(), 30, 0, 20);
  EXPECT_TRUE(std::equal(e.exc() + 1, e.exc() + 20, intact.exc() + 1));
  pred_lt16(e.exc() + 20, 30, 0, 1);
  EXPECT_TRUE(std::isnan(e.exc()[20]));
  pred_lt16(intact.exc() + 20, 30, 0, L - 20);
  Excitation whole(1);
  pred_lt16(whole.exc(), 30, 0, L);
  EXPECT_EQ(whole.buffer, intact.buffer);
}

TEST(PredLt16, RepeatsTheLastSamplesThroughTheFilter) {
  // A slow wave of period 30 goes on at lag 30: within the pass band the filter's ripple is a few
  // per cent a pass, and there are three passes.
  Excitation e(1);
  for (int i = -exc16_history; i < 0; ++i) {
    e.exc()[i] = static_cast<float>(1000 * std::sin(2 * 3.141592653589793 * i / 30));
  }
  pred_lt16(e.exc(), 30, 0, L);
  for (int j = 0; j < L; ++j) {
    EXPECT_NEAR(e.exc()[j], 1000 * std::sin(2 * 3.141592653589793 * j / 30), 60) << j;
  }
}

TEST(PredLt16, PositiveFractionDelaysMore) {
  for (const int frac : {-1, 0, 1}) {
    Excitation e(1);
    for (int i = -exc16_history; i < 0; ++i) e.exc()[i] = static_cast<float>(i);
    pred_lt16(e.exc(), 120, frac, L);
    const double gain = (e.exc()[79] - e.exc()[0]) / 79.0;  // of the filter at 0 Hz, near 1
    EXPECT_NEAR(gain, 1.0, 0.02);
    EXPECT_NEAR(e.exc()[40] / gain, 40 - 120 - frac / 3.0, 0.1) << frac;
  }
}

TEST(PredLt16, DeepestReadsStayWithinTheHistory) {
  // Everything but the history and the subframe is another array: the sanitizers watch.
  for (const auto& [T0, frac] : {std::pair{292, 0}, {291, 1}, {282, -1}, {281, 1}}) {
    std::vector<float> exact(exc16_history + L, 1.0f);
    pred_lt16(exact.data() + exc16_history, T0, frac, L);
    EXPECT_NEAR(exact.back(), 1.0f, 0.02f);
  }
}

TEST(PredLt16, DoesNotTouchTheHistory) {
  Excitation e(4), before(4);
  pred_lt16(e.exc(), 57, 1, L);
  EXPECT_TRUE(
      std::equal(before.buffer.begin(), before.buffer.begin() + exc16_history, e.buffer.begin()));
}

TEST(PitShrp, ShortLagSharpensRepeatedly) {
  std::vector<float> x(L);
  x[0] = 1.0f;
  pit_shrp(x.data(), 30, 0.5f, L);
  for (std::size_t i = 0; i < L; ++i) {
    EXPECT_EQ(x[i], i % 30 == 0 ? std::ldexp(1.0f, -static_cast<int>(i / 30)) : 0.0f) << i;
  }
}

TEST(PitShrp, FollowsTheRecursion) {
  for (int T0 = 1; T0 < L; ++T0) {
    auto x = test::noise(L, static_cast<unsigned>(T0));
    const auto before = x;
    pit_shrp(x.data(), T0, 0.8f, L);
    for (int i = 0; i < L; ++i) {
      const auto n = static_cast<std::size_t>(i);
      const double echo =
          i < T0 ? 0.0 : 0.8f * static_cast<double>(x[n - static_cast<std::size_t>(T0)]);
      EXPECT_EQ(x[n], static_cast<float>(before[n] + echo));
    }
  }
}

TEST(PitShrp, GainOneRepeatsExactly) {
  std::vector<float> x(L);
  x[3] = 5.0f;
  pit_shrp(x.data(), 40, 1.0f, L);
  EXPECT_EQ(x[43], 5.0f);
}

TEST(PitShrp, LagsOutsideTheSubframeChangeNothing) {
  const auto before = test::noise(L, 9);
  for (const int T0 :
       {std::numeric_limits<int>::min(), -1, 0, L, L + 1, 281, std::numeric_limits<int>::max()}) {
    auto x = before;
    pit_shrp(x.data(), T0, 0.7f, L);
    EXPECT_EQ(x, before) << T0;
  }
  auto x = before;
  pit_shrp(x.data(), L - 1, 0.5f, L);
  EXPECT_EQ(x[79], static_cast<float>(before[79] + 0.5 * before[0]));
  EXPECT_TRUE(std::equal(before.begin(), before.end() - 1, x.begin()));
}

}  // namespace
}  // namespace quel
