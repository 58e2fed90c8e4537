#include "interface/transit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;

constexpr std::int64_t rate = 8000, packet = 160, bin = rate / 200;

Transit fresh() {
  Transit transit;
  init_transit(transit, rate);
  return transit;
}

// Packets of 20 ms that come when `late` says, in order.
class Stream {
 public:
  explicit Stream(std::int64_t start = 0) : clock_(start) {}
  void add(std::int64_t late, bool in_order = true) {
    clock_ += packet;
    timestamp_ += packet;
    add_transit(transit, clock_, clock_ - timestamp_ + late, packet, in_order, 320);
  }
  Transit transit = fresh();

 private:
  std::int64_t clock_, timestamp_ = 0;
};

TEST(Transit, ExpectsWhatItIsToldUntilItKnows) {
  Stream stream;
  stream.add(0);
  EXPECT_EQ(fastest_transit(stream.transit), 0);
  EXPECT_EQ(spread_of_transit(stream.transit), 320);
  for (int k = 0; k < 1500; ++k) stream.add(0);  // half a minute
  EXPECT_EQ(spread_of_transit(stream.transit), bin);
}

TEST(Transit, WaitsForNinetyNineOfAHundred) {
  Random random(5);
  Stream stream;
  std::vector<std::int64_t> lates;
  for (int k = 0; k < 20000; ++k) {
    // Triangular, up to 200 ms.
    const auto late = static_cast<std::int64_t>(random.uniform(0, 800) + random.uniform(0, 800));
    lates.push_back(late);
    stream.add(late);
  }
  std::sort(lates.begin(), lates.end());
  const std::int64_t quantile = lates[lates.size() * 99 / 100];
  // It remembers some 500 packets, of which five are too slow: a sample of that size strays by some
  // 5 % of the range.
  EXPECT_NEAR(static_cast<double>(spread_of_transit(stream.transit)),
              static_cast<double>(quantile - lates[0]), 100.0);
}

TEST(Transit, TakesAFasterRouteAtOnceAndASlowerOneInTime) {
  Stream stream(1 << 20);
  for (int k = 0; k < 1000; ++k) stream.add(400);
  EXPECT_EQ(fastest_transit(stream.transit), ((1 << 20) + 400) / bin * bin);
  stream.add(0);
  EXPECT_LE(fastest_transit(stream.transit), (1 << 20));
  // Everything slower by 60 ms: that is spread until the fast ones are forgotten.
  for (int k = 0; k < 30; ++k) stream.add(480);
  EXPECT_GE(spread_of_transit(stream.transit), 480);
  for (int k = 0; k < 3000; ++k) stream.add(480);
  EXPECT_EQ(spread_of_transit(stream.transit), bin);
  EXPECT_EQ(fastest_transit(stream.transit), ((1 << 20) + 480) / bin * bin);
}

TEST(Transit, FollowsDriftWithoutWideningMuch) {
  for (const double ppm : {-200.0, 200.0}) {
    Stream stream(1 << 24);
    std::int64_t widest = 0;
    for (int k = 0; k < 180000; ++k) {  // an hour
      stream.add(static_cast<std::int64_t>(k * packet * ppm * 1e-6));
      if (k > 1500) widest = std::max(widest, spread_of_transit(stream.transit));
    }
    // All but one in a hundred of the weight is of the last 47 s, in which transits move by 9.4 ms;
    // and a step of 5 ms at each end.
    EXPECT_LE(widest, 75 + 2 * bin);
    const auto now = static_cast<std::int64_t>((1 << 24) + 179999 * packet * ppm * 1e-6);
    EXPECT_NEAR(static_cast<double>(fastest_transit(stream.transit)), static_cast<double>(now),
                static_cast<double>(bin + 16));
  }
}

TEST(Transit, BeginsAnewBeyondAllBins) {
  Stream stream(1 << 24);
  for (int k = 0; k < 1000; ++k) stream.add(0);
  stream.add(5 * rate);
  EXPECT_EQ(fastest_transit(stream.transit), ((1 << 24) + 5 * rate) / bin * bin);
  EXPECT_EQ(spread_of_transit(stream.transit), 320);
  stream.add(-5 * rate);
  EXPECT_NEAR(static_cast<double>(fastest_transit(stream.transit)), (1 << 24) - 5.0 * rate, bin);
}

TEST(Transit, AStragglerBeyondAllBinsChangesLittle) {
  Stream stream(1 << 24);
  for (int k = 0; k < 1000; ++k) stream.add(0);
  stream.add(5 * rate, /*in_order=*/false);
  EXPECT_EQ(fastest_transit(stream.transit), (1 << 24) / bin * bin);
  EXPECT_EQ(spread_of_transit(stream.transit), bin);  // one of 500
}

TEST(Transit, AnyNumbersAreBounded) {
  Random random(9);
  Transit transit = fresh();
  std::int64_t clock = 0;
  for (int k = 0; k < 200000; ++k) {
    clock += random.integer(0, 3) == 0 ? std::int64_t{random.bits()} << 10 : random.integer(0, 400);
    const std::int64_t odd = (std::int64_t{random.bits()} << 20) - (std::int64_t{1} << 51);
    add_transit(transit, clock, random.integer(0, 9) == 0 ? odd : random.integer(-4000, 4000),
                random.integer(0, 9) == 0 ? odd : random.integer(1, 20000),
                random.integer(0, 1) == 0, random.integer(0, 8000));
    ASSERT_GE(spread_of_transit(transit), bin);
    ASSERT_LE(spread_of_transit(transit), Transit::bins * bin);
  }
}

}  // namespace
}  // namespace quel
