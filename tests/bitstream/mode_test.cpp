#include "bitstream/mode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

namespace quel {
namespace {

Mode mode_of(std::int32_t flavor) {
  Mode mode;
  set_mode(mode, flavor);
  return mode;
}

// Every member but initFlavor.
void expect_same_geometry_and_factors(const Mode& a, const Mode& b) {
  EXPECT_EQ(a.len_frame, b.len_frame);
  EXPECT_EQ(a.num_subfr, b.num_subfr);
  EXPECT_EQ(a.len_past, b.len_past);
  EXPECT_EQ(a.len_total, b.len_total);
  EXPECT_EQ(a.gamma1, b.gamma1);
  EXPECT_EQ(a.gamma2, b.gamma2);
  EXPECT_EQ(a.gamma3, b.gamma3);
  EXPECT_EQ(a.gamma4, b.gamma4);
  EXPECT_EQ(a.gamma5, b.gamma5);
  EXPECT_EQ(a.gamma6, b.gamma6);
  EXPECT_EQ(a.fac_inter_var, b.fac_inter_var);
  EXPECT_EQ(a.prmBits, b.prmBits);
  EXPECT_EQ(a.framesPerCycle, b.framesPerCycle);
  EXPECT_EQ(a.outputBytes, b.outputBytes);
}

TEST(SetMode, RecordIsAllZeroAtLoad) {
  const Mode mode;
  EXPECT_EQ(mode.initFlavor, 0);
  EXPECT_EQ(mode.len_frame, 0);
  EXPECT_EQ(mode.num_subfr, 0);
  EXPECT_EQ(mode.len_past, 0);
  EXPECT_EQ(mode.len_total, 0);
  EXPECT_EQ(mode.gamma1, 0.0f);
  EXPECT_EQ(mode.gamma2, 0.0f);
  EXPECT_EQ(mode.gamma3, 0.0f);
  EXPECT_EQ(mode.gamma4, 0.0f);
  EXPECT_EQ(mode.gamma5, 0.0f);
  EXPECT_EQ(mode.gamma6, 0.0f);
  EXPECT_EQ(mode.fac_inter_var, 0.0f);
  EXPECT_EQ(mode.prmBits, 0);
  EXPECT_EQ(mode.framesPerCycle, 0);
  EXPECT_EQ(mode.outputBytes, 0);
}

TEST(SetMode, FrameGeometryOfTheNarrowbandFlavors) {
  struct Row {
    std::int32_t len_frame, num_subfr, len_total, framesPerCycle, outputBytes, prmBits;
  };
  const Row rows[] = {
      {144, 3, 274, 2, 29, 116}, {144, 3, 274, 1, 19, 152}, {240, 5, 370, 2, 37, 148}};
  for (std::int32_t flavor = 0; flavor < 3; ++flavor) {
    SCOPED_TRACE(flavor);
    const Mode mode = mode_of(flavor);
    const Row& row = rows[flavor];
    EXPECT_EQ(mode.initFlavor, flavor);
    EXPECT_EQ(mode.len_frame, row.len_frame);
    EXPECT_EQ(mode.num_subfr, row.num_subfr);
    EXPECT_EQ(mode.len_past, 130);
    EXPECT_EQ(mode.len_total, row.len_total);
    EXPECT_EQ(mode.framesPerCycle, row.framesPerCycle);
    EXPECT_EQ(mode.outputBytes, row.outputBytes);
    EXPECT_EQ(mode.prmBits, row.prmBits);
  }
}

TEST(SetMode, FactorsAreTheNearestSinglePrecisionValues) {
  for (std::int32_t flavor = 0; flavor < 3; ++flavor) {
    SCOPED_TRACE(flavor);
    const Mode mode = mode_of(flavor);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.gamma1), 0x3F666666u);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.gamma2), 0x3F19999Au);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.gamma3), 0x3F0CCCCDu);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.gamma4), flavor == 2 ? 0x3F333333u : 0x3F400000u);
    EXPECT_EQ(mode.gamma5, flavor == 2 ? 0.5f : 0.0f);
    EXPECT_EQ(mode.gamma6, flavor == 2 ? 0.75f : 0.0f);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.fac_inter_var), flavor == 2 ? 0x3E2AAAABu : 0u);
  }
}

TEST(SetMode, WidebandStoresOnlyItsFrameGeometry) {
  const Mode mode = mode_of(3);
  Mode expected;
  expected.len_frame = 160;
  expected.prmBits = 160;
  expected.framesPerCycle = 1;
  expected.outputBytes = 20;
  EXPECT_EQ(mode.initFlavor, 3);
  expect_same_geometry_and_factors(mode, expected);
}

TEST(SetMode, WidebandAfterFlavorTwoKeepsTheNarrowbandMembers) {
  Mode mode = mode_of(2);
  set_mode(mode, 3);
  EXPECT_EQ(mode.num_subfr, 5);
  EXPECT_EQ(mode.len_total, 370);
  EXPECT_EQ(mode.gamma4, 0.7f);
  EXPECT_EQ(mode.gamma6, 0.75f);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.fac_inter_var), 0x3E2AAAABu);
  EXPECT_EQ(mode.len_frame, 160);
}

TEST(SetMode, FlavorZeroAfterFlavorTwoKeepsThePostfilterFactors) {
  Mode mode = mode_of(2);
  set_mode(mode, 0);
  EXPECT_EQ(mode.gamma4, 0.75f);
  EXPECT_EQ(mode.gamma5, 0.5f);
  EXPECT_EQ(mode.gamma6, 0.75f);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(mode.fac_inter_var), 0x3E2AAAABu);
  EXPECT_EQ(mode.len_frame, 144);
}

TEST(SetMode, ForeignFlavorChangesInitFlavorAlone) {
  for (std::int32_t from = 0; from < 4; ++from) {
    for (const std::int32_t foreign : {7, 4, -1, 65535}) {
      SCOPED_TRACE(testing::Message() << from << " then " << foreign);
      Mode mode = mode_of(from);
      set_mode(mode, foreign);
      EXPECT_EQ(mode.initFlavor, foreign);
      expect_same_geometry_and_factors(mode, mode_of(from));
    }
  }
}

TEST(SetMode, UnitsHoldWholeFramesWithNoBitToSpare) {
  const std::int32_t unit_bits[] = {232, 152, 296, 160};
  for (std::int32_t flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    const Mode mode = mode_of(flavor);
    EXPECT_EQ(mode.outputBytes * 8, unit_bits[flavor]);
    EXPECT_EQ(mode.framesPerCycle * mode.prmBits, unit_bits[flavor]);
    EXPECT_LE(mode.len_frame, max_len_frame);
  }
}

}  // namespace
}  // namespace quel
