#include "wideband/joint_gains16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/signals.h"
#include "wideband/gain_tables16.h"
#include "wideband/pred_lt16.h"

namespace quel::wideband {
namespace {

struct Subframe {
  std::vector<float> xn, y1, code, h, y0;
  explicit Subframe(unsigned seed)
      : xn(test::noise(80, seed)), y1(test::noise(80, seed + 1000)), code(80), h(80), y0(80) {
    test::Random random(seed);
    for (int k = 0; k < 10; ++k) {
      code[static_cast<std::size_t>(random.integer(0, 79))] +=
          random.integer(0, 1) == 0 ? 1.0f : -1.0f;
    }
    for (std::size_t n = 0; n < 80; ++n) {
      h[n] = static_cast<float>(std::pow(0.8, n) * std::cos(0.5 * double(n)));
      for (std::size_t i = 0; i <= n; ++i) y0[n] += code[i] * h[n - i];
    }
    for (std::size_t n = 0; n < 80; ++n) {
      xn[n] = 0.3f * xn[n] + static_cast<float>(0.05 * seed) * y1[n] +
              static_cast<float>(50 * seed) * y0[n];
    }
  }
  GainQuestion question(int T0) const { return {xn.data(), y1.data(), code.data(), y0.data(), T0}; }
};

// Every pair of gains as a decoder would apply it.
struct Best {
  double of_pitch[16];
};
Best every_pair(const CodeGainQuantizer& state, const Subframe& s, int T0) {
  Best best;
  for (std::size_t i = 0; i < 16; ++i) {
    auto code = s.code;
    pit_shrp(code.data(), T0, std::min(qua_gain_pitch[i], 1.0f), 80);
    const double unit = predicted_code_gain(state.past_qua_en, code_energy(code.data(), 80));
    best.of_pitch[i] = std::numeric_limits<double>::infinity();
    for (const double correction : qua_gain_code) {
      double error = 0.0;
      for (std::size_t n = 0; n < 80; ++n) {
        double y = 0.0;
        for (std::size_t k = 0; k <= n; ++k) y += static_cast<double>(code[k]) * s.h[n - k];
        error += std::pow(s.xn[n] - qua_gain_pitch[i] * s.y1[n] - unit * correction * y, 2);
      }
      best.of_pitch[i] = std::min(best.of_pitch[i], error);
    }
  }
  return best;
}

TEST(JointGains, AreTheBestOfAllPairs) {
  int sharpened = 0;
  std::array<int, 16> seen{};
  for (unsigned seed = 0; seed < 25; ++seed) {
    const Subframe s(seed);
    const CodeGainQuantizer state{{static_cast<float>(seed) - 8.0f, 2.0f}};
    for (const int T0 : {29, 39, 40, 79, 80, 200}) {
      SCOPED_TRACE(testing::Message() << seed << ", " << T0);
      const Best all = every_pair(state, s, T0);
      const JointGains got = choose_gains(state, s.question(T0));
      const double best = *std::min_element(std::begin(all.of_pitch), std::end(all.of_pitch));
      // Predicted gains and their products with corrections are floats in a decoder.
      EXPECT_NEAR(got.error, best, 1e-4 * best);
      EXPECT_NEAR(all.of_pitch[got.pitch], best, 1e-4 * best);
      ++seen[static_cast<std::size_t>(got.pitch)];
      sharpened += T0 < 80 && got.pitch > 0 ? 1 : 0;
    }
  }
  EXPECT_GT(sharpened, 20);
  EXPECT_GT(std::count_if(seen.begin(), seen.end(), [](int n) { return n > 0; }), 12);
}

TEST(JointGains, OfSilenceAndOfNoNumbersAreGains) {
  const std::vector<float> zeros(80);
  const JointGains silent =
      choose_gains({}, {zeros.data(), zeros.data(), zeros.data(), zeros.data(), 40});
  EXPECT_EQ(silent.pitch, 0);
  EXPECT_EQ(silent.error, 0.0);
  Subframe s(1);
  s.xn[3] = std::numeric_limits<float>::quiet_NaN();
  const JointGains none = choose_gains({}, s.question(40));
  EXPECT_EQ(none.pitch, 0);
  EXPECT_TRUE(std::isnan(none.error));
  s.xn[3] = std::numeric_limits<float>::infinity();
  EXPECT_GE(choose_gains({}, s.question(40)).pitch, 0);
}

}  // namespace
}  // namespace quel::wideband
