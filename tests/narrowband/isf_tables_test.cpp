#include "narrowband/isf_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>

#include "support/signals.h"

namespace quel {
namespace {

constexpr float dico1_isf[][2] = {
#include "narrowband/dico1_isf.inc"
};
constexpr float dico2_isf[][2] = {
#include "narrowband/dico2_isf.inc"
};
constexpr float dico3_isf[][2] = {
#include "narrowband/dico3_isf.inc"
};
constexpr float dico4_isf[][2] = {
#include "narrowband/dico4_isf.inc"
};
constexpr float dico5_isf[][2] = {
#include "narrowband/dico5_isf.inc"
};

using Row = float[2];

void expect_row(const Row& row, float first, float second) {
  EXPECT_FLOAT_EQ(row[0], first);
  EXPECT_FLOAT_EQ(row[1], second);
}

template <std::size_t n>
void expect_columns(const float (&dico)[n][2], float lo0, float hi0, float lo1, float hi1) {
  for (std::size_t i = 0; i < n; ++i) {
    SCOPED_TRACE(i);
    EXPECT_GE(dico[i][0], lo0);
    EXPECT_LE(dico[i][0], hi0);
    EXPECT_GE(dico[i][1], lo1);
    EXPECT_LE(dico[i][1], hi1);
  }
}

TEST(IsfTables, SizesAreThoseOfTheFields) {
  EXPECT_EQ(taille_dic1, 1 << 6);
  EXPECT_EQ(taille_dic2, 1 << 7);
  EXPECT_EQ(taille_dic3, 1 << 7);
  EXPECT_EQ(taille_dic4, 1 << 7);
  EXPECT_EQ(taille_dic5, 1 << 5);
  EXPECT_EQ(std::size(dico1_isf), 64u);
  EXPECT_EQ(std::size(dico2_isf), 128u);
  EXPECT_EQ(std::size(dico3_isf), 128u);
  EXPECT_EQ(std::size(dico4_isf), 128u);
  EXPECT_EQ(std::size(dico5_isf), 32u);
}

TEST(IsfTables, GivenRowsStandAtTheirNumbers) {
  expect_row(dico1_isf[0], 9.6611f, -7.4410f);
  expect_row(dico1_isf[1], 53.6831f, -35.7114f);
  expect_row(dico1_isf[2], -21.8333f, -77.2909f);
  expect_row(dico1_isf[3], 17.5373f, -48.5198f);
  expect_row(dico1_isf[4], -52.9196f, -100.0391f);
  expect_row(dico1_isf[5], -97.9469f, -151.9538f);
  expect_row(dico5_isf[0], -60.7406f, 10.1888f);
  expect_row(dico5_isf[1], 14.4275f, 82.7965f);
  expect_row(dico5_isf[2], -27.7502f, -44.2782f);
  expect_row(dico5_isf[3], -187.6679f, -1.5796f);
}

// The limits are known to whole Hz, so a row may pass them by half a Hz.
TEST(IsfTables, ColumnsLieWithinTheirRanges) {
  expect_columns(dico1_isf, -150.5f, 371.5f, -258.5f, 721.5f);
  expect_columns(dico2_isf, -472.5f, 750.5f, -583.5f, 680.5f);
  expect_columns(dico3_isf, -622.5f, 661.5f, -769.5f, 609.5f);
  expect_columns(dico4_isf, -668.5f, 500.5f, -482.5f, 355.5f);
  expect_columns(dico5_isf, -287.5f, 237.5f, -230.5f, 207.5f);
}

TEST(IsfTables, MeanFrequenciesRiseAndNeedNoRepair) {
  for (std::size_t i = 1; i < 9; ++i) EXPECT_GE(mean_isf[i], mean_isf[i - 1] + isf_min_dist);
  EXPECT_FLOAT_EQ(mean_isf[0], 378.342377f);
  EXPECT_FLOAT_EQ(mean_isf[9], 96.4561005f);
}

TEST(IsfTables, IspIsTheCosineAndTheLastIsLinear) {
  test::Random random(1);
  for (int run = 0; run < 100; ++run) {
    float isf[10], isp[10];
    for (float& f : isf) f = static_cast<float>(random.uniform(0.0, 4000.0));
    isf_to_isp(isf, isp);
    // One rounding of values up to 1 and 6: the constants are good to ten and eight digits.
    for (int i = 0; i < 9; ++i) {
      EXPECT_NEAR(isp[i], std::cos(isf[i] * std::numbers::pi / 4000.0), 1e-7);
    }
    EXPECT_NEAR(isp[9], isf[9] / 650.0, 1e-6);
  }
}

TEST(IsfTables, IspMayReplaceIsf) {
  std::array<float, 10> isp, in_place = mean_isf;
  isf_to_isp(mean_isf.data(), isp.data());
  isf_to_isp(in_place.data(), in_place.data());
  EXPECT_EQ(in_place, isp);
}

}  // namespace
}  // namespace quel
