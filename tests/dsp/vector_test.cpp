#include "dsp/vector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using ::testing::ElementsAre;

TEST(SetZero, ClearsExactlyNPlaces) {
  std::vector<float> x{1, 2, 3, 4};
  set_zero(x.data(), 0);
  EXPECT_THAT(x, ElementsAre(1, 2, 3, 4));
  set_zero(x.data(), 3);
  EXPECT_THAT(x, ElementsAre(0, 0, 0, 4));
}

TEST(Mvr2r, CopiesExactlyNPlaces) {
  const std::vector<float> x{1, 2, 3};
  std::vector<float> y{9, 9, 9, 9};
  mvr2r(x.data(), y.data(), 0);
  EXPECT_THAT(y, ElementsAre(9, 9, 9, 9));
  mvr2r(x.data(), y.data(), 3);
  EXPECT_THAT(y, ElementsAre(1, 2, 3, 9));
}

// One rounding per sample: a fused or a float product would differ in the last place.
TEST(UpdtTar, SubtractsTheScaledContributionWithOneRounding) {
  const auto x = noise(80, 1), y = noise(80, 2);
  const float gain = 0.7351f;
  std::vector<float> x2(81, 9.0f);
  updt_tar(x.data(), x2.data(), y.data(), gain, 80);
  for (std::size_t n = 0; n < 80; ++n) {
    const double product = static_cast<double>(gain) * y[n];  // exact: 24 + 24 bits
    EXPECT_EQ(x2[n], static_cast<float>(x[n] - product)) << n;
  }
  EXPECT_EQ(x2[80], 9.0f);
}

TEST(UpdtTar, GainZeroCopiesAndGainOneOfTheTargetCancels) {
  const auto x = noise(48, 3), y = noise(48, 4);
  std::vector<float> x2(48);
  updt_tar(x.data(), x2.data(), y.data(), 0.0f, 48);
  EXPECT_EQ(x2, x);
  updt_tar(x.data(), x2.data(), x.data(), 1.0f, 48);
  EXPECT_EQ(x2, std::vector<float>(48));
}

TEST(UpdtTar, OutputMayBeEitherInput) {
  const auto x = noise(48, 5), y = noise(48, 6);
  std::vector<float> apart(48), over_x = x, over_y = y;
  updt_tar(x.data(), apart.data(), y.data(), 1.3f, 48);
  updt_tar(over_x.data(), over_x.data(), y.data(), 1.3f, 48);
  updt_tar(x.data(), over_y.data(), over_y.data(), 1.3f, 48);
  EXPECT_EQ(over_x, apart);
  EXPECT_EQ(over_y, apart);
}

}  // namespace
}  // namespace quel
