#include "narrowband/Acb2_10.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "acb_subframe.h"
#include "dsp/scratch.h"
#include "narrowband/d_acb_5k.h"

namespace quel {
namespace {

using test::absurd_acb_subframe;
using test::acb_delta;
using test::acb_merit;
using test::acb_subframe;

std::int32_t search(const float* dn, const float* h) {
  float work[48];
  std::copy_n(dn, 48, work);
  std::int32_t word = -1;
  acb_2p10b(work, h, &word);
  return word;
}

double merit_of(std::int32_t word, const test::AcbSubframe& s) {
  float y[48];
  dec_acb_2p10b(word, s.h, y);
  return acb_merit(s.x2, y);
}

TEST(Acb2p10b, FindsTheBestOfAll1024Words) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const auto s = acb_subframe(seed);
    double best = 0;
    for (std::int32_t word = 0; word < 1024; ++word) best = std::max(best, merit_of(word, s));
    const std::int32_t word = search(s.dn, s.h);
    ASSERT_GE(word, 0);
    ASSERT_LT(word, 1024);
    // Float sums of 48 products err by up to 3e-6 of a pulse's energy, and pulses of opposite sign
    // may cancel to a tenth of it.
    EXPECT_GE(merit_of(word, s), best * (1 - 1e-4));
    // The correlation with the target is positive: bit 9 is the better of its two values.
    float y[48];
    dec_acb_2p10b(word, s.h, y);
    double xy = 0;
    for (int n = 0; n < 48; ++n) xy += static_cast<double>(s.x2[n]) * y[n];
    EXPECT_GT(xy, 0);
  }
}

TEST(Acb2p10b, GivesBackEveryWordWherePulsesDoNotOverlap) {
  for (std::int32_t word = 0; word < 1024; ++word) {
    float code[48];
    dec_acb_2p10b(word, acb_delta, code);
    EXPECT_EQ(search(code, acb_delta), word);
  }
}

TEST(Acb2p10b, SilenceGivesTheFirstWord) {
  const auto s = acb_subframe(1);
  const float zero[48] = {};
  EXPECT_EQ(search(zero, s.h), 0);
  EXPECT_EQ(search(zero, zero), 0);
}

TEST(Acb2p10b, TargetThatIsNoNumberGivesTheFirstWord) {
  const auto s = acb_subframe(1);
  const std::vector<float> nan(48, std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(search(nan.data(), s.h), 0);
}

TEST(Acb2p10b, AbsurdInputStillGivesAWordAndReturnsTheScratch) {
  const std::byte* const top = i_heap;
  for (int kind = 0; kind < 500; ++kind) {
    const auto s = absurd_acb_subframe(kind);
    const std::int32_t word = search(s.dn, s.h);
    EXPECT_GE(word, 0);
    EXPECT_LT(word, 1024);
  }
  EXPECT_EQ(i_heap, top);
}

TEST(Acb2p10b, LeavesTheTargetAlone) {
  const auto s = acb_subframe(2);
  float dn[48];
  std::copy_n(s.dn, 48, dn);
  std::int32_t word = 0;
  acb_2p10b(dn, s.h, &word);
  EXPECT_TRUE(std::equal(dn, dn + 48, s.dn));
}

TEST(Acb2p10b, EqualValuesGiveAPositivePulseA) {
  // Every pair has correlation 0; the first, with no energy left out, stays.
  std::vector<float> dn(48, -5.0f);
  EXPECT_EQ(search(dn.data(), acb_delta), 0);
}

TEST(Acb2p10b, OfEqualPairsTheFirstStays) {
  std::vector<float> dn(48);
  dn[1] = -1.0f;  // B of any pair (a, 1); A of any pair (1, b) of the other grid
  EXPECT_EQ(search(dn.data(), acb_delta), 0);
  dn[1] = 0.0f;
  dn[9] = 1.0f;  // only on track 0: A at 9, B anywhere
  EXPECT_EQ(search(dn.data(), acb_delta), 3 * 16);
  dn[9] = -1.0f;
  EXPECT_EQ(search(dn.data(), acb_delta), 512 + 3 * 16);
  dn[9] = 0.0f;
  dn[47] = -1.0f;  // only on track 2: the second grid, A first at 1
  EXPECT_EQ(search(dn.data(), acb_delta), 256 + 15);
}

}  // namespace
}  // namespace quel
