#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/interpolate.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;

// The output lies `gap` samples behind the last one that output 0 reads, and feeds on itself where
// that is less than the length.
TEST(Interpolate, GivesThePlainSumsFeedingOnItselfOrNot) {
  int place[20];
  for (int k = 0; k < 20; ++k) place[k] = k % 2 == 0 ? 10 + k / 2 : 9 - k / 2;
  for_every_case({1, 5, 8, 13, 48, 79, 80, 81}, [&](int L, Signal kind, unsigned seed) {
    for (const int gap : {1, 2, 7, 8, 9, 15, 16, 17, 50, 130}) {
      SCOPED_TRACE(gap);
      const auto floats = signal(seed == 3 ? kind : Signal::noise, 20, seed + 1);
      const std::vector<double> filter(floats.begin(), floats.end());
      auto samples = signal(kind, 19 + gap + L, seed);
      for (float& v : samples) v *= 1e-3f;
      Misaligned x(samples, static_cast<int>(seed)), x2(samples, 0);
      plain::interpolate(filter.data(), place, x2.data(), x2.data() + 19 + gap, L);
      interpolate(filter.data(), place, x.data(), x.data() + 19 + gap, L);
      expect_same({x.data(), x.data() + 19 + gap + L}, {x2.data(), x2.data() + 19 + gap + L});
    }
  });
}

TEST(Interpolate, OneTapIsADelay) {
  int place[20];
  double filter[20] = {};
  for (int k = 0; k < 20; ++k) place[k] = 19 - k;
  filter[3] = 1.0;  // place 16
  const auto x = signal(Signal::noise, 67, 1);
  std::vector<float> y(48);
  interpolate(filter, place, x.data(), y.data(), 48);
  EXPECT_EQ(y, std::vector<float>(x.begin() + 16, x.begin() + 64));
}

}  // namespace
}  // namespace quel
