#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// Encoder memory of the ISF quantiser; one per encoder.
struct IsfQuantizer {
  /// [0..9] the previous frame's quantised residual (the five rows chosen), Hz, last entry on the
  /// scale of 650. 0 at load and after init_q_isf_ma. Follows the decoder's as long as no frame
  /// is lost.
  std::array<float, 10> past_r{};
};

void init_q_isf_ma(IsfQuantizer& state);

/// Row of a codebook with the least squared error, the lower one on ties.
///
/// dico    [0..taille-1] rows
/// taille  > 0
/// r       [0..1] wanted
/// rq      [0..1] output: the row
std::int32_t nearest_row(const float (*dico)[2], std::int32_t taille, const float* r, float* rq);

/// Quantises one frame's ISPs in 32 bits: mean removal, first-order moving-average prediction, five
/// independent two-dimensional codebooks.
///
/// isp      [0..9] unquantised; a cosine outside -1..1 is taken as the nearer limit
/// isp_q    [0..9] output: what the decoder will have; may be isp
/// indices  [0..4] output, 6, 7, 7, 7 and 5 bits
/// flag     output: 1 where two of the nine unquantised frequencies lie closer than 60 Hz (a sharp
///          resonance, to which the encoder answers with lower pitch gains), else 0
void q_isf_ma(IsfQuantizer& state, const float* isp, float* isp_q, std::int32_t* indices,
              std::int32_t* flag);

}  // namespace quel
