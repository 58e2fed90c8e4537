#include "dsp/syn_filt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "dsp/residu.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using test::speech_like;
using test::stable_filter;
using ::testing::FloatNear;
using ::testing::Pointwise;

TEST(SynFilt, UndoesTheResidual) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const auto a = stable_filter(10, seed);
    auto x = speech_like(10 + 48, seed);
    std::fill_n(x.begin(), 10, 0.0f);
    std::vector<float> y(48), mem(10);
    residu(a.data(), 10, x.data() + 10, y.data(), 48);
    syn_filt(a.data(), 10, y.data(), y.data(), 48, mem.data(), /*update=*/0);
    x.erase(x.begin(), x.begin() + 10);
    EXPECT_THAT(y, Pointwise(FloatNear(0.5f), x));  // half a step of 16-bit PCM
    EXPECT_EQ(mem, std::vector<float>(10));         // trial filtering: exact
  }
}

TEST(SynFilt, TrialFilteringTwiceGivesTheSameOutput) {
  const auto a = stable_filter(10, 1);
  const auto x = noise(48, 2);
  auto mem = noise(10, 3);
  const auto before = mem;
  std::vector<float> first(48), second(48);
  syn_filt(a.data(), 10, x.data(), first.data(), 48, mem.data(), 0);
  syn_filt(a.data(), 10, x.data(), second.data(), 48, mem.data(), 0);
  EXPECT_EQ(first, second);
  EXPECT_EQ(mem, before);
}

TEST(SynFilt, InPlaceEqualsSeparateArrays) {
  const auto a = stable_filter(16, 4);
  auto x = noise(80, 5);
  auto mem = noise(16, 6), mem2 = mem;
  std::vector<float> y(80);
  syn_filt(a.data(), 16, x.data(), y.data(), 80, mem.data(), 1);
  syn_filt16(a.data(), 16, x.data(), x.data(), 80, mem2.data(), 1);
  EXPECT_EQ(x, y);
  EXPECT_EQ(mem, mem2);
}

TEST(SynFilt, MemoryHoldsTheLastOutputsAndJoinsFrames) {
  const auto a = stable_filter(10, 7);
  const auto x = noise(96, 8);
  std::vector<float> whole(96), halves(96), mem(10), mem2(10);
  syn_filt(a.data(), 10, x.data(), whole.data(), 96, mem.data(), 1);
  syn_filt(a.data(), 10, x.data(), halves.data(), 48, mem2.data(), 1);
  EXPECT_EQ(mem2, std::vector<float>(halves.begin() + 38, halves.begin() + 48));
  syn_filt(a.data(), 10, x.data() + 48, halves.data() + 48, 48, mem2.data(), 1);
  EXPECT_EQ(whole, halves);
  EXPECT_EQ(mem, mem2);
}

}  // namespace
}  // namespace quel
