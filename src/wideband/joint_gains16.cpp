#include "wideband/joint_gains16.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "wideband/gain_tables16.h"

namespace quel::wideband {
namespace {

constexpr int subframe = 80;
constexpr int copies = 3;  // of a code, T0 apart, that a subframe holds at most

/// Half way between neighbouring code gains.
constexpr std::array<double, 31> borders() {
  std::array<double, 31> out{};
  for (std::size_t i = 0; i < out.size(); ++i) {
    out[i] = 0.5 * (static_cast<double>(qua_gain_code[i]) + qua_gain_code[i + 1]);
  }
  return out;
}
constexpr auto code_gain_borders = borders();

float nearest_correction(double gain) {
  const auto above = std::lower_bound(code_gain_borders.begin(), code_gain_borders.end(), gain);
  return qua_gain_code[static_cast<std::size_t>(above - code_gain_borders.begin())];
}

/// Sums over the subframe. A code sharpened by g is the sum of its copies, k T0 later, times g^k.
struct Products {
  double xx = 0.0, xv = 0.0, vv = 0.0;
  double xy[copies] = {}, vy[copies] = {};
  double yy[copies][copies] = {}, cc[copies][copies] = {};  // second index not below the first
  int count = 1;                                            // of copies

  explicit Products(const GainQuestion& q) {
    if (q.T0 < subframe) count = std::min((subframe - 1) / q.T0 + 1, copies);
    for (int n = 0; n < subframe; ++n) {
      const double x = q.xn[n], v = q.y1[n];
      double y[copies], c[copies];
      for (int k = 0; k < count; ++k) {
        const int from = n - k * q.T0;
        y[k] = from < 0 ? 0.0 : q.y0[from];
        c[k] = from < 0 ? 0.0 : q.code[from];
      }
      xx += x * x;
      xv += x * v;
      vv += v * v;
      for (int k = 0; k < count; ++k) {
        xy[k] += x * y[k];
        vy[k] += v * y[k];
        for (int m = k; m < count; ++m) {
          yy[k][m] += y[k] * y[m];
          cc[k][m] += c[k] * c[m];
        }
      }
    }
  }
};

double linear(const double (&terms)[copies], const double (&power)[copies], int count) {
  double sum = 0.0;
  for (int k = 0; k < count; ++k) sum += power[k] * terms[k];
  return sum;
}

double quadratic(const double (&terms)[copies][copies], const double (&power)[copies], int count) {
  double sum = 0.0;
  for (int k = 0; k < count; ++k) {
    sum += power[k] * power[k] * terms[k][k];
    for (int m = k + 1; m < count; ++m) sum += 2.0 * power[k] * power[m] * terms[k][m];
  }
  return sum;
}

}  // namespace

JointGains choose_gains(const CodeGainQuantizer& state, const GainQuestion& question) {
  const Products sums(question);
  // Of a code with one unit of energy in all.
  const double predicted =
      predicted_code_gain(state.past_qua_en, 0.0f) * std::sqrt(static_cast<double>(subframe));
  JointGains best{0, std::numeric_limits<double>::quiet_NaN()};
  for (std::size_t i = 0; i < qua_gain_pitch.size(); ++i) {
    const double gain_pit = qua_gain_pitch[i];
    const double sharpening = std::min(gain_pit, 1.0);
    const double power[copies] = {1.0, sharpening, sharpening * sharpening};
    const double yy = quadratic(sums.yy, power, sums.count);
    const double cc = quadratic(sums.cc, power, sums.count);
    const double xy =
        linear(sums.xy, power, sums.count) - gain_pit * linear(sums.vy, power, sums.count);
    const double unit = predicted / std::sqrt(0.01 + cc);
    const double gain_code = unit * nearest_correction(xy / (0.01 + yy) / unit);
    const double error = sums.xx - gain_pit * (2.0 * sums.xv - gain_pit * sums.vv) -
                         gain_code * (2.0 * xy - gain_code * yy);
    if (i == 0 || error < best.error) best = {static_cast<int>(i), error};
  }
  return best;
}

}  // namespace quel::wideband
