#pragma once

#include "wideband/q_gains.h"

namespace quel::wideband {

/// What a subframe's gains are chosen for. All arrays are [0..79].
struct GainQuestion {
  const float* xn;    ///< target
  const float* y1;    ///< filtered adaptive vector
  const float* code;  ///< pulses, not yet sharpened
  const float* y0;    ///< and filtered
  int T0;             ///< whole lag, >= 27: where below 80, the pitch gain sharpens the code
};

struct JointGains {
  int pitch;     ///< index of the pitch gain, 0..15
  double error;  ///< energy that is left of the target with it and the nearest code gain
};

/// Tries every pitch gain with the code gain that serves best beside it; the lowest index of equals
/// wins. Index 0 and an error that is no number where the arrays are none.
JointGains choose_gains(const CodeGainQuantizer& state, const GainQuestion& question);

}  // namespace quel::wideband
