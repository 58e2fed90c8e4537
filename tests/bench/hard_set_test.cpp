#include "hard_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "prediction.h"
#include "support/signals.h"

namespace quel::bench {
namespace {

constexpr int rate = 16000;

Pcm speech(std::uint64_t seed) {
  Pcm pcm = test::speech_like_pcm(2 * rate, seed, rate);
  for (auto& v : pcm) v = static_cast<std::int16_t>(v / 4);
  return pcm;
}

double energy(const Pcm& x) {
  double sum = 0.0;
  for (const double v : x) sum += v * v;
  return sum;
}

double db_of_difference(const Pcm& x, const Pcm& y) {
  double sum = 0.0;
  for (std::size_t n = 0; n < x.size(); ++n) sum += std::pow(double(x[n]) - y[n], 2);
  return 10 * std::log10(sum / energy(x));
}

TEST(HardSet, MixesAtTheLevelsItTells) {
  for (std::uint64_t seed = 0; seed < 4; ++seed) {
    const Pcm x = speech(seed);
    EXPECT_NEAR(db_of_difference(x, with_noise(x, seed)), -12.0, 0.1);
    EXPECT_NEAR(db_of_difference(x, with_music(x, rate, seed)), -10.0, 0.1);
    EXPECT_NEAR(10 * std::log10(energy(quiet(x)) / energy(x)), -40.0, 0.1);
  }
}

TEST(HardSet, NoiseFallsBy3DbAnOctave) {
  const Pcm silence(4 * rate, 1);  // what it is mixed into counts for its level alone
  Pcm loud(silence);
  for (std::size_t n = 0; n < loud.size(); ++n) loud[n] = n % 2 == 0 ? 8000 : -8000;
  Pcm noise = with_noise(loud, 1);
  for (std::size_t n = 0; n < noise.size(); ++n) {
    noise[n] = static_cast<std::int16_t>(noise[n] - loud[n]);
  }
  // Powers of one-octave bands, by differences of samples further and further apart: for a spectrum
  // of 1/f the structure grows by little with each doubling.
  double last = 0.0;
  for (const std::size_t step : {4u, 8u, 16u, 32u}) {
    double sum = 0.0;
    for (std::size_t n = step; n < noise.size(); ++n) {
      sum += std::pow(double(noise[n]) - noise[n - step], 2);
    }
    if (last > 0.0) {
      EXPECT_GT(sum / last, 1.0);
      EXPECT_LT(sum / last, 1.6);  // white noise has 1, noise of 6 dB an octave 2
    }
    last = sum;
  }
}

TEST(HardSet, PiecesAreTheSpeechOrSilence) {
  const Pcm x = speech(1), y = in_pieces(x, rate, 1);
  int changes = 0;
  bool silent = true;
  std::size_t kept = 0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    ASSERT_TRUE(y[n] == x[n] || y[n] == 0);
    kept += y[n] == x[n] ? 1 : 0;
    // A run of zeros is no piece.
    const bool now =
        std::all_of(y.begin() + static_cast<std::ptrdiff_t>(n),
                    y.begin() + static_cast<std::ptrdiff_t>(std::min(n + 200, y.size())),
                    [](int v) { return v == 0; });
    changes += now != silent ? 1 : 0;
    silent = now;
  }
  EXPECT_GT(changes, 8);
  EXPECT_GT(kept, x.size() / 3);
  EXPECT_LT(kept, x.size());
}

TEST(HardSet, WhispersHaveTheSpeechsSpectrumAndNoPitch) {
  // A pulse train through one resonance.
  Pcm x(2 * rate);
  double y1 = 0.0, y2 = 0.0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    const double y = (n % 100 == 0 ? 3000.0 : 0.0) + 1.8 * y1 - 0.9 * y2;
    y2 = y1;
    y1 = y;
    x[n] = static_cast<std::int16_t>(y);
  }
  const Pcm y = whispered(x, rate, 1);
  EXPECT_NEAR(10 * std::log10(energy(y) / energy(x)), 0.0, 1.5);
  const auto likeness = [](const Pcm& z, std::size_t lag) {
    double product = 0.0;
    for (std::size_t n = lag; n < z.size(); ++n) product += double(z[n]) * z[n - lag];
    return product / energy(z);
  };
  EXPECT_NEAR(likeness(y, 1), likeness(x, 1), 0.03);
  EXPECT_GT(likeness(x, 100), 0.95);
  EXPECT_LT(std::fabs(likeness(y, 100)), 0.2);
}

TEST(HardSet, ClippingClips) {
  const Pcm y = clipped(speech(2));
  const auto full = std::count_if(y.begin(), y.end(), [](int v) { return std::abs(v) >= 32767; });
  EXPECT_GT(full, static_cast<std::ptrdiff_t>(y.size() / 100));
}

TEST(HardSet, HasEveryKindOfEveryRecordingAndIsTheSameTwice) {
  const std::vector<Pcm> recordings = {speech(1), speech(2), speech(3)};
  const auto set = hard_set(recordings, rate, 1), again = hard_set(recordings, rate, 1);
  ASSERT_EQ(set.size(), hard_kinds().size() * 3);
  const auto other = hard_set(recordings, rate, 2);
  int different = 0;
  for (std::size_t k = 0; k < set.size(); ++k) {
    EXPECT_EQ(set[k].kind, hard_kinds()[k / 3]);
    EXPECT_EQ(set[k].pcm, again[k].pcm);
    EXPECT_EQ(set[k].pcm.size(), recordings[k % 3].size());
    EXPECT_NE(set[k].pcm, recordings[k % 3]);
    EXPECT_EQ(set[k].louder_db, set[k].kind == "-40 dB" ? 40.0 : 0.0);
    different += set[k].pcm != other[k].pcm ? 1 : 0;
  }
  EXPECT_EQ(different, 4 * 3);  // noise, music, onsets and whispers come from the seed
}

TEST(Predictor, SynthesisUndoesTheResidual) {
  const Pcm pcm = speech(4);
  const std::vector<double> x(pcm.begin(), pcm.end());
  const Predictors predictors(x, rate, 0.9);
  std::vector<double> y(x.size());
  for (std::size_t n = 0; n < x.size(); ++n) {
    const Predictor& a = predictors.at(n / 160);
    y[n] = a.synthesis(y, n, a.residual(x, n));
    ASSERT_NEAR(y[n], x[n], 1e-3);
  }
}

TEST(WeightedSnr, IsThatOfErrorsLikeTheSound) {
  const Pcm pcm = speech(5);
  const std::vector<double> x(pcm.begin(), pcm.end());
  auto y = x;
  for (double& v : y) v *= 1.1;
  EXPECT_NEAR(weighted_segmental_snr(x, y, rate), 20.0, 0.01);
}

// What hides below the sound counts less than the same energy beside it.
TEST(WeightedSnr, CountsErrorsLessWhereTheSoundIs) {
  const Pcm pcm = speech(6);
  const std::vector<double> x(pcm.begin(), pcm.end());
  std::vector<double> noise, shaped(x.size());
  for (const float v : test::noise(static_cast<int>(x.size()), 1)) noise.push_back(v);
  const Predictors predictors(x, rate, 0.0);
  const auto level = [](const std::vector<double>& z, std::size_t from) {
    double sum = 1e-9;
    for (std::size_t n = from; n < from + 160; ++n) sum += z[n] * z[n];
    return std::sqrt(sum);
  };
  for (std::size_t n = 0; n < x.size(); ++n) {
    shaped[n] = predictors.at(n / 160).synthesis(shaped, n, noise[n]);
  }
  auto beside = x, below = x;
  for (std::size_t from = 0; from + 160 <= x.size(); from += 160) {
    const double wanted = 0.1 * level(x, from);
    for (std::size_t n = from; n < from + 160; ++n) {
      beside[n] += wanted / level(noise, from) * noise[n];
      below[n] += wanted / level(shaped, from) * shaped[n];
    }
  }
  EXPECT_GT(weighted_segmental_snr(x, below, rate), weighted_segmental_snr(x, beside, rate) + 3.0);
}

}  // namespace
}  // namespace quel::bench
