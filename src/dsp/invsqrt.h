#pragma once

namespace quel {

/// 1/sqrt(x) by Newton's method with exactly five steps from 2^-floor(e/2), x = f * 2^e. It is not
/// converged to the last bit, and codebook and pitch decisions rest on its very value, so no
/// library square root may stand in for it.
///
/// x  > 0 (not checked: zero and negative values give a finite or infinite number of no meaning)
double invsqrt(double x);

/// 1 / (sqrt(x) rounded to float), x > 0.
double inv_sqrt(float x);

}  // namespace quel
