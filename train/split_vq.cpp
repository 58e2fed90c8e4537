#include "train/split_vq.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quel::train {

void Codebook::refresh() {
  columns.resize(table.size());
  for (int j = 0; j < rows; ++j) {
    for (int t = 0; t < width; ++t) {
      columns[static_cast<std::size_t>(t * rows + j)] = row(j)[t];
    }
  }
}

void hold_in_range(Codebook& book, int j) {
  for (int t = 0; t < book.width; ++t) {
    const auto i = static_cast<std::size_t>(t);
    book.row(j)[t] = std::clamp(book.row(j)[t], book.low[i], book.high[i]);
  }
}

void fix_row(Codebook& book, int j, const std::vector<float>& value) {
  std::copy(value.begin(), value.end(), book.row(j));
  book.fixed[static_cast<std::size_t>(j)] = 1;
}

int first_least(const float* values, int count) {
  // Lane by lane, so that this vectorises too.
  constexpr std::size_t lanes = 8;
  std::array<float, lanes> least;
  std::array<int, lanes> where{};
  std::copy_n(values, lanes, least.begin());
  for (int block = 1; block < count / static_cast<int>(lanes); ++block) {
    const float* of_block = values + static_cast<std::size_t>(block) * lanes;
    for (std::size_t l = 0; l < lanes; ++l) {
      const bool less = of_block[l] < least[l];
      where[l] = less ? block : where[l];
      least[l] = less ? of_block[l] : least[l];
    }
  }
  const float best = *std::min_element(least.begin(), least.end());
  int first = count - 1;
  for (std::size_t l = 0; l < lanes; ++l) {
    const int index = where[l] * static_cast<int>(lanes) + static_cast<int>(l);
    if (least[l] == best && index <= first) first = index;
  }
  return first;
}

int nearest_row(const Codebook& book, const float* x) {
  // Distances first, then the smallest: both loops over rows vectorise.
  std::array<float, 256> distance;
  for (int j = 0; j < book.rows; ++j) {
    const float e = x[0] - book.columns[static_cast<std::size_t>(j)];
    distance[static_cast<std::size_t>(j)] = e * e;
  }
  for (int t = 1; t < book.width; ++t) {
    const float* column = &book.columns[static_cast<std::size_t>(t * book.rows)];
    for (int j = 0; j < book.rows; ++j) {
      const float e = x[t] - column[j];
      distance[static_cast<std::size_t>(j)] += e * e;
    }
  }
  return first_least(distance.data(), book.rows);
}

// Single precision in the search only, where it decides next to nothing; elsewhere the encoders'
// own steps of rounding, since the analysis of the frames after amplifies every difference.
void quantize(const SpectrumQuantizer& q, const float* f, Past& past, Choice& choice) {
  double best = std::numeric_limits<double>::max();
  Past rows{};
  for (std::size_t p = 0; p < q.predictors.size(); ++p) {
    const Predictor predictor = q.predictors[p];
    Choice trial;
    trial.predictor = static_cast<int>(p);
    Past chosen{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(q.dims); ++i) {
      const double rest = static_cast<double>(f[i]) - q.mean[i] - predictor.rho * past[i];
      trial.target[i] = static_cast<float>(rest / predictor.gain);
    }
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      const Codebook& book = q.books[k];
      const int j = nearest_row(book, &trial.target[static_cast<std::size_t>(book.first)]);
      trial.index[k] = j;
      std::copy_n(book.row(j), book.width, &chosen[static_cast<std::size_t>(book.first)]);
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(q.dims); ++i) {
      const double coded = predictor.gain * chosen[i] + predictor.rho * past[i] + q.mean[i];
      trial.quantized[i] = static_cast<float>(coded);
    }
    q.reorder(trial.quantized.data());
    double error = 0.0;
    if (q.predictors.size() > 1) {
      for (std::size_t i = 0; i < static_cast<std::size_t>(q.dims); ++i) {
        const double e = static_cast<double>(f[i]) - trial.quantized[i];
        error += e * e;
      }
    }
    if (error < best) {
      best = error;
      choice = trial;
      rows = chosen;
    }
  }
  past = rows;
}

}  // namespace quel::train
