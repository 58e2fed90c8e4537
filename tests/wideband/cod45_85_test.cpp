#include "wideband/cod45_85.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <vector>

#include "dsp/convolve.h"
#include "support/signals.h"
#include "wideband/dec45_85.h"

namespace quel {
namespace {

using test::Random;

using Vector = std::array<float, 80>;
using Doubles = std::array<double, 80>;

struct Input {
  Vector dn{}, cn{}, h{};
};

/// A target through a decaying response, like those that the encoder hands over.
Input random_input(std::uint64_t seed) {
  Random random(seed);
  Input in;
  const double decay = random.uniform(0.5, 0.95);
  const double turn = random.uniform(0.1, 2.5);
  const double level = std::pow(10.0, random.uniform(0, 4));
  Vector target;
  for (std::size_t n = 0; n < 80; ++n) {
    const auto t = static_cast<double>(n);
    in.h[n] = static_cast<float>(std::pow(decay, t) * std::cos(turn * t));
    target[n] = static_cast<float>(level * random.gauss());
    in.cn[n] = static_cast<float>(level * random.gauss());
  }
  corr_xh(target.data(), in.dn.data(), in.h.data(), 80);
  return in;
}

struct Result {
  AcelpWork work;
  Vector dn{}, code{}, y{};
  std::array<std::int32_t, 5> indices{};
};

Result search(const Input& in, AcelpSettings settings = {}) {
  Result out;
  out.dn = in.dn;
  out.code.fill(99.0f);
  out.y.fill(99.0f);
  out.indices.fill(-99);
  ACELP_45_85(out.work, settings, out.dn.data(), in.cn.data(), in.h.data(), out.code.data(),
              out.y.data(), out.indices.data());
  return out;
}

void expect_decodable(const Result& out) {
  for (const std::int32_t v : out.indices) {
    EXPECT_GE(v, 0);
    EXPECT_LE(v, 511);
  }
  Vector decoded;
  DEC_ACELP_45_85(out.indices.data(), decoded.data());
  EXPECT_EQ(decoded, out.code);
}

double energy(const float* x) {
  double sum = 0;
  for (int n = 0; n < 80; ++n) sum += static_cast<double>(x[n]) * x[n];
  return sum;
}

/// The same search as plain as can be, in double: no matrices and no running sums, every candidate
/// is filtered and measured by itself.
class PlainSearch {
 public:
  PlainSearch(const Input& in, int rotations) : in_(in) {
    const double k = std::sqrt((1 + energy(in.dn.data())) / (1 + energy(in.cn.data())));
    for (std::size_t n = 0; n < 80; ++n) {
      const double v = k * in.cn[n] + 2.0 * in.dn[n];
      sign_[n] = v < 0 ? -1 : 1;
      measure_[n] = std::fabs(v);
    }
    for (int t = 0; t < 5; ++t) preselect(t);
    int start = 0;
    for (int t = 1; t < 5; ++t) {
      if (start_value(t) > start_value(start)) start = t;
    }
    for (int it = 0; it < rotations; ++it) rotate(start + it);
  }

  std::multiset<int> best() const { return {best_.begin(), best_.end()}; }

 private:
  void preselect(int track) {
    std::vector<int> samples;
    for (int i = track; i < 80; i += 5) samples.push_back(i);
    std::stable_sort(samples.begin(), samples.end(), [this](int i, int j) {
      return measure_[static_cast<std::size_t>(i)] > measure_[static_cast<std::size_t>(j)];
    });
    samples.resize(8);
    first_.push_back(samples[0]);
    std::sort(samples.begin(), samples.end());
    candidates_.push_back(samples);
  }

  double start_value(int t) const {
    double sum = 0;
    for (const int track : {t, (t + 1) % 5}) {
      const auto i = static_cast<std::size_t>(first_[static_cast<std::size_t>(track)]);
      sum += sign_[i] * in_.dn[i];
    }
    return sum;
  }

  double ratio(const std::vector<int>& samples) const {
    double correlation = 0;
    Doubles y{};
    for (const int s : samples) {
      const auto i = static_cast<std::size_t>(s);
      correlation += sign_[i] * in_.dn[i];
      for (std::size_t n = i; n < 80; ++n) y[n] += sign_[i] * in_.h[n - i];
    }
    double sum = 0;
    for (const double v : y) sum += v * v;
    return correlation * correlation / (0.5 * sum);
  }

  void rotate(int start) {
    std::vector<int> samples;
    for (int k = 0; k < 10; k += 2) {
      const auto x = static_cast<std::size_t>((start + k) % 5);
      const auto y = static_cast<std::size_t>((start + k + 1) % 5);
      if (k == 0) {
        samples = {first_[x], first_[y]};
        continue;
      }
      double max = -1;
      std::vector<int> longest;
      for (const int i : candidates_[x]) {
        for (int j = static_cast<int>(y); j < 80; j += 5) {
          std::vector<int> trial = samples;
          trial.insert(trial.end(), {i, j});
          if (const double r = ratio(trial); r > max) {
            max = r;
            longest = trial;
          }
        }
      }
      samples = longest;
    }
    if (best_.empty() || ratio(samples) > ratio(best_)) best_ = samples;
  }

  const Input& in_;
  Doubles sign_{}, measure_{};
  std::vector<int> first_, best_;
  std::vector<std::vector<int>> candidates_;
};

std::multiset<int> positions_of(const Result& out) {
  return {out.work.best_position.begin(), out.work.best_position.end()};
}

TEST(Acelp4585, FindsThePulsesOfThePlainSearch) {
  for (unsigned seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    const Input in = random_input(seed);
    EXPECT_EQ(positions_of(search(in)), PlainSearch(in, 2).best());
  }
}

TEST(Acelp4585, OneIterationSearchesTheBestStartingRotationAlone) {
  int differing = 0;
  for (unsigned seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    const Input in = random_input(seed);
    const Result one = search(in, {.nb_iter_selected = 1});
    EXPECT_EQ(positions_of(one), PlainSearch(in, 1).best());
    differing += search(in).indices != one.indices ? 1 : 0;
  }
  EXPECT_GT(differing, 0);  // the second rotation does find better codes
}

TEST(Acelp4585, FiveIterationsSearchEveryRotation) {
  int fifth_won = 0;
  for (unsigned seed = 0; seed < 24; ++seed) {
    SCOPED_TRACE(seed);
    const Input in = random_input(seed);
    const Result five = search(in, {.nb_iter_selected = 5});
    EXPECT_EQ(positions_of(five), PlainSearch(in, 5).best());
    fifth_won += five.indices != search(in, {.nb_iter_selected = 4}).indices ? 1 : 0;
  }
  EXPECT_GT(fifth_won, 0);
}

TEST(Acelp4585, IterationsOutsideOneToFiveActAsTheNearest) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    const Input in = random_input(seed);
    const auto one = search(in, {.nb_iter_selected = 1}).indices;
    const auto five = search(in, {.nb_iter_selected = 5}).indices;
    EXPECT_EQ(search(in, {.nb_iter_selected = 0}).indices, one);
    EXPECT_EQ(search(in, {.nb_iter_selected = std::numeric_limits<int>::min()}).indices, one);
    EXPECT_EQ(search(in, {.nb_iter_selected = 6}).indices, five);
    EXPECT_EQ(search(in, {.nb_iter_selected = std::numeric_limits<int>::max()}).indices, five);
  }
}

TEST(Acelp4585, MoreIterationsNeverGiveAWorseCode) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    const Input in = random_input(seed);
    double last = 0;
    for (int iterations = 1; iterations <= 5; ++iterations) {
      const AcelpScore score = search(in, {.nb_iter_selected = iterations}).work.best_score;
      const double ratio = static_cast<double>(score.ps) * score.ps / score.alp;
      EXPECT_GE(ratio, last * (1 - 1e-6));  // the products compared are rounded to float
      last = ratio;
    }
  }
}

TEST(Acelp4585, AlpIsHalfTheEnergyOfTheFilteredCode) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const Result out = search(random_input(seed));
    const double half = 0.5 * energy(out.y.data());
    EXPECT_NEAR(out.work.best_score.alp / half, 1.0, 1e-5);  // some hundred float additions
  }
}

TEST(Acelp4585, StartingFromTheSignsMissesTheEnergyButStaysValid) {
  int off = 0;
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    const Result out = search(random_input(seed), {.running_vector_from_signs = 1});
    expect_decodable(out);
    const double half = 0.5 * energy(out.y.data());
    off += std::fabs(out.work.best_score.alp / half - 1.0) > 0.01 ? 1 : 0;
  }
  EXPECT_GT(off, 45);
}

TEST(Acelp4585, IndicesDecodeToTheCode) {
  bool doubled = false;
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const Result out = search(random_input(seed), {.nb_iter_selected = static_cast<int>(seed % 6)});
    expect_decodable(out);
    double pulses = 0;
    for (const float v : out.code) pulses += std::fabs(v);
    EXPECT_EQ(pulses, 10.0);
    doubled = doubled || *std::max_element(out.code.begin(), out.code.end()) == 2.0f;
  }
  EXPECT_TRUE(doubled);  // two like pulses on one sample were among them
}

TEST(Acelp4585, FilteredCodeIsTheConvolution) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const Input in = random_input(seed);
    const Result out = search(in);
    Vector y;
    convolve(out.code.data(), in.h.data(), y.data(), 80);
    for (std::size_t n = 0; n < 80; ++n) {
      EXPECT_NEAR(out.y[n], y[n], 1e-5);  // ten float additions of values up to about 10
    }
  }
}

TEST(Acelp4585, TargetBecomesSignFree) {
  const Input in = random_input(7);
  const Result out = search(in);
  for (std::size_t n = 0; n < 80; ++n) EXPECT_EQ(out.dn[n], out.work.sign[n] * in.dn[n]);
}

TEST(Acelp4585, EightCandidatesPerTrackArePreselected) {
  const Input in = random_input(8);
  const Result out = search(in);
  for (std::size_t t = 0; t < 5; ++t) {
    int marked = 0;
    for (std::size_t i = t; i < 80; i += 5) marked += out.work.dn2[i] < 0 ? 1 : 0;
    EXPECT_EQ(marked, 8);
    EXPECT_LT(out.work.dn2[static_cast<std::size_t>(out.work.pos_max[t])], 0);
  }
}

TEST(Acelp4585, FirstOfEqualSamplesIsTaken) {
  Input in;
  in.h[0] = 1.0f;
  in.dn.fill(5.0f);
  const Result out = search(in);
  for (int t = 0; t < 5; ++t) EXPECT_EQ(out.work.pos_max[static_cast<std::size_t>(t)], t);
  expect_decodable(out);
  // All starts are as good, and so are both rotations: track 0 leads in the first of them.
  EXPECT_EQ(out.work.best_position[0], 0);
  EXPECT_EQ(out.work.best_position[1], 1);
}

TEST(Acelp4585, BiasOfOneWeighsFaintTargetsAndResiduals) {
  Input in;
  in.h[0] = 1.0f;
  in.dn[0] = -0.1f;
  in.cn[0] = 1.0f;
  // sqrt(1.01 / 2) - 0.2 is positive where sqrt(0.01 / 1) - 0.2 is not.
  EXPECT_EQ(search(in).work.sign[0], 1.0f);
  in.cn[0] = -1.0f;
  in.dn[0] = 0.1f;
  EXPECT_EQ(search(in).work.sign[0], -1.0f);
}

TEST(Acelp4585, RecoversAPlantedCodeThroughAFlatResponse) {
  Random random(3);
  for (int trial = 0; trial < 100; ++trial) {
    std::array<std::int32_t, 5> planted;
    Vector code;
    for (auto& v : planted) {
      do v = static_cast<std::int32_t>(random.bits() & 511);
      while (((v >> 4) & 15) == (v & 15));
    }
    DEC_ACELP_45_85(planted.data(), code.data());
    Input in;
    in.h[0] = 1.0f;
    for (std::size_t n = 0; n < 80; ++n) in.dn[n] = in.cn[n] = 1000.0f * code[n];
    EXPECT_EQ(search(in).code, code);
  }
}

TEST(Acelp4585, DigitalSilenceIsStillACode) {
  Input in;
  expect_decodable(search(in));
  for (const float v : search(in).y) EXPECT_EQ(v, 0.0f);
  for (const float v : search(in).work.sign) EXPECT_EQ(v, 1.0f);  // zero is not negative
  in.h[0] = 1.0f;                                                 // silent target, live filter
  const Result out = search(in);
  expect_decodable(out);
  EXPECT_EQ(out.y, out.code);
  expect_decodable(search(in, {.running_vector_from_signs = 1}));
}

TEST(Acelp4585, NoSampleWhateverBreaksTheSearch) {
  constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::max(),
                           -std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::denorm_min(),
                           0.0f};
  Random random(5);
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    Input in = random_input(seed);
    for (Vector* x : {&in.dn, &in.cn, &in.h}) {
      const int share = random.integer(0, 3);  // none, a few, most, all
      for (float& v : *x) {
        if (random.integer(0, 99) < share * 34) v = odd[random.integer(0, 6)];
      }
    }
    expect_decodable(search(in, {.nb_iter_selected = random.integer(1, 5),
                                 .running_vector_from_signs = random.integer(0, 1)}));
  }
  Input nans;
  nans.dn.fill(odd[0]);
  nans.cn.fill(odd[0]);
  nans.h.fill(odd[0]);
  expect_decodable(search(nans));
}

TEST(Acelp4585, NothingOfOneCallReachesTheNext) {
  const Input in = random_input(11);
  const Result fresh = search(in);
  Result out = search(random_input(12));
  out.dn = in.dn;
  ACELP_45_85(out.work, {}, out.dn.data(), in.cn.data(), in.h.data(), out.code.data(), out.y.data(),
              out.indices.data());
  EXPECT_EQ(out.indices, fresh.indices);
  EXPECT_EQ(out.y, fresh.y);
}

TEST(CorHVec, IsTheEnergyThatOneMorePulseAdds) {
  const Input in = random_input(20);
  Vector sign, vec;
  Random random(21);
  for (std::size_t n = 0; n < 80; ++n) {
    sign[n] = random.bits() & 1 ? 1.0f : -1.0f;
    vec[n] = static_cast<float>(random.gauss());
  }
  for (int track = 0; track < 5; ++track) {
    std::array<float, 80> rrixix{};
    std::array<float, 16> cor;
    for (std::size_t p = 0; p < 16; ++p) {
      const auto i = static_cast<std::size_t>(track) + 5 * p;
      double sum = 0;
      for (std::size_t n = 0; n < 80 - i; ++n) sum += 0.5 * in.h[n] * in.h[n];
      rrixix[static_cast<std::size_t>(track) * 16 + p] = static_cast<float>(sum);
    }
    wideband::cor_h_vec(in.h.data(), vec.data(), track, sign.data(), rrixix.data(), cor.data());
    for (std::size_t p = 0; p < 16; ++p) {
      const auto i = static_cast<std::size_t>(track) + 5 * p;
      Vector with = vec;
      for (std::size_t n = i; n < 80; ++n) with[n] += sign[i] * in.h[n - i];
      const double added = 0.5 * (energy(with.data()) - energy(vec.data()));
      EXPECT_NEAR(cor[p], added, 1e-4);  // energies near 80 of floats
    }
  }
}

TEST(SearchIxiy, TakesTheBestOfAllPairsAndTheFirstOfEquals) {
  Random random(30);
  for (int trial = 0; trial < 200; ++trial) {
    SCOPED_TRACE(trial);
    const int tx = random.integer(0, 4);
    const int ty = (tx + 1) % 5;
    // Small integers: every product is exact, and ties abound.
    Vector dn;
    AcelpWork work;
    auto& dn2 = work.dn2;
    std::array<float, 16> cor_x, cor_y;
    std::array<float, 1280> cross;
    for (float& v : dn) v = static_cast<float>(random.integer(0, 3));
    for (float& v : dn2) v = random.integer(0, 1) != 0 ? -1.0f : 1.0f;
    for (float& v : cor_x) v = static_cast<float>(random.integer(1, 3));
    for (float& v : cor_y) v = static_cast<float>(random.integer(1, 3));
    for (float& v : cross) v = static_cast<float>(random.integer(0, 2));
    float ps = 2.0f, alp = 3.0f;
    int best_x = -1, best_y = -1;
    double best = -1.0;
    for (int x = tx; x < 80; x += 5) {
      for (int y = ty; dn2[static_cast<std::size_t>(x)] < 0 && y < 80; y += 5) {
        const double p = ps + dn[static_cast<std::size_t>(x)] + dn[static_cast<std::size_t>(y)];
        const double a = alp + cor_x[static_cast<std::size_t>(x / 5)] +
                         cor_y[static_cast<std::size_t>(y / 5)] +
                         cross[static_cast<std::size_t>((tx * 16 + x / 5) * 16 + y / 5)];
        if (p * p / a > best * (1 + 1e-12)) {  // equal quotients may differ in the last bit
          best = p * p / a;
          best_x = x;
          best_y = y;
        }
      }
    }
    std::int32_t ix = tx, iy = ty;
    wideband::search_ixiy(work, tx, ty, &ps, &alp, &ix, &iy, dn.data(), cor_x.data(), cor_y.data(),
                          cross.data());
    EXPECT_EQ(ix, best_x);
    EXPECT_EQ(iy, best_y);
    EXPECT_FLOAT_EQ(ps * ps / alp, static_cast<float>(best));
  }
}

TEST(SearchIxiy, EnergyWithTheFirstPulseIsSinglePrecision) {
  Vector dn{};
  AcelpWork work;
  work.dn2[5] = -1.0f;
  dn.fill(1.0f);
  std::array<float, 16> cor_x{}, cor_y;
  const std::array<float, 1280> cross{};
  cor_x[1] = 1.0f;
  cor_y.fill(-16777212.0f);  // 4 - 2^24
  float ps = 1.0f, alp = 16777216.0f;
  std::int32_t ix = 0, iy = 1;
  wideband::search_ixiy(work, 0, 1, &ps, &alp, &ix, &iy, dn.data(), cor_x.data(), cor_y.data(),
                        cross.data());
  EXPECT_EQ(ix, 5);
  EXPECT_EQ(alp, 4.0f);  // 2^24 + 1 is no float
}

TEST(SearchIxiy, WithoutACandidateThePairStays) {
  const Vector dn{};
  const AcelpWork work;  // nothing preselected
  const std::array<float, 16> cor{};
  const std::array<float, 1280> cross{};
  float ps = 0, alp = 0;
  std::int32_t ix = 10, iy = 11;
  wideband::search_ixiy(work, 0, 1, &ps, &alp, &ix, &iy, dn.data(), cor.data(), cor.data(),
                        cross.data());
  EXPECT_EQ(ix, 10);
  EXPECT_EQ(iy, 11);
}

}  // namespace
}  // namespace quel
