#pragma once

namespace quel {

/// start + x[0]^2 + x[1]^2 + ..., in that order.
///
/// x  [0..n-1]
double add_squares(double start, const float* x, int n);

namespace plain {
/// The definition of `add_squares`.
double add_squares(double start, const float* x, int n);
}  // namespace plain

}  // namespace quel
