#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;

// Ties, zeros of either sign and few different values included.
TEST(RankKernel, CountsThoseThatComeBefore) {
  test::for_every_case({3, 5}, [](int tracks, Signal kind, unsigned seed) {
    auto measure = signal(kind, 16 * tracks, seed);
    bool sortable = true;
    for (float& v : measure) {
      if (seed % 2 == 0) v = std::floor(v / 500.0f);
      v = std::fabs(v);
      sortable = sortable && v > -1.0f;
    }
    std::vector<int> rank(measure.size());
    ASSERT_EQ(dsp_kernels().ranked(measure.data(), tracks, rank.data()), sortable);
    if (!sortable) return;
    for (int n = 0; n < 16 * tracks; ++n) {
      int before = 0;
      for (int other = n % tracks; other < 16 * tracks; other += tracks) {
        const float a = measure[test::size(other)], b = measure[test::size(n)];
        if (a > b || (a == b && other < n)) ++before;
      }
      ASSERT_EQ(rank[test::size(n)], before) << n;
    }
  });
}

}  // namespace
}  // namespace quel
