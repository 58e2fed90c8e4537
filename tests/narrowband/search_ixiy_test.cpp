// The pair kernel and the energy increments that feed it, by themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "acb_subframe.h"
#include "narrowband/acb27_15.h"

namespace quel::narrowband {
namespace {

using test::acb_subframe;
using test::AcbSubframe;
using test::Random;

// What the searches prepare for the pair kernel, formed from the definitions.
struct Prepared {
  float sign[48], dn[48], sel[48], rr_diag[48], rr[768];
};

Prepared prepared(const AcbSubframe& s, unsigned seed) {
  Random random(seed);
  Prepared out = {};
  for (float& sign : out.sign) sign = random.integer(0, 1) != 0 ? 1.0f : -1.0f;
  for (int p = 0; p < 48; ++p) {
    out.dn[p] = out.sign[p] * s.dn[p];
    out.sel[p] = p / 3 == 5 || random.integer(0, 2) == 0 ? -1.0f : 5.0f;
    float sum = 0.0f;
    for (int i = 0; i < 48 - p; ++i) sum += s.h[i] * s.h[i];
    out.rr_diag[16 * (p % 3) + p / 3] = 0.5f * sum;
    for (int q = (p + 1) % 3; q < 48; q += 3) {
      sum = 0.0f;
      for (int n = std::max(p, q); n < 48; ++n) sum += s.h[n - p] * s.h[n - q];
      out.rr[256 * (p % 3) + 16 * (p / 3) + q / 3] = sum * out.sign[p] * out.sign[q];
    }
  }
  return out;
}

double half_energy(const double* y) {
  double sum = 0;
  for (int n = 0; n < 48; ++n) sum += y[n] * y[n];
  return sum / 2;
}

TEST(CorHVec, IsTheIncrementOfHalfEnergyOfEachPulse) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto s = acb_subframe(seed);
    const auto in = prepared(s, seed);
    const auto y = test::noise(48, seed, 1.0);
    for (int track = 0; track < 3; ++track) {
      float out[16];
      cor_h_vec(s.h, y.data(), track, in.sign, in.rr_diag, out);
      for (int j = 0; j < 16; ++j) {
        const int p = 3 * j + track;
        float sum = 0.0f;
        for (int k = 0; k < 48 - p; ++k) sum += s.h[k] * y[static_cast<std::size_t>(p + k)];
        EXPECT_EQ(out[j], in.sign[p] * sum + in.rr_diag[16 * track + j]);
        double before[48], after[48];
        for (int n = 0; n < 48; ++n) {
          before[n] = after[n] = y[static_cast<std::size_t>(n)];
          if (n >= p) after[n] += in.sign[p] * static_cast<double>(s.h[n - p]);
        }
        // Two sums of 48 terms of size about 1 in float.
        EXPECT_NEAR(out[j], half_energy(after) - half_energy(before), 1e-4);
      }
    }
  }
}

TEST(SearchIxiy, FindsTheBestPairBesideThePulsesAlreadyPlaced) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto s = acb_subframe(seed);
    const auto in = prepared(s, seed);
    const int tx = static_cast<int>(seed % 3), ty = (tx + 1) % 3, other = (tx + 2) % 3;
    // One pulse stands already.
    const int placed = 3 * static_cast<int>(seed % 16) + other;
    std::vector<float> y(48);
    for (int n = placed; n < 48; ++n) {
      y[static_cast<std::size_t>(n)] = in.sign[placed] * s.h[n - placed];
    }
    float rr_x[16], rr_y[16];
    cor_h_vec(s.h, y.data(), tx, in.sign, in.rr_diag, rr_x);
    cor_h_vec(s.h, y.data(), ty, in.sign, in.rr_diag, rr_y);
    float ps = in.dn[placed], alp = in.rr_diag[16 * other + placed / 3];
    int ix = -1, iy = -1;
    search_ixiy(tx, ty, &ps, &alp, &ix, &iy, in.dn, in.sel, rr_x, rr_y, in.rr);

    double best = 0;
    for (int p = tx; p < 48; p += 3) {
      if (in.sel[p] > 0) continue;
      for (int q = ty; q < 48; q += 3) {
        double sum[48], xy = 0;
        for (int n = 0; n < 48; ++n) {
          sum[n] = y[static_cast<std::size_t>(n)];
          if (n >= p) sum[n] += static_cast<double>(in.sign[p]) * s.h[n - p];
          if (n >= q) sum[n] += static_cast<double>(in.sign[q]) * s.h[n - q];
          xy += sum[n] * s.x2[n];
        }
        const double merit = xy * xy / half_energy(sum);
        best = std::max(best, merit);
        if (p != ix || q != iy) continue;
        // Returned sums belong to the returned pair. Float rounding of 48 terms; ps may cancel.
        EXPECT_NEAR(ps, xy, 1e-5 * (std::abs(in.dn[p]) + std::abs(in.dn[q]) + std::abs(ps)));
        EXPECT_NEAR(alp, half_energy(sum), 1e-5 * half_energy(sum) + 1e-5);
      }
    }
    ASSERT_EQ(ix % 3, tx);
    ASSERT_EQ(iy % 3, ty);
    EXPECT_LT(in.sel[ix], 0.0f);
    EXPECT_GE(static_cast<double>(ps) * ps / alp, best * (1 - 1e-4));  // the same rounding
  }
}

TEST(SearchIxiy, OfEqualPairsTheFirstCandidateStays) {
  Prepared in = {};
  std::fill_n(in.dn, 48, 1.0f);
  std::fill_n(in.sel, 48, 0.0f);  // zero is not negative: no candidate
  std::fill_n(in.rr_diag, 48, 0.5f);
  in.sel[6] = in.sel[12] = in.sel[45] = -1.0f;
  float ps = 0.0f, alp = 0.0f;
  int ix = -1, iy = -1;
  search_ixiy(0, 1, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag, in.rr_diag + 16, in.rr);
  EXPECT_EQ(ix, 6);
  EXPECT_EQ(iy, 1);
  EXPECT_EQ(ps, 2.0f);
  EXPECT_EQ(alp, 1.0f);
  // The least that is better wins, wherever it stands.
  in.dn[46] = std::nextafter(1.0f, 2.0f) + 1e-6f;
  in.dn[45] = 1.25f;
  ps = alp = 0.0f;
  search_ixiy(0, 1, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag, in.rr_diag + 16, in.rr);
  EXPECT_EQ(ix, 45);
  EXPECT_EQ(iy, 46);
}

TEST(SearchIxiy, SecondPulseComesFromEveryPosition) {
  Prepared in = {};
  std::fill_n(in.rr_diag, 48, 0.5f);
  std::fill_n(in.sel, 48, 1.0f);
  in.sel[2] = -1.0f;
  for (int q = 0; q < 48; q += 3) {
    std::fill_n(in.dn, 48, 0.0f);
    in.dn[q] = -1.0f;  // the square counts
    float ps = 0.0f, alp = 0.0f;
    int ix = -1, iy = -1;
    search_ixiy(2, 0, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag + 32, in.rr_diag, in.rr);
    EXPECT_EQ(ix, 2);
    EXPECT_EQ(iy, q);
    EXPECT_EQ(ps, -1.0f);
  }
}

TEST(SearchIxiy, OnSilenceTheFirstPairHasItsEnergy) {
  Prepared in = {};
  std::fill_n(in.rr_diag, 48, 0.5f);
  std::fill_n(in.sel, 48, -1.0f);
  in.rr[0] = 0.25f;
  float ps = 0.0f, alp = 3.0f;
  int ix = -1, iy = -1;
  search_ixiy(0, 1, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag, in.rr_diag + 16, in.rr);
  EXPECT_EQ(ix, 0);
  EXPECT_EQ(iy, 1);
  EXPECT_EQ(ps, 0.0f);
  EXPECT_EQ(alp, 4.25f);
}

TEST(SearchIxiy, WithoutAnyMeritTheFirstCandidateIsTheResult) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float value : {0.0f, nan}) {
    Prepared in = {};
    std::fill_n(in.dn, 48, value);
    in.sel[10] = in.sel[13] = -1.0f;
    float ps = 0.0f, alp = 0.0f;
    int ix = -1, iy = -1;
    search_ixiy(1, 2, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag, in.rr_diag, in.rr);
    EXPECT_EQ(ix, 10);
    EXPECT_EQ(iy, 2);
    EXPECT_EQ(alp, 1.0f);
    in.sel[10] = in.sel[13] = nan;  // no candidate at all
    search_ixiy(1, 2, &ps, &alp, &ix, &iy, in.dn, in.sel, in.rr_diag, in.rr_diag, in.rr);
    EXPECT_EQ(ix, 1);
    EXPECT_EQ(iy, 2);
  }
}

TEST(SearchIxiy, OfStep6TriesEveryPairOfEightAndItsOwnBlock) {
  Random random(4);
  for (int round = 0; round < 100; ++round) {
    for (int tx = 0; tx < 6; tx += 2) {
      const int ty = (tx + 2) % 6;
      float dn[48], rr_x[8], rr_y[8], rr[192];
      for (float& v : dn) v = static_cast<float>(random.gauss());
      for (float& v : rr_x) v = static_cast<float>(random.uniform(1, 2));
      for (float& v : rr_y) v = static_cast<float>(random.uniform(1, 2));
      for (float& v : rr) v = static_cast<float>(random.uniform(-1, 1));
      float ps = 0.5f, alp = 0.75f;
      int ix = -1, iy = -1;
      search_ixiy(tx, ty, &ps, &alp, &ix, &iy, dn, rr_x, rr_y, rr);
      double best = 0;
      int best_x = -1, best_y = -1;
      for (int jx = 0; jx < 8; ++jx) {
        for (int jy = 0; jy < 8; ++jy) {
          const double xy = 0.5 + dn[tx + 6 * jx] + dn[ty + 6 * jy];
          const double den = 0.75 + rr_x[jx] + rr_y[jy] + rr[32 * tx + 8 * jx + jy];
          if (xy * xy / den <= best) continue;
          best = xy * xy / den;
          best_x = tx + 6 * jx;
          best_y = ty + 6 * jy;
        }
      }
      EXPECT_EQ(ix, best_x);
      EXPECT_EQ(iy, best_y);
      EXPECT_NEAR(static_cast<double>(ps) * ps / alp, best, 1e-5 * best);  // a few float roundings
    }
  }
}

}  // namespace
}  // namespace quel::narrowband
