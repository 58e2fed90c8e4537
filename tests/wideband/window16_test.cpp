#include "wideband/window16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using std::numbers::pi;

// Bytes in a fixed order, so that the digest is the same on a big-endian host.
std::vector<std::uint8_t> little_endian(const float* x, std::size_t n) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < n; ++i) {
    const auto word = std::bit_cast<std::uint32_t>(x[i]);
    for (int shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
  }
  return bytes;
}

TEST(Window16, FollowsTheFormula) {
  // The angle is a sum of float steps: up to 400 roundings of half a unit at 4, 2.4e-7 each.
  const double tolerance = 400 * 2.4e-7;
  for (std::size_t i = 0; i < 400; ++i) {
    const double expected = 0.54 - 0.46 * std::cos(2 * pi * static_cast<double>(i) / 799);
    EXPECT_NEAR(window16[i], expected, tolerance) << i;
  }
  for (std::size_t i = 0; i < 80; ++i) {
    const double expected = std::cos(2 * pi * static_cast<double>(i) / 319);
    EXPECT_NEAR(window16[400 + i], expected, tolerance) << i;
  }
}

TEST(Window16, StartsAtEightHundredthsAndPeaksEightySamplesBeforeItsEnd) {
  EXPECT_EQ(window16[0], static_cast<float>(0.54 - 0.46));
  EXPECT_EQ(window16[400], 1.0f);
  EXPECT_EQ(std::max_element(window16.begin(), window16.end()) - window16.begin(), 400);
  EXPECT_TRUE(std::is_sorted(window16.begin(), window16.begin() + 400));
  EXPECT_TRUE(std::is_sorted(window16.rbegin(), window16.rbegin() + 80));
  EXPECT_GT(window16[479], 0.0f);
}

TEST(Window16, KeepsItsBits) {
  const auto bytes = little_endian(window16.data(), window16.size());
  EXPECT_EQ(test::digest(bytes.data(), bytes.size()), 12316529580932227788u);
}

TEST(HammCos, FillsTheTableAndNoMore) {
  std::vector<float> w(482, -7.0f);
  hamm_cos(w.data() + 1, 400, 80);
  EXPECT_TRUE(std::equal(window16.begin(), window16.end(), w.begin() + 1));
  EXPECT_EQ(w.front(), -7.0f);
  EXPECT_EQ(w.back(), -7.0f);
}

TEST(HammCos, ServesOtherLengths) {
  std::vector<float> w(2);
  hamm_cos(w.data(), 1, 1);
  EXPECT_THAT(w, testing::ElementsAre(static_cast<float>(0.54 - 0.46), 1.0f));
  // Angles up to pi, 2.4e-7 off per step.
  std::vector<float> v(13);
  hamm_cos(v.data(), 10, 3);
  for (int i = 0; i < 10; ++i) {
    EXPECT_NEAR(v[static_cast<std::size_t>(i)], 0.54 - 0.46 * std::cos(2 * pi * i / 19), 5e-6);
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(v[static_cast<std::size_t>(10 + i)], std::cos(2 * pi * i / 11), 5e-6);
  }
}

}  // namespace
}  // namespace quel
