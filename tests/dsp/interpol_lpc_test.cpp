#include "dsp/interpol_lpc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <vector>

#include "dsp/isp2a.h"
#include "dsp/plain_lpc.h"
#include "dsp/scratch.h"
#include "support/signals.h"

namespace quel {
namespace {

using ::testing::Each;
using Floats = std::vector<float>;

const Floats isp_a(std::begin(isf_ini), std::end(isf_ini));
const Floats isp_b{0.98f, 0.9f, 0.75f, 0.6f, 0.3f, 0.05f, -0.2f, -0.5f, -0.9f, 0.25f};

Floats filters(const Floats& isp_new, const Floats& isp_old, int n) {
  Floats A(static_cast<std::size_t>(11 * n) + 1, 99.0f);
  interpol_lpc(isp_new.data(), isp_old.data(), A.data(), n);
  EXPECT_EQ(A.back(), 99.0f);
  A.pop_back();
  return A;
}

Floats filter_of(const Floats& isp) {
  Floats a(11);
  isp2a(isp.data(), a.data(), 10);
  return a;
}

Floats block(const Floats& A, int k) {
  return {A.begin() + 11 * k, A.begin() + 11 * (k + 1)};
}

// The last entry is interpolated like the rest and handed through, so between 0 and 1 it shows the
// weight itself, but for the few roundings of its running sum.
TEST(InterpolLpc, WeightsOfTheNewPairs) {
  Floats zero = isp_a, one = isp_b;
  zero[9] = 0.0f;
  one[9] = 1.0f;
  const Floats three = filters(one, zero, 3), five = filters(one, zero, 5);
  const double weights3[] = {1.0 / 6, 0.5, 5.0 / 6}, weights5[] = {0.1, 0.3, 0.5, 0.7, 0.9};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(block(three, k)[10], weights3[k], 3 * 0x1p-24) << k;
  for (int k = 0; k < 5; ++k) EXPECT_NEAR(block(five, k)[10], weights5[k], 5 * 0x1p-24) << k;
}

TEST(InterpolLpc, WeightsAreSummedInSinglePrecision) {
  for (const int n : {1, 3, 5}) {
    const Floats A = filters(isp_b, isp_a, n);
    volatile float weight = 0.5f / static_cast<float>(n);  // kept from any wider register
    for (int k = 0; k < n; ++k) {
      const float w = weight, old = 1.0f - w;
      Floats isp;
      for (std::size_t i = 0; i < 10; ++i) {
        isp.push_back(static_cast<float>(static_cast<double>(old) * isp_a[i] +
                                         static_cast<double>(w) * isp_b[i]));
      }
      EXPECT_EQ(block(A, k), filter_of(isp)) << n << ' ' << k;
      weight = w + 1.0f / static_cast<float>(n);
    }
  }
}

TEST(InterpolLpc, NoSubframeUsesTheNewPairsAlone) {
  for (const int n : {3, 5}) {
    const Floats A = filters(isp_b, isp_a, n);
    EXPECT_NE(block(A, n - 1), filter_of(isp_b));
    EXPECT_NE(block(A, 0), filter_of(isp_a));
  }
}

TEST(InterpolLpc, EqualVectorsGiveTheSameFilterInEveryBlock) {
  for (const Floats& isp : {isp_a, isp_b}) {
    const Floats a = filter_of(isp);
    for (const int n : {3, 5}) {
      const Floats A = filters(isp, isp, n);
      for (int k = 0; k < n; ++k) {
        // The two weights add up to 1 within 2^-24, which the polynomials' coefficients (sums of
        // up to 252 products) may raise to 1e-4 at worst; here they are near 10.
        const Floats here = block(A, k);
        for (std::size_t i = 0; i < 11; ++i) EXPECT_NEAR(here[i], a[i], 1e-5) << n << ' ' << k;
      }
    }
  }
}

TEST(InterpolLpc, ExchangedVectorsGiveTheBlocksInReverse) {
  for (const int n : {3, 5}) {
    const Floats forward = filters(isp_b, isp_a, n), backward = filters(isp_a, isp_b, n);
    for (int k = 0; k < n; ++k) {
      const Floats one = block(forward, k), other = block(backward, n - 1 - k);
      for (std::size_t i = 0; i < 11; ++i) {
        EXPECT_NEAR(one[i], other[i], 1e-5) << n << ' ' << k;  // weights off by roundings, as above
      }
    }
  }
}

TEST(InterpolLpc, EveryBlockIsMinimumPhase) {
  for (const int n : {3, 5}) {
    const Floats A = filters(isp_b, isp_a, n);
    for (int k = 0; k < n; ++k) EXPECT_TRUE(test::minimum_phase(block(A, k).data(), 10)) << k;
  }
}

TEST(InterpolLpc, NoSubframesWriteNothing) {
  Floats A(11, 99.0f);
  interpol_lpc(isp_b.data(), isp_a.data(), A.data(), 0);
  EXPECT_THAT(A, Each(99.0f));
}

TEST(InterpolLpc, ScratchIsGivenBack) {
  const std::byte* const top = i_heap;
  filters(isp_b, isp_a, 3);
  EXPECT_EQ(i_heap, top);
}

}  // namespace
}  // namespace quel
