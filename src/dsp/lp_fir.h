#pragma once

#include <array>

namespace quel {

/// Memory of the decimating low-pass; one per wideband encoder.
struct LpFir {
  /// [0..1] last two input samples of the previous call, oldest first. 0 at load; never reset.
  std::array<float, 2> mem{};
};

/// Five-tap low-pass and decimation in place: out[n] = sum over k of h_fir[k] * x[n*step - 2 + k],
/// the two samples before x[0] coming from the memory.
///
/// sig   [0..lg-1] input; the first lg/step places are overwritten by the output
/// lg    samples, >= 3
/// step  decimation, >= 2 (with less, outputs would overwrite inputs still to be read), and such
///       that the last output's window, which ends at (lg/step - 1)*step + 2, lies inside sig
void lp_fir(LpFir& state, float* sig, int lg, int step);

}  // namespace quel
