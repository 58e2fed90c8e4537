#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "dsp/pcm.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::Signal;
using test::signal;

void expect_the_scalar_ones(const std::vector<float>& x) {
  std::vector<std::int16_t> got(x.size() + 1, 77);
  float_to_pcm(x.data(), got.data(), static_cast<int>(x.size()));
  for (std::size_t i = 0; i < x.size(); ++i) ASSERT_EQ(got[i], float_to_pcm(x[i])) << x[i];
  EXPECT_EQ(got.back(), 77);
}

TEST(PcmKernel, GivesTheScalarConversion) {
  test::for_every_case({1, 7, 15, 16, 17, 48, 144, 163}, [](int n, Signal kind, unsigned seed) {
    expect_the_scalar_ones(signal(kind, n, seed));
  });
}

TEST(PcmKernel, RoundsAndClipsAtTheLimits) {
  test::in_every_instruction_set([] {
    std::vector<float> x;
    for (const float limit : {0.0f, 0.5f, 1.0f, 1.5f, 32766.5f, 32767.0f, 32767.5f, 32768.0f,
                              32768.5f, 32769.0f, 2147483648.0f, 1e10f, 3e38f}) {
      for (const float v : {std::nextafter(limit, 0.0f), limit, std::nextafter(limit, 3.4e38f)}) {
        x.push_back(v);
        x.push_back(-v);
      }
    }
    expect_the_scalar_ones(x);
  });
}

}  // namespace
}  // namespace quel
