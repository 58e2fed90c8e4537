#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "support/kernels.h"
#include "wideband/pit_fr3s.h"

namespace quel {
namespace {

using test::expect_same;
using test::for_every_case;
using test::Misaligned;
using test::Signal;
using test::signal;
using test::size;

TEST(NormCorr16Kernel, GivesThePlainCorrelations) {
  for_every_case({1, 2, 5, 10, 13, 25, 26}, [](int lags, Signal kind, unsigned seed) {
    for (const int L : {41, 79, 80}) {
      for (const int t_min : {30, 60, 230}) {
        const int t_max = t_min + lags - 1;
        Misaligned exc(signal(kind, t_max + 4 + L, seed), static_cast<int>(seed));
        const auto xn = signal(seed < 2 ? kind : Signal::speech, L, seed + 1);
        auto h = signal(seed % 2 == 0 ? kind : Signal::noise, L, seed + 2);
        h[0] = 1.0f;
        std::vector<float> corr(size(lags + 8)), wanted(size(lags + 8));
        const float* start = exc.data() + t_max + 4;
        wideband::plain::norm_corr(start, xn.data(), h.data(), t_min, t_max, wanted.data(), L);
        wideband::norm_corr(start, xn.data(), h.data(), t_min, t_max, corr.data(), L);
        expect_same(corr, wanted);
      }
    }
  });
}

TEST(NormCorr16Kernel, NoLagsWriteNothing) {
  const auto exc = signal(Signal::speech, 180, 1);
  for (const int t_max : {51, 40, 0}) {
    std::vector<float> corr(200, 7.0f);
    wideband::norm_corr(exc.data() + 100, exc.data(), exc.data(), 60, t_max, corr.data(), 80);
    EXPECT_EQ(corr, std::vector<float>(200, 7.0f)) << t_max;
  }
}

}  // namespace
}  // namespace quel
