#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "train/random.h"

namespace quel::train {

inline constexpr int max_dims = 16;
inline constexpr int max_width = 4;

/// One codebook of a split vector quantiser while it is being trained.
struct Codebook {
  int first = 0;             ///< first spectral frequency that it covers
  int width = 0;             ///< how many it covers, <= max_width
  int rows = 0;              ///< code vectors, a multiple of 8, at most 256
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
  int dims = 0;                       ///< frequencies per frame, the order of the LP filter
  std::vector<float> mean;            ///< [0..dims-1]
  std::vector<Predictor> predictors;  ///< one, or several from which each frame takes the best
  std::vector<Codebook> books;        ///< in the order of their frequencies
  /// 0: rows are trained by the spectrum's full sensitivity. Above 0, dB^2 per Hz^2: by a scalar,
  /// the geometric mean of the sensitivity and of this. Where the encoder picks among predictors by
  /// the error in Hz, tables that respect that error as well come out better than those that do
  /// not.
  float search_metric = 0.0f;
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

/// Index of the row nearest to x [0..width-1], the first among equals.
int nearest_row(const Codebook& book, const float* x);

/// Quantises one frame as the encoders do.
///
/// f  [0..dims-1] frequencies
void quantize(const SpectrumQuantizer& q, const float* f, Past& past, Choice& choice);

/// Frames of many recordings on which a quantiser is trained.
struct TrainingSet {
  int dims = 0;
  std::vector<std::size_t> starts;  ///< first frame of each recording
  std::vector<float> f;             ///< [frames*dims] frequencies
  /// [frames*packed] sensitivity of the spectrum, each codebook's part as a packed lower triangle;
  /// all 0 for frames that do not count.
  std::vector<float> sensitivity;

  std::size_t frames() const { return dims > 0 ? f.size() / static_cast<std::size_t>(dims) : 0; }
};

/// Entries of one frame in `TrainingSet::sensitivity`.
int packed_size(const SpectrumQuantizer& q);

/// Adds a frame; one that does not count trains nothing but still feeds the predictor.
void add_frame(TrainingSet& set, const SpectrumQuantizer& q, const float* f, bool counts);

struct TrainingPlan {
  int iterations = 60;
  /// Part of the iterations in which rows are shaken, less and less, to get over poor local minima
  /// (stochastic relaxation: K. Zeger, J. Vaisey and A. Gersho, 1992).
  double relaxed = 0.7;
  double heat = 0.35;  ///< first shake, in units of a cell's radius
  /// Frames count by their distortion to this power less one: 2 trains the mean square distortion,
  /// 1 the mean distortion.
  double power = 1.5;
  bool verbose = false;
};

/// Starting rows: free rows drawn from the targets of the training set, and a few rounds of
/// training without prediction noise.
void seed_codebooks(SpectrumQuantizer& q, const TrainingSet& set, Random& random);

/// Trains the free rows in closed loop: the whole set is quantised with the present tables, every
/// free row moves to where its cell's spectral distortion is least, and so on.
void train(SpectrumQuantizer& q, const TrainingSet& set, const TrainingPlan& plan, Random& random);

/// Rounds the free rows to the precision in which they are written and makes all rows distinct.
void finish_codebooks(SpectrumQuantizer& q);

}  // namespace quel::train
