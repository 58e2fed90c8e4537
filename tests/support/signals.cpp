#include "support/signals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace quel::test {

std::vector<float> noise(int n, std::uint64_t seed, double deviation) {
  Random random(seed);
  std::vector<float> x(static_cast<std::size_t>(n));
  for (float& v : x) v = static_cast<float>(deviation * random.gauss());
  return x;
}

std::vector<float> speech_like(int n, std::uint64_t seed, double sampling_rate) {
  Random random(seed);
  std::vector<float> out(static_cast<std::size_t>(n));
  const double pi = std::numbers::pi;
  double s1[3] = {}, s2[3] = {};  // resonator states
  double f[3] = {500, 1500, 2500}, target[3] = {500, 1500, 2500};
  double pitch = random.uniform(90, 220), phase = 0, level = 0, wanted = 1;
  double peak = 1e-9;
  bool voiced = true;
  int left = 0;
  for (float& sample : out) {
    if (left-- <= 0) {
      left = static_cast<int>(random.uniform(0.06, 0.25) * sampling_rate);
      voiced = random.uniform(0, 1) < 0.7;
      wanted = random.uniform(0, 1) < 0.15 ? 0.0 : random.uniform(0.2, 1.0);
      pitch = random.uniform(80, 280);
      target[0] = random.uniform(250, 800);
      target[1] = random.uniform(900, 2200);
      target[2] = random.uniform(2300, 3300);
    }
    const double glide = 60.0 / sampling_rate;
    level += glide * (wanted - level);
    phase += pitch * (1 + 0.02 * std::sin(static_cast<double>(left) * 0.002)) / sampling_rate;
    double x = 0.05 * random.gauss();
    if (voiced && phase >= 1) x += 6;
    if (!voiced) x += 0.6 * random.gauss();
    if (phase >= 1) phase -= 1;
    x *= level;
    for (int k = 0; k < 3; ++k) {
      f[k] += glide * (target[k] - f[k]);
      const double r = std::exp(-pi * (60.0 + 40.0 * k) / sampling_rate);
      const double y = x + 2 * r * std::cos(2 * pi * f[k] / sampling_rate) * s1[k] - r * r * s2[k];
      s2[k] = s1[k];
      s1[k] = y;
      x = y * (1 - r) * 4;
    }
    sample = static_cast<float>(x);
    peak = std::max(peak, std::fabs(x));
  }
  for (float& sample : out) sample = static_cast<float>(sample * (20000.0 / peak));
  return out;
}

std::vector<std::int16_t> speech_like_pcm(int n, std::uint64_t seed, double sampling_rate) {
  const std::vector<float> x = speech_like(n, seed, sampling_rate);
  std::vector<std::int16_t> pcm(x.size());
  std::transform(x.begin(), x.end(), pcm.begin(),
                 [](float v) { return static_cast<std::int16_t>(std::lrint(v)); });
  return pcm;
}

std::vector<float> stable_filter(int m, std::uint64_t seed) {
  Random random(seed);
  std::vector<double> a(static_cast<std::size_t>(m) + 1, 0.0), next;
  a[0] = 1;
  for (int i = 1; i <= m; ++i) {
    const double limit = i <= 2 ? 0.9 : 0.5;
    const double k = random.uniform(-limit, limit);
    next = a;
    for (int j = 1; j < i; ++j) {
      next[static_cast<std::size_t>(j)] += k * a[static_cast<std::size_t>(i - j)];
    }
    next[static_cast<std::size_t>(i)] = k;
    a = next;
  }
  return {a.begin(), a.end()};
}

double dot(const std::vector<float>& x, const std::vector<float>& y) {
  double sum = 0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += static_cast<double>(x[i]) * y[i];
  return sum;
}

}  // namespace quel::test
