#include "dsp/elementary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Where long double is no wider than double, the reference itself is off by up to 2^-52.
constexpr double reference_error = std::numeric_limits<long double>::digits > 53 ? 0.0 : 0x1p-52;

// Uniform in lo..hi with all bits of the fraction in play.
double any_of(Random& random, double lo, double hi) {
  const double fine = random.bits() / 4294967296.0 / 4294967296.0;
  return lo + (hi - lo) * (random.bits() / 4294967296.0 + fine);
}

using Function = double (*)(double);
using Reference = long double (*)(long double);

enum class Error { absolute, relative };

struct Range {
  double lo, hi;
};

double worst_error(Error kind, Function f, Reference exact, const std::vector<Range>& ranges) {
  Random random(1);
  double worst = 0.0;
  for (const Range& range : ranges) {
    for (int i = 0; i < 5000; ++i) {
      const double x = any_of(random, range.lo, range.hi);
      const long double y = exact(x);
      const long double scale = kind == Error::relative && y != 0.0L ? y : 1.0L;
      const auto error = static_cast<double>(std::fabs((f(x) - y) / scale));
      if (!(error <= worst)) worst = error;  // no number is the worst of all
      if (std::isnan(worst)) return worst;
    }
  }
  return worst;
}

long double exact_cosine(long double x) {
  return std::cos(x);
}

long double exact_arc_cosine(long double x) {
  return std::acos(x);
}

long double exact_exponential(long double x) {
  return std::exp(x);
}

long double exact_power_of_10(long double x) {
  return std::pow(10.0L, x);
}

// log10 at places spread evenly over the exponents.
double log_10_of_exp(double t) {
  return log_10(std::exp(t));
}

long double exact_log_10_of_exp(long double t) {
  return std::log10(static_cast<long double>(std::exp(static_cast<double>(t))));
}

TEST(Cosine, StaysWithinItsBound) {
  EXPECT_LE(worst_error(Error::absolute, cosine, exact_cosine, {{-7, 7}, {-65536, 65536}}),
            2e-16 + reference_error);
}

TEST(Cosine, StaysWithinItsBoundNextToMultiplesOfAnEighthTurn) {
  // There the reduction changes sides or the result vanishes.
  const double bound = 2e-16 + 0x1p-53 + reference_error;  // the expected value is rounded too
  for (int n = -20; n <= 20; ++n) {
    double x = n * std::numbers::pi / 4 - 1e-9;
    for (int step = 0; step < 100; ++step, x += 2e-11) {
      EXPECT_NEAR(cosine(x), static_cast<double>(exact_cosine(x)), bound) << x;
    }
  }
}

TEST(Cosine, StaysWithinTheUnitInterval) {
  Random random(4);
  for (int n = 0; n < 100; ++n) {
    for (int i = 0; i < 200; ++i) {
      const double x = n * std::numbers::pi + random.uniform(-1e-7, 1e-7);
      EXPECT_LE(std::fabs(cosine(x)), 1.0) << x;
    }
  }
}

TEST(Cosine, IsEvenAndOneAtZero) {
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_EQ(cosine(-0.0), 1.0);
  Random random(5);
  for (int i = 0; i < 1000; ++i) {
    const double x = any_of(random, 0.0, 100.0);
    EXPECT_EQ(cosine(-x), cosine(x));
  }
}

TEST(Cosine, HitsTheQuarterTurns) {
  EXPECT_EQ(cosine(std::numbers::pi), -1.0);
  EXPECT_EQ(cosine(2 * std::numbers::pi), 1.0);
  EXPECT_NEAR(cosine(std::numbers::pi / 2), 0x1.1a62633145c07p-54, 1e-26);  // what pi/2 rounds away
}

TEST(Cosine, IsDefinedForEveryDouble) {
  EXPECT_NE(cosine(65536.0), 1.0);
  EXPECT_EQ(cosine(std::nextafter(65536.0, infinity)), 1.0);
  EXPECT_EQ(cosine(-1e300), 1.0);
  EXPECT_EQ(cosine(std::numeric_limits<double>::denorm_min()), 1.0);
  EXPECT_TRUE(std::isnan(cosine(infinity)));
  EXPECT_TRUE(std::isnan(cosine(-infinity)));
  EXPECT_TRUE(std::isnan(cosine(nan)));
}

TEST(ArcCosine, StaysWithinItsBound) {
  const std::vector<Range> ranges = {{-1, 1},       {-1, -0.5},      {0.5, 1},
                                     {0.999999, 1}, {-1, -0.999999}, {-1e-9, 1e-9}};
  EXPECT_LE(worst_error(Error::relative, arc_cosine, exact_arc_cosine, ranges),
            3e-16 + reference_error);
}

TEST(ArcCosine, StaysWithinItsBoundAtEveryFloatNextToTheEnds) {
  const double bound = 3e-16 + 0x1p-53 + reference_error;  // the expected value is rounded too
  for (float x = 1.0f; x > 0.9999f; x = std::nextafter(x, 0.0f)) {
    const double near_0 = static_cast<double>(exact_arc_cosine(x));
    EXPECT_NEAR(arc_cosine(x), near_0, near_0 * bound);
    const double near_pi = static_cast<double>(exact_arc_cosine(-x));
    EXPECT_NEAR(arc_cosine(-x), near_pi, near_pi * bound);
  }
}

TEST(ArcCosine, JoinsItsThreeRangesInOrder) {
  for (const double seam : {-0.5, 0.5}) {
    const double before = arc_cosine(std::nextafter(seam, -1.0));
    const double after = arc_cosine(std::nextafter(seam, 1.0));
    EXPECT_GE(before, arc_cosine(seam));
    EXPECT_GE(arc_cosine(seam), after);
    EXPECT_NEAR(before, after, 2e-15);
  }
}

TEST(ArcCosine, HitsTheEndsAndTheMiddle) {
  EXPECT_EQ(arc_cosine(1.0), 0.0);
  EXPECT_EQ(arc_cosine(-1.0), std::numbers::pi);
  EXPECT_EQ(arc_cosine(0.0), std::numbers::pi / 2);
  EXPECT_EQ(arc_cosine(-0.0), std::numbers::pi / 2);
}

TEST(ArcCosine, HasNoValueBeyondOne) {
  for (const double x : {std::nextafter(1.0, 2.0), 2.0, infinity, nan}) {
    EXPECT_TRUE(std::isnan(arc_cosine(x))) << x;
    EXPECT_TRUE(std::isnan(arc_cosine(-x))) << x;
  }
}

TEST(ArcCosine, UndoesTheCosine) {
  Random random(6);
  for (int i = 0; i < 10000; ++i) {
    const double angle = any_of(random, 0.1, 3.0);
    // An error of the cosine counts 1 / sin(angle)-fold, 10 at most; 3e-16 of 3 comes on top.
    EXPECT_NEAR(arc_cosine(cosine(angle)), angle, 10 * 2e-16 + 1e-15);
  }
}

TEST(Exponential, StaysWithinItsBound) {
  const std::vector<Range> ranges = {{-1, 1}, {-20, 0}, {-708, 709}};
  EXPECT_LE(worst_error(Error::relative, exponential, exact_exponential, ranges),
            2.5e-16 + reference_error);
}

TEST(Exponential, IsDefinedForEveryDouble) {
  EXPECT_EQ(exponential(0.0), 1.0);
  EXPECT_EQ(exponential(-0.0), 1.0);
  EXPECT_GT(exponential(-708.0), 0.0);
  EXPECT_EQ(exponential(std::nextafter(-708.0, -infinity)), 0.0);
  EXPECT_EQ(exponential(-infinity), 0.0);
  EXPECT_LT(exponential(709.0), infinity);
  EXPECT_EQ(exponential(std::nextafter(709.0, infinity)), infinity);
  EXPECT_EQ(exponential(infinity), infinity);
  EXPECT_TRUE(std::isnan(exponential(nan)));
}

TEST(PowerOf10, StaysWithinItsBound) {
  const std::vector<Range> ranges = {{-1, 1}, {-40, 40}, {-307, 308}};
  EXPECT_LE(worst_error(Error::relative, power_of_10, exact_power_of_10, ranges),
            3e-16 + reference_error);
}

TEST(PowerOf10, IsDefinedForEveryDouble) {
  EXPECT_EQ(power_of_10(0.0), 1.0);
  EXPECT_EQ(power_of_10(-0.0), 1.0);
  EXPECT_GT(power_of_10(-307.0), 0.0);
  EXPECT_EQ(power_of_10(std::nextafter(-307.0, -infinity)), 0.0);
  EXPECT_EQ(power_of_10(-infinity), 0.0);
  EXPECT_LT(power_of_10(308.0), infinity);
  EXPECT_EQ(power_of_10(std::nextafter(308.0, infinity)), infinity);
  EXPECT_EQ(power_of_10(infinity), infinity);
  EXPECT_TRUE(std::isnan(power_of_10(nan)));
}

TEST(Log10, StaysWithinItsBound) {
  const std::vector<Range> ranges = {
      {-0.4, 0.4}, {-1e-9, 1e-9}, {-30, 60}, {-740, 709}};  // to subnormals
  EXPECT_LE(worst_error(Error::relative, log_10_of_exp, exact_log_10_of_exp, ranges),
            8e-16 + reference_error);
}

TEST(Log10, IsExactForTheExactPowersOfTen) {
  double power = 1.0;
  for (int k = 0; k <= 22; ++k, power *= 10.0) EXPECT_EQ(log_10(power), k);
}

TEST(Log10, RisesThroughItsSeams) {
  for (int e = -1074; e < 1023; ++e) {
    const double seam = std::ldexp(std::numbers::sqrt2, e);
    for (const double x : {seam, std::ldexp(1.0, e)}) {
      EXPECT_LE(log_10(std::nextafter(x, 0.0)), log_10(x)) << x;
      EXPECT_LE(log_10(x), log_10(std::nextafter(x, infinity))) << x;
    }
  }
}

TEST(Log10, IsDefinedForEveryDouble) {
  EXPECT_EQ(log_10(0.0), -infinity);
  EXPECT_EQ(log_10(-0.0), -infinity);
  EXPECT_EQ(log_10(infinity), infinity);
  EXPECT_NEAR(log_10(std::numeric_limits<double>::denorm_min()), -323.30621534311580, 1e-12);
  EXPECT_NEAR(log_10(std::numeric_limits<double>::max()), 308.25471555991674, 1e-12);
  EXPECT_TRUE(std::isnan(log_10(-1.0)));
  EXPECT_TRUE(std::isnan(log_10(-infinity)));
  EXPECT_TRUE(std::isnan(log_10(nan)));
}

TEST(Log10, UndoesThePowerOf10) {
  Random random(7);
  for (int i = 0; i < 10000; ++i) {
    const double x = any_of(random, -40.0, 40.0);
    // The power's relative error becomes an absolute one of 1.3e-16 here.
    EXPECT_NEAR(log_10(power_of_10(x)), x, 1.3e-16 + std::fabs(x) * 8e-16);
  }
}

constexpr std::array<double, 200> sweep(Function f, double first, double step) {
  std::array<double, 200> y{};
  double x = first;
  for (double& v : y) {
    v = f(x);
    x += step;
  }
  return y;
}

TEST(Elementary, TablesOfTheCompilerEqualValuesAtRunTime) {
  constexpr auto cosines = sweep(cosine, -10.0, 0.1);
  constexpr auto exponentials = sweep(exponential, -100.0, 1.3);
  const volatile double first[] = {-10.0, -100.0}, step[] = {0.1, 1.3};
  EXPECT_EQ(sweep(cosine, first[0], step[0]), cosines);
  EXPECT_EQ(sweep(exponential, first[1], step[1]), exponentials);
}

// Bits of f at 5000 places, in a fixed byte order.
std::uint64_t digest_of(Function f, double lo, double hi) {
  Random random(8);
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < 5000; ++i) {
    const auto word = std::bit_cast<std::uint64_t>(f(any_of(random, lo, hi)));
    for (int shift = 0; shift < 64; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
  }
  return test::digest(bytes.data(), bytes.size());
}

TEST(Elementary, KeepsItsBitsOnEveryPlatform) {
  EXPECT_EQ(digest_of(cosine, -7.0, 7.0), 4202075312659079723u);
  EXPECT_EQ(digest_of(arc_cosine, -1.0, 1.0), 9909445993934573979u);
  EXPECT_EQ(digest_of(exponential, -20.0, 1.0), 13270873180395781249u);
  EXPECT_EQ(digest_of(power_of_10, -40.0, 40.0), 1901107781145519761u);
  EXPECT_EQ(digest_of(log_10, 0.0, 1e6), 4315223510421338298u);
}

}  // namespace
}  // namespace quel
