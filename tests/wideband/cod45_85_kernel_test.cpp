#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/kernels.h"
#include "wideband/cod45_85.h"
#include "wideband/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;

std::vector<float> signs(unsigned seed) {
  auto sign = test::noise(80, seed);
  for (float& v : sign) v = v < 0.0f ? -1.0f : 1.0f;
  return sign;
}

// Entry by entry from its own sum.
TEST(AcelpKernel, MatricesAreTheSumsInRisingOrder) {
  test::for_every_case({1}, [](int, Signal kind, unsigned seed) {
    const auto h = signal(kind, 80, seed);
    const auto sign = signs(seed);
    std::vector<float> rr(1280), wanted(1280);
    bool finite = true;
    for (const float v : h) finite = finite && std::isfinite(v);
    ASSERT_EQ(wideband_kernels().pulse_matrices(h.data(), sign.data(), rr.data()), finite);
    if (!finite) return;
    for (int x = 0; x < 80; ++x) {
      for (int y = (x % 5 + 1) % 5; y < 80; y += 5) {
        double sum = 0.0;
        for (int n = 0; n < 80 - std::max(x, y); ++n) {
          sum += static_cast<double>(h[test::size(n)]) * h[test::size(n + std::abs(x - y))];
        }
        wanted[test::size(256 * (x % 5) + 16 * (x / 5) + y / 5)] =
            static_cast<float>(sum) * sign[test::size(x)] * sign[test::size(y)];
      }
    }
    expect_same(rr, wanted);
  });
}

TEST(AcelpKernel, BothTracksCorrelationsAreThePlainOnes) {
  test::for_every_case({0, 1, 2, 3, 4}, [](int track, Signal kind, unsigned seed) {
    const auto h = signal(seed < 2 ? kind : Signal::noise, 80, seed);
    const auto vec = signal(seed % 2 == 0 ? kind : Signal::noise, 80, seed + 1);
    const auto diagonal = test::noise(80, seed + 2);
    const auto sign = signs(seed);
    const int two[] = {track, (track + 1) % 5};
    std::vector<float> cor(32), wanted(32);
    if (!wideband_kernels().pulse_correlations(h.data(), vec.data(), two, sign.data(),
                                               diagonal.data(), cor.data())) {
      EXPECT_EQ(kind, Signal::hostile);
      return;
    }
    for (int t = 0; t < 2; ++t) {
      wideband::cor_h_vec(h.data(), vec.data(), two[t], sign.data(), diagonal.data(),
                          &wanted[16 * test::size(t)]);
    }
    expect_same(cor, wanted);
  });
}

// As of the narrowband searches.
TEST(AcelpKernel, SearchFindsWhatThePlainOneFinds) {
  test::for_every_case({0, 1, 2, 3, 4}, [](int track, Signal kind, unsigned seed) {
    for (unsigned more = 0; more < 40; ++more) {
      auto dn = signal(kind, 80, 100 * seed + more);
      auto rr = test::noise(1280, seed + more, 0.3);
      auto cor_x = test::noise(16, seed + more + 1, 0.4), cor_y = test::noise(16, more, 0.4);
      for (float& v : cor_x) v += 2.0f;
      for (float& v : cor_y) v += 1.0f;
      if (more % 4 == 0) {
        for (auto* values : {&dn, &rr, &cor_x, &cor_y}) {
          for (float& v : *values) v = std::round(v);
        }
      }
      if (more % 4 == 1) test::nearly_equal(dn, rr, cor_x, cor_y);
      if (more % 4 == 2) {
        for (float& v : cor_x) v -= 6.0f;  // energies of either sign
      }
      auto dn2 = test::noise(80, more + 7);
      if (more == 5) std::fill(dn2.begin(), dn2.end(), 1.0f);  // no candidate
      AcelpWork work;
      std::copy(dn2.begin(), dn2.end(), work.dn2.begin());
      const int next = (track + 1) % 5;
      float got[] = {more % 2 == 0 ? 0.0f : 300.0f, 3.0f}, wanted[] = {got[0], got[1]};
      std::int32_t pair[] = {track, next}, wanted_pair[] = {track, next};
      wideband::plain::search_ixiy(work, track, next, &wanted[0], &wanted[1], &wanted_pair[0],
                                   &wanted_pair[1], dn.data(), cor_x.data(), cor_y.data(),
                                   rr.data());
      wideband::search_ixiy(work, track, next, &got[0], &got[1], &pair[0], &pair[1], dn.data(),
                            cor_x.data(), cor_y.data(), rr.data());
      expect_same({got[0], got[1]}, {wanted[0], wanted[1]});
      EXPECT_EQ(pair[0], wanted_pair[0]);
      EXPECT_EQ(pair[1], wanted_pair[1]);
    }
  });
}

}  // namespace
}  // namespace quel
