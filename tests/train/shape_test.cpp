#include "train/shape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "support/signals.h"
#include "train/isf_trainer.h"
#include "train/lsf_trainer.h"

namespace quel::train {
namespace {

// Rising frequencies with the spacing of speech, around the quantiser's means.
std::vector<float> some_frequencies(const SpectrumQuantizer& q, test::Random& random) {
  std::vector<float> f = q.mean;
  for (float& x : f) x += static_cast<float>(random.uniform(-60.0, 60.0));
  return f;
}

using Polynomial = std::vector<double>;

Polynomial product(const Polynomial& a, const Polynomial& b) {
  Polynomial c(a.size() + b.size() - 1);
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t k = 0; k < b.size(); ++k) c[i + k] += a[i] * b[k];
  }
  return c;
}

// The filter in double: the codec's own rounds coefficients, which a thousandth of the distortion
// shows.
Polynomial plain_filter(const SpectrumForm& form, const std::vector<float>& f) {
  Polynomial half[2] = {{1.0}, {1.0}};
  const std::size_t roots = form.immittance ? f.size() - 1 : f.size();
  for (std::size_t i = 0; i < roots; ++i) {
    const double angle = std::numbers::pi * f[i] / form.half_rate;
    half[i % 2] = product(half[i % 2], {1.0, -2.0 * std::cos(angle), 1.0});
  }
  double share[2] = {0.5, 0.5};
  if (form.immittance) {
    half[1] = product(half[1], {1.0, 0.0, -1.0});
    const double last = f.back() / double{form.last_scale};
    share[0] *= 1.0 + last;
    share[1] *= 1.0 - last;
  } else {
    half[0] = product(half[0], {1.0, 1.0});
    half[1] = product(half[1], {1.0, -1.0});
  }
  Polynomial a(half[0].size());
  for (std::size_t i = 0; i < a.size(); ++i) a[i] = share[0] * half[0][i] + share[1] * half[1][i];
  return a;
}

double plain_power(const Polynomial& a, double angle) {
  std::complex<double> sum = 0.0;
  for (std::size_t k = 0; k < a.size(); ++k) {
    sum += a[k] * std::polar(1.0, -angle * static_cast<double>(k));
  }
  return std::norm(sum);
}

double plain_distortion(const SpectrumForm& form, const std::vector<float>& f,
                        const std::vector<float>& g) {
  const Polynomial a = plain_filter(form, f);
  const Polynomial b = plain_filter(form, g);
  double sum = 0.0;
  for (int j = 0; j < 160; ++j) {
    const double angle = std::numbers::pi * (j + 0.5) / 160.0;
    const double dB = 10.0 * std::log10(plain_power(a, angle) / plain_power(b, angle));
    sum += dB * dB;
  }
  return sum / 160.0;
}

class Shape : public testing::TestWithParam<bool> {
 protected:
  const SpectrumQuantizer q = GetParam() ? isf_quantizer() : lsf_quantizer();
};

TEST_P(Shape, DistortionIsThatOfTheFilters) {
  test::Random random(1);
  for (int i = 0; i < 50; ++i) {
    const auto wanted = some_frequencies(q, random);
    const auto coded = some_frequencies(q, random);
    ShapePoints power{};
    power_of_shape(q.form, wanted.data(), power);
    const double plain = plain_distortion(q.form, wanted, coded);
    // Single precision of cosines, where two roots are 50 Hz apart.
    EXPECT_NEAR(expand_distortion(q.form, power, coded.data()).distortion, plain,
                1e-4 * plain + 1e-5);
  }
}

TEST_P(Shape, SlopesAreThoseOfTheDistortion) {
  test::Random random(2);
  for (int n = 0; n < 20; ++n) {
    const auto wanted = some_frequencies(q, random);
    auto coded = some_frequencies(q, random);
    ShapePoints power{};
    power_of_shape(q.form, wanted.data(), power);
    const Expansion at = expand_distortion(q.form, power, coded.data());
    double greatest = 0.0;
    for (const float v : at.slope) greatest = std::max(greatest, std::abs(double{v}));
    for (std::size_t i = 0; i < coded.size(); ++i) {
      constexpr float step = 1.0f;  // Hz: a hundredth of the spacing, far above single precision
      const float middle = coded[i];
      coded[i] = middle + step;
      const double above = expand_distortion(q.form, power, coded.data()).distortion;
      coded[i] = middle - step;
      const double below = expand_distortion(q.form, power, coded.data()).distortion;
      coded[i] = middle;
      // By the error, which falls as the frequency rises. The third derivative leaves some.
      EXPECT_NEAR(at.slope[i], (below - above) / 2.0, 0.01 * greatest) << i;
    }
  }
}

TEST_P(Shape, SensitivityIsTheDistortionOfASmallError) {
  test::Random random(3);
  for (int n = 0; n < 20; ++n) {
    const auto f = some_frequencies(q, random);
    ShapePoints power{};
    power_of_shape(q.form, f.data(), power);
    const Expansion at = expand_distortion(q.form, power, f.data());
    EXPECT_NEAR(at.distortion, 0.0, 1e-9);
    for (std::size_t i = 0; i < f.size(); ++i) {
      auto moved = f;
      moved[i] += 1.0f;
      const double measured = expand_distortion(q.form, power, moved.data()).distortion;
      EXPECT_NEAR(at.sensitivity[i], measured, 0.05 * measured) << i;  // first order only
    }
  }
}

TEST_P(Shape, StaysFiniteWhereARootMeetsTheGrid) {
  for (int j = 0; j < 160; ++j) {  // cosines are rounded: some roots meet it exactly
    std::vector<float> f = q.mean;
    f[0] = q.form.half_rate / 160.0f * (static_cast<float>(j) + 0.5f);
    ShapePoints power{};
    power_of_shape(q.form, f.data(), power);
    const Expansion at = expand_distortion(q.form, power, f.data());
    for (std::size_t i = 0; i < f.size(); ++i) {
      EXPECT_TRUE(std::isfinite(at.slope[i])) << j << ' ' << i;
      EXPECT_TRUE(std::isfinite(at.sensitivity[i])) << j << ' ' << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, Shape, testing::Values(false, true),
                         [](const auto& form) { return form.param ? "Immittance" : "Line"; });

}  // namespace
}  // namespace quel::train
