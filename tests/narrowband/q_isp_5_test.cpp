#include "narrowband/q_isp_5.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include "narrowband/isf_tables.h"
#include "support/signals.h"

namespace quel {
namespace {

using Vector = std::array<float, 10>;
using Indices = std::array<std::int32_t, 5>;
using Book = std::vector<std::array<float, 2>>;

const std::array<Book, 5> books = {{
    {
#include "narrowband/dico1_isf.inc"
    },
    {
#include "narrowband/dico2_isf.inc"
    },
    {
#include "narrowband/dico3_isf.inc"
    },
    {
#include "narrowband/dico4_isf.inc"
    },
    {
#include "narrowband/dico5_isf.inc"
    },
}};

// One rounding of a frequency up to 4000 Hz, and what rounding a cosine to float does to it (the
// vectors below keep away from 0 and 4000 Hz, where the arccosine is steep).
constexpr double hz_rounding = 2e-3;

Vector isp_of(const Vector& isf) {
  Vector isp;
  for (std::size_t i = 0; i < 9; ++i) {
    isp[i] = static_cast<float>(std::cos(isf[i] * std::numbers::pi / 4000.0));
  }
  isp[9] = isf[9] / 650.0f;
  return isp;
}

Vector random_isf(test::Random& random) {
  Vector isf;
  for (std::size_t i = 0; i < 9; ++i) {
    isf[i] = mean_isf[i] + static_cast<float>(random.uniform(-330.0, 330.0));
  }
  std::sort(isf.begin(), isf.begin() + 9);
  isf[9] = static_cast<float>(random.uniform(-200.0, 400.0));
  return isf;
}

double distance(const std::array<float, 2>& row, double r0, double r1) {
  return std::hypot(r0 - row[0], r1 - row[1]);
}

double least_distance(const Book& book, double r0, double r1) {
  double least = std::numeric_limits<double>::max();
  for (const auto& row : book) least = std::min(least, distance(row, r0, r1));
  return least;
}

Vector rows_of(const Indices& indices) {
  Vector rows;
  for (std::size_t k = 0; k < 5; ++k) {
    const auto& row = books[k].at(static_cast<std::size_t>(indices[k]));
    rows[2 * k] = row[0];
    rows[2 * k + 1] = row[1];
  }
  return rows;
}

struct Result {
  Vector isp_q;
  Indices indices;
  std::int32_t flag;
};

Result quantise(IsfQuantizer& state, const Vector& isp) {
  Result result;
  q_isf_ma(state, isp.data(), result.isp_q.data(), result.indices.data(), &result.flag);
  return result;
}

std::int32_t flag_of(const Vector& isp) {
  IsfQuantizer state;
  return quantise(state, isp).flag;
}

// The encoder's own conversion, to find cosines a given distance apart to the last bit.
float isf_of(float isp) {
  return static_cast<float>(std::acos(static_cast<double>(isp)) * 1273.2395445689122);
}

// The cosine nearest below isp[4] whose frequency lies exactly `hz` above.
float cosine_above(float isp, float hz) {
  const float wanted = isf_of(isp) + hz;
  float x = static_cast<float>(std::cos((wanted - 0.01) * std::numbers::pi / 4000.0));
  while (isf_of(x) < wanted) x = std::nextafter(x, -2.0f);
  EXPECT_EQ(isf_of(x) - isf_of(isp), hz);
  return x;
}

TEST(QIsfMa, InitClearsThePredictor) {
  IsfQuantizer state;
  EXPECT_EQ(state.past_r, Vector{});
  state.past_r.fill(3.0f);
  init_q_isf_ma(state);
  EXPECT_EQ(state.past_r, Vector{});
}

TEST(QIsfMa, MeanVectorSelectsTheRowsNearestToZero) {
  IsfQuantizer state;
  init_q_isf_ma(state);
  const auto result = quantise(state, isp_of(mean_isf));
  for (std::size_t k = 0; k < 5; ++k) {
    const auto& row = books[k][static_cast<std::size_t>(result.indices[k])];
    EXPECT_LE(distance(row, 0, 0), least_distance(books[k], 0, 0) + 4 * hz_rounding);
  }
  EXPECT_EQ(result.flag, 0);
}

TEST(QIsfMa, NearestRowTakesTheLowerIndexOnTies) {
  const float book[][2] = {{5, 5}, {-3, 4}, {3, 4}, {0, 5}, {-5, 0}};
  const float zero[2] = {0, 0};
  float rq[2];
  EXPECT_EQ(nearest_row(book, 5, zero, rq), 1);
  EXPECT_EQ(rq[0], -3.0f);
  EXPECT_EQ(rq[1], 4.0f);
  EXPECT_EQ(nearest_row(book + 2, 3, zero, rq), 0);
  const float near_last[2] = {-0.001f, -0.001f};
  EXPECT_EQ(nearest_row(book, 5, near_last, rq), 4);
}

TEST(QIsfMa, NearestRowNamesARowWhateverTheInput) {
  const float book[][2] = {{5, 5}, {-3, 4}};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float bad : {nan, std::numeric_limits<float>::infinity(), 3e38f}) {
    const float r[2] = {bad, bad};
    float rq[2];
    EXPECT_EQ(nearest_row(book, 2, r, rq), 0);
    EXPECT_EQ(rq[0], 5.0f);
  }
}

TEST(QIsfMa, SplitSearchFindsTheLeastErrorInEveryBook) {
  test::Random random(3);
  IsfQuantizer state;
  Vector past{};
  for (int frame = 0; frame < 300; ++frame) {
    SCOPED_TRACE(frame);
    const Vector isf = random_isf(random);
    const auto result = quantise(state, isp_of(isf));
    for (std::size_t k = 0; k < 5; ++k) {
      double r[2];
      for (std::size_t i = 0; i < 2; ++i) {
        r[i] = isf[2 * k + i] - mean_isf[2 * k + i] - 0.33 * past[2 * k + i];
      }
      const auto& row = books[k].at(static_cast<std::size_t>(result.indices[k]));
      EXPECT_LE(distance(row, r[0], r[1]), least_distance(books[k], r[0], r[1]) + 4 * hz_rounding);
    }
    past = rows_of(result.indices);
  }
}

TEST(QIsfMa, MemoryHoldsTheRowsAsChosenNotAsReordered) {
  test::Random random(4);
  IsfQuantizer state;
  bool repaired = false;
  for (int frame = 0; frame < 200; ++frame) {
    const Vector before = state.past_r;
    const auto result = quantise(state, isp_of(random_isf(random)));
    const Vector rows = rows_of(result.indices);
    EXPECT_EQ(state.past_r, rows);

    // Plain double, then the repair by its definition.
    std::array<double, 10> isf;
    for (std::size_t i = 0; i < 10; ++i) isf[i] = 0.33 * before[i] + mean_isf[i] + rows[i];
    const auto unrepaired = isf;
    for (std::size_t i = 1; i < 9; ++i) {
      if (isf[i - 1] > isf[i]) std::swap(isf[i - 1], isf[i]);
    }
    double lower = 50.0;
    for (std::size_t i = 0; i < 9; ++i) lower = (isf[i] = std::max(isf[i], lower)) + 50.0;
    isf[9] = std::clamp(isf[9], -325.0, 520.0);
    repaired = repaired || isf != unrepaired;
    for (std::size_t i = 0; i < 9; ++i) {
      // A rounding of the frequency moves the cosine by at most pi/4000 of it.
      EXPECT_NEAR(result.isp_q[i], std::cos(isf[i] * std::numbers::pi / 4000.0), 1e-6);
    }
    EXPECT_NEAR(result.isp_q[9], isf[9] / 650.0, 1e-6);
  }
  EXPECT_TRUE(repaired);
}

TEST(QIsfMa, SpacingOfExactly60LeavesTheFlag0) {
  Vector isp = isp_of({300, 600, 1000, 1400, 1800, 2200, 2600, 3000, 3300, 90});
  isp[5] = cosine_above(isp[4], 60.0f);
  EXPECT_EQ(flag_of(isp), 0);
  while (isf_of(isp[5]) - isf_of(isp[4]) == 60.0f) isp[5] = std::nextafter(isp[5], 2.0f);
  EXPECT_EQ(flag_of(isp), 1);
}

TEST(QIsfMa, AnyTwoOfTheNineFrequenciesCloserThan60SetTheFlag) {
  const Vector spread = {300, 600, 1000, 1400, 1800, 2200, 2600, 3000, 3300, 90};
  EXPECT_EQ(flag_of(isp_of(spread)), 0);
  for (std::size_t i = 1; i < 9; ++i) {
    Vector isf = spread;
    isf[i] = isf[i - 1] + 59.0f;
    EXPECT_EQ(flag_of(isp_of(isf)), 1) << i;
    isf[i] = isf[i - 1] + 61.0f;
    EXPECT_EQ(flag_of(isp_of(isf)), 0) << i;
  }
}

TEST(QIsfMa, LastEntryDoesNotSetTheFlag) {
  EXPECT_EQ(flag_of(isp_of({300, 600, 1000, 1400, 1800, 2200, 2600, 3000, 3300, 3310})), 0);
}

TEST(QIsfMa, CosinesBeyondOneCountAsOne) {
  Vector isp = isp_of(mean_isf);
  Vector held = isp;
  isp[0] = std::nextafter(1.0f, 2.0f);
  held[0] = 1.0f;
  isp[8] = -1.5f;
  held[8] = -1.0f;
  IsfQuantizer state, other;
  const auto result = quantise(state, isp), wanted = quantise(other, held);
  EXPECT_EQ(result.indices, wanted.indices);
  EXPECT_EQ(result.isp_q, wanted.isp_q);
  EXPECT_EQ(result.flag, wanted.flag);
}

TEST(QIsfMa, NonFiniteInputGivesValidIndicesAndAFiniteMemory) {
  for (const float bad :
       {std::numeric_limits<float>::quiet_NaN(), -3e38f, std::numeric_limits<float>::infinity()}) {
    Vector isp;
    isp.fill(bad);
    IsfQuantizer state;
    const auto result = quantise(state, isp);
    for (std::size_t k = 0; k < 5; ++k) {
      EXPECT_GE(result.indices[k], 0);
      EXPECT_LT(static_cast<std::size_t>(result.indices[k]), books[k].size());
    }
    for (const float r : state.past_r) EXPECT_TRUE(std::isfinite(r));
    for (const float q : result.isp_q) EXPECT_TRUE(std::isfinite(q));
  }
}

TEST(QIsfMa, OutputMayReplaceTheInput) {
  test::Random random(5);
  const Vector isp = isp_of(random_isf(random));
  IsfQuantizer state, other;
  const auto wanted = quantise(state, isp);
  Vector in_place = isp;
  Indices indices;
  std::int32_t flag = -1;
  q_isf_ma(other, in_place.data(), in_place.data(), indices.data(), &flag);
  EXPECT_EQ(in_place, wanted.isp_q);
  EXPECT_EQ(indices, wanted.indices);
}

}  // namespace
}  // namespace quel
