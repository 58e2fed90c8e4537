#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace quel::test {

/// Reflection coefficients of A(z) by the step-down recursion in double; the filter is minimum
/// phase if and only if all lie within -1..1, both excluded.
inline std::vector<double> reflections(const float* a, int m) {
  std::vector<double> c(a, a + m + 1), k(static_cast<std::size_t>(m));
  for (std::size_t i = k.size(); i >= 1; --i) {
    const double last = c[i];
    k[i - 1] = last;
    std::vector<double> lower(i);
    for (std::size_t j = 0; j < i; ++j) lower[j] = (c[j] - last * c[i - j]) / (1.0 - last * last);
    c = lower;
  }
  return k;
}

inline bool minimum_phase(const float* a, int m) {
  for (const double k : reflections(a, m)) {
    if (!(std::abs(k) < 1.0)) return false;
  }
  return true;
}

/// A(e^jw) in double.
inline std::complex<double> response(const float* a, int m, double w) {
  const std::complex<double> delay = std::polar(1.0, -w);
  std::complex<double> sum = 0.0;
  for (int i = m; i >= 0; --i) sum = sum * delay + static_cast<double>(a[i]);
  return sum;
}

/// Immittance spectral pairs of a minimum-phase A(z), found without its sum and difference
/// polynomials: the phase of e^(jwm/2) A(e^jw) rises from 0 to m pi/2, and the pairs are where it
/// passes the multiples of pi/2 between. The scan takes steps of a tenth of a degree, in which the
/// phase turns by less than half a circle where no zero is nearer to the circle than 0.001.
inline std::vector<double> plain_isp(const float* a, int m) {
  const auto value = [&](double w) { return std::polar(1.0, w * m / 2) * response(a, m, w); };
  const auto pairs = static_cast<std::size_t>(m) - 1;
  constexpr int steps = 1800;
  std::vector<double> isp;
  double phase = 0;
  for (int j = 0; j < steps && isp.size() < pairs; ++j) {
    const double start = std::numbers::pi * j / steps, end = std::numbers::pi * (j + 1) / steps;
    const std::complex<double> here = value(start);
    const auto phase_at = [&](double w) { return phase + std::arg(value(w) / here); };
    while (isp.size() < pairs) {
      const double wanted = static_cast<double>(isp.size() + 1) * std::numbers::pi / 2;
      if (phase_at(end) < wanted) break;
      double low = start, high = end;
      for (int i = 0; i < 40; ++i) {
        const double middle = 0.5 * (low + high);
        (phase_at(middle) < wanted ? low : high) = middle;
      }
      isp.push_back(std::cos(low));
    }
    phase = phase_at(end);
  }
  isp.push_back(a[m]);
  return isp;
}

}  // namespace quel::test
