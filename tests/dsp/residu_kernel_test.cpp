#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/residu.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

TEST(ResiduKernel, GivesThePlainFilter) {
  for (const int m : {10, 16}) {
    for_every_case({1, 2, 3, 5, 16, 30, 47, 48, 79, 80, 81, 160, 480, 483},
                   [&](int lg, Signal kind, unsigned seed) {
                     const auto a = signal(seed == 3 ? kind : Signal::noise, m + 1, seed);
                     Misaligned x(signal(kind, m + lg, seed + 1), static_cast<int>(seed));
                     std::vector<float> y(size(lg)), wanted(size(lg));
                     plain::residu(a.data(), m, x.data() + m, wanted.data(), lg);
                     residu(a.data(), m, x.data() + m, y.data(), lg);
                     expect_same(y, wanted);
                   });
  }
}

}  // namespace
}  // namespace quel
