#include "settling.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

TEST(Settling, EndsWithTheLastDifferenceOfMoreThanOne) {
  const Pcm x{0, 5, -32768, 32767, 9};
  EXPECT_EQ(settled_after(x, x), 0u);
  EXPECT_EQ(settled_after(x, Pcm{1, 4, -32767, 32766, 10}), 0u);
  EXPECT_EQ(settled_after(x, Pcm{2, 5, -32768, 32767, 9}), 1u);
  EXPECT_EQ(settled_after(x, Pcm{2, 5, 32767, 32766, 10}), 3u);
  EXPECT_EQ(settled_after(x, Pcm{0, 5, -32768, 32767, 7}), 5u);  // never
}

TEST(Settling, LooksAtWhatBothSoundsHold) {
  EXPECT_EQ(settled_after(Pcm{1, 9, 1}, Pcm{1, 1}), 2u);
  EXPECT_EQ(settled_after(Pcm{1}, Pcm{1, 9}), 0u);
  EXPECT_EQ(settled_after(Pcm{}, Pcm{9}), 0u);
}

TEST(Settling, AShareOfTheValuesDoesNotExceedIt) {
  EXPECT_EQ(not_exceeded({40, 10, 30, 20}, 0.5), 20u);
  EXPECT_EQ(not_exceeded({40, 10, 30, 20}, 0.51), 30u);
  EXPECT_EQ(not_exceeded({40, 10, 30, 20}, 1.0), 40u);
  EXPECT_EQ(not_exceeded({40, 10, 30, 20}, 0.001), 10u);
  EXPECT_EQ(not_exceeded({7}, 0.999), 7u);
}

TEST(Settling, RefusesNoValuesAndSharesThatAreNone) {
  EXPECT_THROW(not_exceeded({}, 0.5), std::invalid_argument);
  EXPECT_THROW(not_exceeded({1}, 0.0), std::invalid_argument);
  EXPECT_THROW(not_exceeded({1}, 1.1), std::invalid_argument);
}

}  // namespace
}  // namespace quel::bench
