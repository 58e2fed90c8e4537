#include "dsp/lp_fir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using ::testing::ElementsAre;
using Floats = std::vector<float>;

constexpr double taps[5] = {0.140008122f, 0.226421207f, 0.272192061f, 0.226421207f, 0.140008122f};

// The filter at full rate over signal and memory, then every step-th output.
std::vector<double> plain(const Floats& memory, const Floats& x, int step) {
  Floats line = memory;
  line.insert(line.end(), x.begin(), x.end());
  std::vector<double> out;
  const auto stride = static_cast<std::size_t>(step);
  for (std::size_t n = 0; n < x.size() / stride; ++n) {
    double sum = 0;
    for (std::size_t k = 0; k < 5; ++k) sum += taps[k] * line[n * stride + k];
    out.push_back(sum);
  }
  return out;
}

TEST(LpFir, MemoryIsZeroAtLoad) {
  EXPECT_THAT(LpFir{}.mem, ElementsAre(0.0f, 0.0f));
}

TEST(LpFir, FiltersAndDecimatesWithItsMemory) {
  struct Shape {
    int lg, step;
  };
  for (const auto& [lg, step] : {Shape{160, 3}, {161, 2}, {159, 3}, {160, 5}, {161, 4}, {3, 3}}) {
    SCOPED_TRACE(testing::Message() << lg << " by " << step);
    LpFir state;
    Floats memory(2);
    for (unsigned frame = 0; frame < 5; ++frame) {
      const Floats x = noise(lg, frame + 1);
      Floats sig = x;
      lp_fir(state, sig.data(), lg, step);
      const auto expected = plain(memory, x, step);
      ASSERT_EQ(expected.size(), static_cast<std::size_t>(lg / step));
      for (std::size_t n = 0; n < expected.size(); ++n) {
        // The same doubles in the same order: products are exact, and the sum is rounded once.
        EXPECT_EQ(sig[n], static_cast<float>(expected[n])) << n;
      }
      memory = {x[x.size() - 2], x[x.size() - 1]};
      EXPECT_THAT(state.mem, ElementsAre(memory[0], memory[1]));
    }
  }
}

TEST(LpFir, WideBandFrameGives53OutputsAndKeepsThe54thPlace) {
  const Floats x = noise(160, 1);
  Floats sig = x;
  LpFir state;
  lp_fir(state, sig.data(), 160, 3);
  EXPECT_NE(sig[52], x[52]);
  EXPECT_EQ(Floats(sig.begin() + 53, sig.end()), Floats(x.begin() + 53, x.end()));
}

TEST(LpFir, PulseShowsTheTapsInOrder) {
  const float h[5] = {0.140008122f, 0.226421207f, 0.272192061f, 0.226421207f, 0.140008122f};
  // The pulse at x[4 + k] meets output 2, whose window is x[4..8], with tap k.
  for (std::size_t k = 0; k < 5; ++k) {
    Floats sig(160);
    sig[4 + k] = 1.0f;
    LpFir state;
    lp_fir(state, sig.data(), 160, 3);
    EXPECT_EQ(sig[2], h[k]) << k;
  }
  // The memory meets the first output only.
  Floats sig(160);
  LpFir state{{1.0f, 0.0f}};
  lp_fir(state, sig.data(), 160, 3);
  EXPECT_EQ(sig[0], h[0]);
  Floats again(160);
  state = {{0.0f, 1.0f}};
  lp_fir(state, again.data(), 160, 3);
  EXPECT_EQ(again[0], h[1]);
  EXPECT_EQ(Floats(again.begin() + 1, again.end()), Floats(159));
}

TEST(LpFir, ConstantPassesWithTheSumOfTheTaps) {
  LpFir state{{1000.0f, 1000.0f}};
  Floats sig(160, 1000.0f);
  lp_fir(state, sig.data(), 160, 3);
  // 1.005050719; each tap's rounding is within 2^-25, the output's within 2^-15.
  for (std::size_t n = 0; n < 53; ++n) EXPECT_NEAR(sig[n], 1005.050719, 5000 * 0x1p-26 + 0x1p-15);
}

TEST(LpFir, StreamsDoNotShareTheirMemory) {
  LpFir one, other;
  Floats x = noise(160, 2), silence(160);
  lp_fir(one, x.data(), 160, 3);
  lp_fir(other, silence.data(), 160, 3);
  EXPECT_EQ(silence, Floats(160));
}

}  // namespace
}  // namespace quel
