#include "tools/eval_stoi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "support/signals.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using Signal = std::vector<float>;
using Matrix = std::vector<std::vector<double>>;  // [band][frame]

constexpr double pi = std::numbers::pi;

Signal speech(int n, std::uint64_t seed, double rate = 10000.0) {
  const auto pcm = test::loud_speech(n, seed, rate);
  return {pcm.begin(), pcm.end()};
}

Signal times(Signal x, float factor) {
  for (float& v : x) v *= factor;
  return x;
}

Signal sum(Signal x, const Signal& y) {
  for (std::size_t n = 0; n < x.size(); ++n) x[n] += y[n];
  return x;
}

// ---- Both papers' formulas once more, as plainly as they are written ----------------------------

double hann(int n) {
  return std::pow(std::sin(pi * n / 256.0), 2.0);
}

double level(const std::vector<double>& x, std::size_t start) {
  double energy = 0.0;
  for (int n = 0; n < 256; ++n)
    energy += std::pow(hann(n) * x[start + static_cast<std::size_t>(n)], 2);
  return 10.0 * std::log10(energy);
}

std::vector<std::size_t> loud_frames(const std::vector<double>& x) {
  double loudest = -1e9;
  std::vector<std::size_t> loud;
  for (std::size_t s = 0; s + 256 <= x.size(); s += 128) loudest = std::max(loudest, level(x, s));
  for (std::size_t s = 0; s + 256 <= x.size(); s += 128) {
    if (level(x, s) >= loudest - 40.0) loud.push_back(s);
  }
  return loud;
}

std::vector<double> put_together(const std::vector<double>& x, const std::vector<std::size_t>& at) {
  std::vector<double> y(128 * (at.size() + 1));
  for (std::size_t i = 0; i < at.size(); ++i) {
    for (int n = 0; n < 256; ++n) {
      const auto j = static_cast<std::size_t>(n);
      y[128 * i + j] += hann(n) * x[at[i] + j];
    }
  }
  return y;
}

Matrix band_levels(const std::vector<double>& x) {
  Matrix bands(15);
  for (std::size_t s = 0; s + 256 <= x.size(); s += 128) {
    for (int j = 0; j < 15; ++j) {
      const double centre = 150.0 * std::pow(2.0, j / 3.0);
      const double bin = 10000.0 / 512.0;
      const auto first = static_cast<int>(std::floor(centre / std::pow(2.0, 1 / 6.0) / bin + 0.5));
      const auto last = static_cast<int>(std::floor(centre * std::pow(2.0, 1 / 6.0) / bin + 0.5));
      double energy = 0.0;
      for (int k = first; k < last; ++k) {
        std::complex<double> value = 0.0;
        for (int n = 0; n < 256; ++n) {
          value += hann(n) * x[s + static_cast<std::size_t>(n)] *
                   std::polar(1.0, -2 * pi * k * n / 512.0);
        }
        energy += std::norm(value);
      }
      bands[static_cast<std::size_t>(j)].push_back(std::sqrt(energy));
    }
  }
  return bands;
}

double mean(const std::vector<double>& x) {
  double total = 0.0;
  for (const double v : x) total += v;
  return total / static_cast<double>(x.size());
}

double inner(const std::vector<double>& x, const std::vector<double>& y) {
  double total = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) total += x[i] * y[i];
  return total;
}

std::vector<double> centred(std::vector<double> x) {
  const double m = mean(x);
  for (double& v : x) v -= m;
  return x;
}

std::vector<double> normal(const std::vector<double>& x) {
  std::vector<double> y = centred(x);
  const double norm = std::sqrt(inner(y, y));
  for (double& v : y) v /= norm;
  return y;
}

double correlation(const std::vector<double>& x, const std::vector<double>& y) {
  const auto a = centred(x), b = centred(y);
  return inner(a, b) / std::sqrt(inner(a, a) * inner(b, b));
}

std::vector<double> segment(const std::vector<double>& row, std::size_t m) {
  const auto first = row.begin() + static_cast<std::ptrdiff_t>(m);
  return {first, first + 30};
}

double plain_stoi(const Matrix& x, const Matrix& y) {
  std::vector<double> d;
  for (std::size_t m = 0; m + 30 <= x[0].size(); ++m) {
    for (std::size_t j = 0; j < 15; ++j) {
      const auto xs = segment(x[j], m);
      auto ys = segment(y[j], m);
      const double alpha = std::sqrt(inner(xs, xs) / inner(ys, ys));
      for (std::size_t n = 0; n < 30; ++n) {
        ys[n] = std::min(alpha * ys[n], xs[n] + std::pow(10.0, 15.0 / 20.0) * xs[n]);
      }
      d.push_back(correlation(xs, ys));
    }
  }
  return mean(d);
}

double plain_estoi(const Matrix& x, const Matrix& y) {
  std::vector<double> d;
  const auto columns = [](const Matrix& bands, std::size_t m) {
    Matrix rows, out(30, std::vector<double>(15));
    for (const auto& band : bands) rows.push_back(normal(segment(band, m)));
    for (std::size_t n = 0; n < 30; ++n) {
      for (std::size_t j = 0; j < 15; ++j) out[n][j] = rows[j][n];
      out[n] = normal(out[n]);
    }
    return out;
  };
  for (std::size_t m = 0; m + 30 <= x[0].size(); ++m) {
    const auto a = columns(x, m), b = columns(y, m);
    for (std::size_t n = 0; n < 30; ++n) d.push_back(inner(a[n], b[n]));
  }
  return mean(d);
}

TEST(Intelligibility, IsWhatThePapersSay) {
  // Syllables of noise with pauses at both ends and in the middle, so that frames are dropped.
  Signal x(500);
  const Signal syllables = test::noise(5500, 1, 3000.0);
  for (std::size_t n = 0; n < syllables.size(); ++n) {
    if (n == 3000) x.insert(x.end(), 700, 0.0f);
    const double envelope = 0.05 + std::pow(std::sin(pi * static_cast<double>(n) / 1100.0), 2.0);
    x.push_back(syllables[n] * static_cast<float>(envelope));
  }
  x.insert(x.end(), 333, 0.0f);
  const std::vector<double> xd(x.begin(), x.end());
  const auto loud = loud_frames(xd);
  ASSERT_GT(loud.size(), 30u);
  ASSERT_LT(loud.size(), xd.size() / 128 - 5);
  const Matrix xb = band_levels(put_together(xd, loud));
  for (const double deviation : {300.0, 20000.0}) {  // the last one meets the clipping
    const Signal y = sum(x, test::noise(static_cast<int>(x.size()), 3, deviation));
    const std::vector<double> yd(y.begin(), y.end());
    const Matrix yb = band_levels(put_together(yd, loud));
    const auto result = intelligibility(x, y, stoi_rate);
    ASSERT_TRUE(result);
    EXPECT_NEAR(result->stoi, plain_stoi(xb, yb), 1e-9);  // rounding
    EXPECT_NEAR(result->estoi, plain_estoi(xb, yb), 1e-9);
  }
}

TEST(Intelligibility, EqualSignalsHaveOne) {
  for (const int rate : {8000, 10000, 16000, 44100}) {
    const Signal x = speech(rate, 4, rate);
    const auto result = intelligibility(x, x, rate);
    ASSERT_TRUE(result);
    EXPECT_NEAR(result->stoi, 1.0, 1e-9) << rate;
    EXPECT_NEAR(result->estoi, 1.0, 1e-9) << rate;
  }
}

TEST(Intelligibility, ScaleDoesNotMatter) {
  const Signal x = speech(16000, 5, 8000.0);
  const Signal y = sum(x, test::noise(16000, 6, 500.0));
  const auto plain = *intelligibility(x, y, 8000);
  for (const float factor : {0.125f, 2.0f}) {  // powers of two scale floats exactly
    const auto ref = *intelligibility(times(x, factor), y, 8000);
    const auto test = *intelligibility(x, times(y, factor), 8000);
    for (const auto& scaled : {ref, test}) {
      EXPECT_NEAR(scaled.stoi, plain.stoi, 1e-9);
      EXPECT_NEAR(scaled.estoi, plain.estoi, 1e-9);
    }
  }
}

TEST(Intelligibility, FallsWithTheNoise) {
  const Signal x = speech(20000, 7);
  const Signal noise = test::noise(20000, 8, 1.0);
  Intelligibility last{1.0, 1.0};
  for (const float level : {30.0f, 300.0f, 1000.0f, 3000.0f, 10000.0f}) {
    const auto result = *intelligibility(x, sum(x, times(noise, level)), stoi_rate);
    EXPECT_LT(result.stoi, last.stoi) << level;
    EXPECT_LT(result.estoi, last.estoi) << level;
    last = result;
  }
}

TEST(Intelligibility, UnrelatedSoundsHaveNone) {
  // 12 segments that do not overlap, 15 bands, about 20 frames of each segment independent (they
  // overlap by half): the mean correlation deviates by about 1 / sqrt(12 * 15 * 20) = 0.017.
  const Signal x = test::noise(50000, 9);
  const auto noise = *intelligibility(x, test::noise(50000, 10), stoi_rate);
  EXPECT_NEAR(noise.stoi, 0.0, 0.1);
  EXPECT_NEAR(noise.estoi, 0.0, 0.1);
  // With speech as the reference, clipping holds the noise down wherever the speech is quiet, so
  // that STOI stays a little above 0; ESTOI does not clip.
  const auto drowned = *intelligibility(speech(50000, 9), x, stoi_rate);
  EXPECT_GT(drowned.stoi, 0.0);
  EXPECT_LT(drowned.stoi, 0.3);
  EXPECT_NEAR(drowned.estoi, 0.0, 0.1);
}

TEST(Intelligibility, SilenceInTheReferenceDoesNotCount) {
  // Silence appended and, in the test signal, filled with noise: the frames within are dropped. The
  // one across the border is not; it is one of a hundred, but all segments that hold it hear it.
  const Signal x = speech(12800, 11);
  Signal y = sum(x, test::noise(12800, 12, 400.0));
  const auto expected = *intelligibility(x, y, stoi_rate);
  Signal longer_x(12800, 0.0f), longer_y = test::noise(12800, 13, 5000.0);
  longer_x.insert(longer_x.begin(), x.begin(), x.end());
  longer_y.insert(longer_y.begin(), y.begin(), y.end());
  const auto result = *intelligibility(longer_x, longer_y, stoi_rate);
  EXPECT_NEAR(result.stoi, expected.stoi, 0.03);
  EXPECT_NEAR(result.estoi, expected.estoi, 0.03);
}

TEST(Intelligibility, ASilentTestSignalHasNone) {
  const Signal x = speech(10000, 14);
  const auto result = *intelligibility(x, Signal(10000), stoi_rate);
  EXPECT_EQ(result.stoi, 0.0);
  EXPECT_EQ(result.estoi, 0.0);
}

TEST(Intelligibility, NeedsThirtyLoudFrames) {
  EXPECT_FALSE(intelligibility({}, {}, 8000));
  EXPECT_FALSE(intelligibility(Signal(20000), Signal(20000), stoi_rate));
  const Signal enough = test::noise(29 * 128 + 256, 15), fewer = test::noise(29 * 128 + 255, 15);
  EXPECT_TRUE(intelligibility(enough, enough, stoi_rate));
  EXPECT_FALSE(intelligibility(fewer, fewer, stoi_rate));
}

TEST(RemoveSilence, KeepsWhatIsLoud) {
  // Nothing to remove: half-overlapped windows give the signal back, but for its first and last
  // half frames, which one window each covers.
  const Signal noise = test::noise(1280, 16);
  std::vector<double> x(noise.begin(), noise.end()), y = x;
  const auto original = x;
  remove_silence(x, y);
  ASSERT_EQ(x.size(), 1280u);
  EXPECT_EQ(x, y);
  for (std::size_t n = 128; n < 1152; ++n) EXPECT_NEAR(x[n], original[n], 1e-9) << n;
}

TEST(RemoveSilence, TheLimitIsFortyDecibels) {
  for (const double decibels : {39.9, 40.1}) {
    std::vector<double> x(2560);
    for (std::size_t n = 0; n < x.size(); ++n) {
      x[n] = (n % 2 == 0 ? 1.0 : -1.0) * (n < 1280 ? 1.0 : std::pow(10.0, -decibels / 20.0));
    }
    std::vector<double> y = x;
    remove_silence(x, y);
    // Frames begin at 0, 128, ..., 2304; those from 1280 on lie wholly in the quiet half.
    EXPECT_EQ(x.size(), decibels < 40.0 ? 2560u : 9 * 128u + 256u) << decibels;
  }
}

TEST(ThirdOctaves, ATonesBandStandsOut) {
  for (std::size_t j = 0; j < stoi_bands; ++j) {
    const double hertz = 150.0 * std::pow(2.0, static_cast<double>(j) / 3.0);
    std::vector<double> x(1024);
    for (std::size_t n = 0; n < x.size(); ++n) {
      x[n] = std::sin(2.0 * pi * hertz * static_cast<double>(n) / stoi_rate);
    }
    const auto frames = third_octaves(x);
    ASSERT_EQ(frames.size(), 7u);
    for (const BandFrame& frame : frames) {
      EXPECT_EQ(std::max_element(frame.begin(), frame.end()) - frame.begin(),
                static_cast<std::ptrdiff_t>(j));
    }
  }
}

TEST(StoiOfBands, ClipsAtMinusFifteenDecibels) {
  // One frame of the test signal is far too loud. After levelling it would be nearly all of the
  // segment; it counts as 1 + 10^(15/20) times the reference, and the others as nearly nothing.
  std::vector<BandFrame> x(stoi_segment), y;
  for (std::size_t n = 0; n < stoi_segment; ++n) x[n].fill(1.0 + static_cast<double>(n % 3));
  y = x;
  y[7].fill(1e6);
  std::vector<double> xs, ys;
  double xx = 0.0;
  for (const BandFrame& frame : x) xx += frame[0] * frame[0];
  for (std::size_t n = 0; n < stoi_segment; ++n) {
    xs.push_back(x[n][0]);
    ys.push_back(n == 7 ? (1.0 + std::pow(10.0, 0.75)) * x[7][0] : x[n][0] * std::sqrt(xx) / 1e6);
  }
  // 1e-5: the level of the loud segment is 1e6 but for a millionth.
  EXPECT_NEAR(*stoi_of_bands(x, y), correlation(xs, ys), 1e-5);
}

TEST(EstoiOfBands, FollowsTheShapeOfEachFrame) {
  // Each band's level times a constant of its own changes nothing: rows are normalised.
  test::Random random(17);
  std::vector<BandFrame> x(40), y;
  for (BandFrame& frame : x) {
    for (double& level : frame) level = random.uniform(0.1, 10.0);
  }
  y = x;
  for (BandFrame& frame : y) {
    for (std::size_t j = 0; j < stoi_bands; ++j) frame[j] *= 0.5 + static_cast<double>(j);
  }
  EXPECT_NEAR(*estoi_of_bands(x, y), 1.0, 1e-12);
}

}  // namespace
}  // namespace quel::tools
