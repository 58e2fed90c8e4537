#include "wideband/q_lsp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/signals.h"
#include "wideband/d_lsp.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using std::numbers::pi;
using Lsf = std::array<float, 16>;
using Indices = std::array<std::int32_t, 6>;

constexpr int index_range[6] = {2, 128, 256, 128, 128, 128};

std::vector<float> to_lsp(const std::vector<double>& hz) {
  std::vector<float> lsp;
  for (const double f : hz) lsp.push_back(static_cast<float>(std::cos(f * pi / 8000)));
  return lsp;
}

// Frequencies like those of speech: the means, moved by up to 150 Hz.
std::vector<float> speech_lsp(test::Random& random) {
  std::vector<double> hz;
  for (const float mean : mean_lsf) hz.push_back(mean + random.uniform(-150, 150));
  return to_lsp(hz);
}

// The residual of a set of indices, row by row.
Lsf residual(const Indices& prm) {
  Lsf t{};
  auto out = t.begin();
  out = std::copy_n(dico1_lsf[prm[1]], 3, out);
  out = std::copy_n(dico2_lsf[prm[2]], 3, out);
  out = std::copy_n(dico3_lsf[prm[3]], 3, out);
  out = std::copy_n(dico4_lsf[prm[4]], 3, out);
  std::copy_n(dico5_lsf[prm[5]], 4, out);
  return t;
}

Indices random_indices(test::Random& random) {
  Indices prm{};
  for (std::size_t i = 0; i < 6; ++i) prm[i] = random.integer(0, index_range[i] - 1);
  return prm;
}

void expect_in_range(const Indices& prm) {
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_GE(prm[i], 0);
    EXPECT_LT(prm[i], index_range[i]);
  }
}

TEST(Vq, EqualsBruteForceInDouble) {
  test::Random random(1);
  for (const int dim : {1, 3, 4}) {
    std::vector<float> dico(static_cast<std::size_t>(dim * 64));
    for (float& v : dico) v = static_cast<float>(random.uniform(-500, 500));
    for (int trial = 0; trial < 300; ++trial) {
      std::vector<float> x(static_cast<std::size_t>(dim));
      for (float& v : x) v = static_cast<float>(random.uniform(-600, 600));
      int best = -1;
      double smallest = 1e300;
      for (int j = 0; j < 64; ++j) {
        double d = 0;
        for (int t = 0; t < dim; ++t) {
          const double xt = x[static_cast<std::size_t>(t)];
          d += std::pow(xt - dico[static_cast<std::size_t>(j * dim + t)], 2);
        }
        if (d < smallest) {
          smallest = d;
          best = j;
        }
      }
      EXPECT_EQ(VQ(x.data(), dico.data(), dim, 64), best);
      EXPECT_TRUE(std::equal(x.begin(), x.end(), dico.begin() + best * dim));
    }
  }
}

TEST(Vq, FirstOfEqualRowsWins) {
  const float dico[] = {5, 5, 1, 2, 3, 2, 1, 2};
  float x[] = {2, 2};  // as far from row 1 as from rows 2 and 3
  EXPECT_EQ(VQ(x, dico, 2, 4), 1);
  EXPECT_EQ(x[0], 1.0f);
  EXPECT_EQ(x[1], 2.0f);
}

TEST(Vq, TellsTheSmallestDistancesApart) {
  const float dico[] = {1e-9f, 0, 0};  // squares of 1e-18 vanish beside anything that is added
  float x[] = {0};
  EXPECT_EQ(VQ(x, dico, 1, 3), 1);
}

TEST(Vq, NoDistanceBelowTheBoundGivesRowZero) {
  const float dico[] = {1, 2, 3, 4};
  float far[] = {1.5e15f, 0.0f};  // row 1 would be nearer by a little
  EXPECT_EQ(VQ(far, dico, 2, 2), 0);
  EXPECT_EQ(far[0], 1.0f);
  float nan[] = {std::numeric_limits<float>::quiet_NaN(), 0.0f};
  EXPECT_EQ(VQ(nan, dico, 2, 2), 0);
  EXPECT_EQ(nan[0], 1.0f);
}

TEST(ReorderLsf, CloserThanFiftyBecomesExactlyFifty) {
  std::vector<float> lsf = {100.0f, 120.0f, 130.0f, 300.0f, 349.0f, 400.0f};
  reorder_lsf(lsf.data(), 50.0f, 6);
  EXPECT_EQ(lsf, (std::vector<float>{100.0f, 150.0f, 200.0f, 300.0f, 350.0f, 400.0f}));
}

TEST(ReorderLsf, FirstIsRaisedToFifty) {
  std::vector<float> lsf = {-20.0f, 99.0f, 150.0f};
  reorder_lsf(lsf.data(), 50.0f, 3);
  EXPECT_EQ(lsf, (std::vector<float>{50.0f, 100.0f, 150.0f}));
  lsf = {50.0f, 100.0f};
  reorder_lsf(lsf.data(), 50.0f, 2);
  EXPECT_EQ(lsf, (std::vector<float>{50.0f, 100.0f}));
}

TEST(ReorderLsf, HasNoUpperLimit) {
  std::vector<float> lsf = {7990.0f, 7000.0f};
  reorder_lsf(lsf.data(), 50.0f, 2);
  EXPECT_EQ(lsf, (std::vector<float>{7990.0f, 8040.0f}));
}

TEST(ReorderLsf, BothCopiesAgreeAndAreIdempotent) {
  test::Random random(2);
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<float> a(16);
    for (float& v : a) v = static_cast<float>(random.uniform(-500, 8500));
    auto b = a;
    reorder_lsf(a.data(), 50.0f, 16);
    d_reorder_lsf(b.data(), 50.0f, 16);
    EXPECT_EQ(a, b);
    for (std::size_t i = 1; i < 16; ++i) EXPECT_GE(a[i], a[i - 1] + 50.0f);
    reorder_lsf(b.data(), 50.0f, 16);
    EXPECT_EQ(a, b);
  }
}

TEST(QLsp, FlatSpectrumKeepsTheSpacing) {
  std::vector<double> hz;
  for (int i = 0; i < 16; ++i) hz.push_back((i + 1) * 8000.0 / 17);
  auto lsp = to_lsp(hz);
  LsfQuantizer state;
  Indices prm{};
  q_lsp(state, lsp.data(), prm.data());
  double last = 0;
  for (const float x : lsp) {
    const double f = std::acos(static_cast<double>(x)) * 8000 / pi;
    EXPECT_GE(f, last + 50 - 0.1);  // the cosine is a float: 6e-8 near 50 Hz is 0.01 Hz
    last = f;
  }
  expect_in_range(prm);
}

TEST(QLsp, EqualErrorsGiveSelectorZero) {
  // Where the memory is what the search finds again, prediction is perfect whatever its weight.
  test::Random random(3);
  int tried = 0;
  for (int draw = 0; draw < 20000 && tried < 20; ++draw) {
    LsfQuantizer state;
    state.past_q_target = residual(random_indices(random));
    std::vector<double> hz;
    bool spaced = true;
    for (std::size_t i = 0; i < 16; ++i) {
      hz.push_back(static_cast<double>(state.past_q_target[i]) + mean_lsf[i]);
      spaced = spaced && hz[i] > (i == 0 ? 100 : hz[i - 1] + 60) && hz[i] < 7900;
    }
    if (!spaced) continue;
    ++tried;
    auto lsp = to_lsp(hz);
    const Lsf before = state.past_q_target;
    Indices prm{};
    q_lsp(state, lsp.data(), prm.data());
    EXPECT_EQ(prm[0], 0);
    EXPECT_EQ(state.past_q_target, before);
  }
  EXPECT_EQ(tried, 20);
}

TEST(QLsp, TakesTheSelectorOfTheSmallerError) {
  test::Random random(4);
  LsfQuantizer state;
  int selected[2] = {};
  for (int frame = 0; frame < 200; ++frame) {
    const auto lsp = speech_lsp(random);
    double err[2] = {};
    Indices found[2];
    for (const int s : {0, 1}) {
      Lsf lsf{}, target{}, coded{};
      for (std::size_t i = 0; i < 16; ++i) {
        lsf[i] = static_cast<float>(std::acos(static_cast<double>(lsp[i])) * 8000 / pi);
        const double rest = static_cast<double>(lsf[i]) - mean_lsf[i];
        target[i] = static_cast<float>((rest - qu[s] * state.past_q_target[i]) / (1 - qu[s]));
      }
      float* t = target.data();
      found[s] = {s,
                  VQ(t, dico1_lsf[0], 3, 128),
                  VQ(t + 3, dico2_lsf[0], 3, 256),
                  VQ(t + 6, dico3_lsf[0], 3, 128),
                  VQ(t + 9, dico4_lsf[0], 3, 128),
                  VQ(t + 12, dico5_lsf[0], 4, 128)};
      for (std::size_t i = 0; i < 16; ++i) {
        coded[i] = static_cast<float>((1 - qu[s]) * target[i] + qu[s] * state.past_q_target[i] +
                                      mean_lsf[i]);
      }
      reorder_lsf(coded.data(), 50.0f, 16);
      for (std::size_t i = 0; i < 16; ++i) err[s] += std::pow(lsf[i] - coded[i], 2);
    }
    auto out = lsp;
    Indices prm{};
    q_lsp(state, out.data(), prm.data());
    ASSERT_TRUE(prm[0] == 0 || prm[0] == 1);
    // Frequencies here are in double where the coder rounds its constant: near ties may differ.
    if (std::abs(err[0] - err[1]) > 0.1) {
      EXPECT_EQ(prm[0], err[0] < err[1] ? 0 : 1);
      EXPECT_EQ(prm, found[prm[0]]);
    }
    ++selected[prm[0]];
  }
  EXPECT_GT(selected[0], 0);
  EXPECT_GT(selected[1], 0);
}

TEST(QLsp, EncoderAndDecoderStayInStep) {
  LsfQuantizer coder;
  LsfDequantizer decoder;
  for (unsigned seed = 0; seed < 4; ++seed) {
    test::Random random(seed);
    for (int frame = 0; frame < 100; ++frame) {
      auto lsp = speech_lsp(random);
      std::vector<float> decoded(16);
      Indices prm{};
      q_lsp(coder, lsp.data(), prm.data());
      d_lsp(decoder, prm.data(), decoded.data(), 0);
      ASSERT_EQ(lsp, decoded);
      ASSERT_EQ(coder.past_q_target, decoder.past_q_target);
      EXPECT_EQ(decoder.k, prm[0]);
      EXPECT_EQ(coder.past_q_target, residual(prm));
    }
  }
}

TEST(QLsp, LinesCloserThanFiftyComeOutSpaced) {
  test::Random random(7);
  LsfQuantizer coder;
  LsfDequantizer decoder;
  int at_the_limit = 0;
  for (int frame = 0; frame < 200; ++frame) {
    std::vector<double> hz;
    double f = 20;
    // The last line of one codebook and the first of the next are close: each is coded by itself.
    for (int i = 0; i < 16; ++i) {
      const bool next_book = i == 3 || i == 6 || i == 9 || i == 12;
      hz.push_back(f += next_book ? random.uniform(5, 20) : random.uniform(200, 700));
    }
    auto lsp = to_lsp(hz);
    std::vector<float> decoded(16);
    Indices prm{};
    q_lsp(coder, lsp.data(), prm.data());
    d_lsp(decoder, prm.data(), decoded.data(), 0);
    ASSERT_EQ(lsp, decoded);
    double last = 0;
    for (const float x : lsp) {
      const double line = std::acos(static_cast<double>(x)) * 8000 / pi;
      EXPECT_GE(line, last + 50 - 0.1);  // the cosine is a float: 6e-8 near 50 Hz is 0.01 Hz
      at_the_limit += line < last + 50.1 ? 1 : 0;
      last = line;
    }
  }
  EXPECT_GT(at_the_limit, 50);
}

TEST(QLsp, WhatWasDecodedIsCodedWithoutError) {
  test::Random random(6);
  LsfQuantizer coder;
  LsfDequantizer decoder;
  int tried = 0;
  for (int frame = 0; frame < 2000 && tried < 50; ++frame) {
    LsfDequantizer trial = decoder;
    const Indices sent = random_indices(random);
    std::vector<float> lsp(16);
    d_lsp(trial, sent.data(), lsp.data(), 0);
    // Where the spacing or the end of the band moved a line, the residual is another.
    const auto hz = trial.past_lsf_q;
    const double rho = qu[sent[0]];
    bool kept = hz[15] < 7900;
    for (std::size_t i = 0; i < 16; ++i) {
      const double raw =
          (1 - rho) * trial.past_q_target[i] + rho * decoder.past_q_target[i] + mean_lsf[i];
      kept = kept && std::abs(raw - hz[i]) < 0.01;
    }
    if (!kept) continue;
    ++tried;
    decoder = trial;
    Indices prm{};
    const auto before = lsp;
    q_lsp(coder, lsp.data(), prm.data());
    for (std::size_t i = 0; i < 16; ++i) EXPECT_NEAR(lsp[i], before[i], 1e-6) << i;
    // A codebook may hold neighbours that serve as well; step the two memories alike.
    d_lsp(decoder, prm.data(), lsp.data(), 0);
    coder.past_q_target = decoder.past_q_target;
  }
  EXPECT_GT(tried, 5);
}

TEST(QLsp, AbsurdLinesGiveValidIndicesAndAFiniteMemory) {
  const float inf = std::numeric_limits<float>::infinity();
  LsfQuantizer state;
  for (const float v : {2.0f, -2.0f, inf, -inf, std::numeric_limits<float>::quiet_NaN()}) {
    for (std::size_t place = 0; place <= 16; ++place) {
      std::vector<float> lsp(16, place < 16 ? 0.1f : v);
      if (place < 16) lsp[place] = v;
      Indices prm{};
      q_lsp(state, lsp.data(), prm.data());
      expect_in_range(prm);
      for (const float x : lsp) EXPECT_TRUE(x >= -1.0f && x <= 1.0f);
      EXPECT_EQ(state.past_q_target, residual(prm));
    }
  }
}

}  // namespace
}  // namespace quel
