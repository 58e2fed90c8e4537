#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// Encoder memory of the wideband spectral quantiser; one per stream.
struct LsfQuantizer {
  /// [0..15] the previous frame's quantised prediction residual, Hz. 0 at load; no init routine
  /// resets it, so a second signal in one process goes on from the first.
  std::array<float, 16> past_q_target{};
};

/// Quantises a frame's line spectral pairs: switched first-order moving-average prediction, five
/// split codebooks searched in full for both prediction coefficients, the smaller squared error
/// (after spacing) wins and ties go to selector 0.
///
/// lsp  [0..15] cosines, decreasing; overwritten by their quantised values. Values outside -1..1
///      count as the nearer end, NaN gives valid but arbitrary indices.
/// prm  [0..5] output: selector (1 bit), indices into the five codebooks (7, 8, 7, 7, 7 bits)
void q_lsp(LsfQuantizer& state, float* lsp, std::int32_t* prm);

/// Full search for the codevector of smallest squared distance; the first of equals wins.
///
/// x     [0..dim-1] vector; overwritten by the chosen row
/// dico  [0..size*dim-1] rows
/// dim   elements of a row, >= 1
/// size  rows, >= 1
///
/// Returns the row's index; 0 where no distance is below 1e30 (NaN included).
int VQ(float* x, const float* dico, int dim, int size);

/// Lowest spacing: the first frequency is raised to at least min_dist, each next one to at least
/// min_dist above its predecessor. There is no upper limit: what keeps the last one below half the
/// sampling rate is the range of the codebooks.
///
/// lsf       [0..n-1] Hz, in place
/// min_dist  Hz
/// n         >= 0
void reorder_lsf(float* lsf, float min_dist, int n);

}  // namespace quel
