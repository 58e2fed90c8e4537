#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/convolve.h"
#include "dsp/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

constexpr auto lengths = {1, 2, 3, 5, 15, 16, 17, 33, 47, 48, 49, 79, 80, 81, 100};

TEST(ConvolveKernel, GivesThePlainConvolution) {
  for_every_case(lengths, [](int L, Signal kind, unsigned seed) {
    Misaligned x(signal(seed % 2 == 0 ? kind : Signal::speech, L, seed), 1);
    Misaligned h(signal(seed < 2 ? kind : Signal::speech, L, seed + 9), static_cast<int>(seed));
    std::vector<float> y(size(L)), wanted(size(L));
    plain::convolve(x.data(), h.data(), wanted.data(), L);
    convolve(x.data(), h.data(), y.data(), L);
    expect_same(y, wanted);
  });
}

TEST(ConvolveKernel, GivesThePlainBackwardFilter) {
  for_every_case(lengths, [](int L, Signal kind, unsigned seed) {
    Misaligned x(signal(seed % 2 == 0 ? kind : Signal::speech, L, seed), 1);
    Misaligned h(signal(seed < 2 ? kind : Signal::speech, L, seed + 9), static_cast<int>(seed));
    std::vector<float> y(size(L)), wanted(size(L));
    plain::backfil2(x.data(), wanted.data(), h.data(), L);
    backfil2(x.data(), y.data(), h.data(), L);
    expect_same(y, wanted);
  });
}

// Its sums start with a sample, which may be -0, and have no product more than they should.
TEST(ConvolveKernel, GivesTheConvolutionWithACutResponse) {
  for_every_case({41, 47, 48, 79, 80}, [](int L, Signal kind, unsigned seed) {
    for (const int taps : {1, 2, 17, 40}) {
      const auto x = signal(kind, L, seed);
      const auto h = signal(seed % 2 == 0 ? kind : Signal::noise, taps, seed + 9);
      std::vector<float> y(size(L)), wanted(size(L));
      for (int n = 0; n < L; ++n) {
        double sum = x[size(n)];
        for (int i = 1; i <= n && i < taps; ++i) {
          sum += static_cast<double>(x[size(n - i)]) * h[size(i)];
        }
        wanted[size(n)] = static_cast<float>(sum);
      }
      dsp_kernels().cut_convolved(x.data(), h.data(), y.data(), taps, L);
      expect_same(y, wanted);
    }
  });
}

}  // namespace
}  // namespace quel
