#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/autocorr.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

TEST(AutocorrKernel, GivesThePlainAutocorrelation) {
  for (const int m : {10, 16}) {
    for_every_case({17, 23, 79, 80, 81, 160, 161, 239, 240, 480},
                   [&](int L, Signal kind, unsigned seed) {
                     Misaligned x(signal(kind, L, seed), static_cast<int>(seed));
                     const auto w = signal(seed == 3 ? kind : Signal::noise, L, seed + 1);
                     std::vector<float> r(size(m + 1)), wanted(size(m + 1));
                     plain::autocorr(x.data(), wanted.data(), m, L, w.data());
                     autocorr(x.data(), r.data(), m, L, w.data());
                     expect_same(r, wanted);
                   });
  }
}

}  // namespace
}  // namespace quel
