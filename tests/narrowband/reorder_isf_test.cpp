#include "narrowband/reorder_isf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Isf = std::array<float, 10>;

constexpr Isf good = {300, 600, 1000, 1400, 1800, 2200, 2600, 3000, 3300, 90};

Isf reordered(Isf isf) {
  reorder_isf(isf.data(), 50.0f, 10, 650.0f);
  return isf;
}

Isf with(std::size_t place, float value) {
  Isf isf = good;
  isf[place] = value;
  return isf;
}

TEST(ReorderIsf, LeavesASpreadVectorAlone) {
  EXPECT_EQ(reordered(good), good);
}

TEST(ReorderIsf, RaisesALowFirstEntryTo50) {
  EXPECT_EQ(reordered(with(0, 30.0f)), with(0, 50.0f));
  EXPECT_EQ(reordered(with(0, 50.0f)), with(0, 50.0f));
  EXPECT_EQ(reordered(with(0, 50.5f)), with(0, 50.5f));
}

TEST(ReorderIsf, HoldsTheLastEntryWithinItsLimits) {
  EXPECT_EQ(reordered(with(9, 600.0f)), with(9, 520.0f));
  EXPECT_EQ(reordered(with(9, -400.0f)), with(9, -325.0f));
  EXPECT_EQ(reordered(with(9, 520.0f)), with(9, 520.0f));
  EXPECT_EQ(reordered(with(9, -325.0f)), with(9, -325.0f));
  EXPECT_EQ(reordered(with(9, 519.5f)), with(9, 519.5f));
  EXPECT_EQ(reordered(with(9, -324.5f)), with(9, -324.5f));
}

TEST(ReorderIsf, LastEntryTakesNoPartInTheOrder) {
  EXPECT_EQ(reordered(with(9, -100.0f)), with(9, -100.0f));
  std::array<float, 3> isf = {100.0f, 400.0f, 420.0f};
  reorder_isf(isf.data(), 50.0f, 3, 650.0f);
  EXPECT_EQ(isf, (std::array<float, 3>{100.0f, 400.0f, 420.0f}));
}

TEST(ReorderIsf, SwapsNeighboursInASinglePass) {
  std::array<float, 4> isf = {700.0f, 400.0f, 900.0f, 0.0f};
  reorder_isf(isf.data(), 50.0f, 4, 650.0f);
  EXPECT_EQ(isf, (std::array<float, 4>{400.0f, 700.0f, 900.0f, 0.0f}));
  // 300, 200, 100 becomes 200, 100, 300 in one pass, and the spread does the rest.
  isf = {300.0f, 200.0f, 100.0f, 0.0f};
  reorder_isf(isf.data(), 50.0f, 4, 650.0f);
  EXPECT_EQ(isf, (std::array<float, 4>{200.0f, 250.0f, 300.0f, 0.0f}));
}

TEST(ReorderIsf, SpreadsCrowdedEntriesUpwards) {
  EXPECT_EQ(reordered({300, 310, 320, 1400, 1449, 2200, 2600, 3000, 3300, 90}),
            (Isf{300, 350, 400, 1400, 1450, 2200, 2600, 3000, 3300, 90}));
  // Exactly the least spacing is left alone.
  EXPECT_EQ(reordered(with(1, 350.0f)), with(1, 350.0f));
}

TEST(ReorderIsf, ResultIsSpacedAndStaysSo) {
  test::Random random(7);
  for (int run = 0; run < 500; ++run) {
    Isf isf;
    for (float& f : isf) f = static_cast<float>(random.uniform(-500.0, 4500.0));
    const Isf once = reordered(isf);
    EXPECT_GE(once[0], 50.0f);
    for (std::size_t i = 1; i < 9; ++i) EXPECT_GE(once[i], once[i - 1] + 50.0f);
    EXPECT_GE(once[9], -325.0f);
    EXPECT_LE(once[9], 520.0f);
    EXPECT_EQ(reordered(once), once);
  }
}

}  // namespace
}  // namespace quel
