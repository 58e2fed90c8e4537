#include "narrowband/postfilter_5k.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Doubles = std::vector<double>;
constexpr std::size_t M = 10, L = 48;

// The whole signal at once, in double.
struct Plain {
  Doubles synthesis, residual, out;
  int strengthened = 0, left = 0;

  Plain(const std::vector<float>& A, const std::vector<int>& lags, const std::vector<float>& x)
      : synthesis(x.size()), residual(x.size()), out(x.size()) {
    const auto a = [&](std::size_t i, double gamma) { return A[i] * std::pow(gamma, double(i)); };
    const auto at = [](const Doubles& y, std::ptrdiff_t n) {
      return n < 0 ? 0.0 : y[static_cast<std::size_t>(n)];
    };
    for (std::size_t n = 0; n < x.size(); ++n) {
      const auto now = static_cast<std::ptrdiff_t>(n);
      synthesis[n] = x[n];
      for (std::size_t i = 1; i <= M; ++i) {
        synthesis[n] -= A[i] * at(synthesis, now - static_cast<std::ptrdiff_t>(i));
      }
      for (std::size_t i = 0; i <= M; ++i) {
        residual[n] += a(i, 0.70) * at(synthesis, now - static_cast<std::ptrdiff_t>(i));
      }
    }
    // The formant filter's response, and its first reflection coefficient.
    Doubles h(22);
    for (std::size_t n = 0; n < h.size(); ++n) {
      h[n] = n <= M ? a(n, 0.70) : 0.0;
      for (std::size_t i = 1; i <= std::min(n, M); ++i) h[n] -= a(i, 0.60) * h[n - i];
    }
    double r0 = 0.0, r1 = 0.0;
    for (std::size_t n = 0; n < h.size(); ++n) {
      r0 += h[n] * h[n];
      r1 += n > 0 ? h[n] * h[n - 1] : 0.0;
    }
    Doubles formant(x.size());
    for (std::size_t s = 0; s < lags.size(); ++s) {
      const auto from = static_cast<std::ptrdiff_t>(s * L);
      const auto dot = [&](std::ptrdiff_t t, std::ptrdiff_t u) {
        double sum = 0.0;
        for (std::ptrdiff_t n = from; n < from + 48; ++n) {
          sum += at(residual, n - t) * at(residual, n - u);
        }
        return sum;
      };
      double best = 0.0;
      int lag = 0;
      for (int t = lags[s] - 3; t <= std::min(lags[s] + 3, 146); ++t) {
        const double taken = dot(0, t) > 0.0 ? dot(0, t) * dot(0, t) / dot(t, t) : 0.0;
        if (taken > best) {
          best = taken;
          lag = t;
        }
      }
      const double likeness = lag > 0 ? best / dot(0, 0) : 0.0;
      const double g = likeness > 0.5 ? 0.3 * likeness : 0.0;
      ++(g > 0.0 ? strengthened : left);
      for (std::ptrdiff_t n = from; n < from + 48; ++n) {
        const auto i = static_cast<std::size_t>(n);
        formant[i] = (residual[i] + g * at(residual, n - lag)) / (1.0 + g);
        for (std::size_t k = 1; k <= M; ++k) {
          formant[i] -= a(k, 0.60) * at(formant, n - static_cast<std::ptrdiff_t>(k));
        }
        out[i] = formant[i] - 0.5 * r1 / r0 * at(formant, n - 1);
      }
    }
  }
};

/// Noise that turns into a pulse train.
std::vector<float> excitation(std::size_t n, std::size_t period, unsigned seed) {
  auto x = test::noise(static_cast<int>(n), seed, 300.0);
  for (std::size_t i = n / 3; i < n; ++i) x[i] = 0.3f * x[i] + (i % period == 5 ? 3000.0f : 0.0f);
  return x;
}

TEST(EnhancedPostfilter, IsItsFiltersAtTheReferencesLevel) {
  int strengthened = 0, left = 0;
  for (unsigned seed = 0; seed < 8; ++seed) {
    SCOPED_TRACE(seed);
    auto A = test::stable_filter(10, seed);
    for (std::size_t i = 0; i <= M; ++i) A[i] *= static_cast<float>(std::pow(0.95, double(i)));
    const std::size_t period = 30 + 15 * seed, subframes = 40;
    const auto x = excitation(L * subframes, period, seed);
    const std::vector<int> lags(subframes, static_cast<int>(period) + static_cast<int>(seed % 3));
    const Plain plain(A, lags, x);
    strengthened += plain.strengthened;
    left += plain.left;
    EnhancedPostfilter state;
    init_enhanced_postfilter(state);
    double gain = 1.0;
    for (std::size_t s = 0; s < subframes; ++s) {
      std::array<float, L> reference, out;
      double loud = 0.0, own = 0.0;
      for (std::size_t n = 0; n < L; ++n) {
        reference[n] = static_cast<float>(2.0 * plain.synthesis[s * L + n]);
        loud += std::pow(reference[n], 2);
        own += std::pow(plain.out[s * L + n], 2);
      }
      postfilter_enhanced(state, A.data(), lags[s], x.data() + s * L, reference.data(), out.data());
      for (std::size_t n = 0; n < L; ++n) {
        gain = 0.985 * gain + 0.015 * std::sqrt(loud / own);
        // Floats of some thousands through three filters.
        ASSERT_NEAR(out[n], gain * plain.out[s * L + n], 0.5) << s << ", " << n;
      }
    }
  }
  EXPECT_GT(strengthened, 50);
  EXPECT_GT(left, 50);
}

TEST(EnhancedPostfilter, SilenceStaysSilent) {
  const std::vector<float> flat{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, zeros(L);
  EnhancedPostfilter state;
  init_enhanced_postfilter(state);
  for (const int lag : {20, 143}) {
    std::vector<float> out(L, 1.0f);
    postfilter_enhanced(state, flat.data(), lag, zeros.data(), zeros.data(), out.data());
    EXPECT_EQ(out, zeros);
  }
}

TEST(EnhancedPostfilter, ResetLeavesItOn) {
  EnhancedPostfilter state;
  state.on = true;
  state.last = 3.0f;
  state.residual.fill(1.0f);
  init_enhanced_postfilter(state);
  EXPECT_TRUE(state.on);
  EXPECT_EQ(state.last, 0.0f);
  EXPECT_EQ(state.residual, EnhancedPostfilter().residual);
  EXPECT_EQ(state.gain_control.gain_prec, 1.0f);
}

}  // namespace
}  // namespace quel
