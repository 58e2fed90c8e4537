#pragma once

#include "narrowband/q_gain2.h"

namespace quel::narrowband {

/// A row of the gain table and what it leaves of the target's energy, less that energy.
struct GainRow {
  int row;
  double error;
};

/// The rows that leave least, of all that may be used, and not only of the 64 of `q_gain2`.
///
/// gcode0   predicted code gain
/// g_coeff  [0..4] terms of the error energy, from corr_xy1 and corr_xy2
/// crowded  as q_gain2's flag 1
/// count    1..102
/// best     [0..count-1] output, the best first; of equals the lower row
void best_gain_rows(float gcode0, const float* g_coeff, bool crowded, int count, GainRow* best);

/// The gains of a row, and the memory moved on as the decoder's.
void take_gains(GainQuantizer& state, int row, float gcode0, float* gain_pit, float* gain_code);

}  // namespace quel::narrowband
