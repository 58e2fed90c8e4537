#pragma once

namespace quel {

/// Rising frequencies, in place, at least `distance` apart, above 0 and below `top`: those too low
/// are raised first, then those too high are lowered.
///
/// hz        [0..n-1]
/// distance  at most top / (n + 1)
void spread(float* hz, int n, float distance, float top);

}  // namespace quel
