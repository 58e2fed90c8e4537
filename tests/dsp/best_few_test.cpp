#include "dsp/best_few.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

struct Entry {
  float merit;
  int number;
};

bool better(const Entry& a, const Entry& b) {
  return a.merit > b.merit;
}

std::vector<int> kept(const std::vector<float>& merits, int places) {
  std::vector<Entry> best(static_cast<std::size_t>(places));
  int count = 0;
  for (std::size_t k = 0; k < merits.size(); ++k) {
    count = keep_best(best.data(), count, places, Entry{merits[k], static_cast<int>(k)}, better);
  }
  std::vector<int> numbers;
  for (int k = 0; k < count; ++k) numbers.push_back(best[static_cast<std::size_t>(k)].number);
  return numbers;
}

// Few different merits, so that many are equal.
TEST(KeepBest, IsTheFrontOfAStableSort) {
  test::Random random(1);
  for (int round = 0; round < 500; ++round) {
    std::vector<float> merits(static_cast<std::size_t>(random.integer(0, 12)));
    for (float& merit : merits) merit = static_cast<float>(random.integer(-3, 3));
    std::vector<int> wanted(merits.size());
    for (std::size_t k = 0; k < wanted.size(); ++k) wanted[k] = static_cast<int>(k);
    std::stable_sort(wanted.begin(), wanted.end(), [&](int a, int b) {
      return merits[static_cast<std::size_t>(a)] > merits[static_cast<std::size_t>(b)];
    });
    const int places = random.integer(1, 6);
    wanted.resize(std::min(wanted.size(), static_cast<std::size_t>(places)));
    EXPECT_EQ(kept(merits, places), wanted) << round;
  }
}

TEST(KeepBest, WhatIsNoNumberTakesFreePlacesAlone) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(kept({nan, nan, nan}, 2), (std::vector<int>{0, 1}));
  EXPECT_EQ(kept({1, 2, nan}, 2), (std::vector<int>{1, 0}));
}

}  // namespace
}  // namespace quel
