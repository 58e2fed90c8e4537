#include "wideband/listener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "support/signals.h"
#include "wideband/autocorr16.h"

namespace quel::wideband {
namespace {

using Doubles = std::vector<double>;

// Windowed and lag-windowed correlations of a frame after 1 - 0.9/z, by the formulas.
Doubles correlations(const float* x) {
  Doubles y(480), r(17);
  for (int n = 0; n < 480; ++n) {
    const double w = n < 400 ? 0.54 - 0.46 * std::cos(2 * std::numbers::pi * n / 799)
                             : std::cos(2 * std::numbers::pi * (n - 400) / 319);
    y[static_cast<std::size_t>(n)] = w * (x[n] - 0.9 * x[n - 1]);
  }
  for (std::size_t k = 0; k <= 16; ++k) {
    for (std::size_t n = k; n < 480; ++n) r[k] += y[n] * y[n - k];
    r[k] *= std::exp(-0.5 * std::pow(2 * std::numbers::pi * 60 * double(k) / 16000, 2));
  }
  r[0] = 1.00003 * std::max(r[0], 1.0);
  return r;
}

// What a predictor leaves of a signal with these correlations, over what the best one leaves.
double residual_energy(const Doubles& r, const float* B, double gamma) {
  double energy = 0.0;
  for (std::size_t i = 0; i <= 16; ++i) {
    for (std::size_t j = 0; j <= 16; ++j) {
      const double bi = B[i] / std::pow(gamma, i), bj = B[j] / std::pow(gamma, j);
      energy += bi * bj * r[i > j ? i - j : j - i];
    }
  }
  return energy;
}

double least_residual(const Doubles& r) {
  Doubles a(17);
  a[0] = 1.0;
  double error = r[0];
  for (std::size_t i = 1; i <= 16; ++i) {
    double sum = 0.0;
    for (std::size_t j = 0; j < i; ++j) sum += a[j] * r[i - j];
    const Doubles last = a;
    for (std::size_t j = 1; j <= i; ++j) a[j] = last[j] - sum / error * last[i - j];
    error -= sum * sum / error;
  }
  return error;
}

TEST(FollowSound, FiltersAreThePredictorOfTheSoundWithItsRootsMovedInwards) {
  for (unsigned seed = 0; seed < 10; ++seed) {
    SCOPED_TRACE(seed);
    const auto x = test::speech_like(481 + 160, seed, 16000.0);
    Listener listener;
    follow_sound(listener, x.data() + 1, lag_window16.data());
    const Doubles last = correlations(x.data() + 1);
    follow_sound(listener, x.data() + 161, lag_window16.data());
    const Doubles now = correlations(x.data() + 161);
    Doubles between(17);
    for (std::size_t k = 0; k <= 16; ++k) between[k] = 0.5 * last[k] + 0.5 * now[k];
    int subframe = 0;
    for (const Doubles& r : {between, now}) {
      const float* zeros = listener.zeros.data() + 17 * subframe;
      const float* poles = listener.poles.data() + 17 * subframe++;
      // Correlations, and the recursion's results, are floats.
      EXPECT_LT(residual_energy(r, zeros, 0.95), 1.001 * least_residual(r));
      for (std::size_t i = 0; i <= 16; ++i) {
        EXPECT_NEAR(poles[i], zeros[i] * std::pow(0.4 / 0.95, i), 1e-5);
      }
    }
  }
}

TEST(FollowSound, SilenceLeavesErrorsAsTheyAre) {
  const std::vector<float> x(481);
  Listener listener;
  for (int frame = 0; frame < 2; ++frame) {
    follow_sound(listener, x.data() + 1, lag_window16.data());
  }
  for (const auto* filters : {&listener.zeros, &listener.poles}) {
    for (std::size_t i = 0; i < 34; ++i) EXPECT_EQ((*filters)[i], i % 17 == 0 ? 1.0f : 0.0f);
  }
}

struct Way {
  std::vector<float> synthesis, prefilter, zeros, poles;
  explicit Way(unsigned seed)
      : synthesis(damped(seed, 0.9)),
        prefilter(damped(seed + 1, 0.5)),
        zeros(damped(seed + 2, 0.95)),
        poles(damped(seed + 2, 0.4)) {}
  ErrorPath path() const {
    return {synthesis.data(), prefilter.data(), zeros.data(), poles.data()};
  }

 private:
  static std::vector<float> damped(unsigned seed, double gamma) {
    auto a = test::stable_filter(16, seed);
    for (std::size_t i = 0; i <= 16; ++i) a[i] *= static_cast<float>(std::pow(gamma, i));
    return a;
  }
};

// The filters in double over any length, from silence; rows are what Heard has.
std::array<Doubles, 3> plain_way(const Way& way, const std::vector<float>& x) {
  const auto past = [](const Doubles& y, std::size_t n, std::size_t i) {
    return n >= i ? y[n - i] : 0.0;
  };
  std::array<Doubles, 3> y;
  for (auto& row : y) row.resize(x.size());
  for (std::size_t n = 0; n < x.size(); ++n) {
    y[0][n] = x[n];
    for (std::size_t i = 1; i <= 16; ++i) y[0][n] -= way.synthesis[i] * past(y[0], n, i);
    y[1][n] = y[0][n];
    for (std::size_t i = 1; i <= 16; ++i) y[1][n] -= way.prefilter[i] * past(y[1], n, i);
    for (std::size_t i = 0; i <= 16; ++i) y[2][n] += way.zeros[i] * past(y[1], n, i);
    for (std::size_t i = 1; i <= 16; ++i) y[2][n] -= way.poles[i] * past(y[2], n, i);
  }
  return y;
}

double peak(const Doubles& y) {
  double most = 0.0;
  for (const double v : y) most = std::max(most, std::fabs(v));
  return most;
}

TEST(Hear, IsTheFiltersOneAfterTheOther) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const Way way(seed);
    // Two subframes: what is coded as the first leaves an error, with which the second begins.
    const auto residual = test::noise(160, seed), coded = test::noise(80, seed + 50);
    std::vector<float> input(residual);
    for (std::size_t n = 0; n < 80; ++n) input[n] -= coded[n];
    const auto wanted = plain_way(way, input);

    Heard first, impulse, second, again;
    hear_with_impulse(way.path(), {}, residual.data(), first, impulse);
    std::array<float, 80> error;
    for (std::size_t n = 0; n < 80; ++n) {
      double sum = first.weighted[n];
      for (std::size_t i = 0; i <= n; ++i) {
        sum -= static_cast<double>(coded[i]) * impulse.weighted[n - i];
      }
      error[n] = static_cast<float>(sum);
    }
    const ErrorMemory memory = heard_error(first, impulse, coded.data(), error.data());
    hear(way.path(), memory, residual.data() + 80, second);
    const std::array<const float*, 3> got = {second.synthesis.data(), second.prefilter.data(),
                                             second.weighted.data()};
    for (std::size_t row = 0; row < 3; ++row) {
      // Float filters, and responses cut at the subframe's end, where no more of them is wanted.
      const double tolerance = 1e-4 * peak(wanted[row]);
      for (std::size_t n = 0; n < 80; ++n) {
        ASSERT_NEAR(got[row][n], wanted[row][80 + n], tolerance) << row << ", " << n;
      }
    }
    hear_with_impulse(way.path(), memory, residual.data() + 80, again, impulse);
    EXPECT_EQ(again.weighted, second.weighted);
    EXPECT_EQ(again.synthesis, second.synthesis);
    EXPECT_EQ(impulse.weighted[0], 1.0f);
  }
}

}  // namespace
}  // namespace quel::wideband
