#include "wideband/lsf2a.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "dsp/scratch.h"
#include "support/signals.h"
#include "wideband/a2lsf.h"

namespace quel {
namespace {

using std::numbers::pi;

std::vector<float> random_lines(unsigned seed) {
  test::Random random(seed);
  std::vector<double> w(17);
  double sum = 0;
  for (double& v : w) sum += v = random.uniform(0.3, 1.0);
  std::vector<float> lsp;
  double at = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    at += w[i];
    lsp.push_back(static_cast<float>(std::cos(pi * at / sum)));
  }
  return lsp;
}

std::vector<double> times(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<double> z(x.size() + y.size() - 1);
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t j = 0; j < y.size(); ++j) z[i + j] += x[i] * y[j];
  }
  return z;
}

// Product of 1 - 2 q z^-1 + z^-2 over every second line, but for line `without`.
std::vector<double> half(const std::vector<float>& lsp, std::size_t first,
                         std::size_t without = 99) {
  std::vector<double> f = {1.0};
  for (std::size_t i = first; i < lsp.size(); i += 2) {
    if (i != without) f = times(f, {1.0, -2.0 * lsp[i], 1.0});
  }
  return f;
}

// The same product of magnitudes. Times the unit of float and the number of roundings on the way
// to a coefficient, at most 20, it bounds that coefficient's error.
std::vector<double> rounding_bound(const std::vector<float>& lsp, std::size_t first) {
  std::vector<float> magnitudes;
  for (const float q : lsp) magnitudes.push_back(-std::abs(q));
  auto bound = half(magnitudes, first);
  for (double& v : bound) v *= 20 * 6e-8;
  return bound;
}

std::vector<double> filter_bound(const std::vector<float>& lsp) {
  auto bound = times(rounding_bound(lsp, 0), {1.0, 1.0});
  const auto difference = times(rounding_bound(lsp, 1), {1.0, 1.0});
  for (std::size_t i = 0; i < bound.size(); ++i) bound[i] = 0.5 * (bound[i] + difference[i]);
  return bound;
}

TEST(GetLsfpol, IsTheFrontOfTheSymmetricProduct) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto lsp = random_lines(seed);
    for (const std::size_t first : {0u, 1u}) {
      std::vector<float> f(10, -77.0f);
      get_lsfpol(lsp.data() + first, f.data(), 8);
      const auto expected = half(lsp, first), bound = rounding_bound(lsp, first);
      for (std::size_t i = 0; i <= 8; ++i) {
        EXPECT_NEAR(f[i], expected[i], bound[i]) << i;
        EXPECT_NEAR(expected[i], expected[16 - i], 1e-9);
      }
      EXPECT_EQ(f[9], -77.0f);
    }
  }
}

TEST(GetLsfpol, OneFactor) {
  const float q = 0.25f;
  float f[2];
  get_lsfpol(&q, f, 1);
  EXPECT_EQ(f[0], 1.0f);
  EXPECT_EQ(f[1], -0.5f);
}

TEST(Lsf2a, IsTheMeanOfBothPolynomials) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto lsp = random_lines(seed);
    std::vector<float> a(18, -77.0f);
    lsf2a(lsp.data(), a.data(), 16);
    const auto sum = times(half(lsp, 0), {1.0, 1.0});
    const auto difference = times(half(lsp, 1), {1.0, -1.0});
    const auto bound = filter_bound(lsp);
    EXPECT_EQ(a[0], 1.0f);
    for (std::size_t i = 0; i <= 16; ++i) {
      EXPECT_NEAR(a[i], 0.5 * (sum[i] + difference[i]), bound[i]) << i;
    }
    EXPECT_NEAR(sum[17] + difference[17], 0.0, 1e-9);
    EXPECT_EQ(a[17], -77.0f);
  }
}

TEST(Lsf2a, NeutralLinesGiveTheFlatFilter) {
  std::vector<float> lsp(16), a(17);
  for (int i = 0; i < 16; ++i) {
    lsp[static_cast<std::size_t>(i)] = static_cast<float>(std::cos((i + 1) * pi / 17));
  }
  lsf2a(lsp.data(), a.data(), 16);
  EXPECT_EQ(a[0], 1.0f);
  const auto bound = filter_bound(lsp);
  for (std::size_t i = 1; i <= 16; ++i) EXPECT_NEAR(a[i], 0.0, bound[i]);
}

TEST(Lsf2a, ReproducesAStableFilter) {
  int found = 0;
  const std::vector<float> fallback(16, -7.0f);
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const auto a = test::stable_filter(16, seed);
    std::vector<float> lsp(16), back(17);
    a2lsf(a.data(), lsp.data(), fallback.data(), 16);
    if (lsp == fallback) continue;
    ++found;
    lsf2a(lsp.data(), back.data(), 16);
    // What an error of 4e-5 of each line does to a coefficient, to first order; 4e-5 is what four
    // bisections and a chord leave (see the test of a2lsf).
    std::vector<double> tolerance(17, 1e-5);
    for (std::size_t line = 0; line < 16; ++line) {
      const double trivial = line % 2 == 0 ? 1.0 : -1.0;
      const auto slope = times(half(lsp, line % 2, line), {1.0, trivial});
      for (std::size_t i = 1; i <= 16; ++i) tolerance[i] += 4e-5 * std::abs(slope[i - 1]);
    }
    for (std::size_t i = 0; i <= 16; ++i) EXPECT_NEAR(back[i], a[i], tolerance[i]) << i;
  }
  EXPECT_GT(found, 150);
}

TEST(IntLpc, EqualLinesGiveTwoIdenticalFilters) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto lsp = random_lines(seed);
    std::vector<float> Az(34);
    int_lpc(lsp.data(), lsp.data(), Az.data(), 16);
    EXPECT_EQ(std::vector<float>(Az.begin(), Az.begin() + 17),
              std::vector<float>(Az.begin() + 17, Az.end()));
  }
}

TEST(IntLpc, FirstSubframeIsHalfwaySecondIsNew) {
  const auto before = random_lines(1), now = random_lines(2);
  std::vector<float> mean(16), Az(35, -77.0f), first(17), second(17);
  for (std::size_t i = 0; i < 16; ++i) {
    mean[i] = static_cast<float>((static_cast<double>(before[i]) + now[i]) / 2);
  }
  lsf2a(mean.data(), first.data(), 16);
  lsf2a(now.data(), second.data(), 16);
  int_lpc(before.data(), now.data(), Az.data(), 16);
  EXPECT_EQ(std::vector<float>(Az.begin(), Az.begin() + 17), first);
  EXPECT_EQ(std::vector<float>(Az.begin() + 17, Az.begin() + 34), second);
  EXPECT_EQ(Az[34], -77.0f);
}

TEST(IntLpc, GivesItsScratchBack) {
  ScratchArea area;
  const ScratchSwitch on(area);
  const auto lsp = random_lines(3);
  std::vector<float> Az(34);
  int_lpc(lsp.data(), lsp.data(), Az.data(), 16);
  EXPECT_EQ(i_heap, area.top());
}

}  // namespace
}  // namespace quel
