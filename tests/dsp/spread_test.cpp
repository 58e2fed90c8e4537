#include "dsp/spread.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Hz = std::vector<float>;

Hz apart(Hz hz, float distance, float top) {
  spread(hz.data(), static_cast<int>(hz.size()), distance, top);
  return hz;
}

TEST(Spread, FrequenciesFarEnoughApartStay) {
  EXPECT_EQ(apart(Hz{100, 200, 900}, 100, 1000), (Hz{100, 200, 900}));
}

TEST(Spread, TheLowerOnesPushTheHigherOnesUp) {
  EXPECT_EQ(apart(Hz{-20, 120, 230, 900}, 100, 1100), (Hz{100, 200, 300, 900}));
}

TEST(Spread, TheTopPushesThemDownAgain) {
  EXPECT_EQ(apart(Hz{100, 5000, 5001}, 100, 1000), (Hz{100, 800, 900}));
}

TEST(Spread, WhateverComesInIsApartAndInside) {
  test::Random random(1);
  for (int k = 0; k < 1000; ++k) {
    Hz hz(16);
    for (float& v : hz) v = static_cast<float>(random.uniform(-20000.0, 30000.0));
    hz = apart(hz, 80, 8000);
    EXPECT_GE(hz.front(), 80.0f);
    EXPECT_LE(hz.back(), 7920.0f);
    // Half a unit in the last place of 8000 may go.
    for (std::size_t i = 1; i < hz.size(); ++i) EXPECT_GE(hz[i] - hz[i - 1], 80.0f - 5e-4f);
  }
}

}  // namespace
}  // namespace quel
