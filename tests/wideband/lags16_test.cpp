#include "wideband/lags16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/signals.h"
#include "wideband/pit_fr3s.h"

namespace quel {
namespace {

constexpr int L = 80;

struct Subframe {
  std::vector<float> past, xn, h;
  explicit Subframe(unsigned seed)
      : past(test::speech_like(400 + L, seed, 16000.0)), xn(test::noise(L, seed)), h(L) {
    for (int n = 0; n < L; ++n) {
      h[static_cast<std::size_t>(n)] = static_cast<float>(std::pow(0.8, n) * std::cos(0.7 * n));
    }
    // Like the past, a good way back.
    for (std::size_t n = 0; n < L; ++n) xn[n] = 0.02f * xn[n] + past[400 + n - 97];
  }
  const float* exc() const { return past.data() + 400; }
};

TEST(BestLags, AreEveryWholeLagsBestFractionInOrder) {
  for (const int i_subfr : {0, 80}) {
    for (const int t_min : {30, 90, 153, 262}) {
      for (unsigned seed = 0; seed < 5; ++seed) {
        SCOPED_TRACE(testing::Message() << i_subfr << ", " << t_min << ", " << seed);
        const Subframe s(seed);
        const int t_max = t_min + (i_subfr == 0 ? 12 : 19), count = t_max - t_min + 1;
        std::vector<float> corr(static_cast<std::size_t>(count + 8));
        wideband::norm_corr(s.exc(), s.xn.data(), s.h.data(), t_min, t_max, corr.data(), L);
        struct Scored {
          int T0, frac;
          float merit;
        };
        std::vector<Scored> wanted;
        for (int T0 = t_min; T0 <= t_max; ++T0) {
          const float* at = corr.data() + 4 + T0 - t_min;
          Scored best{T0, 0, *at};
          if (i_subfr != 0 || T0 < 159) {
            best.merit = -std::numeric_limits<float>::infinity();
            for (const int frac : {-1, 0, 1}) {
              const float merit = interpolation(at, frac);
              if (merit > best.merit) best = {T0, frac, merit};
            }
          }
          wanted.push_back(best);
        }
        std::stable_sort(wanted.begin(), wanted.end(),
                         [](const Scored& a, const Scored& b) { return a.merit > b.merit; });
        for (const int most : {1, 3, count, count + 5}) {
          std::array<Lag16, 40> got;
          const int found = best_lags(s.exc(), s.xn.data(), s.h.data(), t_min, t_max, i_subfr, L,
                                      got.data(), most);
          ASSERT_EQ(found, std::min(most, count));
          for (std::size_t k = 0; k < static_cast<std::size_t>(found); ++k) {
            EXPECT_EQ(got[k].T0, wanted[k].T0) << k;
            EXPECT_EQ(got[k].frac, wanted[k].frac) << k;
          }
        }
      }
    }
  }
}

TEST(BestLags, FindThePeriod) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    Subframe s(seed);
    s.past = test::noise(400 + L, seed);
    for (std::size_t n = 0; n < L; ++n) s.xn[n] = s.past[400 + n - 97];
    std::vector<float> h(L);
    h[0] = 1.0f;
    Lag16 lag;
    best_lags(s.exc(), s.xn.data(), h.data(), 90, 102, 0, L, &lag, 1);
    EXPECT_EQ(lag.T0, 97) << seed;
    EXPECT_EQ(lag.frac, 0) << seed;
  }
}

TEST(BestLags, AreThereForAnyNumbers) {
  Subframe s(1);
  for (std::size_t n = 0; n < s.past.size(); n += 7) {
    s.past[n] = std::numeric_limits<float>::quiet_NaN();
  }
  std::array<Lag16, 20> lags;
  ASSERT_EQ(best_lags(s.exc(), s.xn.data(), s.h.data(), 30, 49, 80, L, lags.data(), 20), 20);
  std::array<int, 20> seen{};
  for (const Lag16& lag : lags) {
    ASSERT_GE(lag.T0, 30);
    ASSERT_LE(lag.T0, 49);
    EXPECT_LE(std::abs(lag.frac), 1);
    ++seen[static_cast<std::size_t>(lag.T0 - 30)];
  }
  for (const int times : seen) EXPECT_EQ(times, 1);
}

}  // namespace
}  // namespace quel
