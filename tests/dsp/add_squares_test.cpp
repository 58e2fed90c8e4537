#include "dsp/add_squares.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/kernels.h"

namespace quel {
namespace {

using test::Signal;
using test::signal;

TEST(AddSquares, GivesThePlainSum) {
  test::for_every_case({0, 1, 15, 16, 17, 48, 80, 83}, [](int n, Signal kind, unsigned seed) {
    test::Misaligned x(signal(kind, n, seed), static_cast<int>(seed));
    for (const double start : {0.0, 0.01, 1e30}) {
      EXPECT_TRUE(
          test::same(add_squares(start, x.data(), n), plain::add_squares(start, x.data(), n)));
    }
  });
}

// 2^53 + 1 + ... + 1 stays 2^53 where each one is rounded away, and does not in any other order.
TEST(AddSquares, AddsInOrder) {
  test::in_every_instruction_set([] {
    const std::vector<float> x(48, 1.0f);
    EXPECT_EQ(add_squares(0x1p53, x.data(), 48), 0x1p53);
  });
}

}  // namespace
}  // namespace quel
