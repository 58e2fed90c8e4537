#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/lag_correlations.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

// Sums may be told apart by their roundings only as doubles.
TEST(LagCorrelations, AreThePlainSums) {
  for_every_case({1, 2, 47, 53, 96, 143, 144, 145}, [](int n, Signal kind, unsigned seed) {
    for (const int longest : {20, 93, 142, 143, 144}) {
      Misaligned x(signal(kind, longest + n, seed), static_cast<int>(seed));
      for (const int lags : {1, 3, 20, longest, longest + 1}) {
        std::vector<double> sums(size(lags)), wanted(size(lags));
        plain::lag_correlations(x.data() + longest, n, longest, lags, wanted.data());
        lag_correlations(x.data() + longest, n, longest, lags, sums.data());
        for (std::size_t j = 0; j < sums.size(); ++j) {
          ASSERT_TRUE(test::same(sums[j], wanted[j])) << j << " of " << lags;
        }
      }
    }
  });
}

TEST(LagCorrelations, OfAPulseAreItsSurroundings) {
  std::vector<float> x = {5, 6, 7, 8, 0, 0, 2, 0};  // four past samples, four of now
  std::vector<double> sums(5);
  lag_correlations(x.data() + 4, 4, 4, 5, sums.data());
  EXPECT_EQ(sums, (std::vector<double>{14, 16, 0, 0, 4}));
}

}  // namespace
}  // namespace quel
