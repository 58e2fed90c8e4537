#pragma once

namespace quel {

/// The five terms of the error energy of the joint gain quantiser,
/// |xn - gp*y1 - gc*y2|^2 = |xn|^2 + g[0] gp^2 + g[1] gp + g[2] gc^2 + g[3] gc + g[4] gp gc,
/// each with a small bias that keeps silence away from 0/0. The bias stands inside the factor of
/// g[3] and g[4] but outside that of g[1]; the bitstream depends on it.
///
/// corr_xy1 writes g[0] = 0.01 + |y1|^2 and g[1] = 0.01 - 2 <xn, y1>, and returns the unbounded
/// gain <xn, y1> / (0.01 + |y1|^2).
///
/// xn  [0..lg-1] target
/// y1  [0..lg-1] filtered adaptive-codebook vector
/// g   [0..1] written
double corr_xy1(const float* xn, const float* y1, float* g, int lg);

/// corr_xy2 writes g[2..4] from the filtered code vector y2 [0..lg-1].
void corr_xy2(const float* xn, const float* y1, const float* y2, float* g, int lg);

}  // namespace quel
