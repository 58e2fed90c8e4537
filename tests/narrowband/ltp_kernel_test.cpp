#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "narrowband/ltp.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

TEST(NormCorrKernel, GivesThePlainCorrelations) {
  for_every_case(
      {1, 2, 8, 9, 15, 16, 17, 18, 21, 25, 26}, [](int lags, Signal kind, unsigned seed) {
        for (const int t_min : {16, 40, 60, 130}) {
          const int t_max = t_min + lags - 1;
          Misaligned exc(signal(kind, t_max + 48, seed), static_cast<int>(seed));
          const auto xn = signal(seed < 2 ? kind : Signal::speech, 48, seed + 1);
          auto h = signal(seed % 2 == 0 ? kind : Signal::noise, 48, seed + 2);
          h[0] = 1.0f;
          std::vector<float> corr(size(t_max + 1)), wanted(size(t_max + 1));
          narrowband::plain::norm_corr(exc.data() + t_max, xn.data(), h.data(), t_min, t_max,
                                       wanted.data());
          narrowband::norm_corr(exc.data() + t_max, xn.data(), h.data(), t_min, t_max, corr.data());
          expect_same(corr, wanted);
        }
      });
}

TEST(NormCorrKernel, NoLagsWriteNothing) {
  const auto exc = signal(Signal::speech, 180, 1);
  for (const int t_max : {51, 40, 0}) {
    std::vector<float> corr(200, 7.0f);
    narrowband::norm_corr(exc.data() + 100, exc.data(), exc.data(), 60, t_max, corr.data());
    EXPECT_EQ(corr, std::vector<float>(200, 7.0f)) << t_max;
  }
}

}  // namespace
}  // namespace quel
