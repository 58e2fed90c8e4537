#include "train/gain_trainer.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

namespace quel::train {
namespace {

constexpr int rows = narrowband::nb_qua_gain;
constexpr int search_rows = 64;
constexpr int crowded_rows = 102;

struct Given {
  int row;
  float gain_pit;
  float gamma;
};
constexpr Given given[] = {
    {0, 0.03523f, 0.16154f},     {1, 0.049223f, 0.448359f},   {31, 0.498917f, 0.971238f},
    {32, 0.530996f, 0.785765f},  {63, 0.756587f, 0.893078f},  {64, 0.767797f, 0.499246f},
    {95, 0.939166f, 2.378294f},  {101, 0.990141f, 1.330022f}, {102, 0.996447f, 1.823381f},
    {127, 1.301176f, 1.923126f},
};

// A correction outside this range would unsettle the energy prediction for several subframes.
constexpr double least_gamma = 0.05;
constexpr double greatest_gamma = 8.0;

// Written with six decimals, pitch gains this far apart stay apart.
constexpr float least_step = 1e-5f;

// Rows between two given ones.
struct Stretch {
  int first;
  int last;
  float low;
  float high;
};

std::vector<Stretch> stretches() {
  std::vector<Stretch> all;
  for (std::size_t i = 1; i < std::size(given); ++i) {
    if (given[i].row > given[i - 1].row + 1) {
      all.push_back(
          {given[i - 1].row + 1, given[i].row - 1, given[i - 1].gain_pit, given[i].gain_pit});
    }
  }
  return all;
}

// The stretch's rows in rising order of the pitch gain, strictly, and strictly inside.
void put_in_order(GainTable& table, const Stretch& stretch) {
  const auto first = table.begin() + stretch.first;
  const auto last = table.begin() + stretch.last + 1;
  std::sort(first, last);
  float low = stretch.low + least_step;
  for (auto row = first; row != last; ++row) {
    (*row)[0] = std::max((*row)[0], low);
    low = (*row)[0] + least_step;
  }
  float high = stretch.high - least_step;
  for (auto row = last; row != first;) {
    --row;
    (*row)[0] = std::min((*row)[0], high);
    high = (*row)[0] - least_step;
  }
}

// Unconstrained best gains of the summed error a0 p^2 + a1 p + a2 y^2 + a3 y + a4 p y; false where
// the sum is too flat to tell.
struct Quadratic {
  std::array<double, 5> a{};
  double count = 0.0;

  void add(const GainSample& sample, double weight) {
    const double c = sample.gcode0;
    a[0] += weight * sample.g[0];
    a[1] += weight * sample.g[1];
    a[2] += weight * sample.g[2] * c * c;
    a[3] += weight * sample.g[3] * c;
    a[4] += weight * sample.g[4] * c;
    count += 1.0;
  }

  bool minimum(double& p, double& y) const {
    const double det = 4.0 * a[0] * a[2] - a[4] * a[4];
    if (!(det > 1e-6 * 4.0 * a[0] * a[2])) return false;
    p = (a[4] * a[3] - 2.0 * a[2] * a[1]) / det;
    y = (a[4] * a[1] - 2.0 * a[0] * a[3]) / det;
    return true;
  }

  // Best correction with the pitch gain held.
  double gamma_at(double p) const { return a[2] > 0.0 ? -(a[3] + a[4] * p) / (2.0 * a[2]) : 1.0; }
};

// Energy that the best pair of gains captures.
double capturable(const GainSample& sample) {
  Quadratic one;
  one.add(sample, 1.0);
  double p = 0.0;
  double y = 0.0;
  if (!one.minimum(p, y)) return 0.0;
  const double left = one.a[1] * p + one.a[3] * y;
  return std::max(0.0, -0.5 * left);
}

// One sample's own best gains, held to what a table may hold.
std::pair<double, double> best_pair(const Quadratic& sum, double low, double high) {
  double p = 0.0;
  double y = 0.0;
  if (!sum.minimum(p, y)) {
    p = sum.a[0] > 0.0 ? -sum.a[1] / (2.0 * sum.a[0]) : 0.0;
  }
  p = std::clamp(p, low, high);
  y = std::clamp(sum.gamma_at(p), least_gamma, greatest_gamma);
  return {p, y};
}

int first_row(const GainTable& table, float gain_pit, int nb) {
  constexpr int half = search_rows / 2;
  int start = 0;
  for (int j = half; j < nb - half; ++j) {
    if (table[static_cast<std::size_t>(j)][0] < gain_pit) ++start;
  }
  return start;
}

// A row that hardly any sample chooses starts anew beside the stretch's busiest one.
void revive_rows(GainTable& table, const Stretch& stretch, std::vector<double>& error, double share,
                 Random& random) {
  for (int j = stretch.first; j <= stretch.last; ++j) {
    const auto row = static_cast<std::size_t>(j);
    if (error[row] > share) continue;
    const auto busiest = static_cast<std::size_t>(
        std::max_element(error.begin() + stretch.first, error.begin() + stretch.last + 1) -
        error.begin());
    table[row][0] = table[busiest][0] + static_cast<float>(0.01 * random.gauss());
    table[row][1] = std::clamp(table[busiest][1] * static_cast<float>(1.0 + 0.1 * random.gauss()),
                               static_cast<float>(least_gamma), static_cast<float>(greatest_gamma));
    error[busiest] *= 0.5;
    error[row] = error[busiest];
  }
}

}  // namespace

bool gain_row_is_given(int j) {
  return std::any_of(std::begin(given), std::end(given),
                     [j](const Given& g) { return g.row == j; });
}

GainTable given_gain_rows() {
  GainTable table{};
  for (const auto& g : given) table[static_cast<std::size_t>(g.row)] = {g.gain_pit, g.gamma};
  for (const auto& stretch : stretches()) {
    const int parts = stretch.last - stretch.first + 2;
    for (int j = stretch.first; j <= stretch.last; ++j) {
      const float part = static_cast<float>(j - stretch.first + 1) / static_cast<float>(parts);
      table[static_cast<std::size_t>(j)] = {stretch.low + part * (stretch.high - stretch.low),
                                            1.0f};
    }
  }
  return table;
}

double gain_distortion(const GainSample& sample, const std::array<float, 2>& row) {
  const double g_p = row[0];
  const double g_c = static_cast<double>(sample.gcode0) * row[1];
  return sample.g[0] * g_p * g_p + sample.g[1] * g_p + sample.g[2] * g_c * g_c + sample.g[3] * g_c +
         sample.g[4] * g_p * g_c;
}

int choose_gain_row(const GainTable& table, const GainSample& sample) {
  const int start = first_row(table, sample.gain_pit, sample.crowded ? crowded_rows : rows);
  double best = std::numeric_limits<float>::max();
  int index = start;
  for (int j = start; j < start + search_rows; ++j) {
    const double distortion = gain_distortion(sample, table[static_cast<std::size_t>(j)]);
    if (distortion < best) {
      best = distortion;
      index = j;
    }
  }
  return index;
}

void seed_gain_table(GainTable& table, const std::vector<GainSample>& samples, Random& random) {
  for (const auto& stretch : stretches()) {
    int j = stretch.first;
    // Enough draws for any speech; what stays unfilled keeps its even spread.
    for (int draw = 0; draw < 20000 && j <= stretch.last && !samples.empty(); ++draw) {
      Quadratic one;
      one.add(samples[random.index(samples.size())], 1.0);
      const auto [p, y] = best_pair(one, 0.0, 1.3);
      if (p <= stretch.low || p >= stretch.high || y <= least_gamma || y >= greatest_gamma) {
        continue;
      }
      table[static_cast<std::size_t>(j++)] = {static_cast<float>(p), static_cast<float>(y)};
    }
    put_in_order(table, stretch);
  }
}

void train_gain_table(GainTable& table, const std::vector<GainSample>& samples, int iterations,
                      Random& random) {
  std::vector<double> captured;
  captured.reserve(samples.size());
  for (const auto& sample : samples) captured.push_back(capturable(sample));
  for (int it = 0; it < iterations; ++it) {
    std::vector<Quadratic> sums(rows);
    std::vector<double> error(rows);
    double total = 0.0;
    for (std::size_t n = 0; n < samples.size(); ++n) {
      const auto row = static_cast<std::size_t>(choose_gain_row(table, samples[n]));
      const double weight = 1.0 / std::sqrt(captured[n] + 100.0);
      sums[row].add(samples[n], weight);
      const double lost = weight * (gain_distortion(samples[n], table[row]) + captured[n]);
      error[row] += lost;
      total += lost;
    }
    for (const auto& stretch : stretches()) {
      for (int j = stretch.first; j <= stretch.last; ++j) {
        const auto row = static_cast<std::size_t>(j);
        if (sums[row].count < 1.0) continue;
        const auto [p, y] = best_pair(sums[row], stretch.low, stretch.high);
        table[row] = {static_cast<float>(p), static_cast<float>(y)};
      }
      if (it + 5 < iterations) revive_rows(table, stretch, error, 0.05 * total / rows, random);
      put_in_order(table, stretch);
    }
  }
  // As it will be read back from its file.
  for (auto& row : table) {
    for (float& value : row) value = static_cast<float>(std::round(value * 1e6) * 1e-6);
  }
}

int rows_at_greatest(const GainTable& table) {
  float greatest = 0.0f;
  for (const auto& row : table) greatest = std::max(greatest, row[1]);
  return static_cast<int>(std::count_if(
      table.begin(), table.end(), [greatest](const auto& row) { return row[1] == greatest; }));
}

int unused_rows(const GainTable& table, const std::vector<GainSample>& samples) {
  std::array<bool, rows> used{};
  for (const auto& sample : samples) {
    used[static_cast<std::size_t>(choose_gain_row(table, sample))] = true;
  }
  return static_cast<int>(std::count(used.begin(), used.end(), false));
}

GainDistortion measure_gain(const GainTable& table, const std::vector<GainSample>& samples) {
  GainDistortion result;
  double lost = 0.0;
  double captured = 0.0;
  for (const auto& sample : samples) {
    const double best = capturable(sample);
    if (best <= 0.0) continue;
    const auto row = static_cast<std::size_t>(choose_gain_row(table, sample));
    const double left = gain_distortion(sample, table[row]) + best;
    lost += left;
    captured += best;
    result.lost_apiece += left / (left + best);
    ++result.samples;
  }
  if (result.samples > 0) {
    result.lost = lost / captured;
    result.lost_apiece /= static_cast<double>(result.samples);
  }
  return result;
}

}  // namespace quel::train
