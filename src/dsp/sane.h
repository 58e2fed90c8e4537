#pragma once

namespace quel {

/// Whether every sample is finite and within +-1e9. Sane speech stays 30,000 times below that; a
/// decoder that meets more has an adaptive codebook or a synthesis filter that grows without bound
/// and clears its memories before infinities turn into NaN.
///
/// x  [0..n-1]
inline bool is_sane(const float* x, int n) {
  int sane = 1;  // no branches, so that a compiler takes several samples at once
  for (int i = 0; i < n; ++i)
    sane &= static_cast<int>(x[i] >= -1e9f) & static_cast<int>(x[i] <= 1e9f);
  return sane != 0;
}

}  // namespace quel
