#pragma once

#include <array>
#include <vector>

#include "narrowband/gain_tables.h"
#include "train/corpus.h"
#include "train/random.h"

namespace quel::train {

/// The joint gain table while it is being trained: {pitch gain, code-gain correction}.
using GainTable = std::array<std::array<float, 2>, narrowband::nb_qua_gain>;

/// Whether row `j` is given and never moves.
bool gain_row_is_given(int j);

/// The given rows, and between them rising pitch gains with a correction of 1.
GainTable given_gain_rows();

/// What the quantiser is asked for one subframe.
struct GainSample {
  std::array<float, 5> g{};  ///< terms of the error energy, as `corr_xy1` and `corr_xy2` give them
  float gcode0 = 0.0f;       ///< predicted code gain
  float gain_pit = 0.0f;     ///< unquantised pitch gain, which picks the rows that are searched
  bool crowded = false;      ///< the frame may not use the highest pitch gains
};

/// Error energy of a row, less that of the target.
double gain_distortion(const GainSample& sample, const std::array<float, 2>& row);

/// The row that `q_gain2` would choose with this table.
int choose_gain_row(const GainTable& table, const GainSample& sample);

/// Runs the narrowband encoder with `table` in the place of its own gain table over every
/// recording, from a fresh start each, in flavors 0, 1 and 2. Returns a sample per subframe, those
/// of digital silence left out.
std::vector<GainSample> collect_gain_samples(const GainTable& table,
                                             const std::vector<Recording>& recordings);

/// First table: the free rows are drawn from the samples' best pairs of gains.
void seed_gain_table(GainTable& table, const std::vector<GainSample>& samples, Random& random);

/// Moves the free rows to where the error energy of the samples that choose them is least, again
/// and again. A sample counts by its error energy over the square root of the energy that the best
/// gains capture: midway between all subframes alike and the loud ones alone.
void train_gain_table(GainTable& table, const std::vector<GainSample>& samples, int iterations,
                      Random& random);

/// Rows that share the table's greatest correction. Several do where training would have liked more
/// than it may give.
int rows_at_greatest(const GainTable& table);

/// Rows that no sample chooses.
int unused_rows(const GainTable& table, const std::vector<GainSample>& samples);

/// How far the table stays behind unquantised gains.
struct GainDistortion {
  double lost = 0.0;         ///< energy that is lost over the energy that could be captured
  double lost_apiece = 0.0;  ///< lost over lost plus capturable, sample by sample, averaged
  long samples = 0;
};
GainDistortion measure_gain(const GainTable& table, const std::vector<GainSample>& samples);

}  // namespace quel::train
