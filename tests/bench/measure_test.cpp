#include "measure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "support/signals.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

TEST(Measure, QuartilesLieBetweenNeighboursInProportion) {
  const Quartiles one = quartiles({7.0});
  EXPECT_EQ(one.lower, 7.0);
  EXPECT_EQ(one.median, 7.0);
  EXPECT_EQ(one.upper, 7.0);
  const Quartiles odd = quartiles({5.0, 1.0, 4.0, 2.0, 3.0});
  EXPECT_EQ(odd.lower, 2.0);
  EXPECT_EQ(odd.median, 3.0);
  EXPECT_EQ(odd.upper, 4.0);
  const Quartiles even = quartiles({4.0, 3.0, 2.0, 1.0});
  EXPECT_EQ(even.lower, 1.75);
  EXPECT_EQ(even.median, 2.5);
  EXPECT_EQ(even.upper, 3.25);
  EXPECT_THROW(quartiles({}), std::invalid_argument);
}

TEST(Measure, ProcessorTimeGoesOnWithWorkOnly) {
  const double start = processor_seconds();
  volatile double sum = 0.0;
  while (processor_seconds() - start < 0.001) sum = sum + 1.0;
  EXPECT_GT(sum, 1.0);  // finer than a tick of some milliseconds
}

TEST(Measure, LikenessFindsTheDelay) {
  const Pcm x = test::speech_like_pcm(8000, 1);
  Pcm y(x.size() + 100);
  std::copy(x.begin(), x.end(), y.begin() + 100);
  EXPECT_DOUBLE_EQ(likeness(x, y, 100), 1.0);
  EXPECT_LT(likeness(x, y, 99), 0.99);
  for (std::int16_t& v : y) v = static_cast<std::int16_t>(v / 2);
  EXPECT_GT(likeness(x, y, 100), 0.999);  // of the level it knows nothing
}

TEST(Measure, SoundsOfTwoSpeakersAreNotAlikeNorIsSilence) {
  const Pcm x = test::speech_like_pcm(160000, 1), y = test::speech_like_pcm(160000, 2);
  EXPECT_LT(likeness(x, y, 200), 0.2);
  EXPECT_EQ(likeness(x, Pcm(x.size()), 200), 0.0);
  EXPECT_EQ(likeness(Pcm(x.size()), x, 200), 0.0);
}

}  // namespace
}  // namespace quel::bench
