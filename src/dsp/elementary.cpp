#include "dsp/elementary.h"

#include <cmath>

namespace quel {
namespace {

using detail::polynomial;

struct ArcSineSeries {
  double c[23];
};

// (arcsin s - s) / s^3 by powers of s^2: binomial(2 n, n) / (4^n (2 n + 1)), n = 1, 2, ...
constexpr ArcSineSeries arc_sine_coefficients() {
  ArcSineSeries series{};
  double share = 1.0;  // binomial(2 n, n) / 4^n
  double odd = 1.0;    // 2 n + 1
  for (double& c : series.c) {
    share = share * odd / (odd + 1.0);
    odd += 2.0;
    c = share / odd;
  }
  return series;
}

constexpr ArcSineSeries arc_sine_series = arc_sine_coefficients();

// arcsin s - s, where s2 is s^2 and |s| <= 1/2: below 0.024. Off by 5 roundings, 0.12 u, errors of
// s apart; the series stops before 0.0023 s^49, 6e-18 with all that follows.
double arc_sine_rest(double s, double s2) {
  return s * s2 * polynomial(arc_sine_series.c, s2);
}

// pi/2 - arcsin s. Off by 0.12 u of the rest, 0.5 u of its sum with s and 1 u (from 2 on 2 u) of
// the difference, errors of s apart.
double arc_sine_complement(double s, double s2) {
  constexpr double half_pi = 0x1.921fb54442d18p+0;
  constexpr double beyond = 0x1.1a62633145c07p-54;
  return half_pi - (s + (arc_sine_rest(s, s2) - beyond));
}

}  // namespace

// With x = k log10(2) + d: k times the high part is exact, and so is its difference from x, a
// multiple of 2^-55 below 1/4; the low part is good to 2^-80, and d is rounded by 0.13 u. Times
// ln 10 this is 0.29 u; the constant's own error brings 0.35 u and the product's rounding 0.25 u.
// With the 1.6 u of the exponential 2.5 u.
double power_of_10(double x) {
  constexpr double log2_10 = 0x1.a934f0979a371p+1;
  constexpr double ln_10 = 0x1.26bb1bbb55516p+1;
  if (!(x >= -307.0)) return x < 0.0 ? 0.0 : x;
  if (x > 308.0) return detail::infinity;
  const std::int32_t k = detail::nearest(x * log2_10);
  const double d = (x - k * detail::log10_2_high) - k * detail::log10_2_low;
  return detail::scaled_exponential(d * ln_10, k);
}

// Up to 1/2 in magnitude the complement of the arc sine: 1.7 u off where the result is below 2,
// else 2.7 u, which is 1.7 u of its value. Beyond, by half the angle's sine s, whose square is
// exact; s is rounded by 1 u of its value, its arc sine, at most pi/6, then off by 1.2 u of its
// own. x > 0: the rest brings 0.23 u of the value, the sum 1 u. In all 2.5 u. x < 0: s, up to 1/2,
// is off by 0.25 u, its arc sine by 0.3 u, the complement by 2 u, the result by 4 u, which is 2 u
// of its value.
double arc_cosine(double x) {
  if (x > 0.5) {
    const double s2 = (1.0 - x) * 0.5;
    const double s = std::sqrt(s2);
    return 2.0 * (s + arc_sine_rest(s, s2));
  }
  if (x < -0.5) {
    const double s2 = (1.0 + x) * 0.5;
    return 2.0 * arc_sine_complement(std::sqrt(s2), s2);
  }
  return arc_sine_complement(x, x * x);
}

}  // namespace quel
