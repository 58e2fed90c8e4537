#pragma once

namespace quel {

/// Interpolation by a filter of twenty taps: y[j] = sum over k = 0..19, in that order, of
/// filter[k] * x[j + place[k]].
///
/// filter  [0..19] floats in all but type
/// place   [0..19] 0..19
/// x       [0..L+18]
/// y       [0..L-1] output, in increasing order; may be a later part of x's array, and then feeds
///         on itself
/// L       samples, > 0
void interpolate(const double* filter, const int* place, const float* x, float* y, int L);

namespace plain {
/// The definition of `interpolate`.
void interpolate(const double* filter, const int* place, const float* x, float* y, int L);
}  // namespace plain

}  // namespace quel
