#pragma once

namespace quel {

/// Bandwidth expansion A(z) -> A(z/gamma): ap[0] = a[0], ap[i] = a[i] * gamma^i, the powers formed
/// by repeated single-precision multiplication.
///
/// a      [0..m] LP filter
/// ap     [0..m] output; may be a
/// gamma  0..1
/// m      order, 1..16
void weight_a(const float* a, float* ap, float gamma, int m);

/// The narrowband coder's name for `weight_a`.
void pondai(const float* a, float* ap, float gamma, int m);

}  // namespace quel
