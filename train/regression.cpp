#include <algorithm>
#include <cmath>
#include <utility>

#include "train/concealment_trainer.h"

namespace quel::train {
namespace {

constexpr double ridge = 1e-2;  // far below what any feature has, far above rounding
constexpr int passes = 60;
constexpr double smallest_error = 0.05;  // dB; below it an error counts as this large

// Gaussian elimination with pivoting; a is symmetric and positive definite.
std::vector<double> solve(Rows a, std::vector<double> b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t best = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      if (std::abs(a[i][k]) > std::abs(a[best][k])) best = i;
    }
    std::swap(a[k], a[best]);
    std::swap(b[k], b[best]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = a[i][k] / a[k][k];
      for (std::size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
    b[k] /= a[k][k];
  }
  return b;
}

std::vector<double> weighted_least_squares(const Rows& x, const std::vector<double>& y,
                                           const std::vector<double>& weight) {
  const std::size_t n = x.front().size();
  Rows a(n, std::vector<double>(n));
  std::vector<double> b(n);
  for (std::size_t k = 0; k < x.size(); ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      const double xi = weight[k] * x[k][i];
      for (std::size_t j = 0; j < n; ++j) a[i][j] += xi * x[k][j];
      b[i] += xi * y[k];
    }
  }
  for (std::size_t i = 0; i < n; ++i) a[i][i] += ridge;
  return solve(std::move(a), std::move(b));
}

}  // namespace

std::vector<double> least_squares(const Rows& x, const std::vector<double>& y) {
  return weighted_least_squares(x, y, std::vector<double>(y.size(), 1.0));
}

std::vector<double> quantile_regression(const Rows& x, const std::vector<double>& y, double tau) {
  std::vector<double> w = least_squares(x, y);
  std::vector<double> weight(y.size());
  for (int pass = 0; pass < passes; ++pass) {
    for (std::size_t k = 0; k < y.size(); ++k) {
      double error = y[k];
      for (std::size_t i = 0; i < w.size(); ++i) error -= w[i] * x[k][i];
      weight[k] = (error > 0.0 ? tau : 1.0 - tau) / std::max(std::abs(error), smallest_error);
    }
    w = weighted_least_squares(x, y, weight);
  }
  return w;
}

}  // namespace quel::train
