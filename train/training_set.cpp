#include <algorithm>
#include <cmath>

#include "train/spectrum.h"
#include "train/split_vq.h"

namespace quel::train {
namespace {

// Weight of one codebook's part where the sensitivity g is not used in full.
double scalar_weight(const SpectrumQuantizer& q, const Codebook& book, const double* g) {
  double trace = 0.0;
  for (int i = book.first; i < book.first + book.width; ++i) trace += g[i * q.dims + i];
  return std::sqrt(trace / book.width * q.search_metric);
}

}  // namespace

int packed_size(const SpectrumQuantizer& q) {
  int size = 0;
  for (const auto& book : q.books) size += book.width * (book.width + 1) / 2;
  return size;
}

void add_frame(TrainingSet& set, const SpectrumQuantizer& q, const float* f, bool counts) {
  const int n = q.dims;
  set.dims = n;
  set.f.insert(set.f.end(), f, f + n);
  const auto size = static_cast<std::size_t>(packed_size(q));
  set.sensitivity.resize(set.sensitivity.size() + size, 0.0f);
  if (!counts) return;
  std::array<float, max_dims + 1> a{};
  std::array<float, max_dims + 1> above{};
  std::array<float, max_dims + 1> below{};
  std::array<float, max_dims> moved{};
  std::array<double, max_dims*(max_dims + 1)> da{};
  std::array<double, max_dims * max_dims> g{};
  std::copy_n(f, n, moved.begin());
  q.to_filter(f, a.data());
  constexpr float step = 2.0f;  // Hz: well below any spacing, well above single precision
  for (int i = 0; i < n; ++i) {
    const auto at = static_cast<std::size_t>(i);
    moved[at] = f[i] + step;
    q.to_filter(moved.data(), above.data());
    moved[at] = f[i] - step;
    q.to_filter(moved.data(), below.data());
    moved[at] = f[i];
    for (int k = 0; k <= n; ++k) {
      const auto tap = static_cast<std::size_t>(k);
      da[static_cast<std::size_t>(i * (n + 1) + k)] =
          (static_cast<double>(above[tap]) - below[tap]) / (2.0 * step);
    }
  }
  spectral_sensitivity(a.data(), da.data(), n, n, g.data());
  float* out = &set.sensitivity[set.sensitivity.size() - size];
  for (const auto& book : q.books) {
    const double scalar = scalar_weight(q, book, g.data());
    for (int i = book.first; i < book.first + book.width; ++i) {
      for (int j = book.first; j <= i; ++j) {
        const double full = g[static_cast<std::size_t>(i * n + j)];
        *out++ = static_cast<float>(q.search_metric <= 0.0f ? full : (i == j ? scalar : 0.0));
      }
    }
  }
}

}  // namespace quel::train
