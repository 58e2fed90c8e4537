#include "wideband/gain_tables16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "support/signals.h"

namespace quel::wideband {
namespace {

using Energies = std::array<float, 2>;

TEST(GainTables16, PredictionInNumbers) {
  // 19 + 0.8 * 5 + 0.6 * -10 - 7 = 10 dB.
  EXPECT_FLOAT_EQ(predicted_code_gain({5.0f, -10.0f}, 7.0f), std::sqrt(10.0f));
  EXPECT_EQ(predicted_code_gain({0.0f, 0.0f}, 19.0f), 1.0f);
}

// The encoder's and the decoder's choice of gains rests on this rounding.
TEST(GainTables16, PredictionInDecibelsIsRoundedToFloat) {
  test::Random random(1);
  int unrounded_differ = 0;
  for (int run = 0; run < 1000; ++run) {
    const Energies past = {static_cast<float>(random.uniform(-20.0, 20.0)),
                           static_cast<float>(random.uniform(-20.0, 20.0))};
    const auto energy = static_cast<float>(random.uniform(-30.0, 10.0));
    const double p = 19.0 + double{0.8f} * past[0] + double{0.6f} * past[1] - energy;
    const double rounded = static_cast<float>(p);
    const auto expected = static_cast<float>(std::pow(10.0, rounded / 20.0));
    EXPECT_EQ(predicted_code_gain(past, energy), expected);
    unrounded_differ += static_cast<float>(std::pow(10.0, p / 20.0)) != expected ? 1 : 0;
  }
  EXPECT_GT(unrounded_differ, 100);
}

TEST(GainTables16, EnergyOfACodeIsRoundedToFloat) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto code = test::noise(80, seed, 0.4);
    double sum = 0.01;
    for (const double v : code) sum += v * v;
    EXPECT_EQ(code_energy(code.data(), 80), static_cast<float>(10.0 * std::log10(sum / 80.0)));
  }
}

TEST(GainTables16, CorrectionsInDecibelsAreRoundedToFloat) {
  for (int index = 0; index < 32; ++index) {
    const double row = qua_gain_code[static_cast<std::size_t>(index)];
    EXPECT_EQ(code_gain_db(index), static_cast<float>(20.0 * std::log10(row)));
  }
}

}  // namespace
}  // namespace quel::wideband
