#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/a2isp.h"
#include "dsp/interlaced_roots.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;
using test::size;

TEST(CosineSeriesKernel, GivesTheValuesOfEachPoint) {
  for (const int order : {2, 4, 5, 8}) {
    test::for_every_case({1, 2, 15, 16, 17, 61, 101}, [&](int count, Signal kind, unsigned seed) {
      const auto f = signal(seed == 3 ? kind : Signal::noise, order + 1, seed);
      auto x = signal(kind, count, seed + 1);
      if (seed < 2) {
        for (float& v : x) v *= 1e-3f;
      }
      std::vector<double> y(size(count));
      series_values(x.data(), count, {f.data(), order}, y.data());
      for (int i = 0; i < count; ++i) {
        const double wanted = chebyshev2(x[size(i)], f.data(), order);
        ASSERT_TRUE(test::same(y[size(i)], wanted)) << i;
      }
    });
  }
}

}  // namespace
}  // namespace quel
