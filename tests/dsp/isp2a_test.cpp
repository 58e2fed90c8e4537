#include "dsp/isp2a.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <numbers>
#include <vector>

#include "dsp/interpol_lpc.h"
#include "dsp/plain_lpc.h"
#include "dsp/scratch.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using ::testing::ElementsAre;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

Floats filter_of(const Floats& isp) {
  Floats a(isp.size() + 2, 99.0f);
  isp2a(isp.data(), a.data(), static_cast<int>(isp.size()));
  EXPECT_EQ(a.back(), 99.0f);  // a ends with entry M
  a.pop_back();
  return a;
}

Doubles times(const Doubles& p, const Doubles& q) {
  Doubles product(p.size() + q.size() - 1);
  for (std::size_t i = 0; i < p.size(); ++i) {
    for (std::size_t j = 0; j < q.size(); ++j) product[i + j] += p[i] * q[j];
  }
  return product;
}

// Product of 1 - 2 q z^-1 + z^-2 over every second pair from `first`, whole.
Doubles plain_product(const Floats& isp, std::size_t first, std::size_t factors) {
  Doubles product{1.0};
  for (std::size_t k = 0; k < factors; ++k) {
    product = times(product, {1.0, -2.0 * static_cast<double>(isp[first + 2 * k]), 1.0});
  }
  return product;
}

// A(z) = (F1 (1 + c) + F2 (1 - z^-2) (1 - c)) / 2, c the last coefficient.
Doubles plain_filter(const Floats& isp) {
  const std::size_t nc = isp.size() / 2;
  const double last = isp.back();
  const Doubles f1 = plain_product(isp, 0, nc);
  const Doubles f2 = times(plain_product(isp, 1, nc - 1), {1.0, 0.0, -1.0});
  Doubles a;
  for (std::size_t i = 0; i < f1.size(); ++i) {
    a.push_back(0.5 * (f1[i] * (1 + last) + f2[i] * (1 - last)));
  }
  return a;
}

Floats random_pairs(int M, Random& random) {
  Floats isp;
  for (int i = 0; i + 1 < M; ++i) {
    isp.push_back(static_cast<float>(std::cos(random.uniform(0.0, std::numbers::pi))));
  }
  std::sort(isp.begin(), isp.end(), std::greater<>());
  isp.push_back(static_cast<float>(random.uniform(-0.9, 0.9)));
  return isp;
}

// Coefficients of n factors are at most binomial(2n, n); each of the n steps rounds to float and
// carries the roundings before it on by at most 4, the sum of a factor's coefficients.
double rounding(std::size_t factors) {
  return std::pow(4.0, static_cast<double>(factors)) * static_cast<double>(factors) * 0x1p-24;
}

TEST(GetIspPol, IsTheProductOfTheFactors) {
  Random random(1);
  for (int trial = 0; trial < 200; ++trial) {
    SCOPED_TRACE(trial);
    const Floats isp = random_pairs(10, random);
    for (std::size_t n = 1; n <= 5; ++n) {
      Floats f(n + 2, 99.0f);
      get_isppol(isp.data(), f.data(), static_cast<int>(n));
      const Doubles whole = plain_product(isp, 0, n);
      for (std::size_t i = 0; i <= n; ++i) {
        EXPECT_NEAR(f[i], whole[i], rounding(n)) << n << ' ' << i;
        EXPECT_NEAR(f[i], whole[2 * n - i], rounding(n)) << n << ' ' << i;  // mirror image
      }
      EXPECT_EQ(f[n + 1], 99.0f);
    }
  }
}

TEST(GetIspPol, WorkedProducts) {
  const float isp[] = {0.5f, 99.0f, -0.25f, 99.0f, 0.0f};
  float f[4] = {};
  get_isppol(isp, f, 1);
  EXPECT_THAT(f, ElementsAre(1.0f, -1.0f, 0.0f, 0.0f));
  get_isppol(isp, f, 2);  // (1 - z + z^2)(1 + z/2 + z^2)
  EXPECT_THAT(f, ElementsAre(1.0f, -0.5f, 1.5f, 0.0f));
  get_isppol(isp, f, 3);  // times (1 + z^2)
  EXPECT_THAT(f, ElementsAre(1.0f, -0.5f, 2.5f, -1.0f));
}

TEST(Isp2A, IsHalfTheSumOfTheTwoPolynomials) {
  Random random(2);
  for (const int M : {4, 6, 8, 10}) {
    for (int trial = 0; trial < 200; ++trial) {
      SCOPED_TRACE(testing::Message() << "order " << M << ", trial " << trial);
      const Floats isp = random_pairs(M, random), a = filter_of(isp);
      const Doubles exact = plain_filter(isp);
      const double tolerance = 4 * rounding(isp.size() / 2);  // both, scaled by up to 1.9
      for (std::size_t i = 0; i < exact.size(); ++i) EXPECT_NEAR(a[i], exact[i], tolerance) << i;
      EXPECT_EQ(a[0], 1.0f);
      EXPECT_EQ(a.back(), isp.back());
    }
  }
}

TEST(Isp2A, InterlacedPairsGiveMinimumPhase) {
  Random random(3);
  for (int trial = 0; trial < 300; ++trial) {
    SCOPED_TRACE(trial);
    Floats isp;
    for (int i = 0; i < 9; ++i) {
      // A ninth of the circle each, 5% kept free between neighbours.
      const double place = (i + random.uniform(0.05, 0.95)) / 9;
      isp.push_back(static_cast<float>(std::cos(place * std::numbers::pi)));
    }
    isp.push_back(static_cast<float>(random.uniform(-0.9, 0.9)));
    EXPECT_TRUE(test::minimum_phase(filter_of(isp).data(), 10));
  }
}

TEST(Isp2A, InitialPairsGiveAMinimumPhaseFilter) {
  const Floats a = filter_of({std::begin(isf_ini), std::end(isf_ini)});
  EXPECT_TRUE(test::minimum_phase(a.data(), 10));
  EXPECT_EQ(a[10], isf_ini[9]);
}

TEST(Isp2A, EquidistantPairsGiveTheFlatFilter) {
  Floats isp;
  for (int i = 1; i <= 9; ++i) {
    isp.push_back(static_cast<float>(std::cos(std::numbers::pi * i / 10)));
  }
  isp.push_back(0.0f);
  const Floats a = filter_of(isp);
  EXPECT_EQ(a[0], 1.0f);
  EXPECT_EQ(a[10], 0.0f);
  // Single-precision accuracy: the largest coefficient on the way is about 3.
  for (std::size_t i = 1; i < 10; ++i) EXPECT_NEAR(a[i], 0.0f, 1e-6) << i;
}

TEST(Isp2A, ScratchIsGivenBack) {
  const std::byte* const top = i_heap;
  filter_of({std::begin(isf_ini), std::end(isf_ini)});
  EXPECT_EQ(i_heap, top);
}

}  // namespace
}  // namespace quel
