#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "train/split_vq.h"

namespace quel::train {
namespace {

constexpr int max_packed = max_width * (max_width + 1) / 2;

int packed(int width) {
  return width * (width + 1) / 2;
}

// Solves the symmetric system a x = b, a packed by rows of its lower triangle and positive definite
// (Cholesky); false where it is not.
bool solve(const double* a, const double* b, double* x, int n) {
  std::array<double, max_packed> l{};
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) {
      double sum = a[packed(i) + j];
      for (int k = 0; k < j; ++k) {
        sum -=
            l[static_cast<std::size_t>(packed(i) + k)] * l[static_cast<std::size_t>(packed(j) + k)];
      }
      if (i == j && sum <= 0.0) return false;
      l[static_cast<std::size_t>(packed(i) + j)] =
          i == j ? std::sqrt(sum) : sum / l[static_cast<std::size_t>(packed(j) + j)];
    }
  }
  for (int i = 0; i < n; ++i) {
    double sum = b[i];
    for (int k = 0; k < i; ++k) sum -= l[static_cast<std::size_t>(packed(i) + k)] * x[k];
    x[i] = sum / l[static_cast<std::size_t>(packed(i) + i)];
  }
  for (int i = n - 1; i >= 0; --i) {
    double sum = x[i];
    for (int k = i + 1; k < n; ++k) sum -= l[static_cast<std::size_t>(packed(k) + i)] * x[k];
    x[i] = sum / l[static_cast<std::size_t>(packed(i) + i)];
  }
  return true;
}

// What the targets of one row's cell ask for.
struct Cell {
  std::array<double, max_packed> weight{};
  std::array<double, max_width> pull{};
  double distortion = 0.0;  // spectral, weighted
  double radius2 = 0.0;     // sum of squared distances, Hz^2
  double count = 0.0;
};

// e' G e of one codebook's part.
double quadratic(const float* g, const float* e, int width) {
  double sum = 0.0;
  int at = 0;
  for (int i = 0; i < width; ++i) {
    for (int j = 0; j < i; ++j) sum += 2.0 * g[at++] * e[i] * e[j];
    sum += static_cast<double>(g[at++]) * e[i] * e[i];
  }
  return sum;
}

// One frame as it was coded.
struct Frame {
  bool coded = false;
  Past rows{};
  Choice choice;
};

class Pass {
 public:
  Pass(const SpectrumQuantizer& q, const TrainingSet& set, double power)
      : q_(q), set_(set), power_(power), size_(static_cast<std::size_t>(packed_size(q))) {
    for (const auto& book : q.books) cells_.emplace_back(static_cast<std::size_t>(book.rows));
  }

  void run() {
    std::size_t sequence = 0;
    Frame now;
    Frame before;
    for (std::size_t n = 0; n < set_.frames(); ++n) {
      before = now;
      if (sequence < set_.starts.size() && set_.starts[sequence] == n) {
        before = Frame{};
        ++sequence;
      }
      const float* f = &set_.f[n * static_cast<std::size_t>(set_.dims)];
      now.rows = before.rows;
      quantize(q_, f, now.rows, now.choice);
      now.coded = true;
      const float* g = &set_.sensitivity[n * size_];
      if (g[0] > 0.0f) collect(g, now, before);
    }
  }

  std::vector<std::vector<Cell>>& cells() { return cells_; }
  double mean_distortion() const { return counted_ > 0.0 ? distortion_ / counted_ : 0.0; }

 private:
  // A row is answerable for two frames: the one that chose it and the next, which it predicts.
  void collect(const float* g, const Frame& now, const Frame& before) {
    const Predictor predictor = q_.predictors[static_cast<std::size_t>(now.choice.predictor)];
    std::array<float, max_dims> e{};
    for (std::size_t i = 0; i < e.size(); ++i) {
      e[i] = static_cast<float>(predictor.gain * (now.choice.target[i] - now.rows[i]));
    }
    std::array<double, 5> part{};
    double total = 0.0;
    const float* gk = g;
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      const Codebook& book = q_.books[k];
      part[k] = quadratic(gk, &e[static_cast<std::size_t>(book.first)], book.width);
      total += part[k];
      gk += packed(book.width);
    }
    distortion_ += std::sqrt(total);
    counted_ += 1.0;
    // The derivative of total^(power/2); distortions below a quarter of a dB gain no more weight.
    const double weight = std::pow(std::max(total, 0.06), 0.5 * power_ - 1.0);
    gk = g;
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      const Codebook& book = q_.books[k];
      const auto first = static_cast<std::size_t>(book.first);
      Cell& cell = cells_[k][static_cast<std::size_t>(now.choice.index[k])];
      add(cell, gk, &now.rows[first], &e[first], book.width, weight, predictor.gain);
      cell.distortion += weight * part[k];
      cell.count += 1.0;
      for (int i = 0; i < book.width; ++i) {
        const float distance = e[first + static_cast<std::size_t>(i)];
        cell.radius2 += static_cast<double>(distance) * distance;
      }
      if (before.coded) {
        Cell& past = cells_[k][static_cast<std::size_t>(before.choice.index[k])];
        add(past, gk, &before.rows[first], &e[first], book.width, weight, predictor.rho);
      }
      gk += packed(book.width);
    }
  }

  // The row enters the error e with the factor `share`.
  static void add(Cell& cell, const float* g, const float* row, const float* e, int width,
                  double weight, double share) {
    int at = 0;
    for (int i = 0; i < width; ++i) {
      const double target_i = row[i] + e[i] / share;
      for (int j = 0; j <= i; ++j, ++at) {
        const double w = weight * share * share * g[at];
        cell.weight[static_cast<std::size_t>(at)] += w;
        cell.pull[static_cast<std::size_t>(i)] += w * (row[j] + e[j] / share);
        if (j < i) cell.pull[static_cast<std::size_t>(j)] += w * target_i;
      }
    }
  }

  const SpectrumQuantizer& q_;
  const TrainingSet& set_;
  double power_;
  std::size_t size_;
  std::vector<std::vector<Cell>> cells_;
  double distortion_ = 0.0;
  double counted_ = 0.0;
};

void hold_in_range(Codebook& book, int j) {
  for (int t = 0; t < book.width; ++t) {
    const auto i = static_cast<std::size_t>(t);
    book.row(j)[t] = std::clamp(book.row(j)[t], book.low[i], book.high[i]);
  }
}

// A row and the rows that follow it are moved at once, so each goes only part of the way.
constexpr double stride = 0.8;

// Moves every free row towards the best place for its cell.
void move_rows(Codebook& book, const std::vector<Cell>& cells, double heat, Random& random) {
  for (int j = 0; j < book.rows; ++j) {
    const Cell& cell = cells[static_cast<std::size_t>(j)];
    if (book.fixed[static_cast<std::size_t>(j)] != 0 || cell.count < 1.0) continue;
    std::array<double, max_packed> a = cell.weight;
    std::array<double, max_width> b = cell.pull;
    // A touch of inertia, so that a cell of one or two frames is solvable too.
    double trace = 0.0;
    for (int t = 0; t < book.width; ++t) trace += a[static_cast<std::size_t>(packed(t) + t)];
    const double inertia = 1e-3 * trace / book.width + trace / cell.count;
    for (int t = 0; t < book.width; ++t) {
      a[static_cast<std::size_t>(packed(t) + t)] += inertia;
      b[static_cast<std::size_t>(t)] += inertia * book.row(j)[t];
    }
    std::array<double, max_width> x{};
    if (!solve(a.data(), b.data(), x.data(), book.width)) continue;
    const double shake = heat * std::sqrt(cell.radius2 / cell.count / book.width);
    for (int t = 0; t < book.width; ++t) {
      const double way = x[static_cast<std::size_t>(t)] - book.row(j)[t];
      book.row(j)[t] += static_cast<float>(stride * way + shake * random.gauss());
    }
    hold_in_range(book, j);
  }
}

// Rows that save next to nothing are moved beside those whose cells distort most.
void split_cells(Codebook& book, std::vector<Cell>& cells, Random& random) {
  double total = 0.0;
  for (const auto& cell : cells) total += cell.distortion;
  for (int j = 0; j < book.rows; ++j) {
    Cell& cell = cells[static_cast<std::size_t>(j)];
    const bool idle = cell.distortion < 0.08 * total / book.rows;
    if (book.fixed[static_cast<std::size_t>(j)] != 0 || !idle) continue;
    const auto worst =
        std::max_element(cells.begin(), cells.end(),
                         [](const auto& a, const auto& b) { return a.distortion < b.distortion; });
    if (worst->count < 2.0) continue;
    const double radius = std::sqrt(worst->radius2 / worst->count / book.width);
    for (int t = 0; t < book.width; ++t) {
      book.row(j)[t] = book.row(static_cast<int>(worst - cells.begin()))[t] +
                       static_cast<float>(0.5 * radius * random.gauss());
    }
    hold_in_range(book, j);
    worst->distortion *= 0.5;
    cell.distortion = worst->distortion;
  }
}

}  // namespace

void seed_codebooks(SpectrumQuantizer& q, const TrainingSet& set, Random& random) {
  const auto size = static_cast<std::size_t>(packed_size(q));
  std::vector<std::size_t> counting;
  for (std::size_t n = 0; n < set.frames(); ++n) {
    if (set.sensitivity[n * size] > 0.0f) counting.push_back(n);
  }
  if (counting.empty()) return;
  // Targets without prediction are wider than those of the closed loop by about this factor.
  constexpr double narrowing = 0.85;
  for (auto& book : q.books) {
    for (int j = 0; j < book.rows; ++j) {
      if (book.fixed[static_cast<std::size_t>(j)] != 0) continue;
      const std::size_t n = counting[random.index(counting.size())];
      for (int t = 0; t < book.width; ++t) {
        const auto i = static_cast<std::size_t>(book.first + t);
        const float f = set.f[n * static_cast<std::size_t>(set.dims) + i];
        book.row(j)[t] = static_cast<float>(narrowing * (f - q.mean[i]));
      }
      hold_in_range(book, j);
    }
    book.refresh();
  }
}

void train(SpectrumQuantizer& q, const TrainingSet& set, const TrainingPlan& plan, Random& random) {
  for (auto& book : q.books) book.refresh();
  for (int it = 0; it < plan.iterations; ++it) {
    Pass pass(q, set, plan.power);
    pass.run();
    if (plan.verbose) {
      std::printf("  iteration %d: about %.4f dB\n", it, pass.mean_distortion());
      std::fflush(stdout);
    }
    const double left = 1.0 - it / std::max(1.0, plan.relaxed * plan.iterations);
    const double heat = left > 0.0 ? plan.heat * left * left : 0.0;
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      move_rows(q.books[k], pass.cells()[k], heat, random);
      // Not in the last rounds: a row just split off has yet to settle.
      if (it < plan.iterations - 10) split_cells(q.books[k], pass.cells()[k], random);
      q.books[k].refresh();
    }
  }
}

void finish_codebooks(SpectrumQuantizer& q) {
  for (auto& book : q.books) {
    std::set<std::vector<float>> seen;
    for (int pass = 0; pass < 2; ++pass) {  // the given rows first
      for (int j = 0; j < book.rows; ++j) {
        const bool fixed = book.fixed[static_cast<std::size_t>(j)] != 0;
        if (fixed != (pass == 0)) continue;
        float* row = book.row(j);
        for (int t = 0; t < book.width && !fixed; ++t) {
          row[t] = static_cast<float>(std::round(row[t] / book.grain) * book.grain);
        }
        // Towards the middle, where there is always room within the column's limits.
        const float step = 2.0f * row[0] < book.low[0] + book.high[0] ? 0.5f : -0.5f;
        while (!seen.insert(std::vector<float>(row, row + book.width)).second) row[0] += step;
      }
    }
    book.refresh();
  }
}

}  // namespace quel::train
