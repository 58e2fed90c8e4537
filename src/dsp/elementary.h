#pragma once

#include <bit>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <limits>

// Elementary functions whose every bit is the same on every platform. C libraries differ in the
// last bit of theirs; rounding to float hides that nearly always, and the rare rest would let two
// builds of one codec drift apart. These use only + - * /, the square root, integers and the layout
// of IEEE doubles, none of which leaves a platform any choice while expressions are neither
// contracted nor reassociated and rounding is to nearest.
//
// Error bounds count in u = 2^-53: a result is rounded by at most u of its value, and by at most
// 2^(k-1) u where it is below 2^k. Products of errors are left out, which the slack in each stated
// bound covers many times over.
#ifdef __FAST_MATH__
#error "quelcodec: no -ffast-math; it gives other bits with every compiler and processor"
#endif
// 16 leaves float and double alone too; it speaks of half precision.
static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 16,
              "quelcodec: float must be computed as float and double as double; "
              "on 32-bit x86 compile with -msse2 -mfpmath=sse, not for the x87");

namespace quel {
namespace detail {

inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// c[0] + c[1] x + ... + c[n-1] x^(n-1).
template <std::size_t n>
constexpr double polynomial(const double (&c)[n], double x) {
  double sum = c[n - 1];
  for (std::size_t i = n - 1; i > 0; --i) sum = sum * x + c[i - 1];
  return sum;
}

/// The nearest integer, either one where x is next to midway; |x| < 2^31.
constexpr std::int32_t nearest(double x) {
  return static_cast<std::int32_t>(x < 0.0 ? x - 0.5 : x + 0.5);
}

/// 2^k, k = -1022..1023.
constexpr double power_of_2(std::int32_t k) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(k + 1023) << 52);
}

// Constants in two parts: the high one so short that its product with any integer in question is
// exact, the low one to carry on where it ends.
inline constexpr double half_pi_high = 0x1.921fb544p+0;  // 33 bits
inline constexpr double half_pi_low = 0x1.0b4611a626331p-34;
inline constexpr double ln_2_high = 0x1.62e42fefa38p-1;  // 42 bits
inline constexpr double ln_2_low = 0x1.ef35793c7673p-45;

// Taylor coefficients.
inline constexpr double cosine_series[] = {  // (cos r - 1) / r^2 by powers of r^2
    -1.0 / 2,       1.0 / 24,        -1.0 / 720,         1.0 / 40320,
    -1.0 / 3628800, 1.0 / 479001600, -1.0 / 87178291200, 1.0 / 20922789888000};
inline constexpr double sine_series[] = {  // (sin r - r) / r^3 by powers of r^2
    -1.0 / 6,        1.0 / 120,        -1.0 / 5040,          1.0 / 362880,
    -1.0 / 39916800, 1.0 / 6227020800, -1.0 / 1307674368000, 1.0 / 355687428096000};
inline constexpr double exponential_series[] = {  // (e^r - 1 - r) / r^2 by powers of r
    1.0 / 2,     1.0 / 6,      1.0 / 24,      1.0 / 120,      1.0 / 720,       1.0 / 5040,
    1.0 / 40320, 1.0 / 362880, 1.0 / 3628800, 1.0 / 39916800, 1.0 / 479001600, 1.0 / 6227020800};

inline constexpr double log10_2_high = 0x1.34413509f78p-2;  // 42 bits
inline constexpr double log10_2_low = 0x1.fef311f12b358p-46;

// (artanh s - s) / s^3 by powers of s^2.
inline constexpr double artanh_series[] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9,  1.0 / 11,
                                           1.0 / 13, 1.0 / 15, 1.0 / 17, 1.0 / 19, 1.0 / 21};

/// 2^k e^r, |r| < 0.3467, k = -1021..1023.
///
/// Off by at most 1.6 u of its value, errors of r apart. The series stops before r^14 / 14!, 5e-18
/// or 0.05 u. What follows r, below 0.07, is good to 4 roundings, 0.28 u; adding r, to below 1/2,
/// rounds by 0.25 u; adding 1 by 1 u to 1 or more, else by 0.5 u to 0.7 or more. Scaling is exact,
/// since nothing here is subnormal.
constexpr double scaled_exponential(double r, std::int32_t k) {
  return (1.0 + (r + r * r * polynomial(exponential_series, r))) * power_of_2(k);
}

}  // namespace detail

/// cos(x), x in radians; within -1..1, and 1 at 0.
///
/// Off by at most 2e-16 where |x| <= 65536. Beyond, where no angle of a codec lies, the result is
/// 1; NaN for NaN and infinities.
///
/// With |x| = n pi/2 + r, |r| < 0.7855: n times the high part is exact, and so is its difference
/// from |x|, a multiple of 2^-53 below 1; the low part is good to 2^-70, and r is rounded by 0.5 u.
/// n even: the error of r costs 0.36 u (times sin r). r^2 is rounded by 0.62 u, which costs half;
/// the polynomial, within -1/2..-0.47, is good to 0.35 u, times r^2 0.22 u; their product, below
/// 0.3, is rounded by 0.25 u and the result by 0.5 u. The series stops before r^18 / 18!, 0.02 u.
/// In all 1.7 u.
/// n odd: the error of r costs 0.5 u. What is added to r, below 0.08, is good to 5 roundings,
/// 0.4 u; the result is rounded by 0.5 u. The series stops before r^19 / 19!. In all 1.4 u.
constexpr double cosine(double x) {
  constexpr double two_over_pi = 0x1.45f306dc9c883p-1;
  const double magnitude = x < 0.0 ? -x : x;
  if (!(magnitude < detail::infinity)) return detail::not_a_number;
  if (magnitude > 65536.0) return 1.0;
  const std::int32_t n = detail::nearest(magnitude * two_over_pi);
  const double r = (magnitude - n * detail::half_pi_high) - n * detail::half_pi_low;
  const double r2 = r * r;
  if (n % 2 == 0) {
    const double cos_r = 1.0 + r2 * detail::polynomial(detail::cosine_series, r2);
    return n % 4 == 0 ? cos_r : -cos_r;
  }
  const double sin_r = r + r * r2 * detail::polynomial(detail::sine_series, r2);
  return n % 4 == 1 ? -sin_r : sin_r;
}

/// e^x; 1 at 0.
///
/// Off by at most 2.5e-16 of its value where -708 <= x <= 709; 0 below, infinity above, NaN for
/// NaN.
///
/// With x = k ln 2 + r: k times the high part is exact, and so is its difference from x, a multiple
/// of 2^-54 below 1/2; the low part is good to 2^-80, and r is rounded by 0.25 u. In all 1.9 u.
constexpr double exponential(double x) {
  constexpr double one_over_ln_2 = 0x1.71547652b82fep+0;
  if (!(x >= -708.0)) return x < 0.0 ? 0.0 : x;
  if (x > 709.0) return detail::infinity;
  const std::int32_t k = detail::nearest(x * one_over_ln_2);
  return detail::scaled_exponential((x - k * detail::ln_2_high) - k * detail::ln_2_low, k);
}

/// 10^x; 1 at 0.
///
/// Off by at most 3e-16 of its value where -307 <= x <= 308; 0 below, infinity above, NaN for NaN.
double power_of_10(double x);

/// log10(x); k at 10^k, k = 0..22, the powers that a double holds.
///
/// Off by at most 8e-16 of its value. -infinity for 0, infinity for infinity, NaN below 0 and for
/// NaN.
///
/// With x = 2^e m, m within sqrt(1/2)..sqrt(2), and s = (m - 1) / (m + 1), |s| < 0.1716, ln m is
/// 2 artanh s. m - 1 is exact, m + 1 and the quotient are rounded; so s is off by 2 u of its value.
/// What follows s is below 0.01 of it and good to 6 roundings; the sum, the constant and the
/// product bring 1 u each. The series stops before s^22 / 23, 7e-19. So log10(m), below 0.1506, is
/// off by 5.1 u of its value, which is all where e is 0. Otherwise the result is 0.1505 or
/// more: 5.1 u of 0.1506 and 0.13 u of adding the low part are 6 u of it, and the last rounding is
/// 1 u; e times the high part is exact. In all 7 u.
///
/// At 10^k the sum before its last rounding is off by less than 0.9 u, at 10 by less than 0.5 u
/// (1.25 + 1 is exact), and the doubles next to k are farther than twice that from it.
constexpr double log_10(double x) {
  constexpr double two_over_ln_10 = 0x1.bcb7b1526e50ep-1;
  constexpr double root_of_2 = 0x1.6a09e667f3bcdp+0;
  constexpr double smallest_normal = 0x1p-1022;
  if (!(x > 0.0)) return x == 0.0 ? -detail::infinity : detail::not_a_number;
  if (x == detail::infinity) return x;
  std::int32_t e = 0;
  if (x < smallest_normal) {
    x *= 0x1p54;
    e = -54;
  }
  constexpr std::uint64_t fraction = (std::uint64_t{1} << 52) - 1;
  const auto word = std::bit_cast<std::uint64_t>(x);
  e += static_cast<std::int32_t>(word >> 52) - 1023;
  double m = std::bit_cast<double>((word & fraction) | std::bit_cast<std::uint64_t>(1.0));
  if (m > root_of_2) {
    m *= 0.5;
    ++e;
  }
  const double s = (m - 1.0) / (m + 1.0);
  const double s2 = s * s;
  const double log10_m =
      two_over_ln_10 * (s + s * s2 * detail::polynomial(detail::artanh_series, s2));
  return e * detail::log10_2_high + (e * detail::log10_2_low + log10_m);
}

/// acos(x); 0, pi/2 and pi (as near as a double is) at 1, 0 and -1.
///
/// Off by at most 3e-16 of its value. NaN beyond -1..1 and for NaN.
double arc_cosine(double x);

}  // namespace quel
