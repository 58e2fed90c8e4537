#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "train/random.h"
#include "train/shape.h"

namespace quel::train {

inline constexpr int max_dims = 16;
inline constexpr int max_width = 4;

/// One codebook of a split vector quantiser while it is being trained.
struct Codebook {
  int first = 0;             ///< first spectral frequency that it covers
  int width = 0;             ///< how many it covers, <= max_width
  int rows = 0;              ///< code vectors, a multiple of 16, at most 256
  std::vector<float> table;  ///< [0..rows*width-1] row by row
  std::vector<char> fixed;   ///< [0..rows-1] 1 where the row is given and never moves
  std::vector<float> low;    ///< [0..width-1] least value of each column
  std::vector<float> high;   ///< [0..width-1] greatest value of each column
  double grain = 1e-4;       ///< step to which free rows are rounded when they are written

  /// The table column by column, which the search reads; `refresh` brings it up to date.
  std::vector<float> columns;
  void refresh();

  float* row(int j) { return &table[static_cast<std::size_t>(j * width)]; }
  const float* row(int j) const { return &table[static_cast<std::size_t>(j * width)]; }
};

/// Brings row `j` back within the columns' ranges.
void hold_in_range(Codebook& book, int j);

/// Gives row `j` its value for good.
void fix_row(Codebook& book, int j, const std::vector<float>& value);

/// A way to predict a frame from the row chosen in the frame before: the codebooks code
/// (frequency - mean - rho * past row) / gain.
struct Predictor {
  double gain;
  double rho;
};

/// A predictive split quantiser of spectral frequencies, as both coders have one.
struct SpectrumQuantizer {
  int dims = 0;                         ///< frequencies per frame, the order of the LP filter
  std::vector<float> mean;              ///< [0..dims-1]
  std::vector<Predictor> predictors;    ///< one, or two from which each frame takes the better
  std::vector<Codebook> books;          ///< in the order of their frequencies
  SpectrumForm form;                    ///< what spectrum the frequencies make
  void (*reorder)(float* f) = nullptr;  ///< keeps quantised frequencies in order and apart
  void (*to_filter)(const float* f, float* a) = nullptr;  ///< frequencies to LP filter
};

/// Past rows of one stream, all 0 at its start.
using Past = std::array<float, max_dims>;

/// What one frame was quantised to.
struct Choice {
  int predictor = 0;
  std::array<int, 5> index{};
  std::array<float, max_dims> target{};     ///< what the codebooks were to represent
  std::array<float, max_dims> quantized{};  ///< frequencies, after reordering
};

/// Index of the least of count values, the first among equals; count is a multiple of 8.
int first_least(const float* values, int count);

/// Index of the row nearest to x [0..width-1], the first among equals.
int nearest_row(const Codebook& book, const float* x);

/// Quantises one frame as the encoders do.
///
/// f  [0..dims-1] frequencies
void quantize(const SpectrumQuantizer& q, const float* f, Past& past, Choice& choice);

/// Frames of many recordings on which a quantiser is trained.
struct TrainingSet {
  int dims = 0;
  std::vector<float> f;            ///< [frames*dims] frequencies
  std::vector<float> sensitivity;  ///< [frames*dims] of the spectrum to each, dB^2 per Hz^2
  std::vector<float> weight;       ///< [frames] how much a frame counts
  std::vector<char> first;         ///< [frames] 1 where a recording starts

  std::size_t frames() const { return weight.size(); }
  const float* frame(std::size_t n) const { return &f[n * static_cast<std::size_t>(dims)]; }
  bool begins(std::size_t n) const { return first[n] != 0; }
};

/// Adds a frame. A quiet one counts little, since it is background noise, but it still feeds the
/// predictor.
///
/// f      [0..dims-1] frequencies
/// first  whether a recording starts with it
void add_frame(TrainingSet& set, const SpectrumQuantizer& q, const float* f, bool quiet,
               bool first);

/// Starting rows: free rows drawn from the frames that count most, then moved to the mean of what
/// chooses them, in `passes` passes over the set in closed loop.
void cluster_rows(SpectrumQuantizer& q, const TrainingSet& set, int passes, Random& random);

/// How often the least used row of all codebooks is chosen, over how often it were if all rows of
/// its codebook were chosen alike. Frames count by their weight.
double least_use(const SpectrumQuantizer& q, const TrainingSet& set);

/// Rounds the free rows to the precision in which they are written and makes all rows distinct.
void finish_codebooks(SpectrumQuantizer& q);

}  // namespace quel::train
