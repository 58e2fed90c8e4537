#include "narrowband/acb_common.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "acb_subframe.h"

namespace quel::narrowband {
namespace {

using test::acb_subframe;

struct Pair {
  int tx, ty, step;
};
// Every pair of tracks that a codebook visits.
constexpr Pair pairs[] = {{0, 1, 3}, {1, 2, 3}, {2, 0, 3}, {0, 2, 6}, {2, 4, 6}, {4, 0, 6}};

TEST(AcbCommon, CrossCorrelationsEqualTheirSumsInRisingOrder) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto s = acb_subframe(seed);
    for (const auto& [tx, ty, step] : pairs) {
      const int count = 48 / step;
      std::vector<float> expected, rr(static_cast<std::size_t>(count * count), -1.0f);
      for (int px = tx; px < 48; px += step) {
        for (int py = ty; py < 48; py += step) {
          float sum = 0.0f;
          for (int n = std::max(px, py); n < 48; ++n) sum += s.h[n - px] * s.h[n - py];
          expected.push_back(sum);
        }
      }
      cross_block(s.h, tx, ty, step, rr.data());
      EXPECT_EQ(rr, expected) << tx << ' ' << ty << ' ' << step;
    }
  }
}

TEST(AcbCommon, HalfEnergiesEqualTheirSumsInRisingOrder) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto s = acb_subframe(seed);
    for (const auto& [track, ty, step] : pairs) {
      std::vector<float> expected, diag(static_cast<std::size_t>(48 / step), -1.0f);
      for (int p = track; p < 48; p += step) {
        float sum = 0.0f;
        for (int i = 0; i <= 47 - p; ++i) sum += s.h[i] * s.h[i];
        expected.push_back(0.5f * sum);
      }
      half_energies(s.h, track, step, diag.data());
      EXPECT_EQ(diag, expected);
    }
  }
}

TEST(AcbCommon, SignsMultiplyEachEntryOnce) {
  test::Random random(3);
  float sign[48];
  for (float& v : sign) v = random.integer(0, 1) == 0 ? -1.0f : 1.0f;
  for (const auto& [tx, ty, step] : pairs) {
    const int count = 48 / step;
    auto rr = test::noise(count * count, 5), expected = rr;
    auto entry = expected.begin();
    for (int px = tx; px < 48; px += step) {
      for (int py = ty; py < 48; py += step) *entry++ *= sign[px] * sign[py];
    }
    fold_signs(rr.data(), tx, ty, step, sign);
    EXPECT_EQ(rr, expected);
  }
}

TEST(AcbCommon, PulseAtTheEndContributesOneSampleAndAtTheStartAll) {
  const auto filt = test::noise(48, 9);
  const auto before = test::noise(48, 10);
  auto y = before;
  add_pulse(y.data(), filt.data(), 47, -1.0f);
  EXPECT_TRUE(std::equal(y.begin(), y.end() - 1, before.begin()));
  EXPECT_EQ(y[47], before[47] - filt[0]);
  std::fill(y.begin(), y.end(), 0.0f);
  add_pulse(y.data(), filt.data(), 0, 1.0f);
  EXPECT_EQ(y, filt);
}

}  // namespace
}  // namespace quel::narrowband
