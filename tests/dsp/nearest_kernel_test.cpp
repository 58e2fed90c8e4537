#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;
using test::size;

// Rows in small whole numbers tie often.
TEST(NearestKernel, FindsTheFirstOfTheNearestRows) {
  for (const int dim : {2, 3, 4}) {
    test::for_every_case({16, 32, 128, 256}, [&](int rows, Signal kind, unsigned seed) {
      auto columns = test::noise(rows * dim, seed, 3.0);
      auto x = signal(kind, dim, seed + 1);
      if (seed % 2 == 0) {
        for (float& v : columns) v = std::round(v);
        for (float& v : x) v = std::round(v * 1e-3f);
      }
      double best = 1e30;
      int wanted = 0;
      for (int r = 0; r < rows; ++r) {
        double distance = 0.0;
        for (int t = 0; t < dim; ++t) {
          const double e = static_cast<double>(x[size(t)]) - columns[size(t * rows + r)];
          distance += e * e;
        }
        if (distance < best) {
          best = distance;
          wanted = r;
        }
      }
      EXPECT_EQ(dsp_kernels().nearest_row(x.data(), columns.data(), dim, rows, 1e30), wanted);
    });
  }
}

}  // namespace
}  // namespace quel
