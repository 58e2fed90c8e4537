#pragma once

namespace quel {

/// Repairs a quantised ISF vector: frequencies that changed places are swapped back, then spread
/// so that neighbours are min_dist apart and the first is at least min_dist; the last entry is
/// held within -0.5 * scale .. 0.8 * scale, which keeps the filter away from instability.
///
/// isf       [0..n-1] in and out; [0..n-2] Hz, [n-1] the scaled last coefficient
/// min_dist  Hz, >= 0
/// n         >= 2
/// scale     of the last entry, > 0
///
/// Swapping is a single pass, so worse disorder is not undone: the spread then pushes what follows
/// a high entry above it, possibly past 4000 Hz.
void reorder_isf(float* isf, float min_dist, int n, float scale);

}  // namespace quel
