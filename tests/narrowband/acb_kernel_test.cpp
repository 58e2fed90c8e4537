#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "narrowband/Acb2_10.h"
#include "narrowband/acb27_15.h"
#include "narrowband/acb_common.h"
#include "narrowband/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;

std::vector<float> signs(unsigned seed) {
  auto sign = test::noise(48, seed);
  for (float& v : sign) v = v < 0.0f ? -1.0f : 1.0f;
  return sign;
}

// Not the pointer comparison of whoever keeps to the plain search: the result of each way.
struct Found {
  float ps, alp;
  int ix, iy;
};

void expect_same_pair(const Found& got, const Found& wanted) {
  EXPECT_TRUE(test::same(got.ps, wanted.ps)) << got.ps << ", not " << wanted.ps;
  EXPECT_TRUE(test::same(got.alp, wanted.alp)) << got.alp << ", not " << wanted.alp;
  EXPECT_EQ(got.ix, wanted.ix);
  EXPECT_EQ(got.iy, wanted.iy);
}

// The search as it is defined: pair after pair, in order.
Found search_in_order(int step, int tx, int ty, float ps, float alp, const float* dn,
                      const float* sel, const float* rr_x, const float* rr_y, const float* block) {
  const int count = 48 / step;
  float sq = -1.0f, alpha = 1.0f;
  int x = -1, y = 0, first = -1;
  for (int jx = 0; jx < count; ++jx) {
    if (sel != nullptr && !(sel[tx + step * jx] < 0.0f)) continue;
    if (first < 0) first = jx;
    const float ps1 = ps + dn[tx + step * jx];
    const float alp1 = alp + rr_x[jx];
    for (int jy = 0; jy < count; ++jy) {
      const float num = (ps1 + dn[ty + step * jy]) * (ps1 + dn[ty + step * jy]);
      const float den = alp1 + rr_y[jy] + block[count * jx + jy];
      if (alpha * num - sq * den > 0.0f) {
        sq = num;
        alpha = den;
        x = jx;
        y = jy;
      }
    }
  }
  if (x < 0) x = first < 0 ? 0 : first;
  const int ix = tx + step * x, iy = ty + step * y;
  return {ps + dn[ix] + dn[iy], alpha, ix, iy};
}

TEST(AcbKernel, CrossBlocksAreThePlainOnes) {
  test::for_every_case({3, 6}, [](int step, Signal kind, unsigned seed) {
    const auto h = signal(kind, 48, seed);
    const auto sign = signs(seed);
    const int count = 48 / step;
    for (const float* folded : {sign.data(), static_cast<const float*>(nullptr)}) {
      std::vector<float> rr(test::size(3 * count * count)), wanted;
      narrowband::cross_blocks(h.data(), step, 3, folded, rr.data());
      for (int b = 0; b < 3; ++b) {
        std::vector<float> block(test::size(count * count));
        const int tx = b * step / 3, ty = (b + 1) % 3 * step / 3;
        narrowband::cross_block(h.data(), tx, ty, step, block.data());
        if (folded != nullptr) narrowband::fold_signs(block.data(), tx, ty, step, folded);
        wanted.insert(wanted.end(), block.begin(), block.end());
      }
      expect_same(rr, wanted);
    }
  });
}

TEST(AcbKernel, HalfEnergiesOfAllAreThoseOfEach) {
  const auto h = test::noise(48, 3);
  for (const int step : {3, 6}) {
    std::vector<float> all(test::size(3 * 48 / step)), wanted(all.size());
    narrowband::half_energies_of_all(h.data(), step / 3, step, all.data());
    for (int b = 0; b < 3; ++b) {
      narrowband::half_energies(h.data(), b * step / 3, step, &wanted[test::size(b * 48 / step)]);
    }
    expect_same(all, wanted);
  }
}

TEST(AcbKernel, BothTracksCorrelationsAreThePlainOnes) {
  test::for_every_case({0, 1, 2}, [](int track, Signal kind, unsigned seed) {
    const auto h = signal(seed < 2 ? kind : Signal::noise, 48, seed);
    const auto y = signal(seed % 2 == 0 ? kind : Signal::noise, 48, seed + 1);
    const auto diagonal = test::noise(48, seed + 2);
    const auto sign = signs(seed);
    const int two[] = {track, (track + 1) % 3};
    std::vector<float> out(32), wanted(32);
    narrowband_kernels().cor_h_vec_pair(h.data(), y.data(), two, sign.data(), diagonal.data(),
                                        out.data());
    for (int t = 0; t < 2; ++t) {
      narrowband::cor_h_vec(h.data(), y.data(), two[t], sign.data(), diagonal.data(),
                            &wanted[test::size(16 * t)]);
    }
    expect_same(out, wanted);
  });
}

// Energies like those of responses, mostly positive; energies of either sign; small whole numbers,
// among which there are ties; and merits so nearly equal that which pair is found depends on
// roundings and on the order: there the guess goes wrong.
TEST(AcbKernel, SearchesFindWhatASearchInOrderFinds) {
  test::for_every_case({3, 6}, [](int step, Signal kind, unsigned seed) {
    const int count = 48 / step;
    for (unsigned more = 0; more < 40; ++more) {
      auto dn = signal(kind, 48, 100 * seed + more);
      auto rr = test::noise(count * count, seed + more, 0.3);
      auto rr_x = test::noise(count, seed + more + 1, 0.4), rr_y = test::noise(count, more, 0.4);
      for (float& v : rr_x) v += 2.0f;
      for (float& v : rr_y) v += 1.0f;
      if (more % 4 == 0) {
        for (auto* values : {&dn, &rr, &rr_x, &rr_y}) {
          for (float& v : *values) v = std::round(v);
        }
      }
      if (more % 4 == 1) test::nearly_equal(dn, rr, rr_x, rr_y);
      if (more % 4 == 2) {
        for (float& v : rr_x) v -= 3.0f;  // energies of either sign
      }
      auto sel = test::noise(48, more + 7);
      if (more == 5) std::fill(sel.begin(), sel.end(), 1.0f);  // no candidate
      const int tx = static_cast<int>(more % 3) * step / 3;
      const int ty = (tx + step / 3) % step;
      const float ps = more % 2 == 0 ? 0.0f : 300.0f, alp = more % 2 == 0 ? 0.0f : 3.0f;
      Found got = {ps, alp, 0, 0};
      std::vector<float> blocks(test::size(3 * count * count));
      std::copy(rr.begin(), rr.end(), blocks.begin() + tx * 3 / step * count * count);
      if (step == 3) {
        narrowband::search_ixiy(tx, ty, &got.ps, &got.alp, &got.ix, &got.iy, dn.data(), sel.data(),
                                rr_x.data(), rr_y.data(), blocks.data());
      } else {
        narrowband::search_ixiy(tx, ty, &got.ps, &got.alp, &got.ix, &got.iy, dn.data(), rr_x.data(),
                                rr_y.data(), blocks.data());
      }
      expect_same_pair(
          got, search_in_order(step, tx, ty, ps, alp, dn.data(), step == 3 ? sel.data() : nullptr,
                               rr_x.data(), rr_y.data(), rr.data()));
    }
  });
}

TEST(AcbKernel, TwoOppositePulsesAreThoseOfEverySet) {
  std::vector<std::int32_t> before;
  for (int pass = 0; pass < 2; ++pass) {
    test::in_every_instruction_set([&] {
      std::vector<std::int32_t> words;
      for (const Signal kind : test::signals) {
        for (unsigned seed = 0; seed < 50; ++seed) {
          std::int32_t word = 0;
          acb_2p10b(signal(kind, 48, seed).data(), signal(kind, 48, seed + 1).data(), &word);
          words.push_back(word);
        }
      }
      if (before.empty()) before = words;
      EXPECT_EQ(words, before);
    });
  }
}

}  // namespace
}  // namespace quel
