#include <algorithm>
#include <cmath>
#include <set>

#include "train/split_vq.h"

namespace quel::train {
namespace {

// What chose one row.
struct Cell {
  std::array<double, max_width> sum{};
  double count = 0.0;   // of frames, by their weight
  double weight = 0.0;  // of their squared distances
  double spread = 0.0;  // squared distances, Hz^2
};
using Cells = std::vector<std::vector<Cell>>;

void add_to_cell(Cell& cell, const float* target, const float* row, int width, double weight) {
  cell.weight += weight;
  for (int t = 0; t < width; ++t) {
    const double away = static_cast<double>(target[t]) - row[t];
    cell.sum[static_cast<std::size_t>(t)] += weight * target[t];
    cell.spread += weight * away * away;
  }
}

Cells collect_cells(const SpectrumQuantizer& q, const TrainingSet& set) {
  Cells cells;
  for (const auto& book : q.books) cells.emplace_back(static_cast<std::size_t>(book.rows));
  Past past{};
  Choice choice;
  for (std::size_t n = 0; n < set.frames(); ++n) {
    if (set.begins(n)) past = Past{};
    quantize(q, set.frame(n), past, choice);
    const double gain = q.predictors[static_cast<std::size_t>(choice.predictor)].gain;
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      const Codebook& book = q.books[k];
      const int j = choice.index[k];
      Cell& cell = cells[k][static_cast<std::size_t>(j)];
      add_to_cell(cell, &choice.target[static_cast<std::size_t>(book.first)], book.row(j),
                  book.width, set.weight[n] * gain * gain);
      cell.count += static_cast<double>(set.weight[n]);
    }
  }
  return cells;
}

// Rows that save next to nothing are moved beside those whose cells spread most.
void split_cells(Codebook& book, std::vector<Cell>& cells, Random& random) {
  double total = 0.0;
  for (const auto& cell : cells) total += cell.spread;
  for (int j = 0; j < book.rows; ++j) {
    Cell& cell = cells[static_cast<std::size_t>(j)];
    const bool idle = cell.spread < 0.08 * total / book.rows;
    if (book.fixed[static_cast<std::size_t>(j)] != 0 || !idle) continue;
    const auto widest =
        std::max_element(cells.begin(), cells.end(),
                         [](const auto& a, const auto& b) { return a.spread < b.spread; });
    if (!(widest->weight > 0.0)) continue;
    const double radius = std::sqrt(widest->spread / widest->weight / book.width);
    for (int t = 0; t < book.width; ++t) {
      book.row(j)[t] = book.row(static_cast<int>(widest - cells.begin()))[t] +
                       static_cast<float>(0.5 * radius * random.gauss());
    }
    hold_in_range(book, j);
    widest->spread *= 0.5;
    cell.spread = widest->spread;
  }
}

void move_to_means(Codebook& book, const std::vector<Cell>& cells) {
  for (int j = 0; j < book.rows; ++j) {
    const Cell& cell = cells[static_cast<std::size_t>(j)];
    if (book.fixed[static_cast<std::size_t>(j)] != 0 || !(cell.weight > 0.0)) continue;
    for (int t = 0; t < book.width; ++t) {
      book.row(j)[t] = static_cast<float>(cell.sum[static_cast<std::size_t>(t)] / cell.weight);
    }
    hold_in_range(book, j);
  }
}

void draw_rows(SpectrumQuantizer& q, const TrainingSet& set, Random& random) {
  const float most = *std::max_element(set.weight.begin(), set.weight.end());
  std::vector<std::size_t> counting;
  for (std::size_t n = 0; n < set.frames(); ++n) {
    if (set.weight[n] == most) counting.push_back(n);
  }
  // Targets without prediction are wider than those of the closed loop by about this factor.
  constexpr double narrowing = 0.85;
  for (auto& book : q.books) {
    for (int j = 0; j < book.rows; ++j) {
      if (book.fixed[static_cast<std::size_t>(j)] != 0) continue;
      const float* f = set.frame(counting[random.index(counting.size())]);
      for (int t = 0; t < book.width; ++t) {
        const auto i = static_cast<std::size_t>(book.first + t);
        book.row(j)[t] = static_cast<float>(narrowing * (f[i] - q.mean[i]));
      }
      hold_in_range(book, j);
    }
    book.refresh();
  }
}

}  // namespace

void cluster_rows(SpectrumQuantizer& q, const TrainingSet& set, int passes, Random& random) {
  if (set.frames() == 0) return;
  draw_rows(q, set, random);
  for (int pass = 0; pass < passes; ++pass) {
    Cells cells = collect_cells(q, set);
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      move_to_means(q.books[k], cells[k]);
      // Not in the last pass: a row just split off has yet to settle.
      if (pass + 1 < passes) split_cells(q.books[k], cells[k], random);
      q.books[k].refresh();
    }
  }
}

double least_use(const SpectrumQuantizer& q, const TrainingSet& set) {
  const Cells cells = collect_cells(q, set);
  double least = 1.0;
  for (const auto& of_book : cells) {
    double total = 0.0;
    for (const auto& cell : of_book) total += cell.count;
    for (const auto& cell : of_book) {
      if (total > 0.0)
        least = std::min(least, cell.count / total * static_cast<double>(of_book.size()));
    }
  }
  return least;
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
