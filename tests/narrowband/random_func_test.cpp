#include "narrowband/random_func.h"

#include <gtest/gtest.h>

#include <vector>

namespace quel {
namespace {

TEST(RandomFunc, FirstValuesFromTheStartSeed) {
  std::int16_t seed = 21845;
  EXPECT_EQ(random_func(seed), 3242);  // 21845 * 31821 + 13849 = 10607 * 65536 + 3242
  EXPECT_EQ(seed, 3242);               // the result is the new seed
  EXPECT_EQ(random_func(seed), 23867);
  EXPECT_EQ(random_func(seed), -11048);  // 54488 as an unsigned word
}

TEST(RandomFunc, EveryStepIsTheFormulaTakenAsSigned) {
  for (int s = -32768; s < 32768; ++s) {
    auto seed = static_cast<std::int16_t>(s);
    const long long next = ((s * 31821LL + 13849) % 65536 + 65536) % 65536;
    EXPECT_EQ(random_func(seed), next < 32768 ? next : next - 65536);
  }
}

TEST(RandomFunc, VisitsEveryValueBeforeItRepeats) {
  std::vector<bool> seen(65536);
  std::int16_t seed = 21845;
  for (int k = 0; k < 65536; ++k) {
    const auto value = static_cast<std::size_t>(random_func(seed) + 32768);
    ASSERT_FALSE(seen[value]);
    seen[value] = true;
  }
  EXPECT_EQ(seed, 21845);
}

}  // namespace
}  // namespace quel
