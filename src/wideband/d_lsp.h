#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quel {

/// Decoder memory of the wideband spectral quantiser; one per stream. The values below are those
/// at load; no init routine resets any of them, so a second signal in one process goes on from the
/// first.
struct LsfDequantizer {
  /// [0..15] the previous frame's quantised prediction residual, Hz.
  std::array<float, 16> past_q_target{};
  /// [0..15] the last decoded frequencies, Hz: (i + 1) * 8000 / 17 at load.
  std::array<float, 16> past_lsf_q = neutral();
  /// Prediction selector last received, 0 or 1.
  std::int32_t k = 0;

 private:
  static constexpr std::array<float, 16> neutral() {
    std::array<float, 16> lsf{};
    for (std::size_t i = 0; i < lsf.size(); ++i) {
      lsf[i] = static_cast<float>(static_cast<double>(i + 1) * 8000.0 / 17.0);
    }
    return lsf;
  }
};

/// Decodes a frame's line spectral pairs. A lost frame repeats the last frequencies and takes for
/// its residual what would have produced them, so that the predictor stays in step with what is
/// played.
///
/// prm  [0..5] selector, five codebook indices; bits beyond a field's width are ignored. Not read
///      where the frame is lost.
/// lsp  [0..15] output, cosines. Every frequency is at least 50 Hz above its predecessor, and while
///      frames are received the codebooks' range keeps the last one below 8000 Hz. That range does
///      not bind a lost frame's residual: losses among frames that no encoder writes can carry a
///      line past 8000 Hz, at most to 20 kHz, and the cosines then make no stable filter.
/// bfi  nonzero: the frame is lost
void d_lsp(LsfDequantizer& state, const std::int32_t* prm, float* lsp, int bfi);

/// The codebook rows that a frame's indices name: the residual of a good frame.
///
/// prm       [0..5] as d_lsp; the selector is not read
/// residual  [0..15] output, Hz
void lsf_residual(const std::int32_t* prm, float* residual);

/// The nearest residual within the range of the codebooks, entry by entry, in place.
///
/// residual  [0..15] Hz
void hold_lsf_residual(float* residual);

/// Frequencies in Hz to cosines of some that are at least `distance` apart, and so make a stable
/// filter.
///
/// lsf  [0..15] Hz
/// lsp  [0..15] output; may be lsf
void lsf_to_lsp(const float* lsf, float distance, float* lsp);

/// The decoder's copy of `reorder_lsf`.
void d_reorder_lsf(float* lsf, float min_dist, int n);

}  // namespace quel
