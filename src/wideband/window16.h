#pragma once

#include <array>

namespace quel {

/// Analysis window of the wideband coder, hamm_cos(400, 80): 30 ms at 16 kHz, with its peak 5 ms
/// before the end so that the analysis leans towards the newest samples. Immutable.
extern const std::array<float, 480> window16;

/// Asymmetric window: the rising half of a Hamming window, then a quarter of a cosine.
///
/// w   [0..L1+L2-1] output, 0..1
/// L1  points of 0.54 - 0.46 cos(2 pi i / (2 L1 - 1)), >= 1
/// L2  points of cos(2 pi i / (4 L2 - 1)), >= 1
///
/// The angle is a float sum of float steps, so late points are off by up to 5e-5 of the formula.
void hamm_cos(float* w, int L1, int L2);

}  // namespace quel
